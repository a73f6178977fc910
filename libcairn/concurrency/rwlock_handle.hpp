// Layout of the read-write lock handle.
#pragma once

#include <atomic>
#include <cstdint>

#include "cairn/concurrency.h"
#include "platform/sync_object.hpp"

namespace cairn {

// The read-write lock's state word: the readers inside in the low bits, and
// a mark set while the holder of the entry lock waits for them to leave.
constexpr uint32_t kRwReaderMask = 0x7FFFFFFFu;
constexpr uint32_t kRwWriterDraining = 0x80000000u;

}  // namespace cairn

struct ox_rwlock {
    ox_object_header header;
    // Platform mutex, not owned at first: held by the writer, and by a
    // writer while it waits for the readers to leave.
    cairn::SyncObject *entry = nullptr;
    // Manual-reset event: set by the last reader out while a writer waits.
    cairn::SyncObject *no_readers = nullptr;
    std::atomic<uint32_t> state{0};

    int32_t readers() const
    {
        return static_cast<int32_t>(state.load(std::memory_order_seq_cst) & cairn::kRwReaderMask);
    }
};
