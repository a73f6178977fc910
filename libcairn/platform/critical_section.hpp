// The library's critical section: a short-held, recursive lock that spins a
// little before it blocks.  It is not an alertable wait: it guards a few
// fields for a few instructions and is never held across user waits.
#pragma once

#include <pthread.h>

namespace cairn {

class CriticalSection {
public:
    explicit CriticalSection(int spin_count = 100);
    ~CriticalSection();
    CriticalSection(const CriticalSection &) = delete;
    CriticalSection &operator=(const CriticalSection &) = delete;

    void lock();
    bool try_lock() { return pthread_mutex_trylock(&mutex_) == 0; }
    void unlock() { pthread_mutex_unlock(&mutex_); }
    // In the child after fork(): the lock is made again, free (the parent's
    // owner does not exist there).
    void reset_in_child() { init(); }

private:
    void init();

    pthread_mutex_t mutex_;
    int spin_count_;
};

// Scoped holder of a CriticalSection.
class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection &cs) : cs_(cs) { cs_.lock(); }
    ~CriticalSectionLock() { cs_.unlock(); }
    CriticalSectionLock(const CriticalSectionLock &) = delete;
    CriticalSectionLock &operator=(const CriticalSectionLock &) = delete;

private:
    CriticalSection &cs_;
};

}  // namespace cairn
