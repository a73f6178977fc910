// Floating conversions: the C library makes the digits of the number at a
// bounded precision, and the padding, the zeros of a larger precision and
// the width go through the sink, so that the cost never grows with a width
// or a precision.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "diagnostics/oxprint/convert.hpp"
#include "platform/alloc.hpp"

namespace cairn::oxprint {
namespace {

// Precisions beyond these add only zeros to the exact decimal (or
// hexadecimal) expansion of any finite double or long double: a double has
// at most 1074 fraction digits and 767 significant ones, a long double at
// most 16445 and 11505.
constexpr int kExactPrecision = 1500;
constexpr int kExactPrecisionLong = 16500;

// The digits of the number, made once into a stack buffer or, for the
// rare long ones (a long double near its range), an allocated one.
class Digits {
public:
    template <typename T>
    Digits(const char *spec, T value, bool counting)
    {
        int n = std::snprintf(small_, sizeof small_, spec, value);
        if (n < 0)
            return;
        len_ = static_cast<std::size_t>(n);
        if (len_ < sizeof small_) {
            text_ = small_;
        } else if (!counting) {
            big_ = static_cast<char *>(mem_alloc(len_ + 1));
            if (big_ != nullptr)
                std::snprintf(big_, len_ + 1, spec, value);
            text_ = big_;
        }
        valid_ = true;
    }
    ~Digits() { mem_free(big_); }
    Digits(const Digits &) = delete;
    Digits &operator=(const Digits &) = delete;

    bool valid() const { return valid_; }
    const char *text() const { return text_; }  // nullptr: only counted
    std::size_t length() const { return len_; }

private:
    char small_[512];
    char *big_ = nullptr;
    const char *text_ = nullptr;
    std::size_t len_ = 0;
    bool valid_ = false;
};

// The decimal digits of `v` (not negative) at `p`; returns their end.
char *put_decimal(char *p, int v)
{
    char digits[12];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v > 0);
    while (n > 0)
        *p++ = digits[--n];
    return p;
}

// '%', the flags that change the digits, the precision, 'L' and the letter
// (at most 1 + 3 + 1 + 5 + 1 + 1 + 1 bytes).
void rebuild(const Resolved &r, int precision, bool long_double, char *spec)
{
    char *p = spec;
    *p++ = '%';
    if (r.flags & kFlagPlus)
        *p++ = '+';
    if (r.flags & kFlagSpace)
        *p++ = ' ';
    if (r.flags & kFlagHash)
        *p++ = '#';
    if (precision >= 0) {
        *p++ = '.';
        p = put_decimal(p, precision);
    }
    if (long_double)
        *p++ = 'L';
    *p++ = r.conversion;
    *p = '\0';
}

// Where the number's leading part ends: its sign, and the "0x" of 'a'.
std::size_t lead_length(const char *s, std::size_t n, char conversion)
{
    std::size_t lead = n > 0 && (s[0] == '-' || s[0] == '+' || s[0] == ' ') ? 1 : 0;
    if ((conversion == 'a' || conversion == 'A') && lead + 1 < n && s[lead] == '0' &&
        (s[lead + 1] == 'x' || s[lead + 1] == 'X'))
        lead += 2;
    return lead;
}

// Where the zeros of a precision beyond the exact one go: before the
// exponent, or at the end.
std::size_t exponent_at(const char *s, std::size_t n, char conversion)
{
    char mark = 0;
    switch (conversion) {
    case 'e':
    case 'g':
        mark = 'e';
        break;
    case 'E':
    case 'G':
        mark = 'E';
        break;
    case 'a':
        mark = 'p';
        break;
    case 'A':
        mark = 'P';
        break;
    default:
        return n;
    }
    const void *at = std::memchr(s, mark, n);
    return at ? static_cast<std::size_t>(static_cast<const char *>(at) - s) : n;
}

template <typename T>
void convert_value(Sink &out, const Resolved &r, T value, int exact)
{
    const bool finite = std::isfinite(value);
    const char c = r.conversion;
    int precision = r.precision > exact ? exact : r.precision;
    // %g drops trailing zeros unless '#' keeps them.
    bool keeps_zeros = finite && !((c == 'g' || c == 'G') && !(r.flags & kFlagHash));
    std::size_t extra =
        r.precision > exact && keeps_zeros ? static_cast<std::size_t>(r.precision - exact) : 0;

    char spec[32];
    rebuild(r, precision, sizeof(T) > sizeof(double), spec);
    Digits digits(spec, value, out.room() == 0);
    if (!digits.valid())
        return;
    std::size_t n = digits.length();
    std::size_t columns = n + extra;
    const auto width = static_cast<std::size_t>(r.width);
    if (digits.text() == nullptr) {  // nothing more is stored: only count
        out.skip(width > columns ? width : columns);
        return;
    }
    const char *s = digits.text();
    std::size_t lead = lead_length(s, n, c);
    std::size_t at = finite ? exponent_at(s, n, c) : n;
    bool zero_pad = (r.flags & kFlagZero) && !(r.flags & kFlagMinus) && finite;
    if (!zero_pad)
        pad_before(out, r, columns);
    out.put(s, lead);
    if (zero_pad && width > columns)
        out.fill('0', width - columns);
    out.put(s + lead, at - lead);
    out.fill('0', extra);
    out.put(s + at, n - at);
    pad_after(out, r, columns);
}

}  // namespace

void convert_floating(Sink &out, const Resolved &r, const ox_fmt_arg &arg)
{
    if (r.length == Length::L && r.fetched_kind == OX_FMT_LONGDOUBLE)
        convert_value(out, r, slot_as<long double>(arg), kExactPrecisionLong);
    else
        convert_value(out, r, slot_as<double>(arg), kExactPrecision);
}

}  // namespace cairn::oxprint
