// Upper-casing the drive letter or the server and share names of a path.
#include <cstring>
#include <cwctype>

#include "cairn/paths.h"
#include "paths/path_rules.hpp"
#include "paths/unc_name.hpp"
#include "paths/wide_text.hpp"
#include "platform/alloc.hpp"

namespace cairn::paths {
namespace {

// Room for server and share names of ordinary length without allocating.
constexpr std::size_t kLocalNameBytes = 512;

// Upper-cases `n` bytes at `part` as wide characters into `out` (room for
// 3 * n + 1 bytes); returns the new length, or kNoPosition on failure.
std::size_t upper_case_into(const char *part, std::size_t n, char *narrow, WideUnit *wide,
                            char *out)
{
    std::memcpy(narrow, part, n);
    narrow[n] = '\0';
    std::size_t units = 0;
    utf8_to_wide(wide, narrow, n + 1, &units);
    for (std::size_t i = 0; i < units; ++i)
        wide[i] = static_cast<WideUnit>(std::towupper(wide[i]));
    std::size_t bytes = 0;
    if (wide_to_utf8(out, wide, 3 * n + 1, &bytes) != 0)
        return kNoPosition;
    return bytes;
}

// Replaces the first `n` bytes of `path` by their upper-case form when it
// fits in the same number of bytes or fewer.
void upper_case_prefix(char *path, std::size_t n)
{
    char local_narrow[kLocalNameBytes + 1], local_out[3 * kLocalNameBytes + 1];
    WideUnit local_wide[kLocalNameBytes + 1];
    bool small = n <= kLocalNameBytes;
    // One block for the three work areas when the names are long.
    char *block =
        small ? nullptr : static_cast<char *>(mem_alloc((n + 1) * (4 + sizeof(WideUnit))));
    if (!small && block == nullptr)
        return;
    char *narrow = small ? local_narrow : block;
    char *out = small ? local_out : block + n + 1;
    auto *wide = small ? local_wide : reinterpret_cast<WideUnit *>(block + 4 * (n + 1));
    std::size_t len = upper_case_into(path, n, narrow, wide, out);
    if (len != kNoPosition && len <= n) {
        std::memmove(path + len, path + n, std::strlen(path + n) + 1);
        std::memcpy(path, out, len);
    }
    mem_free(block);
}

void upper_case_ascii(char *p, const char *end)
{
    for (; p < end; ++p)
        if (*p >= 'a' && *p <= 'z')
            *p = static_cast<char>(*p - 'a' + 'A');
}

}  // namespace
}  // namespace cairn::paths

extern "C" char *convertDriveToUpper(char *path)
{
    using namespace cairn::paths;
    if (path == nullptr) {
        set_invalid_argument();
        return nullptr;
    }
    UncName u = classify_unc(path);
    if (u.type != OX_UNC_NONE) {
        if (u.upper_end != kNoPosition)
            upper_case_prefix(path + u.prefix_length, u.upper_end - u.prefix_length);
        return path;
    }
    const char *colon = std::strchr(path, ':');
    if (colon != nullptr && colon != path)
        upper_case_ascii(path, colon);
    return path;
}
