// One conversion specification of a format: its parsing, the kind of
// argument it takes, and the walk over a format that assigns positions.
// The scan before fetching and the output pass share this walk, so they
// always agree on which argument each conversion takes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn::oxprint {

enum FlagBits : unsigned {
    kFlagMinus = 1,
    kFlagPlus = 2,
    kFlagSpace = 4,
    kFlagHash = 8,
    kFlagZero = 16,
};

enum class Amount : uint8_t { none, literal, star };

enum class Length : uint8_t { none, hh, h, l, ll, L };

// Saturation value for numbers written in a format.
inline constexpr int kNumberOverflow = INT32_MAX;

struct ConvSpec {
    const char *start = nullptr;  // the '%'
    const char *end = nullptr;    // one past the specification
    int position = 0;             // n of "%n$", 0 when absent
    unsigned flags = 0;
    int flag_chars = 0;           // flags as written, repeats included
    Amount width = Amount::none;
    Amount precision = Amount::none;
    int width_value = 0;          // literal value (kNumberOverflow: too big)
    int precision_value = 0;
    int width_position = 0;       // m of "*m$", 0 when absent
    int precision_position = 0;
    int width_chars = 0;          // digits as written
    int precision_chars = 0;
    Length length = Length::none;
    char conversion = 0;          // the letter or '%'; 0 when malformed
    char after_l = 0;             // the letter after a single 'l'
    int kind = 0;                 // ox_fmt_kind of the argument
};

// Parse the specification whose '%' is at `percent`.  A specification
// broken by a character that cannot appear in one ends before that
// character with conversion 0.
void parse_spec(const char *percent, ConvSpec *spec);

// The argument kind of a parsed specification (OX_FMT_WORD for letters the
// formatter does not know, and for '%' and broken ones, which take none).
int kind_of(const ConvSpec &spec);

// Whether a conversion takes an argument at all.
inline bool takes_argument(const ConvSpec &spec)
{
    return spec.conversion != 0 && spec.conversion != '%';
}

// Whether the letter is one the formatter knows how to convert.
bool is_known_conversion(char c);

// Positions of one conversion's arguments (0: none).
struct ArgPositions {
    int value = 0;
    int width = 0;
    int precision = 0;
};

// Walks the conversions of a format, assigning positions: a "%n$" makes n
// the current position; a "*" takes the current position (or its own "m$")
// and advances it; the conversion then takes the current position and
// advances it.  Positions saturate instead of overflowing.
class SpecWalker {
public:
    explicit SpecWalker(const char *fmt) : next_(fmt) {}

    // Advances to the next specification; returns the literal text before it
    // through `literal`/`literal_len`.  Returns false at the end of the
    // format (the trailing literal text is still returned).
    bool next(const char **literal, std::size_t *literal_len, ConvSpec *spec, ArgPositions *pos);

private:
    int take_current();

    const char *next_;
    int current_ = 1;
};

}  // namespace cairn::oxprint
