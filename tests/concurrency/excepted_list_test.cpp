// The excepted descriptor list and the formatter under real contention.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "cairn/diagnostics.h"
#include "diagnostics/oxprint/excepted_fds.hpp"

namespace oxp = cairn::oxprint;

// Each thread moves its own descriptors in and out of the list while the
// others do the same; together they never need more than the ten places,
// so every add must be seen by its own thread and every remove too.
TEST(ExceptedListConcurrency, EachThreadSeesItsOwnChanges)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            const int mine[2] = {500 + 2 * t, 501 + 2 * t};
            for (int i = 0; i < kRounds; ++i) {
                int fd = mine[i & 1];
                utf8_fd(fd);
                if (!oxp::excepted_contains(fd))
                    failures.fetch_add(1);
                user_fd(fd);
                if (oxp::excepted_contains(fd))
                    failures.fetch_add(1);
            }
        });
    }
    // Two more places churned by a thread of its own.
    threads.emplace_back([] {
        for (int i = 0; i < kRounds; ++i) {
            utf8_fd(600 + (i & 1));
            user_fd(600 + ((i + 1) & 1));
        }
        user_fd(600);
        user_fd(601);
    });
    for (auto &th : threads)
        th.join();
    EXPECT_EQ(failures.load(), 0);
    for (int fd = 500; fd < 602; ++fd)
        EXPECT_FALSE(oxp::excepted_contains(fd)) << fd;
}

// The formatter keeps all its state on the caller's stack.
TEST(FormatterConcurrency, ThreadsFormatIndependently)
{
    constexpr int kThreads = 4;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            char want[64], got[64];
            for (int i = 0; i < 20000; ++i) {
                std::snprintf(want, sizeof want, "t%d i%d %s %x", t, i, "text", i * 7);
                ox_snprintf(got, sizeof got, "%4$s%1$d %3$s%2$d %5$s %6$x", t, i, "i", "t", "text",
                            i * 7);
                if (std::strcmp(want, got) != 0)
                    failures.fetch_add(1);
            }
        });
    }
    for (auto &th : threads)
        th.join();
    EXPECT_EQ(failures.load(), 0);
}
