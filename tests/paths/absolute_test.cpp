// Absolute canonical paths: joining rules for both separators with a given
// directory, the current directory, bounds, traces and failures.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/paths.h"
#include "child_process.hpp"
#include "debug_text.hpp"
#include "path_test_util.hpp"

namespace {

using cairn::testing::run_in_child;
using cairn::testing::sep_name;

std::string full(const char *name, const char *cwd, int sep)
{
    std::vector<char> out(OX_PATH_MAX, '#');
    char *r = fullcanon_dirsep(name, out.data(), cwd, sep);
    return r == nullptr ? "<null>" : std::string(r);
}

TEST(FullCanon, JoiningRulesAsTable)
{
    struct Case {
        const char *name, *cwd;
        int sep;
        const char *expected;
    } cases[] = {
        // A leading '/' is canonicalised with '/', whatever the separator.
        {"/etc/./x/", "C:\\work", '\\', "/etc/x"},
        {"/etc//x", "/home", '/', "/etc/x"},
        {"a/../b", "/home/u", '/', "/home/u/b"},
        {"../..", "/home/u", '/', "/"},
        {"x", "/", '/', "/x"},
        {"x", "C:\\", '/', "C:/x"},  // the directory's trailing backslash goes in both modes
        // With '\\'.
        {"\\\\srv\\shr\\a\\..\\b", "C:\\work", '\\', "\\\\SRV\\SHR\\b"},
        {"\\data\\x", "d:\\work", '\\', "D:\\data\\x"},
        {"a\\b", "C:\\work", '\\', "C:\\work\\a\\b"},
        {"a\\b", "C:\\", '\\', "C:\\a\\b"},  // the directory's trailing '\\' goes
        {"..\\..\\..\\x", "C:\\work", '\\', "\\x"},
        {"c:data", "C:\\work", '\\', "C:\\work\\data"},  // drive-relative, same drive
        {"C:data", "c:\\work", '\\', "C:\\work\\data"},
        {"d:data", "C:\\work", '\\', "D:data"},  // another drive: as it is
        {"e:\\x\\.", "C:\\work", '\\', "E:\\x"},
        {"ab:cd", "C:\\work", '\\', "AB:cd"},
        {"", "C:\\work", '\\', "C:\\work"},
        {"", "/home", '/', "/home"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(full(c.name, c.cwd, c.sep), c.expected)
            << '"' << c.name << "\" in " << c.cwd << " with " << sep_name(c.sep);
    char out[OX_PATH_MAX];
    EXPECT_EQ(fullcanon("a", out, "C:\\x"), out);
    EXPECT_STREQ(out, "C:\\x\\a");
}

TEST(FullCanon, CurrentDirectorySameBufferLimitAndBadArguments)
{
    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    std::vector<char> buf(OX_PATH_MAX);
    std::strcpy(buf.data(), "sub/./x/..");
    EXPECT_EQ(fullcanon_dirsep(buf.data(), buf.data(), nullptr, '/'), buf.data());
    std::string expected = std::string(cwd) + "/sub";
    if (std::strcmp(cwd, "/") == 0)
        expected = "/sub";
    EXPECT_STREQ(buf.data(), expected.c_str());

    // A join longer than the path limit fails.
    std::string name(OX_PATH_MAX - 5, 'n');
    std::vector<char> out(OX_PATH_MAX, '#');
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(fullcanon_dirsep(name.c_str(), out.data(), "/home/user", '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_ENAMETOOLONG);
    EXPECT_STREQ(out.data(), "");
    std::string absolute = "/" + std::string(OX_PATH_MAX, 'n');
    EXPECT_EQ(fullcanon_dirsep(absolute.c_str(), out.data(), "/", '\\'), nullptr);
    // The longest join that fits.
    std::string fits(OX_PATH_MAX - 1 - 6, 'n');
    EXPECT_EQ(fullcanon_dirsep(fits.c_str(), out.data(), "/home", '/'), out.data());
    EXPECT_EQ(std::strlen(out.data()), static_cast<size_t>(OX_PATH_MAX - 1));

    // Bad arguments.
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(fullcanon_dirsep(nullptr, out.data(), "/", '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(fullcanon_dirsep("a", nullptr, "/", '/'), nullptr);
    EXPECT_EQ(fullcanon_dirsep("a", out.data(), "/", '.'), nullptr);
    EXPECT_EQ(fullcanon(nullptr, out.data(), nullptr), nullptr);
}

TEST(FullCanon, TracesAndMissingCurrentDirectory)
{
    auto traced = run_in_child([] {
        OxTrace = 16;
        char out[OX_PATH_MAX];
        fullcanon_dirsep("a/./b", out, "/w", '/');
    });
    ASSERT_TRUE(traced.exited);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(traced.err),
              "fullcanon(name=a/./b)\n   exit fullcanon(fullname=/w/a/b)\n");

    auto quiet = run_in_child([] {
        Debug = 4;
        char out[OX_PATH_MAX];
        fullcanon_dirsep("a", out, "/w", '/');
    });
    EXPECT_EQ(quiet.err, "");

    // A current directory that no longer exists.
    auto lost = run_in_child([] {
        Debug = 1;
        char dir[] = "/tmp/fullcanon_XXXXXX";
        if (mkdtemp(dir) == nullptr || chdir(dir) != 0 || rmdir(dir) != 0)
            std::exit(3);
        char out[OX_PATH_MAX] = "untouched";
        char *r = fullcanon_dirsep("a", out, nullptr, '/');
        std::printf("%s|%s|%d", r == nullptr ? "null" : r, out, ox_error_get_last());
    });
    ASSERT_TRUE(lost.exited);
    ASSERT_EQ(lost.exit_code, 0);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(lost.err), "Cannot get current directory!\n");
    EXPECT_EQ(lost.out, "null|untouched|" + std::to_string(OX_ENOENT));
}

TEST(FullPath, BoundedAndAllocatedResults)
{
    char out[16];
    EXPECT_EQ(fullpath2("b/../c", "/a", out, sizeof out, '/'), out);
    EXPECT_STREQ(out, "/a/c");
    EXPECT_EQ(fullpath2("c", "/a", out, 5, '/'), out);  // exactly enough
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(fullpath2("cd", "/a", out, 5, '/'), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_ENOSPC);
    EXPECT_STREQ(out, "");
    char *allocated = fullpath2("x\\y", "C:\\w", nullptr, 0, '\\');
    ASSERT_NE(allocated, nullptr);
    EXPECT_STREQ(allocated, "C:\\w\\x\\y");
    ox_path_free(allocated);

    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    char *here = fullpath(".", nullptr, 0, '/');
    ASSERT_NE(here, nullptr);
    EXPECT_STREQ(here, cwd);
    ox_path_free(here);
    // The name may be the output buffer.
    char same[64] = "q/./r";
    EXPECT_EQ(fullpath2(same, "/p", same, sizeof same, '/'), same);
    EXPECT_STREQ(same, "/p/q/r");
    EXPECT_EQ(fullpath(nullptr, out, sizeof out, '/'), nullptr);
    EXPECT_EQ(fullpath("a", out, sizeof out, 'x'), nullptr);
}

TEST(CurrentDirectory, ErrorsAsTable)
{
    char small[2];
    char big[PATH_MAX];
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_getcwd(nullptr, 10), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_getcwd(big, 0), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_getcwd(small, sizeof small), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_ERANGE);
    EXPECT_EQ(ox_getcwd(big, sizeof big), big);
    char expected[PATH_MAX];
    EXPECT_STREQ(big, getcwd(expected, sizeof expected));
}

}  // namespace
