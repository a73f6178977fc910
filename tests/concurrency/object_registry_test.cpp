// The object registry: slot growth and reuse, stale handles, public
// reference counting, and registration from several threads.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "concurrency/free_slot_index.hpp"
#include "concurrency/object_registry.hpp"
#include "fault_injection.hpp"
#include "platform/alloc_testing.hpp"

namespace {

struct Obj {
    ox_object_header header{};
    int destroyed = 0;
};

int register_obj(Obj &o, ox_object_destructor d = nullptr)
{
    int index = _ox_object_reference(&o, d);
    if (index >= 0) {
        o.header.index = index;
        o.header.flags |= OX_OBJECT_VALID;
    }
    return index;
}

// A destructor in the pattern every handle type follows.
int counting_destructor(void *p)
{
    auto *o = static_cast<Obj *>(p);
    int left = _ox_object_unreference(o);
    if (left == 0)
        ++o->destroyed;
    return left < 0 ? OX_ENOENT : OX_SUCCESS;
}

// Registry layout depends on what the process registered before, so the
// layout checks run in a fresh child; each failed check is its exit status.
TEST(ObjectRegistry, GrowthReuseFailedGrowthAndExitCleanupInAFreshProcess)
{
    auto result = cairn::testing::run_in_child([] {
        std::vector<Obj> objs(200);
        // Growth by 32; freed slots 5 and 9 are taken lowest first, then 33.
        for (int i = 0; i < 32; ++i)
            if (register_obj(objs[i]) != i)
                std::exit(1);
        if (cairn::registry_capacity() != 32)
            std::exit(2);
        if (register_obj(objs[32]) != 32 || cairn::registry_capacity() != 64)
            std::exit(3);
        if (_ox_object_unreference(&objs[9]) != 0 || _ox_object_unreference(&objs[5]) != 0)
            std::exit(4);
        if (register_obj(objs[33]) != 5 || register_obj(objs[34]) != 9 ||
            register_obj(objs[35]) != 33)
            std::exit(5);
        // The old handle in slot 5 is now stale.
        if (ox_object_reference(&objs[5]) != OX_ENOENT)
            std::exit(6);
        int kind = 0;
        if (ox_error_get_last_native(&kind) != ENOENT || kind != OX_ERRKIND_ERRNO)
            std::exit(7);
        if (_ox_object_unreference(&objs[5]) != -1)
            std::exit(8);
        // Fill the registry exactly (34 of 64 used), then fail its growth:
        // reported, the registry as it was, and the next registration grows it.
        size_t used = 36;
        while (cairn::registry_capacity() == 64)
            register_obj(objs[used++]);
        for (int i = 0; i < 31; ++i)
            register_obj(objs[used++]);
        size_t full = cairn::registry_capacity();
        if (full != 96 || cairn::registry_live_count() != 96)
            std::exit(9);
        cairn::testing::alloc_fail_at(1);
        int index = register_obj(objs[used]);
        cairn::testing::alloc_fail_at(0);
        if (index != -1 || ox_error_get_last() != OX_ENOMEM || cairn::registry_capacity() != full)
            std::exit(10);
        if (register_obj(objs[used]) != static_cast<int>(full))
            std::exit(11);
        // Attribute flags are set by the owner.
        Obj &a = objs[0];
        if (ox_object_set_attribute(&a, 0x40u) != 0 ||
            a.header.flags != (OX_OBJECT_VALID | 0x40u) ||
            ox_object_set_attribute(nullptr, 1) != OX_ENULL)
            std::exit(12);
        // Exit clean-up not enabled: the registry stays for late exit code.
        ox_object_once_cleanup_atexit();
        if (cairn::registry_capacity() != 128 || ox_object_reference(&a) != 0)
            std::exit(13);
        // Enabled: it is freed, and a later registration starts afresh.
        enable_ox_object_cleanup();
        ox_object_once_cleanup_atexit();
        if (cairn::registry_capacity() != 0)
            std::exit(14);
        Obj b;
        if (register_obj(b) != 0 || cairn::registry_live_count() != 1)
            std::exit(15);
        std::exit(0);
    });
    EXPECT_TRUE(result.exited);
    EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(ObjectRegistry, ForeignHandlesAreRejectedAndPublicReferencesCounted)
{
    EXPECT_EQ(ox_object_reference(nullptr), OX_EINVAL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ox_object_unreference(nullptr), OX_EINVAL);

    Obj unflagged;
    EXPECT_EQ(ox_object_reference(&unflagged), OX_EINVAL);

    Obj live;
    ASSERT_GE(register_obj(live), 0);
    // A foreign object claiming the same slot, and one pointing far away.
    Obj forged;
    forged.header = live.header;
    EXPECT_EQ(ox_object_reference(&forged), OX_ENOENT);
    forged.header.index = 1 << 30;
    EXPECT_EQ(ox_object_unreference(&forged), OX_ENOENT);
    forged.header.index = -3;
    EXPECT_EQ(_ox_object_unreference(&forged), -1);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);
    EXPECT_EQ(_ox_object_unreference(nullptr), -1);

    EXPECT_EQ(_ox_object_unreference(&live), 0);

    // Public references: the destructor runs once, on the last release.
    Obj o;
    ASSERT_GE(register_obj(o, counting_destructor), 0);
    EXPECT_EQ(ox_object_reference(&o), 0);
    EXPECT_EQ(ox_object_reference(&o), 0);
    EXPECT_EQ(ox_object_unreference(&o), 0);
    EXPECT_EQ(ox_object_unreference(&o), 0);
    EXPECT_EQ(o.destroyed, 0);
    EXPECT_EQ(ox_object_unreference(&o), 0);
    EXPECT_EQ(o.destroyed, 1);
    // Gone from the registry now.
    EXPECT_EQ(ox_object_reference(&o), OX_ENOENT);
}

TEST(ObjectRegistry, DyingObjectCannotBeReferencedAgain)
{
    // While the destructor runs (count 0, the slot not yet dropped), the
    // object is gone for everyone else: a new reference or release is 49.
    // The other thread takes the registry lock, so it could never finish if
    // the destructor ran under it; the destructor's result comes back as is.
    static Obj o;
    static std::atomic<int> seen_reference{-1};
    static std::atomic<int> seen_unreference{-1};
    auto destructor = [](void *p) -> int {
        std::thread other([p] {
            seen_reference = ox_object_reference(p);
            seen_unreference = ox_object_unreference(p);
        });
        other.join();
        return counting_destructor(p) == OX_SUCCESS ? 42 : -1;
    };
    ASSERT_GE(register_obj(o, destructor), 0);
    EXPECT_EQ(ox_object_unreference(&o), 42);
    EXPECT_EQ(seen_reference.load(), OX_ENOENT);
    EXPECT_EQ(seen_unreference.load(), OX_ENOENT);
    EXPECT_EQ(o.destroyed, 1);
    EXPECT_EQ(ox_object_reference(&o), OX_ENOENT);
}

// Registrations from many threads at once are checked by StressRegistry.

TEST(FreeSlotIndex, MatchesAnOrderedSetModel)
{
    cairn::FreeSlotIndex index;
    std::set<size_t> model;
    std::mt19937 rng(1234);
    size_t universe = 0;
    for (int step = 0; step < 200000; ++step) {
        int op = static_cast<int>(rng() % 10);
        if (op == 0 || universe == 0) {
            size_t grown = universe + 32;
            ASSERT_TRUE(index.grow(grown));
            for (size_t i = universe; i < grown; ++i)
                model.insert(i);
            universe = grown;
        } else if (op < 6) {
            long lowest = index.lowest();
            if (model.empty()) {
                ASSERT_EQ(lowest, -1);
                continue;
            }
            ASSERT_EQ(lowest, static_cast<long>(*model.begin()));
            index.erase(static_cast<size_t>(lowest));
            model.erase(model.begin());
        } else {
            size_t i = rng() % universe;
            if (!model.count(i)) {
                index.insert(i);
                model.insert(i);
            }
        }
    }
    EXPECT_GT(universe, 10000u);  // reached several levels of the tree
}

}  // namespace
