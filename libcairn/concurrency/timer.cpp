// Timers deliver their callbacks as due work of the thread that armed them:
// the wait core ends that thread's alertable waits when a timer falls due
// and calls the runner below, which calls each due callback once.
#include <atomic>
#include <cerrno>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/object_registry.hpp"
#include "frame/error_results.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"
#include "platform/futex.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

namespace {

enum State : int32_t { kIdle = 0, kRunning = 1, kStopped = 3 };

}  // namespace

struct ox_timer {
    ox_object_header header;
    uint32_t interval_ms;
    int32_t state;  // under `lock`
    uint32_t value;
    cairn::CriticalSection *lock;
    ox_timer_fn fn;
    void *arg;
    ox_timer_fn release;
    // Arming, under the process-wide timers lock: the thread the timer
    // delivers to, its place in that thread's list, and its next due time.
    cairn::ThreadRecord *target;
    ox_timer *next;
    ox_timer *prev;
    uint64_t due_ns;
};

using namespace cairn;

namespace {

// Guards every thread's timer list and every timer's arming fields.  Taken
// after a timer's own lock, never the other way round.
CriticalSection g_timers_lock(100);
std::atomic<bool> g_timers_lock_protected{false};

// Entered for fork on first use without a guarded static: a forked child
// must never wait on a static initialisation another thread was running.
CriticalSection &timers_lock()
{
    if (!g_timers_lock_protected.load(std::memory_order_acquire)) {
        fork_protect(ForkRank::timers, [] { return &g_timers_lock; });
        g_timers_lock_protected.store(true, std::memory_order_release);
    }
    return g_timers_lock;
}

ox_timer *&list_of(ThreadRecord &rec) { return reinterpret_cast<ox_timer *&>(rec.due_work); }

void unlink_locked(ox_timer *t)
{
    if (t->target == nullptr)
        return;
    (t->prev ? t->prev->next : list_of(*t->target)) = t->next;
    if (t->next)
        t->next->prev = t->prev;
    t->next = t->prev = nullptr;
    t->target->timers_armed.fetch_sub(1, std::memory_order_relaxed);
    t->target = nullptr;
}

void disarm(ox_timer *t)
{
    CriticalSectionLock hold(timers_lock());
    unlink_locked(t);
}

// Arm for the calling thread with an immediate first expiry.
int arm(ox_timer *t)
{
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)
        return ox_error_get_last();
    uint64_t now = monotonic_ns();
    {
        CriticalSectionLock hold(timers_lock());
        unlink_locked(t);
        t->target = rec;
        t->due_ns = now;
        t->next = list_of(*rec);
        t->prev = nullptr;
        if (t->next)
            t->next->prev = t;
        list_of(*rec) = t;
        rec->timers_armed.fetch_add(1, std::memory_order_relaxed);
    }
    note_due(*rec, now);
    return OX_SUCCESS;
}

// The next expiry after `now`: the following interval boundary, so that a
// thread that was busy gets one call, not one per missed interval.
void advance(ox_timer *t, uint64_t now)
{
    if (t->interval_ms == 0) {
        unlink_locked(t);  // fires once
        return;
    }
    uint64_t period = uint64_t{t->interval_ms} * 1000000u;
    uint64_t missed = (now - t->due_ns) / period + 1;
    t->due_ns += missed * period;
}

constexpr int kBatch = 16;

// Due-work runner: runs on the target thread inside one of its waits.
bool run_due_timers(ThreadRecord &rec, uint64_t now)
{
    ox_timer *due[kBatch];
    int n = 0;
    uint64_t next_due = kNoDeadline;
    {
        CriticalSectionLock hold(timers_lock());
        for (ox_timer *t = list_of(rec), *next; t; t = next) {
            next = t->next;
            if (t->due_ns <= now && n < kBatch && ox_object_reference(t) == OX_SUCCESS) {
                due[n++] = t;
                advance(t, now);
            }
            if (t->target == &rec && t->due_ns < next_due)
                next_due = t->due_ns;
        }
        rec.next_due_ns.store(next_due, std::memory_order_relaxed);
    }
    // Callbacks run without the lock: they may stop, reset or destroy
    // timers, their own included.  The reference keeps each timer alive.
    for (int i = 0; i < n; ++i) {
        due[i]->fn(due[i]->arg);
        ox_timer_destroy(due[i]);
    }
    return n > 0;
}

// A thread that ends takes no more deliveries: its timers are detached
// (they stay running, with nowhere to deliver, until reset or stopped).
void release_thread_timers(ThreadRecord &rec)
{
    CriticalSectionLock hold(timers_lock());
    while (ox_timer *t = list_of(rec))
        unlink_locked(t);
}

ox_once_t g_runner_once;
void install_runner()
{
    set_due_work_runner(run_due_timers);
    set_due_work_release_hook(release_thread_timers);
}

int destroy_timer(void *obj) { return ox_timer_destroy(static_cast<ox_timer *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_timer, "timer"};

}  // namespace

extern "C" {

ox_timer *ox_timer_new(uint32_t interval_ms, uint32_t value, ox_timer_fn fn, void *arg,
                       ox_timer_fn release)
{
    if (fn == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    ox_once(&g_runner_once, install_runner);
    auto *t = static_cast<ox_timer *>(mem_calloc(1, sizeof(ox_timer)));
    if (t == nullptr)
        return nullptr;
    t->lock = mem_new<CriticalSection>(100);
    int index = t->lock ? _ox_object_reference(t, destroy_timer) : -1;
    if (index < 0) {
        mem_delete(t->lock);
        mem_free(t);
        return nullptr;
    }
    t->header.index = index;
    t->header.flags |= OX_OBJECT_VALID;
    t->interval_ms = interval_ms;
    t->value = value;
    t->fn = fn;
    t->arg = arg;
    t->release = release;
    return t;
}

int ox_timer_start(ox_timer *t)
{
    if (t == nullptr)
        return null_argument();
    CriticalSectionLock hold(*t->lock);
    if (t->state == kRunning)
        return report_errno(EBUSY);
    int rc = arm(t);
    t->state = rc == OX_SUCCESS ? kRunning : kIdle;
    return rc;
}

int ox_timer_stop(ox_timer *t)
{
    if (t == nullptr)
        return null_argument();
    CriticalSectionLock hold(*t->lock);
    if (t->state != kIdle) {
        disarm(t);
        t->state = kStopped;
    }
    return OX_SUCCESS;
}

int ox_timer_reset(ox_timer *t, uint32_t interval_ms, uint32_t value)
{
    if (t == nullptr)
        return null_argument();
    CriticalSectionLock hold(*t->lock);
    t->value = value;
    {
        CriticalSectionLock arming(timers_lock());
        t->interval_ms = interval_ms;
    }
    if (t->state == kRunning) {
        disarm(t);
        t->state = kIdle;
    }
    int rc = arm(t);
    t->state = rc == OX_SUCCESS ? kRunning : kIdle;
    return rc;
}

uint32_t ox_timer_get_value(ox_timer *t)
{
    if (t == nullptr) {
        null_argument();
        return 0;
    }
    CriticalSectionLock hold(*t->lock);
    return t->value;
}

int ox_timer_destroy(ox_timer *t)
{
    if (t == nullptr)
        return null_argument();
    int left = _ox_object_unreference(t);
    if (left < 0)
        return OX_ENOENT;
    if (left > 0)
        return OX_SUCCESS;
    disarm(t);
    if (t->release)
        t->release(t->arg);
    t->header.flags = 0;
    mem_delete(t->lock);
    mem_free(t);
    return OX_SUCCESS;
}

}  // extern "C"
