// Reading ISO 8601 text back into a time.  The zone arithmetic reads the
// fields as local time and corrects by the difference between the text's
// zone and the present local zone: it reads back exactly what
// ox_str8601_time() writes on the same machine.
#include <climits>
#include <cstring>
#include <ctime>

#include "cairn/time.h"
#include "platform/time_zone.hpp"
#include "time/scan_form.hpp"
#include "time/time_internal.hpp"

namespace {

// The six forms, tried in this order (the first that matches the whole
// text wins):
//   1. "%d-%d-%dT%d:%d:%d-%ld"         zone sign minus
//   2. "%d-%d-%dT%d:%d:%d+%ld"         zone sign plus
//   3. "%04d%02d%02dT%02d%02d%02dZ"
//   4. "%04d-%02d-%02dT%02d:%02d:%02dZ"
//   5. "%04d%02d%02dT%02d%02d%02d"
//   6. "%04d-%02d-%02dT%02d:%02d:%02d"
// They share three stems; each stem is scanned once and the forms are then
// decided, in their order, by what follows it.
constexpr const char *kZonedStem = "%d-%d-%dT%d:%d:%d";                 // forms 1, 2
constexpr const char *kCompactStem = "%04d%02d%02dT%02d%02d%02d";       // forms 3, 5
constexpr const char *kExtendedStem = "%04d-%02d-%02dT%02d:%02d:%02d";  // forms 4, 6
constexpr int kStemFields = 6;

struct Match {
    long long v[cairn::kMaxFormValues];
    int zone_sign = 0;  // 0: no zone (forms 3 to 6)
};

// Forms 1 and 2: the stem, the zone's sign, the zone number to the end.
bool match_zoned(const char *text, Match &m)
{
    const char *end = nullptr;
    if (cairn::scan_prefix(text, kZonedStem, m.v, end) != kStemFields ||
        (*end != '-' && *end != '+'))
        return false;
    long long zone[cairn::kMaxFormValues];
    if (cairn::scan_form(end + 1, "%ld", zone) != 1)
        return false;
    m.v[kStemFields] = zone[0];
    m.zone_sign = *end == '-' ? -1 : 1;
    return true;
}

// Forms 3 to 6.
bool match_unzoned(const char *text, Match &m)
{
    long long compact[cairn::kMaxFormValues], extended[cairn::kMaxFormValues];
    const char *compact_end = nullptr, *extended_end = nullptr;
    bool has_compact = cairn::scan_prefix(text, kCompactStem, compact, compact_end) == kStemFields;
    auto ends_with_z = [](const char *p) { return p[0] == 'Z' && p[1] == '\0'; };
    const long long *chosen = nullptr;
    if (has_compact && ends_with_z(compact_end)) {
        chosen = compact;
    } else {
        bool has_extended =
            cairn::scan_prefix(text, kExtendedStem, extended, extended_end) == kStemFields;
        // Preference: a 'Z' ending (compact form first), then the text's end
        // (compact form first).
        bool extended_z = has_extended && ends_with_z(extended_end);
        bool compact_ends = has_compact && *compact_end == '\0';
        bool extended_ends = has_extended && *extended_end == '\0';
        if (extended_z || (!compact_ends && extended_ends))
            chosen = extended;
        else if (compact_ends)
            chosen = compact;
    }
    if (chosen == nullptr)
        return false;
    for (int i = 0; i < kStemFields; ++i)
        m.v[i] = chosen[i];
    m.zone_sign = 0;
    return true;
}

// The two numbers of a compact text (YYYYMMDD and HHMMSS) as the six
// fields.
bool split_compact(Match &m)
{
    long long date = m.v[0], time = m.v[1];
    m.v[0] = date / 10000;
    m.v[1] = date / 100 % 100;
    m.v[2] = date % 100;
    m.v[3] = time / 10000;
    m.v[4] = time / 100 % 100;
    m.v[5] = time % 100;
    return true;
}

// The texts ox_str8601_time() and its siblings write, read without the
// general matcher: every digit where a digit belongs, separators where they
// belong, nothing else.  Such a text gives the same values whichever of the
// forms above it is read by, so the result is the same.  `shape` holds 'D'
// for a digit; other characters must match as they are.
bool match_shape(const char *text, const char *shape, Match &m, int fields)
{
    int field = 0;
    long long value = 0;
    bool in_number = false;
    for (; *shape != '\0'; ++text, ++shape) {
        if (*shape == 'D') {
            if (*text < '0' || *text > '9')
                return false;
            value = value * 10 + (*text - '0');
            in_number = true;
            continue;
        }
        if (*text != *shape)
            return false;
        if (in_number) {
            m.v[field++] = value;
            value = 0;
            in_number = false;
        }
    }
    if (*text != '\0')
        return false;
    if (in_number)
        m.v[field++] = value;
    return field == fields;
}

bool match_canonical(const char *text, std::size_t length, Match &m)
{
    m.zone_sign = 0;
    switch (length) {
    case 15:
        return match_shape(text, "DDDDDDDDTDDDDDD", m, 2) && split_compact(m);
    case 16:
        return match_shape(text, "DDDDDDDDTDDDDDDZ", m, 2) && split_compact(m);
    case 19:
        return match_shape(text, "DDDD-DD-DDTDD:DD:DD", m, kStemFields);
    case 20:
        return match_shape(text, "DDDD-DD-DDTDD:DD:DDZ", m, kStemFields);
    case 24:
        if (text[19] != '+' && text[19] != '-')
            return false;
        m.zone_sign = text[19] == '-' ? -1 : 1;
        return match_shape(
            text, text[19] == '-' ? "DDDD-DD-DDTDD:DD:DD-DDDD" : "DDDD-DD-DDTDD:DD:DD+DDDD", m,
            kStemFields + 1);
    default:
        return false;
    }
}

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
    std::time_t value;
    std::tm converted;
    if (!cairn::standard_local_to_utc(fields, wall_as_utc, value, converted))
        return -1;
    return static_cast<long long>(value) - cairn::daylight_shift(converted, value, wall_as_utc);
}

}  // namespace

namespace cairn {

ox_time64_t parse_8601_at(const char *text, std::time_t now)
{
    if (text == nullptr)
        return 0;
    // Forms 1, 2, 5 and 6 end in a digit, forms 3 and 4 in 'Z': the last
    // character rules out the stems that cannot match.
    std::size_t length = std::strlen(text);
    char last = length > 0 ? text[length - 1] : '\0';
    bool digit_end = last >= '0' && last <= '9';
    Match m;
    if (!match_canonical(text, length, m) && !(digit_end && match_zoned(text, m)) &&
        !((digit_end || last == 'Z') && match_unzoned(text, m)))
        return 0;
    refresh_zone_data();
    long long hhmm = m.zone_sign != 0 ? m.v[kStemFields] : 0;
    long long zone_minutes = hhmm - (hhmm / 100) * 40;
    long long zone_seconds, result;
    if (__builtin_mul_overflow(zone_minutes, 60LL * m.zone_sign, &zone_seconds) ||
        __builtin_add_overflow(local_value(m.v), zone_seconds, &result) ||
        __builtin_sub_overflow(result, static_cast<long long>(zone_at(now).east_seconds), &result))
        return 0;
    return result;
}

}  // namespace cairn

extern "C" ox_time64_t ox_8601ptime(const char *text)
{
    return cairn::parse_8601_at(text, std::time(nullptr));
}
