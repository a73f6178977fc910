// Forever and indefinite encodings and the 64-bit / 32-bit / offset
// conversions, checked as tables.
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

#include "cairn/time.h"

namespace {

constexpr ox_time64_t kForever32 = 0x7FFFFFFF;
constexpr ox_time64_t kForever64 = INT64_MAX;
constexpr ox_time64_t kIndefinite = 5748491471LL;

TEST(TimeValues, ConstantsMatchTheirMeaning)
{
    EXPECT_EQ(OX_TIME_FOREVER32, kForever32);
    EXPECT_EQ(OX_TIME_FOREVER, kForever64);
    EXPECT_EQ(OX_TIME_INDEFINITE, kIndefinite);
    EXPECT_EQ(OX_TIMEOFFSET_FOREVER, -1);
    EXPECT_EQ(OX_TIMEOFFSET_OVERFLOW, -2);
    EXPECT_EQ(OX_TIMEOFFSET_INDEFINITE, -3);
}

TEST(TimeValues, ForeverAndIndefinitePredicates)
{
    struct Row {
        ox_time64_t t;
        int forever;
    } rows[] = {{kForever32, 1}, {kForever64, 1}, {0x7FFFFFFE, 0}, {0x80000000LL, 0},
                {0, 0},          {-1, 0},         {INT64_MIN, 0},  {kIndefinite, 0}};
    for (const Row &r : rows)
        EXPECT_EQ(ox_is_forever_time(r.t), r.forever) << r.t;

    EXPECT_EQ(ox_is_forever_timeoffset(-1), 1);
    EXPECT_EQ(ox_is_forever_timeoffset(-3), 0);
    EXPECT_EQ(ox_is_forever_timeoffset(0), 0);
    EXPECT_EQ(ox_is_new_indefinite_timeoffset(-3), 1);
    EXPECT_EQ(ox_is_new_indefinite_timeoffset(-2), 0);
    EXPECT_EQ(ox_is_new_indefinite_timeoffset(-1), 0);
    EXPECT_EQ(ox_new_indefinite_timeoffset(), -3);
}

TEST(TimeValues, CompareTreatsBothForeversAlike)
{
    struct Row {
        ox_time64_t a, b;
        int expected;
    } rows[] = {
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
    for (const Row &r : rows)
        EXPECT_EQ(ox_time_cmp(r.a, r.b), r.expected) << r.a << " vs " << r.b;
}

TEST(TimeValues, SixtyFourToThirtyTwo)
{
    struct Row {
        ox_time64_t t;
        ox_time32_t expected;
    } rows[] = {
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
    for (const Row &r : rows)
        EXPECT_EQ(ox_time64_to_32(r.t), r.expected) << r.t;
}

TEST(TimeValues, TimeToOffset)
{
    struct Row {
        ox_time64_t t, base;
        ox_timeoffset_t expected;
    } rows[] = {
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
    };
    for (const Row &r : rows)
        EXPECT_EQ(ox_time64_to_offset(r.t, r.base), r.expected) << r.t << " from " << r.base;
}

TEST(TimeValues, OffsetToTime)
{
    struct Row {
        ox_timeoffset_t offset;
        ox_time64_t base, expected;
    } rows[] = {
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
    };
    for (const Row &r : rows)
        EXPECT_EQ(ox_timeoffset_to_64(r.offset, r.base), r.expected)
            << r.offset << " from " << r.base;
}

TEST(TimeValues, OffsetRoundTripForRealTimes)
{
    const ox_time64_t base = 1624269600;
    for (ox_time64_t delta : {0LL, 1LL, 59LL, 86400LL, 31536000LL, 0x7FFFFFF0LL}) {
        ox_time64_t t = base + delta;
        ox_timeoffset_t o = ox_time64_to_offset(t, base);
        EXPECT_EQ(ox_timeoffset_to_64(o, base), t) << delta;
    }
    EXPECT_EQ(ox_timeoffset_to_64(ox_time64_to_offset(kForever64, base), base), kForever64);
    EXPECT_EQ(ox_timeoffset_to_64(ox_new_indefinite_timeoffset(), base), kIndefinite);
}

TEST(TimeValues, CurrentTimeFollowsTheClockAndFillsThePointer)
{
    ox_time64_t before = static_cast<int32_t>(std::time(nullptr));
    ox_time64_t stored = 0;
    ox_time64_t now = ox_time(&stored);
    ox_time64_t after = static_cast<int32_t>(std::time(nullptr));
    EXPECT_EQ(now, stored);
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
    EXPECT_NE(now, kForever32);
    EXPECT_GE(ox_time(nullptr), now);
}

}  // namespace
