// The process-wide object registry: slots of (object, reference count,
// destructor), the lowest free slot reused first, grown 32 slots at a time.
#include "concurrency/object_registry.hpp"

#include <atomic>
#include <cerrno>
#include <new>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/free_slot_index.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"

namespace cairn {
namespace {

constexpr std::size_t kGrowth = 32;

struct Slot {
    void *obj;
    int32_t refs;
    ox_object_destructor destructor;
};

// Slots live in fixed chunks of 32 so that growth never moves a slot.
struct Registry {
    CriticalSection lock{100};
    Slot **chunks = nullptr;
    std::size_t chunk_count = 0;
    std::size_t chunk_room = 0;
    FreeSlotIndex free;

    ~Registry()
    {
        for (std::size_t i = 0; i < chunk_count; ++i)
            mem_free(chunks[i]);
        mem_free(chunks);
    }

    std::size_t capacity() const { return chunk_count * kGrowth; }
    Slot &at(std::size_t i) { return chunks[i / kGrowth][i % kGrowth]; }

    bool grow()
    {
        if (chunk_count == chunk_room) {
            std::size_t room = chunk_room ? chunk_room * 2 : 4;
            // An array of chunk pointers: sizeof(Slot *) is meant.
            // NOLINTNEXTLINE(bugprone-sizeof-expression)
            auto *grown = static_cast<Slot **>(mem_realloc(chunks, room * sizeof(Slot *)));
            if (grown == nullptr)
                return false;
            chunks = grown;
            chunk_room = room;
        }
        auto *chunk = static_cast<Slot *>(mem_calloc(kGrowth, sizeof(Slot)));
        if (chunk == nullptr)
            return false;
        if (!free.grow(capacity() + kGrowth)) {
            mem_free(chunk);
            return false;
        }
        chunks[chunk_count++] = chunk;
        return true;
    }

    // The slot that holds `obj` according to its header, or nullptr.  A
    // slot at count 0 belongs to an object whose destructor runs: it is
    // gone for every caller but that destructor (see live_slot_of).
    Slot *slot_of(void *obj)
    {
        int32_t index = static_cast<ox_object_header *>(obj)->index;
        if (index < 0 || static_cast<std::size_t>(index) >= capacity())
            return nullptr;
        Slot &slot = at(static_cast<std::size_t>(index));
        return slot.obj == obj ? &slot : nullptr;
    }

    // The slot of a live object (count above 0), or nullptr.
    Slot *live_slot_of(void *obj)
    {
        Slot *slot = slot_of(obj);
        return slot != nullptr && slot->refs > 0 ? slot : nullptr;
    }

    void release(Slot &slot, std::size_t index)
    {
        slot = Slot{};
        free.insert(index);
    }
};

std::atomic<Registry *> g_registry;
ox_once_t g_registry_once;
std::atomic<bool> g_cleanup_enabled;

CriticalSection *registry_lock()
{
    Registry *r = g_registry.load(std::memory_order_acquire);
    return r != nullptr ? &r->lock : nullptr;
}

void create_registry()
{
    g_registry.store(mem_new<Registry>(), std::memory_order_release);
    fork_protect(ForkRank::registry, registry_lock);
}

// The registry, created on first use.  A failed creation is retried by the
// next registration instead of being remembered.
Registry *registry()
{
    ox_once(&g_registry_once, create_registry);
    Registry *r = g_registry.load(std::memory_order_acquire);
    if (r == nullptr)
        ox_once_reset(&g_registry_once);
    return r;
}

Registry *existing_registry() { return g_registry.load(std::memory_order_acquire); }

int stale_handle()
{
    ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    return -1;
}

int stale_public()
{
    stale_handle();
    return OX_ENOENT;
}

int invalid_handle()
{
    ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    return OX_EINVAL;
}

bool flagged(void *obj)
{
    return obj && (static_cast<ox_object_header *>(obj)->flags & OX_OBJECT_VALID);
}

}  // namespace

std::size_t registry_capacity()
{
    Registry *r = existing_registry();
    if (r == nullptr)
        return 0;
    CriticalSectionLock hold(r->lock);
    return r->capacity();
}

std::size_t registry_live_count()
{
    Registry *r = existing_registry();
    if (r == nullptr)
        return 0;
    CriticalSectionLock hold(r->lock);
    std::size_t live = 0;
    for (std::size_t i = 0; i < r->capacity(); ++i)
        live += r->at(i).obj != nullptr;
    return live;
}

namespace {

std::atomic<const ObjectTypeName *> g_type_names{nullptr};

struct CensusGroup {
    ox_object_destructor destructor;
    std::size_t count;
};

// Adds one object of `destructor` to the groups (the last one takes every
// destructor that finds no room).
void count_in(CensusGroup *groups, std::size_t &used, ox_object_destructor destructor)
{
    for (std::size_t g = 0; g < used; ++g)
        if (groups[g].destructor == destructor) {
            ++groups[g].count;
            return;
        }
    if (used == kCensusGroups) {
        groups[kCensusGroups - 1].destructor = nullptr;
        ++groups[kCensusGroups - 1].count;
        return;
    }
    groups[used++] = CensusGroup{destructor, 1};
}

}  // namespace

ObjectTypeName::ObjectTypeName(ox_object_destructor d, const char *n)
    : destructor(d), name(n), next(g_type_names.load(std::memory_order_relaxed))
{
    while (!g_type_names.compare_exchange_weak(next, this, std::memory_order_release,
                                               std::memory_order_relaxed)) {
    }
}

const char *object_type_name(ox_object_destructor destructor)
{
    for (const ObjectTypeName *t = g_type_names.load(std::memory_order_acquire); t != nullptr;
         t = t->next)
        if (t->destructor == destructor)
            return t->name;
    return "other";
}

void registry_census(void (*visit)(ox_object_destructor destructor, std::size_t count, void *arg),
                     void *arg)
{
    CensusGroup groups[kCensusGroups];
    std::size_t used = 0;
    if (Registry *r = existing_registry()) {
        CriticalSectionLock hold(r->lock);
        for (std::size_t i = 0; i < r->capacity(); ++i)
            if (r->at(i).obj != nullptr)
                count_in(groups, used, r->at(i).destructor);
    }
    for (std::size_t g = 0; g < used; ++g)
        visit(groups[g].destructor, groups[g].count, arg);
}

}  // namespace cairn

