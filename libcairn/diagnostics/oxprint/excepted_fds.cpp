#include "diagnostics/oxprint/excepted_fds.hpp"

#include <csignal>

#include "cairn/concurrency.h"
#include "cairn/diagnostics.h"
#include "diagnostics/debug_line.hpp"
#include "frame/exit_cleanup.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"

extern "C" {
CAIRN_API int32_t Mast_flag = 0;
CAIRN_API int32_t In_fork = 0;
}

namespace cairn::oxprint {
namespace {

struct List {
    int fds[kMaxExcepted];
    int count;
};

List g_list{};
CriticalSection *g_lock = nullptr;
ox_once_t g_lock_once = OX_ONCE_INIT;

void create_lock()
{
    g_lock = mem_new<CriticalSection>(100);
    if (g_lock == nullptr) {
        // Without its lock the list cannot be used safely: a fatal set-up
        // failure of the library.
        std::raise(SIGTERM);
        return;
    }
    register_exit_cleanup(excepted_list_cleanup);
    fork_protect(ForkRank::output_fds, [] { return g_lock; });
}

CriticalSection &lock()
{
    ox_once(&g_lock_once, create_lock);
    if (g_lock == nullptr) {
        // Only when the program survived the fatal signal: go on with a lock
        // that needs no allocation rather than without one.
        static CriticalSection fallback(100);
        return fallback;
    }
    return *g_lock;
}

int index_of(int fd)
{
    for (int i = 0; i < g_list.count; ++i)
        if (g_list.fds[i] == fd)
            return i;
    return -1;
}

void remove_at(int i)
{
    for (; i + 1 < g_list.count; ++i)
        g_list.fds[i] = g_list.fds[i + 1];
    --g_list.count;
}

}  // namespace

void excepted_add(int fd)
{
    bool full = false;
    {
        CriticalSectionLock hold(lock());
        if (index_of(fd) >= 0)
            return;
        if (g_list.count < kMaxExcepted)
            g_list.fds[g_list.count++] = fd;
        else
            full = true;
    }
    if (full)
        CAIRN_DEBUG(1, 1, "An unexpected error occured in file: %s, line: %d, message = \"%s\"\n",
                    "oxprint", 152, "Failed to add new Excepted File Descriptor.");
}

void excepted_remove(int fd)
{
    CriticalSectionLock hold(lock());
    excepted_remove_unlocked(fd);
}

void excepted_remove_unlocked(int fd)
{
    int i = index_of(fd);
    if (i >= 0)
        remove_at(i);
}

bool excepted_contains(int fd)
{
    CriticalSectionLock hold(lock());
    return index_of(fd) >= 0;
}

bool is_utf8_descriptor(int fd)
{
    bool listed = fd >= 0 && excepted_contains(fd);
    return __atomic_load_n(&Mast_flag, __ATOMIC_RELAXED) == 0 ? listed : !listed;
}

void excepted_list_cleanup()
{
    mem_delete(g_lock);
    g_lock = nullptr;
    ox_once_reset(&g_lock_once);
}

}  // namespace cairn::oxprint
