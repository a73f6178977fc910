// ox_circularqueue: a bounded ring of nodes, all made at creation, so that
// pushing and popping never allocate.  The guard lock covers the positions and
// the count; two auto-reset events carry the not-full and not-empty
// wake-ups.  Blocking calls wait in 2000 ms slices, so a missed wake-up
// costs at most one slice.
#include <atomic>

#include "concurrency/wait_results.hpp"
#include "concurrency/object_registry.hpp"
#include "diagnostics/debug_line.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"

using namespace cairn;

namespace {

constexpr uint32_t kSliceMs = 2000;

struct RingNode {
    RingNode *next;
    // NULL marks an empty node.  Pushers read it without the guard to test
    // for a full ring, hence atomic.
    std::atomic<void *> item;
};

}  // namespace

struct ox_circularqueue {
    ox_object_header header;
    RingNode *read;
    std::atomic<RingNode *> write;  // read unlocked by the full test
    RingNode *first;                // the ring as built, for destroy
    RingNode *last;
    uint64_t count;
    // A short spinning lock for a few fields: an ox_mutex hands itself to
    // a parked waiter on release, which makes a busy producer and consumer
    // convoy on every item.
    CriticalSection *guard;
    ox_event *not_full;
    ox_event *not_empty;
    ox_item_free free_fn;
};

namespace {

int destroy_object(void *obj)
{
    return ox_circularqueue_destroy(static_cast<ox_circularqueue *>(obj));
}
const cairn::ObjectTypeName kTypeName{destroy_object, "circular queue"};

void free_parts(ox_circularqueue *q)
{
    for (RingNode *n = q->first; n != nullptr;) {
        RingNode *next = n == q->last ? nullptr : n->next;
        void *item = n->item.load(std::memory_order_relaxed);
        if (item != nullptr && q->free_fn != nullptr)
            q->free_fn(item);
        mem_free(n);
        n = next;
    }
    if (q->not_empty)
        ox_event_destroy(q->not_empty);
    if (q->not_full)
        ox_event_destroy(q->not_full);
    mem_delete(q->guard);
    mem_free(q);
}

// Link `capacity` nodes into a ring; a node that cannot be allocated is
// left out.  False when not one could be made.
bool build_ring(ox_circularqueue *q, uint64_t capacity)
{
    for (uint64_t i = 0; i < capacity; ++i) {
        auto *n = static_cast<RingNode *>(mem_calloc(1, sizeof(RingNode)));
        if (n == nullptr)
            continue;
        if (q->last != nullptr)
            q->last->next = n;
        else
            q->first = n;
        q->last = n;
    }
    if (q->first == nullptr)
        return false;
    q->last->next = q->first;
    q->read = q->first;
    q->write.store(q->first, std::memory_order_relaxed);
    return true;
}

// Queue one item if the write node is free (under the guard); false when
// the ring is full.
bool store(ox_circularqueue *q, void *item)
{
    CriticalSectionLock hold(*q->guard);
    RingNode *w = q->write.load(std::memory_order_relaxed);
    if (w->item.load(std::memory_order_relaxed) != nullptr)
        return false;
    w->item.store(item, std::memory_order_relaxed);
    q->write.store(w->next, std::memory_order_relaxed);
    ++q->count;
    return true;
}

int try_push(ox_circularqueue *q, void *item)
{
    if (q == nullptr || item == nullptr)
        return null_argument();
    // The unlocked look at the write node answers "full" cheaply; store()
    // checks again under the guard for pushers racing each other.
    RingNode *w = q->write.load(std::memory_order_relaxed);
    if (w->item.load(std::memory_order_relaxed) != nullptr || !store(q, item)) {
        int rc = report_errno(ENOSPC);
        CAIRN_DEBUG(2, 2, "Push : No space \n");
        ox_event_signal(q->not_empty);
        return rc;
    }
    ox_event_signal(q->not_empty);
    return OX_SUCCESS;
}

int try_pop(ox_circularqueue *q, void **item)
{
    if (q == nullptr || item == nullptr)
        return null_argument();
    {
        CriticalSectionLock hold(*q->guard);
        if (q->count == 0) {
            *item = nullptr;
            return report_errno(ENOENT);
        }
        *item = q->read->item.exchange(nullptr, std::memory_order_relaxed);
        q->read = q->read->next;
        --q->count;
    }
    ox_event_signal(q->not_full);
    return OX_SUCCESS;
}

}  // namespace

extern "C" {

ox_circularqueue *ox_circularqueue_new(ox_item_free free_fn, uint32_t capacity_low,
                                       uint32_t capacity_high)
{
    uint64_t capacity = (static_cast<uint64_t>(capacity_high) << 32) | capacity_low;
    if (capacity == 0) {
        report_errno(EINVAL);
        return nullptr;
    }
    auto *q = static_cast<ox_circularqueue *>(mem_calloc(1, sizeof(ox_circularqueue)));
    if (q == nullptr)
        return nullptr;
    q->free_fn = free_fn;
    if (build_ring(q, capacity) && (q->guard = mem_new<CriticalSection>(4000)) != nullptr &&
        (q->not_full = ox_event_new()) != nullptr && (q->not_empty = ox_event_new()) != nullptr &&
        register_object(q, destroy_object))
        return q;
    free_parts(q);
    return nullptr;
}

int ox_circularqueue_trypush(ox_circularqueue *q, void *item) { return try_push(q, item); }

int ox_circularqueue_push(ox_circularqueue *q, void *item)
{
    int rc;
    while ((rc = try_push(q, item)) == OX_ENOSPC) {
        CAIRN_DEBUG(2, 2, "Push : Wait \n");
        ox_event_timedwait(q->not_full, kSliceMs);
    }
    return rc;
}

int ox_circularqueue_timedpush(ox_circularqueue *q, uint32_t ms, void *item)
{
    int rc = try_push(q, item);
    if (rc != OX_ENOSPC)
        return rc;
    CAIRN_DEBUG(2, 2, "Push : Timed Wait \n");
    if (ox_event_timedwait(q->not_full, ms) != OX_SUCCESS)
        return report_errno(ENOSPC);
    return try_push(q, item);
}

int ox_circularqueue_trypop(ox_circularqueue *q, void **item) { return try_pop(q, item); }

int ox_circularqueue_pop(ox_circularqueue *q, void **item)
{
    int rc;
    while ((rc = try_pop(q, item)) == OX_ENOENT) {
        int wait = ox_event_timedwait(q->not_empty, kSliceMs);
        if (wait != OX_SUCCESS && wait != OX_ETIMEDOUT)
            return wait;
    }
    return rc;
}

int ox_circularqueue_timedpop(ox_circularqueue *q, uint32_t ms, void **item)
{
    int rc = try_pop(q, item);
    if (rc != OX_ENOENT)
        return rc;
    int wait = ox_event_timedwait(q->not_empty, ms);
    if (wait != OX_SUCCESS)
        return wait;
    rc = try_pop(q, item);
    return rc == OX_ENOENT ? report_errno(ETIMEDOUT) : rc;
}

int ox_circularqueue_destroy(ox_circularqueue *q)
{
    if (q == nullptr)
        return null_argument();
    int result;
    if (!last_reference(q, result))
        return result;
    {
        CriticalSectionLock hold(*q->guard);
    }  // the last user has left the ring
    free_parts(q);
    return OX_SUCCESS;
}

}  // extern "C"
