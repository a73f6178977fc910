#include "platform/word_lock.hpp"

#include "platform/cpu.hpp"
#include "platform/futex.hpp"

namespace cairn {

namespace {
constexpr int kSpins = 100;
}

void WordLock::lock_contended()
{
    for (int i = 0; i < kSpins; ++i) {
        cpu_relax();
        uint32_t expected = kFree;
        if (state_.load(std::memory_order_relaxed) == kFree &&
            state_.compare_exchange_weak(expected, kLocked, std::memory_order_acquire))
            return;
    }
    // Marking the word contended makes the holder's unlock wake a sleeper.
    while (state_.exchange(kContended, std::memory_order_acquire) != kFree)
        futex_wait(state_, kContended, kNoDeadline);
}

void WordLock::wake_one() { futex_wake(state_, 1); }

}  // namespace cairn
