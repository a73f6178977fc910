// UTF-8 paths as the system's wide paths: absolute, backslashed, with the
// long-path prefix.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "paths/path_rules.hpp"
#include "paths/wide_text.hpp"
#include "platform/alloc.hpp"

namespace cairn::paths {
namespace {

constexpr WideUnit kLongPrefix[] = {'\\', '\\', '?', '\\'};
constexpr WideUnit kLongUncPrefix[] = {'\\', '\\', '?', '\\', 'U', 'N', 'C', '\\'};

bool is_slash(char c) { return c == '/' || c == '\\'; }

int cannot_make_absolute(int err)
{
    ox_error_set_last(static_cast<uint32_t>(err), OX_ERRKIND_ERRNO);
    return OX_EINVAL;
}

// Joins `dir` (its first dir_len bytes), `between` (when not 0) and `rest`.
bool join(char *abs, const char *dir, std::size_t dir_len, const char *between, const char *rest)
{
    int n = std::snprintf(abs, kPathMax, "%.*s%s%s", static_cast<int>(dir_len), dir, between, rest);
    return n >= 0 && static_cast<std::size_t>(n) < kPathMax;
}

// A relative path joined to the directory after its leading ./ and ../
// components.  Returns 0 or 31.
int join_relative(char *abs, const char *cwd, const char *rel)
{
    std::size_t dir_len = std::strlen(cwd);
    for (;;) {
        if (rel[0] == '.' && is_slash(rel[1])) {
            rel += 2;
        } else if (rel[0] == '.' && rel[1] == '.' && is_slash(rel[2])) {
            if (dir_len < 4)
                return cannot_make_absolute(ENOENT);
            while (dir_len > 0 && !is_slash(cwd[dir_len - 1]))
                --dir_len;
            dir_len = dir_len > 0 ? dir_len - 1 : 0;
            rel += 3;
        } else {
            break;
        }
    }
    return join(abs, cwd, dir_len, "\\", rel) ? 0 : cannot_make_absolute(ENAMETOOLONG);
}

// The drive of a current directory ("C:"): its first two characters when
// the second is ':'.  A directory without a drive (every Linux directory)
// gives none, so a rooted path stays rooted at the file-system root.
std::size_t drive_length(const char *cwd) { return cwd[0] != '\0' && cwd[1] == ':' ? 2 : 0; }

// The absolute form of `path` in `abs` (kPathMax bytes).  Returns 0 or 31.
int make_absolute(const char *path, char *abs)
{
    if ((path[0] == '\\' && path[1] == '\\') || (path[0] != '\0' && path[1] == ':'))
        return join(abs, "", 0, "", path) ? 0 : cannot_make_absolute(ENAMETOOLONG);
    char cwd[kPathMax];
    if (ox_getcwd(cwd, sizeof cwd) == nullptr)
        return OX_EINVAL;
    int result = 0;
    if (std::strcmp(path, ".") == 0)
        result = join(abs, cwd, std::strlen(cwd), "", "") ? 0 : cannot_make_absolute(ENAMETOOLONG);
    else if (is_slash(path[0]))
        result =
            join(abs, cwd, drive_length(cwd), "", path) ? 0 : cannot_make_absolute(ENAMETOOLONG);
    else
        result = join_relative(abs, cwd, path);
    if (result != 0)
        return result;
    std::size_t n = 0;
    for (; abs[n] != '\0'; ++n)
        if (abs[n] == '/')
            abs[n] = '\\';
    if (n >= 4 && abs[n - 1] == '\\')
        abs[n - 1] = '\0';
    return 0;
}

// Converts `source` to wide text at `out` (room for `room` units) when all
// of it fits.  Returns the conversion's result, or 46 when it does not fit.
int convert_whole(const char *source, WideUnit *out, std::size_t room)
{
    std::size_t bytes = std::strlen(source);
    if (bytes < room)  // one unit per byte at most: it fits
        return utf8_to_wide(out, source, room, nullptr);
    // Perhaps it fits: measure in a buffer large enough for any outcome.
    auto *scratch = static_cast<WideUnit *>(mem_alloc((bytes + 1) * sizeof(WideUnit)));
    if (scratch == nullptr)
        return OX_ENOMEM;
    std::size_t units = 0;
    int result = utf8_to_wide(scratch, source, bytes + 1, &units);
    if (units < room)
        std::memcpy(out, scratch, (units + 1) * sizeof(WideUnit));
    else
        result = OX_ENOBUFS;
    mem_free(scratch);
    return result;
}

}  // namespace
}  // namespace cairn::paths

extern "C" int ox_utf8_to_widepath(const char *path, ox_wchar *out, size_t size,
                                   ox_wchar **after_prefix)
{
    using namespace cairn::paths;
    if (after_prefix != nullptr)
        *after_prefix = out;
    if (path == nullptr || out == nullptr || size == 0) {
        set_invalid_argument();
        return OX_EINVAL;
    }
    out[0] = 0;
    char abs[kPathMax];
    int result = make_absolute(path, abs);
    if (result != 0)
        return result;
    bool unc = path[0] == '\\' && path[1] == '\\';
    bool keep_as_is = unc && (path[2] == '.' || path[2] == '?');
    const WideUnit *prefix = keep_as_is ? nullptr : (unc ? kLongUncPrefix : kLongPrefix);
    std::size_t prefix_len = keep_as_is ? 0 : (unc ? 8 : 4);
    const char *source = unc && !keep_as_is ? abs + 2 : abs;
    result =
        prefix_len < size ? convert_whole(source, out + prefix_len, size - prefix_len) : OX_ENOBUFS;
    if (result != 0) {
        out[0] = 0;
        return result;
    }
    if (prefix != nullptr)
        std::memcpy(out, prefix, prefix_len * sizeof(WideUnit));
    for (ox_wchar *p = out + prefix_len; *p != 0; ++p)
        if (*p == '/')
            *p = '\\';
    if (after_prefix != nullptr)
        *after_prefix = out + prefix_len;
    return 0;
}
