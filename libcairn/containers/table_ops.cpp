// Tables: adding, lookups with sliding expiry, replacing, removing and
// flushing expired entries.
#include "containers/table.hpp"

#include "platform/alloc.hpp"
#include "platform/clocks.hpp"

namespace cairn {

namespace {

bool busy(ox_table *t, const ox_node *n) { return element_busy(&t->h, n, n->refs); }

// The clock is read only when an expiry is set or tested: never-expiring
// entries looked up without a time to live need no time at all.
int32_t now_if(bool needed) { return needed ? clock_seconds32() : 0; }

// A reader-writer table keeps one record per bucket: whatever stands in
// the bucket is evicted before a new record goes in.
void evict_occupant(ox_table *t, uint32_t b)
{
    if (is_rw_table(t) && t->buckets[b] != nullptr)
        drop_record(t, &t->buckets[b]);
}

}  // namespace

int table_add(ox_table *t, void *key, void *data, int32_t ttl, bool try_only)
{
    if (t == nullptr || key == nullptr)
        return null_argument();
    // Made before anything changes, so a failed allocation leaves the
    // table as it was.
    ox_node *rec = ox_node_new(data, key);
    if (rec == nullptr)
        return ox_error_get_last();
    int32_t now = now_if(ttl != OX_TTL_NEVER);
    TableLock hold(t, true);
    Place where = place_of(t, key);
    if (ttl < OX_TTL_NEVER) {
        ox_node **link = find_link(t, where, key);
        if (*link != nullptr) {
            if (!has_expired((*link)->expiry, now)) {
                mem_free(rec);
                return report_errno(EEXIST);
            }
            if (try_only && busy(t, *link))
                report_errno(EBUSY);  // left in place; the add goes on
            else
                drop_record(t, link);
        }
    }
    evict_occupant(t, where.bucket);
    rec->expiry = expiry_from_ttl(now, ttl);
    push_head(t, where, rec);
    return OX_SUCCESS;
}

int table_lookup(ox_table *t, void *key, void **out, Lookup mode, int32_t ttl, bool try_only)
{
    if (out != nullptr)
        *out = nullptr;
    if (t == nullptr || key == nullptr || (out == nullptr && mode != Lookup::unreference))
        return null_argument();
    TableLock hold(t, true);
    ox_node **link = find_link(t, place_of(t, key), key);
    ox_node *n = *link;
    if (n == nullptr)
        return report_errno(ENOENT);
    int32_t now = now_if(n->expiry != OX_TTL_NEVER || ttl != OX_TTL_NEVER);
    if (has_expired(n->expiry, now)) {
        if (!(try_only && busy(t, n)))
            drop_record(t, link);
        return expired_result();
    }
    int rc = apply_lookup(&t->h, n->data, n->refs, out, mode);
    // Sliding expiry: every use re-arms the entry, a failed copy included.
    if (ttl != OX_TTL_NEVER)
        n->expiry = expiry_from_ttl(now, ttl);
    return rc;
}

int table_replace(ox_table *t, void *key, void **old_key, void *data, void **old_data)
{
    if (t == nullptr || key == nullptr)
        return null_argument();
    TableLock hold(t, true);
    Place where = place_of(t, key);
    if (ox_node *n = *find_link(t, where, key)) {
        // Referenced entries are replaced all the same; expiry and
        // references stay with the record.
        if (old_data != nullptr)
            *old_data = n->data;
        else if (t->h.destroy_data != nullptr)
            t->h.destroy_data(n->data);
        if (old_key != nullptr)
            *old_key = n->key;
        else
            release_key(&t->h, n->key);
        n->data = data;
        n->key = key;
        n->chain = reinterpret_cast<void *>(static_cast<uintptr_t>(where.hash));
        return OX_SUCCESS;
    }
    ox_node *rec = ox_node_new(data, key);
    if (rec == nullptr)
        return ox_error_get_last();
    evict_occupant(t, where.bucket);
    push_head(t, where, rec);
    return OX_SUCCESS;
}

int table_remove(ox_table *t, void *key, void **out, bool try_only)
{
    if (out != nullptr)
        *out = nullptr;
    if (t == nullptr || key == nullptr)
        return null_argument();
    TableLock hold(t, true);
    ox_node **link = find_link(t, place_of(t, key), key);
    if (*link == nullptr)
        return report_errno(ENOENT);
    if (try_only && busy(t, *link))
        return report_errno(EBUSY);
    ox_node *n = detach(t, link);
    // Unlike lists, a table that does not own its data hands it back and
    // leaves the key to the caller as well.
    if (t->h.ownership == OX_CONTAINER_OWNS_DATA) {
        release_data(&t->h, n->data, out);
        release_key(&t->h, n->key);
    } else if (out != nullptr) {
        *out = n->data;
    }
    mem_free(n);
    return OX_SUCCESS;
}

int table_flush(ox_table *t, int *removed, bool try_only)
{
    if (removed != nullptr)
        *removed = 0;
    if (t == nullptr)
        return null_argument();
    TableLock hold(t, true);
    int32_t now = clock_seconds32();
    int count = 0;
    int rc = OX_SUCCESS;
    for (uint32_t b = 0; b < t->nbuckets; ++b) {
        for (ox_node **link = &t->buckets[b]; *link != nullptr;) {
            ox_node *n = *link;
            if (!has_expired(n->expiry, now)) {
                link = &n->next;
            } else if (try_only && busy(t, n)) {
                rc = report_errno(EBUSY);
                link = &n->next;
            } else {
                drop_record(t, link);
                ++count;
            }
        }
    }
    if (removed != nullptr)
        *removed = count;
    return rc;
}

}  // namespace cairn
