// Exit handlers seen from outside: each case runs in a child process and the
// handlers write their names to a file, read back by the parent.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
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

class ExitHandlers : public ::testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/cairn-exit-XXXXXX";
        g_fd = mkstemp(name);
        ASSERT_GE(g_fd, 0);
        path_ = name;
    }
    void TearDown() override
    {
        close(g_fd);
        unlink(path_.c_str());
    }
    std::string written()
    {
        std::ifstream in(path_);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    std::string path_;
};

TEST_F(ExitHandlers, ExplicitRunIsNewestFirstAndNotExecuting)
{
    auto r = cairn::testing::run_in_child([] {
        ox_atexit(handler_a);
        ox_atexit(handler_b);
        ox_atexit(handler_c);
        ox_atexit(handler_executing);
        ox_atexit_execute_and_remove_all();
        note("|");
        ox_atexit_execute_and_remove_all();  // empty now
        std::_Exit(0);
    });
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_EQ(written(), "[exec=0]CBA|");
}

TEST_F(ExitHandlers, NormalExitRunsThemThroughTheRuntimeHook)
{
    auto r = cairn::testing::run_in_child([] {
        ox_atexit(handler_a);
        ox_atexit(handler_b);
        ox_atexit(handler_executing);
        std::exit(3);
    });
    EXPECT_EQ(r.exit_code, 3);
    EXPECT_EQ(written(), "[exec=1]BA");
}

TEST_F(ExitHandlers, OxExitClosesStandardFilesThenRunsHandlers)
{
    auto r = cairn::testing::run_in_child([] {
        ox_atexit(handler_a);
        ox_atexit(handler_executing);
        std::printf("before");
        ox_exit(7);
    });
    EXPECT_EQ(r.exit_code, 7);
    EXPECT_EQ(r.out, "before");
    // ox_exit ran them itself, so the runtime hook found an empty list.
    EXPECT_EQ(written(), "[exec=0]A");
}

TEST_F(ExitHandlers, DuplicatesUnregistrationAndLateRegistration)
{
    auto r = cairn::testing::run_in_child([] {
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
        // After the tear-down a registration starts a fresh list, run by the
        // runtime's exit processing.
        ox_atexit(handler_c);
        std::exit(0);
    });
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_EQ(written(), "RABA|C");
}

TEST_F(ExitHandlers, DisabledHandlingRunsNothingButExplicitCalls)
{
    auto r = cairn::testing::run_in_child([] {
        ox_atexit(handler_a);
        ox_atexit_disable();
        ox_exit(0);
    });
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_EQ(written(), "");

    auto r2 = cairn::testing::run_in_child([] {
        ox_atexit_disable();  // before first use: the hook is never set up
        ox_atexit(handler_a);
        note(Ox_atexit_ox_threadstorage_destroy ? "[tsd=1]" : "[tsd=0]");
        ox_atexit(handler_tsd_flag);
        ox_atexit_execute_and_remove_all();
        ox_atexit(handler_b);
        std::exit(0);
    });
    EXPECT_EQ(r2.exit_code, 0);
    EXPECT_EQ(written(), "[tsd=0][tsd=1]A");

    // Enabling again restores exit handling.
    auto r3 = cairn::testing::run_in_child([] {
        ox_atexit(handler_c);
        ox_atexit_disable();
        ox_atexit_enable();
        ox_exit(0);
    });
    EXPECT_EQ(r3.exit_code, 0);
    EXPECT_EQ(written(), "[tsd=0][tsd=1]AC");
}

TEST_F(ExitHandlers, NullHandlers)
{
    EXPECT_EQ(ox_atexit(nullptr), OX_ENULL);
    EXPECT_EQ(ox_unatexit(nullptr), OX_ENULL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

}  // namespace
