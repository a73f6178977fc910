// Bounded copies, comparison and search, editing, numbers and string vectors.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "platform/alloc.hpp"

namespace {
std::vector<ox_wchar> wide(const char *ascii)
{
    std::vector<ox_wchar> w(ascii, ascii + std::strlen(ascii));
    w.push_back(0);
    return w;
}
}  // namespace

TEST(BoundedCopy, CopyAndConcatenateBoundsAndMeasures)
{
    const std::pair<size_t, const char *> copies[] = {
        {1, ""}, {2, "h"}, {5, "hell"}, {6, "hello"}, {9, "hello"}};
    for (auto [size, want] : copies) {
        char buf[10];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(ox_strlcpy(buf, "hello", size), 5u);
        EXPECT_STREQ(buf, want);
        EXPECT_EQ(buf[size], '#') << "wrote past the size " << size;
    }
    char small[4] = "abc";
    EXPECT_EQ(ox_strlcpy(small, "hello", 0), 5u);
    EXPECT_STREQ(small, "abc");
    EXPECT_EQ(ox_strlcpy(nullptr, "hello", 8), 5u);
    EXPECT_EQ(ox_strlcpy(small, nullptr, 4), 0u);
    EXPECT_STREQ(small, "abc");

    struct Case {
        const char *dst;
        const char *src;
        size_t size;
        size_t result;
        const char *want;
    };
    const Case cases[] = {
        {"ab", "cde", 10, 5, "abcde"}, {"ab", "cde", 5, 5, "abcd"}, {"ab", "cde", 3, 5, "ab"},
        {"abcd", "xy", 4, 6, "abcd"},  // no terminator within size: size + strlen(src)
        {"abcd", "xy", 2, 4, "abcd"},  {"", "xy", 1, 2, ""},        {"ab", "", 3, 2, "ab"},
    };
    for (const Case &c : cases) {
        char buf[16];
        std::memset(buf, '#', sizeof buf);
        std::strcpy(buf, c.dst);
        EXPECT_EQ(ox_strlcat(buf, c.src, c.size), c.result)
            << c.dst << "+" << c.src << "@" << c.size;
        EXPECT_STREQ(buf, c.want);
    }
    char buf[8] = "ab";
    EXPECT_EQ(ox_strlcat(buf, nullptr, sizeof buf), 2u);
    EXPECT_EQ(ox_strlcat(nullptr, "xyz", 8), 3u);

    // The wide forms.
    auto src = wide("hello");
    ox_wchar wbuf[8];
    std::fill(std::begin(wbuf), std::end(wbuf), 0x2323);
    EXPECT_EQ(ox_wcslcpy(wbuf, src.data(), 4), 5u);
    EXPECT_EQ(ox_wcslen(wbuf), 3u);
    EXPECT_EQ(wbuf[4], 0x2323);
    auto tail = wide("XY");
    EXPECT_EQ(ox_wcslcat(wbuf, tail.data(), 8), 5u);
    EXPECT_EQ(ox_wcslen(wbuf), 5u);
    EXPECT_EQ(wbuf[4], 'Y');
    EXPECT_EQ(ox_wcslcat(wbuf, tail.data(), 6), 7u);
    EXPECT_EQ(ox_wcslen(wbuf), 5u);
    EXPECT_EQ(ox_wcslcat(wbuf, tail.data(), 3), 5u) << "no terminator within size";
    EXPECT_EQ(ox_wcslen(nullptr), 0u);
    EXPECT_EQ(ox_wcslcpy(wbuf, nullptr, 8), 0u);
}

