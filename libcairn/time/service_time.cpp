// The service time: one frozen "now" shared by all steps of an operation.
// Its lock is made on first use under a once-guard and destroyed at exit.
#include <new>

#include "cairn/concurrency.h"
#include "cairn/time.h"
#include "frame/exit_cleanup.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"
#include "time/time_internal.hpp"

namespace {

// The lock lives in static storage so that making it cannot fail; the
// once-guard decides when it is constructed.
alignas(cairn::CriticalSection) unsigned char g_lock_storage[sizeof(cairn::CriticalSection)];
cairn::CriticalSection *g_lock;
ox_once_t g_lock_once = OX_ONCE_INIT;
ox_time64_t g_service_time;  // 0 while unset; guarded by g_lock

}  // namespace

void cairn::service_time_exit_cleanup()
{
    if (g_lock != nullptr) {
        g_lock->~CriticalSection();
        g_lock = nullptr;
    }
    g_service_time = 0;
    ox_once_reset(&g_lock_once);
}

namespace {

void create_service_lock()
{
    g_lock = new (g_lock_storage) cairn::CriticalSection(100);
    cairn::fork_protect(cairn::ForkRank::service_time, [] { return g_lock; });
    cairn::register_exit_cleanup(cairn::service_time_exit_cleanup);
}

cairn::CriticalSection &service_lock()
{
    ox_once(&g_lock_once, create_service_lock);
    return *g_lock;
}

}  // namespace

extern "C" {

ox_time64_t svc_time(void)
{
    cairn::CriticalSectionLock hold(service_lock());
    if (g_service_time == 0)
        g_service_time = cairn::clock_time_now();
    return g_service_time;
}

void svc_time_reset(void)
{
    cairn::CriticalSectionLock hold(service_lock());
    g_service_time = 0;
}

}  // extern "C"
