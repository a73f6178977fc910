// Hash tables with expiry on the container core: chained buckets of
// element records, under the container mutex (ox_table) or a
// reader-writer lock (ox_rw_table, one record per bucket).
#pragma once

#include "containers/container.hpp"

// Both kinds share one layout; the reader-writer table only differs by its
// lock and by evicting a bucket's occupant on every insertion.
struct ox_table {
    cairn::ContainerHeader h;
    ox_key_hash hash;
    uint32_t nbuckets;
    ox_node **buckets;  // chains through ox_node::next, newest first
    ox_rwlock *rw;      // reader-writer table only
};

struct ox_rw_table : ox_table {};

namespace cairn {

ox_table *table_new(uint32_t type, const Callbacks &cb, ox_key_hash hash, uint32_t buckets);
int table_destroy(ox_table *t);
int table_add(ox_table *t, void *key, void *data, int32_t ttl, bool try_only);
int table_lookup(ox_table *t, void *key, void **out, Lookup mode, int32_t ttl, bool try_only);
int table_replace(ox_table *t, void *key, void **old_key, void *data, void **old_data);
int table_remove(ox_table *t, void *key, void **out, bool try_only);
int table_remove_all(ox_table *t);
int table_flush(ox_table *t, int *removed, bool try_only);
int table_foreach(ox_table *t, ox_foreach_callback fn, void *arg);
int table_size(ox_table *t);

}  // namespace cairn

// Shared by the table files (the lock and the record primitives).
namespace cairn {

// The table's lock for one operation: the container mutex of a table, or
// the read or write side of a reader-writer table.  Nothing is taken when
// the container is flagged OX_CONTAINER_NOLOCK.
class TableLock {
public:
    TableLock(ox_table *t, bool write);
    ~TableLock();
    TableLock(const TableLock &) = delete;
    TableLock &operator=(const TableLock &) = delete;

private:
    ox_table *t_;
    bool rw_held_ = false;
    alignas(ContainerLock) unsigned char mutex_[sizeof(ContainerLock)];
    bool mutex_held_ = false;
};

inline bool is_rw_table(const ox_table *t) { return t->h.type == OX_CONTAINER_RW_TABLE; }

// Where a key belongs: its hash and its bucket.  Each record keeps its
// key's hash in its spare link, so that chain walks call the comparison
// only for records whose hash matches, and iteration finds a record's
// bucket without calling the hash again.
struct Place {
    uint32_t hash;
    uint32_t bucket;
};
inline Place place_of(const ox_table *t, void *key)
{
    uint32_t h = t->hash(key);
    return {h, h % t->nbuckets};
}
inline uint32_t record_hash(const ox_node *n)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(n->chain));
}

// The link (bucket head or a record's next) that points at the first
// record of the key's bucket whose key compares equal to `key`, or at the
// end of the chain when there is none.
ox_node **find_link(ox_table *t, Place where, void *key);
// Take the record at `*link` out: iterators on it move to the next record
// in table order, and the count drops.  The caller owns the record.
ox_node *detach(ox_table *t, ox_node **link);
// Remove the record at `*link` as an expired or evicted one: data and key
// destructors only when the table owns its data; nothing is handed back.
void drop_record(ox_table *t, ox_node **link);
void push_head(ox_table *t, Place where, ox_node *rec);

}  // namespace cairn
