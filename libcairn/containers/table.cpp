// Tables: layout, locking, record removal, iteration, creation and the
// whole-table operations (destroy, remove all, foreach, size).
#include "containers/table.hpp"

#include <new>

#include "concurrency/object_registry.hpp"
#include "platform/alloc.hpp"

namespace cairn {

namespace {

// A reader-writer lock whose wait was interrupted has run the due work;
// the table goes on waiting.  An interrupted writer may still hold the
// entry lock, which it gives back before trying again.
bool rw_acquire(ox_rwlock *rw, bool write)
{
    for (;;) {
        int rc = write ? ox_rwlock_write_lock(rw) : ox_rwlock_read_lock(rw);
        if (rc == OX_SUCCESS)
            return true;
        if (rc != OX_EINTR)
            return false;
        if (write)
            ox_rwlock_unlock(rw);
    }
}

}  // namespace

TableLock::TableLock(ox_table *t, bool write) : t_(t)
{
    if (!is_rw_table(t)) {
        new (mutex_) ContainerLock(&t->h);
        mutex_held_ = true;
    } else if (!(t->h.flags & OX_CONTAINER_NOLOCK)) {
        rw_held_ = rw_acquire(t->rw, write);
    }
}

TableLock::~TableLock()
{
    if (mutex_held_)
        reinterpret_cast<ContainerLock *>(mutex_)->~ContainerLock();
    if (rw_held_)
        ox_rwlock_unlock(t_->rw);
}

ox_node **find_link(ox_table *t, Place where, void *key)
{
    ox_node **link = &t->buckets[where.bucket];
    while (*link != nullptr &&
           (record_hash(*link) != where.hash || t->h.compare((*link)->key, key) != 0))
        link = &(*link)->next;
    return link;
}

namespace {

ox_node *head_after(const ox_table *t, uint32_t b)
{
    for (++b; b < t->nbuckets; ++b)
        if (t->buckets[b] != nullptr)
            return t->buckets[b];
    return nullptr;
}

// The record after `n` in table order: its successor in the chain, else
// the head of the next non-empty bucket after its own.
ox_node *following(const ox_table *t, const ox_node *n)
{
    return n->next ? n->next : head_after(t, record_hash(n) % t->nbuckets);
}

// Iterators on a removed record move forward whatever their direction.
void *repair_target(ContainerHeader *h, void *element, bool)
{
    return following(reinterpret_cast<ox_table *>(h), static_cast<ox_node *>(element));
}

}  // namespace

ox_node *detach(ox_table *t, ox_node **link)
{
    ox_node *n = *link;
    repair_iterators(&t->h, n, repair_target);
    *link = n->next;
    n->next = nullptr;
    --t->h.count;
    return n;
}

void drop_record(ox_table *t, ox_node **link)
{
    ox_node *n = detach(t, link);
    if (t->h.ownership == OX_CONTAINER_OWNS_DATA) {
        if (t->h.destroy_data != nullptr)
            t->h.destroy_data(n->data);
        release_key(&t->h, n->key);
    }
    mem_free(n);
}

void push_head(ox_table *t, Place where, ox_node *rec)
{
    rec->chain = reinterpret_cast<void *>(static_cast<uintptr_t>(where.hash));
    rec->next = t->buckets[where.bucket];
    t->buckets[where.bucket] = rec;
    ++t->h.count;
}

namespace {

// Every record destroyed, data and key, whatever the ownership mode.
// Iterators are left on no element rather than on freed records.
void destroy_records(ox_table *t)
{
    for (uint32_t b = 0; b < t->nbuckets; ++b) {
        for (ox_node *n = t->buckets[b], *next; n; n = next) {
            next = n->next;
            if (t->h.destroy_data != nullptr)
                t->h.destroy_data(n->data);
            release_key(&t->h, n->key);
            mem_free(n);
        }
        t->buckets[b] = nullptr;
    }
    t->h.count = 0;
    for (IteratorLink *l = t->h.iterators; l; l = l->next) {
        l->it->current = nullptr;
        l->it->pending = 0;
    }
}

// Iterator steps, called with the table locked (mutex table: by the
// iterator; reader-writer table: by the wrappers below).
int step_first(ox_iterator *it, void **data)
{
    auto *t = reinterpret_cast<ox_table *>(it->container);
    it->pending = 0;
    // head_after(UINT32_MAX) starts its search at bucket 0.
    it->current = t->h.count > 0 ? head_after(t, UINT32_MAX) : nullptr;
    return iterator_give(it, data);
}

int step_next(ox_iterator *it, void **data)
{
    auto *t = reinterpret_cast<ox_table *>(it->container);
    it->direction = 1;
    if (it->pending) {
        it->pending = 0;
        return iterator_give(it, data);
    }
    if (it->current != nullptr)
        it->current = following(t, static_cast<ox_node *>(it->current));
    return iterator_give(it, data);
}

// The reader-writer table has no container mutex: its steps take the read
// lock themselves.
int rw_step_first(ox_iterator *it, void **data)
{
    TableLock hold(reinterpret_cast<ox_table *>(it->container), false);
    return step_first(it, data);
}

int rw_step_next(ox_iterator *it, void **data)
{
    TableLock hold(reinterpret_cast<ox_table *>(it->container), false);
    return step_next(it, data);
}

int destroy_object(void *obj) { return table_destroy(static_cast<ox_table *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_object, "table"};

}  // namespace

ox_table *table_new(uint32_t type, const Callbacks &cb, ox_key_hash hash, uint32_t buckets)
{
    if (hash == nullptr || cb.compare == nullptr || buckets == 0) {
        report_errno(EINVAL);
        return nullptr;
    }
    bool rw = type == OX_CONTAINER_RW_TABLE;
    auto *t = static_cast<ox_table *>(mem_calloc(1, rw ? sizeof(ox_rw_table) : sizeof(ox_table)));
    if (t == nullptr)
        return nullptr;
    t->hash = hash;
    t->nbuckets = buckets;
    t->buckets = static_cast<ox_node **>(mem_calloc(buckets, sizeof(ox_node *)));
    Steps steps = rw ? Steps{rw_step_first, rw_step_next, nullptr, nullptr}
                     : Steps{step_first, step_next, nullptr, nullptr};
    if (t->buckets != nullptr && (!rw || (t->rw = ox_rwlock_new()) != nullptr) &&
        container_init(&t->h, type, cb, steps, destroy_object, !rw))
        return t;
    if (t->rw != nullptr)
        ox_rwlock_destroy(t->rw);
    mem_free(t->buckets);
    mem_free(t);
    return nullptr;
}

int table_destroy(ox_table *t)
{
    bool last = false;
    int rc = container_release(t ? &t->h : nullptr, &last);
    if (!last || t == nullptr)
        return rc;
    destroy_records(t);  // the last reference: nobody else can reach it
    if (t->rw != nullptr)
        ox_rwlock_destroy(t->rw);
    mem_free(t->buckets);
    container_free(&t->h);
    return OX_SUCCESS;
}

int table_remove_all(ox_table *t)
{
    if (t == nullptr)
        return null_argument();
    TableLock hold(t, true);
    destroy_records(t);
    return OX_SUCCESS;
}

int table_foreach(ox_table *t, ox_foreach_callback fn, void *arg)
{
    if (t == nullptr || fn == nullptr)
        return null_argument();
    TableLock hold(t, true);
    for (uint32_t b = 0; b < t->nbuckets; ++b)
        for (ox_node *n = t->buckets[b], *next; n; n = next) {
            next = n->next;
            fn(n->data, arg);
        }
    return OX_SUCCESS;
}

int table_size(ox_table *t)
{
    if (t == nullptr) {
        report_errno(EINVAL);
        return 0;
    }
    TableLock hold(t, false);
    return t->h.count;
}

}  // namespace cairn
