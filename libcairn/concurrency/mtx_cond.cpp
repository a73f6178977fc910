// The boolean pair: a recursive ox_mtx over one platform mutex, and an
// ox_cond over an auto-reset event with a count of waiters.  Results are 1
// for success and 0 for failure; the calls report nothing through the last
// error (a failed create leaves the allocator's ENOMEM there).
#include <sys/time.h>

#include "cairn/concurrency.h"
#include "concurrency/internal_lock.hpp"
#include "platform/alloc.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

using namespace cairn;

struct ox_mtx {
    SyncObject *handle = nullptr;  // platform mutex, recursive
};

struct ox_cond {
    SyncObject *handle = nullptr;  // auto-reset event
    int32_t waiters = 0;           // guarded by `inner`
    ox_mtx inner;
};

namespace {

// Milliseconds of a relative timeval, saturating below forever.
uint32_t timeout_ms(const struct timeval *rel)
{
    if (rel == nullptr)
        return kForever;
    uint64_t sec = rel->tv_sec > 0 ? static_cast<uint64_t>(rel->tv_sec) : 0;
    uint64_t usec = rel->tv_usec > 0 ? static_cast<uint64_t>(rel->tv_usec) : 0;
    uint64_t ms = sec * 1000 + usec / 1000;
    return ms >= kForever ? kForever - 1 : static_cast<uint32_t>(ms);
}

// Take a lock whatever interrupts the wait: the caller is promised the
// mutex back, and the inner lock is the library's own.
void relock(ox_mtx *m) { acquire_internal(m->handle); }

// A waiter leaves the count, on return or when its thread is ended inside
// the wait.
void forget_waiter(void *param)
{
    auto *c = static_cast<ox_cond *>(param);
    relock(&c->inner);
    --c->waiters;
    sync_mutex_release(c->inner.handle);
}

}  // namespace

extern "C" {

int ox_mtx_create(ox_mtx **m)
{
    if (m == nullptr)
        return 0;
    *m = nullptr;
    auto *made = mem_new<ox_mtx>();
    if (made == nullptr)
        return 0;
    made->handle = sync_mutex_create();
    if (made->handle == nullptr) {
        mem_delete(made);
        return 0;
    }
    *m = made;
    return 1;
}

int ox_mtx_destroy(ox_mtx *m)
{
    if (m == nullptr)
        return 0;
    sync_close(m->handle);
    mem_delete(m);
    return 1;
}

int ox_mtx_lock(ox_mtx *m)
{
    if (m == nullptr)
        return 0;
    return sync_wait(m->handle, kForever) == WaitStatus::signalled ? 1 : 0;
}

int ox_mtx_trylock(ox_mtx *m)
{
    if (m == nullptr)
        return 0;
    return sync_wait(m->handle, 0) == WaitStatus::signalled ? 1 : 0;
}

int ox_mtx_unlock(ox_mtx *m)
{
    if (m == nullptr)
        return 0;
    sync_mutex_release(m->handle);  // not owned counts as success
    return 1;
}

int ox_cond_create(ox_cond **c)
{
    if (c == nullptr)
        return 0;
    *c = nullptr;
    auto *made = mem_new<ox_cond>();
    if (made == nullptr)
        return 0;
    made->handle = sync_event_create(false, false);
    if (made->handle != nullptr)
        made->inner.handle = sync_mutex_create();
    if (made->inner.handle == nullptr) {
        sync_close(made->handle);
        mem_delete(made);
        return 0;
    }
    *c = made;
    return 1;
}

int ox_cond_destroy(ox_cond *c)
{
    if (c == nullptr)
        return 0;
    sync_close(c->inner.handle);
    sync_close(c->handle);
    mem_delete(c);
    return 1;
}

int ox_cond_signal(ox_cond *c)
{
    if (c == nullptr)
        return 0;
    relock(&c->inner);
    bool anyone = c->waiters > 0;
    sync_mutex_release(c->inner.handle);
    if (anyone)
        sync_event_set(c->handle);
    return 1;
}

int ox_cond_wait(ox_cond *c, ox_mtx *m) { return ox_cond_timedwait(c, m, nullptr); }

int ox_cond_timedwait(ox_cond *c, ox_mtx *m, const struct timeval *rel)
{
    if (c == nullptr || m == nullptr)
        return 0;
    relock(&c->inner);
    ++c->waiters;
    sync_mutex_release(c->inner.handle);
    sync_mutex_release(m->handle);  // only "not owner" can fail, which is fine
    WaitStatus status;
    {
        UnwindOnEnd undo(forget_waiter, c);
        status = sync_wait(c->handle, timeout_ms(rel));
    }
    forget_waiter(c);
    relock(m);
    return status == WaitStatus::signalled ? 1 : 0;
}

}  // extern "C"
