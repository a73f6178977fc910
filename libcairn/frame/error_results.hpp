// The two ways a library call reports a failure through the thread's last
// error, shared by every subsystem.
#pragma once

#include <cerrno>
#include <cstdint>

#include "cairn/frame.h"

namespace cairn {

// Store `err` (an errno) as the last error; returns its portable code.
inline int report_errno(int err)
{
    return ox_error_set_last(static_cast<uint32_t>(err), OX_ERRKIND_ERRNO);
}

// A missing handle or argument: last error EINVAL, result 2.
inline int null_argument()
{
    report_errno(EINVAL);
    return OX_ENULL;
}

}  // namespace cairn
