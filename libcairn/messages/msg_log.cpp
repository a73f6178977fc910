// The process-wide table of message-log descriptors.  A log is opened on
// the first line for it; afterwards writers take its descriptor with two
// atomic operations and no lock.  Closing swaps the descriptors out and
// waits for the writers that still hold one (a Dekker pair of sequentially
// consistent operations), so a line never goes to a reused descriptor.
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "frame/exit_cleanup.hpp"
#include "frame/process_identity.hpp"
#include "messages/msg_log.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"

namespace cairn {
namespace {

struct LogFile {
    uint32_t flag;
    const char *name;
};

// The log destinations and their files under the logs directory.
constexpr LogFile kLogs[] = {
    {0x8, "messages.log"}, {0x10, "daemon.log"},    {0x20, "audit.log"},
    {0x40, "jobs.log"},    {0x200, "rendered.log"},
};
constexpr int kLogCount = sizeof kLogs / sizeof kLogs[0];

constexpr int kUnopened = -2;  // not tried since the last close
constexpr int kRefused = -1;   // lines go to standard error

std::atomic<int> g_fd[kLogCount] = {kUnopened, kUnopened, kUnopened, kUnopened, kUnopened};
std::atomic<int> g_writers{0};  // lines being written with a taken descriptor
CriticalSection g_lock;         // opening and closing; never held across a line
char g_dir[kPathMax];           // the chosen logs directory ("" until chosen)
ox_once_t g_setup_once;

void close_all();

// In a forked child the parent's other threads are gone mid-line.
void forget_writers_in_child() { g_writers.store(0, std::memory_order_relaxed); }

void setup()
{
    fork_protect(ForkRank::message_logs, [] { return &g_lock; });
    pthread_atfork(nullptr, nullptr, forget_writers_in_child);
    register_exit_cleanup(close_all);
}

void write_all(int fd, const char *data, std::size_t len)
{
    while (len > 0) {
        ssize_t n = ::write(fd, data, len);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        data += n;
        len -= static_cast<std::size_t>(n);
    }
}

void notice_fallback(const char *path, const char *why)
{
    char line[kPathMax + 256];
    int n = std::snprintf(line, sizeof line,
                          "Cannot use message log %s (%s): its messages go to standard error\n",
                          path[0] ? path : "(no logs directory)", why);
    if (n > 0)
        write_all(STDERR_FILENO, line, std::min(static_cast<std::size_t>(n), sizeof line - 1));
}

// Open (creating) a log file for appending.  A symbolic link, anything
// but a regular file, and a file another user owns are refused: other
// local users can reach the logs directory.
int open_log_file(const char *path, const char **why)
{
    int fd =
        ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0640);
    if (fd < 0) {
        *why = errno == ELOOP ? "a symbolic link" : std::strerror(errno);
        return kRefused;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != geteuid()) {
        *why = S_ISREG(st.st_mode) ? "owned by another user" : "not a regular file";
        ::close(fd);
        return kRefused;
    }
    fcntl(fd, F_SETFL, O_APPEND);  // writes may block like any file's
    return fd;
}

// Under g_lock: the directory chosen, or the application's logs directory.
void open_slot(int i, const char *app_logs)
{
    if (g_fd[i].load(std::memory_order_relaxed) != kUnopened)
        return;
    if (g_dir[0] == '\0' && app_logs != nullptr)
        std::snprintf(g_dir, sizeof g_dir, "%s", app_logs);
    char path[kPathMax + 32];
    const char *why = "no logs directory";
    int fd = kRefused;
    if (g_dir[0] != '\0') {
        std::snprintf(path, sizeof path, "%s/%s", g_dir, kLogs[i].name);
        fd = open_log_file(path, &why);
    } else {
        std::snprintf(path, sizeof path, "%s", kLogs[i].name);
    }
    if (fd == kRefused)
        notice_fallback(path, why);
    g_fd[i].store(fd, std::memory_order_seq_cst);
}

// The descriptor of log `i`, counted in g_writers when it is one (release
// it with g_writers.fetch_sub); kRefused when the log is not usable.
int take_fd(int i)
{
    for (;;) {
        int fd = g_fd[i].load(std::memory_order_acquire);
        if (fd == kUnopened) {
            ox_once(&g_setup_once, setup);
            const char *app_logs = ox_get_logsdir();  // before g_lock: it takes its own
            CriticalSectionLock hold(g_lock);
            open_slot(i, app_logs);
            continue;
        }
        if (fd < 0)
            return fd;
        g_writers.fetch_add(1, std::memory_order_seq_cst);
        if (g_fd[i].load(std::memory_order_seq_cst) == fd)
            return fd;
        g_writers.fetch_sub(1, std::memory_order_release);
    }
}

void close_all()
{
    CriticalSectionLock hold(g_lock);
    int old[kLogCount];
    for (int i = 0; i < kLogCount; ++i)
        old[i] = g_fd[i].exchange(kUnopened, std::memory_order_seq_cst);
    while (g_writers.load(std::memory_order_seq_cst) != 0)
        sched_yield();
    for (int fd : old)
        if (fd >= 0)
            ::close(fd);
}

}  // namespace

void msg_log_append(uint32_t flags, int32_t number, uint32_t severity, const char *text)
{
    if ((flags & MSG_LOG_MASK) == 0)
        return;
    int saved_errno = errno;
    char line[kLogLineMax];
    std::size_t len = msg_log_format(line, number, severity, text);
    bool to_stderr = false;
    for (int i = 0; i < kLogCount; ++i) {
        if ((flags & kLogs[i].flag) == 0)
            continue;
        int fd = take_fd(i);
        if (fd < 0) {
            to_stderr = true;
            continue;
        }
        write_all(fd, line, len);
        g_writers.fetch_sub(1, std::memory_order_release);
    }
    if (to_stderr)
        write_all(STDERR_FILENO, line, len);
    errno = saved_errno;
}

}  // namespace cairn

using namespace cairn;

extern "C" {

int msg_log_open(const char *dir)
{
    const char *chosen = dir != nullptr ? dir : ox_get_logsdir();
    struct stat st;
    if (chosen == nullptr || chosen[0] == '\0')
        return ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    if (stat(chosen, &st) != 0)
        return ox_error_set_last(static_cast<uint32_t>(errno), OX_ERRKIND_ERRNO);
    if (!S_ISDIR(st.st_mode))
        return ox_error_set_last(ENOTDIR, OX_ERRKIND_ERRNO);
    if (std::strlen(chosen) >= sizeof g_dir)
        return ox_error_set_last(ENAMETOOLONG, OX_ERRKIND_ERRNO);
    ox_once(&g_setup_once, setup);
    CriticalSectionLock hold(g_lock);
    close_all();
    std::snprintf(g_dir, sizeof g_dir, "%s", chosen);
    return 0;
}

void msg_log_close(void) { close_all(); }

const char *msg_log_name(uint32_t flag)
{
    for (const LogFile &log : kLogs)
        if (log.flag == flag)
            return log.name;
    ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    return nullptr;
}

}  // extern "C"
