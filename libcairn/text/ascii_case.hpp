// ASCII case folding by fixed tables: only a..z and A..Z change, so bytes of
// multibyte UTF-8 characters are never touched.
#pragma once

#include <array>
#include <cstdint>

namespace cairn::text {

constexpr std::array<uint8_t, 256> make_fold_table(bool upper)
{
    std::array<uint8_t, 256> t{};
    for (int i = 0; i < 256; ++i) {
        int c = i;
        if (upper && c >= 'a' && c <= 'z')
            c -= 'a' - 'A';
        if (!upper && c >= 'A' && c <= 'Z')
            c += 'a' - 'A';
        t[static_cast<std::size_t>(i)] = static_cast<uint8_t>(c);
    }
    return t;
}

inline constexpr std::array<uint8_t, 256> kFoldUpper = make_fold_table(true);
inline constexpr std::array<uint8_t, 256> kFoldLower = make_fold_table(false);

inline uint8_t fold_upper(unsigned char c) { return kFoldUpper[c]; }

// Wide units fold only in the ASCII range.
inline uint16_t fold_upper(uint16_t c) { return c < 0x80 ? kFoldUpper[c] : c; }

}  // namespace cairn::text
