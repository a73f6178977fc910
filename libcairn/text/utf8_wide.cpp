// UTF-8 to and from the library's 16-bit wide text.  Runs of ASCII, the bulk
// of most text, are widened sixteen bytes at a time.
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "cairn/text.h"
#include "text/text_result.hpp"
#include "text/utf8_codec.hpp"

using namespace cairn;
using text::set_if;

namespace {

// Widen leading ASCII bytes of [p, end) into `out`, at most `room` of them.
// Returns how many were widened.  Every byte of [p, end) is readable.
std::size_t widen_ascii(const unsigned char *p, const unsigned char *end, ox_wchar *out,
                        std::size_t room)
{
    std::size_t n = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    while (static_cast<std::size_t>(end - p) >= n + 16 && room - n >= 16) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + n));
        // Widening all sixteen is safe: `room` covers them, and the units
        // past the first non-ASCII byte are overwritten later.
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + n), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + n + 8), _mm_unpackhi_epi8(v, zero));
        unsigned high = static_cast<unsigned>(_mm_movemask_epi8(v));
        if (high != 0)
            return n + static_cast<std::size_t>(__builtin_ctz(high));
        n += 16;
    }
#endif
    while (p + n < end && n < room && p[n] < 0x80) {
        out[n] = p[n];
        ++n;
    }
    return n;
}

}  // namespace

extern "C" {

int ox_utf8s_to_wcs(ox_wchar *out, const char *in, size_t size, size_t *count)
{
    set_if(count, size_t{0});
    if (out == nullptr || in == nullptr)
        return text::bad_arguments();
    if (size == 0)
        return text::kOk;
    const std::size_t room = size - 1;
    // The ASCII fast path may only look at bytes known to lie before the
    // terminator; no more than `room` characters of at most 7 bytes each are
    // ever examined.
    const std::size_t scan = room > SIZE_MAX / 8 ? SIZE_MAX : room * 7 + 8;
    const auto *p = reinterpret_cast<const unsigned char *>(in);
    const unsigned char *known_end = p + strnlen(in, scan);

    std::size_t n = 0;
    int result = text::kOk;
    uint32_t value = 0;
    while (*p != '\0' && n < room) {
        if (*p < 0x80) {
            std::size_t k = widen_ascii(p, known_end, out + n, room - n);
            p += k;
            n += k;
            continue;
        }
        int len = utf8::decode(p, SIZE_MAX, &value);
        if (len == utf8::kInvalid) {
            value = '?';
            len = 1;
            result = text::kReplaced;
        }
        out[n++] = static_cast<ox_wchar>(value);
        p += len;
    }
    out[n] = 0;
    set_if(count, n);
    return result;
}

int ox_wcs_to_utf8s(char *out, const ox_wchar *in, size_t size, size_t *count)
{
    set_if(count, size_t{0});
    if (in == nullptr)
        return text::bad_arguments();
    auto *o = reinterpret_cast<unsigned char *>(out);
    std::size_t n = 0;
    bool full = false;
    for (const ox_wchar *w = in; *w; ++w) {
        std::size_t len = static_cast<std::size_t>(utf8::wide_length(*w));
        if (n + len >= size) {
            full = true;
            if (o)
                break;
        }
        if (o)
            utf8::encode(*w, o + n);
        n += len;
    }
    if (o && size > 0)
        o[n] = '\0';
    set_if(count, n);
    return full ? text::output_full() : text::kOk;
}

}  // extern "C"
