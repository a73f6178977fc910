// The container core shared by lists, arrays and tables: the common header,
// the element record, locking, ownership, element references, expiry and
// iterator repair.
#pragma once

#include <cerrno>
#include <cstdint>

#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/frame.h"
#include "concurrency/internal_lock.hpp"
#include "frame/error_results.hpp"

// Element record of lists and tables.
struct ox_node {
    void *data;
    void *key;
    int32_t expiry;  // OX_TTL_NEVER: never expires
    int32_t refs;    // element references, never below 0
    ox_node *next;
    ox_node *prev;
    void *chain;  // spare link for containers that chain records otherwise
};

namespace cairn {

using StepFn = int (*)(ox_iterator *it, void **data);

struct IteratorLink {
    ox_iterator *it;
    IteratorLink *next;
};

// The header every container starts with: the object header, then the
// container's own description.
struct ContainerHeader {
    uint32_t flags;
    int32_t index;
    uint32_t type;
    int32_t ownership;
    int32_t count;
    IteratorLink *iterators;
    ox_mutex *mutex;
    ox_data_destructor destroy_data;
    ox_data_copy copy_data;
    ox_key_compare compare;
    ox_key_destructor destroy_key;
    StepFn first, next, previous, last;
};

// The container's own iterator steps: first, next, previous, last (tables
// leave the backward ones NULL).
struct Steps {
    StepFn first, next, previous, last;
};

struct Callbacks {
    ox_data_destructor destroy_data;
    ox_data_copy copy_data;
    ox_key_compare compare;
    ox_key_destructor destroy_key;
    int ownership;
};

// Set up the header of a freshly zeroed container: create its mutex (unless
// `with_mutex` is false) and register it.  On failure everything made here is
// undone and false is returned (the caller frees the container).
bool container_init(ContainerHeader *h, uint32_t type, const Callbacks &cb, const Steps &steps,
                    ox_object_destructor destroy, bool with_mutex = true);

// First half of every destroy: 2 for NULL, 12 while an iterator is open, 0
// with `last` false while other references remain, 0 with `last` true when
// the caller must now free the contents and call container_free().
int container_release(ContainerHeader *h, bool *last);
void container_free(ContainerHeader *h);

// The container mutex, held for the life of the guard unless the container
// is flagged OX_CONTAINER_NOLOCK; an internal lock, so the holder's queued
// calls and due work wait until it is released.  A re-entrant lock from a
// callback on the same thread takes nothing and releases nothing.
class ContainerLock {
public:
    explicit ContainerLock(ContainerHeader *h)
        : lock_(h->mutex && !(h->flags & OX_CONTAINER_NOLOCK) ? h->mutex : nullptr)
    {}

private:
    InternalLock lock_;
};

// Lists, arrays and tables all keep an element's data and key first, so
// iterators read them the same way whatever the container.
struct ElementPrefix {
    void *data;
    void *key;
};
inline void *element_data(const void *e) { return static_cast<const ElementPrefix *>(e)->data; }
inline void *element_key(const void *e) { return static_cast<const ElementPrefix *>(e)->key; }

// True when an open iterator stands on `element`.
bool iterator_on(const ContainerHeader *h, const void *element);
// An element is busy when it is referenced or an iterator stands on it.
inline bool element_busy(const ContainerHeader *h, const void *element, int32_t refs)
{
    return refs > 0 || iterator_on(h, element);
}

// Move every iterator standing on `element` to the neighbour chosen by
// `pick(ctx, element, forward)` (forward after a forward step), and mark it
// pending so that its next step gives that neighbour.
using NeighbourFn = void *(*)(ContainerHeader *h, void *element, bool forward);
void repair_iterators(ContainerHeader *h, void *element, NeighbourFn pick);

// Hand removed data back through `out`, or destroy it when the container
// owns its data (then `out` receives NULL).
void release_data(ContainerHeader *h, void *data, void **out);
// Destroy a removed key when a key destructor is set.
inline void release_key(ContainerHeader *h, void *key)
{
    if (key != nullptr && h->destroy_key != nullptr)
        h->destroy_key(key);
}

// Expiry on the 32-bit seconds clock.
int32_t expiry_from_ttl(int32_t now, int32_t ttl);
inline bool has_expired(int32_t expiry, int32_t now)
{
    return expiry != OX_TTL_NEVER && expiry < now;
}
// The result of a lookup that met an expired element: 80, last error ETIME.
inline int expired_result() { return report_errno(ETIME); }

// What a key lookup does with the element it found: give its data, take or
// drop an element reference, or give a copy made by the copy callback (53
// when there is none or it fails).
enum class Lookup { find, reference, unreference, get };
int apply_lookup(ContainerHeader *h, void *data, int32_t &refs, void **out, Lookup mode);

// An iterator step's result: the current element's data, or 49 with the out
// cleared when there is none.
int iterator_give(ox_iterator *it, void **data);

}  // namespace cairn

struct ox_iterator {
    uint32_t flags;
    int32_t index;
    cairn::ContainerHeader *container;
    void *current;  // list node, array slot or table record; NULL for none
    int32_t pending;
    int32_t direction;  // 1 after a step forward, 2 after a step back
};
