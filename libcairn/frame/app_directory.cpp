#include "frame/app_directory.hpp"

#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/environment.hpp"
#include "frame/process_identity.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

char g_found[kPathMax];
bool g_found_ok;
bool g_first_call_done;
char g_fallback_text[kPathMax];
char *g_saved_name;

const char *last_component(const char *path)
{
    const char *slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

// Cut the last component (and its separator) off `path`; false when there
// is no separator left to cut at.
bool cut_last(char *path)
{
    char *slash = std::strrchr(path, '/');
    if (slash == nullptr)
        return false;
    *slash = '\0';
    return true;
}

// X/bxr/bin/prog gives X/bxr; X/bxr/sub/prog with the name bxr gives X/bxr.
bool walk(const char *exe, const char *name, char *out)
{
    char dir[kPathMax];
    std::snprintf(dir, sizeof dir, "%s", exe);
    if (!cut_last(dir) || std::strchr(dir, '/') == nullptr)
        return false;  // the executable's directory
    bool was_bin = strcasecmp(last_component(dir), "bin") == 0;
    cut_last(dir);
    if (!was_bin) {
        if (name == nullptr)
            return false;
        while (strcasecmp(last_component(dir), name) != 0)
            if (!cut_last(dir))
                return false;
        if (dir[0] == '\0')
            return false;
    }
    std::snprintf(out, kPathMax, "%s", dir[0] ? dir : "/");
    return true;
}

// The default: the system drive's root when SYSTEMDRIVE names one, else the
// file-system root, followed by the name.
void default_directory(const char *name, char *out)
{
    while (*name == '/' || *name == '\\')
        ++name;
    char drive[8];
    if (environment_read("SYSTEMDRIVE", drive, sizeof drive) && drive[0] && drive[0] != '/')
        std::snprintf(out, kPathMax, "%c:\\%s", drive[0], name);
    else
        std::snprintf(out, kPathMax, "/%s", name);
}

}  // namespace

bool executable_path(char *out, std::size_t size)
{
    ssize_t n = readlink("/proc/self/exe", out, size - 1);
    if (n <= 0)
        return false;
    out[n] = '\0';
    return true;
}

const char *app_directory_lookup(const char *name)
{
    if (!g_first_call_done) {
        g_first_call_done = true;
        std::snprintf(g_fallback_text, sizeof g_fallback_text, "C:\\%s", name ? name : "");
        g_saved_name = name ? mem_strdup(name) : nullptr;
    }
    if (g_found_ok)
        return g_found;
    if (name == nullptr)
        name = g_saved_name;
    char exe[kPathMax];
    if (executable_path(exe, sizeof exe) && walk(exe, name, g_found)) {
        g_found_ok = true;
        return g_found;
    }
    if (name == nullptr)
        return nullptr;
    default_directory(name, g_found);
    g_found_ok = true;
    return g_found;
}

}  // namespace cairn
