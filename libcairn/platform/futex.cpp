#include "platform/futex.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace cairn {

uint64_t monotonic_ns()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

uint64_t deadline_after_ms(uint32_t ms)
{
    if (ms == 0xFFFFFFFFu)
        return kNoDeadline;
    return monotonic_ns() + static_cast<uint64_t>(ms) * 1000000u;
}

void futex_wait(std::atomic<uint32_t> &word, uint32_t expected, uint64_t deadline_ns)
{
    timespec abs;
    timespec *limit = nullptr;
    if (deadline_ns != kNoDeadline) {
        abs.tv_sec = static_cast<time_t>(deadline_ns / 1000000000u);
        abs.tv_nsec = static_cast<long>(deadline_ns % 1000000000u);
        limit = &abs;
    }
    // The bitset form takes an absolute monotonic deadline, so a wait that
    // is woken spuriously resumes with the right remaining time.
    syscall(SYS_futex, reinterpret_cast<uint32_t *>(&word), FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG,
            expected, limit, nullptr, FUTEX_BITSET_MATCH_ANY);
}

void futex_wake(std::atomic<uint32_t> &word, int count)
{
    syscall(SYS_futex, reinterpret_cast<uint32_t *>(&word), FUTEX_WAKE | FUTEX_PRIVATE_FLAG, count,
            nullptr, nullptr, 0);
}

}  // namespace cairn
