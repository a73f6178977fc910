#include "platform/alloc.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cairn/frame.h"
#include "platform/alloc_testing.hpp"

namespace cairn {
namespace {

// Failure injection and counting.  The fast path reads one relaxed flag,
// set while a test injects failures or counts allocations.
std::atomic<bool> g_instrumented{false};
std::atomic<bool> g_tracking{false};
std::atomic<long> g_countdown{0};
std::atomic<bool> g_sticky{false};
std::atomic<long> g_count{0};
std::atomic<long> g_live{0};

void update_instrumented()
{
    g_instrumented.store(g_tracking.load() || g_countdown.load() > 0 || g_sticky.load(),
                         std::memory_order_release);
}

// Slow path: count the attempt and decide whether it fails.
bool injected_failure()
{
    g_count.fetch_add(1, std::memory_order_relaxed);
    if (g_countdown.load(std::memory_order_relaxed) <= 0)
        return g_sticky.load(std::memory_order_relaxed);
    long left = g_countdown.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        return true;
    return left < 0 && g_sticky.load(std::memory_order_relaxed);
}

inline bool should_fail()
{
    return g_instrumented.load(std::memory_order_relaxed) && injected_failure();
}

inline void *fail()
{
    ox_error_set_last(ENOMEM, OX_ERRKIND_ERRNO);
    return nullptr;
}

inline void *checked(void *p)
{
    if (p == nullptr)
        return fail();
    if (g_instrumented.load(std::memory_order_relaxed))
        g_live.fetch_add(1, std::memory_order_relaxed);
    return p;
}

}  // namespace

void *mem_alloc(std::size_t size)
{
    if (should_fail())
        return fail();
    return checked(std::malloc(size ? size : 1));
}

void *mem_calloc(std::size_t count, std::size_t size)
{
    if (should_fail())
        return fail();
    if (count == 0 || size == 0)
        count = size = 1;
    return checked(std::calloc(count, size));
}

void *mem_realloc(void *ptr, std::size_t size)
{
    if (ptr == nullptr)
        return mem_alloc(size);
    if (should_fail())
        return fail();
    void *p = std::realloc(ptr, size ? size : 1);
    if (p == nullptr)
        return fail();
    return p;
}

char *mem_strdup(const char *s) { return s ? mem_strndup(s, std::strlen(s)) : nullptr; }

char *mem_strndup(const char *s, std::size_t max)
{
    if (s == nullptr)
        return nullptr;
    std::size_t n = strnlen(s, max);
    char *p = static_cast<char *>(mem_alloc(n + 1));
    if (p) {
        std::memcpy(p, s, n);
        p[n] = '\0';
    }
    return p;
}

void mem_free(void *ptr)
{
    if (ptr == nullptr)
        return;
    if (g_instrumented.load(std::memory_order_relaxed))
        g_live.fetch_sub(1, std::memory_order_relaxed);
    std::free(ptr);
}

namespace testing {

void alloc_fail_at(long nth, bool sticky)
{
    g_countdown.store(nth > 0 ? nth : 0);
    g_sticky.store(nth > 0 && sticky);
    update_instrumented();
}

void alloc_tracking_start()
{
    g_count.store(0);
    g_live.store(0);
    g_tracking.store(true);
    update_instrumented();
}

void alloc_tracking_stop()
{
    g_tracking.store(false);
    update_instrumented();
}

long alloc_count() { return g_count.load(); }
long alloc_live() { return g_live.load(); }

}  // namespace testing
}  // namespace cairn
