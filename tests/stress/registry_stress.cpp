// Registry races: eight threads create, share, reference and destroy handles
// of every type through a table of slots.  Every reference has exactly one
// owner at any time, so every result is exact; at the end the registry holds
// what it held before.
#include "stress_support.hpp"

#include "cairn/containers.h"
#include "cairn/frame.h"

namespace cairn::stress {
namespace {

enum Type { kMutexT, kEventT, kSemaphoreT, kRwlockT, kAtomicT, kListT, kArrayT, kTimerT, kTypes };

struct Handle {
    Type type;
    void *obj;
};

void nothing(void *) {}
int made_marker;  // data of the elements that use() adds

Handle make(Type type)
{
    switch (type) {
    case kMutexT:
        return {type, ox_mutex_new()};
    case kEventT:
        return {type, ox_event_new()};
    case kSemaphoreT:
        return {type, ox_semaphore_new(1)};
    case kRwlockT:
        return {type, ox_rwlock_new()};
    case kAtomicT:
        return {type, ox_atomic_new(0)};
    case kListT:
        return {type, ox_list_new(nullptr, nullptr, nullptr, nullptr, 0)};
    case kArrayT:
        return {type, ox_array_new(nullptr, nullptr, nullptr, nullptr, 0)};
    default:
        return {type, ox_timer_new(1000, 0, nothing, nullptr, nullptr)};
    }
}

// Use the handle the way its type is used, so a handle freed under its user
// shows up in the sanitizers.
void use(const Handle &h)
{
    switch (h.type) {
    case kMutexT: {
        int r = ox_mutex_lock(static_cast<ox_mutex *>(h.obj));
        ASSERT_TRUE(r == 0 || r == OX_EDEADLK) << r;
        if (r == 0) {
            ASSERT_EQ(ox_mutex_unlock(static_cast<ox_mutex *>(h.obj)), 0);
        }
        break;
    }
    case kEventT:
        ASSERT_EQ(ox_event_signal(static_cast<ox_event *>(h.obj)), 0);
        break;
    case kSemaphoreT:
        if (ox_semaphore_trywait(static_cast<ox_semaphore *>(h.obj)) == 0) {
            ASSERT_EQ(ox_semaphore_post(static_cast<ox_semaphore *>(h.obj)), 0);
        }
        break;
    case kRwlockT:
        if (ox_rwlock_read_lock(static_cast<ox_rwlock *>(h.obj)) == 0) {
            ASSERT_EQ(ox_rwlock_unlock(static_cast<ox_rwlock *>(h.obj)), 0);
        }
        break;
    case kAtomicT:
        ox_atomic_increment(static_cast<ox_atomic *>(h.obj));
        break;
    case kListT:
        ASSERT_EQ(ox_list_append(static_cast<ox_list *>(h.obj), nullptr, &made_marker), 0);
        break;
    case kArrayT:
        ASSERT_GE(ox_array_add(static_cast<ox_array *>(h.obj), nullptr, &made_marker), 0);
        break;
    default:
        ASSERT_EQ(ox_timer_get_value(static_cast<ox_timer *>(h.obj)), 0u);
    }
}

int destroy(const Handle &h)
{
    switch (h.type) {
    case kMutexT:
    case kEventT:
        return ox_event_destroy(h.obj);
    case kSemaphoreT:
        return ox_semaphore_destroy(static_cast<ox_semaphore *>(h.obj));
    case kRwlockT:
        return ox_rwlock_destroy(static_cast<ox_rwlock *>(h.obj));
    case kAtomicT:
        return ox_atomic_destroy(static_cast<ox_atomic *>(h.obj));
    case kListT:
        return ox_list_destroy(static_cast<ox_list *>(h.obj));
    case kArrayT:
        return ox_array_destroy(static_cast<ox_array *>(h.obj));
    default:
        return ox_timer_destroy(static_cast<ox_timer *>(h.obj));
    }
}

TEST(StressRegistry, CreateShareReferenceDestroy)
{
    Watchdog dog(300);
    // Let the registry and the library's own lazily made objects exist first.
    for (int t = 0; t < kTypes; ++t)
        ASSERT_EQ(destroy(make(static_cast<Type>(t))), 0);
    run_threads(2, [](int) {});
    const std::size_t before = registry_live_count();
    constexpr int kSlots = 64;
    std::atomic<Handle *> slots[kSlots] = {};
    const int n = ops(20000);
    std::atomic<long> made{0}, freed{0};
    run_threads(kThreads, [&](int i) {
        Rng rng(i + 51);
        for (int k = 0; k < n; ++k) {
            auto &slot = slots[rng.below(kSlots)];
            Handle *h = slot.exchange(nullptr);  // we now own the slot's reference
            if (h == nullptr) {
                Handle fresh = make(static_cast<Type>(rng.below(kTypes)));
                ASSERT_NE(fresh.obj, nullptr);
                ++made;
                h = new Handle(fresh);
            }
            use(*h);
            // Share: take a second reference, put the handle back for others,
            // use it and drop our reference while others may hold theirs.
            if (rng.below(2) == 0) {
                ASSERT_EQ(ox_object_reference(h->obj), 0);
                Handle mine = *h;
                Handle *displaced = slot.exchange(h);
                use(mine);
                ASSERT_EQ(destroy(mine), 0);
                if (displaced != nullptr) {
                    ASSERT_EQ(destroy(*displaced), 0);
                    ++freed;
                    delete displaced;
                }
            } else {
                ASSERT_EQ(destroy(*h), 0);
                ++freed;
                delete h;
            }
        }
    });
    for (auto &slot : slots) {
        if (Handle *h = slot.exchange(nullptr)) {
            EXPECT_EQ(destroy(*h), 0);
            ++freed;
            delete h;
        }
    }
    EXPECT_EQ(freed.load(), made.load());
    EXPECT_EQ(registry_live_count(), before);
}

}  // namespace
}  // namespace cairn::stress
