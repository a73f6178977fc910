// Whether a path is relative, and how deep below the root it lies.
#include <cstring>

#include "cairn/paths.h"
#include "paths/path_rules.hpp"
#include "paths/unc_name.hpp"

namespace {

// Separators followed by another character, and with '\\' each ':' not
// followed by a separator.
int count_levels(const char *s, char sep)
{
    int depth = 0;
    for (; *s != '\0'; ++s) {
        if ((*s == sep && s[1] != '\0') || (sep == '\\' && *s == ':' && s[1] != sep))
            ++depth;
    }
    return depth;
}

}  // namespace

extern "C" {

int ispathrelative(const char *path, int sep)
{
    if (!cairn::paths::check_arguments(path != nullptr, sep))
        return 0;
    if (sep == '/')
        return path[0] != '/';
    if (is_unc_path(path) || std::strcmp(path, "/") == 0 || path[0] == '\\')
        return 0;
    return std::strchr(path, ':') == nullptr;
}

int getpathdepth_dirsep(const char *path, int sep)
{
    using namespace cairn::paths;
    if (!check_arguments(path != nullptr, sep))
        return -1;
    if (sep == '\\') {
        UncName u = classify_unc(path);
        if (u.type != OX_UNC_NONE) {
            if (u.type != OX_UNC_SHARE || u.file_offset == kNoPosition ||
                std::strlen(path + u.file_offset) <= 1)
                return 1;
            return 1 + count_levels(path + u.file_offset, '\\');
        }
    }
    return count_levels(path, static_cast<char>(sep));
}

int getpathdepth(const char *path) { return getpathdepth_dirsep(path, '\\'); }

}  // extern "C"
