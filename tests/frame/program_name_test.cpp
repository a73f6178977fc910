// The program name and the debug-control file's path.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "cairn/frame.h"
#include "child_process.hpp"
#include "frame/process_identity.hpp"

namespace {

std::string progname(int n = 64)
{
    char buf[64];
    return ox_get_progname(buf, n) ? buf : "<null>";
}

TEST(ProgramName, BeforeAnyNameItIsThePid)
{
    auto r = cairn::testing::run_in_child([] {
        std::string want = "(pid " + std::to_string(getpid()) + ")";
        std::exit(progname() == want ? 0 : 1);
    });
    EXPECT_EQ(r.exit_code, 0);
}

TEST(ProgramName, BaseNameCutAtTheFirstDotInLowerCase)
{
    const struct {
        const char *argv0;
        const char *name;
    } cases[] = {
        {"C:\\dir\\Backup.Tool.EXE", "backup"},
        {"/usr/sbin/StorageD", "storaged"},
        {"relative/dir/cli.sh", "cli"},
        {"plain", "plain"},
    };
    for (const auto &c : cases) {
        ox_set_progname(c.argv0);
        EXPECT_EQ(progname(), c.name) << c.argv0;
    }
    // NULL and empty leave the name as it was.
    ox_set_progname(nullptr);
    ox_set_progname("");
    EXPECT_EQ(progname(), "plain");
}

TEST(ProgramName, BoundsAndArguments)
{
    ox_set_progname("/bin/longername");
    EXPECT_EQ(progname(5), "long");
    EXPECT_EQ(progname(1), "");
    EXPECT_EQ(ox_get_progname(nullptr, 10), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    char buf[4];
    EXPECT_EQ(ox_get_progname(buf, 0), nullptr);
}

TEST(ProgramName, DebugControlPath)
{
    auto r = cairn::testing::run_in_child([] {
        if (std::string(cairn::debug_control_path()) != "")
            std::exit(1);
        cairn::set_debug_control_path("/opt/bxr/tmp");
        std::exit(std::string(cairn::debug_control_path()) == "/opt/bxr/tmp/oxdbg.tmp" ? 0 : 2);
    });
    EXPECT_EQ(r.exit_code, 0);
}

}  // namespace

namespace {

// Every argv[0] text handed out stays readable for the life of the process,
// however often ox_find_installdir() records a new one (AddressSanitizer
// reports a use after free otherwise).
TEST(Argv0, TextsHandedOutStayValid)
{
    ox_set_argv0("/opt/first/bin/prog");
    const char *first = ox_get_argv0();
    ASSERT_NE(first, nullptr);
    ox_find_installdir("/opt/second/bin/prog");
    const char *second = ox_get_argv0();
    EXPECT_STREQ(second, "/opt/second/bin/prog");
    EXPECT_STREQ(first, "/opt/first/bin/prog");
    // The same name again keeps the text already handed out.
    ox_find_installdir("/opt/second/bin/prog");
    EXPECT_EQ(ox_get_argv0(), second);
    ox_set_argv0(nullptr);  // ignored
    EXPECT_EQ(ox_get_argv0(), second);
    for (int i = 0; i < 50; ++i)
        ox_set_argv0(i % 2 ? "/x/a" : "/x/b");
    EXPECT_STREQ(first, "/opt/first/bin/prog");
    EXPECT_STREQ(second, "/opt/second/bin/prog");
    EXPECT_STREQ(ox_get_argv0(), "/x/a");
}

}  // namespace
