// The parent of a path: the library's walk up the tree, in which drive
// names and UNC roots hang below the root "/".
#include <cstring>

#include "cairn/paths.h"
#include "paths/path_result.hpp"
#include "paths/path_rules.hpp"
#include "paths/unc_name.hpp"

namespace cairn::paths {
namespace {

constexpr std::size_t kRootCut = 0;

// A UNC name with '\\' whose parent is the root.
bool unc_with_root_parent(const char *path)
{
    UncName u = classify_unc(path);
    if (u.type == OX_UNC_NONE)
        return false;
    if (!has_file_path_type(u.type) || u.file_offset == kNoPosition)
        return true;
    return std::strlen(path + u.file_offset) <= 1;
}

// Where the parent ends, kRootCut for the root, or kNoPosition when the
// path has none.
std::size_t parent_cut(const char *path, char sep)
{
    std::size_t len = std::strlen(path);
    std::size_t end =
        path[len - 1] == sep ? len - 1 : len;  // one separator at the end does not count
    const char *last = static_cast<const char *>(memrchr(path, sep, end));
    if (last != nullptr)
        return static_cast<std::size_t>(last - path);
    if (sep == '/')
        return kNoPosition;
    const char *colon = std::strchr(path, ':');
    if (colon == nullptr)
        return kNoPosition;
    const char *after = colon + 1;
    if (after[0] == '\0' || (after[0] == '\\' && after[1] == '\0'))
        return kRootCut;
    return static_cast<std::size_t>(after - path);
}

}  // namespace
}  // namespace cairn::paths

extern "C" {

char *getpathparent_dirsep(const char *path, char *out, size_t size, int sep)
{
    using namespace cairn::paths;
    if (out != nullptr && out != path && size > 0)
        out[0] = '\0';
    if (!check_arguments(path != nullptr, sep) || path[0] == '\0')
        return nullptr;
    std::size_t alloc_size = std::strlen(path) + 1;
    bool root = std::strcmp(path, "/") == 0 || (sep == '\\' && unc_with_root_parent(path));
    std::size_t cut = root ? kRootCut : parent_cut(path, static_cast<char>(sep));
    if (cut == kNoPosition)
        return nullptr;
    if (cut == kRootCut)
        return deliver_path("/", 1, out, size, alloc_size);
    return deliver_path(path, cut, out, size, alloc_size);
}

char *getpathparent(const char *path, char *out, size_t size)
{
    return getpathparent_dirsep(path, out, size, '\\');
}

}  // extern "C"
