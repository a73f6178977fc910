// ISO 8601 text of a time: local with the present zone, local without a
// zone, and UTC.
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "cairn/time.h"
#include "platform/time_zone.hpp"
#include "time/time_internal.hpp"

namespace {

// The broken-down time is first written to a buffer of this size.
constexpr std::size_t kFieldTextSize = 200;

enum class Form { extended, compact };

// Two decimal digits of 0..99.
char *put2(char *p, int v)
{
    p[0] = static_cast<char>('0' + v / 10);
    p[1] = static_cast<char>('0' + v % 10);
    return p + 2;
}

// "YYYY-MM-DDTHH:MM:SS" or "YYYYMMDDTHHMMSS" of fields whose year has four
// digits, written directly (strftime() interprets its format on every
// call); other years go through strftime().  Returns the length, 0 when
// the fields cannot be written.
std::size_t put_fields(char *out, std::size_t cap, const std::tm &f, Form form)
{
    long year = 1900L + f.tm_year;
    if (year < 1000 || year > 9999) {
        const char *format = form == Form::compact ? "%Y%m%dT%H%M%S" : "%Y-%m-%dT%H:%M:%S";
        return std::strftime(out, cap, format, &f);
    }
    bool ext = form == Form::extended;
    char *p = put2(put2(out, static_cast<int>(year / 100)), static_cast<int>(year % 100));
    if (ext)
        *p++ = '-';
    p = put2(p, f.tm_mon + 1);
    if (ext)
        *p++ = '-';
    p = put2(p, f.tm_mday);
    *p++ = 'T';
    p = put2(p, f.tm_hour);
    if (ext)
        *p++ = ':';
    p = put2(p, f.tm_min);
    if (ext)
        *p++ = ':';
    p = put2(p, f.tm_sec);
    *p = '\0';
    return static_cast<std::size_t>(p - out);
}

// Breaks the time down (local time with the zone data made current, or
// UTC) and writes it.  Returns the length; 0 when it cannot be broken down.
std::size_t format_fields(char *out, std::size_t cap, ox_time64_t t, bool utc, Form form)
{
    auto when = static_cast<std::time_t>(t);
    std::tm fields{};
    if (!utc)
        cairn::refresh_zone_data();
    if ((utc ? gmtime_r(&when, &fields) : localtime_r(&when, &fields)) == nullptr)
        return 0;
    return put_fields(out, cap, fields, form);
}

// Copies `text` into the caller's buffer: its length, or 0 (and an empty
// buffer) when it does not fit or is empty.
int deliver(char *buf, std::size_t size, const char *text, std::size_t length)
{
    if (length == 0 || length >= size) {
        buf[0] = '\0';
        return 0;
    }
    std::memcpy(buf, text, length + 1);
    return static_cast<int>(length);
}

int write_plain(char *buf, std::size_t size, ox_time64_t t, bool utc, Form form)
{
    if (buf == nullptr || size == 0)
        return 0;
    char text[kFieldTextSize + 2];
    std::size_t n = format_fields(text, kFieldTextSize, t, utc, form);
    if (n != 0 && utc)
        text[n++] = 'Z';
    text[n] = '\0';
    return deliver(buf, size, text, n);
}

}  // namespace

namespace cairn {

int format_8601_with_zone_at(char *buf, std::size_t size, ox_time64_t t, std::time_t now)
{
    if (buf == nullptr || size == 0)
        return 0;
    char text[kFieldTextSize + 8];
    std::size_t n = format_fields(text, kFieldTextSize, t, false,
                                  Form::extended);  // makes the zone data current
    if (n == 0)
        return deliver(buf, size, "", 0);
    // The offset in effect now, daylight time included, also for other
    // dates: whole minutes west of UTC, as the zone is written.
    long west = -(zone_at(now).east_seconds / 60) * 60;
    long magnitude = std::labs(west);
    char *p = text + n;
    *p++ = west <= 0 ? '+' : '-';
    p = put2(p, static_cast<int>(magnitude / 3600));  // under 100: no zone is that far
    p = put2(p, static_cast<int>(magnitude % 3600 / 60));
    *p = '\0';
    return deliver(buf, size, text, static_cast<std::size_t>(p - text));
}

}  // namespace cairn

extern "C" {

int ox_str8601_time(char *buf, size_t size, ox_time64_t t)
{
    return cairn::format_8601_with_zone_at(buf, size, t, std::time(nullptr));
}

int ox_str8601_time_comp(char *buf, size_t size, ox_time64_t t, int compact)
{
    return write_plain(buf, size, t, false, compact ? Form::compact : Form::extended);
}

int ox_str8601_time_compz(char *buf, size_t size, ox_time64_t t, int compact)
{
    return write_plain(buf, size, t, true, compact ? Form::compact : Form::extended);
}

}  // extern "C"
