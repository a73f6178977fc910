// The library's socket set: members in insertion order, no duplicates, at
// most OX_FD_SETSIZE of them.
#include <cstring>

#include "cairn/messages.h"
#include "cairn/net.h"

namespace {

constexpr uint32_t kOverflowSeverity = 15023;

// The member count, never more than the array holds (a count the caller
// corrupted is not followed past the array).
uint32_t count_of(const ox_fd_set *set)
{
    return set->fd_count < OX_FD_SETSIZE ? set->fd_count : OX_FD_SETSIZE;
}

// The position of `s` in the set, or the member count when absent.
uint32_t position_of(int s, const ox_fd_set *set)
{
    uint32_t n = count_of(set);
    for (uint32_t i = 0; i < n; ++i)
        if (set->fd_array[i] == s)
            return i;
    return n;
}

}  // namespace

extern "C" {

CAIRN_API void OX_FD_SET(int s, ox_fd_set *set)
{
    if (set == nullptr)
        return;
    uint32_t at = position_of(s, set);
    if (at < count_of(set))
        return;
    if (at >= OX_FD_SETSIZE) {
        msg_print(0, kOverflowSeverity, MSG_TO_STDERR,
                  "Number of sockets exceeds set limit. (FD_SETSIZE %d).", MSG_ARG_NUMBER, "4096");
        return;
    }
    set->fd_array[at] = s;
    set->fd_count = at + 1;
}

CAIRN_API int OX_FD_CLR(int s, ox_fd_set *set)
{
    if (set == nullptr)
        return -1;
    uint32_t count = count_of(set);
    uint32_t at = position_of(s, set);
    if (at < count) {
        memmove(&set->fd_array[at], &set->fd_array[at + 1],
                (count - at - 1) * sizeof set->fd_array[0]);
        set->fd_count = count - 1;
    }
    return static_cast<int>(at);
}

CAIRN_API int OX_FD_ISSET(int s, const ox_fd_set *set)
{
    return set != nullptr && position_of(s, set) < count_of(set);
}

}  // extern "C"
