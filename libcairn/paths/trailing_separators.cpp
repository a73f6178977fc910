// Separators at the end of a path: add one, remove them, set a count.
#include <cstring>

#include "cairn/paths.h"
#include "paths/path_rules.hpp"

namespace {

using cairn::paths::kPathMax;

template <typename Char>
std::size_t text_length(const Char *s)
{
    std::size_t n = 0;
    while (s[n] != 0)
        ++n;
    return n;
}

template <typename Char>
bool is_root(const Char *s)
{
    return s[0] == '/' && s[1] == 0;
}

template <typename Char>
Char *add_separator(Char *path, int sep)
{
    if (!cairn::paths::check_arguments(path != nullptr, sep))
        return nullptr;
    std::size_t n = text_length(path);
    if (is_root(path) || (n > 0 && path[n - 1] == static_cast<Char>(sep)) || n + 1 >= kPathMax)
        return path;
    path[n] = static_cast<Char>(sep);
    path[n + 1] = 0;
    return path;
}

}  // namespace

extern "C" {

char *adddirsep(char *path, int sep) { return add_separator(path, sep); }

ox_wchar *adddirsepw(ox_wchar *path, int sep) { return add_separator(path, sep); }

int rmdirsep(char *path, int sep)
{
    if (!cairn::paths::check_arguments(path != nullptr, sep))
        return 0;
    std::size_t n = std::strlen(path), removed = 0;
    while (n - removed > 1 && path[n - removed - 1] == sep)
        ++removed;
    path[n - removed] = '\0';
    return static_cast<int>(removed);
}

char *setdirsep(char *path, int count, int sep)
{
    if (!cairn::paths::check_arguments(path != nullptr, sep))
        return nullptr;
    rmdirsep(path, sep);
    long wanted = is_root(path) ? static_cast<long>(count) - 1 : count;
    std::size_t n = std::strlen(path);
    for (; wanted > 0 && n + 1 < kPathMax; --wanted)
        path[n++] = static_cast<char>(sep);
    path[n] = '\0';
    return path;
}

}  // extern "C"
