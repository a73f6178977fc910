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
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "cairn/paths.h"

namespace {

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
