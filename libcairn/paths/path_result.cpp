#include "paths/path_result.hpp"

#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "platform/alloc.hpp"

namespace cairn::paths {

char *deliver_path(const char *text, std::size_t len, char *out, std::size_t size,
                   std::size_t alloc_size)
{
    char *allocated = nullptr;
    if (out == nullptr) {
        size = alloc_size > len ? alloc_size : len + 1;
        out = allocated = static_cast<char *>(mem_alloc(size));
        if (out == nullptr)
            return nullptr;
    }
    if (len >= size) {
        mem_free(allocated);
        ox_error_set_last(ENOSPC, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    std::memmove(out, text, len);
    out[len] = '\0';
    return out;
}

}  // namespace cairn::paths

extern "C" void ox_path_free(void *buf) { cairn::mem_free(buf); }
