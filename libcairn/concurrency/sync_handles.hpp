// Layouts of the mutex and event handles.  Both begin with the object
// header and the platform object, so that one destroy function serves both.
#pragma once

#include <atomic>
#include <cstdint>

#include "cairn/concurrency.h"
#include "platform/critical_section.hpp"
#include "platform/sync_object.hpp"

struct ox_mutex {
    ox_object_header header;
    cairn::SyncObject *handle = nullptr;  // semaphore of count 1, maximum 1
    // The owner is changed atomically rather than under a critical section:
    // only the owner ever stores its own id, so the owner test is exact and
    // the uncontended lock stays at one atomic operation.
    std::atomic<uint64_t> owner{0};
};

struct ox_event {
    ox_object_header header;
    cairn::SyncObject *handle = nullptr;  // auto-reset event
    cairn::CriticalSection cs{4000};
    std::atomic<int32_t> waiters{0};
    // Written under `cs`; a signal reads it first without the lock (see
    // ox_event_signal()).
    std::atomic<int32_t> broadcast{0};
};
