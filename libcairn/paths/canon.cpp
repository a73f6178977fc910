// Canonical spelling of a path: separators, "." and "..", the drive and UNC
// forms.  Every step works in place in the output buffer and never makes
// the text longer, so one pass each over the path suffices.
#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "paths/path_rules.hpp"
#include "paths/unc_name.hpp"

namespace cairn::paths {
namespace {

// Keeps the first separator of each run, except where the character after
// the next separator is '?': the long-path prefix \\?\ survives.
std::size_t collapse_separators(char *s, char sep)
{
    std::size_t w = 0;
    for (std::size_t r = 0; s[r] != '\0'; ++r) {
        s[w++] = s[r];
        if (s[r] == sep)
            while (s[r + 1] == sep && s[r + 2] != '?')
                ++r;
    }
    s[w] = '\0';
    return w;
}

bool is_dot(const char *c, std::size_t n) { return n == 1 && c[0] == '.'; }
bool is_dot_dot(const char *c, std::size_t n) { return n == 2 && c[0] == '.' && c[1] == '.'; }

// Where the last component written begins (its separator), not below
// `floor`.
std::size_t previous_component(const char *s, std::size_t floor, std::size_t end, char sep)
{
    while (end > floor && s[end - 1] != sep)
        --end;
    return end > floor ? end - 1 : floor;
}

// The component walk over a working part of length n.  Components are
// copied down over the removed ones; the write position never passes the
// read position.  In an absolute part the first component (not preceded by
// a separator) is kept as it is and ".." stops at the start.  In a relative
// part every component is looked at, ".." with nothing to remove is kept
// (from the front up to `floor`), and an empty first component is dropped
// so that the result cannot begin with a separator.  Empty components come
// only from the separator runs kept before a '?'.
std::size_t walk_components(char *s, std::size_t n, char sep, bool relative)
{
    std::size_t r = 0, w = 0, floor = 0;
    if (!relative && s[0] != sep) {
        while (r < n && s[r] != sep)
            ++r;
        w = r;
    }
    while (r < n) {
        if (s[r] == sep)
            ++r;
        std::size_t start = r;
        while (r < n && s[r] != sep)
            ++r;
        std::size_t len = r - start;
        if (is_dot(s + start, len))
            continue;
        if (is_dot_dot(s + start, len) && (!relative || w > floor)) {
            w = previous_component(s, floor, w, sep);
            // An empty component is only kept to protect a '?' after it;
            // in a relative path it goes with that component.
            if (relative && w > floor && s[w - 1] == sep)
                --w;
            continue;
        }
        if (relative && w == 0 && len == 0)
            continue;
        bool needs_separator = !relative || w > 0;
        if (needs_separator)
            s[w++] = sep;
        std::memmove(s + w, s + start, len);
        w += len;
        if (relative && is_dot_dot(s + start, len))
            floor = w;
    }
    return w;
}

// Relative in the sense of ispathrelative(), for a path whose '/' have
// already become '\\' in '\\' mode.
bool is_relative_text(const char *s, char sep)
{
    if (s[0] == sep)
        return false;
    return sep == '/' || std::strchr(s, ':') == nullptr;
}

// The rules with '\\': separators, a trailing quote, upper-casing, and the
// UNC names.  Returns the working part, or nullptr when the path is final.
char *prepare_backslash_path(char *out)
{
    for (char *p = out; *p != '\0'; ++p)
        if (*p == '/')
            *p = '\\';
    std::size_t len = std::strlen(out);
    if (len > 0 && out[len - 1] == '"')
        out[len - 1] = '\0';
    convertDriveToUpper(out);
    UncName u = classify_unc(out);
    if (u.type == OX_UNC_NONE)
        return out;
    if (!has_file_path_type(u.type) || u.file_offset == kNoPosition)
        return nullptr;
    return out + u.file_offset;
}

void set_root(char *out)
{
    out[0] = '/';
    out[1] = '\0';
}

// The canonical form of `out`, in place.
void canonicalise(char *out, char sep)
{
    char *work = sep == '\\' ? prepare_backslash_path(out) : out;
    if (work == nullptr)
        return;
    bool relative = work == out && is_relative_text(out, sep);
    std::size_t n = collapse_separators(work, sep);
    while (n > 0 && work[n - 1] == sep)
        --n;
    work[n] = '\0';
    if (n == 0) {
        if (work == out)
            set_root(out);
        return;
    }
    n = walk_components(work, n, sep, relative);
    work[n] = '\0';
    if (out[0] == '\0') {
        if (relative)
            std::memcpy(out, ".", 2);
        else
            set_root(out);
    }
}

}  // namespace
}  // namespace cairn::paths

extern "C" {

char *canon_dirsep(const char *in, char *out, int sep)
{
    if (!cairn::paths::check_arguments(in != nullptr && out != nullptr, sep))
        return nullptr;
    // Every other path keeps or shortens its length; the empty one would
    // become "/", which an in-place buffer of one byte cannot hold.
    if (in == out && *in == '\0') {
        ox_error_set_last(ENOBUFS, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    if (in != out)
        std::memmove(out, in, std::strlen(in) + 1);
    cairn::paths::canonicalise(out, static_cast<char>(sep));
    return out;
}

char *canon(const char *in, char *out) { return canon_dirsep(in, out, '\\'); }

}  // extern "C"
