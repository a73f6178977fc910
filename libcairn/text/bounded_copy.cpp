// Bounded copy and concatenation of narrow and wide text.
#include <cstring>

#include "cairn/text.h"

namespace {

template <typename Char>
size_t length_of(const Char *s)
{
    if constexpr (sizeof(Char) == 1) {
        return std::strlen(reinterpret_cast<const char *>(s));
    } else {
        size_t n = 0;
        while (s[n])
            ++n;
        return n;
    }
}

template <typename Char>
size_t length_within(const Char *s, size_t max)
{
    if constexpr (sizeof(Char) == 1) {
        return strnlen(reinterpret_cast<const char *>(s), max);
    } else {
        size_t n = 0;
        while (n < max && s[n])
            ++n;
        return n;
    }
}

template <typename Char>
size_t bounded_copy(Char *dst, const Char *src, size_t size)
{
    if (src == nullptr)
        return 0;
    size_t len = length_of(src);
    if (dst != nullptr && size > 0) {
        size_t n = len < size - 1 ? len : size - 1;
        std::memmove(dst, src, n * sizeof(Char));
        dst[n] = 0;
    }
    return len;
}

template <typename Char>
size_t bounded_append(Char *dst, const Char *src, size_t size)
{
    size_t slen = src ? length_of(src) : 0;
    if (dst == nullptr)
        return slen;
    size_t dlen = length_within(dst, size);
    if (dlen == size)
        return size + slen;
    size_t n = slen < size - dlen - 1 ? slen : size - dlen - 1;
    if (n > 0)
        std::memmove(dst + dlen, src, n * sizeof(Char));
    dst[dlen + n] = 0;
    return dlen + slen;
}

}  // namespace

extern "C" {

size_t ox_strlcpy(char *dst, const char *src, size_t size) { return bounded_copy(dst, src, size); }

size_t ox_strlcat(char *dst, const char *src, size_t size)
{
    return bounded_append(dst, src, size);
}

size_t ox_wcslen(const ox_wchar *s) { return s ? length_of(s) : 0; }

size_t ox_wcslcpy(ox_wchar *dst, const ox_wchar *src, size_t size)
{
    return bounded_copy(dst, src, size);
}

size_t ox_wcslcat(ox_wchar *dst, const ox_wchar *src, size_t size)
{
    return bounded_append(dst, src, size);
}

}  // extern "C"
