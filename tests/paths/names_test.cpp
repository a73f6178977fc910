// Base and directory names, children, the clean-up of typed paths,
// trailing separators (narrow and wide) and the separator check; the child
// and parent steps checked against each other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/paths.h"
#include "path_test_util.hpp"

namespace {

using cairn::testing::exact_copy;
using cairn::testing::sep_name;

struct NameCase {
    const char *path;
    int sep;
    const char *base, *dir;
};

const NameCase kNames[] = {
    {"/a/b", '/', "b", "/a"},
    {"/a/b/", '/', "b", "/a"},
    {"/a//b//", '/', "b", "/a"},
    {"/a", '/', "a", "/"},
    {"/", '/', "/", "/"},
    {"///", '/', "/", "/"},
    {"a", '/', "a", "."},
    {"a/b", '/', "b", "a"},
    {"", '/', ".", "."},
    {"C:\\x", '/', "C:\\x", "."},
    {"C:\\a\\b", '\\', "b", "C:\\a"},
    {"C:\\a", '\\', "a", "C:\\"},
    {"C:/a", '\\', "a", "C:/"},  // '/' separates with '\\' too
    {"C:\\", '\\', "C:\\", "C:\\"},
    {"C:", '\\', "C:", "C:"},
    {"c:a", '\\', "a", "c:"},
    {"\\a", '\\', "a", "\\"},
    {"\\\\srv\\shr\\a\\b", '\\', "b", "\\\\srv\\shr\\a"},
    {"\\\\srv\\shr\\a", '\\', "a", "\\\\srv\\shr\\"},
    {"\\\\srv\\shr", '\\', "\\\\srv\\shr", "\\\\srv\\shr"},
    {"\\\\.\\pipe\\x", '\\', "\\\\.\\pipe\\x", "\\\\.\\pipe\\x"},
    {"\\\\?\\C:\\a", '\\', "a", "\\\\?\\C:\\"},
};

TEST(Names, BaseAndDirectoryAsTableBoundsAndFailures)
{
    for (const NameCase &c : kNames) {
        char out[64] = "junk";
        EXPECT_EQ(ox_path_basename(c.path, out, sizeof out, c.sep), out);
        EXPECT_STREQ(out, c.base) << '"' << c.path << "\" with " << sep_name(c.sep);
        EXPECT_EQ(ox_path_dirname(c.path, out, sizeof out, c.sep), out);
        EXPECT_STREQ(out, c.dir) << '"' << c.path << "\" with " << sep_name(c.sep);
        char *base = ox_path_basename(c.path, nullptr, 0, c.sep);
        char *dir = ox_path_dirname(c.path, nullptr, 0, c.sep);
        ASSERT_NE(base, nullptr);
        ASSERT_NE(dir, nullptr);
        EXPECT_STREQ(base, c.base);
        EXPECT_STREQ(dir, c.dir);
        ox_path_free(base);
        ox_path_free(dir);
    }

    char small[3];
    char *out = small;
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_path_basename("/x/abc", out, sizeof small, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_ENOSPC);
    EXPECT_EQ(ox_path_basename("/x/ab", out, sizeof small, '/'), out);
    EXPECT_STREQ(out, "ab");
    EXPECT_EQ(ox_path_dirname("/abc/d", out, sizeof small, '/'), nullptr);
    EXPECT_EQ(ox_path_dirname("/a", out, 1, '/'), nullptr);
    EXPECT_EQ(ox_path_basename(nullptr, out, sizeof small, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_path_dirname("/a", out, sizeof small, 0), nullptr);
}

TEST(Names, StripAsTable)
{
    const std::tuple<const char *, int, const char *> cases[] = {
        {" \"C:\\x\\\" ", '\\', "C:\\x"},
        {"\t/a/b//\n", '/', "/a/b"},
        {"\"/a b/\"", '/', "/a b"},
        {"\" /a \"", '/', " /a "},  // blanks inside quotes stay
        {"/", '/', "/"},
        {"  ///  ", '/', "/"},
        {"C:\\\\", '\\', "C:\\"},
        {"\\\\srv\\shr\\\\", '\\', "\\\\srv\\shr\\"},
        {"\"", '/', ""},
        {"", '/', ""},
        {"   ", '/', ""},
        {"a\"", '/', "a"},
    };
    for (auto [in, sep, stripped] : cases) {
        auto buf = exact_copy(in);
        EXPECT_EQ(ox_path_strip(buf.get(), sep), buf.get());
        EXPECT_STREQ(buf.get(), stripped) << '"' << in << '"';
    }
    EXPECT_EQ(ox_path_strip(nullptr, '/'), nullptr);
}

TEST(ValidDirsep, SlashGivesTheMessage)
{
    for (const char *ok : {"", "name", "c:\\dir\\x", "a b"})
        EXPECT_EQ(valid_dirsep(ok), nullptr) << ok;
    msg_t *m = valid_dirsep("a/b");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 34252);
    EXPECT_EQ(m->err.type * 10000 + m->err.severity * 1000 + m->err.code, 10019);
    EXPECT_STREQ(m->text, "Path a/b may not contain '/' character");
    EXPECT_STREQ(m->stext.form, "Path %s may not contain '%s' character");
    ASSERT_EQ(m->stext.argcount, 2);
    EXPECT_STREQ(m->stext.args[1].text, "/");
    EXPECT_EQ(valid_dirsep(nullptr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

TEST(TrailingSeparators, AddRemoveAndSetAsTablesAndBadArguments)
{
    const std::tuple<const char *, int, const char *> added[] = {
        {"/a", '/', "/a/"},     {"/a/", '/', "/a/"},  {"/", '/', "/"},
        {"/", '\\', "/"},       {"", '/', "/"},       {"C:", '\\', "C:\\"},
        {"C:\\", '\\', "C:\\"}, {"a/", '\\', "a/\\"},  // only the given separator counts
    };
    for (auto [in, sep, out] : added) {
        auto buf = exact_copy(in, 1);
        EXPECT_EQ(adddirsep(buf.get(), sep), buf.get());
        EXPECT_STREQ(buf.get(), out) << in;
        std::vector<ox_wchar> wide(std::strlen(in) + 2, 0);
        std::copy(in, in + std::strlen(in), wide.begin());
        EXPECT_EQ(adddirsepw(wide.data(), sep), wide.data());
        EXPECT_EQ(std::string(wide.begin(), wide.begin() + static_cast<long>(std::strlen(out))),
                  out)
            << in;
        EXPECT_EQ(wide[std::strlen(out)], 0);
    }
    // Never beyond the path limit.
    std::string longest(OX_PATH_MAX - 2, 'a');
    auto buf = exact_copy(longest, 1);
    adddirsep(buf.get(), '/');
    EXPECT_EQ(std::strlen(buf.get()), static_cast<size_t>(OX_PATH_MAX - 1));
    adddirsep(buf.get(), '\\');
    EXPECT_EQ(std::strlen(buf.get()), static_cast<size_t>(OX_PATH_MAX - 1));

    const std::tuple<const char *, int, int, const char *> removed[] = {
        {"/", '/', 0, "/"},    {"//", '/', 1, "/"},     {"///", '/', 2, "/"},
        {"/a/", '/', 1, "/a"}, {"/a//", '/', 2, "/a"},  {"a", '/', 0, "a"},
        {"", '/', 0, ""},      {"a\\\\", '\\', 2, "a"}, {"a/\\", '\\', 1, "a/"},
        {"\\", '\\', 0, "\\"},
    };
    for (auto [in, sep, count, out] : removed) {
        auto copy = exact_copy(in);
        EXPECT_EQ(rmdirsep(copy.get(), sep), count) << in;
        EXPECT_STREQ(copy.get(), out) << in;
    }

    const std::tuple<const char *, int, int, const char *> set[] = {
        {"/", 1, '/', "/"},      {"/", 2, '/', "//"},
        {"/a", 2, '/', "/a//"},  {"/a///", 1, '/', "/a/"},
        {"/a///", 0, '/', "/a"}, {"/a", -5, '/', "/a"},
        {"///", 1, '/', "/"},    {"C:\\x\\\\", 1, '\\', "C:\\x\\"},
        {"", 2, '/', "//"},
    };
    for (auto [in, count, sep, out] : set) {
        auto copy = exact_copy(in, 4);
        EXPECT_EQ(setdirsep(copy.get(), count, sep), copy.get());
        EXPECT_STREQ(copy.get(), out) << in << " count " << count;
    }
    std::string big(10, 'a');
    std::vector<char> room(OX_PATH_MAX);
    std::memcpy(room.data(), big.c_str(), big.size() + 1);
    setdirsep(room.data(), 1 << 30, '/');
    EXPECT_EQ(std::strlen(room.data()), static_cast<size_t>(OX_PATH_MAX - 1))
        << "bounded by the path limit";

    char small[8] = "/a";
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(adddirsep(nullptr, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(adddirsep(small, 'x'), nullptr);
    EXPECT_EQ(adddirsepw(nullptr, '/'), nullptr);
    EXPECT_EQ(rmdirsep(nullptr, '/'), 0);
    EXPECT_EQ(rmdirsep(small, ':'), 0);
    EXPECT_EQ(setdirsep(nullptr, 1, '/'), nullptr);
    EXPECT_EQ(setdirsep(small, 1, 'a'), nullptr);
    EXPECT_STREQ(small, "/a");
}

struct ChildCase {
    const char *path, *parent;
    int sep;
    const char *child;  // nullptr: not below
};

const ChildCase kChildren[] = {
    {"/a/b/c", "/a", '/', "/a/b"},
    {"/a/b/c", "/a/", '/', "/a/b"},
    {"/a/b", "/a", '/', "/a/b"},
    {"/a/b/", "/a", '/', "/a/b"},
    {"/a/b", "/", '/', "/a"},
    {"/a", "/", '/', "/a"},
    {"/a", "/a", '/', nullptr},
    {"/a/", "/a", '/', nullptr},
    {"/ab", "/a", '/', nullptr},
    {"/b/c", "/a", '/', nullptr},
    {"a/b", "/", '/', nullptr},
    {"/", "/", '/', nullptr},
    {"a/b/c", "a", '/', "a/b"},
    {"C:\\a\\b", "C:", '\\', "C:\\a"},
    {"C:\\a\\b", "C:\\", '\\', "C:\\a"},
    {"C:\\a\\b", "C:\\a", '\\', "C:\\a\\b"},
    {"c:data\\x", "c:", '\\', "c:data"},
    {"C:\\a\\b", "/", '\\', "C:"},
    {"C:", "/", '\\', "C:"},
    {"\\a\\b", "/", '\\', "\\a"},
    {"\\\\srv\\shr\\a\\b", "/", '\\', "\\\\srv\\shr"},
    {"\\\\srv\\shr\\a\\b", "\\\\srv\\shr", '\\', "\\\\srv\\shr\\a"},
    {"\\\\srv", "/", '\\', "\\\\srv"},
    {"a\\b", "/", '\\', nullptr},
    {"D:\\a", "C:", '\\', nullptr},
};

TEST(Children, AsTable)
{
    for (const ChildCase &c : kChildren) {
        char out[64] = "junk";
        char *r = getpathchild_dirsep(c.path, c.parent, out, sizeof out, c.sep);
        if (c.child == nullptr) {
            EXPECT_EQ(r, nullptr) << c.path << " under " << c.parent;
            EXPECT_STREQ(out, "");
            continue;
        }
        EXPECT_EQ(r, out) << c.path << " under " << c.parent;
        EXPECT_STREQ(out, c.child)
            << c.path << " under " << c.parent << " with " << sep_name(c.sep);
        // One step down and one step up lead back to the parent.
        char up[64];
        ASSERT_NE(getpathparent_dirsep(out, up, sizeof up, c.sep), nullptr) << out;
        std::string parent = c.parent;
        if (parent.size() > 1 && parent.back() == c.sep && parent[parent.size() - 2] == ':')
            parent.pop_back();  // C:\ and C: are the same directory
        if (parent.size() > 1 && parent.back() == '/' && c.sep == '/')
            parent.pop_back();
        EXPECT_EQ(std::string(up), parent) << "parent of " << out;
    }
    char out[5];
    EXPECT_EQ(getpathchild("C:\\a\\b", "C:", out, sizeof out), out);
    EXPECT_STREQ(out, "C:\\a");
    EXPECT_EQ(getpathchild("C:\\ab\\c", "C:", out, sizeof out), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_ENOSPC);
    EXPECT_EQ(getpathchild_dirsep(nullptr, "/", out, sizeof out, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(getpathchild_dirsep("/a", nullptr, out, sizeof out, '/'), nullptr);
}

}  // namespace
