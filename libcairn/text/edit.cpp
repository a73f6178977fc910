// Editing text: in-place replacement within a buffer, and appending to an
// allocated string.
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "platform/alloc.hpp"
#include "text/two_way.hpp"

using namespace cairn;

namespace {

// Copy `s` with every match of `from` (left to right, not overlapping)
// replaced by `to`, into `out`; each byte is moved once.
void copy_replaced(const char *s, std::size_t len, const char *from, std::size_t from_len,
                   const char *to, std::size_t to_len, char *out)
{
    const char *end = s + len;
    // Each search starts where the last match ended, so the text is read
    // once (a two-way search reads the needle only once per match).
    auto same = [](char c) { return static_cast<unsigned char>(c); };
    for (;;) {
        std::ptrdiff_t at =
            text::two_way_find(s, end - s, from, static_cast<std::ptrdiff_t>(from_len), same);
        if (at < 0)
            break;
        const char *q = s + at;
        std::memmove(out, s, static_cast<std::size_t>(q - s));  // in place, `out` trails `s`
        out += q - s;
        std::memcpy(out, to, to_len);
        out += to_len;
        s = q + from_len;
    }
    std::memmove(out, s, static_cast<std::size_t>(end - s) + 1);
}

// The replacement in place: a text that does not grow is copied down over
// itself; one that grows is built once in new storage and copied back.
bool replace_all(char *s, std::size_t len, const char *from, std::size_t from_len, const char *to,
                 std::size_t to_len, std::size_t new_len)
{
    if (to_len <= from_len) {
        copy_replaced(s, len, from, from_len, to, to_len, s);
        return true;
    }
    auto *built = static_cast<char *>(mem_alloc(new_len + 1));
    if (built == nullptr)
        return false;  // the allocator set the last error
    copy_replaced(s, len, from, from_len, to, to_len, built);
    std::memcpy(s, built, new_len + 1);
    mem_free(built);
    return true;
}

}  // namespace

extern "C" {

int ox_strreplace(char *s, size_t size, const char *from, const char *to)
{
    if (s == nullptr || from == nullptr || to == nullptr || strnlen(s, size) == size) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    size_t from_len = std::strlen(from);
    if (from_len == 0)
        return 0;
    size_t to_len = std::strlen(to);
    size_t len = std::strlen(s);
    size_t hits = ox_strcount(s, from);
    // Check the final length before touching the buffer: all or nothing.
    size_t final_len = len - hits * from_len;
    if (hits > 0 && to_len > (size - 1 - final_len) / hits) {
        ox_error_set_last(ENOBUFS, OX_ERRKIND_ERRNO);
        return -1;
    }
    if (hits > 0 && !replace_all(s, len, from, from_len, to, to_len, final_len + hits * to_len))
        return -1;
    return hits > static_cast<size_t>(INT32_MAX) ? INT32_MAX : static_cast<int>(hits);
}

char *ox_strappend(char *s, const char *tail)
{
    if (tail == nullptr)
        return s;
    size_t len = s ? std::strlen(s) : 0;
    size_t add = std::strlen(tail);
    auto *grown = static_cast<char *>(mem_realloc(s, len + add + 1));
    if (grown == nullptr)
        return nullptr;
    std::memcpy(grown + len, tail, add + 1);
    return grown;
}

}  // extern "C"
