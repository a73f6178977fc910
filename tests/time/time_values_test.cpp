// Forever and indefinite encodings and the 64-bit / 32-bit / offset
// conversions, checked as tables; the C library's calendar conversions on
// 32-bit times; microsecond clocks and time-of-day arithmetic; retention
// times (the 32-bit offset limit, rounding to the end of the local day);
// the service time: frozen until reset, consistent under contention, and
// usable again after its exit-time clean-up.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/time.h"
#include "child_process.hpp"
#include "time/time_internal.hpp"
#include "zone_guard.hpp"

namespace {

using cairn::testing::kJune21At10Utc;
using cairn::testing::run_in_child;
using cairn::testing::ZoneGuard;

constexpr ox_time64_t kForever32 = 0x7FFFFFFF;
constexpr ox_time64_t kForever64 = INT64_MAX;
constexpr ox_time64_t kIndefinite = 5748491471LL;

TEST(TimeValues, ConstantsPredicatesAndConversionsAsTables)
{
    EXPECT_EQ(OX_TIME_FOREVER32, kForever32);
    EXPECT_EQ(OX_TIME_FOREVER, kForever64);
    EXPECT_EQ(OX_TIME_INDEFINITE, kIndefinite);
    EXPECT_EQ(OX_TIMEOFFSET_FOREVER, -1);
    EXPECT_EQ(OX_TIMEOFFSET_OVERFLOW, -2);
    EXPECT_EQ(OX_TIMEOFFSET_INDEFINITE, -3);
    const std::pair<ox_time64_t, int> forever[] = {
        {kForever32, 1}, {kForever64, 1}, {0x7FFFFFFE, 0}, {0x80000000LL, 0},
        {0, 0},          {-1, 0},         {INT64_MIN, 0},  {kIndefinite, 0}};
    for (auto [t, expected] : forever)
        EXPECT_EQ(ox_is_forever_time(t), expected) << t;
    EXPECT_EQ(ox_is_forever_timeoffset(-1), 1);
    EXPECT_EQ(ox_is_forever_timeoffset(-3), 0);
    EXPECT_EQ(ox_is_forever_timeoffset(0), 0);
    EXPECT_EQ(ox_is_new_indefinite_timeoffset(-3), 1);
    EXPECT_EQ(ox_is_new_indefinite_timeoffset(-2), 0);
    EXPECT_EQ(ox_is_new_indefinite_timeoffset(-1), 0);
    EXPECT_EQ(ox_new_indefinite_timeoffset(), -3);

    // Comparison treats both forevers alike.
    const std::tuple<ox_time64_t, ox_time64_t, int> compared[] = {
        {kForever32, kForever64, 0},
        {kForever64, kForever32, 0},
        {kForever32, kForever32, 0},
        {0x7FFFFFFE, kForever32, -1},
        {kForever32, 0x80000000LL, 1},  // 32-bit forever is above every real time
        {1, 2, -1},
        {2, 1, 1},
        {5, 5, 0},
        {-1, 0, -1},
        {INT64_MIN, kForever64, -1},
        {kIndefinite, kForever32, -1},
    };
    for (auto [a, b, expected] : compared)
        EXPECT_EQ(ox_time_cmp(a, b), expected) << a << " vs " << b;

    const std::pair<ox_time64_t, ox_time32_t> to32[] = {
        {0, 0},
        {1624269600, 1624269600},
        {0x7FFFFFFE, 0x7FFFFFFE},
        {kForever32, 0x7FFFFFFF},
        {0x80000000LL, 0x7FFFFFFF},  // low half above the 32-bit limit
        {0xFFFFFFFFLL, 0x7FFFFFFF},
        {0x100000000LL, 0x7FFFFFFF},  // high half positive
        {kIndefinite, 0x7FFFFFFF},
        {kForever64, 0x7FFFFFFF},
        {-1, -1},  // high half negative
        {INT64_MIN, -1},
        {-4294967296LL, -1},
    };
    for (auto [t, expected] : to32)
        EXPECT_EQ(ox_time64_to_32(t), expected) << t;

    const std::tuple<ox_time64_t, ox_time64_t, ox_timeoffset_t> to_offset[] = {
        {1000, 1000, 0},
        {1100, 1000, 100},
        {999, 1000, -2},  // one second before the base would read as forever
        {998, 1000, -2},  // two seconds before is a real -2 as well
        {997, 1000, -3},  // and three before collides with indefinite
        {kForever32, 1000, -1},
        {kForever64, 1000, -1},
        {0x100000064LL, 0, 100},  // only the low half of t counts
        {0x7FFFFFFE, 0, 0x7FFFFFFE},
        {0x80000000LL, 0, INT32_MIN},  // 32-bit wrap
        {0, 0x100000000LL, 0},         // only the low half of the base counts
        {1624269600 + 0x7FFFFFF0LL, 1624269600, 0x7FFFFFF0},  // past 2038, still positive
    };
    for (auto [t, base, expected] : to_offset)
        EXPECT_EQ(ox_time64_to_offset(t, base), expected) << t << " from " << base;

    const std::tuple<ox_timeoffset_t, ox_time64_t, ox_time64_t> from_offset[] = {
        {-1, 1000, kForever64},
        {-1, 0, kForever64},
        {5, kForever32, kForever64},  // a forever base makes every offset forever
        {-3, 1000, kIndefinite},
        {-3, 0, kIndefinite},
        {-2, 1000, kIndefinite},
        {5, 0x7FFFFFFE, kIndefinite},  // the stand-in base means indefinite
        {0, 1000, 1000},
        {100, 1000, 1100},
        {-4, 0x100000000LL, 0x100000000LL + 0xFFFFFFFCLL},  // offsets are unsigned here
        {2, 0x7FFFFFFD, 0x7FFFFFFE},                        // a sum of exactly the 32-bit forever
        {0x7FFFFFFF - 100, 100, 0x7FFFFFFE},
        {3, 0x7FFFFFFD, 0x80000000LL},  // one past it is a real time
        {0x7FFFFFF0, 1624269600, 1624269600 + 0x7FFFFFF0LL},
    };
    for (auto [offset, base, expected] : from_offset)
        EXPECT_EQ(ox_timeoffset_to_64(offset, base), expected) << offset << " from " << base;
}

std::tm fields(int year, int month, int day, int hour, int min, int sec)
{
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = min;
    tm.tm_sec = sec;
    tm.tm_isdst = -1;
    return tm;
}

// Field by field: the structure has padding, which copies need not keep.
bool same_fields(const std::tm &a, const std::tm &b)
{
    return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour &&
           a.tm_mday == b.tm_mday && a.tm_mon == b.tm_mon && a.tm_year == b.tm_year &&
           a.tm_wday == b.tm_wday && a.tm_yday == b.tm_yday && a.tm_isdst == b.tm_isdst &&
           a.tm_gmtoff == b.tm_gmtoff &&
           (a.tm_zone == b.tm_zone ||
            (a.tm_zone && b.tm_zone && std::strcmp(a.tm_zone, b.tm_zone) == 0));
}

TEST(MakeTime, ThirtyTwoBitRangeNormalisingAndNull)
{
    ZoneGuard zone("UTC");
    struct Row {
        std::tm in;
        ox_time64_t expected;
    } rows[] = {
        {fields(1970, 1, 1, 0, 0, 0), 0},
        {fields(2021, 6, 21, 10, 0, 0), 1624269600},
        {fields(2038, 1, 19, 3, 14, 7), 0x7FFFFFFF},
        {fields(2038, 1, 19, 3, 14, 8), -1},     // past the 32-bit clock
        {fields(1969, 12, 31, 23, 59, 59), -1},  // before it
        {fields(2200, 1, 1, 0, 0, 0), -1},
        {fields(2021, 13, 1, 0, 0, 0), 1640995200},  // normalised
    };
    for (Row &r : rows) {
        std::tm tm = r.in;
        EXPECT_EQ(ox_mktime(&tm), r.expected);
        if (r.expected == -1) {
            EXPECT_TRUE(same_fields(tm, r.in)) << "fields restored after failure";
        }
        std::tm tm2 = r.in;
        EXPECT_EQ(ox_mktime2(&tm2), static_cast<ox_time32_t>(r.expected));
    }
    // Success normalises the caller's fields.
    std::tm tm = fields(2021, 12, 31, 24, 0, 0);
    EXPECT_EQ(ox_mktime(&tm), 1640995200);
    EXPECT_EQ(tm.tm_year, 122);
    EXPECT_EQ(tm.tm_mon, 0);
    EXPECT_EQ(tm.tm_mday, 1);
    EXPECT_EQ(tm.tm_hour, 0);
    EXPECT_EQ(tm.tm_wday, 6);  // a Saturday
    errno = 0;
    EXPECT_EQ(ox_mktime(nullptr), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_mktime2(nullptr), -1);
}

// The low 32 bits of a time, in the present zone, into the calling
// thread's own results.
TEST(BrokenDown, LowThirtyTwoBitsTheZoneAndPerThreadResults)
{
    ZoneGuard zone("UTC");
    char *main_text = ox_ctime(0);
    struct tm *main_tm = ox_localtime(0);
    char *other_text = nullptr;
    struct tm *other_tm = nullptr;
    std::thread([&] {
        other_text = ox_ctime(86400 * 365);
        other_tm = ox_localtime(86400 * 365);
    }).join();
    EXPECT_NE(main_text, other_text);
    EXPECT_NE(main_tm, other_tm);
    EXPECT_STREQ(main_text, "Thu Jan  1 00:00:00 1970\n");
    EXPECT_EQ(main_tm->tm_year, 70);

    EXPECT_STREQ(ox_ctime(0x100000000LL), "Thu Jan  1 00:00:00 1970\n");
    EXPECT_STREQ(ox_ctime(-1), "Wed Dec 31 23:59:59 1969\n");
    EXPECT_STREQ(ox_ctime(0xFFFFFFFFLL), "Wed Dec 31 23:59:59 1969\n");  // sign-extended
    struct tm *tm = ox_localtime(0x100000000LL + 1624269600);
    ASSERT_NE(tm, nullptr);
    EXPECT_EQ(tm->tm_year, 121);
    EXPECT_EQ(tm->tm_hour, 10);
    ZoneGuard kolkata("Asia/Kolkata");
    tm = ox_localtime(1624269600);
    ASSERT_NE(tm, nullptr);
    EXPECT_EQ(tm->tm_hour, 15);
    EXPECT_EQ(tm->tm_min, 30);
    EXPECT_STREQ(ox_ctime(1624269600), "Mon Jun 21 15:30:00 2021\n");
}

// The difference as a time value (borrowing a second) and in microseconds
// (wrapping at 32 bits).
TEST(TimeOfDay, DifferenceAsTimeValueAndInMicroseconds)
{
    struct Row {
        ox_timeval a, b, expected;
        int32_t usec;
    } rows[] = {
        {{5, 900000}, {7, 100000}, {1, 200000}, 1200000},
        {{5, 100000}, {7, 900000}, {2, 800000}, 2800000},
        {{7, 100000}, {7, 100000}, {0, 0}, 0},
        {{7, 100000}, {5, 900000}, {-2, 800000}, -1200000},
        {{0, 1}, {0, 0}, {-1, 999999}, -1},
        {{0, 0}, {0, 999999}, {0, 999999}, 999999},
        {{0, 0}, {2147, 483647}, {2147, 483647}, INT32_MAX},
        {{0, 0}, {5000, 0}, {5000, 0}, static_cast<int32_t>(5000000000LL - 4294967296LL)},
        {{INT32_MIN, 0}, {INT32_MAX, 0}, {-1, 0}, -1000000},  // wraps instead of overflowing
        {{INT32_MIN, 0}, {INT32_MAX, 999999}, {-1, 999999}, 999999 - 1000000},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << r.a.tv_sec << "." << r.a.tv_usec << " -> " << r.b.tv_sec
                                        << "." << r.b.tv_usec);
        ox_timeval d = timeval_diff(r.a, r.b);
        EXPECT_EQ(d.tv_sec, r.expected.tv_sec);
        EXPECT_EQ(d.tv_usec, r.expected.tv_usec);
        EXPECT_EQ(gettimediff_usec(r.a, r.b), r.usec);
    }
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

TEST(Clocks, WallClockCurrentTimeAndNull)
{
    // Bounds from the same precise clock: time() reads a coarse copy that
    // can still show the last second a few milliseconds into the next.
    auto seconds_now = [] {
        timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        return ts.tv_sec;
    };
    std::time_t before = seconds_now();
    ox_timeval tv{};
    ASSERT_EQ(ox_gettimeofday_current_time(&tv), 0);
    std::time_t after = seconds_now();
    EXPECT_GE(tv.tv_sec, before);
    EXPECT_LE(tv.tv_sec, after);
    EXPECT_GE(tv.tv_usec, 0);
    EXPECT_LT(tv.tv_usec, 1000000);
    EXPECT_EQ(ox_gettimeofday(nullptr, nullptr), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_gettimeofday_current_time(nullptr), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);

    // ox_time() follows the clock and fills its pointer.
    ox_time64_t low = static_cast<int32_t>(std::time(nullptr));
    ox_time64_t stored = 0;
    ox_time64_t now = ox_time(&stored);
    ox_time64_t high = static_cast<int32_t>(std::time(nullptr));
    EXPECT_EQ(now, stored);
    EXPECT_GE(now, low);
    EXPECT_LE(now, high);
    EXPECT_NE(now, kForever32);
    EXPECT_GE(ox_time(nullptr), now);
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

std::tm local_fields(ox_time64_t t)
{
    std::tm tm{};
    auto when = static_cast<std::time_t>(t);
    localtime_r(&when, &tm);
    return tm;
}

TEST(RetentionLimit, OffsetOverflowFromNow)
{
    const ox_time64_t now = ox_time(nullptr);
    const ox_time64_t span = ox_time64_t{1} << 32;
    const std::pair<ox_time64_t, int> rows[] = {
        {0, 0},
        {OX_TIME_FOREVER, 0},
        {OX_TIME_FOREVER32, 0},  // forever in 32 bits is within reach
        {now + span + 60, 1},
        {now + 2 * span, 1},
        {INT64_MAX - 1, 1},
        {now + span - 3600, 0},
        {now, 0},
        {now - span - 5, 0},  // far in the past is no retention beyond reach
        {INT64_MIN, 0},
        {-1, 0},
    };
    for (auto [t, expected] : rows)
        EXPECT_EQ(ox_is_ret_time_max(t), expected) << t;
}

class RoundUp : public ::testing::TestWithParam<const char *> {};

TEST_P(RoundUp, MovesToTheLastSecondOfTheLocalDayUnlessWithinADay)
{
    ZoneGuard zone(GetParam());
    for (ox_time64_t t : {kJune21At10Utc, kJune21At10Utc + 7 * 3600 + 17, ox_time64_t{1610712000},
                          ox_time64_t{86400 * 400}}) {
        ox_time64_t r = ox_time_roundup(t);
        std::tm before = local_fields(t), after = local_fields(r);
        EXPECT_GE(r, t);
        EXPECT_EQ(after.tm_hour, 23) << t;
        EXPECT_EQ(after.tm_min, 59) << t;
        EXPECT_EQ(after.tm_sec, 59) << t;
        EXPECT_EQ(after.tm_yday, before.tm_yday) << t;
        EXPECT_EQ(ox_time_roundup(r), r) << "rounding is idempotent";
    }
    // Retention within a day is left alone.
    const ox_time64_t now = ox_time(nullptr);
    EXPECT_EQ(ox_ret_time_roundup(now + 3600), now + 3600);
    EXPECT_EQ(ox_ret_time_roundup(now + 86399), now + 86399);
    EXPECT_EQ(ox_ret_time_roundup(now - 5 * 86400), now - 5 * 86400);
    EXPECT_EQ(ox_ret_time_roundup(INT64_MIN), INT64_MIN);
    ox_time64_t later = now + 2 * 86400;
    EXPECT_EQ(ox_ret_time_roundup(later), ox_time_roundup(later));
    std::tm rounded = local_fields(ox_ret_time_roundup(later));
    EXPECT_EQ(rounded.tm_hour * 3600 + rounded.tm_min * 60 + rounded.tm_sec, 86399);
    EXPECT_EQ(rounded.tm_yday, local_fields(later).tm_yday);
}

INSTANTIATE_TEST_SUITE_P(Zones, RoundUp, ::testing::ValuesIn(cairn::testing::kTestZones),
                         cairn::testing::zone_test_name);

TEST(RoundUpValues, ExactResultsMarkersAndUnbreakableTimes)
{
    {
        ZoneGuard zone("Asia/Kolkata");
        // 15:30 IST: 8 hours 29 minutes 59 seconds to the end of the day.
        EXPECT_EQ(ox_time_roundup(kJune21At10Utc), kJune21At10Utc + 8 * 3600 + 29 * 60 + 59);
    }
    ZoneGuard zone("UTC");
    EXPECT_EQ(ox_time_roundup(kJune21At10Utc), kJune21At10Utc + 14 * 3600 - 1);
    EXPECT_EQ(ox_time_roundup(0), 86399);
    EXPECT_EQ(ox_time_roundup(OX_TIME_FOREVER), OX_TIME_FOREVER);
    EXPECT_EQ(ox_time_roundup(OX_TIME_FOREVER32), OX_TIME_FOREVER32);
    EXPECT_EQ(ox_ret_time_roundup(OX_TIME_FOREVER), OX_TIME_FOREVER);
    EXPECT_EQ(ox_ret_time_roundup(OX_TIME_FOREVER32), OX_TIME_FOREVER32);
    EXPECT_EQ(ox_time_roundup(INT64_MAX - 1), INT64_MAX - 1);
    EXPECT_EQ(ox_time_roundup(INT64_MIN), INT64_MIN);
    // Never rounds onto the reserved 32-bit value: 2038-01-19 in a zone
    // where the day ends exactly at 0x7FFFFFFF.
    ZoneGuard odd("<XYZ>+3:14:08");
    EXPECT_EQ(ox_time_roundup(0x7FFFFFFF - 3600), 0x7FFFFFFE);
}

TEST(ServiceTime, StaysFrozenUntilResetForEveryThread)
{
    svc_time_reset();
    ox_time64_t first = svc_time();
    EXPECT_NE(first, 0);
    EXPECT_NE(first, OX_TIME_FOREVER32);
    // Wait until the clock has moved on: the service time must not.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ox_time(nullptr) == first && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_GT(ox_time(nullptr), first);
    EXPECT_EQ(svc_time(), first);
    svc_time_reset();
    ox_time64_t second = svc_time();
    EXPECT_GT(second, first);
    EXPECT_EQ(svc_time(), second);

    // Threads see one value between resets.
    svc_time_reset();
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    std::atomic<bool> bad{false};
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    const ox_time64_t start = ox_time(nullptr);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            for (int n = 0; n < kRounds; ++n) {
                if (i == 0 && n % 64 == 0)
                    svc_time_reset();
                ox_time64_t v = svc_time();
                if (v < start || v > ox_time(nullptr))
                    bad.store(true);
            }
        });
    }
    for (auto &t : threads)
        t.join();
    EXPECT_FALSE(bad.load());
    // Without resets, every thread reads the same value.
    ox_time64_t frozen = svc_time();
    std::atomic<int> mismatches{0};
    threads.clear();
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 1000; ++n)
                if (svc_time() != frozen)
                    mismatches.fetch_add(1);
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(ServiceTime, CleanupClearsAndLaterCallsStartAfresh)
{
    auto child = run_in_child([] {
        ox_time64_t first = svc_time();
        while (ox_time(nullptr) == first)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        cairn::service_time_exit_cleanup();
        cairn::service_time_exit_cleanup();  // a second run finds nothing to free
        ox_time64_t again = svc_time();
        std::printf("first=%lld again=%lld frozen=%d\n", static_cast<long long>(first),
                    static_cast<long long>(again), svc_time() == again);
    });
    ASSERT_TRUE(child.exited) << "signal "
                              << child.signal;  // the registered clean-up ran at exit too
    EXPECT_EQ(child.exit_code, 0);
    long long first = 0, again = 0;
    int frozen = 0;
    ASSERT_EQ(
        std::sscanf(child.out.c_str(), "first=%lld again=%lld frozen=%d", &first, &again, &frozen),
        3)
        << child.out;
    EXPECT_GT(first, 0);
    EXPECT_GT(again, first);
    EXPECT_EQ(frozen, 1);
}

}  // namespace
