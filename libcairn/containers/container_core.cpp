#include "containers/container.hpp"

#include "platform/alloc.hpp"

namespace cairn {

bool container_init(ContainerHeader *h, uint32_t type, const Callbacks &cb, const Steps &steps,
                    ox_object_destructor destroy, bool with_mutex)
{
    h->first = steps.first;
    h->next = steps.next;
    h->previous = steps.previous;
    h->last = steps.last;
    h->type = type;
    h->ownership = cb.ownership;
    h->destroy_data = cb.destroy_data;
    h->copy_data = cb.copy_data;
    h->compare = cb.compare;
    h->destroy_key = cb.destroy_key;
    if (with_mutex && (h->mutex = ox_mutex_new()) == nullptr)
        return false;
    int index = _ox_object_reference(h, destroy);
    if (index < 0) {
        if (h->mutex)
            ox_event_destroy(h->mutex);
        h->mutex = nullptr;
        return false;
    }
    h->index = index;
    h->flags |= 3;
    return true;
}

int container_release(ContainerHeader *h, bool *last)
{
    *last = false;
    if (h == nullptr)
        return null_argument();
    // The reference goes only after the unlock has finished: while it is
    // held no other holder can free the container, and with it the mutex
    // this thread is still releasing.  An iterator opened between the test
    // and the drop belongs to another holder, whose own reference makes
    // this drop not the last.
    {
        ContainerLock hold(h);
        if (h->iterators != nullptr)
            return report_errno(EBUSY);
    }
    int left = _ox_object_unreference(h);
    if (left < 0)
        return OX_ENOENT;
    *last = left == 0;
    return OX_SUCCESS;
}

void container_free(ContainerHeader *h)
{
    if (h->mutex)
        ox_event_destroy(h->mutex);
    h->flags = 0;
    mem_free(h);
}

bool iterator_on(const ContainerHeader *h, const void *element)
{
    for (IteratorLink *l = h->iterators; l; l = l->next)
        if (l->it->current == element)
            return true;
    return false;
}

void repair_iterators(ContainerHeader *h, void *element, NeighbourFn pick)
{
    for (IteratorLink *l = h->iterators; l; l = l->next) {
        ox_iterator *it = l->it;
        if (it->current != element)
            continue;
        it->current = pick(h, element, it->direction == 1);
        it->pending = 1;
    }
}

void release_data(ContainerHeader *h, void *data, void **out)
{
    if (h->ownership == OX_CONTAINER_OWNS_DATA && h->destroy_data != nullptr) {
        if (out)
            *out = nullptr;
        h->destroy_data(data);
    } else if (out) {
        *out = data;
    }
}

int apply_lookup(ContainerHeader *h, void *data, int32_t &refs, void **out, Lookup mode)
{
    switch (mode) {
    case Lookup::reference:
        ++refs;
        [[fallthrough]];
    case Lookup::find:
        *out = data;
        break;
    case Lookup::unreference:
        if (refs > 0)
            --refs;
        break;
    case Lookup::get:
        *out = h->copy_data ? h->copy_data(data) : nullptr;
        if (*out == nullptr)
            return report_errno(ENOMEM);
        break;
    }
    return OX_SUCCESS;
}

int iterator_give(ox_iterator *it, void **data)
{
    if (it->current == nullptr) {
        *data = nullptr;
        return report_errno(ENOENT);
    }
    *data = element_data(it->current);
    return OX_SUCCESS;
}

int32_t expiry_from_ttl(int32_t now, int32_t ttl)
{
    if (ttl >= 0 && static_cast<uint32_t>(ttl) >
                        static_cast<uint32_t>(OX_TTL_NEVER) - static_cast<uint32_t>(now))
        return OX_TTL_NEVER;
    return static_cast<int32_t>(static_cast<uint32_t>(now) + static_cast<uint32_t>(ttl));
}

}  // namespace cairn

extern "C" ox_node *ox_node_new(void *data, void *key)
{
    auto *node = static_cast<ox_node *>(cairn::mem_calloc(1, sizeof(ox_node)));
    if (node == nullptr)
        return nullptr;
    node->data = data;
    node->key = key;
    node->expiry = OX_TTL_NEVER;
    return node;
}
