// Canonical forms with both separators, as tables of (input, separator,
// expected), plus the properties every result must have and agreement with
// a reference normaliser.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <span>
#include <string>
#include <vector>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "path_test_util.hpp"

namespace {

using cairn::testing::exact_copy;
using cairn::testing::sep_name;

struct Case {
    const char *in;
    int sep;
    const char *expected;
};

// Canonicalise into an exactly sized output buffer (2 bytes at least).
std::string canonical(const std::string &in, int sep)
{
    auto out = exact_copy(std::string(in.size() < 1 ? 1 : in.size(), '#'));
    EXPECT_EQ(canon_dirsep(in.c_str(), out.get(), sep), out.get());
    return out.get();
}

const Case kSlashCases[] = {
    {"/", '/', "/"},
    {"/a/b/", '/', "/a/b"},
    {"/a/./b/../c", '/', "/a/c"},
    {"/..", '/', "/"},
    {"/a/..", '/', "/"},
    {"/../x", '/', "/x"},
    {"/a/b/../../../x", '/', "/x"},
    {"/a/./././b", '/', "/a/b"},
    {"//a//b", '/', "/a/b"},
    {"////", '/', "/"},
    {"", '/', "/"},
    {"/a/.hidden/...", '/', "/a/.hidden/..."},
    {"/a/..b/b../.", '/', "/a/..b/b.."},
    {"/a\\b/..\\c", '/', "/a\\b/..\\c"},  // a backslash is part of a name
    {"/a/\"", '/', "/a/\""},              // and so is a quote
    {"C:/x/../y", '/', "C:/y"},           // no drive rules with '/'
    // The long-path prefix and runs before a '?' survive.
    {"//?/a", '/', "//?/a"},
    {"///?/a", '/', "//?/a"},
    {"/x//?/y", '/', "/x//?/y"},
    {"/x//?/..", '/', "/x/"},
    // Relative paths stay relative.
    {"a//b/", '/', "a/b"},
    {".", '/', "."},
    {"./", '/', "."},
    {"./a", '/', "a"},
    {"a/.", '/', "a"},
    {"a/./b/.", '/', "a/b"},
    {"a/..", '/', "."},
    {"a/../b", '/', "b"},
    {"..", '/', ".."},
    {"../x", '/', "../x"},
    {"a/../../x", '/', "../x"},
    {"../../a/../b", '/', "../../b"},
    {"a/b/../../..", '/', ".."},
    {"a/../..//?/b", '/', "..//?/b"},
    {"a/..//?/b", '/', "?/b"},  // never begins with a separator
};

const Case kBackslashCases[] = {
    {"c:/Temp//x/./y/..", '\\', "C:\\Temp\\x"},
    {"C:\\", '\\', "C:"},
    {"c:", '\\', "C:"},
    {"x:\\a\\.\\b\\", '\\', "X:\\a\\b"},
    {"C:\\..", '\\', "/"},  // above the drive is the root
    {"C:\\a\\..\\..\\x", '\\', "\\x"},
    {"abc:def\\x", '\\', "ABC:def\\x"},
    {"\\a\\b\\..", '\\', "\\a"},
    {"/a/b", '\\', "\\a\\b"},
    {"\\..", '\\', "/"},
    {"", '\\', "/"},
    // A trailing quote goes, only one.
    {"C:\\a\\\"", '\\', "C:\\a"},
    {"C:\\a\"\"", '\\', "C:\\a\""},
    {"\"", '\\', "/"},
    // Relative paths.
    {"a\\..\\b", '\\', "b"},
    {"..\\x", '\\', "..\\x"},
    {".\\a/b", '\\', "a\\b"},
    {"a/..", '\\', "."},
    // Long drive paths: the part after the drive is worked on.
    {"\\\\?\\C:\\a", '\\', "\\\\?\\C:\\a"},
    {"\\\\?\\c:\\a\\..\\b\\\\c\\", '\\', "\\\\?\\C:\\b\\c"},
    {"\\\\?\\c:\\..\\..", '\\', "\\\\?\\C:"},
    {"\\\\?\\c:", '\\', "\\\\?\\c:"},  // no separator after the drive: not upper-cased
    // Shares: server and share upper-cased, the file path worked on.
    {"\\\\server\\share\\a\\..\\b\\.", '\\', "\\\\SERVER\\SHARE\\b"},
    {"\\\\server\\share\\..\\..", '\\', "\\\\SERVER\\SHARE"},
    {"\\\\server\\share\\", '\\', "\\\\SERVER\\SHARE"},
    {"\\\\server\\share\\a\\\\\\b", '\\', "\\\\SERVER\\SHARE\\a\\b"},
    {"//server/share//a/", '\\', "\\\\SERVER\\SHARE\\a"},
    {"\\\\?\\UNC\\srv\\shr\\a\\.\\b", '\\', "\\\\?\\UNC\\SRV\\SHR\\a\\b"},
    {"\\\\server\\share", '\\', "\\\\server\\share"},
    // Other UNC names are left as they are after upper-casing.
    {"\\\\server", '\\', "\\\\server"},
    {"\\\\server\\", '\\', "\\\\SERVER\\"},
    {"\\\\\\x\\..", '\\', "\\\\\\x\\.."},
    {"\\\\.\\pipe\\x\\..\\y", '\\', "\\\\.\\PIPE\\x\\..\\y"},
    {"\\\\?\\Volume{ab}\\x\\..\\y", '\\', "\\\\?\\VOLUME{AB}\\x\\..\\y"},
};

TEST(Canon, RulesForBothSeparators)
{
    for (auto table : {std::span<const Case>(kSlashCases), std::span<const Case>(kBackslashCases)})
        for (const Case &c : table) {
            SCOPED_TRACE(std::string("\"") + c.in + "\" with " + sep_name(c.sep));
            EXPECT_EQ(canonical(c.in, c.sep), c.expected);
            if (*c.in == '\0')
                continue;  // refused in place: see InPlaceNeverWritesPastThePath
            auto buf = exact_copy(c.in, 1);
            EXPECT_EQ(canon_dirsep(buf.get(), buf.get(), c.sep), buf.get());
            EXPECT_STREQ(buf.get(), c.expected) << "in place";
        }
    // The short form uses '\\'.
    char out[64];
    EXPECT_EQ(canon("c:/Temp//x/./y/..", out), out);
    EXPECT_STREQ(out, "C:\\Temp\\x");
}

// In place the buffer is known to hold only the path and its terminator:
// no call writes past it, and the empty path, which would become "/", is
// refused.
TEST(Canon, InPlaceNeverWritesPastThePath)
{
    for (int sep : {'/', '\\'}) {
        auto empty = exact_copy("");
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        EXPECT_EQ(canon_dirsep(empty.get(), empty.get(), sep), nullptr);
        EXPECT_EQ(ox_error_get_last(), OX_ENOBUFS);
        EXPECT_EQ(empty[0], '\0');
    }
    auto empty = exact_copy("");
    EXPECT_EQ(canon(empty.get(), empty.get()), nullptr);
    // Output starting inside the input.
    char shifted[32] = "xx/a/./b";
    EXPECT_EQ(canon_dirsep(shifted + 2, shifted + 1, '/'), shifted + 1);
    EXPECT_STREQ(shifted + 1, "/a/b");

    std::mt19937 rng(99);
    const char pieces[][4] = {"/", "\\", "a", "..", ".", "?", "c:", "\"", "//"};
    for (int round = 0; round < 5000; ++round) {
        std::string in;
        for (int k = static_cast<int>(rng() % 7); k > 0; --k)
            in += pieces[rng() % (sizeof pieces / sizeof pieces[0])];
        if (in.empty())
            continue;
        int sep = round % 2 ? '/' : '\\';
        auto buf = exact_copy(in);  // no spare byte: ASan sees any overrun
        ASSERT_EQ(canon_dirsep(buf.get(), buf.get(), sep), buf.get()) << in;
        EXPECT_LE(std::strlen(buf.get()), in.size()) << in;
        EXPECT_EQ(std::string(buf.get()), canonical(in, sep)) << in;
    }
}

TEST(Canon, BadArguments)
{
    char out[16] = "untouched";
    struct {
        const char *in;
        char *out;
        int sep;
    } rows[] = {{nullptr, out, '/'}, {"/a", nullptr, '/'}, {"/a", out, ':'}, {"/a", out, 0}};
    for (const auto &r : rows) {
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        EXPECT_EQ(canon_dirsep(r.in, r.out, r.sep), nullptr);
        EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    }
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(canon(nullptr, out), nullptr);
}

// Random relative paths: the result is relative, never empty, and a second
// canonicalisation changes nothing.
TEST(Canon, RelativePathsStayRelative)
{
    const char *parts[] = {"a", "bc", ".", "..", "...", ".x", "", "?"};
    std::mt19937 rng(20210621);
    for (int sep : {'/', '\\'}) {
        for (int i = 0; i < 5000; ++i) {
            std::string path;
            int n = 1 + static_cast<int>(rng() % 7);
            for (int k = 0; k < n; ++k) {
                path += parts[rng() % std::size(parts)];
                if (k + 1 < n)
                    path += std::string(1 + rng() % 3, static_cast<char>(sep));
            }
            if (path.empty() || path[0] == sep || !ispathrelative(path.c_str(), sep))
                continue;
            std::string once = canonical(path, sep);
            ASSERT_FALSE(once.empty()) << path;
            EXPECT_EQ(ispathrelative(once.c_str(), sep), 1)
                << '"' << path << "\" -> \"" << once << '"';
            EXPECT_NE(once[0], sep) << path;
            EXPECT_EQ(canonical(once, sep), once) << path;
        }
    }
}

// canon_dirsep with '/' against a reference normaliser, Python's
// posixpath.normpath, on generated absolute paths.
//
// Deliberate differences, adjusted for below:
//  - normpath keeps a leading "//" (exactly two slashes: POSIX leaves its
//    meaning to the system); canon_dirsep collapses it to "/".
//  - canon_dirsep keeps a run of separators before a '?' (the long-path
//    prefix), which normpath collapses; the generator uses no '?' so that
//    the two agree elsewhere (the rule has its own table test).
//  - Both treat "/.." as "/" and drop trailing slashes; no difference.
std::vector<std::string> generate_paths(int count)
{
    const char *parts[] = {"a",       "bc",  "def", ".", "..",         "...",
                           ".hidden", "x.y", "..z", "",  "with space", "\xc3\xa9t\xc3\xa9"};
    std::mt19937 rng(8601);
    std::vector<std::string> paths;
    for (int i = 0; i < count; ++i) {
        std::string p(1 + rng() % 3, '/');
        int n = static_cast<int>(rng() % 9);
        for (int k = 0; k < n; ++k) {
            p += parts[rng() % std::size(parts)];
            if (k + 1 < n || rng() % 4 == 0)
                p += std::string(1 + rng() % 3, '/');
        }
        paths.push_back(p);
    }
    return paths;
}

// Runs normpath over `paths` (one per line) and returns its answers.
std::vector<std::string> reference_answers(const std::vector<std::string> &paths)
{
    char in_name[] = "/tmp/canon_ref_in_XXXXXX";
    int fd = mkstemp(in_name);
    EXPECT_GE(fd, 0);
    {
        std::ofstream in(in_name, std::ios::binary);
        for (const std::string &p : paths)
            in << p << '\n';
    }
    std::string command =
        std::string("python3 -c \"import sys, posixpath\n"
                    "for line in sys.stdin.buffer.read().split(b'\\\\n')[:-1]:\n"
                    "    sys.stdout.buffer.write(posixpath.normpath(line) + b'\\\\n')\" < ") +
        in_name;
    std::vector<std::string> answers;
    if (FILE *pipe = popen(command.c_str(), "r")) {
        std::string all;
        char buf[4096];
        std::size_t n;
        while ((n = fread(buf, 1, sizeof buf, pipe)) > 0)
            all.append(buf, n);
        EXPECT_EQ(pclose(pipe), 0) << "python3 failed";
        std::istringstream lines(all);
        for (std::string line; std::getline(lines, line);)
            answers.push_back(line);
    }
    close(fd);
    unlink(in_name);
    return answers;
}

std::string expected_from_reference(std::string answer)
{
    if (answer.size() >= 2 && answer[0] == '/' && answer[1] == '/' &&
        (answer.size() == 2 || answer[2] != '/'))
        answer.erase(0, 1);  // normpath keeps exactly two leading slashes
    return answer;
}

TEST(CanonReference, AgreesWithPosixNormpath)
{
    std::vector<std::string> paths = generate_paths(4000);
    std::vector<std::string> answers = reference_answers(paths);
    ASSERT_EQ(answers.size(), paths.size()) << "python3 with posixpath is needed for this test";
    int compared = 0;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        std::vector<char> out(paths[i].size() + 2);
        ASSERT_NE(canon_dirsep(paths[i].c_str(), out.data(), '/'), nullptr);
        EXPECT_EQ(std::string(out.data()), expected_from_reference(answers[i]))
            << '"' << paths[i] << '"';
        ++compared;
    }
    EXPECT_EQ(compared, 4000);
}

}  // namespace
