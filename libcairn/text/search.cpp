// Comparison, search and case folding of text.
#include <cstring>

#include "cairn/text.h"
#include "text/ascii_case.hpp"
#include "text/two_way.hpp"

using namespace cairn;

namespace {

template <typename Unit>
std::size_t units_in(const Unit *s)
{
    std::size_t n = 0;
    while (s[n] != 0)
        ++n;
    return n;
}

// The first match of `needle` in `h` ignoring ASCII case, in time linear
// in the lengths of both.
template <typename Unit>
const Unit *find_folded(const Unit *h, const Unit *needle)
{
    if (h == nullptr || needle == nullptr)
        return nullptr;
    if (*needle == 0)
        return h;
    auto fold = [](Unit u) { return text::fold_upper(u); };
    std::ptrdiff_t at = text::two_way_find(h, static_cast<std::ptrdiff_t>(units_in(h)), needle,
                                           static_cast<std::ptrdiff_t>(units_in(needle)), fold);
    return at < 0 ? nullptr : h + at;
}

using Byte = unsigned char;

char *fold_in_place(char *s, const std::array<uint8_t, 256> &table)
{
    if (s == nullptr)
        return nullptr;
    for (Byte *p = reinterpret_cast<Byte *>(s); *p; ++p)
        *p = table[*p];
    return s;
}

}  // namespace

extern "C" {

int ox_straicmp(const char *a, const char *b)
{
    if (a == b)
        return 0;
    const Byte *p = reinterpret_cast<const Byte *>(a ? a : "");
    const Byte *q = reinterpret_cast<const Byte *>(b ? b : "");
    for (;; ++p, ++q) {
        int ca = text::fold_upper(*p);
        int cb = text::fold_upper(*q);
        if (ca != cb || ca == 0)
            return ca - cb;
    }
}

char *ox_stristr(const char *haystack, const char *needle)
{
    const Byte *hit = find_folded(reinterpret_cast<const Byte *>(haystack),
                                  reinterpret_cast<const Byte *>(needle));
    return const_cast<char *>(reinterpret_cast<const char *>(hit));
}

ox_wchar *ox_wcsistr(const ox_wchar *haystack, const ox_wchar *needle)
{
    return const_cast<ox_wchar *>(find_folded(haystack, needle));
}

char *ox_strnstr(const char *haystack, const char *needle, size_t len)
{
    if (haystack == nullptr || needle == nullptr)
        return nullptr;
    size_t nlen = std::strlen(needle);
    if (nlen == 0)
        return const_cast<char *>(haystack);
    // The C library's memmem is linear in both lengths.
    const void *hit = memmem(haystack, strnlen(haystack, len), needle, nlen);
    return const_cast<char *>(static_cast<const char *>(hit));
}

size_t ox_strcount(const char *s, const char *needle)
{
    if (s == nullptr || needle == nullptr || *needle == '\0')
        return 0;
    // Each search starts where the last match ended: the text is read once.
    auto same = [](char c) { return static_cast<unsigned char>(c); };
    const auto nlen = static_cast<std::ptrdiff_t>(std::strlen(needle));
    const char *end = s + std::strlen(s);
    size_t n = 0;
    for (std::ptrdiff_t at; (at = text::two_way_find(s, end - s, needle, nlen, same)) >= 0;
         s += at + nlen)
        ++n;
    return n;
}

char *ox_strlower(char *s) { return fold_in_place(s, text::kFoldLower); }

char *ox_strupper(char *s) { return fold_in_place(s, text::kFoldUpper); }

}  // extern "C"
