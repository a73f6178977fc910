// Integer and pointer conversions.
#include "diagnostics/oxprint/convert.hpp"

namespace cairn::oxprint {
namespace {

struct Integer {
    unsigned long long magnitude;
    bool negative;
};

Integer signed_value(const Resolved &r, const ox_fmt_arg &arg)
{
    long long v;
    switch (r.length) {
    case Length::hh:
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): %hhd is a signed char
        v = static_cast<signed char>(slot_as<int>(arg));
        break;
    case Length::h:
        v = static_cast<short>(slot_as<int>(arg));
        break;
    case Length::none:
        v = slot_as<int>(arg);
        break;
    case Length::l:
        v = slot_as<long>(arg);
        break;
    default:
        v = slot_as<long long>(arg);
        break;
    }
    if (v < 0)
        return {0ull - static_cast<unsigned long long>(v), true};
    return {static_cast<unsigned long long>(v), false};
}

unsigned long long unsigned_value(const Resolved &r, const ox_fmt_arg &arg)
{
    switch (r.length) {
    case Length::hh:
        return static_cast<unsigned char>(slot_as<unsigned>(arg));
    case Length::h:
        return static_cast<unsigned short>(slot_as<unsigned>(arg));
    case Length::none:
        return slot_as<unsigned>(arg);
    case Length::l:
        return slot_as<unsigned long>(arg);
    default:
        return slot_as<unsigned long long>(arg);
    }
}

// Digits of v, written backwards ending at `end`; returns the start.  Each
// base has its own loop so that the divisions are by constants.
char *decimal_digits(unsigned long long v, char *end)
{
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    char *p = end;
    while (v >= 100) {
        auto r = static_cast<unsigned>(v % 100);
        v /= 100;
        *--p = kPairs[r * 2 + 1];
        *--p = kPairs[r * 2];
    }
    if (v >= 10) {
        *--p = kPairs[v * 2 + 1];
        *--p = kPairs[v * 2];
    } else {
        *--p = static_cast<char>('0' + v);
    }
    return p;
}

char *power_of_two_digits(unsigned long long v, unsigned bits, bool upper, char *end)
{
    const char *set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    const unsigned long long mask = (1u << bits) - 1;
    char *p = end;
    do {
        *--p = set[v & mask];
        v >>= bits;
    } while (v != 0);
    return p;
}

char *digits(unsigned long long v, char conversion, char *end)
{
    switch (conversion) {
    case 'o':
        return power_of_two_digits(v, 3, false, end);
    case 'x':
        return power_of_two_digits(v, 4, false, end);
    case 'X':
        return power_of_two_digits(v, 4, true, end);
    default:
        return decimal_digits(v, end);
    }
}

}  // namespace

void convert_integer(Sink &out, const Resolved &r, const ox_fmt_arg &arg)
{
    // A pointer prints as "%#lx" does, and takes the sign flags as well.
    const bool pointer = r.conversion == 'p';
    const char c = pointer ? 'x' : r.conversion;
    const bool is_signed = c == 'd' || c == 'i';
    Integer value = is_signed ? signed_value(r, arg) : Integer{unsigned_value(r, arg), false};
    char buf[32];
    char *end = buf + sizeof buf;
    char *first = digits(value.magnitude, c, end);
    std::size_t ndigits = static_cast<std::size_t>(end - first);
    if (r.precision == 0 && value.magnitude == 0)
        ndigits = 0;  // an explicit zero precision prints no digit for zero

    std::size_t zeros = r.precision > 0 && static_cast<std::size_t>(r.precision) > ndigits
                            ? static_cast<std::size_t>(r.precision) - ndigits
                            : 0;
    if (c == 'o' && (r.flags & kFlagHash) && zeros == 0 && (ndigits == 0 || *first != '0'))
        zeros = 1;  // '#' makes an octal number begin with 0

    char prefix[3];
    std::size_t nprefix = 0;
    if (is_signed || pointer) {
        if (value.negative)
            prefix[nprefix++] = '-';
        else if (r.flags & kFlagPlus)
            prefix[nprefix++] = '+';
        else if (r.flags & kFlagSpace)
            prefix[nprefix++] = ' ';
    }
    if ((c == 'x' || c == 'X') && ((r.flags & kFlagHash) || pointer) && value.magnitude != 0) {
        prefix[nprefix++] = '0';
        prefix[nprefix++] = c;
    }

    std::size_t columns = nprefix + zeros + ndigits;
    bool zero_pad = (r.flags & kFlagZero) && !(r.flags & kFlagMinus) && r.precision < 0;
    if (zero_pad && static_cast<std::size_t>(r.width) > columns) {
        zeros += static_cast<std::size_t>(r.width) - columns;
        columns = static_cast<std::size_t>(r.width);
    }
    pad_before(out, r, columns);
    if (nprefix != 0)
        out.put(prefix, nprefix);
    out.fill('0', zeros);
    out.put(first, ndigits);
    pad_after(out, r, columns);
}

void convert_pointer(Sink &out, const Resolved &r, const ox_fmt_arg &arg)
{
    if (slot_as<const void *>(arg) == nullptr) {
        static constexpr char kNil[] = "(nil)";
        pad_before(out, r, sizeof kNil - 1);
        out.put(kNil, sizeof kNil - 1);
        pad_after(out, r, sizeof kNil - 1);
        return;
    }
    Resolved address = r;
    address.length = Length::l;
    convert_integer(out, address, arg);
}

}  // namespace cairn::oxprint
