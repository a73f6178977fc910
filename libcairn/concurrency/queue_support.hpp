// What the event and thread queues share: the address order of their item
// lists.
#pragma once

#include <cstdint>

#include "cairn/containers.h"

namespace cairn {

// Items compare as unsigned addresses.
inline int compare_address(void *a, void *b)
{
    auto x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
    return x < y ? -1 : x > y ? 1 : 0;
}

}  // namespace cairn
