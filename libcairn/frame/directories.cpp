// The product's directory tree under the application directory, argv[0],
// the installation directory and the crypto library's search path.
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "cairn/paths.h"
#include "concurrency/internal_lock.hpp"
#include "diagnostics/debug_line.hpp"
#include "frame/app_directory.hpp"
#include "frame/directories.hpp"
#include "frame/environment.hpp"
#include "frame/exit_cleanup.hpp"
#include "frame/process_identity.hpp"
#include "platform/alloc.hpp"
#include "platform/fork_guard.hpp"

namespace cairn {
namespace {

enum Dir {
    kApplogs,
    kBin,
    kCores,
    kCst,
    kDebug,
    kEtc,
    kGls,
    kIndex,
    kLib,
    kLogs,
    kMm,
    kMod,
    kRap,
    kRes,
    kTmp,
    kDirCount
};
constexpr const char *kDirNames[kDirCount] = {
    "applogs", "bin",  "cores", "cst", "debug", "etc", "gls", "index",
    "lib",     "logs", "mm",    "mod", "rap",   "res", "tmp",
};

std::atomic<char *> g_dirs[kDirCount];
ox_mutex *g_dirs_lock;
ox_once_t g_dirs_once;
char *g_argv0;
// Earlier argv[0] copies: ox_get_argv0() handed them out, so they stay
// valid for the life of the process (each is kept once; a repeated name
// replaces nothing).
struct RetiredName {
    char *text;
    RetiredName *next;
};
RetiredName *g_retired_argv0;
std::atomic<char *> g_installdir;
char g_origin[kPathMax];
bool g_origin_done;
char *g_fips_value;

void destroy_dirs_lock()
{
    ox_event_destroy(g_dirs_lock);
    g_dirs_lock = nullptr;
    ox_once_reset(&g_dirs_once);
}

void create_dirs_lock()
{
    g_dirs_lock = ox_mutex_new();
    if (g_dirs_lock == nullptr)
        raise(SIGTERM);  // a hard stop: the directory cache cannot be guarded
    register_exit_cleanup(destroy_dirs_lock);
    fork_protect(ForkRank::directories, [] { return g_dirs_lock; });
}

ox_mutex *dirs_lock()
{
    ox_once(&g_dirs_once, create_dirs_lock);
    return g_dirs_lock;
}

struct DirsLock {
    InternalLock hold{dirs_lock()};
};

char *join(const char *dir, const char *sub)
{
    size_t n = std::strlen(dir);
    bool has_sep = n > 0 && dir[n - 1] == '/';
    char buf[kPathMax];
    int len = std::snprintf(buf, sizeof buf, "%s%s%s", dir, has_sep ? "" : "/", sub);
    return len > 0 && static_cast<size_t>(len) < sizeof buf ? mem_strdup(buf) : nullptr;
}

const char *directory(Dir which)
{
    if (char *cached = g_dirs[which].load(std::memory_order_acquire))
        return cached;
    DirsLock hold;
    if (char *cached = g_dirs[which].load(std::memory_order_acquire))
        return cached;
    const char *app = app_directory_lookup(nullptr);
    if (app == nullptr)
        return nullptr;  // not cached: the next call tries again
    char *path = join(app, kDirNames[which]);
    g_dirs[which].store(path, std::memory_order_release);
    return path;
}

// The executable's directory with its trailing separator, computed once.
// "BXR_PRINT_ORIGIN" shows it; a value starting with q or Q also ends the
// process at once (install scripts probe with it).
const char *executable_origin(const char *argv0)
{
    if (!g_origin_done) {
        char exe[kPathMax];
        if (!executable_path(exe, sizeof exe))
            std::snprintf(exe, sizeof exe, "%s", argv0);
        if (char *slash = std::strrchr(exe, '/'))
            slash[1] = '\0';
        std::snprintf(g_origin, sizeof g_origin, "%s", exe);
        g_origin_done = true;
        char probe[8];
        if (environment_read("BXR_PRINT_ORIGIN", probe, sizeof probe)) {
            debug_write("origin for `%s' is `%s'\n", argv0, g_origin);
            if (probe[0] == 'q' || probe[0] == 'Q')
                std::exit(0);
        }
    }
    return g_origin;
}

void set_search_path(const char *path)
{
    char assignment[kPathMax + 32];
    std::snprintf(assignment, sizeof assignment, "R_SHLIB_LD_LIBRARY_PATH=%s", path);
    if (ox_putenv(assignment) != 0)
        return;
    char *kept = mem_strdup(assignment);
    if (kept) {
        mem_free(g_fips_value);
        g_fips_value = kept;
    }
    CAIRN_DEBUG(1, 1, "Setting BSAFE MES R_SHLIB_LD_LIBRARY_PATH=%s\n",
                ox_getenv("R_SHLIB_LD_LIBRARY_PATH"));
}

bool is_directory(const char *path)
{
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

void crypto_search_path_init()
{
    const char *install = ox_get_installdir();
    char *bin = install ? join(install, "bin") : nullptr;
    set_search_path(bin && is_directory(bin) ? bin : kDefaultInstallBin);
    mem_free(bin);
}

}  // namespace cairn

using namespace cairn;

extern "C" {

const char *ox_get_applogsdir(void) { return directory(kApplogs); }
const char *ox_get_bindir(void) { return directory(kBin); }
const char *ox_get_coresdir(void) { return directory(kCores); }
const char *ox_get_cstdir(void) { return directory(kCst); }
const char *ox_get_debugdir(void) { return directory(kDebug); }
const char *ox_get_etcdir(void) { return directory(kEtc); }
const char *ox_get_glsdir(void) { return directory(kGls); }
const char *ox_get_indexdir(void) { return directory(kIndex); }
const char *ox_get_libdir(void) { return directory(kLib); }
const char *ox_get_logsdir(void) { return directory(kLogs); }
const char *ox_get_mmdir(void) { return directory(kMm); }
const char *ox_get_moddir(void) { return directory(kMod); }
const char *ox_get_rapdir(void) { return directory(kRap); }
const char *ox_get_resdir(void) { return directory(kRes); }
const char *ox_get_tmpdir(void) { return directory(kTmp); }

// Computed without the once-guard and the lock, as the other directories'
// callers never need it guarded.
const char *ox_get_securedir(void)
{
    static std::atomic<char *> securedir;
    if (char *cached = securedir.load(std::memory_order_acquire))
        return cached;
    const char *tmp = ox_get_tmpdir();
    if (tmp == nullptr)
        return nullptr;
    char *path = join(tmp, "sec");
    char *expected = nullptr;
    if (!securedir.compare_exchange_strong(expected, path)) {
        mem_free(path);
        return expected;
    }
    return path;
}

void ox_set_argv0(const char *argv0)
{
    if (argv0 == nullptr)
        return;
    DirsLock hold;
    if (g_argv0 != nullptr && std::strcmp(g_argv0, argv0) == 0)
        return;  // the same name: the text handed out stays current
    char *copy = mem_strdup(argv0);
    auto *retired = static_cast<RetiredName *>(mem_alloc(sizeof(RetiredName)));
    if (copy == nullptr || (g_argv0 != nullptr && retired == nullptr)) {
        mem_free(copy);
        mem_free(retired);
        return;
    }
    if (g_argv0 != nullptr) {
        *retired = RetiredName{g_argv0, g_retired_argv0};
        g_retired_argv0 = retired;
    } else {
        mem_free(retired);
    }
    g_argv0 = copy;
}

const char *ox_get_argv0(void)
{
    DirsLock hold;
    return g_argv0;
}

const char *ox_find_installdir(const char *argv0)
{
    ox_once(&g_dirs_once, create_dirs_lock);
    if (argv0 == nullptr)
        return nullptr;
    ox_set_argv0(argv0);
    if (char *known = g_installdir.load(std::memory_order_acquire))
        return known;
    char parent[kPathMax];
    if (ox_path_dirname(executable_origin(argv0), parent, sizeof parent, '/') == nullptr)
        return nullptr;
    char *copy = mem_strdup(parent);
    DirsLock hold;
    char *expected = nullptr;
    if (copy && !g_installdir.compare_exchange_strong(expected, copy)) {
        mem_free(copy);
        return expected;
    }
    return copy;
}

const char *ox_get_installdir(void) { return g_installdir.load(std::memory_order_acquire); }

void ox_set_fips_path(const char *dir, const char *sub)
{
    if (dir == nullptr)
        dir = ox_get_installdir();  // there is no registry to ask here
    if (dir == nullptr)
        return;
    char *path = join(dir, sub ? sub : "bin");
    if (path)
        set_search_path(path);
    mem_free(path);
}

}  // extern "C"
