// ox_event: an auto-reset event with a count of waiters, so that a
// broadcast can release the counted waiters one after another.
#include "concurrency/sync_handles.hpp"
#include "concurrency/object_registry.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"

using namespace cairn;

namespace {

int destroy_event(void *obj) { return ox_event_destroy(obj); }
const cairn::ObjectTypeName kTypeName{destroy_event, "event"};

// The handle layouts share their first two fields; the platform object's
// kind tells which one this is.
struct HandlePrefix {
    ox_object_header header;
    SyncObject *handle;
};

void free_handle(void *obj)
{
    SyncObject *platform = static_cast<HandlePrefix *>(obj)->handle;
    bool is_mutex = platform != nullptr && platform->kind == SyncKind::semaphore;
    sync_close(platform);
    if (is_mutex)
        mem_delete(static_cast<ox_mutex *>(obj));
    else
        mem_delete(static_cast<ox_event *>(obj));
}

}  // namespace

extern "C" {

ox_event *ox_event_new(void)
{
    auto *e = mem_new<ox_event>();
    if (e == nullptr)
        return nullptr;
    e->handle = sync_event_create(false, false);
    if (e->handle == nullptr || !register_object(e, destroy_event)) {
        sync_close(e->handle);
        mem_delete(e);
        return nullptr;
    }
    return e;
}

int ox_event_signal(ox_event *e)
{
    if (e == nullptr)
        return null_argument();
    // A signal ends a broadcast chain.  With none under way there is
    // nothing to end, and the lock is skipped: a broadcast that starts
    // meanwhile is then simply ordered after this signal.
    if (e->broadcast.load(std::memory_order_seq_cst) != 0) {
        CriticalSectionLock hold(e->cs);
        e->broadcast.store(0, std::memory_order_seq_cst);
    }
    sync_event_set(e->handle);
    return OX_SUCCESS;
}

int ox_event_broadcast(ox_event *e)
{
    if (e == nullptr)
        return null_argument();
    CriticalSectionLock hold(e->cs);
    if (e->waiters.load(std::memory_order_seq_cst) > 0) {
        e->broadcast.store(1, std::memory_order_seq_cst);
        sync_event_set(e->handle);
    }
    return OX_SUCCESS;
}

int ox_event_timedwait(ox_event *e, uint32_t ms)
{
    if (e == nullptr)
        return null_argument();
    e->waiters.fetch_add(1, std::memory_order_seq_cst);
    WaitStatus status = sync_wait(e->handle, ms);
    if (status != WaitStatus::signalled)
        return wait_result(status);  // stays counted, as a broadcast expects
    CriticalSectionLock hold(e->cs);
    if (e->waiters.fetch_sub(1, std::memory_order_seq_cst) - 1 > 0 &&
        e->broadcast.load(std::memory_order_seq_cst) == 1)
        sync_event_set(e->handle);
    return OX_SUCCESS;
}

int ox_event_wait(ox_event *e) { return ox_event_timedwait(e, kForever); }

int ox_event_destroy(void *handle)
{
    if (handle == nullptr)
        return null_argument();
    int result;
    if (last_reference(handle, result))
        free_handle(handle);
    return result;
}

}  // extern "C"
