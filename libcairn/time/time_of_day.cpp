// Microsecond clocks and time-of-day arithmetic.
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "cairn/frame.h"
#include "cairn/time.h"
#include "diagnostics/debug_line.hpp"
#include "platform/clocks.hpp"

namespace {

constexpr int kClockDebugLevel = 13;
constexpr uint32_t kClockTraceBit = 0x1000;
constexpr int64_t kHundredNsPerSecond = 10000000;

// Decimal text of a 64-bit value for the debug lines.
struct Decimal {
    char text[24];
    explicit Decimal(int64_t v) { std::snprintf(text, sizeof text, "%" PRId64, v); }
};

int null_timeval()
{
    ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    return -1;
}

}  // namespace

extern "C" {

int ox_gettimeofday_current_time(struct ox_timeval *tv)
{
    if (tv == nullptr)
        return null_timeval();
    int64_t filetime = cairn::system_time_filetime();
    int64_t since_epoch = filetime - cairn::kFiletimeEpochOffset;
    int64_t seconds = since_epoch / kHundredNsPerSecond;
    if (since_epoch < 0)
        seconds = -1;
    else if (seconds > 0x7FFFFFFF)
        seconds = 0x7FFFFFFF;
    int64_t remaining = filetime % kHundredNsPerSecond;
    tv->tv_sec = static_cast<int32_t>(seconds);
    tv->tv_usec = static_cast<int32_t>(remaining / 10);
    if (cairn::debug_wanted(kClockDebugLevel, kClockTraceBit))
        cairn::debug_write("tv_sec=%ld, tv_usec=%ld, i64save_time=%s, remaining_100nanosec=%s\n",
                           static_cast<long>(tv->tv_sec), static_cast<long>(tv->tv_usec),
                           Decimal(since_epoch).text, Decimal(remaining).text);
    return 0;
}

int ox_gettimeofday(struct ox_timeval *tv, void *ignored)
{
    (void)ignored;
    if (tv == nullptr)
        return null_timeval();
    int64_t counter = cairn::perf_counter();
    int64_t frequency = cairn::perf_frequency();
    if (counter == 0 || frequency == 0)
        return ox_gettimeofday_current_time(tv);
    // In floating point, as the counter's own scale may not divide evenly.
    auto microseconds = static_cast<int64_t>(static_cast<double>(counter) /
                                             static_cast<double>(frequency) * 1000000.0);
    tv->tv_sec = static_cast<int32_t>(microseconds / 1000000);
    tv->tv_usec = static_cast<int32_t>(microseconds % 1000000);
    if (cairn::debug_wanted(kClockDebugLevel, kClockTraceBit))
        cairn::debug_write(
            "perf_counter.QuadPart=%s, Count_per_sec.QuadPart=%s, seconds=%ld, microsecond=%ld\n",
            Decimal(counter).text, Decimal(frequency).text, static_cast<long>(tv->tv_sec),
            static_cast<long>(tv->tv_usec));
    return 0;
}

struct ox_timeval timeval_diff(struct ox_timeval a, struct ox_timeval b)
{
    // Unsigned arithmetic: hostile values wrap instead of overflowing.
    struct ox_timeval d;
    d.tv_sec =
        static_cast<int32_t>(static_cast<uint32_t>(b.tv_sec) - static_cast<uint32_t>(a.tv_sec));
    d.tv_usec =
        static_cast<int32_t>(static_cast<uint32_t>(b.tv_usec) - static_cast<uint32_t>(a.tv_usec));
    if (d.tv_usec < 0) {
        d.tv_usec = static_cast<int32_t>(static_cast<uint32_t>(d.tv_usec) + 1000000u);
        d.tv_sec = static_cast<int32_t>(static_cast<uint32_t>(d.tv_sec) - 1u);
    }
    return d;
}

int32_t gettimediff_usec(struct ox_timeval a, struct ox_timeval b)
{
    int64_t usec = (static_cast<int64_t>(b.tv_sec) - a.tv_sec) * 1000000 +
                   (static_cast<int64_t>(b.tv_usec) - a.tv_usec);
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(usec)));
}

}  // extern "C"
