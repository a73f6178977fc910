#include "diagnostics/oxprint/format_directive.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "cairn/diagnostics.h"

namespace cairn::oxprint {
namespace {

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }
inline bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Read decimal digits, saturating at kNumberLimit; `overflow` (may be NULL)
// tells whether the number was beyond it.
const char *read_number(const char *p, int *value, int *chars, bool *overflow = nullptr)
{
    long long v = 0;
    const char *start = p;
    for (; is_digit(*p); ++p) {
        if (v <= kNumberLimit)
            v = v * 10 + (*p - '0');
    }
    if (overflow)
        *overflow = v > kNumberLimit;
    *value = v > kNumberLimit ? kNumberLimit : static_cast<int>(v);
    *chars = static_cast<int>(p - start);
    return p;
}

// "*" optionally followed by "m$"; `p` is just after the '*'.
const char *read_star_position(const char *p, int *position)
{
    if (*p >= '1' && *p <= '9') {
        int value = 0, chars = 0;
        const char *q = read_number(p, &value, &chars);
        if (*q == '$') {
            *position = value;
            return q + 1;
        }
    }
    return p;
}

unsigned flag_bit(char c)
{
    switch (c) {
    case '-':
        return kFlagMinus;
    case '+':
        return kFlagPlus;
    case ' ':
        return kFlagSpace;
    case '#':
        return kFlagHash;
    case '0':
        return kFlagZero;
    case '\'':
        return 0;  // digit grouping: accepted and ignored
    default:
        return ~0u;
    }
}

// The C99 length letters of integer types as wide as a long: their
// arguments are fetched as longs.
static_assert(sizeof(size_t) == sizeof(long) && sizeof(intmax_t) == sizeof(long) &&
              sizeof(ptrdiff_t) == sizeof(long));

Length wide_integer_length(char c)
{
    switch (c) {
    case 'z':
        return Length::z;
    case 'j':
        return Length::j;
    case 't':
        return Length::t;
    default:
        return Length::none;
    }
}

// The kind of each conversion letter without a length letter.
constexpr std::array<uint8_t, 256> make_plain_kinds()
{
    std::array<uint8_t, 256> k{};
    for (unsigned char c : {'c', 'd', 'i'})
        k[c] = OX_FMT_INT;
    for (unsigned char c : {'X', 'o', 'u', 'x'})
        k[c] = OX_FMT_UNSIGNED;
    for (unsigned char c : {'E', 'G', 'e', 'f', 'g', 'F', 'a', 'A'})
        k[c] = OX_FMT_DOUBLE;
    k['s'] = OX_FMT_STRING;
    k['p'] = OX_FMT_POINTER;
    return k;
}

constexpr std::array<uint8_t, 256> kPlainKinds = make_plain_kinds();

}  // namespace

int plain_kind(char conversion) { return kPlainKinds[static_cast<unsigned char>(conversion)]; }

void parse_spec(const char *percent, ConvSpec *spec)
{
    *spec = ConvSpec{};
    spec->start = percent;
    const char *p = percent + 1;
    if (int kind = plain_kind(*p); kind != OX_FMT_WORD) {
        // The common bare conversion ("%s", "%d"): nothing else to read.
        spec->conversion = *p;
        spec->end = p + 1;
        spec->kind = kind;
        return;
    }

    if (*p >= '1' && *p <= '9') {
        int value = 0, chars = 0;
        const char *q = read_number(p, &value, &chars);
        if (*q == '$') {
            spec->position = value;
            p = q + 1;
        }
    }
    for (unsigned bit; *p && (bit = flag_bit(*p)) != ~0u; ++p) {
        spec->flags |= bit;
        ++spec->flag_chars;
    }
    if (*p == '*') {
        spec->width = Amount::star;
        p = read_star_position(p + 1, &spec->width_position);
    } else if (is_digit(*p)) {
        spec->width = Amount::literal;
        p = read_number(p, &spec->width_value, &spec->width_chars, &spec->width_overflow);
    }
    if (*p == '.') {
        ++p;
        if (*p == '*') {
            spec->precision = Amount::star;
            p = read_star_position(p + 1, &spec->precision_position);
        } else {
            spec->precision = Amount::literal;
            p = read_number(p, &spec->precision_value, &spec->precision_chars,
                            &spec->precision_overflow);
        }
    }
    if (*p == 'h') {
        spec->length = p[1] == 'h' ? Length::hh : Length::h;
        p += p[1] == 'h' ? 2 : 1;
    } else if (*p == 'l') {
        spec->length = p[1] == 'l' ? Length::ll : Length::l;
        p += p[1] == 'l' ? 2 : 1;
        if (spec->length == Length::l)
            spec->after_l = *p;
    } else if (*p == 'L') {
        spec->length = Length::L;
        ++p;
    } else if (wide_integer_length(*p) != Length::none) {
        spec->length = wide_integer_length(*p);
        ++p;
    }
    if (is_letter(*p) || *p == '%')
        spec->conversion = *p++;
    spec->end = p;
    spec->kind = kind_of(*spec);
}

int kind_of(const ConvSpec &spec)
{
    if (!takes_argument(spec))
        return OX_FMT_WORD;
    switch (spec.length) {
    case Length::hh:
    case Length::h:
        return OX_FMT_INT;
    case Length::ll:
        return OX_FMT_LONGLONG;
    case Length::L:
        return OX_FMT_LONGDOUBLE;
    case Length::z:
    case Length::j:
    case Length::t:
        return spec.conversion == 'u' ? OX_FMT_ULONG : OX_FMT_LONG;
    case Length::l:
        // The l has no effect on a floating conversion, whose double travels
        // apart from the integers: it must be fetched as a double.
        if (spec.after_l == 'u')
            return OX_FMT_ULONG;
        return plain_kind(spec.after_l) == OX_FMT_DOUBLE ? OX_FMT_DOUBLE : OX_FMT_LONG;
    case Length::none:
        break;
    }
    return plain_kind(spec.conversion);
}

int SpecWalker::take_current()
{
    int pos = current_;
    if (current_ < kNumberLimit)
        ++current_;
    return pos;
}

bool SpecWalker::next(const char **literal, std::size_t *literal_len, ConvSpec *spec,
                      ArgPositions *pos)
{
    *literal = next_;
    const char *percent = strchrnul(next_, '%');
    *literal_len = static_cast<std::size_t>(percent - next_);
    if (*percent == '\0') {
        next_ = percent;
        return false;
    }
    parse_spec(percent, spec);
    next_ = spec->end;
    *pos = ArgPositions{};
    if (!takes_argument(*spec))
        return true;
    if (spec->position > 0)
        current_ = spec->position;
    if (spec->width == Amount::star)
        pos->width = spec->width_position > 0 ? spec->width_position : take_current();
    if (spec->precision == Amount::star)
        pos->precision = spec->precision_position > 0 ? spec->precision_position : take_current();
    pos->value = take_current();
    return true;
}

}  // namespace cairn::oxprint
