// The C library's calendar conversions on 32-bit times: range limits,
// restoring the caller's fields on failure, and per-thread results.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <thread>

#include "cairn/frame.h"
#include "cairn/time.h"
#include "zone_guard.hpp"

namespace {

using cairn::testing::ZoneGuard;

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

TEST(MakeTime, ThirtyTwoBitRange)
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
}

TEST(MakeTime, NormalisesTheCallersFieldsOnSuccess)
{
    ZoneGuard zone("UTC");
    std::tm tm = fields(2021, 12, 31, 24, 0, 0);
    EXPECT_EQ(ox_mktime(&tm), 1640995200);
    EXPECT_EQ(tm.tm_year, 122);
    EXPECT_EQ(tm.tm_mon, 0);
    EXPECT_EQ(tm.tm_mday, 1);
    EXPECT_EQ(tm.tm_hour, 0);
    EXPECT_EQ(tm.tm_wday, 6);  // a Saturday
}

TEST(MakeTime, NullIsRefused)
{
    errno = 0;
    EXPECT_EQ(ox_mktime(nullptr), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_mktime2(nullptr), -1);
}

TEST(BrokenDown, LowThirtyTwoBitsAreUsed)
{
    ZoneGuard zone("UTC");
    EXPECT_STREQ(ox_ctime(0), "Thu Jan  1 00:00:00 1970\n");
    EXPECT_STREQ(ox_ctime(0x100000000LL), "Thu Jan  1 00:00:00 1970\n");
    EXPECT_STREQ(ox_ctime(-1), "Wed Dec 31 23:59:59 1969\n");
    EXPECT_STREQ(ox_ctime(0xFFFFFFFFLL), "Wed Dec 31 23:59:59 1969\n");  // sign-extended
    struct tm *tm = ox_localtime(0x100000000LL + 1624269600);
    ASSERT_NE(tm, nullptr);
    EXPECT_EQ(tm->tm_year, 121);
    EXPECT_EQ(tm->tm_hour, 10);
}

TEST(BrokenDown, LocalTimeFollowsTheZone)
{
    ZoneGuard zone("Asia/Kolkata");
    struct tm *tm = ox_localtime(1624269600);
    ASSERT_NE(tm, nullptr);
    EXPECT_EQ(tm->tm_hour, 15);
    EXPECT_EQ(tm->tm_min, 30);
    EXPECT_STREQ(ox_ctime(1624269600), "Mon Jun 21 15:30:00 2021\n");
}

TEST(BrokenDown, ResultsBelongToTheCallingThread)
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
}

}  // namespace
