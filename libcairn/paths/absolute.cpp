// Absolute canonical paths: joining a name to the current (or a given)
// directory by the drive and UNC rules, then canonicalising.
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "diagnostics/debug_line.hpp"
#include "paths/path_result.hpp"
#include "paths/path_rules.hpp"

namespace cairn::paths {
namespace {

constexpr int kTraceLevel = 5;
constexpr uint32_t kTraceBit = 16;

// The directory a name is joined to, as a bounded view.
struct Directory {
    const char *text;
    std::size_t length;
};

Directory directory_view(const char *dir)
{
    std::size_t n = std::strlen(dir);
    if (n > 1 && dir[n - 1] == '\\')
        --n;  // C:\ joins as C: + \name
    return {dir, n};
}

// Joins into `work` (kPathMax bytes); false when it does not fit.
bool join(char *work, const char *first, std::size_t first_len, char between, const char *rest)
{
    int n = std::snprintf(work, kPathMax, "%.*s%c%s", static_cast<int>(first_len), first, between,
                          rest);
    return n >= 0 && static_cast<std::size_t>(n) < kPathMax;
}

bool copy_name(char *work, const char *name)
{
    std::size_t n = std::strlen(name);
    if (n >= kPathMax)
        return false;
    std::memcpy(work, name, n + 1);
    return true;
}

bool drive_relative(const char *name)
{
    return name[0] != '\0' && name[1] == ':' && name[2] != '\\' && name[2] != '/' &&
           name[2] != '\0';
}

// Chooses the text to canonicalise and the separator to do it with.
bool choose_path(char *work, const char *name, Directory dir, int &sep)
{
    if (name[0] == '/') {
        sep = '/';
        return copy_name(work, name);
    }
    if (sep == '/')
        return join(work, dir.text, dir.length, '/', name);
    if (is_unc_path(name))
        return copy_name(work, name);
    if (name[0] == '\\')
        return join(work, dir.text, dir.length > 0 ? 1 : 0, ':', name);
    if (std::strchr(name, ':') == nullptr)
        return join(work, dir.text, dir.length, '\\', name);
    if (drive_relative(name) && dir.length > 0 &&
        std::tolower(static_cast<unsigned char>(name[0])) ==
            std::tolower(static_cast<unsigned char>(dir.text[0])))
        return join(work, dir.text, dir.length, '\\', name + 2);
    return copy_name(work, name);
}

// The absolute canonical form of `name` in `out` (kPathMax bytes).
char *full_canonical(const char *name, char *out, const char *cwd, int sep)
{
    char cwd_buffer[kPathMax];
    if (cwd == nullptr) {
        cwd = ox_getcwd(cwd_buffer, sizeof cwd_buffer);
        if (cwd == nullptr) {
            CAIRN_DEBUG(1, 1, "Cannot get current directory!\n");
            return nullptr;
        }
    }
    CAIRN_DEBUG(kTraceLevel, kTraceBit, "fullcanon(name=%s)\n", name);
    char work[kPathMax];
    if (!choose_path(work, name, directory_view(cwd), sep)) {
        out[0] = '\0';
        ox_error_set_last(ENAMETOOLONG, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    canon_dirsep(work, out, sep);
    CAIRN_DEBUG(kTraceLevel, kTraceBit, "   exit fullcanon(fullname=%s)\n", out);
    return out;
}

}  // namespace
}  // namespace cairn::paths

extern "C" {

char *ox_getcwd(char *buf, size_t size)
{
    if (buf == nullptr || size == 0) {
        cairn::paths::set_invalid_argument();
        return nullptr;
    }
    if (getcwd(buf, size) == nullptr) {
        ox_error_set_last(static_cast<uint32_t>(errno), OX_ERRKIND_ERRNO);
        return nullptr;
    }
    return buf;
}

char *fullcanon_dirsep(const char *name, char *out, const char *cwd, int sep)
{
    if (!cairn::paths::check_arguments(name != nullptr && out != nullptr, sep))
        return nullptr;
    return cairn::paths::full_canonical(name, out, cwd, sep);
}

char *fullcanon(const char *name, char *out, const char *cwd)
{
    return fullcanon_dirsep(name, out, cwd, '\\');
}

char *fullpath2(const char *name, const char *dir, char *out, size_t size, int sep)
{
    if (!cairn::paths::check_arguments(name != nullptr, sep))
        return nullptr;
    char full[cairn::paths::kPathMax];
    if (cairn::paths::full_canonical(name, full, dir, sep) == nullptr) {
        if (out != nullptr && out != name && size > 0)
            out[0] = '\0';
        return nullptr;
    }
    std::size_t len = std::strlen(full);
    char *result = cairn::paths::deliver_path(full, len, out, size, len + 1);
    if (result == nullptr && out != nullptr && size > 0)
        out[0] = '\0';
    return result;
}

char *fullpath(const char *name, char *out, size_t size, int sep)
{
    return fullpath2(name, nullptr, out, size, sep);
}

}  // extern "C"
