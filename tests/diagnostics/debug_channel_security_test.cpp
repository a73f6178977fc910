// The debug-control channel as another local user sees it: the debug event
// fired by another uid is ignored, the control file is refused when it is a
// symbolic link, another user's file or writable by others, a bad value is
// echoed only in part, and a process that cannot have its event name says
// so once.  The attacker runs as uid 65534 in a forked child; where the
// test may not change uid it skips.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "capture_fd.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "diagnostics/debug_control.hpp"
#include "frame/process_identity.hpp"
#include "platform/named_event.hpp"

using cairn::testing::CaptureFd;
using cairn::testing::run_in_child;

namespace {

constexpr uid_t kNobody = 65534;
constexpr int kCannotChangeUid = 77;

// Run `body` as uid 65534 in a forked child; its exit status is the
// result (0 for success), kCannotChangeUid when the uid cannot be had.
int run_as_other_user(const std::function<int()> &body)
{
    pid_t pid = fork();
    if (pid == 0) {
        if (setgid(kNobody) != 0 || setuid(kNobody) != 0 || getuid() != kNobody)
            _exit(kCannotChangeUid);
        _exit(body());
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

#define SKIP_UNLESS_ROOT()                                                                         \
    do {                                                                                           \
        if (geteuid() != 0)                                                                        \
            GTEST_SKIP() << "needs root to run the other user (uid 65534) in a child";             \
    } while (0)

std::atomic<int> g_fired{0};
int count_firing(int) { return g_fired.fetch_add(1) + 1; }

// Wait, with a generous bound, until `done` holds.
bool eventually(const std::function<bool()> &done)
{
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

TEST(DebugEventSecurity, AnotherUsersFiringIsIgnored)
{
    SKIP_UNLESS_ROOT();
    ASSERT_NE(regevent(OX_DEBUG_EVENT, count_firing), nullptr);
    unsigned long refused_before = cairn::named_event_refusals();
    pid_t me = getpid();
    int rc = run_as_other_user([me] { return ox_debug_event_signal(me) == 0 ? 0 : 2; });
    if (rc == kCannotChangeUid)
        GTEST_SKIP() << "setuid(65534) is not permitted here";
    ASSERT_EQ(rc, 0) << "the other user's datagram was not even sent";
    // The watcher received it and dropped it.
    ASSERT_TRUE(eventually([&] { return cairn::named_event_refusals() > refused_before; }));
    EXPECT_EQ(g_fired.load(), 0);
    // The process's own user still reaches it.
    ASSERT_EQ(ox_debug_event_signal(me), 0);
    ASSERT_TRUE(eventually([] { return g_fired.load() >= 1; }));
    EXPECT_EQ(g_fired.load(), 1);
    regevent(OX_DEBUG_EVENT, nullptr);
}

TEST(DebugEventSecurity, ANameTakenFirstIsReportedOnce)
{
    auto child = run_in_child([] {
        // Someone else binds this process's event name before it does.
        char name[64];
        std::snprintf(name, sizeof name, "%dDEBUGEVENT", static_cast<int>(getpid()));
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::memcpy(addr.sun_path + 1, name, std::strlen(name));
        int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        auto len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + std::strlen(name));
        if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&addr), len) != 0)
            std::exit(3);
        Debug = 0;  // the line is written whatever the level
        int first = ox_debug_event_start();
        int second = ox_debug_event_start();
        std::printf("%d %d", first != 0, second != 0);
    });
    ASSERT_TRUE(child.exited);
    ASSERT_NE(child.exit_code, 3);
    EXPECT_EQ(child.out, "1 1");
    std::string needle = "cannot watch the debug event ";
    std::size_t at = child.err.find(needle);
    ASSERT_NE(at, std::string::npos) << child.err;
    EXPECT_EQ(child.err.find(needle, at + 1), std::string::npos) << "told more than once:\n"
                                                                 << child.err;
}

