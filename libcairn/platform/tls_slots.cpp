#include "platform/tls_slots.hpp"

#include <atomic>
#include <cerrno>

#include "cairn/frame.h"
#include "platform/alloc.hpp"
#include "platform/fork_guard.hpp"
#include "platform/thread_record.hpp"
#include "platform/word_lock.hpp"

namespace cairn {
namespace {

constexpr uint32_t kLibrarySlot = 0;
constexpr uint32_t kFirstTableSize = 64;

WordLock g_lock;
WordLock *slots_lock() { return &g_lock; }
std::atomic<bool> g_lock_protected{false};
bool g_used[kTlsSlotCount];
std::atomic<uint32_t> g_generation[kTlsSlotCount];

bool valid_index(int index)
{
    return index > static_cast<int>(kLibrarySlot) && static_cast<uint32_t>(index) < kTlsSlotCount;
}

// Grow the thread's table so that it holds `index`.
bool reserve(ThreadRecord &rec, uint32_t index)
{
    if (index < rec.slot_capacity)
        return true;
    uint32_t capacity = rec.slot_capacity ? rec.slot_capacity : kFirstTableSize;
    while (capacity <= index)
        capacity *= 2;
    if (capacity > kTlsSlotCount)
        capacity = kTlsSlotCount;
    auto *grown = static_cast<SlotValue *>(mem_realloc(rec.slots, capacity * sizeof(SlotValue)));
    if (grown == nullptr)
        return false;
    for (uint32_t i = rec.slot_capacity; i < capacity; ++i)
        grown[i] = SlotValue{nullptr, 0};
    rec.slots = grown;
    rec.slot_capacity = capacity;
    return true;
}

}  // namespace

int tls_alloc()
{
    if (!g_lock_protected.load(std::memory_order_acquire)) {
        fork_protect(ForkRank::tls_slots, slots_lock);
        g_lock_protected.store(true, std::memory_order_release);
    }
    WordLockHold hold(g_lock);
    for (uint32_t i = kLibrarySlot + 1; i < kTlsSlotCount; ++i) {
        if (!g_used[i]) {
            g_used[i] = true;
            g_generation[i].fetch_add(1, std::memory_order_release);
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool tls_free(int index)
{
    if (!valid_index(index))
        return false;
    WordLockHold hold(g_lock);
    if (!g_used[index])
        return false;
    g_used[index] = false;
    g_generation[index].fetch_add(1, std::memory_order_release);
    return true;
}

void *tls_get(int index)
{
    ThreadRecord *rec = thread_record_peek();
    if (index == static_cast<int>(kLibrarySlot))
        return rec;
    if (rec == nullptr || !valid_index(index) || static_cast<uint32_t>(index) >= rec->slot_capacity)
        return nullptr;
    const SlotValue &v = rec->slots[index];
    return v.generation == g_generation[index].load(std::memory_order_acquire) ? v.value : nullptr;
}

bool tls_set(int index, void *value)
{
    if (!valid_index(index)) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return false;
    }
    ThreadRecord *rec = thread_record();
    if (rec == nullptr || !reserve(*rec, static_cast<uint32_t>(index)))
        return false;
    rec->slots[index] = SlotValue{value, g_generation[index].load(std::memory_order_acquire)};
    return true;
}

}  // namespace cairn
