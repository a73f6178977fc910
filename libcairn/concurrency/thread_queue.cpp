// ox_threadqueue: a pool of workers that grows on demand up to its maximum
// and shrinks to its minimum after 60 s without work, running a work
// function on every pushed item.  Items wait on a list; a semaphore carries
// the wake-ups.  The queue's memory is held by its owner and by every
// worker still running, and the last of them frees it, so that destroy need
// not wait for a worker stuck in its work function.
#include <atomic>

#include "concurrency/queue_support.hpp"
#include "concurrency/object_registry.hpp"
#include "concurrency/thread_queue_testing.hpp"
#include "concurrency/wait_results.hpp"
#include "diagnostics/debug_line.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"

using namespace cairn;

namespace {

constexpr int kSlots = 255;
std::atomic<uint32_t> g_idle_ms{60000};

struct WorkerSlot {
    ox_threadqueue *q;
    ox_thread *thread;  // NULL while the slot is free
    bool busy;          // in the work function; under the guard
    bool retired;       // left the count when it chose to retire; under the guard
};

// The queue whose worker the calling thread is, if any.
thread_local ox_threadqueue *t_worker_of = nullptr;

}  // namespace

struct ox_threadqueue {
    ox_object_header header;
    int wait_flag;
    int shutdown;     // under the guard
    int32_t threads;  // under the guard
    ox_atomic *idle;  // read without the guard
    uint8_t min, max, reaping;
    WorkerSlot slots[kSlots];
    ox_work_fn work;
    ox_item_free free_fn;
    // A short spinning lock for the counts, slots and list: an ox_mutex
    // hands itself to a parked waiter on release, which makes pushers and
    // workers convoy on every item.
    CriticalSection *guard;
    ox_semaphore *sem;
    ox_list *items;  // unlocked itself: under the guard
    std::atomic<int32_t> holders;
};

