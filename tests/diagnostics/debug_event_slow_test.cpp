// An operator changes a running child process's settings: it writes the
// control line and fires the child's debug event; the child's event thread
// applies it.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "child_exit.hpp"
#include "debug_capture.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "frame/process_identity.hpp"

namespace {

using cairn::testing::eventually;

std::atomic<int> g_custom_calls{0};
int custom_handler(int event)
{
    if (event == OX_DEBUG_EVENT)
        g_custom_calls.fetch_add(1);
    return 1;
}

TEST(DebugEvent, ControlLineReachesARunningChild)
{
    char dir[] = "/tmp/cairn-evt-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string control = std::string(dir) + "/oxdbg.tmp";
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        cairn::set_debug_control_path(dir);
        bool ok = ox_debug_event_start() == 0;
        (void)!write(ready[1], ok ? "1" : "0", 1);
        // Exit 0 once Debug became 3, 1 after ten seconds.
        for (int i = 0; i < 1000 && __atomic_load_n(&Debug, __ATOMIC_RELAXED) != 3; ++i)
            usleep(10000);
        cairn::testing::child_exit(__atomic_load_n(&Debug, __ATOMIC_RELAXED) == 3 ? 0 : 1);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, '1');
    std::FILE *fp = std::fopen(control.c_str(), "w");
    ASSERT_NE(fp, nullptr);
    std::fputs("Debug=3\n", fp);
    std::fclose(fp);
    EXPECT_EQ(ox_debug_event_signal(pid), 0);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(eventually([&] { return access(control.c_str(), F_OK) != 0; }))
        << "the handler deletes the file";
    close(ready[0]);
    close(ready[1]);
    rmdir(dir);
}

TEST(DebugEvent, RegisteredHandlerKeepAndRestore)
{
    // In this process: the event thread calls whichever handler is current.
    ASSERT_EQ(ox_debug_event_start(), 0);
    EXPECT_EQ(ox_debug_event_start(), 0) << "starting twice is harmless";
    EXPECT_EQ(regevent(OX_DEBUG_EVENT, custom_handler), ondbgintr);
    EXPECT_EQ(regevent(OX_DEBUG_EVENT, OX_EVENT_HANDLER_KEEP), custom_handler);
    ASSERT_EQ(ox_debug_event_signal(static_cast<int>(getpid())), 0);
    EXPECT_TRUE(eventually([] { return g_custom_calls.load() >= 1; }));
    EXPECT_EQ(regevent(OX_DEBUG_EVENT, nullptr), custom_handler);
    EXPECT_EQ(regevent(OX_DEBUG_EVENT, OX_EVENT_HANDLER_KEEP), ondbgintr);
}

TEST(DebugEvent, ForkedChildWatchesItsOwnEvent)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "starting threads after a multi-threaded fork is outside the thread sanitizer";
#endif
    ASSERT_EQ(ox_debug_event_start(), 0);
    // Fork only once the parent's event thread serves: a thread still
    // starting up at the fork may hold allocator locks the child needs.
    ox_event_handler previous = regevent(OX_DEBUG_EVENT, custom_handler);
    g_custom_calls.store(0);
    ASSERT_EQ(ox_debug_event_signal(static_cast<int>(getpid())), 0);
    ASSERT_TRUE(eventually([] { return g_custom_calls.load() >= 1; }));
    regevent(OX_DEBUG_EVENT, previous);
    g_custom_calls.store(0);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        regevent(OX_DEBUG_EVENT, custom_handler);
        int rc = ox_debug_event_signal(static_cast<int>(getpid()));
        for (int i = 0; i < 500 && g_custom_calls.load() == 0; ++i)
            usleep(10000);
        cairn::testing::child_exit(rc == 0 && g_custom_calls.load() > 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
