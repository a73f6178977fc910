// Allocation that never returns NULL, and integer text.  Exhaustion ends the
// process with one line on standard error, written with write(2) from a
// stack buffer so that reporting needs no memory itself.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

namespace {

[[noreturn]] void out_of_memory(const char *caller, size_t size)
{
    char line[128];
    std::snprintf(line, sizeof line, "%.32s: out of memory (%zu bytes)\n", caller, size);
    std::fflush(nullptr);
    ssize_t ignored = write(STDERR_FILENO, line, std::strlen(line));
    (void)ignored;
    _exit(1);
}

}  // namespace

extern "C" void *xmalloc(size_t size)
{
    void *p = cairn::mem_alloc(size);
    if (p == nullptr)
        out_of_memory("xmalloc", size);
    return p;
}

extern "C" void *xcalloc(size_t count, size_t size)
{
    void *p = cairn::mem_calloc(count, size);
    if (p == nullptr)
        out_of_memory("xcalloc", count * size);
    return p;
}

extern "C" char *xstrdup(const char *text)
{
    if (text == nullptr)
        return nullptr;
    char *p = cairn::mem_strdup(text);
    if (p == nullptr)
        out_of_memory("xstrdup", std::strlen(text) + 1);
    return p;
}

extern "C" char *inttostr(int64_t value, char *buf, size_t size)
{
    if (buf == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    // Digits from the magnitude as unsigned, so INT64_MIN needs no case.
    char digits[OX_INTTOSTR_SIZE];
    uint64_t magnitude =
        value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    size_t n = 0;
    do {
        digits[n++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    size_t need = n + (value < 0 ? 1 : 0) + 1;
    if (size < need) {
        if (size > 0)
            buf[0] = '\0';
        ox_error_set_last(ERANGE, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    char *out = buf;
    if (value < 0)
        *out++ = '-';
    while (n > 0)
        *out++ = digits[--n];
    *out = '\0';
    return buf;
}
