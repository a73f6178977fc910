// The UTF-8 class table and the one-character decoder and encoder that every
// conversion of the library shares.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn::utf8 {

// One row per sequence length, searched in order.  A lead byte belongs to a
// row when (lead & lead_mask) == lead_value; the decoded value is masked
// with `limit`, and a value below `minimum` is an overlong encoding.
struct ClassRow {
    uint8_t lead_mask;
    uint8_t lead_value;
    uint8_t shift;
    uint32_t limit;
    uint32_t minimum;
};

inline constexpr int kMaxSequence = 6;

inline constexpr ClassRow kClassTable[kMaxSequence] = {
    {0x80, 0x00, 0, 0x7F, 0},
    {0xE0, 0xC0, 6, 0x7FF, 0x80},
    {0xF0, 0xE0, 12, 0xFFFF, 0x800},
    {0xF8, 0xF0, 18, 0x1FFFFF, 0x10000},
    {0xFC, 0xF8, 24, 0x3FFFFFF, 0x200000},
    {0xFE, 0xFC, 30, 0x7FFFFFFF, 0x4000000},
};

inline constexpr int kInvalid = -1;

// Decode by walking the class table, reading at most `avail` bytes.
// Returns the sequence length and stores the value, or kInvalid.
int decode_by_table(const unsigned char *s, std::size_t avail, uint32_t *value);

inline bool is_continuation(unsigned char b) { return (b & 0xC0) == 0x80; }

// The decoder of the hot loops: valid one- to three-byte sequences are
// decoded inline, everything else (four bytes and up, overlong, invalid or
// cut-off sequences) by the table walk, so the results are the table's.
// `avail` must be at least 1.
inline int decode(const unsigned char *s, std::size_t avail, uint32_t *value)
{
    unsigned char b0 = s[0];
    if (b0 < 0x80) {
        *value = b0;
        return 1;
    }
    if (b0 >= 0xC2 && b0 <= 0xDF && avail >= 2 && is_continuation(s[1])) {
        *value = (uint32_t(b0 & 0x1F) << 6) | (s[1] & 0x3Fu);
        return 2;
    }
    if ((b0 & 0xF0) == 0xE0 && avail >= 3 && is_continuation(s[1]) && is_continuation(s[2])) {
        uint32_t v = (uint32_t(b0 & 0x0F) << 12) | (uint32_t(s[1] & 0x3F) << 6) | (s[2] & 0x3Fu);
        if (v >= 0x800) {
            *value = v;
            return 3;
        }
    }
    return decode_by_table(s, avail, value);
}

// Bytes that `value` takes as UTF-8 (1 to 6).
inline int encoded_length(uint32_t value)
{
    int row = 0;
    while (row < kMaxSequence - 1 && kClassTable[row].limit < value)
        ++row;
    return row + 1;
}

// Encode `value` (at most 0x7FFFFFFF) into `out`; returns the bytes written.
inline int encode(uint32_t value, unsigned char *out)
{
    int len = encoded_length(value);
    const ClassRow &row = kClassTable[len - 1];
    int shift = row.shift;
    *out++ = static_cast<unsigned char>((value >> shift) | row.lead_value);
    while (shift > 0) {
        shift -= 6;
        *out++ = static_cast<unsigned char>(((value >> shift) & 63) | 0x80);
    }
    return len;
}

// Bytes of a 16-bit unit as UTF-8 (1 to 3).
inline int wide_length(uint16_t wc) { return wc < 0x80 ? 1 : wc < 0x800 ? 2 : 3; }

}  // namespace cairn::utf8
