// The child of a directory on the way down to a path: the inverse step of
// getpathparent().
#include <cstring>

#include "cairn/paths.h"
#include "paths/path_result.hpp"
#include "paths/path_rules.hpp"
#include "paths/unc_name.hpp"

namespace cairn::paths {
namespace {

std::size_t component_end(const char *path, std::size_t from, int sep)
{
    while (path[from] != '\0' && !separates(path[from], sep))
        ++from;
    return from;
}

// The first step below the root "/": its length, or kNoPosition.
std::size_t child_of_root(const char *path, int sep)
{
    if (sep == '/')
        return path[0] == '/' && path[1] != '\0' && path[1] != '/' ? component_end(path, 1, sep)
                                                                   : kNoPosition;
    UncName u = classify_unc(path);
    if (u.type != OX_UNC_NONE) {
        bool file_type = has_file_path_type(u.type) && u.file_offset != kNoPosition;
        return file_type ? u.file_offset : std::strlen(path);
    }
    if (separates(path[0], sep))
        return path[1] != '\0' && !separates(path[1], sep) ? component_end(path, 1, sep)
                                                           : kNoPosition;
    const char *colon = std::strchr(path, ':');
    return colon != nullptr ? static_cast<std::size_t>(colon - path) + 1 : kNoPosition;
}

// The first step below `parent`: its length, or kNoPosition.
std::size_t child_of(const char *path, const char *parent, int sep)
{
    std::size_t plen = std::strlen(parent);
    if (plen == 0 || std::strncmp(path, parent, plen) != 0)
        return kNoPosition;
    char last = parent[plen - 1];
    std::size_t start = plen;
    if (separates(path[plen], sep))
        ++start;
    else if (!separates(last, sep) && !(sep == '\\' && last == ':'))
        return kNoPosition;
    if (path[start] == '\0' || separates(path[start], sep))
        return kNoPosition;
    return component_end(path, start, sep);
}

}  // namespace
}  // namespace cairn::paths

extern "C" {

char *getpathchild_dirsep(const char *path, const char *parent, char *out, size_t size, int sep)
{
    using namespace cairn::paths;
    if (out != nullptr && out != path && size > 0)
        out[0] = '\0';
    if (!check_arguments(path != nullptr && parent != nullptr, sep))
        return nullptr;
    bool from_root = std::strcmp(parent, "/") == 0;
    std::size_t len = from_root ? child_of_root(path, sep) : child_of(path, parent, sep);
    if (len == kNoPosition)
        return nullptr;
    return deliver_path(path, len, out, size, std::strlen(path) + 1);
}

char *getpathchild(const char *path, const char *parent, char *out, size_t size)
{
    return getpathchild_dirsep(path, parent, out, size, '\\');
}

}  // extern "C"
