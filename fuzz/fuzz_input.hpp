// The fuzz input as an exactly sized, NUL-terminated heap string, so that
// the sanitizers catch any read or write past it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

struct FuzzText {
    std::unique_ptr<char[]> text;
    std::size_t length;

    FuzzText(const uint8_t *data, std::size_t size) : text(new char[size + 1]), length(size)
    {
        if (size > 0)
            std::memcpy(text.get(), data, size);
        text[size] = '\0';
        length = std::strlen(text.get());
    }
    char *get() { return text.get(); }
};
