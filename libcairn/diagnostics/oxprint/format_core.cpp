#include "diagnostics/oxprint/format_core.hpp"

#include <climits>
#include <cstring>

#include "diagnostics/debug_line.hpp"
#include "diagnostics/oxprint/convert.hpp"
#include "diagnostics/oxprint/format_directive.hpp"

namespace cairn::oxprint {
namespace {

// A conversion is rebuilt as plain text of at most this many characters.
constexpr int kSpecRoom = 255;

// Debug condition of the formatter's failure lines.
constexpr int kFailLevel = 6;
constexpr uint32_t kFailTrace = 32;

// One piece of a format: literal text, then a conversion (except for the
// last piece).
struct Step {
    const char *literal;
    std::size_t literal_len;
    bool has_spec;
    ConvSpec spec;
    ArgPositions pos;
};

// The scan keeps the first steps of a format, so that the output pass of a
// typical format does not parse it again.
constexpr int kKeptSteps = 24;

struct ArgTable {
    int count = 1;  // highest position used, plus one
    uint8_t kinds[OX_FMT_MAX_POSITIONS];
    ox_fmt_arg slots[OX_FMT_MAX_POSITIONS];
    Step steps[kKeptSteps];
    int step_count = 0;
    bool all_steps_kept = true;
};

void mark(ArgTable &t, int pos, int kind)
{
    if (pos <= 0)
        return;
    if (pos >= t.count) {
        // Positions between the old count and this one are never mentioned.
        int last = pos < OX_FMT_MAX_POSITIONS ? pos : OX_FMT_MAX_POSITIONS - 1;
        if (last >= t.count)
            std::memset(t.kinds + t.count, OX_FMT_WORD,
                        static_cast<std::size_t>(last + 1 - t.count));
        t.count = pos < INT_MAX ? pos + 1 : INT_MAX;
    }
    if (pos < OX_FMT_MAX_POSITIONS)
        t.kinds[pos] = static_cast<uint8_t>(kind);
}

void scan(const char *fmt, ArgTable &t)
{
    t.count = 1;
    t.kinds[0] = OX_FMT_WORD;
    t.step_count = 0;
    t.all_steps_kept = true;
    SpecWalker walker(fmt);
    Step spare;
    for (;;) {
        // Parse straight into the kept table while it has room.
        bool keep = t.step_count < kKeptSteps;
        Step &step = keep ? t.steps[t.step_count++] : spare;
        t.all_steps_kept = t.all_steps_kept && keep;
        step.has_spec = walker.next(&step.literal, &step.literal_len, &step.spec, &step.pos);
        if (!step.has_spec)
            return;
        if (!takes_argument(step.spec))
            continue;
        if (step.spec.kind == OX_FMT_WORD)
            CAIRN_DEBUG(2, 2, "Failed to identify '%%%c' string formatting symbol\n",
                        step.spec.conversion);
        mark(t, step.pos.width, OX_FMT_INT);
        mark(t, step.pos.precision, OX_FMT_INT);
        mark(t, step.pos.value, step.spec.kind);
    }
}

void fetch_library(int kind, va_list *ap, ox_fmt_arg *slot)
{
    switch (kind) {
    case OX_FMT_INT:
        slot->i = va_arg(*ap, int);
        break;
    case OX_FMT_UNSIGNED:
        slot->u = va_arg(*ap, unsigned);
        break;
    case OX_FMT_LONG:
        slot->l = va_arg(*ap, long);
        break;
    case OX_FMT_LONGLONG:
        slot->ll = va_arg(*ap, long long);
        break;
    case OX_FMT_DOUBLE:
        slot->d = va_arg(*ap, double);
        break;
    case OX_FMT_LONGDOUBLE:
        slot->ld = va_arg(*ap, long double);
        break;
    case OX_FMT_STRING:
        slot->s = va_arg(*ap, const char *);
        break;
    case OX_FMT_POINTER:
        slot->p = va_arg(*ap, const void *);
        break;
    case OX_FMT_ULONG:
        slot->ul = va_arg(*ap, unsigned long);
        break;
    default:
        slot->u = va_arg(*ap, unsigned);
        break;
    }
}

void fetch_all(ArgTable &t, va_list ap, const ox_fmt_fetchers *fetchers)
{
    va_list args;
    va_copy(args, ap);
    std::memset(&t.slots[0], 0, sizeof t.slots[0]);  // what steps without an argument read
    for (int pos = 1; pos < t.count; ++pos) {
        ox_fmt_arg *slot = &t.slots[pos];
        std::memset(slot, 0, sizeof *slot);
        int kind = t.kinds[pos];
        ox_fmt_fetch_fn fn = fetchers ? fetchers->fetch[kind] : nullptr;
        if (fn)
            fn(&args, slot);
        else
            fetch_library(kind, &args, slot);
    }
    va_end(args);
}

int decimal_chars(int v)
{
    int n = v < 0 ? 2 : 1;
    for (long long a = v < 0 ? -static_cast<long long>(v) : v; a >= 10; a /= 10)
        ++n;
    return n;
}

bool fail(const char *line)
{
    CAIRN_DEBUG(kFailLevel, kFailTrace, "%s", line);
    return false;
}

// The argument values of one conversion, wherever they were fetched.
struct StepArgs {
    const ox_fmt_arg *value;
    int star_width;      // the "*" width's argument
    int star_precision;  // the "*" precision's argument
    int fetched_kind;    // the kind the value's position was fetched as
};

// Width and precision as numbers, and the check that the conversion could
// be rebuilt as a plain specification within its room.
bool resolve(const ConvSpec &spec, const StepArgs &args, unsigned mode, Resolved *r)
{
    r->plain = (mode & kPlainText) != 0;
    r->flags = spec.flags;
    r->length = spec.length;
    r->conversion = spec.conversion;
    r->fetched_kind = args.fetched_kind;
    int width_chars = spec.width_chars;
    if (spec.width == Amount::literal) {
        if (spec.width_overflow)
            return fail("i18n_vsnprintf: Failed to format parameter width\n");
        r->width = spec.width_value;
    } else if (spec.width == Amount::star) {
        int v = args.star_width;
        width_chars = decimal_chars(v);
        if (v == INT_MIN)
            return fail("i18n_vsnprintf: Failed to format parameter width\n");
        if (v < 0) {
            r->flags |= kFlagMinus;  // a negative width is a '-' flag
            v = -v;
        }
        r->width = v;
    }
    int precision_chars = 0;
    if (spec.precision == Amount::literal) {
        if (spec.precision_overflow)
            return fail("i18n_vsnprintf: Failed to format parameter precision\n");
        r->precision = spec.precision_value;
        precision_chars = 1 + spec.precision_chars;
    } else if (spec.precision == Amount::star) {
        int v = args.star_precision;
        r->precision = v < 0 ? -1 : v;  // a negative precision is none
        precision_chars = 1 + decimal_chars(v);
    }
    int letters = spec.length == Length::hh || spec.length == Length::ll ? 3
                  : spec.length == Length::none                          ? 1
                                                                         : 2;
    if (r->plain)
        return true;
    long long used = 1LL + spec.flag_chars + width_chars;
    if (used > kSpecRoom)
        return fail("i18n_vsnprintf: Truncation detected during parameter width formatting\n");
    used += precision_chars + letters;
    if (used > kSpecRoom)
        return fail(
            spec.precision != Amount::none
                ? "i18n_vsnprintf: Truncation detected during parameter precision formatting\n"
                : "i18n_vsnprintf: Truncation detected during parameter width formatting\n");
    return true;
}

void convert(Sink &out, const ConvSpec &spec, const Resolved &r, const ox_fmt_arg &arg)
{
    if (spec.conversion == 'c' || spec.conversion == 's') {
        convert_text(out, r, arg);
        return;
    }
    switch (plain_kind(spec.conversion)) {
    case OX_FMT_INT:
    case OX_FMT_UNSIGNED:
        convert_integer(out, r, arg);
        break;
    case OX_FMT_DOUBLE:
        convert_floating(out, r, arg);
        break;
    case OX_FMT_POINTER:
        convert_pointer(out, r, arg);
        break;
    default:  // a letter the formatter does not know prints as written
        out.put(spec.start, static_cast<std::size_t>(spec.end - spec.start));
        break;
    }
}

}  // namespace

int position_count(const char *fmt)
{
    ArgTable t;
    scan(fmt, t);
    return t.count;
}

namespace {

// Literal text and one conversion.  Returns false when the format fails.
bool emit_step(Sink &out, const Step &step, const StepArgs &args, unsigned mode)
{
    if (step.literal_len != 0)
        out.put(step.literal, step.literal_len);
    if (!step.has_spec)
        return true;
    const ConvSpec &spec = step.spec;
    if (spec.conversion == 0) {  // broken specification: copied as text
        out.put(spec.start, static_cast<std::size_t>(spec.end - spec.start));
        return true;
    }
    if (spec.conversion == '%') {
        out.put('%');
        return true;
    }
    Resolved r;
    if (!resolve(spec, args, mode, &r))
        return false;
    convert(out, spec, r, *args.value);
    return true;
}

// A step's arguments from the table of fetched slots.
bool emit_from_table(Sink &out, const Step &step, const ArgTable &t, unsigned mode)
{
    // Literal text and specifications without an argument have no positions.
    const ArgPositions pos = step.has_spec && takes_argument(step.spec) ? step.pos : ArgPositions{};
    StepArgs args{&t.slots[pos.value], slot_as<int>(t.slots[pos.width]),
                  slot_as<int>(t.slots[pos.precision]), t.kinds[pos.value]};
    return emit_step(out, step, args, mode);
}

enum class Streamed { done, failed, needs_table };

// Formats without positions, with the library's own fetch operations, are
// made in one pass: each argument is fetched, in turn, as its conversion
// comes, into the same conversions.  A format that reaches the position
// limit goes back to the table pass, which reports it.
Streamed format_streaming(Sink &out, const char *fmt, va_list ap, unsigned mode)
{
    va_list args;
    va_copy(args, ap);
    SpecWalker walker(fmt);
    Step step;
    Streamed result = Streamed::done;
    ox_fmt_arg value;
    StepArgs step_args{&value, 0, 0, OX_FMT_WORD};
    do {
        step.has_spec = walker.next(&step.literal, &step.literal_len, &step.spec, &step.pos);
        if (step.has_spec && takes_argument(step.spec)) {
            if (step.pos.value >= OX_FMT_MAX_POSITIONS - 1) {
                result = Streamed::needs_table;
                break;
            }
            if (step.spec.kind == OX_FMT_WORD)
                CAIRN_DEBUG(2, 2, "Failed to identify '%%%c' string formatting symbol\n",
                            step.spec.conversion);
            if (step.pos.width != 0)
                step_args.star_width = va_arg(args, int);
            if (step.pos.precision != 0)
                step_args.star_precision = va_arg(args, int);
            std::memset(&value, 0, sizeof value);
            fetch_library(step.spec.kind, &args, &value);
            step_args.fetched_kind = step.spec.kind;
        }
        if (!emit_step(out, step, step_args, mode)) {
            result = Streamed::failed;
            break;
        }
        if ((mode & kStopWhenCut) && out.cut())
            break;
    } while (step.has_spec);
    va_end(args);
    return result;
}

}  // namespace

bool format_into(Sink &out, const char *fmt, va_list ap, const ox_fmt_fetchers *fetchers,
                 unsigned mode)
{
    const bool stop_when_cut = (mode & kStopWhenCut) != 0;
    if (fetchers == nullptr && std::strchr(fmt, '$') == nullptr) {
        Streamed streamed = format_streaming(out, fmt, ap, mode);
        if (streamed != Streamed::needs_table)
            return streamed == Streamed::done;
        out.clear();
    }
    ArgTable t;
    scan(fmt, t);
    if (t.count >= OX_FMT_MAX_POSITIONS) {
        CAIRN_DEBUG(kFailLevel, kFailTrace,
                    "Too many arguments. maxpos(%d) must be less than %lu.\n", t.count,
                    static_cast<unsigned long>(OX_FMT_MAX_POSITIONS));
        return false;
    }
    fetch_all(t, ap, fetchers);

    if (t.all_steps_kept) {
        for (int i = 0; i < t.step_count; ++i) {
            if (!emit_from_table(out, t.steps[i], t, mode))
                return false;
            if (stop_when_cut && out.cut())
                return true;
        }
        return true;
    }
    SpecWalker walker(fmt);
    Step step;
    do {
        step.has_spec = walker.next(&step.literal, &step.literal_len, &step.spec, &step.pos);
        if (!emit_from_table(out, step, t, mode))
            return false;
        if (stop_when_cut && out.cut())
            return true;
    } while (step.has_spec);
    return true;
}

}  // namespace cairn::oxprint
