// Trailing separators: adding, removing and setting a count, narrow and
// wide, with the path-length bound.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "path_test_util.hpp"

namespace {

using cairn::testing::exact_copy;

TEST(AddSeparator, AsTable)
{
    struct Case {
        const char *in;
        int sep;
        const char *out;
    } cases[] = {
        {"/a", '/', "/a/"},     {"/a/", '/', "/a/"},  {"/", '/', "/"},
        {"/", '\\', "/"},       {"", '/', "/"},       {"C:", '\\', "C:\\"},
        {"C:\\", '\\', "C:\\"}, {"a/", '\\', "a/\\"},  // only the given separator counts
    };
    for (const Case &c : cases) {
        auto buf = exact_copy(c.in, 1);
        EXPECT_EQ(adddirsep(buf.get(), c.sep), buf.get());
        EXPECT_STREQ(buf.get(), c.out) << c.in;
        std::vector<ox_wchar> wide(std::strlen(c.in) + 2, 0);
        std::copy(c.in, c.in + std::strlen(c.in), wide.begin());
        EXPECT_EQ(adddirsepw(wide.data(), c.sep), wide.data());
        EXPECT_EQ(std::string(wide.begin(), wide.begin() + static_cast<long>(std::strlen(c.out))),
                  c.out)
            << c.in;
        EXPECT_EQ(wide[std::strlen(c.out)], 0);
    }
}

TEST(AddSeparator, NeverBeyondThePathLimit)
{
    std::string longest(OX_PATH_MAX - 2, 'a');
    auto buf = exact_copy(longest, 1);
    adddirsep(buf.get(), '/');
    EXPECT_EQ(std::strlen(buf.get()), static_cast<size_t>(OX_PATH_MAX - 1));
    adddirsep(buf.get(), '\\');
    EXPECT_EQ(std::strlen(buf.get()), static_cast<size_t>(OX_PATH_MAX - 1));
}

TEST(RemoveSeparators, AsTable)
{
    struct Case {
        const char *in;
        int sep, removed;
        const char *out;
    } cases[] = {
        {"/", '/', 0, "/"},    {"//", '/', 1, "/"},     {"///", '/', 2, "/"},
        {"/a/", '/', 1, "/a"}, {"/a//", '/', 2, "/a"},  {"a", '/', 0, "a"},
        {"", '/', 0, ""},      {"a\\\\", '\\', 2, "a"}, {"a/\\", '\\', 1, "a/"},
        {"\\", '\\', 0, "\\"},
    };
    for (const Case &c : cases) {
        auto buf = exact_copy(c.in);
        EXPECT_EQ(rmdirsep(buf.get(), c.sep), c.removed) << c.in;
        EXPECT_STREQ(buf.get(), c.out) << c.in;
    }
}

TEST(SetSeparators, AsTable)
{
    struct Case {
        const char *in;
        int count, sep;
        const char *out;
    } cases[] = {
        {"/", 1, '/', "/"},      {"/", 2, '/', "//"},
        {"/a", 2, '/', "/a//"},  {"/a///", 1, '/', "/a/"},
        {"/a///", 0, '/', "/a"}, {"/a", -5, '/', "/a"},
        {"///", 1, '/', "/"},    {"C:\\x\\\\", 1, '\\', "C:\\x\\"},
        {"", 2, '/', "//"},
    };
    for (const Case &c : cases) {
        auto buf = exact_copy(c.in, 4);
        EXPECT_EQ(setdirsep(buf.get(), c.count, c.sep), buf.get());
        EXPECT_STREQ(buf.get(), c.out) << c.in << " count " << c.count;
    }
    std::string big(10, 'a');
    std::vector<char> room(OX_PATH_MAX);
    std::memcpy(room.data(), big.c_str(), big.size() + 1);
    setdirsep(room.data(), 1 << 30, '/');
    EXPECT_EQ(std::strlen(room.data()), static_cast<size_t>(OX_PATH_MAX - 1))
        << "bounded by the path limit";
}

TEST(TrailingSeparators, BadArguments)
{
    char buf[8] = "/a";
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(adddirsep(nullptr, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(adddirsep(buf, 'x'), nullptr);
    EXPECT_EQ(adddirsepw(nullptr, '/'), nullptr);
    EXPECT_EQ(rmdirsep(nullptr, '/'), 0);
    EXPECT_EQ(rmdirsep(buf, ':'), 0);
    EXPECT_EQ(setdirsep(nullptr, 1, '/'), nullptr);
    EXPECT_EQ(setdirsep(buf, 1, 'a'), nullptr);
    EXPECT_STREQ(buf, "/a");
}

}  // namespace
