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