// Folding to upper case puts '_' (0x5F) after the letters; bytes from 0x80
// compare as they are.
TEST(Compare, StraicmpOrderAsData)
{
    struct Case {
        const char *a;
        const char *b;
        int sign;
    };
    const Case cases[] = {
        {"abc", "ABC", 0},
        {"a_b", "aZb", 1},
        {"A_B", "azb", 1},
        {"_", "z", 1},
        {"abc", "abd", -1},
        {"ab", "abc", -1},
        {"\xC3\xA9", "\xC3\x89", 1},
        {"", "", 0},
        {nullptr, "", 0},
        {"a", nullptr, 1},
        {"[", "a", 1},
    };
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (const Case &c : cases)
        EXPECT_EQ(sign(ox_straicmp(c.a, c.b)), c.sign)
            << (c.a ? c.a : "(null)") << " vs " << (c.b ? c.b : "(null)");
    EXPECT_EQ(ox_straicmp("a_", "aA"), '_' - 'A');
    const char *same = "x";
    EXPECT_EQ(ox_straicmp(same, same), 0);
}

TEST(Search, CaseInsensitiveAndBoundedSearch)
{
    const char *h = "Backup of SERVER_one finished";
    EXPECT_EQ(ox_stristr(h, "server_ONE"), h + 10);
    EXPECT_EQ(ox_stristr(h, ""), h);
    EXPECT_EQ(ox_stristr(h, "servers"), nullptr);
    EXPECT_EQ(ox_stristr(nullptr, "a"), nullptr);
    EXPECT_EQ(ox_stristr("\xC3\xA9t\xC3\xA9", "\xC3\x89"), nullptr) << "no folding beyond ASCII";

    auto wh = wide("Daily FULL run");
    auto wn = wide("full");
    EXPECT_EQ(ox_wcsistr(wh.data(), wn.data()), wh.data() + 6);
    auto missing = wide("fullx");
    EXPECT_EQ(ox_wcsistr(wh.data(), missing.data()), nullptr);

    EXPECT_EQ(ox_strnstr(h, "of", 10), h + 7);
    EXPECT_EQ(ox_strnstr(h, "of", 8), nullptr) << "must lie wholly within len";
    EXPECT_EQ(ox_strnstr(h, "of", 9), h + 7);
    EXPECT_EQ(ox_strnstr("ab", "abc", 100), nullptr);
    EXPECT_EQ(ox_strnstr(h, "", 0), h);

    EXPECT_EQ(ox_strcount("aaaa", "aa"), 2u);
    EXPECT_EQ(ox_strcount("a,b,,c", ","), 3u);
    EXPECT_EQ(ox_strcount("abc", ""), 0u);
    EXPECT_EQ(ox_strcount(nullptr, "a"), 0u);
}

