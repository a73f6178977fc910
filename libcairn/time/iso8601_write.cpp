// ISO 8601 text of a time: local with the present zone, local without a
// zone, and UTC.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "cairn/time.h"
#include "platform/time_zone.hpp"
#include "time/time_internal.hpp"

namespace {

// The broken-down time is first written to a buffer of this size.
constexpr std::size_t kFieldTextSize = 200;

// Writes the fields with `format`; false when the time cannot be broken
// down or the text is empty.
bool format_fields(char (&out)[kFieldTextSize], ox_time64_t t, bool utc, const char *format)
{
    auto when = static_cast<std::time_t>(t);
    std::tm fields{};
    if (!utc)
        cairn::refresh_zone_data();
    if ((utc ? gmtime_r(&when, &fields) : localtime_r(&when, &fields)) == nullptr)
        return false;
    return std::strftime(out, sizeof out, format, &fields) != 0;
}

// Copies `text` into the caller's buffer: its length, or 0 (and an empty
// buffer) when it does not fit.
int deliver(char *buf, std::size_t size, const char *text, int length)
{
    if (length < 0 || static_cast<std::size_t>(length) >= size) {
        buf[0] = '\0';
        return 0;
    }
    std::snprintf(buf, size, "%s", text);
    return length;
}

int write_plain(char *buf, std::size_t size, ox_time64_t t, bool utc, const char *format)
{
    if (buf == nullptr || size == 0)
        return 0;
    char text[kFieldTextSize];
    if (!format_fields(text, t, utc, format))
        return deliver(buf, size, "", -1);
    return deliver(buf, size, text, static_cast<int>(std::strlen(text)));
}

}  // namespace

namespace cairn {

int format_8601_with_zone_at(char *buf, std::size_t size, ox_time64_t t, std::time_t now)
{
    if (buf == nullptr || size == 0)
        return 0;
    char text[kFieldTextSize];
    if (!format_fields(text, t, false, "%Y-%m-%dT%H:%M:%S"))  // makes the zone data current
        return deliver(buf, size, "", -1);
    // The offset in effect now, daylight time included, also for other
    // dates: whole minutes west of UTC, as the zone is written.
    long west = -(zone_at(now).east_seconds / 60) * 60;
    long magnitude = std::labs(west);
    char zoned[kFieldTextSize + 8];
    int length = std::snprintf(zoned, sizeof zoned, "%s%c%02d%02d", text, west <= 0 ? '+' : '-',
                               static_cast<int>(magnitude / 3600), static_cast<int>(magnitude % 3600 / 60));
    return deliver(buf, size, zoned, length);
}

}  // namespace cairn

extern "C" {

int ox_str8601_time(char *buf, size_t size, ox_time64_t t)
{
    return cairn::format_8601_with_zone_at(buf, size, t, std::time(nullptr));
}

int ox_str8601_time_comp(char *buf, size_t size, ox_time64_t t, int compact)
{
    return write_plain(buf, size, t, false, compact ? "%Y%m%dT%H%M%S" : "%Y-%m-%dT%H:%M:%S");
}

int ox_str8601_time_compz(char *buf, size_t size, ox_time64_t t, int compact)
{
    return write_plain(buf, size, t, true, compact ? "%Y%m%dT%H%M%SZ" : "%Y-%m-%dT%H:%M:%SZ");
}

}  // extern "C"
