// The debug event: its registered handler, the event thread that waits for
// it, and firing it for another process.  The event's name is the decimal
// process id followed by "DEBUGEVENT".
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/debug_requests.hpp"
#include "frame/exit_cleanup.hpp"
#include "platform/fork_guard.hpp"
#include "platform/named_event.hpp"

namespace cairn {
namespace {

constexpr std::size_t kEventNameSize = 64;

std::atomic<ox_event_handler> g_handler{ondbgintr};

pthread_mutex_t g_start_lock = PTHREAD_MUTEX_INITIALIZER;
bool g_started = false;  // under g_start_lock
bool g_fork_hook = false;
bool g_failure_told = false;  // under g_start_lock

void event_name(int pid, char *buf, std::size_t size)
{
    std::snprintf(buf, size, "%d%s", pid, "DEBUGEVENT");
}

void on_debug_event() { g_handler.load(std::memory_order_acquire)(OX_DEBUG_EVENT); }

// A child of fork has no event thread: it starts its own, under its own
// process id, when asked.
void after_fork_in_child()
{
    pthread_mutex_init(&g_start_lock, nullptr);
    g_started = false;
    g_failure_told = false;
    named_event_forget_after_fork();
}

// At tear-down the event thread ends and its socket closes; a later start
// watches again.
void stop_watch()
{
    pthread_mutex_lock(&g_start_lock);
    if (g_started && named_event_stop())
        g_started = false;
    pthread_mutex_unlock(&g_start_lock);
}

int start_watch()
{
    pthread_mutex_lock(&g_start_lock);
    int rc = 0;
    if (!g_started) {
        if (!g_fork_hook) {
            g_fork_hook = pthread_atfork(nullptr, nullptr, after_fork_in_child) == 0;
            fork_protect(ForkRank::debug_event, [] { return &g_start_lock; });
        }
        char name[kEventNameSize];
        event_name(static_cast<int>(getpid()), name, sizeof name);
        named_event_set_request_handler(answer_debug_request);
        rc = named_event_watch(name, on_debug_event);
        g_started = rc == 0;
        if (g_started)
            register_exit_cleanup(stop_watch);
        // Another process may hold the name (it can be bound first by
        // anyone who guesses the process id): the operator must know that
        // this process cannot be reached, but once is enough.
        if (rc != 0 && !g_failure_told) {
            g_failure_told = true;
            debug_write("cannot watch the debug event %s: %s\n", name, std::strerror(rc));
        }
    }
    pthread_mutex_unlock(&g_start_lock);
    return rc;
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

int ox_debug_event_start(void)
{
    int rc = start_watch();
    return rc == 0 ? 0 : ox_error_set_last(static_cast<uint32_t>(rc), OX_ERRKIND_ERRNO);
}

ox_event_handler regevent(int event, ox_event_handler handler)
{
    if (event != OX_DEBUG_EVENT) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    if (ox_debug_event_start() != 0)
        return nullptr;
    if (handler == OX_EVENT_HANDLER_KEEP)
        return g_handler.load(std::memory_order_acquire);
    if (handler == nullptr)
        handler = ondbgintr;
    return g_handler.exchange(handler, std::memory_order_acq_rel);
}

int ox_debug_event_signal(int pid)
{
    if (pid <= 0)
        return ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    char name[kEventNameSize];
    event_name(pid, name, sizeof name);
    int rc = named_event_fire(name);
    return rc == 0 ? 0 : ox_error_set_last(static_cast<uint32_t>(rc), OX_ERRKIND_ERRNO);
}

int ox_debug_request(int pid, const char *request, char *answer, size_t size, uint32_t timeout_ms,
                     ox_debug_progress_fn progress, void *arg)
{
    if (pid <= 0 || request == nullptr || answer == nullptr || size == 0)
        return ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    answer[0] = '\0';
    char name[kEventNameSize];
    event_name(pid, name, sizeof name);
    int rc = named_event_request(name, pid, request, answer, size, timeout_ms, progress, arg);
    return rc == 0 ? 0 : ox_error_set_last(static_cast<uint32_t>(rc), OX_ERRKIND_ERRNO);
}

}  // extern "C"
