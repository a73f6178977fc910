// TEMPORARY: a stand-in for the text subsystem's UTF-8 / wide conversions,
// following the same rules, until that subsystem is merged.  Replace the
// bodies below with calls to ox_utf8s_to_wcs() and ox_wcs_to_utf8s() and
// delete this file's decoder then: the library keeps one.
#include <cstdint>

#include "cairn/frame.h"
#include "paths/wide_text.hpp"

namespace cairn::paths {
namespace {

// The six-row UTF-8 class table (values up to 0x7FFFFFFF).
struct Utf8Class {
    unsigned lead_mask, lead_value, shift;
    uint32_t limit, minimum;
};
constexpr Utf8Class kClasses[] = {
    {0x80, 0x00, 0, 0x7F, 0},           {0xE0, 0xC0, 6, 0x7FF, 0x80},
    {0xF0, 0xE0, 12, 0xFFFF, 0x800},    {0xF8, 0xF0, 18, 0x1FFFFF, 0x10000},
    {0xFC, 0xF8, 24, 0x3FFFFFF, 0x200000}, {0xFE, 0xFC, 30, 0x7FFFFFFF, 0x4000000},
};

// Decodes one character; returns its length, or 0 when it is invalid.
std::size_t decode_one(const unsigned char *s, uint32_t &value)
{
    uint32_t v = s[0];
    for (std::size_t row = 0; row < 6; ++row) {
        if ((s[0] & kClasses[row].lead_mask) == kClasses[row].lead_value) {
            v &= kClasses[row].limit;
            return v < kClasses[row].minimum ? 0 : (value = v, row + 1);
        }
        unsigned next = s[row + 1] ^ 0x80u;  // a terminator fails here
        if (next > 63)
            return 0;
        v = (v << 6) + next;
    }
    return 0;
}

std::size_t encode_one(uint32_t value, unsigned char *out)
{
    std::size_t row = 0;
    while (kClasses[row].limit < value)
        ++row;
    unsigned shift = kClasses[row].shift;
    std::size_t n = 0;
    out[n++] = static_cast<unsigned char>((value >> shift) | kClasses[row].lead_value);
    while (shift > 0) {
        shift -= 6;
        out[n++] = static_cast<unsigned char>(((value >> shift) & 63) | 0x80);
    }
    return n;
}

}  // namespace

int utf8_to_wide(WideUnit *out, const char *in, std::size_t size, std::size_t *count)
{
    if (count != nullptr)
        *count = 0;
    if (out == nullptr || in == nullptr)
        return OX_EINVAL;
    int result = 0;
    std::size_t stored = 0;
    const auto *s = reinterpret_cast<const unsigned char *>(in);
    while (*s != 0 && stored + 1 < size) {
        uint32_t value = '?';
        std::size_t len = decode_one(s, value);
        if (len == 0) {
            result = 1;
            len = 1;
        }
        out[stored++] = static_cast<WideUnit>(value);
        s += len;
    }
    if (size > 0)
        out[stored] = 0;
    if (count != nullptr)
        *count = stored;
    return result;
}

int wide_to_utf8(char *out, const WideUnit *in, std::size_t size, std::size_t *count)
{
    if (count != nullptr)
        *count = 0;
    if (out == nullptr || in == nullptr)
        return OX_EINVAL;
    std::size_t written = 0;
    int result = 0;
    for (; *in != 0; ++in) {
        unsigned char bytes[3];
        std::size_t n = encode_one(*in, bytes);
        if (written + n >= size) {
            result = OX_ENOBUFS;
            break;
        }
        for (std::size_t i = 0; i < n; ++i)
            out[written++] = static_cast<char>(bytes[i]);
    }
    if (size > 0)
        out[written] = '\0';
    if (count != nullptr)
        *count = written;
    return result;
}

}  // namespace cairn::paths
