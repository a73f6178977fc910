// Layout of the read-write lock handle.
#pragma once

#include <cstdint>

#include "cairn/concurrency.h"
#include "platform/critical_section.hpp"
#include "platform/sync_object.hpp"

struct ox_rwlock {
    ox_object_header header;
    cairn::SyncObject *entry = nullptr;       // platform mutex, not owned at first
    cairn::CriticalSection cs{100};           // guards `readers`
    cairn::SyncObject *no_readers = nullptr;  // manual-reset event, not signalled
    int32_t readers = 0;
};
