// Microsecond clocks and time-of-day arithmetic.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <ctime>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/time.h"
#include "child_process.hpp"

namespace {

using cairn::testing::run_in_child;

TEST(TimeOfDay, DifferenceBorrowsASecond)
{
    struct Row {
        ox_timeval a, b, expected;
    } rows[] = {
        {{5, 900000}, {7, 100000}, {1, 200000}},
        {{5, 100000}, {7, 900000}, {2, 800000}},
        {{7, 100000}, {7, 100000}, {0, 0}},
        {{7, 100000}, {5, 900000}, {-2, 800000}},
        {{0, 1}, {0, 0}, {-1, 999999}},
        {{0, 0}, {0, 999999}, {0, 999999}},
        {{INT32_MIN, 0}, {INT32_MAX, 0}, {-1, 0}},  // wraps instead of overflowing
    };
    for (const Row &r : rows) {
        ox_timeval d = timeval_diff(r.a, r.b);
        EXPECT_EQ(d.tv_sec, r.expected.tv_sec)
            << r.a.tv_sec << "." << r.a.tv_usec << " -> " << r.b.tv_sec << "." << r.b.tv_usec;
        EXPECT_EQ(d.tv_usec, r.expected.tv_usec);
    }
}

TEST(TimeOfDay, DifferenceInMicroseconds)
{
    struct Row {
        ox_timeval a, b;
        int32_t expected;
    } rows[] = {
        {{5, 900000}, {7, 100000}, 1200000},
        {{7, 100000}, {5, 900000}, -1200000},
        {{0, 0}, {0, 0}, 0},
        {{0, 0}, {2147, 483647}, INT32_MAX},
        {{0, 0},
         {5000, 0},
         static_cast<int32_t>(5000000000LL - 4294967296LL)},  // wrapped to 32 bits
        {{INT32_MIN, 0}, {INT32_MAX, 999999}, 999999 - 1000000},
    };
    for (const Row &r : rows)
        EXPECT_EQ(gettimediff_usec(r.a, r.b), r.expected);
}

TEST(Clocks, MonotonicClockNeverGoesBack)
{
    ox_timeval prev{};
    ASSERT_EQ(ox_gettimeofday(&prev, nullptr), 0);
    for (int i = 0; i < 20000; ++i) {
        ox_timeval cur{};
        ASSERT_EQ(ox_gettimeofday(&cur, nullptr), 0);
        ASSERT_GE(cur.tv_usec, 0);
        ASSERT_LT(cur.tv_usec, 1000000);
        ASSERT_GE(gettimediff_usec(prev, cur), 0) << "step back at " << i;
        prev = cur;
    }
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    EXPECT_LE(prev.tv_sec, ts.tv_sec);
    EXPECT_GE(prev.tv_sec + 1, ts.tv_sec);
}

TEST(Clocks, WallClockMatchesTheSystemTime)
{
    std::time_t before = std::time(nullptr);
    ox_timeval tv{};
    ASSERT_EQ(ox_gettimeofday_current_time(&tv), 0);
    std::time_t after = std::time(nullptr);
    EXPECT_GE(tv.tv_sec, before);
    EXPECT_LE(tv.tv_sec, after);
    EXPECT_GE(tv.tv_usec, 0);
    EXPECT_LT(tv.tv_usec, 1000000);
}

TEST(Clocks, NullTimeValueIsRefused)
{
    EXPECT_EQ(ox_gettimeofday(nullptr, nullptr), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_gettimeofday_current_time(nullptr), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

TEST(Clocks, DebugLinesAtLevelThirteenOrTraceBit)
{
    struct Row {
        int32_t debug;
        uint32_t trace;
        bool expect_lines;
    } rows[] = {{13, 0, true}, {0, 0x1000, true}, {12, 0, false}, {0, 0x0FFF, false}};
    for (const Row &r : rows) {
        auto child = run_in_child([&] {
            Debug = r.debug;
            OxTrace = r.trace;
            ox_timeval tv{};
            ox_gettimeofday(&tv, nullptr);
            ox_gettimeofday_current_time(&tv);
        });
        ASSERT_TRUE(child.exited);
        bool has_counter =
            child.err.find("perf_counter.QuadPart=") != std::string::npos &&
            child.err.find(", Count_per_sec.QuadPart=1000000000, seconds=") != std::string::npos;
        bool has_wall = child.err.find("tv_sec=") != std::string::npos &&
                        child.err.find(", remaining_100nanosec=") != std::string::npos;
        EXPECT_EQ(has_counter, r.expect_lines) << child.err;
        EXPECT_EQ(has_wall, r.expect_lines) << child.err;
    }
}

}  // namespace
