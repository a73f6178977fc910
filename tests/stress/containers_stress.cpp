// Lists and arrays under eight threads with foreach walks, iterators and
// timers that pop on every thread: each item is accounted for exactly once.
#include "stress_support.hpp"

#include "cairn/containers.h"
#include "cairn/frame.h"

namespace cairn::stress {
namespace {

void *as_data(long v) { return reinterpret_cast<void *>(v); }
long as_value(void *p) { return reinterpret_cast<long>(p); }

void drain(ox_list *list, Ledger &ledger)
{
    void *data = nullptr;
    while (ox_list_pop(list, &data) == 0)
        ledger.take(data);
}

struct TimerCtx {
    ox_list *list;
    Ledger *ledger;
    std::atomic<long> *fired;
};

void pop_one(void *arg)
{
    auto *ctx = static_cast<TimerCtx *>(arg);
    ++*ctx->fired;
    void *data = nullptr;
    if (ox_list_pop(ctx->list, &data) == 0)
        ctx->ledger->take(data);
}

void check_range(void *data, void *arg)
{
    auto *ledger = static_cast<Ledger *>(arg);
    long v = as_value(data);
    if (v < 1 || v > ledger->total)
        ++ledger->bogus;
}

// Workers append while a 2 ms timer on each of them pops from the same
// list, another walks it with foreach and iterators: the shape of the
// family's daemons.
TEST(StressContainers, TimersPoppingWhileWorkersAppend)
{
    Watchdog dog(300);
    ox_list *list = ox_list_new(nullptr, nullptr, nullptr, nullptr, 0);
    ASSERT_NE(list, nullptr);
    const long per_thread = ops(30000);
    const int appenders = 6;
    Ledger ledger(per_thread * appenders);
    std::atomic<long> fired{0};
    std::atomic<int> appending{appenders};
    run_threads(kThreads, [&](int i) {
        if (i < appenders) {
            TimerCtx ctx{list, &ledger, &fired};
            ox_timer *timer = ox_timer_new(2, 0, pop_one, &ctx, nullptr);
            ASSERT_NE(timer, nullptr);
            ASSERT_EQ(ox_timer_start(timer), 0);
            for (long k = 0; k < per_thread; ++k) {
                long v = i * per_thread + k + 1;
                int r = (k & 1) ? ox_list_append(list, nullptr, as_data(v))
                                : ox_list_push(list, as_data(v));
                ASSERT_EQ(r, 0);
                if (k % 1000 == 999)
                    ox_thread_test_cancel();  // an alertable pause: timers run
            }
            ox_thread_test_cancel();
            ASSERT_EQ(ox_timer_destroy(timer), 0);
            --appending;
        } else if (i == appenders) {
            // Foreach walks: every element seen is a real item.
            while (appending.load() > 0)
                ASSERT_EQ(ox_list_foreach(list, check_range, &ledger), 0);
        } else {
            // Iterator walks both ways while the list changes under them.
            ox_iterator *it = ox_iterator_new(list);
            ASSERT_NE(it, nullptr);
            while (appending.load() > 0) {
                void *data = nullptr;
                for (int r = ox_iterator_start(it, &data); r == 0; r = ox_iterator_next(it, &data))
                    check_range(data, &ledger);
                for (int r = ox_iterator_end(it, &data); r == 0;
                     r = ox_iterator_previous(it, &data))
                    check_range(data, &ledger);
            }
            ASSERT_EQ(ox_iterator_destroy(it), 0);
        }
    });
    drain(list, ledger);
    ledger.expect_each_once();
    EXPECT_GT(fired.load(), 0);
    EXPECT_EQ(ox_list_size(list), 0);
    EXPECT_EQ(ox_list_destroy(list), 0);
}

int compare_keys(void *a, void *b)
{
    long x = as_value(a), y = as_value(b);
    return x < y ? -1 : x > y;
}

// Keyed adds, finds, references and removals on a list and an array shared
// by all threads: each thread owns its own keys, so every result is exact.
// The two kinds differ only in the name of their add call.
template <typename C>
struct Keyed;

#define STRESS_KEYED(P, ADD)                                                                       \
    template <>                                                                                    \
    struct Keyed<P> {                                                                              \
        static P *make() { return P##_new(nullptr, nullptr, compare_keys, nullptr, 0); }           \
        static int add(P *c, long k) { return P##_##ADD(c, as_data(k), as_data(k)); }              \
        static int find(P *c, long k, void **d) { return P##_find(c, as_data(k), d); }             \
        static int ref(P *c, long k, void **d) { return P##_reference(c, as_data(k), d); }         \
        static int unref(P *c, long k) { return P##_unreference(c, as_data(k)); }                  \
        static int try_remove(P *c, long k, void **d)                                              \
        {                                                                                          \
            return P##_try_remove_node(c, as_data(k), d);                                          \
        }                                                                                          \
        static int remove(P *c, long k, void **d) { return P##_remove_node(c, as_data(k), d); }    \
        static int size(P *c) { return P##_size(c); }                                              \
        static int each(P *c, ox_foreach_callback f, void *a) { return P##_foreach(c, f, a); }     \
        static int destroy(P *c) { return P##_destroy(c); }                                        \
    }

STRESS_KEYED(ox_list, append);
STRESS_KEYED(ox_array, add);

void count_one(void *, void *arg) { ++*static_cast<std::atomic<long> *>(arg); }

template <typename C>
void keyed_churn()
{
    Watchdog dog(300);
    using K = Keyed<C>;
    C *c = K::make();
    ASSERT_NE(c, nullptr);
    const int n = ops(4000);
    constexpr int kKeys = 32;  // live keys per thread at most
    std::atomic<long> walked{0};
    run_threads(kThreads, [&](int i) {
        Rng rng(i + 31);
        bool present[kKeys] = {};
        for (int step = 0; step < n; ++step) {
            int slot = static_cast<int>(rng() % kKeys);
            long key = i * 1000 + slot + 1;
            void *data = nullptr;
            if (!present[slot]) {
                ASSERT_EQ(K::add(c, key), 0);
                present[slot] = true;
                continue;
            }
            switch (rng() % 4) {
            case 0:
                ASSERT_EQ(K::find(c, key, &data), 0);
                ASSERT_EQ(as_value(data), key);
                break;
            case 1:
                // A referenced element is busy for removal until released.
                ASSERT_EQ(K::ref(c, key, &data), 0);
                ASSERT_EQ(K::try_remove(c, key, &data), OX_EBUSY);
                ASSERT_EQ(K::unref(c, key), 0);
                break;
            case 2:
                ASSERT_EQ(K::remove(c, key, &data), 0);
                ASSERT_EQ(as_value(data), key);
                present[slot] = false;
                break;
            default:
                if (rng() % 16 == 0) {
                    ASSERT_EQ(K::each(c, count_one, &walked), 0);
                }
            }
        }
        for (int slot = 0; slot < kKeys; ++slot) {
            void *data = nullptr;
            if (present[slot]) {
                ASSERT_EQ(K::remove(c, i * 1000 + slot + 1, &data), 0);
            }
        }
    });
    EXPECT_EQ(K::size(c), 0);
    EXPECT_EQ(K::destroy(c), 0);
}

TEST(StressContainers, ListKeyedChurn) { keyed_churn<ox_list>(); }
TEST(StressContainers, ArrayKeyedChurn) { keyed_churn<ox_array>(); }

}  // namespace
}  // namespace cairn::stress
