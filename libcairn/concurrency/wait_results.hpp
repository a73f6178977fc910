// The results that the lock, event and thread calls share, each setting the
// thread's last error the same way.
#pragma once

#include <cerrno>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "frame/error_results.hpp"
#include "platform/sync_object.hpp"

namespace cairn {

// The platform's wait time-out code, kept as the last error of a time-out.
constexpr uint32_t kWin32WaitTimeout = 258;
// The platform's "too many posts" code of a semaphore past its maximum.
constexpr uint32_t kWin32TooManyPosts = 298;

inline int interrupted() { return ox_error_set_last(EINTR, OX_ERRKIND_ERRNO); }
inline int would_block() { return ox_error_set_last(EAGAIN, OX_ERRKIND_ERRNO); }
inline int self_deadlock() { return ox_error_set_last(EDEADLK, OX_ERRKIND_ERRNO); }
inline int not_owner() { return ox_error_set_last(EPERM, OX_ERRKIND_ERRNO); }
inline int busy() { return ox_error_set_last(EBUSY, OX_ERRKIND_ERRNO); }
inline int no_such_thread() { return ox_error_set_last(ESRCH, OX_ERRKIND_ERRNO); }

inline int timed_out()
{
    ox_error_set_last(kWin32WaitTimeout, OX_ERRKIND_WIN32);
    return OX_ETIMEDOUT;
}

// The result of a wait: 0, 30, and for a time-out 81, or 8 for the forms
// that do not wait.
inline int wait_result(WaitStatus status, bool zero_wait_form = false)
{
    switch (status) {
    case WaitStatus::signalled:
        return OX_SUCCESS;
    case WaitStatus::interrupted:
        return interrupted();
    case WaitStatus::timed_out:
        break;
    }
    return zero_wait_form ? would_block() : timed_out();
}

// The destroy pattern's first step: drop one reference.  Returns true when
// the caller now frees the object; otherwise `result` holds the call's
// result (0 while references remain, 49 for a stale handle).
inline bool last_reference(void *obj, int &result)
{
    int left = _ox_object_unreference(obj);
    result = left < 0 ? OX_ENOENT : OX_SUCCESS;
    return left == 0;
}

// Enter a freshly made object in the registry.  False (the caller frees
// what it made) when the registry cannot grow.
inline bool register_object(void *obj, ox_object_destructor destructor)
{
    int index = _ox_object_reference(obj, destructor);
    if (index < 0)
        return false;
    auto *header = static_cast<ox_object_header *>(obj);
    header->index = index;
    header->flags |= OX_OBJECT_VALID;
    return true;
}

}  // namespace cairn
