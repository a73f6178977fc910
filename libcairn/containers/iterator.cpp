// One iterator type for every container: it calls the container's own
// steps under the container lock, and removals repair it.
#include "containers/container.hpp"
#include "concurrency/object_registry.hpp"
#include "platform/alloc.hpp"

using namespace cairn;

namespace {

int destroy_iterator(void *obj) { return ox_iterator_destroy(static_cast<ox_iterator *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_iterator, "iterator"};

// Run one of the container's steps under its lock.  Tables offer no
// backward steps: asking for one reports ENOTSUP.
int run_step(ox_iterator *it, StepFn ContainerHeader::*which, void **key, void **data)
{
    if (it == nullptr || data == nullptr || it->container == nullptr)
        return null_argument();
    if (key)
        *key = nullptr;
    ContainerHeader *h = it->container;
    ContainerLock hold(h);
    StepFn fn = h->*which;
    if (fn == nullptr) {
        *data = nullptr;
        return report_errno(ENOTSUP);
    }
    int rc = fn(it, data);
    if (rc == OX_SUCCESS && key)
        *key = element_key(it->current);
    return rc;
}

}  // namespace

extern "C" {

ox_iterator *ox_iterator_new(void *container)
{
    if (container == nullptr) {
        report_errno(EINVAL);
        return nullptr;
    }
    auto *h = static_cast<ContainerHeader *>(container);
    auto *it = static_cast<ox_iterator *>(mem_calloc(1, sizeof(ox_iterator)));
    auto *link = static_cast<IteratorLink *>(mem_calloc(1, sizeof(IteratorLink)));
    if (it == nullptr || link == nullptr) {
        mem_free(it);
        mem_free(link);
        return nullptr;
    }
    int index = _ox_object_reference(it, destroy_iterator);
    if (index < 0) {
        mem_free(it);
        mem_free(link);
        return nullptr;
    }
    it->index = index;
    it->flags |= 1;
    it->container = h;
    link->it = it;
    ContainerLock hold(h);
    IteratorLink **tail = &h->iterators;
    while (*tail)
        tail = &(*tail)->next;
    *tail = link;
    return it;
}

int ox_iterator_destroy(ox_iterator *it)
{
    if (it == nullptr)
        return null_argument();
    int left = _ox_object_unreference(it);
    if (left < 0)
        return OX_ENOENT;
    if (left > 0)
        return OX_SUCCESS;
    ContainerHeader *h = it->container;
    IteratorLink *link = nullptr;
    {
        ContainerLock hold(h);
        for (IteratorLink **p = &h->iterators; *p; p = &(*p)->next)
            if ((*p)->it == it) {
                link = *p;
                *p = link->next;
                break;
            }
    }
    mem_free(link);
    it->flags = 0;
    mem_free(it);
    return OX_SUCCESS;
}

int ox_iterator_start(ox_iterator *it, void **data)
{
    return run_step(it, &ContainerHeader::first, nullptr, data);
}
int ox_iterator_end(ox_iterator *it, void **data)
{
    return run_step(it, &ContainerHeader::last, nullptr, data);
}
int ox_iterator_next(ox_iterator *it, void **data)
{
    return run_step(it, &ContainerHeader::next, nullptr, data);
}
int ox_iterator_previous(ox_iterator *it, void **data)
{
    return run_step(it, &ContainerHeader::previous, nullptr, data);
}

int ox_iterator_start_key_data(ox_iterator *it, void **key, void **data)
{
    return key ? run_step(it, &ContainerHeader::first, key, data) : null_argument();
}

int ox_iterator_next_key_data(ox_iterator *it, void **key, void **data)
{
    return key ? run_step(it, &ContainerHeader::next, key, data) : null_argument();
}

int ox_iterator_previous_key_data(ox_iterator *it, void **key, void **data)
{
    return key ? run_step(it, &ContainerHeader::previous, key, data) : null_argument();
}

int ox_iterator_current(ox_iterator *it, void **data)
{
    if (it == nullptr || data == nullptr || it->container == nullptr)
        return null_argument();
    ContainerLock hold(it->container);
    if (it->current == nullptr) {
        *data = nullptr;
        return report_errno(ENOENT);
    }
    *data = element_data(it->current);
    return OX_SUCCESS;
}

}  // extern "C"
