// Debug lines written at once by several threads and several processes to
// one file, and by several threads to one pipe: each line arrives whole.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "debug_scope.hpp"

using cairn::testing::DebugScope;

namespace {

constexpr int kThreads = 4;
constexpr int kLinesPerThread = 150;

std::string read_file(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Lines of `payload` copies of one letter per writer, tagged with the
// writer, so that a line cut by another's bytes shows.
void write_lines(int writer, std::size_t payload)
{
    std::string body(payload, static_cast<char>('a' + writer % 26));
    for (int i = 0; i < kLinesPerThread; ++i)
        dfprintf(1, "w%02d %s\n", writer, body.c_str());
}

void run_writers(int first_writer, std::size_t payload)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(write_lines, first_writer + t, payload);
    for (std::thread &t : threads)
        t.join();
}

// Every line is "prog: wNN " and the writer's letter, whole; returns the
// number of lines per writer.
std::map<int, int> check_lines(const std::string &text, std::size_t payload)
{
    std::map<int, int> per_writer;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        const std::string head = "prog: w";
        EXPECT_EQ(line.compare(0, head.size(), head), 0) << line.substr(0, 40);
        if (line.size() != head.size() + 3 + payload) {
            ADD_FAILURE() << "line of " << line.size() << " bytes: " << line.substr(0, 40);
            continue;
        }
        int writer = std::atoi(line.c_str() + head.size());
        std::string body = line.substr(head.size() + 3);
        EXPECT_EQ(body, std::string(payload, static_cast<char>('a' + writer % 26)));
        ++per_writer[writer];
    }
    return per_writer;
}

}  // namespace

// Lines longer than any stdio buffer, from threads of four processes that
// share one debug file.
TEST(DebugLines, ThreadsAndProcessesNeverInterleave)
{
    char tmpl[] = "/tmp/cairn-dlines-XXXXXX";
    int fd = mkstemp(tmpl);
    ASSERT_GE(fd, 0);
    close(fd);
    const std::string path = tmpl;
    const std::size_t payload = 9000;
    constexpr int kProcesses = 3;
    ox_set_progname("prog");
    DebugScope scope(1, 0);

    std::vector<pid_t> children;
    for (int p = 1; p <= kProcesses; ++p) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            dfopen(path.c_str());
            run_writers(p * kThreads, payload);
            dfclose();
            _exit(0);
        }
        children.push_back(pid);
    }
    dfopen(path.c_str());
    run_writers(0, payload);
    dfclose();
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::map<int, int> per_writer = check_lines(read_file(path), payload);
    unlink(path.c_str());
    EXPECT_EQ(per_writer.size(), static_cast<std::size_t>(kThreads * (kProcesses + 1)));
    for (const auto &[writer, lines] : per_writer)
        EXPECT_EQ(lines, kLinesPerThread) << "writer " << writer;
}

// A pipe takes a write of up to PIPE_BUF bytes whole: lines that fit arrive
// whole from several threads, also through a buffered stream.
TEST(DebugLines, PipeLinesStayWhole)
{
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::FILE *writer = fdopen(fds[1], "w");  // fully buffered
    ASSERT_NE(writer, nullptr);
    std::string received;
    std::thread reader([&] {
        char buf[8192];
        ssize_t n;
        while ((n = read(fds[0], buf, sizeof buf)) > 0)
            received.append(buf, static_cast<std::size_t>(n));
    });
    ox_set_progname("prog");
    DebugScope scope(1, 0);
    const std::size_t payload = PIPE_BUF - 16;
    dfopen_use_existing_filehndl(writer);
    run_writers(0, payload);
    dfclose();
    std::fclose(writer);
    reader.join();
    close(fds[0]);
    std::map<int, int> per_writer = check_lines(received, payload);
    EXPECT_EQ(per_writer.size(), static_cast<std::size_t>(kThreads));
    for (const auto &[w, lines] : per_writer)
        EXPECT_EQ(lines, kLinesPerThread) << "writer " << w;
}
