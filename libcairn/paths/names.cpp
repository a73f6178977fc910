// Base name, directory name and clean-up of a typed path.  They split a
// path into root and components the way canonicalisation does.
#include <cstring>

#include "cairn/paths.h"
#include "paths/path_result.hpp"
#include "paths/path_rules.hpp"
#include "paths/unc_name.hpp"

namespace cairn::paths {
namespace {

// Length of the root: a leading separator; with '\\' also a drive name or
// a UNC root, each with at most one separator after it.
std::size_t root_length(const char *path, int sep)
{
    if (sep == '\\') {
        UncName u = classify_unc(path);
        if (u.type != OX_UNC_NONE) {
            if (!has_file_path_type(u.type) || u.file_offset == kNoPosition)
                return std::strlen(path);
            std::size_t end = u.file_offset;
            return separates(path[end], sep) ? end + 1 : end;
        }
        if (is_ascii_letter(path[0]) && path[1] == ':')
            return separates(path[2], sep) ? 3 : 2;
    }
    return separates(path[0], sep) ? 1 : 0;
}

struct Split {
    std::size_t root;        // root length
    std::size_t base_start;  // last component [base_start, base_end)
    std::size_t base_end;
    std::size_t dir_end;  // directory part [0, dir_end)
};

Split split_path(const char *path, int sep)
{
    Split s{};
    s.root = root_length(path, sep);
    std::size_t end = std::strlen(path);
    while (end > s.root && separates(path[end - 1], sep))
        --end;
    s.base_end = end;
    s.base_start = end;
    while (s.base_start > s.root && !separates(path[s.base_start - 1], sep))
        --s.base_start;
    s.dir_end = s.base_start;
    while (s.dir_end > s.root && separates(path[s.dir_end - 1], sep))
        --s.dir_end;
    return s;
}

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// With no component, both names are the root as written, or ".".
char *deliver_root_or_dot(const char *path, const Split &s, char *out, std::size_t size)
{
    if (s.root == 0)
        return deliver_path(".", 1, out, size, 2);
    return deliver_path(path, s.root, out, size, s.root + 1);
}

}  // namespace
}  // namespace cairn::paths

extern "C" {

char *ox_path_basename(const char *path, char *out, size_t size, int sep)
{
    using namespace cairn::paths;
    if (!check_arguments(path != nullptr, sep))
        return nullptr;
    Split s = split_path(path, sep);
    if (s.base_end == s.base_start)
        return deliver_root_or_dot(path, s, out, size);
    return deliver_path(path + s.base_start, s.base_end - s.base_start, out, size,
                        s.base_end - s.base_start + 1);
}

char *ox_path_dirname(const char *path, char *out, size_t size, int sep)
{
    using namespace cairn::paths;
    if (!check_arguments(path != nullptr, sep))
        return nullptr;
    Split s = split_path(path, sep);
    if (s.base_end == s.base_start || s.dir_end == 0)
        return deliver_root_or_dot(path, s, out, size);
    return deliver_path(path, s.dir_end, out, size, s.dir_end + 1);
}

char *ox_path_strip(char *path, int sep)
{
    using namespace cairn::paths;
    if (!check_arguments(path != nullptr, sep))
        return nullptr;
    std::size_t start = 0, end = std::strlen(path);
    while (start < end && is_blank(path[start]))
        ++start;
    while (end > start && is_blank(path[end - 1]))
        --end;
    if (start < end && path[start] == '"')
        ++start;
    if (end > start && path[end - 1] == '"')
        --end;
    std::memmove(path, path + start, end - start);
    path[end - start] = '\0';
    std::size_t root = root_length(path, sep), n = end - start;
    while (n > root && separates(path[n - 1], sep))
        --n;
    path[n] = '\0';
    return path;
}

}  // extern "C"
