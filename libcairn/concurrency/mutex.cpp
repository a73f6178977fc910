// ox_mutex: a non-recursive mutex over a platform semaphore of one unit,
// which records its owner to report self-deadlock and foreign unlocks.
#include "concurrency/sync_handles.hpp"
#include "concurrency/object_registry.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"

using namespace cairn;

namespace {

int destroy_mutex_or_event(void *obj) { return ox_event_destroy(obj); }
const cairn::ObjectTypeName kTypeName{destroy_mutex_or_event, "mutex"};

}  // namespace

extern "C" {

ox_mutex *ox_mutex_new(void)
{
    auto *m = mem_new<ox_mutex>();
    if (m == nullptr)
        return nullptr;
    m->handle = sync_semaphore_create(1, 1);
    if (m->handle == nullptr || !register_object(m, destroy_mutex_or_event)) {
        sync_close(m->handle);
        mem_delete(m);
        return nullptr;
    }
    return m;
}

int ox_mutex_lock(ox_mutex *m)
{
    if (m == nullptr || m->handle == nullptr)
        return null_argument();
    uint64_t self = sync_caller_id();
    if (m->owner.load(std::memory_order_relaxed) == self)
        return self_deadlock();
    int rc = wait_result(sync_wait(m->handle, kForever));
    if (rc == OX_SUCCESS)
        m->owner.store(self, std::memory_order_relaxed);
    return rc;
}

int ox_mutex_trylock(ox_mutex *m)
{
    if (m == nullptr || m->handle == nullptr)
        return null_argument();
    int rc = wait_result(sync_wait(m->handle, 0), true);
    if (rc == OX_SUCCESS)
        m->owner.store(sync_caller_id(), std::memory_order_relaxed);
    return rc;
}

int ox_mutex_unlock(ox_mutex *m)
{
    if (m == nullptr || m->handle == nullptr)
        return null_argument();
    if (m->owner.load(std::memory_order_relaxed) != sync_caller_id())
        return not_owner();
    m->owner.store(0, std::memory_order_relaxed);
    sync_semaphore_release(m->handle, 1);
    return OX_SUCCESS;
}

}  // extern "C"
