// Result codes of the text conversions, stored as the thread's last error
// when they report a failure.
#pragma once

#include <cerrno>

#include "cairn/frame.h"

namespace cairn::text {

inline constexpr int kOk = OX_SUCCESS;
inline constexpr int kReplaced = 1;

// 31: missing or bad arguments.
inline int bad_arguments()
{
    ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    return OX_EINVAL;
}

// 46: the output is too small.
inline int output_full()
{
    ox_error_set_last(ENOBUFS, OX_ERRKIND_ERRNO);
    return OX_ENOBUFS;
}

template <typename T>
inline void set_if(T *out, T value)
{
    if (out)
        *out = value;
}

}  // namespace cairn::text
