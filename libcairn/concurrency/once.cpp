// ox_once: exactly one caller runs the function; the others wait for it by
// yielding, which suits the short start-up functions it guards.
#include <atomic>
#include <cerrno>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "platform/fork_guard.hpp"
#include "platform/yield.hpp"

namespace {

// The onces whose function runs now (or is about to), so that a forked
// child can reset those that other threads were running: they would never
// finish there.  (A fork from inside a once's own function is not
// supported.)  A once that finds no free entry is not tracked.
constexpr int kTracked = 32;
struct Running {
    std::atomic<ox_once_t *> once{nullptr};
};
Running g_running[kTracked];

Running *track(ox_once_t *once)
{
    for (Running &r : g_running) {
        ox_once_t *expected = nullptr;
        if (r.once.load(std::memory_order_relaxed) == nullptr &&
            r.once.compare_exchange_strong(expected, once, std::memory_order_acq_rel))
            return &r;
    }
    return nullptr;
}

}  // namespace

namespace cairn {

void forget_unfinished_onces()
{
    for (Running &r : g_running) {
        ox_once_t *once = r.once.load(std::memory_order_acquire);
        if (once != nullptr && __atomic_load_n(&once->done, __ATOMIC_ACQUIRE) == 0) {
            ox_once_reset(once);
            r.once.store(nullptr, std::memory_order_relaxed);
        }
    }
}

}  // namespace cairn

extern "C" {

int ox_once(ox_once_t *once, void (*fn)(void))
{
    if (once == nullptr || fn == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    if (__atomic_load_n(&once->done, __ATOMIC_ACQUIRE))
        return OX_SUCCESS;
    if (__atomic_load_n(&once->started, __ATOMIC_ACQUIRE) == 0) {
        // Tracked before the start is claimed, so that no fork falls between
        // the two; a caller that loses the claim lets its entry go.
        Running *running = track(once);
        bool won = __atomic_add_fetch(&once->started, 1, __ATOMIC_ACQ_REL) == 1;
        if (won) {
            fn();
            __atomic_store_n(&once->done, 1, __ATOMIC_RELEASE);
        }
        if (running != nullptr)
            running->once.store(nullptr, std::memory_order_release);
        if (won)
            return OX_SUCCESS;
    }
    while (!__atomic_load_n(&once->done, __ATOMIC_ACQUIRE))
        cairn::alertable_yield();
    return OX_SUCCESS;
}

void ox_once_reset(ox_once_t *once)
{
    if (once == nullptr)
        return;
    __atomic_store_n(&once->reserved, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&once->started, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&once->done, 0, __ATOMIC_RELEASE);
}

}  // extern "C"
