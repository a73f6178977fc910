// The never-null allocators (exhaustion seen from a forked child), integer
// text and the two pattern matchers.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "cairn/frame.h"
#include "cairn/utilities.h"
#include "child_process.hpp"
#include "fault_injection.hpp"
#include "platform/alloc_testing.hpp"

namespace {

using cairn::testing::run_in_child;

TEST(Xalloc, UsableMemoryOrTheProcessEndsWithALastLine)
{
    auto *p = static_cast<char *>(xmalloc(0));
    ASSERT_NE(p, nullptr);
    std::free(p);
    auto *z = static_cast<unsigned char *>(xcalloc(64, 4));
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(z[i], 0);
    std::free(z);
    char *s = xstrdup("text");
    EXPECT_STREQ(s, "text");
    std::free(s);
    EXPECT_EQ(xstrdup(nullptr), nullptr);
    struct Case {
        const char *caller;
        void (*call)();
    };
    const Case cases[] = {
        {"xmalloc", [] { xmalloc(100); }},
        {"xcalloc", [] { xcalloc(10, 10); }},
        {"xstrdup", [] { xstrdup("0123456789"); }},
    };
    for (const Case &c : cases) {
        auto r = run_in_child([&] {
            cairn::testing::AllocFaultGuard guard;
            cairn::testing::alloc_fail_at(1);
            c.call();
            std::exit(7);  // not reached when the call ends the process
        });
        EXPECT_TRUE(r.exited) << c.caller;
        EXPECT_EQ(r.exit_code, 1) << c.caller;
        EXPECT_EQ(r.err, std::string(c.caller) + ": out of memory (" +
                             (std::strcmp(c.caller, "xstrdup") == 0 ? "11" : "100") + " bytes)\n");
    }
}

TEST(Xalloc, AHugeRequestEndsTheProcess)
{
    // A request no allocator can meet, without injection.  The address
    // sanitizer's allocator stops the process itself on such a request.
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "huge requests are the sanitizer's to report";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "huge requests are the sanitizer's to report";
#endif
#endif
    auto r = run_in_child([] { xmalloc(SIZE_MAX - 64); });
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("xmalloc: out of memory ("), std::string::npos);
    r = run_in_child([] { xcalloc(SIZE_MAX / 2, 4); });
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("xcalloc: out of memory"), std::string::npos);
}

TEST(Inttostr, WritesDecimalWithinTheBuffer)
{
    const std::pair<int64_t, const char *> rows[] = {{0, "0"},
                                                     {7, "7"},
                                                     {-7, "-7"},
                                                     {1234567890, "1234567890"},
                                                     {INT64_MAX, "9223372036854775807"},
                                                     {INT64_MIN, "-9223372036854775808"}};
    for (auto [value, text] : rows) {
        char buf[OX_INTTOSTR_SIZE];
        EXPECT_EQ(inttostr(value, buf, sizeof buf), buf);
        EXPECT_STREQ(buf, text);
        size_t need = std::strlen(text) + 1;
        char exact[OX_INTTOSTR_SIZE];
        EXPECT_EQ(inttostr(value, exact, need), exact);
        char small[OX_INTTOSTR_SIZE] = "xx";
        EXPECT_EQ(inttostr(value, small, need - 1), nullptr);
        EXPECT_EQ(ox_error_get_last(), ox_error_from_errno(ERANGE));
        EXPECT_STREQ(small, "") << "a short buffer holds no partial number";
    }
    EXPECT_EQ(inttostr(1, nullptr, 5), nullptr);
    EXPECT_EQ(inttostr(1, nullptr, 0), nullptr);
}

TEST(Patterns, RegexCompilesMatchesAndRefusesBadPatternsFmatchMatchesWholeNames)
{
    const std::tuple<const char *, const char *, int> rows[] = {
        {"abc", "xxabcxx", 1},  {"^abc$", "xabc", 0},    {"a.c", "abc", 1},
        {"a+b", "aaab", 1},     {"(x|y)z", "yz", 1},     {"ABC", "abc", 0},
        {"[0-9]{3}", "a12", 0}, {"[0-9]{3}", "a123", 1}, {"", "", 1}};
    for (auto [pattern, text, match] : rows) {
        ox_regex *re = regex_cmp(pattern);
        ASSERT_NE(re, nullptr) << pattern;
        EXPECT_EQ(regex_exec(re, text), match) << pattern << " ~ " << text;
        regex_done(re);
    }
    EXPECT_EQ(regex_cmp("a(b"), nullptr);
    EXPECT_EQ(ox_error_get_last(), ox_error_from_errno(EINVAL));
    EXPECT_EQ(regex_cmp("[z-a]"), nullptr);
    EXPECT_EQ(regex_cmp(nullptr), nullptr);
    EXPECT_EQ(regex_exec(nullptr, "x"), -1);
    regex_done(nullptr);

    // File-name patterns match whole names.
    const std::tuple<const char *, const char *, int> names[] = {
        {"*", "", 1},          {"*", "any/thing", 1},  {"a?c", "abc", 1},  {"a?c", "ac", 0},
        {"*.txt", "x.txt", 1}, {"*.txt", "x.txt2", 0}, {"[ab]x", "bx", 1}, {"[!ab]x", "bx", 0},
        {"\\*", "*", 1},       {"\\*", "x", 0},        {"A*", "abc", 0},   {"*", ".hidden", 1}};
    for (auto [pattern, name, match] : names)
        EXPECT_EQ(fmatch(pattern, name), match) << pattern << " ~ " << name;
    EXPECT_EQ(fmatch(nullptr, "x"), 0);
    EXPECT_EQ(fmatch("x", nullptr), 0);
}

}  // namespace
