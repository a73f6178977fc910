// The environment cache, ox_putenv and the getenv_ulong rules; the program
// name, argv[0] and the debug-control file's path.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "frame/environment.hpp"
#include "frame/process_identity.hpp"

namespace {

TEST(Environment, ReturnedValuesStayValidAcrossChanges)
{
    ASSERT_EQ(ox_putenv("CAIRN_T_A=first"), 0);
    const char *first = ox_getenv("CAIRN_T_A");
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, "first");
    EXPECT_EQ(ox_getenv("CAIRN_T_A"), first);  // cached
    ASSERT_EQ(ox_putenv("CAIRN_T_A=second"), 0);
    EXPECT_STREQ(first, "first");  // the old pointer still reads its value
    const char *second = ox_getenv("CAIRN_T_A");
    EXPECT_STREQ(second, "second");
    EXPECT_STREQ(std::getenv("CAIRN_T_A"), "second");
    // An empty value removes the variable.
    ASSERT_EQ(ox_putenv("CAIRN_T_A="), 0);
    EXPECT_EQ(ox_getenv("CAIRN_T_A"), nullptr);
    EXPECT_STREQ(second, "second");
}

TEST(Environment, UnsetVariablesAreNotCached)
{
    unsetenv("CAIRN_T_B");
    EXPECT_EQ(ox_getenv("CAIRN_T_B"), nullptr);
    setenv("CAIRN_T_B", "now", 1);
    EXPECT_STREQ(ox_getenv("CAIRN_T_B"), "now");
    EXPECT_EQ(ox_getenv(nullptr), nullptr);
}

TEST(Environment, PutenvUpdatesTheSnapshotAndRejectsBadAssignments)
{
    cairn::environment_snapshot_take();
    int before = cairn::environment_snapshot_size();
    ASSERT_EQ(ox_putenv("CAIRN_T_C=1"), 0);
    ASSERT_EQ(ox_putenv("CAIRN_T_C=2"), 0);
    EXPECT_EQ(cairn::environment_snapshot_size(), before + 1);
    char entry[64];
    ASSERT_TRUE(cairn::environment_snapshot_find("CAIRN_T_C", entry, sizeof entry));
    EXPECT_STREQ(entry, "CAIRN_T_C=2");
    errno = 0;
    EXPECT_EQ(ox_putenv("NOEQUALS"), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ox_putenv("=value"), -1);
    EXPECT_EQ(ox_putenv(nullptr), -1);
}

struct UlongCase {
    const char *value;  // nullptr: unset
    const char *spec;
    unsigned long base;
    unsigned long want;
};

TEST(Environment, GetenvUlongRules)
{
    const UlongCase cases[] = {
        {nullptr, "CAIRN_T_X=100,1:50", 0, 50},
        {"%10", "CAIRN_T_X=100,1:5000", 300, 30},
        {"D", "CAIRN_T_X=100,1:50", 300, 50},
        {"D", "CAIRN_T_X=100,1:500", 300, 300},
        {"<20", "CAIRN_T_X=100,1:500", 300, 20},
        {"<900", "CAIRN_T_X=100,1:5000", 300, 300},
        {">900", "CAIRN_T_X=100,1:5000", 300, 900},
        {"=7", "CAIRN_T_X=100,1:50", 300, 7},
        {"42", "CAIRN_T_X=100,1:*", 0, 42},
        {"0", "CAIRN_T_X=100,5:50", 0, 5},
        // No minimum: everything below 2^31 is raised to 0x80000000.
        {"42", "CAIRN_T_X=100,:*", 0, 0x80000000ul},
        {"42", "CAIRN_T_X=100,*:", 0, 0x80000000ul},
        // Percent arithmetic wraps at 32 bits.
        {"%200", "CAIRN_T_X=1,0:*", 3000000000ul, (200ul * 3000000000ul % 4294967296ul) / 100},
        {"abc", "CAIRN_T_X=1,0:*", 0, 0},
    };
    for (const auto &c : cases) {
        if (c.value)
            ox_putenv((std::string("CAIRN_T_X=") + c.value).c_str());
        else
            ox_putenv("CAIRN_T_X=");
        EXPECT_EQ(ox_getenv_ulong(c.spec, c.base), c.want)
            << (c.value ? c.value : "(unset)") << " " << c.spec << " " << c.base;
    }
}

// In children: a malformed spec aborts with its line; at level 2 the
// result is told.
TEST(Environment, GetenvUlongAbortsOnAMalformedSpecAndTellsItsResult)
{
    for (const char *spec : {"CAIRN_T_X=5", "=5,1:2", "CAIRN_T_X"}) {
        auto r = cairn::testing::run_in_child([spec] { ox_getenv_ulong(spec, 1); });
        EXPECT_EQ(r.signal, SIGABRT) << spec;
        EXPECT_NE(r.err.find(std::string("Unable to get the value of environment variable '") +
                             spec + "': the string is improperly formatted.\n"),
                  std::string::npos)
            << r.err;
    }
    auto r = cairn::testing::run_in_child([] {
        Debug = 2;
        ox_putenv("CAIRN_T_Y=");
        ox_getenv_ulong("CAIRN_T_Y=9,1:50", 3);
    });
    EXPECT_NE(r.err.find("getenv_ulong(CAIRN_T_Y=9,1:50, 3) returning 9\n"), std::string::npos)
        << r.err;
}

std::string progname(int n = 64)
{
    char buf[64];
    return ox_get_progname(buf, n) ? buf : "<null>";
}

// Before any name it is the pid; the control path is empty until set.
TEST(ProgramName, DefaultsInAFreshProcess)
{
    auto r = cairn::testing::run_in_child([] {
        std::string want = "(pid " + std::to_string(getpid()) + ")";
        if (progname() != want)
            std::exit(1);
        if (std::string(cairn::debug_control_path()) != "")
            std::exit(2);
        cairn::set_debug_control_path("/opt/bxr/tmp");
        std::exit(std::string(cairn::debug_control_path()) == "/opt/bxr/tmp/oxdbg.tmp" ? 0 : 3);
    });
    EXPECT_EQ(r.exit_code, 0);
}

TEST(ProgramName, BaseNameCutAtTheFirstDotInLowerCaseAndBounds)
{
    const struct {
        const char *argv0;
        const char *name;
    } cases[] = {
        {"C:\\dir\\Backup.Tool.EXE", "backup"},
        {"/usr/sbin/StorageD", "storaged"},
        {"relative/dir/cli.sh", "cli"},
        {"/bin/longername", "longername"},
    };
    for (const auto &c : cases) {
        ox_set_progname(c.argv0);
        EXPECT_EQ(progname(), c.name) << c.argv0;
    }
    // NULL and empty leave the name as it was.
    ox_set_progname(nullptr);
    ox_set_progname("");
    EXPECT_EQ(progname(5), "long");
    EXPECT_EQ(progname(1), "");
    EXPECT_EQ(ox_get_progname(nullptr, 10), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    char buf[4];
    EXPECT_EQ(ox_get_progname(buf, 0), nullptr);
}

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
