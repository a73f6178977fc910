// Arrays: references and copies, failed growth leaves the array as it was,
// and the usual argument checks.
#include <gtest/gtest.h>

#include <cstdint>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "containers/container.hpp"
#include "platform/alloc.hpp"
#include "platform/alloc_testing.hpp"

namespace {

void *ptr(intptr_t v) { return reinterpret_cast<void *>(v); }
intptr_t val(void *p) { return reinterpret_cast<intptr_t>(p); }
int compare_keys(void *a, void *b) { return val(a) < val(b) ? -1 : val(a) > val(b) ? 1 : 0; }

// Slot numbers, lookups, out-of-range slots and iterators across growth are
// checked step by step by the array model.

void *failing_copy(void *) { return nullptr; }

TEST(Array, ReferencesCopiesAndArguments)
{
    ox_array *a = ox_array_new(nullptr, failing_copy, compare_keys, nullptr, 0);
    ASSERT_NE(a, nullptr);
    ox_array_add(a, ptr(5), ptr(50));
    void *out = nullptr;
    ASSERT_EQ(ox_array_reference_b(a, ptr(5), &out), 0);
    EXPECT_EQ(ox_array_try_remove_node_b(a, ptr(5), &out), 12);
    ASSERT_EQ(ox_array_unreference_b(a, ptr(5)), 0);
    EXPECT_EQ(ox_array_unreference_b(a, ptr(7)), 49);
    EXPECT_EQ(ox_array_index_b(a, ptr(30)), -1);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);
    EXPECT_EQ(ox_array_get(a, ptr(5), &out), 53);
    EXPECT_EQ(out, nullptr);
    out = ptr(1);
    EXPECT_EQ(ox_array_get_b(a, ptr(5), &out), 53);  // the copy fails
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(ox_array_add(a, ptr(6), nullptr), 2);
    EXPECT_EQ(ox_array_add(nullptr, ptr(6), ptr(1)), 2);
    EXPECT_EQ(ox_array_find(a, nullptr, &out), 2);
    EXPECT_EQ(ox_array_find(a, ptr(5), nullptr), 2);
    EXPECT_EQ(ox_array_index(nullptr, ptr(5)), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_array_size(nullptr), 0);
    // An iterator on the element also makes it busy.
    ox_iterator *it = ox_iterator_new(a);
    ASSERT_EQ(ox_iterator_start(it, &out), 0);
    EXPECT_EQ(ox_array_try_remove_node(a, ptr(5), &out), 12);
    EXPECT_EQ(ox_array_destroy(a), 12);
    EXPECT_EQ(ox_array_remove_node(a, ptr(5), &out), 0);
    EXPECT_EQ(ox_iterator_next(it, &out), 49);  // repaired to none
    ox_iterator_destroy(it);
    EXPECT_EQ(ox_array_destroy(a), 0);
}

TEST(Array, FailedGrowthLeavesTheArrayUnchanged)
{
    ox_array *a = ox_array_new(nullptr, nullptr, compare_keys, nullptr, 0);
    ASSERT_NE(a, nullptr);
    for (intptr_t i = 0; i < 256; ++i)
        ox_array_add(a, ptr(i), ptr(i + 1));
    for (int n : {1, 2}) {
        cairn::testing::alloc_fail_at(n);
        EXPECT_EQ(ox_array_add(a, ptr(999), ptr(1)), OX_ENOMEM);
        cairn::testing::alloc_fail_at(0);
        EXPECT_EQ(ox_array_size(a), 256);
        EXPECT_EQ(ox_array_index_b(a, ptr(255)), 255);
    }
    EXPECT_EQ(ox_array_add(a, ptr(999), ptr(1)), 0);
    EXPECT_EQ(ox_array_index_b(a, ptr(999)), 256);
    EXPECT_EQ(ox_array_remove_index(a, 256, nullptr), 0);  // nowhere to hand the data
    EXPECT_EQ(ox_array_size(a), 256);
    ox_array_destroy(a);
}

}  // namespace
