// Bounded copies of UTF-8 text: paths, and text cut at a character boundary.
#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "text/text_result.hpp"
#include "text/utf8_codec.hpp"

using namespace cairn;

namespace {

// Below this size the six-byte look-back could leave the buffer.
constexpr size_t kMinTruncateSize = 7;

}  // namespace

extern "C" {

int ox_ensure_path_encoding(char *out, const char *path, size_t size, size_t *len)
{
    text::set_if(len, size_t{0});
    if (out == nullptr || size == 0)
        return text::kOk;
    size_t n = path ? strnlen(path, size - 1) : 0;
    std::memcpy(out, path ? path : "", n);
    out[n] = '\0';
    text::set_if(len, n);
    return text::kOk;
}

char *utf8_truncate_to_char_boundary(const char *in, char *out, size_t size)
{
    if (in == nullptr || *in == '\0' || out == nullptr || size < kMinTruncateSize) {
        text::bad_arguments();
        return nullptr;
    }
    if (strnlen(in, size) < size) {
        ox_strlcpy(out, in, size);
        return out;
    }
    const auto *bytes = reinterpret_cast<const unsigned char *>(in);
    for (size_t k = 1; k <= static_cast<size_t>(utf8::kMaxSequence); ++k) {
        unsigned char b = bytes[size - k];
        CAIRN_DEBUG(7, 64, "byte #%d = %x\n", static_cast<int>(size - k), b);
        if (utf8::is_continuation(b))
            continue;
        // The character that begins here is left out whole.
        std::memmove(out, in, size - k);
        out[size - k] = '\0';
        CAIRN_DEBUG(3, 4, "input truncated to strlen(%s)=%d\n", out, static_cast<int>(size - k));
        return out;
    }
    CAIRN_DEBUG(3, 4, "No lead UTF-8 byte found for truncation\n");
    ox_error_set_last(EILSEQ, OX_ERRKIND_ERRNO);
    return nullptr;
}

}  // extern "C"
