// Retention times: the 32-bit offset limit and rounding to the end of the
// local day, under several zones.
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

#include "cairn/time.h"
#include "zone_guard.hpp"

namespace {

using cairn::testing::ZoneGuard;

constexpr ox_time64_t kJune21At10Utc = 1624269600;

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
    struct Row {
        ox_time64_t t;
        int expected;
    } rows[] = {
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
    for (const Row &r : rows)
        EXPECT_EQ(ox_is_ret_time_max(r.t), r.expected) << r.t;
}

class RoundUp : public ::testing::TestWithParam<const char *> {};

TEST_P(RoundUp, MovesToTheLastSecondOfTheLocalDay)
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
}

TEST_P(RoundUp, RetentionWithinADayIsLeftAlone)
{
    ZoneGuard zone(GetParam());
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

TEST(RoundUpValues, ExactResultsInFixedZones)
{
    {
        ZoneGuard zone("UTC");
        EXPECT_EQ(ox_time_roundup(kJune21At10Utc), kJune21At10Utc + 14 * 3600 - 1);
        EXPECT_EQ(ox_time_roundup(0), 86399);
    }
    {
        ZoneGuard zone("Asia/Kolkata");
        // 15:30 IST: 8 hours 29 minutes 59 seconds to the end of the day.
        EXPECT_EQ(ox_time_roundup(kJune21At10Utc), kJune21At10Utc + 8 * 3600 + 29 * 60 + 59);
    }
}

TEST(RoundUpValues, MarkersAndUnbreakableTimesSurvive)
{
    ZoneGuard zone("UTC");
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

}  // namespace
