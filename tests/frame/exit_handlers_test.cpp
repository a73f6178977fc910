// Exit handlers seen from outside: each case runs in a child process and the
// handlers write their names to a file, read back by the parent.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "child_process.hpp"

namespace {

int g_fd = -1;

void note(const char *text) { (void)!write(g_fd, text, std::strlen(text)); }
void handler_a() { note("A"); }
void handler_b() { note("B"); }
void handler_c() { note("C"); }
void handler_executing() { note(ox_atexit_is_executing() ? "[exec=1]" : "[exec=0]"); }
void handler_registers_more()
{
    note("R");
    ox_atexit(handler_a);
}
void handler_tsd_flag() { note(Ox_atexit_ox_threadstorage_destroy ? "[tsd=1]" : "[tsd=0]"); }

struct Case {
    const char *what;
    void (*body)();
    int exit_code;
    const char *out;
    const char *written;
};

const Case kCases[] = {
    {"an explicit run is newest first and not 'executing'",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_b);
         ox_atexit(handler_c);
         ox_atexit(handler_executing);
         ox_atexit_execute_and_remove_all();
         note("|");
         ox_atexit_execute_and_remove_all();  // empty now
         std::_Exit(0);
     },
     0, "", "[exec=0]CBA|"},
    {"a normal exit runs them through the runtime's hook",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_b);
         ox_atexit(handler_executing);
         std::exit(3);
     },
     3, "", "[exec=1]BA"},
    // ox_exit runs them itself, so the runtime hook finds an empty list.
    {"ox_exit closes the standard files, then runs the handlers",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_executing);
         std::printf("before");
         ox_exit(7);
     },
     7, "before", "[exec=0]A"},
    // After the tear-down a registration starts a fresh list, run by the
    // runtime's exit processing.
    {"duplicates, unregistration and late registration",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_b);
         ox_atexit(handler_a);
         if (ox_unatexit(handler_a) != 0)
             std::_Exit(1);
         if (ox_unatexit(handler_c) != 49)
             std::_Exit(2);
         ox_atexit(handler_registers_more);
         ox_atexit_execute_and_remove_all();
         note("|");
         ox_atexit(handler_c);
         std::exit(0);
     },
     0, "", "RABA|C"},
    {"disabled handling runs nothing",
     [] {
         ox_atexit(handler_a);
         ox_atexit_disable();
         ox_exit(0);
     },
     0, "", ""},
    {"disabled before first use: the hook is never set up, explicit runs still work",
     [] {
         ox_atexit_disable();
         ox_atexit(handler_a);
         note(Ox_atexit_ox_threadstorage_destroy ? "[tsd=1]" : "[tsd=0]");
         ox_atexit(handler_tsd_flag);
         ox_atexit_execute_and_remove_all();
         ox_atexit(handler_b);
         std::exit(0);
     },
     0, "", "[tsd=0][tsd=1]A"},
    {"enabling again restores exit handling",
     [] {
         ox_atexit(handler_c);
         ox_atexit_disable();
         ox_atexit_enable();
         ox_exit(0);
     },
     0, "", "C"},
};

TEST(ExitHandlers, RunOrderExitPathsAndDisablingAsData)
{
    char name[] = "/tmp/cairn-exit-XXXXXX";
    g_fd = mkstemp(name);
    ASSERT_GE(g_fd, 0);
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(ftruncate(g_fd, 0), 0);
        lseek(g_fd, 0, SEEK_SET);
        auto r = cairn::testing::run_in_child(c.body);
        EXPECT_EQ(r.exit_code, c.exit_code);
        EXPECT_EQ(r.out, c.out);
        char buf[256] = {};
        EXPECT_GE(pread(g_fd, buf, sizeof buf - 1, 0), 0);
        EXPECT_STREQ(buf, c.written);
    }
    close(g_fd);
    unlink(name);
}

TEST(ExitHandlers, NullHandlers)
{
    EXPECT_EQ(ox_atexit(nullptr), OX_ENULL);
    EXPECT_EQ(ox_unatexit(nullptr), OX_ENULL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

}  // namespace
