#include "diagnostics/oxprint/display_width.hpp"

#include <climits>
#include <cstring>

#include "cairn/diagnostics.h"

namespace cairn::oxprint {
namespace {

// Bytes of the sequence a lead byte announces (up to six).
int announced_length(unsigned char b)
{
    if (b < 0xC0)
        return 1;
    if (b < 0xE0)
        return 2;
    if (b < 0xF0)
        return 3;
    if (b < 0xF8)
        return 4;
    if (b < 0xFC)
        return 5;
    return 6;
}

// Within U+F000..U+FFFF (lead 0xEF) only some blocks are wide: U+F000 to
// U+FAFF, the full-width forms U+FF00..U+FF5F and U+FFE0..U+FFE7.
int width_after_ef(unsigned char second, unsigned char third)
{
    if (second < 0xAC || second == 0xBC)
        return 2;
    if (second == 0xBD && third < 0xA0)
        return 2;
    if (second == 0xBF && third >= 0xA0 && third <= 0xA7)
        return 2;
    return 1;
}

}  // namespace

int char_display_width(const unsigned char *s, std::size_t avail, std::size_t *bytes)
{
    const unsigned char b = s[0];
    std::size_t n = 1;
    const auto want = static_cast<std::size_t>(announced_length(b));
    while (n < want && n < avail && s[n] != 0)
        ++n;
    *bytes = n;
    if (b < 0xE3)
        return 1;
    if (b < 0xEF)
        return 2;
    if (b == 0xEF)
        return width_after_ef(n > 1 ? s[1] : 0, n > 2 ? s[2] : 0);
    return 2;
}

std::size_t display_width(const char *s, std::size_t len)
{
    const auto *p = reinterpret_cast<const unsigned char *>(s);
    std::size_t columns = 0;
    std::size_t i = 0;
    while (i < len) {
        if (p[i] < 0x80) {  // ASCII: one column a byte
            ++columns;
            ++i;
            continue;
        }
        std::size_t bytes = 0;
        columns += static_cast<std::size_t>(char_display_width(p + i, len - i, &bytes));
        i += bytes;
    }
    return columns;
}

}  // namespace cairn::oxprint

using namespace cairn::oxprint;

namespace {

int clamp_int(std::size_t v) { return v > INT_MAX ? INT_MAX : static_cast<int>(v); }

}  // namespace

extern "C" {

int utf8_ttywidth(const char *text, int *index)
{
    if (text == nullptr || index == nullptr || *index < 0)
        return 0;
    const auto *p = reinterpret_cast<const unsigned char *>(text) + *index;
    if (*p == 0)
        return 0;
    std::size_t bytes = 0;
    int width = char_display_width(p, SIZE_MAX, &bytes);
    *index += static_cast<int>(bytes) - 1;
    return width;
}

int utf8_ttystrlen(const char *text)
{
    return text ? clamp_int(display_width(text, std::strlen(text))) : 0;
}

int ox_utf8swidth(const char *text, int n)
{
    if (text == nullptr)
        return 0;
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    std::size_t columns = 0;
    for (int chars = 0; chars < n && *p; ++chars) {
        std::size_t bytes = 0;
        columns += static_cast<std::size_t>(char_display_width(p, SIZE_MAX, &bytes));
        p += bytes;
    }
    return clamp_int(columns);
}

int ox_mbswidth(const char *text, int n) { return ox_utf8swidth(text, n); }

}  // extern "C"
