// The internal lock of the emulated platform objects: one word, taken with
// one atomic operation when free, spinning briefly and then sleeping on the
// word when busy.  Not recursive and not alertable; held for a few
// instructions only, never while user code runs.
#pragma once

#include <atomic>
#include <cstdint>

namespace cairn {

class WordLock {
public:
    constexpr WordLock() = default;
    WordLock(const WordLock &) = delete;
    WordLock &operator=(const WordLock &) = delete;

    void lock()
    {
        uint32_t expected = kFree;
        if (!state_.compare_exchange_strong(expected, kLocked, std::memory_order_acquire))
            lock_contended();
    }

    bool try_lock()
    {
        uint32_t expected = kFree;
        return state_.compare_exchange_strong(expected, kLocked, std::memory_order_acquire);
    }

    void unlock()
    {
        if (state_.exchange(kFree, std::memory_order_release) == kContended)
            wake_one();
    }

private:
    static constexpr uint32_t kFree = 0;
    static constexpr uint32_t kLocked = 1;
    static constexpr uint32_t kContended = 2;

    void lock_contended();
    void wake_one();

    std::atomic<uint32_t> state_{kFree};
};

// Scoped holder of a WordLock.
class WordLockHold {
public:
    explicit WordLockHold(WordLock &lock) : lock_(lock) { lock_.lock(); }
    ~WordLockHold() { lock_.unlock(); }
    WordLockHold(const WordLockHold &) = delete;
    WordLockHold &operator=(const WordLockHold &) = delete;

private:
    WordLock &lock_;
};

}  // namespace cairn
