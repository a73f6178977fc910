// Slot arrays: elements never move, slot numbers stay valid across growth,
// and an order index keeps the used slots sorted by key.
#include <cstring>

#include "containers/container.hpp"
#include "concurrency/object_registry.hpp"
#include "platform/alloc.hpp"

namespace {

constexpr int32_t kNone = -1;
constexpr int32_t kFirstCapacity = 256;

struct ArraySlot {
    void *data;
    void *key;
    int32_t refs;
    int32_t number;
    int32_t next_free;  // kNone when none or in use
};

}  // namespace

struct ox_array {
    cairn::ContainerHeader h;
    ArraySlot *slots;
    int32_t capacity;
    int32_t first_free;
    int32_t *order;  // slot numbers in ascending key order, then kNone
    // The keys of `order`, position for position: a binary search reads
    // them without a second dependent load through the slot table.
    void **order_keys;
};

using namespace cairn;

namespace {

ox_array *as_array(ContainerHeader *h) { return reinterpret_cast<ox_array *>(h); }
bool in_use(const ArraySlot &s) { return s.data != nullptr; }
void *slot_key(ox_array *a, int32_t index_pos) { return a->order_keys[index_pos]; }

// Next used slot after (forward) or before `from`, or nullptr.
ArraySlot *used_neighbour(ox_array *a, int32_t from, bool forward)
{
    for (int32_t i = from + (forward ? 1 : -1); i >= 0 && i < a->capacity; i += forward ? 1 : -1)
        if (in_use(a->slots[i]))
            return &a->slots[i];
    return nullptr;
}

void *neighbour(ContainerHeader *h, void *element, bool forward)
{
    ox_array *a = as_array(h);
    int32_t number = static_cast<ArraySlot *>(element)->number;
    ArraySlot *n = used_neighbour(a, number, forward);
    return n ? n : used_neighbour(a, number, !forward);
}

// Binary search of the order index.  `hit` is the first index position of a
// run of equal keys; `insert_at` where a new key goes.
struct Search {
    bool hit = false;
    int32_t at = 0;
    int32_t insert_at = 0;
};

Search binary_search(ox_array *a, void *key)
{
    Search s;
    int32_t low = 0, high = a->h.count - 1, p = 0;
    while (low <= high) {
        int32_t mid = low + (high - low) / 2;
        p = mid;
        int c = a->h.compare(key, slot_key(a, mid));
        if (c == 0) {
            while (mid > 0 && a->h.compare(key, slot_key(a, mid - 1)) == 0)
                --mid;
            s.hit = true;
            s.at = mid;
            break;
        }
        if (c < 0) {
            high = mid - 1;
            p = mid - 1;
        } else {
            low = mid + 1;
        }
    }
    if (p > 0)
        s.insert_at = p + 1;
    else
        s.insert_at = a->h.count > 0 && a->h.compare(key, slot_key(a, 0)) >= 0 ? 1 : 0;
    return s;
}

// The plain lookup: walk the index in key order and stop at the first key
// that does not order before the one sought.
Search linear_search(ox_array *a, void *key)
{
    Search s;
    for (int32_t i = 0; i < a->h.count; ++i) {
        int c = a->h.compare(slot_key(a, i), key);
        if (c < 0)
            continue;
        s.hit = c == 0;
        s.at = i;
        break;
    }
    return s;
}

// The binary lookup: the first index position whose key does not order
// before the one sought, then one comparison for equality.  A hit is the
// first of a run of equal keys, as binary_search() finds it.  The key is
// compared first, as in binary_search().  The halving branches on each
// result: with a comparison callback per step the processor runs ahead
// into the likelier half, which a branch-free select would stop, and on
// large arrays those early loads are most of the time saved.
Search binary_find(ox_array *a, void *key)
{
    Search s;
    void *const *keys = a->order_keys;
    ox_key_compare compare = a->h.compare;
    int32_t low = 0, n = a->h.count;
    while (n > 0) {
        int32_t half = n / 2;
        if (compare(key, keys[low + half]) > 0) {
            low += half + 1;
            n -= half + 1;
        } else {
            n = half;
        }
    }
    s.at = low;
    s.hit = low < a->h.count && compare(key, keys[low]) == 0;
    return s;
}

Search search(ox_array *a, void *key, bool binary)
{
    return binary ? binary_find(a, key) : linear_search(a, key);
}

void index_insert(ox_array *a, int32_t number, void *key)
{
    int32_t at = a->h.compare ? binary_search(a, key).insert_at : a->h.count;
    std::memmove(&a->order[at + 1], &a->order[at],
                 static_cast<size_t>(a->h.count - at) * sizeof(int32_t));
    std::memmove(&a->order_keys[at + 1], &a->order_keys[at],
                 static_cast<size_t>(a->h.count - at) * sizeof(void *));
    a->order[at] = number;
    a->order_keys[at] = key;
}

void index_remove(ox_array *a, int32_t number)
{
    int32_t at = kNone;
    if (a->h.compare) {
        Search s = binary_search(a, a->slots[number].key);
        if (s.hit)
            at = s.at;
    }
    for (int32_t i = 0; at == kNone && i < a->h.count; ++i)
        if (a->order[i] == number)
            at = i;
    if (at == kNone)
        return;
    std::memmove(&a->order[at], &a->order[at + 1],
                 static_cast<size_t>(a->h.count - at - 1) * sizeof(int32_t));
    std::memmove(&a->order_keys[at], &a->order_keys[at + 1],
                 static_cast<size_t>(a->h.count - at - 1) * sizeof(void *));
    a->order[a->h.count - 1] = kNone;
    a->order_keys[a->h.count - 1] = nullptr;
}

// Double the slot table (256 at first).  Iterators follow their slot
// numbers into the new table.  On failure nothing changes.
bool grow(ox_array *a)
{
    int32_t old_cap = a->capacity;
    int32_t cap = old_cap ? old_cap * 2 : kFirstCapacity;
    auto *slots = static_cast<ArraySlot *>(mem_calloc(static_cast<size_t>(cap), sizeof(ArraySlot)));
    auto *order = static_cast<int32_t *>(mem_alloc(static_cast<size_t>(cap) * sizeof(int32_t)));
    auto *order_keys = static_cast<void **>(mem_calloc(static_cast<size_t>(cap), sizeof(void *)));
    if (slots == nullptr || order == nullptr || order_keys == nullptr) {
        mem_free(slots);
        mem_free(order);
        mem_free(order_keys);
        report_errno(ENOMEM);
        return false;
    }
    if (old_cap) {
        std::memcpy(slots, a->slots, static_cast<size_t>(old_cap) * sizeof(ArraySlot));
        std::memcpy(order, a->order, static_cast<size_t>(old_cap) * sizeof(int32_t));
        std::memcpy(order_keys, a->order_keys, static_cast<size_t>(old_cap) * sizeof(void *));
    }
    for (int32_t i = old_cap; i < cap; ++i) {
        slots[i].number = i;
        slots[i].next_free = i + 1 < cap ? i + 1 : kNone;
        order[i] = kNone;
    }
    for (IteratorLink *l = a->h.iterators; l; l = l->next)
        if (l->it->current)
            l->it->current = &slots[static_cast<ArraySlot *>(l->it->current)->number];
    mem_free(a->slots);
    mem_free(a->order);
    mem_free(a->order_keys);
    a->slots = slots;
    a->order = order;
    a->order_keys = order_keys;
    a->capacity = cap;
    a->first_free = old_cap;
    return true;
}

void remove_slot(ox_array *a, ArraySlot *s, void **out)
{
    repair_iterators(&a->h, s, neighbour);
    index_remove(a, s->number);
    s->next_free = a->first_free;
    a->first_free = s->number;
    void *data = s->data, *key = s->key;
    s->data = s->key = nullptr;
    s->refs = 0;
    --a->h.count;
    release_data(&a->h, data, out);
    release_key(&a->h, key);
}

int lookup(ox_array *a, void *key, void **out, Lookup mode, bool binary)
{
    if (out)
        *out = nullptr;
    if (a == nullptr || key == nullptr || (out == nullptr && mode != Lookup::unreference) ||
        a->h.compare == nullptr)
        return null_argument();
    ContainerLock hold(&a->h);
    Search s = search(a, key, binary);
    if (!s.hit)
        return report_errno(ENOENT);
    ArraySlot &slot = a->slots[a->order[s.at]];
    return apply_lookup(&a->h, slot.data, slot.refs, out, mode);
}

int index_of(ox_array *a, void *key, bool binary)
{
    if (a == nullptr || a->h.compare == nullptr || key == nullptr) {
        report_errno(EINVAL);
        return kNone;
    }
    ContainerLock hold(&a->h);
    Search s = search(a, key, binary);
    if (!s.hit) {
        report_errno(ENOENT);
        return kNone;
    }
    return a->order[s.at];
}

enum class Nth { get, reference, unreference };

int nth(ox_array *a, int slot, void **out, Nth mode)
{
    if (out)
        *out = nullptr;
    if (a == nullptr)
        return null_argument();
    ContainerLock hold(&a->h);
    if (slot < 0 || slot >= a->capacity || !in_use(a->slots[slot]))
        return report_errno(ENOENT);
    ArraySlot &s = a->slots[slot];
    if (mode == Nth::reference)
        ++s.refs;
    else if (mode == Nth::unreference && s.refs > 0)
        --s.refs;
    if (out)
        *out = s.data;
    return OX_SUCCESS;
}

int remove_key(ox_array *a, void *key, void **out, bool try_only, bool binary)
{
    if (out)
        *out = nullptr;
    if (a == nullptr || a->h.compare == nullptr || key == nullptr)
        return null_argument();
    ContainerLock hold(&a->h);
    Search s = search(a, key, binary);
    if (!s.hit)
        return report_errno(ENOENT);
    ArraySlot *slot = &a->slots[a->order[s.at]];
    if (try_only && element_busy(&a->h, slot, slot->refs))
        return report_errno(EBUSY);
    remove_slot(a, slot, out);
    return OX_SUCCESS;
}

// Iterator steps: arrays are walked in slot-number order.
int step_first(ox_iterator *it, void **data)
{
    it->pending = 0;
    it->current = used_neighbour(as_array(it->container), kNone, true);
    return iterator_give(it, data);
}

int step_last(ox_iterator *it, void **data)
{
    ox_array *a = as_array(it->container);
    it->pending = 0;
    it->current = used_neighbour(a, a->capacity, false);
    return iterator_give(it, data);
}

int step(ox_iterator *it, void **data, bool forward)
{
    it->direction = forward ? 1 : 2;
    if (it->pending) {
        it->pending = 0;
        return iterator_give(it, data);
    }
    if (it->current == nullptr)
        return iterator_give(it, data);
    auto *s = static_cast<ArraySlot *>(it->current);
    it->current = used_neighbour(as_array(it->container), s->number, forward);
    return iterator_give(it, data);
}

int step_next(ox_iterator *it, void **data) { return step(it, data, true); }
int step_previous(ox_iterator *it, void **data) { return step(it, data, false); }

int destroy_array(void *obj) { return ox_array_destroy(static_cast<ox_array *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_array, "array"};

}  // namespace

extern "C" {

ox_array *ox_array_new(ox_data_destructor destroy_data, ox_data_copy copy_data,
                       ox_key_compare compare, ox_key_destructor destroy_key, int ownership)
{
    auto *a = static_cast<ox_array *>(mem_calloc(1, sizeof(ox_array)));
    if (a == nullptr)
        return nullptr;
    a->first_free = kNone;
    if (!grow(a)) {
        mem_free(a);
        return nullptr;
    }
    if (!container_init(&a->h, OX_CONTAINER_ARRAY,
                        {destroy_data, copy_data, compare, destroy_key, ownership},
                        {step_first, step_next, step_previous, step_last}, destroy_array)) {
        mem_free(a->slots);
        mem_free(a->order);
        mem_free(a->order_keys);
        mem_free(a);
        return nullptr;
    }
    return a;
}

int ox_array_destroy(ox_array *array)
{
    bool last = false;
    int rc = container_release(array ? &array->h : nullptr, &last);
    if (!last || array == nullptr)
        return rc;
    for (int32_t i = 0; i < array->capacity; ++i) {
        ArraySlot &s = array->slots[i];
        if (!in_use(s))
            continue;
        if (array->h.destroy_data)
            array->h.destroy_data(s.data);
        release_key(&array->h, s.key);
    }
    mem_free(array->slots);
    mem_free(array->order);
    mem_free(array->order_keys);
    container_free(&array->h);
    return OX_SUCCESS;
}

int ox_array_add(ox_array *array, void *key, void *data)
{
    if (array == nullptr || data == nullptr)
        return null_argument();
    ContainerLock hold(&array->h);
    if (array->first_free == kNone && !grow(array))
        return OX_ENOMEM;
    ArraySlot &s = array->slots[array->first_free];
    array->first_free = s.next_free;
    s.next_free = kNone;
    s.data = data;
    s.key = key;
    s.refs = 0;
    index_insert(array, s.number, key);
    ++array->h.count;
    return OX_SUCCESS;
}

int ox_array_find(ox_array *a, void *key, void **data)
{
    return lookup(a, key, data, Lookup::find, false);
}
int ox_array_find_b(ox_array *a, void *key, void **data)
{
    return lookup(a, key, data, Lookup::find, true);
}
int ox_array_reference(ox_array *a, void *key, void **data)
{
    return lookup(a, key, data, Lookup::reference, false);
}
int ox_array_reference_b(ox_array *a, void *key, void **data)
{
    return lookup(a, key, data, Lookup::reference, true);
}
int ox_array_unreference(ox_array *a, void *key)
{
    return lookup(a, key, nullptr, Lookup::unreference, false);
}
int ox_array_unreference_b(ox_array *a, void *key)
{
    return lookup(a, key, nullptr, Lookup::unreference, true);
}
int ox_array_get(ox_array *a, void *key, void **copy)
{
    return lookup(a, key, copy, Lookup::get, false);
}
int ox_array_get_b(ox_array *a, void *key, void **copy)
{
    return lookup(a, key, copy, Lookup::get, true);
}
int ox_array_index(ox_array *a, void *key) { return index_of(a, key, false); }
int ox_array_index_b(ox_array *a, void *key) { return index_of(a, key, true); }
int ox_array_nth(ox_array *a, int slot, void **data) { return nth(a, slot, data, Nth::get); }
int ox_array_reference_nth(ox_array *a, int slot, void **data)
{
    return nth(a, slot, data, Nth::reference);
}
int ox_array_unreference_nth(ox_array *a, int slot)
{
    return nth(a, slot, nullptr, Nth::unreference);
}

int ox_array_remove_index(ox_array *array, int slot, void **data)
{
    if (data)
        *data = nullptr;
    if (array == nullptr)
        return null_argument();
    ContainerLock hold(&array->h);
    if (array->h.count == 0 || slot < 0 || slot >= array->capacity ||
        (array->slots[slot].data == nullptr && array->slots[slot].key == nullptr))
        return report_errno(ENOENT);
    remove_slot(array, &array->slots[slot], data);
    return OX_SUCCESS;
}

int ox_array_remove_node(ox_array *a, void *key, void **data)
{
    return remove_key(a, key, data, false, false);
}
int ox_array_remove_node_b(ox_array *a, void *key, void **data)
{
    return remove_key(a, key, data, false, true);
}
int ox_array_try_remove_node(ox_array *a, void *key, void **data)
{
    return remove_key(a, key, data, true, false);
}
int ox_array_try_remove_node_b(ox_array *a, void *key, void **data)
{
    return remove_key(a, key, data, true, true);
}

int ox_array_foreach(ox_array *array, ox_foreach_callback fn, void *arg)
{
    if (array == nullptr || fn == nullptr)
        return null_argument();
    ContainerLock hold(&array->h);
    int32_t seen = 0;
    for (int32_t i = 0; i < array->capacity && seen < array->h.count; ++i)
        if (in_use(array->slots[i])) {
            ++seen;
            fn(array->slots[i].data, arg);
        }
    return OX_SUCCESS;
}

int ox_array_size(ox_array *array)
{
    if (array == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    ContainerLock hold(&array->h);
    return array->h.count;
}

}  // extern "C"
