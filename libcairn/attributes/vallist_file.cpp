// The file form of value lists: one value per line.  Writing goes to a
// temporary file beside the target that replaces it by rename() only when
// every value reached the disk, so a crash or a full disk never leaves half
// a file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <climits>

#include "attributes/value_record.hpp"
#include "cairn/messages.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

using namespace cairn::values;

namespace {

// The severity class of the file messages.
constexpr uint32_t kSeverityClass = 55000;

// Lines are read in pieces of this many bytes (terminator included).
constexpr int kLineBytes = 13312;

msg_t *cannot_open(int32_t number, const char *path)
{
    const char *form = number == VALLIST_MSG_OPEN_READ ? "Unable to open file '%s' for reading\n"
                                                       : "Unable to open file '%s' for writing\n";
    return msg_create(number, kSeverityClass, form, MSG_ARG_TEXT, path);
}

// Drops the line end: a line feed, and a carriage return before it (the
// text-mode line end of files written on other systems).  Returns whether
// there was a line feed.
bool strip_line_end(char *line)
{
    size_t n = std::strlen(line);
    if (n == 0 || line[n - 1] != '\n')
        return false;
    line[--n] = '\0';
    if (n > 0 && line[n - 1] == '\r')
        line[n - 1] = '\0';
    return true;
}

// Reads every line of `stream` onto `*tail`; false on a read error.
bool read_lines(FILE *stream, val_t **tail)
{
    char *line = static_cast<char *>(xmalloc(kLineBytes));
    bool cut = false;  // the previous piece ended without a line feed
    while (std::fgets(line, kLineBytes, stream) != nullptr) {
        bool ended = strip_line_end(line);
        if (cut && ended && line[0] == '\0') {
            cut = false;  // the line feed of a line cut exactly at a piece
            continue;
        }
        *tail = make(line);
        tail = &(*tail)->next;
        cut = !ended;
    }
    cairn::mem_free(line);
    return std::ferror(stream) == 0;
}

bool write_all(int fd, const char *data, size_t len)
{
    while (len > 0) {
        ssize_t n = write(fd, data, len);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

// Creates a new temporary file beside `path`, with the target's permissions
// when it exists (otherwise the usual 0666 less the umask).
constexpr size_t kTemporaryBytes = PATH_MAX + 48;

int open_temporary(const char *path, char *name)
{
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        int n = std::snprintf(name, kTemporaryBytes, "%s.%ld.%u.tmp", path,
                              static_cast<long>(getpid()), counter++);
        if (n < 0 || static_cast<size_t>(n) >= kTemporaryBytes)
            return -1;
        int fd = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            struct stat st;
            if (stat(path, &st) == 0 && S_ISREG(st.st_mode))
                (void)fchmod(fd, st.st_mode & 07777);
            return fd;
        }
        if (errno != EEXIST)
            return -1;
    }
    return -1;
}

msg_t *cannot_write(int64_t index, const char *value)
{
    char number[OX_INTTOSTR_SIZE];
    inttostr(index, number, sizeof number);
    return msg_create(VALLIST_MSG_WRITE_VALUE, kSeverityClass,
                      "Unable to write value #%lu '%s' to file (rc=%d)", MSG_ARG_NUMBER, number,
                      MSG_ARG_TEXT, value, MSG_ARG_NUMBER, "-1");
}

// Writes each value and a line feed; reports each value that fails and
// goes on.  A failure to bring the file to the disk at the end is
// reported against the last value.
msg_t *write_values(int fd, const val_t *list)
{
    msg_t *result = nullptr;
    int64_t index = 0;
    const val_t *last = nullptr;
    for (; list != nullptr; last = list, list = list->next, ++index) {
        size_t n = std::strlen(list->value);
        if (!write_all(fd, list->value, n) || !write_all(fd, "\n", 1))
            result = cannot_write(index, list->value);
    }
    bool durable = fsync(fd) == 0;
    durable = close(fd) == 0 && durable;
    if (!durable && result == nullptr)
        result = cannot_write(index > 0 ? index - 1 : 0, last ? last->value : "");
    return result;
}

}  // namespace

extern "C" {

msg_t *vallist_from_file(val_t **list, const char *path)
{
    if (list == nullptr || path == nullptr)
        return cannot_open(VALLIST_MSG_OPEN_READ, path ? path : "(null)");
    FILE *stream = std::fopen(path, "re");
    if (stream == nullptr)
        return cannot_open(VALLIST_MSG_OPEN_READ, path);
    val_t *lines = nullptr;
    bool ok = read_lines(stream, &lines);
    std::fclose(stream);
    if (!ok) {
        vallist_free(lines);
        return cannot_open(VALLIST_MSG_OPEN_READ, path);
    }
    *tail_link(list) = lines;
    return nullptr;
}

msg_t *vallist_write_file(const val_t *list, const char *path)
{
    if (path == nullptr || *path == '\0')
        return cannot_open(VALLIST_MSG_OPEN_WRITE, path ? path : "(null)");
    char *temporary = static_cast<char *>(xmalloc(kTemporaryBytes));
    int fd = open_temporary(path, temporary);
    msg_t *result = fd < 0 ? cannot_open(VALLIST_MSG_OPEN_WRITE, path) : write_values(fd, list);
    if (fd >= 0 && result == nullptr && rename(temporary, path) != 0)
        result = cannot_open(VALLIST_MSG_OPEN_WRITE, path);
    if (fd >= 0 && result != nullptr)
        unlink(temporary);
    cairn::mem_free(temporary);
    return result;
}

}  // extern "C"
