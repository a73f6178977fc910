// Building a text of exact size in two passes: the same writer runs once
// to measure and once to write into storage of that size.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "cairn/utilities.h"

namespace cairn::msg {

struct Sink {
    char *out;  // nullptr while measuring
    std::size_t len;

    void put(const char *s, std::size_t n)
    {
        if (out != nullptr)
            std::memcpy(out + len, s, n);
        len += n;
    }
    void put(const char *s) { put(s, std::strlen(s)); }
    void num(long long v)
    {
        char b[24];
        put(b, static_cast<std::size_t>(std::snprintf(b, sizeof b, "%lld", v)));
    }
};

// New text (xmalloc) made by `emit(Sink &)`.
template <typename Emit>
char *build_text(Emit emit)
{
    Sink measure{nullptr, 0};
    emit(measure);
    auto *text = static_cast<char *>(xmalloc(measure.len + 1));
    Sink write{text, 0};
    emit(write);
    text[write.len] = '\0';
    return text;
}

}  // namespace cairn::msg