namespace {

int destroy_object(void *obj) { return ox_threadqueue_destroy(static_cast<ox_threadqueue *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_object, "thread queue"};

void free_parts(ox_threadqueue *q)
{
    if (q->items)
        ox_list_destroy(q->items);  // frees the items left
    if (q->sem)
        ox_semaphore_destroy(q->sem);
    mem_delete(q->guard);
    if (q->idle)
        ox_atomic_destroy(q->idle);
    mem_free(q);
}

void release_hold(ox_threadqueue *q)
{
    if (q->holders.fetch_sub(1, std::memory_order_acq_rel) == 1)
        free_parts(q);
}

// The one way out of a worker, whether it retires, stops or is cancelled.
void worker_leave(void *arg)
{
    auto *slot = static_cast<WorkerSlot *>(arg);
    ox_threadqueue *q = slot->q;
    {
        CriticalSectionLock hold(*q->guard);
        slot->busy = false;
        if (!slot->retired)
            --q->threads;
        slot->retired = false;
        ++q->reaping;
    }
    t_worker_of = nullptr;
    release_hold(q);
}

// After a wait that timed out: a worker above the minimum with nothing
// queued retires; every worker leaves on shutdown.  A retiring worker
// leaves the count at once, under the same guard as the test, so that
// workers timing out together never take the pool below its minimum.
bool should_retire(ox_threadqueue *q, WorkerSlot *slot)
{
    CriticalSectionLock hold(*q->guard);
    if (q->shutdown)
        return true;
    if (q->threads <= q->min || ox_list_size(q->items) != 0)
        return false;
    --q->threads;
    slot->retired = true;
    return true;
}

// Take the first item under the guard, unless the queue is shutting down.
bool take_item(ox_threadqueue *q, WorkerSlot *slot, void **item)
{
    CriticalSectionLock hold(*q->guard);
    if (q->shutdown)
        return false;
    if (ox_list_pop(q->items, item) != OX_SUCCESS)
        *item = nullptr;
    slot->busy = *item != nullptr;
    return true;
}

// After one item: pass the turn on while items remain; false on shutdown.
bool item_done(ox_threadqueue *q, WorkerSlot *slot)
{
    CriticalSectionLock hold(*q->guard);
    slot->busy = false;
    if (ox_list_size(q->items) > 0)
        ox_semaphore_post(q->sem);
    return !q->shutdown;
}

void worker_loop(ox_threadqueue *q, WorkerSlot *slot)
{
    for (;;) {
        ox_atomic_increment(q->idle);
        int rc = ox_semaphore_timedwait(q->sem, g_idle_ms.load(std::memory_order_relaxed));
        ox_atomic_decrement(q->idle);
        if (rc == OX_ETIMEDOUT) {
            if (should_retire(q, slot))
                return;
            continue;
        }
        if (rc == OX_EINTR)
            continue;  // the thread's due work (its timers) ran; keep serving
        if (rc != OX_SUCCESS) {
            char text[256];
            ox_error_get_message(text, sizeof text);
            CAIRN_DEBUG(1, 1, "Encountered an error while waiting on thread queue semaphore: %s\n",
                        text);
            return;
        }
        void *item = nullptr;
        if (!take_item(q, slot, &item))
            return;
        if (item != nullptr) {
            q->work(item);
            if (q->free_fn)
                q->free_fn(item);
        }
        if (!item_done(q, slot))
            return;
    }
}

uint32_t worker_main(void *arg)
{
    auto *slot = static_cast<WorkerSlot *>(arg);
    t_worker_of = slot->q;
    // Registered as a clean-up entry so that a cancelled worker leaves
    // through the same path as one that returns.
    bool pushed = ox_thread_cleanup_push(worker_leave, slot) == OX_SUCCESS;
    worker_loop(slot->q, slot);
    if (pushed)
        ox_thread_cleanup_pop(1);
    else
        worker_leave(slot);
    return 0;
}

// Start a worker in `slot` (guard held, or the queue not yet shared).
bool start_worker(ox_threadqueue *q, WorkerSlot *slot)
{
    slot->thread = ox_thread_new(worker_main, slot);
    if (slot->thread == nullptr)
        return false;
    q->holders.fetch_add(1, std::memory_order_relaxed);
    ++q->threads;
    if (ox_thread_start(slot->thread) == OX_SUCCESS)
        return true;
    --q->threads;
    q->holders.fetch_sub(1, std::memory_order_relaxed);
    ox_thread_destroy(slot->thread);
    slot->thread = nullptr;
    return false;
}

// Join and free the workers that have left (guard held).  A worker counts
// itself for reaping just before it ends, so the scan repeats until each
// counted one has really ended.
void reap(ox_threadqueue *q)
{
    while (q->reaping > 0) {
        for (WorkerSlot &slot : q->slots) {
            if (slot.thread == nullptr || ox_thread_tryjoin(slot.thread, nullptr) != OX_SUCCESS)
                continue;
            ox_thread_destroy(slot.thread);
            slot.thread = nullptr;
            if (--q->reaping == 0)
                break;
        }
        if (q->reaping > 0)
            ox_thread_yield();
    }
}

// Grow while below the maximum when work piles up or nobody is idle
// (guard held).
void grow(ox_threadqueue *q)
{
    if (q->threads >= q->max)
        return;
    int pending = ox_list_size(q->items);
    if (pending <= 1 && ox_atomic_get(q->idle) != 0)
        return;
    for (int i = 0; i < q->max; ++i)
        if (q->slots[i].thread == nullptr) {
            start_worker(q, &q->slots[i]);
            return;
        }
}

// An item left in the list at destroy (a worker detached at work may
// still look at the list).
bool take_left(ox_threadqueue *q, void **item)
{
    CriticalSectionLock hold(*q->guard);
    return ox_list_pop(q->items, item) == OX_SUCCESS;
}

// The thread count, minimum or maximum, read under the guard as 8 bits.
int read_size(ox_threadqueue *q, uint8_t ox_threadqueue::*field)
{
    if (q == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    CriticalSectionLock hold(*q->guard);
    return field ? q->*field : static_cast<uint8_t>(q->threads);
}

}  // namespace

namespace cairn::testing {
void threadqueue_idle_ms(uint32_t ms) { g_idle_ms.store(ms, std::memory_order_relaxed); }
}  // namespace cairn::testing

extern "C" {

ox_threadqueue *ox_threadqueue_new(ox_work_fn work_fn, ox_item_free free_fn, uint8_t min,
                                   uint8_t max, int wait_flag)
{
    if (work_fn == nullptr || min > max || max == 0) {
        report_errno(EINVAL);
        return nullptr;
    }
    auto *q = static_cast<ox_threadqueue *>(mem_calloc(1, sizeof(ox_threadqueue)));
    if (q == nullptr)
        return nullptr;
    for (WorkerSlot &slot : q->slots)
        slot.q = q;
    q->work = work_fn;
    q->free_fn = free_fn;
    q->min = min;
    q->max = max;
    q->wait_flag = wait_flag;
    q->holders.store(1, std::memory_order_relaxed);
    if ((q->guard = mem_new<CriticalSection>(4000)) == nullptr ||
        (q->items = ox_list_new(free_fn, nullptr, compare_address, nullptr, 0)) == nullptr ||
        ox_object_set_attribute(q->items, OX_CONTAINER_NOLOCK) != OX_SUCCESS ||
        (q->sem = ox_semaphore_new(0)) == nullptr || (q->idle = ox_atomic_new(0)) == nullptr ||
        !register_object(q, destroy_object)) {
        free_parts(q);
        return nullptr;
    }
    CriticalSectionLock hold(*q->guard);
    for (int i = 0; i < min; ++i)
        start_worker(q, &q->slots[i]);  // a worker that fails to start is left out
    return q;
}

int ox_threadqueue_push(ox_threadqueue *q, void *item)
{
    if (q == nullptr || item == nullptr)
        return null_argument();
    {
        CriticalSectionLock hold(*q->guard);
        int rc = ox_list_append(q->items, item, item);
        if (rc != OX_SUCCESS)
            return rc;
        reap(q);
        grow(q);
    }
    int rc = ox_semaphore_post(q->sem);
    if (rc == OX_SUCCESS || rc == 74)
        return OX_SUCCESS;
    int kind = 0;
    uint32_t native = ox_error_get_last_native(&kind);
    {
        CriticalSectionLock hold(*q->guard);
        ox_list_remove_node(q->items, item, nullptr);
    }
    ox_error_set_last(native, kind);
    return rc;
}

int ox_threadqueue_pending(ox_threadqueue *q)
{
    if (q == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    CriticalSectionLock hold(*q->guard);
    return ox_list_size(q->items);
}

int ox_threadqueue_size(ox_threadqueue *q) { return read_size(q, nullptr); }
int ox_threadqueue_min_size(ox_threadqueue *q) { return read_size(q, &ox_threadqueue::min); }
int ox_threadqueue_max_size(ox_threadqueue *q) { return read_size(q, &ox_threadqueue::max); }

int ox_threadqueue_set_sizes(ox_threadqueue *q, uint8_t min, uint8_t max)
{
    if (q == nullptr)
        return null_argument();
    if (min > max) {
        report_errno(EINVAL);
        return OX_EINVAL;
    }
    CriticalSectionLock hold(*q->guard);
    q->min = min;
    q->max = max;
    return OX_SUCCESS;
}

int ox_threadqueue_destroy(ox_threadqueue *q)
{
    if (q == nullptr)
        return null_argument();
    // A worker joining itself and its peers would never return.
    if (t_worker_of == q)
        return report_errno(EDEADLK);
    int result;
    if (!last_reference(q, result))
        return result;
    while (q->wait_flag && ox_threadqueue_pending(q) > 0)
        ox_thread_sleep(1000);
    // Workers in the work function are waited for only with the wait flag;
    // the others leave at once, taking no new item once shutdown is set.
    bool join[kSlots] = {};
    {
        CriticalSectionLock hold(*q->guard);
        q->shutdown = 1;
        for (int i = 0; i < kSlots; ++i)
            join[i] = q->slots[i].thread != nullptr && (q->wait_flag || !q->slots[i].busy);
    }
    for (int i = 0; i < kSlots; ++i)
        ox_semaphore_post(q->sem);
    for (int i = 0; i < kSlots; ++i) {
        ox_thread *t = q->slots[i].thread;
        if (t == nullptr)
            continue;
        while (join[i] && ox_thread_join(t, nullptr) == OX_EINTR) {
        }
        ox_thread_destroy(t);  // detaches a worker still at work
    }
    // No worker takes an item after shutdown: free those left now rather
    // than when a stuck worker lets go of the queue.
    for (void *item; take_left(q, &item);)
        if (q->free_fn)
            q->free_fn(item);
    release_hold(q);
    return OX_SUCCESS;
}

}  // extern "C"