namespace {
// The searches as the definition states them, position by position.
template <typename Unit>
Unit naive_fold(Unit u)
{
    return u >= 'a' && u <= 'z' ? static_cast<Unit>(u - 'a' + 'A') : u;
}

template <typename Unit>
std::ptrdiff_t naive_find(const std::basic_string<Unit> &h, const std::basic_string<Unit> &n,
                          bool fold, std::size_t limit = SIZE_MAX)
{
    std::size_t end = std::min(h.size(), limit);
    for (std::size_t i = 0; i + n.size() <= end; ++i) {
        std::size_t k = 0;
        while (k < n.size() && (fold ? naive_fold(h[i + k]) == naive_fold(n[k]) : h[i + k] == n[k]))
            ++k;
        if (k == n.size())
            return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
}

// Random text over a few units, with the letters' neighbours that must not
// fold ('@', '[', '`', '{') and units beyond ASCII.
template <typename Unit>
std::basic_string<Unit> random_text(std::mt19937 &rng, std::size_t max_len,
                                    const std::vector<Unit> &units)
{
    std::basic_string<Unit> s(rng() % (max_len + 1), Unit{'a'});
    for (Unit &u : s)
        u = units[rng() % units.size()];
    return s;
}

template <typename Unit>
std::ptrdiff_t offset(const Unit *hit, const Unit *base)
{
    return hit ? hit - base : -1;
}
}  // namespace

// The linear searches give the reference's answers on random inputs,
// including the case folds and the units that must not fold.
TEST(Search, LinearSearchesMatchTheReference)
{
    std::mt19937 rng(424242);
    const std::vector<char> narrow_units = {'a', 'A', 'b',    'B',    '@', '[',
                                            '`', '{', '\xC3', '\xA9', 'z', 'Z'};
    const std::vector<ox_wchar> wide_units = {'a', 'A',    'b',    'B',    '`',
                                              '{', 0x0161, 0x0160, 0xFF41, 'z'};
    for (int round = 0; round < 20000; ++round) {
        // Small alphabets make periodic needles and near misses common.
        std::size_t alphabet = 2 + rng() % 5;
        std::vector<char> nu(narrow_units.begin(), narrow_units.begin() + alphabet);
        auto h = random_text(rng, 40, nu);
        auto n = random_text(rng, 6, nu);
        if (round % 3 == 0 && h.size() > 4)  // a needle cut from the text
            n = h.substr(rng() % (h.size() - 3), 1 + rng() % 3);
        ASSERT_EQ(offset(ox_stristr(h.c_str(), n.c_str()), h.c_str()), naive_find(h, n, true))
            << h << " / " << n;
        std::size_t limit = rng() % (h.size() + 2);
        ASSERT_EQ(offset<char>(ox_strnstr(h.c_str(), n.c_str(), limit), h.c_str()),
                  naive_find(h, n, false, limit))
            << h << " / " << n << " / " << limit;

        std::vector<ox_wchar> wu(wide_units.begin(), wide_units.begin() + alphabet);
        auto wh = random_text(rng, 40, wu);
        auto wn = random_text(rng, 5, wu);
        ASSERT_EQ(offset<ox_wchar>(ox_wcsistr(wh.c_str(), wn.c_str()), wh.c_str()),
                  naive_find(wh, wn, true));
    }
}

// Worst cases for a quadratic search: they finish in a normal test run.
TEST(Search, LongWorstCasesFinish)
{
    const std::size_t mib = 1 << 20;
    std::string h(mib, 'a');
    std::string n = std::string(64 * 1024, 'A') + "b";
    EXPECT_EQ(ox_stristr(h.c_str(), n.c_str()), nullptr);
    EXPECT_EQ(ox_strnstr(h.c_str(), std::string(64 * 1024, 'a').append("b").c_str(), h.size()),
              nullptr);
    h.back() = 'B';
    std::string tail = std::string(64 * 1024, 'a') + "b";
    EXPECT_EQ(ox_stristr(h.c_str(), tail.c_str()), h.c_str() + mib - tail.size());
    std::basic_string<ox_wchar> wh(mib, ox_wchar{'a'}), wn(64 * 1024, ox_wchar{'A'});
    wn.push_back('b');
    EXPECT_EQ(ox_wcsistr(wh.c_str(), wn.c_str()), nullptr);
    wh.back() = 'B';
    EXPECT_EQ(ox_wcsistr(wh.c_str(), wn.c_str()), wh.c_str() + mib - wn.size());
}

TEST(Case, FoldsOnlyAsciiLetters)
{
    char s[] = "MiXeD_\xC3\x89t\xC3\xA9 9";
    EXPECT_EQ(ox_strlower(s), s);
    EXPECT_STREQ(s, "mixed_\xC3\x89t\xC3\xA9 9");
    EXPECT_EQ(ox_strupper(s), s);
    EXPECT_STREQ(s, "MIXED_\xC3\x89T\xC3\xA9 9");
    EXPECT_EQ(ox_strlower(nullptr), nullptr);
}

TEST(Edit, ReplaceIsBoundedAllOrNothingAndLinearAppendGrows)
{
    char buf[16] = "a-b-c";
    EXPECT_EQ(ox_strreplace(buf, sizeof buf, "-", "::"), 2);
    EXPECT_STREQ(buf, "a::b::c");
    EXPECT_EQ(ox_strreplace(buf, sizeof buf, "::", ""), 2);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(ox_strreplace(buf, sizeof buf, "x", "y"), 0);
    EXPECT_EQ(ox_strreplace(buf, sizeof buf, "", "y"), 0);

    char tight[8] = "aaa";
    EXPECT_EQ(ox_strreplace(tight, 8, "aa", "b"), 1) << "left to right, no overlap";
    EXPECT_STREQ(tight, "ba");
    EXPECT_EQ(ox_strreplace(tight, 8, "a", "1234567"), -1) << "needs 8 bytes and a terminator";
    EXPECT_EQ(ox_error_get_last(), OX_ENOBUFS);
    EXPECT_STREQ(tight, "ba");
    EXPECT_EQ(ox_strreplace(tight, 8, "a", "123456"), 1) << "exactly fills the buffer";
    EXPECT_STREQ(tight, "b123456");

    char unterminated[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(ox_strreplace(unterminated, 4, "a", "b"), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_strreplace(nullptr, 4, "a", "b"), -1);
    EXPECT_EQ(ox_strreplace(tight, 8, "a", nullptr), -1);

    // Replacement is linear: a mebibyte of hits grows and shrinks at once.
    const std::size_t mib = 1 << 20;
    std::vector<char> big(2 * mib + 1, '\0');
    std::memset(big.data(), 'a', mib);
    EXPECT_EQ(ox_strreplace(big.data(), big.size(), "a", "bb"), static_cast<int>(mib));
    EXPECT_EQ(std::strlen(big.data()), 2 * mib);
    EXPECT_EQ(std::string(big.data(), 4), "bbbb");
    EXPECT_EQ(std::strspn(big.data(), "b"), 2 * mib);
    EXPECT_EQ(ox_strreplace(big.data(), big.size(), "bb", "c"), static_cast<int>(mib));
    EXPECT_EQ(std::strspn(big.data(), "c"), mib);
    EXPECT_EQ(std::strlen(big.data()), mib);

    // Appending grows the text.
    char *s = ox_strappend(nullptr, "back");
    ASSERT_NE(s, nullptr);
    s = ox_strappend(s, "up");
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s, "backup");
    EXPECT_EQ(ox_strappend(s, nullptr), s);
    cairn::mem_free(s);
}

TEST(Numbers, StrtollResultsAsData)
{
    const std::pair<const char *, int64_t> cases[] = {
        {"", 0},
        {"0", 0},
        {"42", 42},
        {"  -17", -17},
        {"+8", 8},
        {"9223372036854775806", INT64_MAX - 1},
        {"-9223372036854775807", INT64_MIN + 1},
        {"-9223372036854775808", OX_STRTOLL_FAILED},  // exactly the smallest value
        {"9223372036854775808", OX_STRTOLL_FAILED},   // range error
        {"-99999999999999999999", OX_STRTOLL_FAILED},
        {"12abc", OX_STRTOLL_FAILED},
        {"12 ", OX_STRTOLL_FAILED},
        {"abc", OX_STRTOLL_FAILED},
        {" ", OX_STRTOLL_FAILED},
        {"0x10", OX_STRTOLL_FAILED},  // base 10 only
        {nullptr, OX_STRTOLL_FAILED},
    };
    for (auto [text, value] : cases)
        EXPECT_EQ(ox_strtoll(text), value) << (text ? text : "(null)");
    EXPECT_EQ(OX_STRTOLL_FAILED, INT64_MAX);
}

TEST(Vectors, EmptyRefusedAndJoinedWithAndWithoutSeparator)
{
    char **empty = ox_strvalloc(0, 8);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty[0], nullptr);
    ox_strvfree(empty);
    EXPECT_EQ(ox_strvalloc(-1, 8), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    ox_strvfree(nullptr);

    char a[] = "usr", b[] = "", c[] = "bin";
    char *v[] = {a, b, c, nullptr};
    struct Case {
        char sep;
        const char *want;
    };
    for (Case k : {Case{'/', "usr//bin"}, Case{'\0', "usrbin"}}) {
        char *joined = ox_strvcat(v, k.sep);
        ASSERT_NE(joined, nullptr);
        EXPECT_STREQ(joined, k.want);
        cairn::mem_free(joined);
    }
    char *none[] = {nullptr};
    char *joined = ox_strvcat(none, ',');
    ASSERT_NE(joined, nullptr);
    EXPECT_STREQ(joined, "");
    cairn::mem_free(joined);
    EXPECT_EQ(ox_strvcat(nullptr, ','), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}
