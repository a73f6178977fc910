// The program name: the lower-case base name of argv[0] without extension,
// under the program-name lock; and the debug-control file's path.
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "frame/exit_handlers.hpp"
#include "frame/process_identity.hpp"

namespace cairn {
namespace {

constexpr std::size_t kBaseNameMax = 512;

char g_progname[kBaseNameMax];
bool g_progname_set;
char g_debug_control_path[kPathMax];
std::atomic<bool> g_debug_control_set{false};

}  // namespace

const char *debug_control_path()
{
    return g_debug_control_set.load(std::memory_order_acquire) ? g_debug_control_path : "";
}

void set_debug_control_path(const char *dir)
{
    if (dir == nullptr)
        return;
    std::snprintf(g_debug_control_path, sizeof g_debug_control_path, "%s%coxdbg.tmp", dir, '/');
    g_debug_control_set.store(true, std::memory_order_release);
}

}  // namespace cairn

using namespace cairn;

extern "C" {

void ox_set_progname(const char *argv0)
{
    if (argv0 == nullptr || *argv0 == '\0')
        return;
    char base[kBaseNameMax];
    if (ox_path_basename(argv0, base, sizeof base, '\\') == nullptr || base[0] == '\0')
        return;  // the name stays as it was
    if (char *dot = std::strchr(base, '.'))
        *dot = '\0';
    for (char *p = base; *p; ++p)
        *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    program_name_lock();
    std::memcpy(g_progname, base, std::strlen(base) + 1);
    g_progname_set = true;
    program_name_unlock();
}

char *ox_get_progname(char *dst, int n)
{
    if (dst == nullptr || n <= 0) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    program_name_lock();
    if (g_progname_set)
        std::snprintf(dst, static_cast<std::size_t>(n), "%s", g_progname);
    else
        std::snprintf(dst, static_cast<std::size_t>(n), "(pid %d)", static_cast<int>(getpid()));
    program_name_unlock();
    return dst;
}

}  // extern "C"
