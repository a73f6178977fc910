// The va_list forms of the printing and debug calls, reached through
// variadic wrappers as callers of the library reach them.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "debug_scope.hpp"

using cairn::testing::DebugScope;
using cairn::testing::run_in_child;

namespace {

int via_vsprintf(char *buf, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vsprintf(buf, fmt, ap);
    va_end(ap);
    return n;
}

int via_vprintf(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vprintf(fmt, ap);
    va_end(ap);
    return n;
}

int via_vfprintf(FILE *f, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vfprintf(f, fmt, ap);
    va_end(ap);
    return n;
}

void via_vdfprintf(int level, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    vdfprintf(level, fmt, ap);
    va_end(ap);
}

void via_vprintinfo(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    vprintinfo(fmt, ap);
    va_end(ap);
}

}  // namespace

TEST(VaListForms, FormattersWriteWhatTheirVariadicTwinsWrite)
{
    char buf[64];
    EXPECT_EQ(via_vsprintf(buf, "%2$s-%1$05d", 42, "id"), 8);
    EXPECT_STREQ(buf, "id-00042");
    EXPECT_EQ(via_vsprintf(nullptr, "%d", 1), 0);

    auto out = run_in_child([] {
        int n = via_vprintf("[%s|%x]", "a", 255);
        std::fflush(stdout);
        FILE *err = stderr;
        int m = via_vfprintf(err, "<%c>", 'z');
        std::fprintf(stderr, "%d %d %d", n, m, via_vfprintf(nullptr, "x"));
    });
    ASSERT_TRUE(out.exited);
    EXPECT_EQ(out.out, "[a|ff]");
    EXPECT_EQ(out.err, "<z>6 3 -1");
}

TEST(VaListForms, DebugAndInformationLines)
{
    auto child = run_in_child([] {
        ox_set_progname("prog");
        DebugScope scope(2, 0);
        via_vdfprintf(2, "shown %d\n", 2);
        via_vdfprintf(3, "hidden\n");
        via_vprintinfo("info %s\n", "five");
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.err, "prog: shown 2\n");
    EXPECT_EQ(child.out, "prog: info five\n");
}
