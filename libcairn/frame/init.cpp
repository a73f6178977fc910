// Library initialisation: _oxinit() runs its ordered start-up once per
// process (later calls redo only the cheap steps), and the process
// identity it records.
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "cairn/concurrency.h"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "frame/app_directory.hpp"
#include "frame/directories.hpp"
#include "frame/environment.hpp"
#include "frame/process_identity.hpp"
#include "platform/alloc.hpp"
#include "platform/time_zone.hpp"
#include "text/locale_conv.hpp"

extern int opterr;

namespace cairn {
namespace {

constexpr size_t kSelectorMax = 29;
constexpr uint32_t kUnset = 0xFFFFFFFFu;

std::atomic<bool> g_initialised{false};
char *g_appname;
char g_catalog[kSelectorMax + 1];
bool g_catalog_set;
uint32_t g_ids[4] = {kUnset, kUnset, kUnset, kUnset};  // ruid, euid, rgid, egid
bool g_print_uids;
// Converted command lines nobody took ownership of: they live for the
// process, chained through a link in front of each buffer.
void *g_argv_buffers;

// Set from a debugger: a request to stop at start, and the waiting flag.
volatile int g_debug_stop_request;
volatile int g_debug_waiting;

void capture_ids()
{
    g_ids[0] = static_cast<uint32_t>(getuid());
    g_ids[1] = static_cast<uint32_t>(geteuid());
    g_ids[2] = static_cast<uint32_t>(getgid());
    g_ids[3] = static_cast<uint32_t>(getegid());
}

// The message-catalog layer is not built yet: the selector is kept for it.
void apply_catalog_selector(const char *selector)
{
    std::snprintf(g_catalog, sizeof g_catalog, "%s", selector);
    g_catalog_set = true;
}

void lower_base_name(const char *argv0, char *out, size_t size)
{
    const char *slash = std::strrchr(argv0, '/');
    const char *back = std::strrchr(argv0, '\\');
    const char *base = slash > back ? slash + 1 : back ? back + 1 : argv0;
    std::snprintf(out, size, "%s", base);
    if (char *dot = std::strrchr(out, '.'))
        *dot = '\0';
    for (char *p = out; *p; ++p)
        *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
}

// The text locale the environment names (LC_ALL, LC_CTYPE, LANG), read
// under the environment lock.
void locale_from_environment()
{
    CriticalSectionLock hold(environment_lock());
    std::setlocale(LC_CTYPE, "");
}

bool listed(const char *list, const char *name)
{
    size_t n = std::strlen(name);
    for (const char *p = list; p && *p;) {
        if (strncasecmp(p, name, n) == 0)
            return true;
        p = std::strchr(p, ',');
        if (p)
            ++p;
    }
    return false;
}

// Lets a developer attach a debugger to a program at start: the program
// waits, announcing itself every ten seconds, while the waiting flag stays
// set (a debugger clears it).
void debugger_hook(const char *argv0)
{
    char name[512];
    lower_base_name(argv0, name, sizeof name);
    if (g_debug_stop_request) {
        g_debug_stop_request = 0;
        g_debug_waiting = 1;
    } else {
        char procs[1024];
        if (!g_debug_waiting || !environment_read("BXR_DEBUGPROCS", procs, sizeof procs) ||
            !listed(procs, name))
            return;
    }
    while (g_debug_waiting) {
        debug_write("%s (%d) waiting to be debugged\n", name, static_cast<int>(getpid()));
        ox_thread_sleep(10000);
    }
}

void first_initialisation(const char *name, char **argv)
{
    if (name) {
        char *copy = mem_strdup(name);
        if (copy) {
            mem_free(g_appname);
            g_appname = copy;
        }
    }
    app_directory_lookup(name);
    // Event-log source, directory-enumeration providers, message files and
    // token privileges have no counterpart here (see the platform notes).
    // The locale for text conversions; the selector cut from the name is
    // already kept for the message catalogs.
    locale_from_environment();
    if (argv != nullptr)
        ox_find_installdir(argv[0]);
    crypto_search_path_init();
    refresh_zone_data();  // tzset() under the environment lock
    capture_ids();
    g_print_uids = environment_has("BXR_PRINT_UIDS");
    const char *dir = name && std::strcmp(name, "quorl") == 0 ? ox_get_bindir() : ox_get_tmpdir();
    set_debug_control_path(dir ? dir : ".");
    // The event thread that lets an operator change the debug settings.
    ox_debug_event_start();
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

void _oxinit(const char *name, int argc, char **argv)
{
    environment_snapshot_take();
    if (argv != nullptr && argv[0] != nullptr)
        ox_set_progname(argv[0]);
    char *copy = name ? mem_strdup(name) : nullptr;
    if (copy) {
        if (char *dash = std::strchr(copy, '-')) {
            *dash = '\0';
            apply_catalog_selector(dash + 1);
        }
    }
    if (!g_initialised.load(std::memory_order_acquire))
        first_initialisation(copy, argv);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    opterr = 0;
    if (copy == nullptr || strcasecmp(copy, "halvick") != 0)
        utf8_argv(argc, argv, nullptr);
    mem_free(copy);
    g_initialised.store(true, std::memory_order_release);
    if (argv != nullptr && argv[0] != nullptr)
        debugger_hook(argv[0]);
}

const char *oxinit(const char *name)
{
    _oxinit(name, 0, nullptr);
    return ox_product_get_value("Product");
}

const char *get_saved_appname(void) { return g_appname; }

const char *get_saved_catalog(void) { return g_catalog_set ? g_catalog : nullptr; }

void get_saved_uids(uint32_t *ruid, uint32_t *euid)
{
    if (g_ids[0] == kUnset)
        capture_ids();
    if (ruid)
        *ruid = g_ids[0];
    if (euid)
        *euid = g_ids[1];
}

void get_saved_gids(uint32_t *rgid, uint32_t *egid)
{
    if (g_ids[2] == kUnset)
        capture_ids();
    if (rgid)
        *rgid = g_ids[2];
    if (egid)
        *egid = g_ids[3];
}

void re_init_locales(void)
{
    if (g_appname == nullptr)
        return;
    app_directory_lookup(g_appname);
    locale_from_environment();
}

void utf8_argv(int argc, char **argv, char **buffer_out)
{
    if (argv == nullptr)
        return;
    size_t total = 0;
    for (int i = 0; i < argc && argv[i]; ++i)
        total += std::strlen(argv[i]) + 1;
    size_t size = 6 * total + 1;
    size_t link = buffer_out ? 0 : sizeof(void *);
    auto *block = static_cast<char *>(mem_calloc(size + link, 1));
    if (block == nullptr) {
        errno = ENOMEM;
        return;
    }
    if (link) {
        *reinterpret_cast<void **>(block) = g_argv_buffers;
        g_argv_buffers = block;
    }
    char *buffer = block + link;
    char *at = buffer;
    // In a UTF-8 locale, and in the C locale that services and cron jobs
    // run in, an argument that is already UTF-8 is kept byte for byte; only
    // a real non-UTF-8 locale (ISO-8859-1, ...) has text to convert.
    bool passes = text::locale_passes_utf8();
    for (int i = 0; i < argc && argv[i] && at < buffer + size - 1; ++i) {
        size_t written = 0;
        if (passes && text::is_valid_utf8(argv[i])) {
            written = std::strlen(argv[i]);  // fits: the buffer holds 6 bytes for each
            std::memcpy(at, argv[i], written + 1);
        } else {
            ox_mbs_to_utf8s(at, argv[i], static_cast<size_t>(buffer + size - at), &written);
        }
        argv[i] = at;
        at += written + 1;
    }
    if (buffer_out)
        *buffer_out = buffer;
}

}  // extern "C"
