// Classification of UNC names, for narrow and wide text alike: the prefix,
// the object type, the file path part and the server/share part that is
// upper-cased.
#pragma once

#include <cstddef>

#include "paths/path_rules.hpp"

namespace cairn::paths {

struct UncName {
    int type = OX_UNC_NONE;
    std::size_t prefix_length = 0;          // "\\", "\\?\", "\\.\" or "\\?\UNC\"
    std::size_t file_offset = kNoPosition;  // start of the file path part
    std::size_t upper_end = kNoPosition;    // end of the part to upper-case
};

namespace unc_detail {

template <typename Char>
std::size_t find_separator(const Char *p, std::size_t from)
{
    while (p[from] != 0 && !is_any_separator(p[from]))
        ++from;
    return from;
}

template <typename Char>
bool is_unc_keyword(const Char *p)
{
    return (p[0] == 'U' || p[0] == 'u') && (p[1] == 'N' || p[1] == 'n') &&
           (p[2] == 'C' || p[2] == 'c') && is_any_separator(p[3]);
}

// \\server\share[\file path], starting at the server name.
template <typename Char>
UncName server_and_share(const Char *p, UncName u)
{
    std::size_t server_end = find_separator(p, u.prefix_length);
    u.type = OX_UNC_SERVER;
    if (p[server_end] != 0)
        u.upper_end = server_end;
    if (server_end == u.prefix_length || p[server_end] == 0)
        return u;
    std::size_t share_end = find_separator(p, server_end + 1);
    if (share_end == server_end + 1)
        return u;  // empty share name
    u.type = OX_UNC_SHARE;
    u.upper_end = kNoPosition;
    if (p[share_end] != 0)
        u.file_offset = u.upper_end = share_end;
    return u;
}

// A name after a 4-character prefix whose part to upper-case ends at the
// next separator.
template <typename Char>
UncName after_short_prefix(const Char *p, int type)
{
    UncName u;
    u.type = type;
    u.prefix_length = 4;
    std::size_t end = find_separator(p, 4);
    if (p[end] != 0)
        u.upper_end = end;
    return u;
}

}  // namespace unc_detail

template <typename Char>
UncName classify_unc(const Char *p)
{
    using namespace unc_detail;
    UncName u;
    if (!is_any_separator(p[0]) || !is_any_separator(p[1]))
        return u;
    if (p[2] == '?' && is_any_separator(p[3])) {
        if (is_unc_keyword(p + 4)) {
            u.prefix_length = 8;
            return server_and_share(p, u);
        }
        if (is_ascii_letter(p[4]) && p[5] == ':') {
            u = after_short_prefix(p, OX_UNC_LONG_DRIVE);
            if (p[6] != 0)
                u.file_offset = 6;
            return u;
        }
        return after_short_prefix(p, OX_UNC_NAMESPACE);
    }
    if (p[2] == '.' && is_any_separator(p[3]))
        return after_short_prefix(p, OX_UNC_DEVICE);
    u.prefix_length = 2;
    return server_and_share(p, u);
}

// Whether the name's file path part is what canonicalisation works on.
inline bool has_file_path_type(int type)
{
    return type == OX_UNC_SHARE || type == OX_UNC_LONG_DRIVE;
}

}  // namespace cairn::paths
