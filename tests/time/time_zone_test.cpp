// The zone layer under the ISO 8601 reader: local fields read as standard
// time must give what the C library's mktime() gives with tm_isdst 0, in
// every test zone, across daylight-saving switches; and a change of TZ is
// seen at once.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "platform/time_zone.hpp"
#include "zone_guard.hpp"

namespace {

using cairn::testing::ZoneGuard;

std::tm wall_fields(std::time_t wall)
{
    std::tm f{};
    gmtime_r(&wall, &f);
    f.tm_isdst = 0;
    f.tm_wday = 0;
    f.tm_yday = 0;
    return f;
}

class StandardTime : public ::testing::TestWithParam<const char *> {};

TEST_P(StandardTime, AgreesWithMktime)
{
    ZoneGuard zone(GetParam());
    cairn::refresh_zone_data();
    int compared = 0;
    // Every 37 minutes through 2021 (hitting every switch hour), and 1985.
    for (std::time_t start : {std::time_t{1609459200}, std::time_t{473385600}}) {
        for (std::time_t wall = start; wall < start + 366 * 86400; wall += 37 * 60) {
            std::tm fields = wall_fields(wall);
            std::tm expected_tm = fields;
            std::time_t expected = mktime(&expected_tm);
            std::time_t value = 0;
            std::tm converted{};
            ASSERT_TRUE(cairn::standard_local_to_utc(fields, cairn::fields_as_utc(fields), value,
                                                     converted));
            ASSERT_EQ(value, expected) << GetParam() << " wall " << wall;
            ASSERT_EQ(converted.tm_isdst, expected_tm.tm_isdst) << wall;
            ASSERT_EQ(converted.tm_gmtoff, expected_tm.tm_gmtoff) << wall;
            ++compared;
        }
    }
    EXPECT_GT(compared, 28000);
}

INSTANTIATE_TEST_SUITE_P(Zones, StandardTime, ::testing::ValuesIn(cairn::testing::kTestZones),
                         cairn::testing::zone_test_name);

TEST(FieldsAsUtc, MatchesTimegmAndNormalises)
{
    struct Row {
        int year, month0, day, hour, min, sec;
    } rows[] = {{1970, 0, 1, 0, 0, 0},  {2021, 5, 21, 10, 0, 0},    {2000, 1, 29, 23, 59, 59},
                {1900, 0, 1, 0, 0, 0},  {1600, 11, 31, 12, 0, 0},   {2021, 12, 1, 0, 0, 0},
                {2021, -1, 1, 0, 0, 0}, {2021, 0, 0, -1, 61, 3600}, {9999, 11, 31, 23, 59, 60},
                {-200, 3, 15, 1, 2, 3}};
    for (const Row &r : rows) {
        std::tm f{};
        f.tm_year = r.year - 1900;
        f.tm_mon = r.month0;
        f.tm_mday = r.day;
        f.tm_hour = r.hour;
        f.tm_min = r.min;
        f.tm_sec = r.sec;
        std::tm copy = f;
        EXPECT_EQ(cairn::fields_as_utc(f), timegm(&copy))
            << r.year << "-" << r.month0 << "-" << r.day;
    }
}

TEST(ZoneData, ChangeOfTzIsSeenAtOnce)
{
    for (int round = 0; round < 3; ++round) {
        {
            ZoneGuard zone("Asia/Kolkata");
            cairn::refresh_zone_data();
            EXPECT_EQ(cairn::zone_at(cairn::testing::kJulyNow).east_seconds, 19800);
        }
        {
            ZoneGuard zone("America/New_York");
            cairn::refresh_zone_data();
            EXPECT_EQ(cairn::zone_at(cairn::testing::kJulyNow).east_seconds, -4 * 3600);
            EXPECT_TRUE(cairn::zone_at(cairn::testing::kJulyNow).daylight);
            EXPECT_FALSE(cairn::zone_at(cairn::testing::kJanuaryNow).daylight);
        }
    }
}

TEST(ZoneData, RefreshReadsTzWithoutHelp)
{
    // setenv() alone, without tzset(): the refresh must notice.
    ZoneGuard outer("UTC");
    for (const char *zone : {"Asia/Kolkata", "Australia/Lord_Howe", "Asia/Kolkata"}) {
        setenv("TZ", zone, 1);
        cairn::refresh_zone_data();
        long expected = std::string(zone) == "Asia/Kolkata" ? 19800 : 11 * 3600;
        EXPECT_EQ(cairn::zone_at(cairn::testing::kJanuaryNow).east_seconds, expected) << zone;
    }
}

}  // namespace
