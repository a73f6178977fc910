// The emulated platform objects: creation, release and hand-over to waiters.
#include "platform/wait_internal.hpp"

#include "platform/alloc.hpp"
#include "platform/futex.hpp"

#include <unistd.h>

namespace cairn {
namespace {

void unlink(SyncObject &obj, Waiter &w)
{
    (w.prev ? w.prev->next : obj.head) = w.next;
    (w.next ? w.next->prev : obj.tail) = w.prev;
    w.next = w.prev = nullptr;
}

}  // namespace

SyncObject *sync_semaphore_create(int32_t initial, int32_t maximum)
{
    auto *obj = mem_new<SyncObject>(SyncKind::semaphore);
    if (obj != nullptr) {
        obj->maximum = maximum;
        obj->count.store(initial, std::memory_order_relaxed);
    }
    return obj;
}

SyncObject *sync_event_create(bool manual_reset, bool initially_signalled)
{
    auto *obj = mem_new<SyncObject>(manual_reset ? SyncKind::manual_event : SyncKind::auto_event);
    if (obj != nullptr)
        obj->count.store(initially_signalled ? 1 : 0, std::memory_order_relaxed);
    return obj;
}

SyncObject *sync_mutex_create() { return mem_new<SyncObject>(SyncKind::mutex); }

void sync_close(SyncObject *obj) { mem_delete(obj); }

__attribute__((tls_model("initial-exec"))) thread_local uint64_t t_caller_id = 0;

uint64_t sync_caller_id_slow()
{
    // The record's sequence number, not the platform thread id: the C
    // library hands the id of an ended thread to the next new thread, which
    // would then own the ended thread's locks.  The number stays the
    // thread's own for its whole life, even where its record is made again
    // at exit, so it is kept here after the first look.
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)
        return kNoThreadSeq;
    t_caller_id = rec->seq;
    return t_caller_id;
}

bool sync_semaphore_release(SyncObject *obj, int32_t units)
{
    int32_t c = obj->count.load(std::memory_order_relaxed);
    do {
        if (units < 0 || units > obj->maximum - c)
            return false;
    } while (!obj->count.compare_exchange_weak(c, c + units, std::memory_order_seq_cst));
    after_release(*obj);
    return true;
}

void sync_event_set(SyncObject *obj)
{
    obj->count.exchange(1, std::memory_order_seq_cst);
    after_release(*obj);
}

void sync_event_reset(SyncObject *obj) { obj->count.store(0, std::memory_order_seq_cst); }

bool sync_mutex_release(SyncObject *obj)
{
    // Only the owner can have stored its own id, so this test needs no lock.
    if (obj->owner.load(std::memory_order_relaxed) != sync_caller_id())
        return false;
    if (--obj->recursion > 0)
        return true;
    obj->owner.store(0, std::memory_order_seq_cst);
    after_release(*obj);
    return true;
}

void dispatch_waiters(SyncObject &obj)
{
    Waiter *granted = nullptr;  // chained through `next` once unlinked
    {
        WordLockHold hold(obj.lock);
        while (obj.head != nullptr && try_acquire(obj, obj.head->id)) {
            Waiter &w = *obj.head;
            unlink(obj, w);
            obj.queued.fetch_sub(1, std::memory_order_relaxed);
            // Sequentially consistent: the waiter stores its park word and
            // then reads this, the granter stores this and then exchanges
            // the park word (see sleep_on_park()).
            w.granted.store(kGranting, std::memory_order_seq_cst);
            w.next = granted;
            granted = &w;
        }
    }
    while (granted != nullptr) {
        Waiter *w = granted;
        granted = w->next;
        std::atomic<uint32_t> &park = w->rec->park;
        bool sleeping = park.exchange(0, std::memory_order_seq_cst) == 1;
        // From here the waiter may leave and its thread end; the wake-up
        // uses only the park word's address, so it may come after that.
        w->granted.store(kGranted, std::memory_order_seq_cst);
        if (sleeping)
            futex_wake(park, 1);
    }
}

void link_waiter(SyncObject &obj, Waiter &w)
{
    w.prev = obj.tail;
    (obj.tail ? obj.tail->next : obj.head) = &w;
    obj.tail = &w;
}

void unlink_waiter(SyncObject &obj, Waiter &w) { unlink(obj, w); }

void wake_thread(ThreadRecord &target)
{
    uint32_t was = target.park.exchange(0, std::memory_order_seq_cst);
    if (was == 1) {
        futex_wake(target.park, 1);
    } else if (was == kParkPolling) {
        // The record, and with it the descriptor, lives while the waker
        // holds it (queued calls) or the records lock (interrupts).
        uint64_t one = 1;
        [[maybe_unused]] ssize_t n = write(target.wake_fd, &one, sizeof one);
    }
}

}  // namespace cairn
