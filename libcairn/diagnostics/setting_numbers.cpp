// The number and bit-list syntax of setting lines.
#include <cctype>

#include "diagnostics/debug_control.hpp"

namespace cairn {
namespace {

// The value of `c` as a digit of `base`, or -1.
int digit_value(char c, int base)
{
    int d;
    if (c >= '0' && c <= '9')
        d = c - '0';
    else if (c >= 'a' && c <= 'f')
        d = c - 'a' + 10;
    else if (c >= 'A' && c <= 'F')
        d = c - 'A' + 10;
    else
        return -1;
    return d < base ? d : -1;
}

// The base a number starts with, moving `p` past its marker.
int take_base(const char *&p, bool &negative)
{
    negative = false;
    if (*p == '-') {
        negative = true;
        ++p;
        return 10;
    }
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'b' || p[1] == 'o')) {
        char marker = p[1];
        p += 2;
        return marker == 'x' ? 16 : marker == 'b' ? 2 : 8;
    }
    return 10;
}

// Parse one number at `p`; `end` receives where it stopped.
bool parse_number_at(const char *p, int32_t *value, const char **end)
{
    while (std::isspace(static_cast<unsigned char>(*p)))
        ++p;
    bool negative;
    int base = take_base(p, negative);
    uint64_t acc = 0;
    const char *start = p;
    for (int d; (d = digit_value(*p, base)) >= 0; ++p)
        acc = acc * static_cast<uint64_t>(base) + static_cast<uint64_t>(d);
    if (p == start)
        return false;
    if (negative)
        acc = 0 - acc;
    *value = static_cast<int32_t>(static_cast<uint32_t>(acc));
    if (end != nullptr)
        *end = p;
    return true;
}

}  // namespace

bool parse_setting_number(const char *text, int32_t *value)
{
    return text != nullptr && parse_number_at(text, value, nullptr);
}

bool parse_setting_bits(const char *text, uint32_t *value)
{
    if (text == nullptr)
        return false;
    uint32_t bits = 0;
    const char *p = text;
    for (;;) {
        int32_t n;
        if (!parse_number_at(p, &n, &p))
            return false;
        if (n >= 1)
            bits |= 1u << ((n - 1) % 32);
        while (*p != '\0' && *p != ',')
            ++p;  // the rest of an element is ignored
        if (*p == '\0')
            break;
        ++p;
    }
    *value = bits;
    return true;
}

}  // namespace cairn
