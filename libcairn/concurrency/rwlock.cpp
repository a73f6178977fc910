// ox_rwlock: writers first.  A writer holds the entry lock (a platform
// mutex) while it waits for the readers to leave, so new readers queue
// behind it; readers pass the entry lock only to count themselves in.
#include "concurrency/rwlock_handle.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"

using namespace cairn;

namespace {

int destroy_rwlock(void *obj) { return ox_rwlock_destroy(static_cast<ox_rwlock *>(obj)); }

void free_rwlock(ox_rwlock *rw)
{
    sync_close(rw->entry);
    sync_close(rw->no_readers);
    mem_delete(rw);
}

int read_lock(ox_rwlock *rw, uint32_t ms)
{
    if (rw == nullptr)
        return null_argument();
    WaitStatus status = sync_wait(rw->entry, ms);
    if (status != WaitStatus::signalled)
        return wait_result(status, ms == 0);
    {
        CriticalSectionLock hold(rw->cs);
        ++rw->readers;
        sync_event_reset(rw->no_readers);
    }
    sync_mutex_release(rw->entry);
    return OX_SUCCESS;
}

int write_lock(ox_rwlock *rw, uint32_t ms)
{
    if (rw == nullptr)
        return null_argument();
    WaitStatus status = sync_wait(rw->entry, ms);
    if (status != WaitStatus::signalled)
        return wait_result(status, ms == 0);
    {
        CriticalSectionLock hold(rw->cs);
        if (rw->readers == 0)
            return OX_SUCCESS;
    }
    status = sync_wait(rw->no_readers, ms);
    if (status == WaitStatus::signalled)
        return OX_SUCCESS;
    if (status == WaitStatus::interrupted)
        return interrupted();  // keeps the entry lock: the caller unlocks
    // A time-out changes no last error: the result is whatever it holds.
    sync_mutex_release(rw->entry);
    return ox_error_get_last();
}

}  // namespace

extern "C" {

ox_rwlock *ox_rwlock_new(void)
{
    auto *rw = mem_new<ox_rwlock>();
    if (rw == nullptr)
        return nullptr;
    rw->entry = sync_mutex_create();
    if (rw->entry != nullptr)
        rw->no_readers = sync_event_create(true, false);
    if (rw->no_readers == nullptr || !register_object(rw, destroy_rwlock)) {
        free_rwlock(rw);
        return nullptr;
    }
    return rw;
}

int ox_rwlock_read_lock(ox_rwlock *rw) { return read_lock(rw, kForever); }
int ox_rwlock_read_trylock(ox_rwlock *rw) { return read_lock(rw, 0); }
int ox_rwlock_write_lock(ox_rwlock *rw) { return write_lock(rw, kForever); }
int ox_rwlock_write_trylock(ox_rwlock *rw) { return write_lock(rw, 0); }

int ox_rwlock_unlock(ox_rwlock *rw)
{
    if (rw == nullptr)
        return null_argument();
    if (sync_mutex_release(rw->entry))
        return OX_SUCCESS;  // the caller was the writer
    CriticalSectionLock hold(rw->cs);
    if (rw->readers != 0 && --rw->readers == 0)
        sync_event_set(rw->no_readers);
    return OX_SUCCESS;
}

int ox_rwlock_destroy(ox_rwlock *rw)
{
    if (rw == nullptr)
        return null_argument();
    int result;
    if (last_reference(rw, result))
        free_rwlock(rw);
    return result;
}

}  // extern "C"
