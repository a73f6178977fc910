// Internal view of the object registry for tests and the library's types.
#pragma once

#include <atomic>
#include <cstddef>

#include "cairn/concurrency.h"

namespace cairn {

// Slots the registry holds now (0 before first use).
std::size_t registry_capacity();

// Objects registered now (0 before first use); a census for tests and
// diagnostics, taken under the registry lock.
std::size_t registry_live_count();

// Names the type of the objects that `destructor` destroys, for the census
// of live objects.  Each type's file defines one at namespace scope; the
// constructor links it into a list that is never shortened.
struct ObjectTypeName {
    ObjectTypeName(ox_object_destructor destructor, const char *name);
    ox_object_destructor destructor;
    const char *name;
    const ObjectTypeName *next;
};

// The name registered for `destructor`, or "other".
const char *object_type_name(ox_object_destructor destructor);

// Live objects by destructor: calls `visit` once per distinct destructor
// with its count.  At most `kCensusGroups` groups; further destructors are
// counted in the last group, whose destructor is then nullptr.  The census
// is taken under the registry lock, `visit` runs after it is released.
constexpr std::size_t kCensusGroups = 32;
void registry_census(void (*visit)(ox_object_destructor destructor, std::size_t count, void *arg),
                     void *arg);

// The header of a registered object.
struct ObjectHeader;

}  // namespace cairn
