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

// z, j and t name size_t, intmax_t and ptrdiff_t, which are all long here.
enum class Length : uint8_t { none, hh, h, l, ll, L, z, j, t };

// Numbers written in a format saturate here; positions saturate too.
inline constexpr int kNumberLimit = INT32_MAX;

// Plain data without default initialisers, so that the formatter's table
// of kept steps costs nothing until used; parse_spec() sets every field.
struct ConvSpec {
    const char *start;  // the '%'
    const char *end;    // one past the conversion
    int position;       // n of "%n$", 0 when absent
    unsigned flags;
    int flag_chars;  // flags as written, repeats included
    Amount width;
    Amount precision;
    int width_value;  // literal value
    int precision_value;
    bool width_overflow;  // the literal value is beyond the int range
    bool precision_overflow;
    int width_position;  // m of "*m$", 0 when absent
    int precision_position;
    int width_chars;  // digits as written
    int precision_chars;
    Length length;
    char conversion;  // the letter or '%'; 0 when malformed
    char after_l;     // the letter after a single 'l'
    int kind;         // ox_fmt_kind of the argument
};

// Parse the conversion whose '%' is at `percent`.  A specification
// broken by a character that cannot appear in one ends before that
// character with conversion 0.
void parse_spec(const char *percent, ConvSpec *spec);

// The argument kind of a parsed specification (OX_FMT_WORD for letters the
// formatter does not know, and for '%' and broken ones, which take none).
int kind_of(const ConvSpec &spec);

// The argument kind of a conversion letter without a length letter
// (OX_FMT_WORD for letters the formatter does not know).
int plain_kind(char conversion);

// Whether a conversion takes an argument at all.
inline bool takes_argument(const ConvSpec &spec)
{
    return spec.conversion != 0 && spec.conversion != '%';
}

// Positions of one conversion's arguments (0: none).
struct ArgPositions {
    int value;
    int width;
    int precision;
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
