// UTF-8 paths to absolute wide system paths: every way of making a path
// absolute, the prefixes, the bounds and the conversion results; and the
// UTF-8 / wide conversions the path functions stand on (replacement, no
// surrogate pairs, results).
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "paths/wide_text.hpp"

namespace {

std::u16string widen(const std::string &s) { return std::u16string(s.begin(), s.end()); }

std::u16string from_wide(const ox_wchar *p)
{
    std::u16string s;
    while (*p != 0)
        s += static_cast<char16_t>(*p++);
    return s;
}

std::string backslashed(std::string s)
{
    for (char &c : s)
        if (c == '/')
            c = '\\';
    return s;
}

// Runs in a fresh directory /tmp/widepath_XXXXXX/d1/d2 and returns to the
// old one afterwards.
class WidePath : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(old_, sizeof old_), nullptr);
        char base[] = "/tmp/widepath_XXXXXX";
        ASSERT_NE(mkdtemp(base), nullptr);
        base_ = base;
        cwd_ = base_ + "/d1/d2";
        ASSERT_EQ(mkdir((base_ + "/d1").c_str(), 0700), 0);
        ASSERT_EQ(mkdir(cwd_.c_str(), 0700), 0);
        ASSERT_EQ(chdir(cwd_.c_str()), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(chdir(old_), 0);
        rmdir(cwd_.c_str());
        rmdir((base_ + "/d1").c_str());
        rmdir(base_.c_str());
    }

    // The call's result and its output.
    int convert(const std::string &path, std::u16string &out, size_t size = OX_PATH_MAX + 8,
                size_t *after = nullptr)
    {
        std::vector<ox_wchar> buf(size == 0 ? 1 : size, 0xAAAA);
        ox_wchar *after_prefix = nullptr;
        int r = ox_utf8_to_widepath(path.c_str(), buf.data(), size, &after_prefix);
        out = from_wide(buf.data());
        if (after != nullptr)
            *after = static_cast<size_t>(after_prefix - buf.data());
        return r;
    }

    char old_[PATH_MAX];
    std::string base_, cwd_;
};

TEST_F(WidePath, MakingPathsAbsoluteAsTable)
{
    const std::string here = backslashed(cwd_);
    const std::string up = backslashed(base_ + "/d1");
    struct Case {
        std::string path, expected;
        size_t after;
    } cases[] = {
        {"C:\\x\\y", "\\\\?\\C:\\x\\y", 4},
        {"c:/x/y/", "\\\\?\\c:\\x\\y\\", 4},  // taken as it is: no trailing cut
        {"\\\\server\\share\\f", "\\\\?\\UNC\\server\\share\\f", 8},
        {"\\\\server/share", "\\\\?\\UNC\\server\\share", 8},
        {"\\\\?\\C:\\x", "\\\\?\\C:\\x", 0},  // already a system path
        {"\\\\.\\pipe\\p", "\\\\.\\pipe\\p", 0},
        {".", "\\\\?\\" + here, 4},
        // The current directory has no drive: a rooted path keeps its root.
        {"/etc/x", "\\\\?\\\\etc\\x", 4},
        {"\\etc", "\\\\?\\\\etc", 4},
        {"a/b", "\\\\?\\" + here + "\\a\\b", 4},
        {"a/", "\\\\?\\" + here + "\\a", 4},
        {"./a", "\\\\?\\" + here + "\\a", 4},
        {"./", "\\\\?\\" + here, 4},
        {".\\./a", "\\\\?\\" + here + "\\a", 4},
        {"../a", "\\\\?\\" + up + "\\a", 4},
        {"..\\..\\a", "\\\\?\\" + backslashed(base_) + "\\a", 4},
        {"./../a", "\\\\?\\" + up + "\\a", 4},
        {".profile", "\\\\?\\" + here + "\\.profile", 4},
        {"..", "\\\\?\\" + here + "\\..", 4},
        {"..x", "\\\\?\\" + here + "\\..x", 4},
        {"a/../b", "\\\\?\\" + here + "\\a\\..\\b", 4},  // only leading components are resolved
    };
    for (const Case &c : cases) {
        std::u16string out;
        size_t after = 99;
        EXPECT_EQ(convert(c.path, out, OX_PATH_MAX + 8, &after), 0) << c.path;
        EXPECT_EQ(out, widen(c.expected)) << c.path;
        EXPECT_EQ(after, c.after) << c.path;
    }
}

TEST_F(WidePath, WideTextAndReplacements)
{
    std::u16string out;
    EXPECT_EQ(convert("C:\\\xc3\xa9t\xc3\xa9", out), 0);
    EXPECT_EQ(out, u"\\\\?\\C:\\\u00e9t\u00e9");
    EXPECT_EQ(convert("C:\\\xf0\x9f\x98\x80", out), 0);  // beyond 16 bits: the low 16 bits
    EXPECT_EQ(out, std::u16string(u"\\\\?\\C:\\") + static_cast<char16_t>(0xF600));
    EXPECT_EQ(convert("C:\\a\xff", out), 1);  // replaced bytes: reported, nothing written
    EXPECT_TRUE(out.empty());
}

