// What a separator is, and the argument checks shared by the path
// functions.
#pragma once

#include <cstddef>

#include "cairn/paths.h"

namespace cairn::paths {

constexpr std::size_t kPathMax = OX_PATH_MAX;
constexpr std::size_t kNoPosition = static_cast<std::size_t>(-1);

inline bool valid_separator(int sep) { return sep == '/' || sep == '\\'; }

// With '\\' a '/' separates components too (canonicalisation turns it into
// '\\'); with '/' only '/' does.
template <typename Char>
inline bool separates(Char c, int sep)
{
    return c == static_cast<Char>(sep) || (sep == '\\' && c == static_cast<Char>('/'));
}

// Either separator: UNC names are recognised in both spellings.
template <typename Char>
inline bool is_any_separator(Char c)
{
    return c == static_cast<Char>('\\') || c == static_cast<Char>('/');
}

template <typename Char>
inline bool is_ascii_letter(Char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Sets the last error to EINVAL; the caller returns its failure value.
void set_invalid_argument();

// True when the arguments are usable; otherwise sets EINVAL.
inline bool check_arguments(bool pointers_given, int sep)
{
    if (pointers_given && valid_separator(sep))
        return true;
    set_invalid_argument();
    return false;
}

}  // namespace cairn::paths
