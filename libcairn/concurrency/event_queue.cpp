// ox_eventqueue: an unbounded queue of items on a list, with a semaphore
// counting queued items plus pending wake-ups.  ox_eventqueue_signal()
// posts once for every waiter not yet interrupted and counts each post as a
// pending interrupt; a woken waiter that finds one takes it and returns 30
// instead of an item.
#include "concurrency/queue_support.hpp"
#include "concurrency/object_registry.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"

using namespace cairn;

struct ox_eventqueue {
    ox_object_header header;
    ox_semaphore *sem;
    // A short spinning lock for a few fields: an ox_mutex hands itself to
    // a parked waiter on release, which makes a busy producer and consumer
    // convoy on every item.
    CriticalSection *guard;
    ox_list *items;  // unlocked itself: the queue's guard covers it
    int32_t waiters;
    int32_t interrupts;
};

namespace {

int destroy_object(void *obj) { return ox_eventqueue_destroy(static_cast<ox_eventqueue *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_object, "event queue"};

void free_parts(ox_eventqueue *q)
{
    if (q->items)
        ox_list_destroy(q->items);  // frees the items left
    if (q->sem)
        ox_semaphore_destroy(q->sem);
    mem_delete(q->guard);
    mem_free(q);
}

// A waiter whose thread is cancelled in its wait is no longer counted.
void forget_waiter(void *arg)
{
    auto *q = static_cast<ox_eventqueue *>(arg);
    CriticalSectionLock hold(*q->guard);
    --q->waiters;
}

// Block for an item or a wake-up, counted as a waiter meanwhile.
int wait_counted(ox_eventqueue *q, uint32_t ms)
{
    {
        CriticalSectionLock hold(*q->guard);
        ++q->waiters;
    }
    bool guarded = ox_thread_cleanup_push(forget_waiter, q) == OX_SUCCESS;
    int rc = ox_semaphore_timedwait(q->sem, ms);
    if (guarded)
        ox_thread_cleanup_pop(0);
    CriticalSectionLock hold(*q->guard);
    --q->waiters;
    return rc;
}

// Take a unit of the semaphore (an item or a wake-up), then an item or a
// pending interrupt.  A unit that is there at once is taken without
// counting the caller as a waiter: only callers that block are woken by a
// signal.  A wait that fails (time-out, interruption by the thread's own
// queued calls, would-block) returns its result.
int take(ox_eventqueue *q, void **item, uint32_t ms)
{
    if (q == nullptr || item == nullptr)
        return null_argument();
    *item = nullptr;
    int rc = ox_semaphore_trywait(q->sem);
    if (rc == OX_EAGAIN && ms != 0)
        rc = wait_counted(q, ms);
    if (rc != OX_SUCCESS)
        return rc == OX_EAGAIN ? report_errno(ENOENT) : rc;
    CriticalSectionLock hold(*q->guard);
    if (q->interrupts > 0) {
        --q->interrupts;
        return report_errno(EINTR);
    }
    return ox_list_pop(q->items, item);
}

}  // namespace

extern "C" {

ox_eventqueue *ox_eventqueue_new(ox_item_free free_fn)
{
    auto *q = static_cast<ox_eventqueue *>(mem_calloc(1, sizeof(ox_eventqueue)));
    if (q == nullptr)
        return nullptr;
    if ((q->sem = ox_semaphore_new(0)) != nullptr &&
        (q->guard = mem_new<CriticalSection>(4000)) != nullptr &&
        (q->items = ox_list_new(free_fn, nullptr, compare_address, nullptr, 0)) != nullptr &&
        ox_object_set_attribute(q->items, OX_CONTAINER_NOLOCK) == OX_SUCCESS &&
        register_object(q, destroy_object))
        return q;
    free_parts(q);
    return nullptr;
}

int ox_eventqueue_push(ox_eventqueue *q, void *item)
{
    if (q == nullptr || item == nullptr)
        return null_argument();
    CriticalSectionLock hold(*q->guard);
    int rc = ox_list_append(q->items, item, item);
    if (rc != OX_SUCCESS)
        return rc;
    rc = ox_semaphore_post(q->sem);
    if (rc != OX_SUCCESS) {
        // Taking the item back must not hide why the post failed.
        int kind = 0;
        uint32_t native = ox_error_get_last_native(&kind);
        ox_list_remove_node(q->items, item, nullptr);
        ox_error_set_last(native, kind);
    }
    return rc;
}

int ox_eventqueue_pop(ox_eventqueue *q, void **item) { return take(q, item, OX_WAIT_FOREVER); }
int ox_eventqueue_timedpop(ox_eventqueue *q, uint32_t ms, void **item) { return take(q, item, ms); }
int ox_eventqueue_trypop(ox_eventqueue *q, void **item) { return take(q, item, 0); }

int ox_eventqueue_signal(ox_eventqueue *q)
{
    if (q == nullptr) {
        report_errno(EINVAL);
        return OX_EINVAL;
    }
    CriticalSectionLock hold(*q->guard);
    while (q->waiters - q->interrupts > 0) {
        int rc = ox_semaphore_post(q->sem);
        if (rc != OX_SUCCESS)
            return rc;
        ++q->interrupts;
    }
    return OX_SUCCESS;
}

int ox_eventqueue_size(ox_eventqueue *q)
{
    if (q == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    CriticalSectionLock hold(*q->guard);
    return ox_list_size(q->items);
}

int ox_eventqueue_destroy(ox_eventqueue *q)
{
    if (q == nullptr)
        return null_argument();
    int result;
    if (!last_reference(q, result))
        return result;
    free_parts(q);
    return OX_SUCCESS;
}

}  // extern "C"
