// Pieces shared by the emulated objects and the wait core.
#pragma once

#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

namespace cairn {

// Grant states of a waiter.  The granter marks the node granted under the
// object's lock; after releasing the lock it clears the thread's park word,
// lets the waiter go and only then makes the wake-up call, which uses the
// park word's address alone.  The waiter's record stays alive while its
// park word is written, a woken waiter does not run into the lock its
// granter still holds, and on one CPU a waiter woken at once does not find
// its granter still busy with it.
enum : uint32_t {
    kWaiting = 0,
    kGranting = 1,  // granted, the granter still wakes the thread
    kGranted = 2,   // granted; the granter no longer touches the node
};

// A waiting thread's node, on its stack while it waits on an object.
struct Waiter {
    Waiter *next = nullptr;
    Waiter *prev = nullptr;
    ThreadRecord *rec;
    uint64_t id;  // the waiter's identity for mutexes
    std::atomic<uint32_t> granted{kWaiting};

    Waiter(ThreadRecord *r, uint64_t i) : rec(r), id(i) {}
};

// Take the object for the thread `id` if it is available now (sequentially
// consistent, which the waiter count handshake relies on).
inline bool try_acquire(SyncObject &obj, uint64_t id)
{
    switch (obj.kind) {
    case SyncKind::semaphore: {
        int32_t c = obj.count.load(std::memory_order_seq_cst);
        while (c > 0)
            if (obj.count.compare_exchange_weak(c, c - 1, std::memory_order_seq_cst))
                return true;
        return false;
    }
    case SyncKind::auto_event:
        return obj.count.load(std::memory_order_seq_cst) != 0 &&
               obj.count.exchange(0, std::memory_order_seq_cst) != 0;
    case SyncKind::manual_event:
        return obj.count.load(std::memory_order_seq_cst) != 0;
    case SyncKind::mutex: {
        if (obj.owner.load(std::memory_order_seq_cst) == id) {
            ++obj.recursion;
            return true;
        }
        uint64_t free_owner = 0;
        if (!obj.owner.compare_exchange_strong(free_owner, id, std::memory_order_seq_cst))
            return false;
        obj.recursion = 1;
        return true;
    }
    }
    return false;
}

// Link or unlink a waiter's node; the caller holds the object's lock.
void link_waiter(SyncObject &obj, Waiter &w);
void unlink_waiter(SyncObject &obj, Waiter &w);

// Hand the object to as many linked waiters as it can take, oldest first.
// Called after a release that saw waiters.
void dispatch_waiters(SyncObject &obj);

// After any release: waiters are looked at only when some are linked.  A
// waiter counts itself before its last try, a releaser changes the state
// before it reads the count, so one of them always sees the other.
inline void after_release(SyncObject &obj)
{
    if (obj.queued.load(std::memory_order_seq_cst) > 0)
        dispatch_waiters(obj);
}

}  // namespace cairn
