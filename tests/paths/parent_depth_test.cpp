// Parents, depths and relativity as tables for both separators, with the
// output-buffer rules: bounded writes, ENOSPC, allocation and its failure.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "path_test_util.hpp"

namespace {

using cairn::testing::exact_copy;
using cairn::testing::sep_name;

struct ParentCase {
    const char *path;
    int sep;
    const char *parent;  // nullptr: no parent
};

const ParentCase kParents[] = {
    {"/a/b", '/', "/a"},
    {"/a/b/", '/', "/a"},
    {"/a", '/', "/"},
    {"/", '/', "/"},
    {"//", '/', "/"},
    {"a", '/', nullptr},
    {"a/", '/', nullptr},
    {"a/b", '/', "a"},
    {"C:\\a", '/', nullptr},  // no drive rules with '/'
    {"", '/', nullptr},
    {"C:\\a\\b", '\\', "C:\\a"},
    {"C:\\a", '\\', "C:"},
    {"C:\\", '\\', "/"},
    {"C:", '\\', "/"},
    {"c:data", '\\', "c:"},
    {"c:data\\x", '\\', "c:data"},
    {"\\a", '\\', "/"},
    {"/", '\\', "/"},
    {"a", '\\', nullptr},
    {"a\\b\\", '\\', "a"},
    {"x:y:z", '\\', "x:"},
    {"\\\\server\\share\\a\\b", '\\', "\\\\server\\share\\a"},
    {"\\\\server\\share\\a", '\\', "\\\\server\\share"},
    {"\\\\server\\share\\", '\\', "/"},  // file path part of one character
    {"\\\\server\\share", '\\', "/"},
    {"\\\\server", '\\', "/"},
    {"\\\\.\\pipe\\x", '\\', "/"},
    {"\\\\?\\C:\\a\\b", '\\', "\\\\?\\C:\\a"},
    {"\\\\?\\C:\\", '\\', "/"},
    {"\\\\?\\Volume{x}\\a", '\\', "/"},
};

// Each case into a buffer, allocated and in place; then the buffer bounds.
TEST(Parent, AsTableBoundsAndBadArguments)
{
    for (const ParentCase &c : kParents) {
        SCOPED_TRACE(std::string('"' + std::string(c.path) + "\" with ") + sep_name(c.sep));
        char out[64] = "junk";
        char *r = getpathparent_dirsep(c.path, out, sizeof out, c.sep);
        if (c.parent == nullptr) {
            EXPECT_EQ(r, nullptr);
            EXPECT_STREQ(out, "") << "output is emptied first";
            continue;
        }
        EXPECT_EQ(r, out);
        EXPECT_STREQ(out, c.parent);
        char *allocated = getpathparent_dirsep(c.path, nullptr, 0, c.sep);
        ASSERT_NE(allocated, nullptr);
        EXPECT_STREQ(allocated, c.parent);
        ox_path_free(allocated);
        auto buf = exact_copy(c.path);
        EXPECT_EQ(getpathparent_dirsep(buf.get(), buf.get(), std::strlen(c.path) + 1, c.sep),
                  buf.get());
        EXPECT_STREQ(buf.get(), c.parent);
    }
    char out[8];
    EXPECT_EQ(getpathparent("C:\\a\\b", out, sizeof out), out);
    EXPECT_STREQ(out, "C:\\a");

    char small[6];  // exactly sized: the sanitizer sees a write past it
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(getpathparent_dirsep("/abcd/e", small, 5, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_ENOSPC);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_STREQ(small, "");
    EXPECT_EQ(getpathparent_dirsep("/abcd/e", small, 6, '/'), small);  // exactly enough
    EXPECT_STREQ(small, "/abcd");
    EXPECT_EQ(getpathparent_dirsep("/a", small, 1, '/'), nullptr);  // even "/" needs two bytes
    EXPECT_EQ(getpathparent_dirsep("/a", small, 0, '/'), nullptr);

    // Bad arguments.
    std::strcpy(out, "junk");
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(getpathparent_dirsep(nullptr, out, sizeof out, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(getpathparent_dirsep("/a/b", out, sizeof out, '|'), nullptr);
    EXPECT_EQ(getpathparent(nullptr, nullptr, 0), nullptr);
}

TEST(DepthAndRelativity, AsTables)
{
    const std::tuple<const char *, int, int> depths[] = {
        {"/", '/', 0},
        {"/a", '/', 1},
        {"/a/b", '/', 2},
        {"/a/b/", '/', 2},
        {"a/b", '/', 1},
        {"a", '/', 0},
        {"", '/', 0},
        {"C:\\a", '/', 0},
        {"C:\\", '\\', 0},
        {"C:\\a", '\\', 1},
        {"C:\\a\\b", '\\', 2},
        {"c:data", '\\', 1},
        {"C:", '\\', 1},  // a ':' at the end is not followed by a separator
        {"\\a", '\\', 1},
        {"\\\\server", '\\', 1},
        {"\\\\server\\share", '\\', 1},
        {"\\\\server\\share\\", '\\', 1},
        {"\\\\server\\share\\a", '\\', 2},
        {"\\\\server\\share\\a\\b", '\\', 3},
        {"\\\\?\\UNC\\s\\h\\a\\b", '\\', 3},
        {"\\\\?\\C:\\a\\b", '\\', 1},  // types other than a share count as one
        {"\\\\.\\pipe\\x\\y", '\\', 1},
    };
    for (auto [path, sep, depth] : depths)
        EXPECT_EQ(getpathdepth_dirsep(path, sep), depth)
            << '"' << path << "\" with " << sep_name(sep);
    EXPECT_EQ(getpathdepth("C:\\a\\b"), 2);
    EXPECT_EQ(getpathdepth_dirsep(nullptr, '/'), -1);
    EXPECT_EQ(getpathdepth_dirsep("/a", 'x'), -1);
    EXPECT_EQ(getpathdepth(nullptr), -1);

    const std::tuple<const char *, int, int> relative[] = {
        {"/a", '/', 0},    {"/", '/', 0},    {"a", '/', 1},         {"", '/', 1},
        {"C:\\x", '/', 1}, {"\\x", '/', 1},  {"\\\\s\\h", '\\', 0}, {"//s/h", '\\', 0},
        {"/", '\\', 0},    {"\\x", '\\', 0}, {"C:\\x", '\\', 0},    {"c:x", '\\', 0},
        {"a\\b", '\\', 1}, {"", '\\', 1},    {"/etc", '\\', 1},  // '/' is not the separator here
        {"a:b", '\\', 0},
    };
    for (auto [path, sep, expected] : relative)
        EXPECT_EQ(ispathrelative(path, sep), expected)
            << '"' << path << "\" with " << sep_name(sep);
    EXPECT_EQ(ispathrelative(nullptr, '/'), 0);
    EXPECT_EQ(ispathrelative("a", 0), 0);
}

}  // namespace
