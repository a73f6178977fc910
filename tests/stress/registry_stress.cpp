// Registry races: eight threads create, share, reference and destroy handles
// of every type through a table of slots.  Every reference has exactly one
// owner at any time, so every result is exact; at the end the registry holds
// what it held before.
#include "stress_support.hpp"

#include "cairn/containers.h"
#include "cairn/frame.h"

namespace cairn::stress {
namespace {

void nothing(void *) {}
int made_marker;  // data of the elements that use() adds

// Per handle type: how it is made, used the way its type is used (so a
// handle freed under its user shows up in the sanitizers) and destroyed.
struct Type {
    void *(*make)();
    void (*use)(void *);
    int (*destroy)(void *);
};

template <typename T>
T *as(void *p)
{
    return static_cast<T *>(p);
}

const Type kTypes[] = {
    {[]() -> void * { return ox_mutex_new(); },
     [](void *h) {
         int r = ox_mutex_lock(as<ox_mutex>(h));
         ASSERT_TRUE(r == 0 || r == OX_EDEADLK) << r;
         if (r == 0) {
             ASSERT_EQ(ox_mutex_unlock(as<ox_mutex>(h)), 0);
         }
     },
     ox_event_destroy},
    {[]() -> void * { return ox_event_new(); },
     [](void *h) { ASSERT_EQ(ox_event_signal(as<ox_event>(h)), 0); }, ox_event_destroy},
    {[]() -> void * { return ox_semaphore_new(1); },
     [](void *h) {
         if (ox_semaphore_trywait(as<ox_semaphore>(h)) == 0) {
             ASSERT_EQ(ox_semaphore_post(as<ox_semaphore>(h)), 0);
         }
     },
     [](void *h) { return ox_semaphore_destroy(as<ox_semaphore>(h)); }},
    {[]() -> void * { return ox_rwlock_new(); },
     [](void *h) {
         if (ox_rwlock_read_lock(as<ox_rwlock>(h)) == 0) {
             ASSERT_EQ(ox_rwlock_unlock(as<ox_rwlock>(h)), 0);
         }
     },
     [](void *h) { return ox_rwlock_destroy(as<ox_rwlock>(h)); }},
    {[]() -> void * { return ox_atomic_new(0); },
     [](void *h) { ox_atomic_increment(as<ox_atomic>(h)); },
     [](void *h) { return ox_atomic_destroy(as<ox_atomic>(h)); }},
    {[]() -> void * { return ox_list_new(nullptr, nullptr, nullptr, nullptr, 0); },
     [](void *h) { ASSERT_EQ(ox_list_append(as<ox_list>(h), nullptr, &made_marker), 0); },
     [](void *h) { return ox_list_destroy(as<ox_list>(h)); }},
    {[]() -> void * { return ox_array_new(nullptr, nullptr, nullptr, nullptr, 0); },
     [](void *h) { ASSERT_GE(ox_array_add(as<ox_array>(h), nullptr, &made_marker), 0); },
     [](void *h) { return ox_array_destroy(as<ox_array>(h)); }},
    {[]() -> void * { return ox_timer_new(1000, 0, nothing, nullptr, nullptr); },
     [](void *h) { ASSERT_EQ(ox_timer_get_value(as<ox_timer>(h)), 0u); },
     [](void *h) { return ox_timer_destroy(as<ox_timer>(h)); }},
};
constexpr uint32_t kTypeCount = sizeof kTypes / sizeof kTypes[0];

struct Handle {
    const Type *type;
    void *obj;
    void use() const { type->use(obj); }
    int destroy() const { return type->destroy(obj); }
};

TEST(StressRegistry, CreateShareReferenceDestroy)
{
    Watchdog dog(300);
    // Let the registry and the library's own lazily made objects exist first.
    for (const Type &t : kTypes)
        ASSERT_EQ(t.destroy(t.make()), 0);
    run_threads(2, [](int) {});
    const std::size_t before = registry_live_count();
    constexpr int kSlots = 64;
    std::atomic<Handle *> slots[kSlots] = {};
    const int n = ops(20000);
    std::atomic<long> made{0}, freed{0};
    run_threads(kThreads, [&](int i) {
        Rng rng(i + 51);
        for (int k = 0; k < n; ++k) {
            auto &slot = slots[rng() % kSlots];
            Handle *h = slot.exchange(nullptr);  // we now own the slot's reference
            if (h == nullptr) {
                const Type &type = kTypes[rng() % kTypeCount];
                Handle fresh{&type, type.make()};
                ASSERT_NE(fresh.obj, nullptr);
                ++made;
                h = new Handle(fresh);
            }
            h->use();
            // Share: take a second reference, put the handle back for others,
            // use it and drop our reference while others may hold theirs.
            if (rng() % 2 == 0) {
                ASSERT_EQ(ox_object_reference(h->obj), 0);
                Handle mine = *h;
                Handle *displaced = slot.exchange(h);
                mine.use();
                ASSERT_EQ(mine.destroy(), 0);
                if (displaced != nullptr) {
                    ASSERT_EQ(displaced->destroy(), 0);
                    ++freed;
                    delete displaced;
                }
            } else {
                ASSERT_EQ(h->destroy(), 0);
                ++freed;
                delete h;
            }
        }
    });
    for (auto &slot : slots) {
        if (Handle *h = slot.exchange(nullptr)) {
            EXPECT_EQ(h->destroy(), 0);
            ++freed;
            delete h;
        }
    }
    EXPECT_EQ(freed.load(), made.load());
    EXPECT_EQ(registry_live_count(), before);
}

}  // namespace
}  // namespace cairn::stress