// A control directory anyone may create files in, as a temporary
// directory is (sticky, world-writable).
struct SharedDir {
    char path[64] = "/tmp/cairn-ctlsec-XXXXXX";
    SharedDir()
    {
        if (mkdtemp(path) == nullptr || chmod(path, 01777) != 0)
            path[0] = '\0';
    }
    std::string file() const { return std::string(path) + "/oxdbg.tmp"; }
};

void write_file(const std::string &path, const char *content, mode_t mode)
{
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
    if (fd >= 0) {
        ssize_t n = write(fd, content, std::strlen(content));
        (void)n;
        fchmod(fd, mode);
        close(fd);
    }
}

bool exists(const std::string &path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

TEST(ControlFileSecurity, ForeignSymlinkedAndWorldWritableFilesAreRefused)
{
    SKIP_UNLESS_ROOT();
    auto child = run_in_child([] {
        SharedDir dir;
        if (dir.path[0] == '\0')
            std::exit(3);
        cairn::set_debug_control_path(dir.path);
        std::string ctl = dir.file();
        Debug = 1;

        // Another user's file.
        int rc = run_as_other_user([&ctl] {
            write_file(ctl, "Debug=9\n", 0644);
            return exists(ctl) ? 0 : 2;
        });
        if (rc == kCannotChangeUid)
            std::exit(4);
        ondbgintr(OX_DEBUG_EVENT);
        std::printf("foreign=%d,%d ", Debug, exists(ctl));
        unlink(ctl.c_str());

        // A symbolic link to a file the process may read.
        std::string target = std::string(dir.path) + "/target";
        write_file(target, "Debug=8\n", 0600);
        if (symlink(target.c_str(), ctl.c_str()) != 0)
            std::exit(5);
        ondbgintr(OX_DEBUG_EVENT);
        std::printf("link=%d,%d,%d ", Debug, exists(ctl), exists(target));
        unlink(ctl.c_str());
        unlink(target.c_str());

        // The process's own file, but anyone may write it.
        write_file(ctl, "Debug=7\n", 0666);
        ondbgintr(OX_DEBUG_EVENT);
        std::printf("open=%d,%d ", Debug, exists(ctl));
        unlink(ctl.c_str());

        // A FIFO: not a regular file, and the handler must not block on it.
        if (mkfifo(ctl.c_str(), 0600) != 0)
            std::exit(6);
        ondbgintr(OX_DEBUG_EVENT);
        std::printf("fifo=%d,%d ", Debug, exists(ctl));
        unlink(ctl.c_str());

        // The process's own, private file is applied and removed.
        write_file(ctl, "Debug=6\n", 0600);
        ondbgintr(OX_DEBUG_EVENT);
        std::printf("own=%d,%d", Debug, exists(ctl));
        rmdir(dir.path);
    });
    ASSERT_TRUE(child.exited);
    if (child.exit_code == 4)
        GTEST_SKIP() << "setuid(65534) is not permitted here";
    ASSERT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, "foreign=1,1 link=1,1,1 open=1,1 fifo=1,1 own=6,0");
    for (const char *why : {"owned by another user", "a symbolic link", "writable by other users",
                            "not a regular file"})
        EXPECT_NE(child.err.find(std::string("refused: ") + why), std::string::npos) << why << "\n"
                                                                                     << child.err;
}

TEST(ControlFileSecurity, BadValueIsEchoedOnlyInPart)
{
    char buf[512];
    std::string value(300, 'v');
    value[10] = '\x1b';  // a terminal escape is not passed on
    std::size_t len = cairn::format_invalid_value(buf, sizeof buf, value.c_str(), "Debug");
    std::string expected(64, 'v');
    expected[10] = '?';
    expected.append(" is an invalid value for Debug\n");
    EXPECT_EQ(std::string(buf, len), expected);
    EXPECT_EQ(len, 64u + std::strlen(" is an invalid value for Debug\n"));
}

}  // namespace