using namespace cairn;

extern "C" {

int _ox_object_reference(void *obj, ox_object_destructor destructor)
{
    Registry *r = registry();
    if (r == nullptr)
        return -1;
    CriticalSectionLock hold(r->lock);
    long index = r->free.lowest();
    if (index < 0) {
        if (!r->grow())
            return -1;
        index = r->free.lowest();
    }
    r->free.erase(static_cast<std::size_t>(index));
    r->at(static_cast<std::size_t>(index)) = Slot{obj, 1, destructor};
    return static_cast<int>(index);
}

int _ox_object_unreference(void *obj)
{
    Registry *r = existing_registry();
    if (obj == nullptr || r == nullptr)
        return stale_handle();
    CriticalSectionLock hold(r->lock);
    Slot *slot = r->slot_of(obj);
    if (slot == nullptr)
        return stale_handle();
    if (slot->refs > 1)
        return --slot->refs;
    r->release(*slot, static_cast<std::size_t>(static_cast<ox_object_header *>(obj)->index));
    return 0;
}

int ox_object_reference(void *obj)
{
    if (!flagged(obj))
        return invalid_handle();
    Registry *r = existing_registry();
    if (r == nullptr)
        return stale_public();
    CriticalSectionLock hold(r->lock);
    Slot *slot = r->live_slot_of(obj);
    if (slot == nullptr)
        return stale_public();
    ++slot->refs;
    return OX_SUCCESS;
}

int ox_object_unreference(void *obj)
{
    if (!flagged(obj))
        return invalid_handle();
    Registry *r = existing_registry();
    if (r == nullptr)
        return stale_public();
    ox_object_destructor destructor = nullptr;
    {
        CriticalSectionLock hold(r->lock);
        Slot *slot = r->live_slot_of(obj);
        if (slot == nullptr)
            return stale_public();
        if (slot->refs-- > 1)
            return OX_SUCCESS;
        destructor = slot->destructor;
        if (destructor == nullptr)
            r->release(*slot,
                       static_cast<std::size_t>(static_cast<ox_object_header *>(obj)->index));
    }
    // Called without the registry lock: the destructor itself drops the
    // slot through _ox_object_unreference().
    return destructor ? destructor(obj) : OX_SUCCESS;
}

int ox_object_set_attribute(void *obj, uint32_t bits)
{
    if (obj == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    static_cast<ox_object_header *>(obj)->flags |= bits;
    return OX_SUCCESS;
}

void enable_ox_object_cleanup(void) { g_cleanup_enabled.store(true); }

void ox_object_once_cleanup_atexit(void)
{
    if (!g_cleanup_enabled)
        return;
    mem_delete(g_registry.exchange(nullptr));
    ox_once_reset(&g_registry_once);
}

}  // extern "C"
