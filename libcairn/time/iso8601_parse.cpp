// Reading ISO 8601 text back into a time.  The zone arithmetic reads the
// fields as local time and corrects by the difference between the text's
// zone and the present local zone: it reads back exactly what
// ox_str8601_time() writes on the same machine.
#include <climits>
#include <ctime>

#include "cairn/time.h"
#include "platform/time_zone.hpp"
#include "time/scan_form.hpp"
#include "time/time_internal.hpp"

namespace {

struct Form {
    const char *pattern;
    int zone_sign;  // sign of the zone number; 0: the form has no zone
};

// Tried in this order; the first that matches the whole text wins.
constexpr Form kForms[] = {
    {"%d-%d-%dT%d:%d:%d-%ld", -1},
    {"%d-%d-%dT%d:%d:%d+%ld", +1},
    {"%04d%02d%02dT%02d%02d%02dZ", 0},
    {"%04d-%02d-%02dT%02d:%02d:%02dZ", 0},
    {"%04d%02d%02dT%02d%02d%02d", 0},
    {"%04d-%02d-%02dT%02d:%02d:%02d", 0},
};

// Year and month as struct tm wants them; false when they leave int range.
bool fill_fields(const long long (&v)[cairn::kMaxFormValues], std::tm &fields)
{
    long long year = v[0] - 1900, month = v[1] - 1;
    if (year < INT_MIN || month < INT_MIN)
        return false;
    fields = std::tm{};
    fields.tm_year = static_cast<int>(year);
    fields.tm_mon = static_cast<int>(month);
    fields.tm_mday = static_cast<int>(v[2]);
    fields.tm_hour = static_cast<int>(v[3]);
    fields.tm_min = static_cast<int>(v[4]);
    fields.tm_sec = static_cast<int>(v[5]);
    fields.tm_isdst = 0;  // read as standard time
    return true;
}

// The fields converted as local standard time, less the daylight shift of
// the converted date when it is in daylight time; -1 when mktime() fails.
long long local_value(const long long (&v)[cairn::kMaxFormValues])
{
    std::tm fields;
    if (!fill_fields(v, fields))
        return -1;
    long long wall_as_utc = cairn::fields_as_utc(fields);
    fields.tm_wday = -1;  // mktime() sets it on success only
    std::time_t value = mktime(&fields);
    if (value == static_cast<std::time_t>(-1) && fields.tm_wday == -1)
        return -1;
    return static_cast<long long>(value) - cairn::daylight_shift(fields, value, wall_as_utc);
}

}  // namespace

namespace cairn {

ox_time64_t parse_8601_at(const char *text, std::time_t now)
{
    if (text == nullptr)
        return 0;
    for (const Form &form : kForms) {
        long long v[kMaxFormValues];
        if (scan_form(text, form.pattern, v) < 0)
            continue;
        long long hhmm = form.zone_sign != 0 ? v[6] : 0;
        long long zone_minutes = hhmm - (hhmm / 100) * 40;
        long long zone_seconds, result;
        if (__builtin_mul_overflow(zone_minutes, 60LL * form.zone_sign, &zone_seconds) ||
            __builtin_add_overflow(local_value(v), zone_seconds, &result) ||
            __builtin_sub_overflow(result, static_cast<long long>(zone_at(now).east_seconds), &result))
            return 0;
        return result;
    }
    return 0;
}

}  // namespace cairn

extern "C" ox_time64_t ox_8601ptime(const char *text) { return cairn::parse_8601_at(text, std::time(nullptr)); }