TEST_F(WidePath, OutputBounds)
{
    std::u16string out;
    // "\\?\C:\x" is 8 units and a terminator.
    EXPECT_EQ(convert("C:\\x", out, 9), 0);
    EXPECT_EQ(out, u"\\\\?\\C:\\x");
    EXPECT_EQ(convert("C:\\x", out, 8), OX_ENOBUFS);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(convert("C:\\x", out, 4), OX_ENOBUFS);
    // Multi-byte text that fits although its bytes would not.
    std::string accents = "C:\\";
    for (int i = 0; i < 10; ++i)
        accents += "\xc3\xa9";
    EXPECT_EQ(convert(accents, out, 4 + 13 + 1), 0);
    EXPECT_EQ(out.size(), 17u);
    EXPECT_EQ(convert(accents, out, 4 + 13), OX_ENOBUFS);
}

TEST_F(WidePath, TooLongAndBadArguments)
{
    std::u16string out;
    std::string climb;
    for (int i = 0; i < 40; ++i)
        climb += "../";
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(convert(climb + "x", out), OX_EINVAL) << "climbing above the root";
    EXPECT_TRUE(out.empty());
    EXPECT_NE(ox_error_get_last(), OX_SUCCESS);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(convert("C:\\" + std::string(OX_PATH_MAX, 'x'), out), OX_EINVAL);
    EXPECT_EQ(ox_error_get_last(), OX_ENAMETOOLONG);
    EXPECT_EQ(convert(std::string(OX_PATH_MAX, 'x'), out), OX_EINVAL);
    ox_wchar buf[8];
    ox_wchar *after = buf + 3;
    EXPECT_EQ(ox_utf8_to_widepath(nullptr, buf, 8, &after), OX_EINVAL);
    EXPECT_EQ(after, buf);
    EXPECT_EQ(ox_utf8_to_widepath("C:\\", nullptr, 8, nullptr), OX_EINVAL);
    EXPECT_EQ(ox_utf8_to_widepath("C:\\", buf, 0, nullptr), OX_EINVAL);
}

using cairn::paths::WideUnit;

struct ToWide {
    const char *in;
    std::vector<WideUnit> expected;
    int result;
};

TEST(WideText, Utf8ToWideAsTable)
{
    const ToWide rows[] = {
        {"", {}, 0},
        {"abc", {'a', 'b', 'c'}, 0},
        {"\xc3\x28", {'?', '('}, 1},        // a lead byte without its continuation
        {"\xc0\x80", {'?', '?'}, 1},        // overlong: each bad byte replaced
        {"\xf0\x9f\x98\x80", {0xF600}, 0},  // beyond 16 bits: the low 16 bits
        {"\xe2\x82\xac", {0x20AC}, 0},
        {"\xed\xa0\x80", {0xD800}, 0},  // a surrogate decodes on its own
        {"\xff\xfe", {'?', '?'}, 1},
        {"a\xe2\x82", {'a', '?', '?'}, 1},          // cut short by the terminator
        {"\xfd\x80\x80\x80\x80\x81", {0x0001}, 0},  // six bytes, value 0x40000001: the low 16 bits
    };
    for (const ToWide &r : rows) {
        std::vector<WideUnit> out(16, 0xAAAA);
        std::size_t count = 99;
        EXPECT_EQ(cairn::paths::utf8_to_wide(out.data(), r.in, out.size(), &count), r.result)
            << r.in;
        ASSERT_EQ(count, r.expected.size()) << r.in;
        for (std::size_t i = 0; i < count; ++i)
            EXPECT_EQ(out[i], r.expected[i]) << r.in << " unit " << i;
        EXPECT_EQ(out[count], 0);
    }
}

TEST(WideText, BoundsAndArguments)
{
    WideUnit out[3];
    std::size_t count = 0;
    EXPECT_EQ(cairn::paths::utf8_to_wide(out, "abcdef", 3, &count),
              0);  // running out of room is not reported
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(cairn::paths::utf8_to_wide(nullptr, "a", 3, &count), OX_EINVAL);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(cairn::paths::utf8_to_wide(out, nullptr, 3, nullptr), OX_EINVAL);

    const WideUnit euro[] = {0x20AC, 'x', 0};
    char bytes[8];
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, euro, sizeof bytes, &count), 0);
    EXPECT_EQ(std::string(bytes), "\xe2\x82\xac"
                                  "x");
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, euro, 4, &count),
              OX_ENOBUFS);  // whole characters only
    EXPECT_EQ(std::string(bytes), "\xe2\x82\xac");
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, euro, 3, &count), OX_ENOBUFS);
    EXPECT_EQ(std::string(bytes), "");
    // Without an output it only counts, so a caller can size its buffer.
    EXPECT_EQ(cairn::paths::wide_to_utf8(nullptr, euro, 3, &count), OX_ENOBUFS);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, nullptr, sizeof bytes, &count), OX_EINVAL);
}

}  // namespace
