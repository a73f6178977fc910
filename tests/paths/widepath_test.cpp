// UTF-8 paths to absolute wide system paths: every way of making a path
// absolute, the prefixes, the bounds and the conversion results.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "fault_injection.hpp"

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

TEST_F(WidePath, ClimbingAboveTheRootFails)
{
    std::string climb;
    for (int i = 0; i < 40; ++i)
        climb += "../";
    std::u16string out;
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(convert(climb + "x", out), OX_EINVAL);
    EXPECT_TRUE(out.empty());
    EXPECT_NE(ox_error_get_last(), OX_SUCCESS);
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
    cairn::testing::for_each_allocation_failure([&] {
        std::vector<ox_wchar> buf(18);
        return ox_utf8_to_widepath(accents.c_str(), buf.data(), buf.size(), nullptr) == 0;
    });
}

TEST_F(WidePath, TooLongAndBadArguments)
{
    std::u16string out;
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

TEST(WideSeparator, AddsToWidePaths)
{
    ox_wchar path[8] = {'C', ':', 0, 0};
    EXPECT_EQ(adddirsepw(path, '\\'), path);
    EXPECT_EQ(from_wide(path), u"C:\\");
    EXPECT_EQ(adddirsepw(path, '\\'), path);
    EXPECT_EQ(from_wide(path), u"C:\\");
}

}  // namespace
