#include "time/scan_form.hpp"

#include <climits>

namespace cairn {
namespace {

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Largest magnitudes as tens and units, so that the overflow test needs no
// division: [long][negative].
struct Limit {
    unsigned long long tens, units;
};
constexpr unsigned long long kIntMost = INT_MAX, kLongMost = LONG_MAX;
constexpr Limit kLimits[2][2] = {
    {{kIntMost / 10, kIntMost % 10}, {(kIntMost + 1) / 10, (kIntMost + 1) % 10}},
    {{kLongMost / 10, kLongMost % 10}, {(kLongMost + 1) / 10, (kLongMost + 1) % 10}},
};

struct Conversion {
    int width = INT_MAX;  // characters of sign and digits at most
    bool is_long = false;
};

// Reads the conversion after '%'; returns the form position after it, or
// nullptr for a conversion this matcher does not know.
const char *read_conversion(const char *f, Conversion &conv)
{
    if (is_digit(*f)) {
        conv.width = 0;
        while (is_digit(*f))
            conv.width = conv.width * 10 + (*f++ - '0');
    }
    if (*f == 'l') {
        conv.is_long = true;
        ++f;
    }
    return *f == 'd' && conv.width > 0 ? f + 1 : nullptr;
}

// Reads one number at `t`; returns the text position after it or nullptr.
const char *read_number(const char *t, const Conversion &conv, long long &value)
{
    while (is_blank(*t))
        ++t;
    int left = conv.width;
    bool negative = false;
    if ((*t == '-' || *t == '+') && left > 0) {
        negative = *t++ == '-';
        --left;
    }
    // The magnitude may reach the type's limit, or one more when negative.
    const Limit &most = kLimits[conv.is_long][negative];
    unsigned long long magnitude = 0;
    int digits = 0;
    for (; left > 0 && is_digit(*t); --left, ++digits, ++t) {
        unsigned digit = static_cast<unsigned>(*t - '0');
        if (magnitude > most.tens || (magnitude == most.tens && digit > most.units))
            return nullptr;
        magnitude = magnitude * 10 + digit;
    }
    if (digits == 0)
        return nullptr;
    value = negative ? static_cast<long long>(0 - magnitude) : static_cast<long long>(magnitude);
    return t;
}

}  // namespace

int scan_prefix(const char *text, const char *form, long long (&values)[kMaxFormValues],
                const char *&end)
{
    int stored = 0;
    const char *t = text;
    for (const char *f = form; *f != '\0';) {
        if (*f != '%') {
            if (*t++ != *f++)
                return -1;
            continue;
        }
        Conversion conv;
        f = read_conversion(f + 1, conv);
        if (f == nullptr || stored == kMaxFormValues)
            return -1;
        t = read_number(t, conv, values[stored]);
        if (t == nullptr)
            return -1;
        ++stored;
    }
    end = t;
    return stored;
}

int scan_form(const char *text, const char *form, long long (&values)[kMaxFormValues])
{
    const char *end = nullptr;
    int stored = scan_prefix(text, form, values, end);
    return stored >= 0 && *end == '\0' ? stored : -1;
}

}  // namespace cairn
