// preflen(): whether a path begins with a prefix at a component boundary.
#include <cstddef>
#include <cstring>

#include "cairn/diagnostics.h"
#include "text/ascii_case.hpp"

namespace {

// The first n bytes of a and b agree without regard to ASCII case (a may
// be shorter: its terminator then differs).
bool same_start(const char *a, const char *b, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        if (cairn::text::fold_upper(static_cast<unsigned char>(a[i])) !=
            cairn::text::fold_upper(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

}  // namespace

extern "C" int preflen(const char *path, const char *prefix)
{
    if (path == nullptr || prefix == nullptr)
        return 0;
    std::size_t n = std::strlen(prefix);
    if (!same_start(path, prefix, n))
        return 0;
    int len = static_cast<int>(n);
    // A root, a drive and a drive root end a component by themselves.
    if (n == 1 && path[0] == '\\')
        return len;
    if (n == 2 && prefix[1] == ':')
        return len;
    if (n == 3 && prefix[1] == ':' && path[2] == '\\')
        return len;
    return path[n] == '\\' || path[n] == '\0' ? len : 0;
}
