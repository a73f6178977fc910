// The library's own locks over its alertable objects.  An internal lock is
// always acquired: a wait that due work or queued calls interrupt has run
// them, and the acquisition goes on; the caller's last error is kept as it
// was.  While a lock kept across user code is held, the holder's queued
// calls and due work wait (a cancel cannot end the thread with the lock
// held, and a timer callback cannot re-enter the data the lock guards
// halfway through a change); they run at its next wait after the release.
#pragma once

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

namespace cairn {

// Take `obj` (a platform mutex or a one-unit semaphore), however often the
// wait is interrupted.  Queued calls are not held.
void acquire_internal(SyncObject *obj);

// Take `m` (no queued calls held): false, with nothing taken, when the
// caller holds `m` already (a callback re-entering the data the lock
// guards) or `m` is nullptr.  For locks never held across user code.
bool acquire_internal(ox_mutex *m);

// Scoped lock on `m` that also holds the caller's queued calls and due work;
// a nullptr or already held mutex is left alone.
class InternalLock {
public:
    explicit InternalLock(ox_mutex *m);
    ~InternalLock();
    InternalLock(const InternalLock &) = delete;
    InternalLock &operator=(const InternalLock &) = delete;

private:
    ox_mutex *m_;
    ThreadRecord *rec_ = nullptr;  // whose calls are held
};

}  // namespace cairn
