// Tables with expiry, both kinds: the last errors of expiry, re-arming by a
// lookup whose copy fails, iteration, hashes, results of bad arguments and
// contention.  (The rules themselves, ownership included, are checked step
// by step by the table model.)
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "platform/clocks.hpp"
#include "table_api.hpp"

using namespace tabletest;

namespace {

std::vector<intptr_t> g_data_destroyed, g_keys_destroyed;
void destroy_data(void *p) { g_data_destroyed.push_back(val(p)); }
void destroy_key(void *p) { g_keys_destroyed.push_back(val(p)); }
void *copy_data(void *p) { return ptr(val(p) + 1000); }
void *failing_copy(void *) { return nullptr; }

using ClockShift = FrozenClock;

uint32_t last_native()
{
    int kind = 0;
    return ox_error_get_last_native(&kind);
}

class Tables : public ::testing::TestWithParam<TableApi> {
protected:
    void SetUp() override
    {
        g_data_destroyed.clear();
        g_keys_destroyed.clear();
    }
    void *make(int ownership, uint32_t buckets = 7, ox_data_copy copy = copy_data)
    {
        void *t =
            api().make(destroy_data, copy, compare_ints, destroy_key, hash_int, buckets, ownership);
        EXPECT_NE(t, nullptr);
        return t;
    }
    const TableApi &api() const { return GetParam(); }
};

// The last errors that expiry leaves (results, and what is destroyed when,
// are checked step by step by the table model): EEXIST for a live
// duplicate, ETIME for an expired lookup, EBUSY for a try-add past a busy
// expired entry and for a try flush that keeps busy entries.
TEST_P(Tables, LastErrorsOfExpiry)
{
    void *t = make(1);
    ClockShift clock(0);
    void *out = nullptr;
    ASSERT_EQ(api().add_with_ttl(t, ptr(3), ptr(30), 1, 0), 0);
    ASSERT_EQ(api().add_with_ttl(t, ptr(5), ptr(50), 1, 0), 0);
    EXPECT_EQ(api().add_with_ttl(t, ptr(3), ptr(31), 5, 0), OX_EEXIST);
    EXPECT_EQ(ox_error_get_last(), OX_EEXIST);
    ASSERT_EQ(api().reference(t, ptr(3), &out), 0);
    ASSERT_EQ(api().reference(t, ptr(5), &out), 0);
    clock.to(2);
    EXPECT_EQ(api().find_with_ttl(t, ptr(3), &out, 100, 1), 80);
    EXPECT_EQ(last_native(), static_cast<uint32_t>(ETIME));  // errno 137 of the reference platform
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    ASSERT_EQ(api().add_with_ttl(t, ptr(3), ptr(31), 10, 1), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EBUSY);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    int removed = -1;
    EXPECT_EQ(api().try_ttl_flush(t, &removed), OX_EBUSY);
    EXPECT_EQ(ox_error_get_last(), OX_EBUSY);
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(api().try_ttl_flush(t, nullptr), OX_EBUSY);
    api().destroy(t);
}

// Every lookup form re-arms the expiry, a lookup whose copy fails too (the
// sliding rules themselves are checked step by step by the table model).
TEST_P(Tables, EveryLookupFormReArmsEvenWhenItsCopyFails)
{
    void *nocopy = make(0, 7, failing_copy);
    ClockShift clock(0);
    void *out = nullptr;
    ASSERT_EQ(api().add_with_ttl(nocopy, ptr(1), ptr(10), 1, 0), 0);
    clock.to(1);
    EXPECT_EQ(api().get_with_ttl(nocopy, ptr(1), &out, 3, 0), OX_ENOMEM);
    clock.to(4);
    EXPECT_EQ(api().reference_with_ttl(nocopy, ptr(1), &out, 3, 0), 0);
    clock.to(7);
    EXPECT_EQ(api().unreference_with_ttl(nocopy, ptr(1), 3, 0), 0);
    clock.to(10);
    EXPECT_EQ(api().get(nocopy, ptr(1), &out), OX_ENOMEM);
    EXPECT_EQ(out, nullptr);
    clock.to(11);
    EXPECT_EQ(api().find(nocopy, ptr(1), &out), 80);
    api().destroy(nocopy);
}

// A table that owns its data but has no data destructor hands removed data
// back.  (Ownership otherwise is checked step by step by the table model.)
TEST_P(Tables, OwningTableWithoutDestructorHandsDataBack)
{
    void *bare = api().make(nullptr, nullptr, compare_ints, nullptr, hash_int, 3, 1);
    ASSERT_NE(bare, nullptr);
    void *out = nullptr;
    ASSERT_EQ(api().add(bare, ptr(1), ptr(10)), 0);
    ASSERT_EQ(api().remove(bare, ptr(1), &out), 0);
    EXPECT_EQ(out, ptr(10));
    api().destroy(bare);
}

// Iteration goes bucket by bucket, newest first in a chain, and only
// forwards; the key comes with the data.  (Repair after removals and after
// expired lookups is checked step by step by the table model.)
TEST_P(Tables, IterationBucketByBucketForwardOnly)
{
    void *t = make(0, 4);
    ox_iterator *it = ox_iterator_new(t);
    ASSERT_NE(it, nullptr);
    void *out = ptr(-1), *key = nullptr;
    EXPECT_EQ(ox_iterator_start_key_data(it, &key, &out), OX_ENOENT);
    EXPECT_EQ(out, nullptr);
    for (intptr_t k : {1, 2, 5, 7, 9})
        ASSERT_EQ(api().add(t, ptr(k), ptr(k * 10)), 0);
    // Buckets 1: 9,5,1; 2: 2; 3: 7.  The reader-writer table kept only the
    // newest of each bucket.
    std::vector<intptr_t> seen;
    for (int rc = ox_iterator_start_key_data(it, &key, &out); rc == 0;
         rc = ox_iterator_next_key_data(it, &key, &out)) {
        EXPECT_EQ(val(out), val(key) * 10);
        seen.push_back(val(key));
    }
    const std::vector<intptr_t> want =
        api().rw ? std::vector<intptr_t>{9, 2, 7} : std::vector<intptr_t>{9, 5, 1, 2, 7};
    EXPECT_EQ(seen, want);
    EXPECT_EQ(ox_iterator_next(it, &out), OX_ENOENT);
    EXPECT_EQ(ox_iterator_previous(it, &out), OX_ENOTSUP);
    EXPECT_EQ(ox_iterator_end(it, &out), OX_ENOTSUP);
    EXPECT_EQ(ox_iterator_destroy(it), 0);
    api().destroy(t);
}

TEST_P(Tables, BadArgumentsGiveResultsNotCrashes)
{
    void *t = make(0);
    void *out = ptr(-1);
    struct Case {
        const char *what;
        int rc;
    };
    const TableApi &a = api();
    std::vector<Case> cases = {
        {"destroy", a.destroy(nullptr)},
        {"add", a.add(nullptr, ptr(1), ptr(1))},
        {"add null key", a.add(t, nullptr, ptr(1))},
        {"add_with_ttl", a.add_with_ttl(nullptr, ptr(1), ptr(1), 1, 0)},
        {"find", a.find(nullptr, ptr(1), &out)},
        {"find null key", a.find(t, nullptr, &out)},
        {"find null out", a.find(t, ptr(1), nullptr)},
        {"reference", a.reference(nullptr, ptr(1), &out)},
        {"unreference", a.unreference(nullptr, ptr(1))},
        {"get", a.get(t, ptr(1), nullptr)},
        {"find_with_ttl", a.find_with_ttl(nullptr, ptr(1), &out, 1, 0)},
        {"unreference_with_ttl", a.unreference_with_ttl(t, nullptr, 1, 0)},
        {"replace", a.replace(nullptr, ptr(1), nullptr, ptr(1), nullptr)},
        {"replace null key", a.replace(t, nullptr, nullptr, ptr(1), nullptr)},
        {"remove", a.remove(nullptr, ptr(1), &out)},
        {"try_remove", a.try_remove(t, nullptr, &out)},
        {"remove_all", a.remove_all(nullptr)},
        {"ttl_flush", a.ttl_flush(nullptr, nullptr)},
        {"try_ttl_flush", a.try_ttl_flush(nullptr, nullptr)},
        {"foreach", a.foreach (
                        nullptr, [](void *, void *) {}, nullptr)},
        {"foreach null fn", a.foreach (t, nullptr, nullptr)},
    };
    for (const Case &c : cases)
        EXPECT_EQ(c.rc, OX_ENULL) << c.what;
    EXPECT_EQ(out, nullptr);  // every lookup clears its out first
    EXPECT_EQ(a.size(nullptr), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    // Creators refuse what would crash later.
    EXPECT_EQ(a.make(nullptr, nullptr, compare_ints, nullptr, hash_int, 0, 0), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(a.make(nullptr, nullptr, nullptr, nullptr, hash_int, 3, 0), nullptr);
    EXPECT_EQ(a.make(nullptr, nullptr, compare_ints, nullptr, nullptr, 3, 0), nullptr);
    a.destroy(t);
}

INSTANTIATE_TEST_SUITE_P(BothKinds, Tables, ::testing::Values(kTable, kRwTable),
                         [](const ::testing::TestParamInfo<TableApi> &p) {
                             return std::string(p.param.name);
                         });

uint32_t hash_str(void *k) { return ox_hash_string(static_cast<const char *>(k)); }
int compare_str(void *a, void *b)
{
    return std::strcmp(static_cast<char *>(a), static_cast<char *>(b));
}

TEST(TableTest, StringHashesAndKeysOfEqualHash)
{
    EXPECT_EQ(ox_hash_string(""), 5381u);
    EXPECT_EQ(ox_hash_string("a"), 177670u);
    EXPECT_EQ(ox_hash_string("ab"), 177670u * 33u + 98u);
    EXPECT_EQ(ox_hash_string("\xff"), 5381u * 33u + 255u);  // bytes are unsigned
    EXPECT_EQ(hashstr("", 77), 77u);
    EXPECT_EQ(hashstr(nullptr, 77), 77u);
    EXPECT_EQ(hashstr("Hello World", 3), hashstr("hELLO wORLD", 3));
    EXPECT_NE(hashstr("hello", 3), hashstr("hellp", 3));
    EXPECT_EQ(hashstr("a", 5), 5u * 231u + 97u);
    // A seed chosen so that "a" hashes to 0 gives 1: seed * 231 + 97 == 0
    // modulo 2^32, with the inverse of 231 by Newton's iteration.
    uint32_t inv = 231;
    for (int i = 0; i < 5; ++i)
        inv *= 2u - 231u * inv;
    ASSERT_EQ(231u * inv, 1u);
    uint32_t seed = (0u - 97u) * inv;
    EXPECT_EQ(hashstr("a", seed), 1u);
    EXPECT_EQ(hashstr("A", seed), 1u);
    // ox_hash_string keys a table of strings.
    ox_table *t = ox_table_new(nullptr, nullptr, compare_str, nullptr, hash_str, 491, 0);
    ASSERT_NE(t, nullptr);
    char k1[] = "host.example", k2[] = "host.example";
    ASSERT_EQ(ox_table_add_with_ttl(t, k1, ptr(1), 1800, 0), 0);
    void *out = nullptr;
    EXPECT_EQ(ox_table_find(t, k2, &out), 0);
    EXPECT_EQ(ox_table_add_with_ttl(t, k2, ptr(2), 1800, 0), OX_EEXIST);
    ox_table_destroy(t);

    // Keys of equal hash share a chain and are still told apart by the
    // comparison; keys of different hash in one bucket never reach it.
    static int compares = 0;
    t = ox_table_new(
        nullptr, nullptr,
        [](void *a, void *b) {
            ++compares;
            return compare_ints(a, b);
        },
        nullptr, [](void *k) { return static_cast<uint32_t>(val(k) % 2); }, 1, 0);
    ASSERT_NE(t, nullptr);
    for (intptr_t k = 1; k <= 6; ++k)
        ASSERT_EQ(ox_table_add_with_ttl(t, ptr(k), ptr(k * 10), 100, 0), 0);
    for (intptr_t k = 1; k <= 6; ++k) {
        compares = 0;
        ASSERT_EQ(ox_table_find(t, ptr(k), &out), 0);
        EXPECT_EQ(out, ptr(k * 10));
        EXPECT_LE(compares, 3);  // only the three keys of the same parity
    }
    EXPECT_EQ(ox_table_find(t, ptr(8), &out), OX_ENOENT);
    ox_table_destroy(t);
}

// Threads add, look up, reference and remove disjoint and shared keys; the
// count and every entry's presence stay consistent.
TEST(TableTest, ConcurrentOperationsKeepCounts)
{
    for (const TableApi *a : {&kTable, &kRwTable}) {
        void *t = a->make(nullptr, nullptr, compare_ints, nullptr, hash_int, 8192, 0);
        ASSERT_NE(t, nullptr);
        constexpr int kThreads = 4, kKeys = 2000;
        std::vector<std::thread> threads;
        for (int id = 0; id < kThreads; ++id)
            threads.emplace_back([a, t, id] {
                for (int round = 0; round < 3; ++round) {
                    for (intptr_t k = 1; k <= kKeys; ++k)
                        EXPECT_EQ(a->add_with_ttl(t, ptr(id * kKeys + k), ptr(k), 1000, 0), 0);
                    void *out = nullptr;
                    for (intptr_t k = 1; k <= kKeys; ++k) {
                        EXPECT_EQ(a->find_with_ttl(t, ptr(id * kKeys + k), &out, 1000, 0), 0);
                        EXPECT_EQ(out, ptr(k));
                        a->size(t);
                    }
                    for (intptr_t k = 1; k <= kKeys; ++k)
                        EXPECT_EQ(a->remove(t, ptr(id * kKeys + k), &out), 0);
                }
            });
        for (auto &th : threads)
            th.join();
        EXPECT_EQ(a->size(t), 0);
        a->destroy(t);
    }
}

}  // namespace
