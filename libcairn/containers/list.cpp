// Locked doubly linked lists of (key, data) elements with expiry.
#include "containers/container.hpp"
#include "concurrency/object_registry.hpp"
#include "platform/alloc.hpp"
#include "platform/clocks.hpp"

namespace {
// Records of removed elements kept for reuse, so that a list used as a
// queue does not allocate on every append.
constexpr int kSpareNodes = 4;
}  // namespace

struct ox_list {
    cairn::ContainerHeader h;
    ox_node *first;
    ox_node *last;
    ox_node *spare[kSpareNodes];  // under the container lock
    int spare_count;
};

using namespace cairn;

namespace {

ox_list *as_list(ContainerHeader *h) { return reinterpret_cast<ox_list *>(h); }

void *neighbour(ContainerHeader *, void *element, bool forward)
{
    auto *n = static_cast<ox_node *>(element);
    if (forward)
        return n->next ? n->next : n->prev;
    return n->prev ? n->prev : n->next;
}

void link_before(ox_list *l, ox_node *n, ox_node *before)
{
    n->next = before;
    n->prev = before ? before->prev : l->last;
    (n->prev ? n->prev->next : l->first) = n;
    (before ? before->prev : l->last) = n;
    ++l->h.count;
}

// Keep a removed record for the next add, or free it.
void recycle(ox_list *l, ox_node *n)
{
    if (l->spare_count < kSpareNodes)
        l->spare[l->spare_count++] = n;
    else
        mem_free(n);
}

ox_node *make_node(ox_list *l, void *key, void *data)
{
    if (l->spare_count == 0)
        return ox_node_new(data, key);
    ox_node *n = l->spare[--l->spare_count];
    *n = ox_node{data, key, OX_TTL_NEVER, 0, nullptr, nullptr, nullptr};
    return n;
}

void unlink(ox_list *l, ox_node *n)
{
    (n->prev ? n->prev->next : l->first) = n->next;
    (n->next ? n->next->prev : l->last) = n->prev;
    --l->h.count;
}

// Remove `n`: iterators move off it, the data goes to `out` or is destroyed
// when the list owns it, the key is destroyed.
void remove_node(ox_list *l, ox_node *n, void **out)
{
    repair_iterators(&l->h, n, neighbour);
    unlink(l, n);
    release_data(&l->h, n->data, out);
    release_key(&l->h, n->key);
    recycle(l, n);
}

// An element met expired by a lookup is removed without handing its data
// back: destroyed when the list owns it, dropped otherwise.
void remove_expired(ox_list *l, ox_node *n)
{
    repair_iterators(&l->h, n, neighbour);
    unlink(l, n);
    if (l->h.ownership == OX_CONTAINER_OWNS_DATA && l->h.destroy_data)
        l->h.destroy_data(n->data);
    release_key(&l->h, n->key);
    recycle(l, n);
}

// First element whose (non-NULL) key compares equal; lookups never hand a
// NULL key to the comparison callback.
ox_node *find_key(ox_list *l, void *key)
{
    for (ox_node *n = l->first; n; n = n->next)
        if (n->key != nullptr && l->h.compare(n->key, key) == 0)
            return n;
    return nullptr;
}

ox_node *at_position(ox_list *l, int position)
{
    if (position < 1 || position > l->h.count)
        return nullptr;
    ox_node *n = l->first;
    while (--position > 0)
        n = n->next;
    return n;
}

int lookup(ox_list *l, void *key, void **out, Lookup mode)
{
    if (out)
        *out = nullptr;
    if (l == nullptr || key == nullptr || (out == nullptr && mode != Lookup::unreference) ||
        l->h.compare == nullptr)
        return null_argument();
    int32_t now = clock_seconds32();
    ContainerLock hold(&l->h);
    ox_node *n = find_key(l, key);
    if (n == nullptr)
        return report_errno(ENOENT);
    if (has_expired(n->expiry, now)) {
        remove_expired(l, n);
        return expired_result();
    }
    return apply_lookup(&l->h, n->data, n->refs, out, mode);
}

// Remove a found element (lock held); a try refuses a busy one.
int remove_found(ox_list *l, ox_node *n, void **out, bool try_only)
{
    if (n == nullptr)
        return report_errno(ENOENT);
    if (try_only && element_busy(&l->h, n, n->refs))
        return report_errno(EBUSY);
    remove_node(l, n, out);
    return OX_SUCCESS;
}

int remove_at(ox_list *l, int position, void **out, bool try_only)
{
    if (out)
        *out = nullptr;
    if (l == nullptr)
        return null_argument();
    ContainerLock hold(&l->h);
    return remove_found(l, at_position(l, position), out, try_only);
}

int remove_key(ox_list *l, void *key, void **out, bool try_only)
{
    if (out)
        *out = nullptr;
    if (l == nullptr || l->h.compare == nullptr || key == nullptr)
        return null_argument();
    ContainerLock hold(&l->h);
    return remove_found(l, find_key(l, key), out, try_only);
}

int add_node(ox_list *l, void *key, void *data, int32_t expiry, ox_node *before)
{
    ox_node *n = make_node(l, key, data);
    if (n == nullptr)
        return ox_error_get_last();
    n->expiry = expiry;
    link_before(l, n, before);
    return OX_SUCCESS;
}

// Iterator steps (called with the container lock held).
int step_first(ox_iterator *it, void **data)
{
    it->pending = 0;
    it->current = as_list(it->container)->first;
    return iterator_give(it, data);
}

int step_last(ox_iterator *it, void **data)
{
    it->pending = 0;
    it->current = as_list(it->container)->last;
    return iterator_give(it, data);
}

int step(ox_iterator *it, void **data, bool forward)
{
    it->direction = forward ? 1 : 2;
    if (it->pending) {
        it->pending = 0;
        return iterator_give(it, data);
    }
    auto *n = static_cast<ox_node *>(it->current);
    if (n == nullptr || (forward ? n->next : n->prev) == nullptr) {
        *data = nullptr;  // at the end the iterator stays where it is
        return report_errno(ENOENT);
    }
    it->current = forward ? n->next : n->prev;
    return iterator_give(it, data);
}

int step_next(ox_iterator *it, void **data) { return step(it, data, true); }
int step_previous(ox_iterator *it, void **data) { return step(it, data, false); }

int destroy_list(void *obj) { return ox_list_destroy(static_cast<ox_list *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_list, "list"};

}  // namespace

extern "C" {

ox_list *ox_list_new(ox_data_destructor destroy_data, ox_data_copy copy_data,
                     ox_key_compare compare, ox_key_destructor destroy_key, int ownership)
{
    auto *l = static_cast<ox_list *>(mem_calloc(1, sizeof(ox_list)));
    if (l == nullptr)
        return nullptr;
    if (!container_init(&l->h, OX_CONTAINER_LIST,
                        {destroy_data, copy_data, compare, destroy_key, ownership},
                        {step_first, step_next, step_previous, step_last}, destroy_list)) {
        mem_free(l);
        return nullptr;
    }
    return l;
}

int ox_list_destroy(ox_list *list)
{
    bool last = false;
    int rc = container_release(list ? &list->h : nullptr, &last);
    if (!last || list == nullptr)
        return rc;
    for (ox_node *n = list->first, *next; n; n = next) {
        next = n->next;
        if (list->h.destroy_data)
            list->h.destroy_data(n->data);
        release_key(&list->h, n->key);
        mem_free(n);
    }
    while (list->spare_count > 0)
        mem_free(list->spare[--list->spare_count]);
    container_free(&list->h);
    return OX_SUCCESS;
}

int ox_list_append_with_ttl(ox_list *list, void *key, void *data, int32_t ttl)
{
    if (list == nullptr || data == nullptr)
        return null_argument();
    // A time to live of "never" needs no clock: the expiry is "never" too.
    int32_t now = ttl == OX_TTL_NEVER ? 0 : clock_seconds32();
    ContainerLock hold(&list->h);
    if (ttl < OX_TTL_NEVER && key != nullptr && list->h.compare != nullptr) {
        if (ox_node *dup = find_key(list, key)) {
            if (!has_expired(dup->expiry, now))
                return report_errno(EEXIST);
            remove_expired(list, dup);
        }
    }
    return add_node(list, key, data, expiry_from_ttl(now, ttl), nullptr);
}

int ox_list_append(ox_list *list, void *key, void *data)
{
    return ox_list_append_with_ttl(list, key, data, OX_TTL_NEVER);
}

int ox_list_prepend(ox_list *list, void *key, void *data)
{
    if (list == nullptr || data == nullptr)
        return null_argument();
    ContainerLock hold(&list->h);
    return add_node(list, key, data, OX_TTL_NEVER, list->first);
}

int ox_list_push(ox_list *list, void *data) { return ox_list_prepend(list, nullptr, data); }

int ox_list_pop(ox_list *list, void **data)
{
    return list ? remove_at(list, 1, data, false) : null_argument();
}

int ox_list_insert(ox_list *list, void *key, void *data, int position)
{
    if (list == nullptr)
        return null_argument();
    ContainerLock hold(&list->h);
    ox_node *before = at_position(list, position < 1 ? 1 : position);
    return add_node(list, key, data, OX_TTL_NEVER, before);
}

int ox_list_find(ox_list *list, void *key, void **data)
{
    return lookup(list, key, data, Lookup::find);
}

int ox_list_reference(ox_list *list, void *key, void **data)
{
    return lookup(list, key, data, Lookup::reference);
}

int ox_list_unreference(ox_list *list, void *key)
{
    return lookup(list, key, nullptr, Lookup::unreference);
}

int ox_list_get(ox_list *list, void *key, void **copy)
{
    return lookup(list, key, copy, Lookup::get);
}

int ox_list_index(ox_list *list, void *key)
{
    if (list == nullptr || list->h.compare == nullptr || key == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    ContainerLock hold(&list->h);
    int position = 1;
    for (ox_node *n = list->first; n; n = n->next, ++position)
        if (n->key != nullptr && list->h.compare(n->key, key) == 0)
            return position;
    report_errno(ENOENT);
    return 0;
}

int ox_list_nth(ox_list *list, int position, void **data)
{
    if (list == nullptr || data == nullptr)
        return null_argument();
    *data = nullptr;
    ContainerLock hold(&list->h);
    ox_node *n = at_position(list, position);
    if (n == nullptr)
        return report_errno(ENOENT);
    *data = n->data;
    return OX_SUCCESS;
}

int ox_list_remove_index(ox_list *list, int position, void **data)
{
    return remove_at(list, position, data, false);
}

int ox_list_try_remove_index(ox_list *list, int position, void **data)
{
    return remove_at(list, position, data, true);
}

int ox_list_remove_node(ox_list *list, void *key, void **data)
{
    return remove_key(list, key, data, false);
}

int ox_list_try_remove_node(ox_list *list, void *key, void **data)
{
    return remove_key(list, key, data, true);
}

int ox_list_remove_all(ox_list *list)
{
    if (list == nullptr)
        return null_argument();
    {
        ContainerLock hold(&list->h);
        while (ox_node *n = list->first)
            remove_expired(list, n);  // data destroyed only when owned
    }
    // Callers have always found ENOENT here after emptying a list.
    report_errno(ENOENT);
    return OX_SUCCESS;
}

int ox_list_replace(ox_list *list, void *key, void **old_key, void *data, void **old_data)
{
    if (list == nullptr || key == nullptr || data == nullptr || list->h.compare == nullptr)
        return null_argument();
    ContainerLock hold(&list->h);
    ox_node *n = find_key(list, key);
    if (n == nullptr) {
        if (old_key)
            *old_key = nullptr;
        if (old_data)
            *old_data = nullptr;
        return add_node(list, key, data, OX_TTL_NEVER, nullptr);
    }
    if (n->refs > 0)
        return report_errno(EBUSY);
    if (old_data)
        *old_data = n->data;
    else if (list->h.destroy_data)
        list->h.destroy_data(n->data);
    if (old_key)
        *old_key = n->key;
    else
        release_key(&list->h, n->key);
    n->data = data;
    n->key = key;
    return OX_SUCCESS;
}

int ox_list_foreach(ox_list *list, ox_foreach_callback fn, void *arg)
{
    if (list == nullptr || fn == nullptr)
        return null_argument();
    ContainerLock hold(&list->h);
    for (ox_node *n = list->first, *next; n; n = next) {
        next = n->next;
        fn(n->data, arg);
    }
    return OX_SUCCESS;
}

int ox_list_size(ox_list *list)
{
    if (list == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    ContainerLock hold(&list->h);
    return list->h.count;
}

}  // extern "C"
