// Editing text: in-place replacement within a buffer, and appending to an
// allocated string.
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "platform/alloc.hpp"

using namespace cairn;

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
    char *p = s;
    for (size_t i = 0; i < hits; ++i) {
        char *q = std::strstr(p, from);
        std::memmove(q + to_len, q + from_len, std::strlen(q + from_len) + 1);
        std::memcpy(q, to, to_len);
        p = q + to_len;
    }
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
