// Posting from many threads at once, while the logs are closed and opened
// again: every line arrives whole.  Runs under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "log_dir.hpp"

namespace {

TEST(MsgLogConcurrency, ThreadsPostWhileLogsReopen)
{
    cairn::testing::LogDir dir;
    ox_set_progname("tester");
    ASSERT_EQ(msg_log_open(dir.path()), 0);
    constexpr int kThreads = 8, kLines = 300;
    std::atomic<int> running{kThreads};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &running] {
            std::string filler(static_cast<std::size_t>(t) * 700, 'x');
            for (int i = 0; i < kLines; ++i)
                msg_print(t, 2, MSG_LOG_MESSAGES | MSG_LOG_JOBS, "%s %s|", MSG_ARG_NUMBER,
                          std::to_string(i).c_str(), MSG_ARG_TEXT, filler.c_str());
            running.fetch_sub(1);
        });
    // Close the logs under the writers now and then; the next line of each
    // log opens it again.
    for (int k = 0; running.load() > 0; ++k) {
        if (k % 64 == 0)
            msg_log_close();
        std::this_thread::yield();
    }
    for (auto &th : threads)
        th.join();
    std::regex head_form(R"(\S+ tester\[\d+\] warning\(2000\) #(\d))");
    for (const char *log : {"messages.log", "jobs.log"}) {
        auto lines = dir.lines(log);
        EXPECT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
        for (const std::string &line : lines) {
            std::string head, text;
            std::smatch m;
            ASSERT_TRUE(cairn::testing::LogDir::split(line, head, text)) << line.substr(0, 80);
            ASSERT_TRUE(std::regex_match(head, m, head_form)) << head;
            std::size_t blank = text.find(' ');
            ASSERT_NE(blank, std::string::npos);
            EXPECT_EQ(text.substr(blank + 1), std::string(std::stoul(m[1]) * 700, 'x') + "|");
        }
    }
}

}  // namespace
