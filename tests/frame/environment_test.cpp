// The environment cache, ox_putenv and the getenv_ulong rules.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "frame/environment.hpp"

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

TEST(Environment, GetenvUlongAbortsOnAMalformedSpec)
{
    for (const char *spec : {"CAIRN_T_X=5", "=5,1:2", "CAIRN_T_X"}) {
        auto r = cairn::testing::run_in_child([spec] { ox_getenv_ulong(spec, 1); });
        EXPECT_EQ(r.signal, SIGABRT) << spec;
        EXPECT_NE(r.err.find(std::string("Unable to get the value of environment variable '") +
                             spec + "': the string is improperly formatted.\n"),
                  std::string::npos)
            << r.err;
    }
}

TEST(Environment, GetenvUlongDebugLine)
{
    auto r = cairn::testing::run_in_child([] {
        Debug = 2;
        ox_putenv("CAIRN_T_Y=");
        ox_getenv_ulong("CAIRN_T_Y=9,1:50", 3);
    });
    EXPECT_NE(r.err.find("getenv_ulong(CAIRN_T_Y=9,1:50, 3) returning 9\n"), std::string::npos)
        << r.err;
}

}  // namespace
