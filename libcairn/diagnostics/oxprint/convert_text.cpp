// Text conversions: "%s" with display-width padding and a precision that
// never splits a UTF-8 character (in plain mode both count bytes, as the C
// library's formatter does), "%c", and their wide forms.
#include <cstring>

#include "cairn/text.h"
#include "diagnostics/oxprint/convert.hpp"
#include "diagnostics/oxprint/display_width.hpp"
#include "text/utf8_codec.hpp"

namespace cairn::oxprint {
namespace {

constexpr char kNullText[] = "null";
// Plain mode prints a null string as the C library does: "(null)", or
// nothing when the precision is too short for it.
constexpr char kPlainNullText[] = "(null)";

// Only a position fetched as a pointer-sized value can be followed: a
// string conversion whose position another conversion fetched as an int or
// a double prints as a null string instead of following half a pointer.
bool pointer_fetched(int kind)
{
    return kind == OX_FMT_STRING || kind == OX_FMT_POINTER || kind == OX_FMT_LONG ||
           kind == OX_FMT_LONGLONG || kind == OX_FMT_ULONG;
}

void put_padded(Sink &out, const Resolved &r, const char *s, std::size_t len)
{
    std::size_t columns = r.width > 0 && !r.plain ? display_width(s, len) : len;
    pad_before(out, r, columns);
    out.put(s, len);
    pad_after(out, r, columns);
}

void convert_narrow(Sink &out, const Resolved &r, const char *s)
{
    std::size_t len;
    if (r.precision >= 0) {
        auto prec = static_cast<std::size_t>(r.precision);
        len = strnlen(s, prec + 1);
        if (len > prec && r.plain) {
            len = prec;
        } else if (len > prec) {
            // Move the cut back to the start of the character it falls in.
            std::size_t cut = prec;
            while (cut > 0 && utf8::is_continuation(static_cast<unsigned char>(s[cut])))
                --cut;
            len = cut;
        }
    } else {
        len = std::strlen(s);
    }
    put_padded(out, r, s, len);
}

// Wide text: encoded to UTF-8 in blocks; a precision counts bytes and takes
// whole characters only.
void convert_wide(Sink &out, const Resolved &r, const ox_wchar *w)
{
    const std::size_t limit = r.precision >= 0 ? static_cast<std::size_t>(r.precision) : SIZE_MAX;
    std::size_t units = 0, bytes = 0, columns = 0;
    unsigned char enc[4];
    for (; w[units]; ++units) {
        auto k = static_cast<std::size_t>(utf8::encode(w[units], enc));
        if (k > limit - bytes)
            break;
        bytes += k;
        if (r.plain)
            columns += k;
        else if (r.width > 0)
            columns += display_width(reinterpret_cast<char *>(enc), k);
    }
    pad_before(out, r, columns);
    for (std::size_t i = 0; i < units; ++i) {
        auto k = static_cast<std::size_t>(utf8::encode(w[i], enc));
        out.put(reinterpret_cast<char *>(enc), k);
    }
    pad_after(out, r, columns);
}

}  // namespace

void convert_text(Sink &out, const Resolved &r, const ox_fmt_arg &arg)
{
    const bool wide = r.length == Length::l;
    if (r.conversion == 'c') {
        if (wide) {
            unsigned char enc[4];
            auto k = static_cast<std::size_t>(
                utf8::encode(static_cast<ox_wchar>(slot_as<unsigned>(arg)), enc));
            put_padded(out, r, reinterpret_cast<char *>(enc), k);
        } else {
            pad_before(out, r, 1);
            out.put(static_cast<char>(slot_as<int>(arg)));
            pad_after(out, r, 1);
        }
        return;
    }
    const void *p = pointer_fetched(r.fetched_kind) ? slot_as<const void *>(arg) : nullptr;
    if (p == nullptr && r.plain)
        convert_narrow(out, r, r.precision >= 0 && r.precision < 6 ? "" : kPlainNullText);
    else if (p == nullptr)
        convert_narrow(out, r, kNullText);
    else if (wide)
        convert_wide(out, r, static_cast<const ox_wchar *>(p));
    else
        convert_narrow(out, r, static_cast<const char *>(p));
}

}  // namespace cairn::oxprint
