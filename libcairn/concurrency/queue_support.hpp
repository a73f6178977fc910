// What the queues share: their mutex held for a scope, and the address
// order of the item lists.
#pragma once

#include <cstdint>

#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/frame.h"

namespace cairn {

// An interrupted acquisition has run the thread's due work in the wait
// core; the lock goes on waiting, so a queue's state is never touched
// without its mutex.
inline void queue_lock(ox_mutex *m)
{
    while (ox_mutex_lock(m) == OX_EINTR) {
    }
}

class QueueLock {
public:
    explicit QueueLock(ox_mutex *m) : m_(m) { queue_lock(m_); }
    ~QueueLock() { ox_mutex_unlock(m_); }
    QueueLock(const QueueLock &) = delete;
    QueueLock &operator=(const QueueLock &) = delete;

private:
    ox_mutex *m_;
};

// Items of the event and thread queues' lists compare as unsigned
// addresses.
inline int compare_address(void *a, void *b)
{
    auto x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
    return x < y ? -1 : x > y ? 1 : 0;
}

}  // namespace cairn
