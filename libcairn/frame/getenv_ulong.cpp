// ox_getenv_ulong: a number from the environment by a spec
// "NAME=DEFAULT,MIN:MAX", with relative forms and clamping.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cairn/frame.h"
#include "diagnostics/debug_line.hpp"
#include "frame/notice.hpp"

namespace {

constexpr size_t kFieldMax = 128;

struct Spec {
    char name[kFieldMax + 1] = {};
    char fallback[kFieldMax + 1] = {};
    char min[kFieldMax + 1] = {};
    char max[kFieldMax + 1] = {};
};

// Copy up to the first of `stops` (or the end), at most 128 characters;
// returns where the copy stopped.
const char *take_field(const char *p, const char *stops, char *out)
{
    size_t n = 0;
    while (*p && !std::strchr(stops, *p)) {
        if (n < kFieldMax)
            out[n++] = *p;
        ++p;
    }
    out[n] = '\0';
    return *p ? p + 1 : p;
}

// NAME must end at its '=' and DEFAULT at its ',': "NAME=5" has a NAME but
// no DEFAULT, and is malformed.
Spec parse(const char *spec)
{
    Spec s;
    if (std::strchr(spec, '=') == nullptr)
        return s;  // no NAME
    const char *p = take_field(spec, "=", s.name);
    if (std::strchr(p, ',') == nullptr)
        return s;  // no DEFAULT
    p = take_field(p, ",", s.fallback);
    p = take_field(p, ":", s.min);
    take_field(p, "", s.max);
    return s;
}

uint32_t number(const char *text) { return static_cast<uint32_t>(std::atol(text)); }

uint32_t bound(const char *text, uint32_t unset)
{
    return text[0] == '\0' || std::strcmp(text, "*") == 0 ? unset : number(text);
}

uint32_t apply_rule(const char *text, uint32_t base)
{
    switch (text[0]) {
    case '%':
        return static_cast<uint32_t>(static_cast<uint32_t>(number(text + 1) * base) / 100u);
    case '<':
        return base < number(text + 1) ? base : number(text + 1);
    case '>':
        return base > number(text + 1) ? base : number(text + 1);
    case '=':
        return number(text + 1);
    case 'D':
        return base;
    default:
        return number(text);
    }
}

[[noreturn]] void malformed(const char *spec)
{
    char text[512];
    std::snprintf(text, sizeof text,
                  "Unable to get the value of environment variable '%s': the string is "
                  "improperly formatted.\n",
                  spec);
    cairn::post_notice(52000, 2, 2, text);
    std::abort();
}

}  // namespace

extern "C" unsigned long ox_getenv_ulong(const char *spec, unsigned long base)
{
    if (spec == nullptr)
        malformed("(null)");
    Spec s = parse(spec);
    if (s.name[0] == '\0' || s.fallback[0] == '\0')
        malformed(spec);
    const char *value = ox_getenv(s.name);
    uint32_t b = static_cast<uint32_t>(base);
    uint32_t v = apply_rule(value ? value : s.fallback, b);
    uint32_t lo = bound(s.min, 0x80000000u), hi = bound(s.max, 0xFFFFFFFFu);
    uint32_t result = v < lo ? lo : (v < hi ? v : hi);
    CAIRN_DEBUG(2, 2, "getenv_ulong(%s, %lu) returning %lu\n", spec, base,
                static_cast<unsigned long>(result));
    return result;
}
