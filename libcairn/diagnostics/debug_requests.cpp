#include "diagnostics/debug_requests.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/net.h"
#include "diagnostics/debug_control.hpp"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/process_stats.hpp"

namespace cairn {
namespace {

// The word `word` followed by the end or a blank; `rest` gets what follows.
bool request_is(const char *request, const char *word, const char **rest)
{
    std::size_t n = std::strlen(word);
    if (std::strncmp(request, word, n) != 0 || (request[n] != '\0' && request[n] != ' '))
        return false;
    *rest = request + n + (request[n] == ' ' ? 1 : 0);
    return true;
}

// The control file's path as another process must name it: a relative path
// (a program that has not initialised) is joined to this process's
// current directory.
void absolute_control_file(char *out, std::size_t size)
{
    const char *path = debug_control_file();
    char cwd[4096];
    if (path[0] == '/' || ::getcwd(cwd, sizeof cwd) == nullptr)
        std::snprintf(out, size, "%s", path);
    else
        std::snprintf(out, size, "%s/%s", std::strcmp(cwd, "/") == 0 ? "" : cwd, path);
}

void answer_status(char *answer, std::size_t size)
{
    ControlCounts c = control_counts();
    char control[4096 + 16];
    absolute_control_file(control, sizeof control);
    int n = std::snprintf(answer, size, "pid=%d\ncontrol=%s\nnotices=%u\ninvalid=%u\nrefused=%u\n",
                          static_cast<int>(getpid()), control, c.notices, c.invalid, c.refused);
    if (n > 0 && static_cast<std::size_t>(n) < size)
        format_settings(answer + n, size - static_cast<std::size_t>(n), '\n');
}

void log_line(const char *line, std::size_t len, void *)
{
    debug_write("%.*s", static_cast<int>(len), line);
}

void file_line(const char *line, std::size_t len, void *arg)
{
    int fd = *static_cast<int *>(arg);
    while (len > 0) {
        ssize_t n = ::write(fd, line, len);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        line += n;
        len -= static_cast<std::size_t>(n);
    }
}

// Why the report file the requester named may not be written, or nullptr.
// The tool creates it; a link, another user's file or one that others may
// write is refused, so the request cannot be turned against a file.
const char *unfit_report_file(const struct stat &st, uid_t uid)
{
    if (!S_ISREG(st.st_mode))
        return "not a regular file";
    if (st.st_uid != uid)
        return "not owned by the requesting user";
    if ((st.st_mode & (S_IWOTH | S_IWGRP)) != 0)
        return "writable by other users";
    return nullptr;
}

void answer_stats_to_file(const char *path, uid_t uid, char *answer, std::size_t size)
{
    int fd = ::open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        std::snprintf(answer, size, "error cannot open %s: %s", path,
                      errno == ELOOP ? "a symbolic link" : std::strerror(errno));
        return;
    }
    struct stat st;
    const char *why = ::fstat(fd, &st) != 0 ? "cannot be examined" : unfit_report_file(st, uid);
    if (why == nullptr && ::ftruncate(fd, 0) != 0)
        why = "cannot be emptied";
    if (why != nullptr) {
        std::snprintf(answer, size, "error report file %s refused: %s", path, why);
        ::close(fd);
        return;
    }
    write_process_stats(ReportSink{file_line, &fd});
    ::close(fd);
    std::snprintf(answer, size, "ok %s", path);
}

}  // namespace

void answer_debug_request(const char *request, uid_t uid, char *answer, std::size_t size)
{
    const char *rest = nullptr;
    if (request_is(request, "status", &rest)) {
        answer_status(answer, size);
    } else if (request_is(request, "stats", &rest)) {
        if (rest[0] == '\0') {
            write_process_stats(ReportSink{log_line, nullptr});
            std::snprintf(answer, size, "ok debug log");
        } else {
            answer_stats_to_file(rest, uid, answer, size);
        }
    } else if (request_is(request, "dns", &rest) &&
               (std::strcmp(rest, "flush") == 0 || std::strcmp(rest, "print") == 0)) {
        // The resolver's operator variables, carried out at once.
        if (rest[0] == 'f')
            FlushDnsCache = 1;
        else
            PrintDnsCache = 1;
        dns_check_dbg_op();
        std::snprintf(answer, size, "ok dns %s", rest);
    } else {
        std::snprintf(answer, size, "error unknown request");
    }
}

}  // namespace cairn
