// The exported table operations: each exists once for the table and once
// for the reader-writer table, over the same implementation.
#include "containers/table.hpp"

using namespace cairn;

namespace {

// NULL stays NULL; both kinds share the ox_table layout.
inline ox_table *base(ox_table *t) { return t; }

}  // namespace

#define CAIRN_TABLE_FAMILY(P, T, TYPE)                                                             \
    T *P##_new(ox_data_destructor destroy_data, ox_data_copy copy_data, ox_key_compare compare,    \
               ox_key_destructor destroy_key, ox_key_hash hash, uint32_t buckets, int ownership)   \
    {                                                                                              \
        return static_cast<T *>(table_new(                                                         \
            TYPE, {destroy_data, copy_data, compare, destroy_key, ownership}, hash, buckets));     \
    }                                                                                              \
    int P##_destroy(T *t) { return table_destroy(base(t)); }                                       \
    int P##_add(T *t, void *key, void *data)                                                       \
    {                                                                                              \
        return table_add(base(t), key, data, OX_TTL_NEVER, false);                                 \
    }                                                                                              \
    int P##_add_with_ttl(T *t, void *key, void *data, int32_t ttl, int try_flag)                   \
    {                                                                                              \
        return table_add(base(t), key, data, ttl, try_flag == 1);                                  \
    }                                                                                              \
    int P##_find(T *t, void *key, void **data)                                                     \
    {                                                                                              \
        return table_lookup(base(t), key, data, Lookup::find, OX_TTL_NEVER, false);                \
    }                                                                                              \
    int P##_reference(T *t, void *key, void **data)                                                \
    {                                                                                              \
        return table_lookup(base(t), key, data, Lookup::reference, OX_TTL_NEVER, false);           \
    }                                                                                              \
    int P##_unreference(T *t, void *key)                                                           \
    {                                                                                              \
        return table_lookup(base(t), key, nullptr, Lookup::unreference, OX_TTL_NEVER, false);      \
    }                                                                                              \
    int P##_get(T *t, void *key, void **copy)                                                      \
    {                                                                                              \
        return table_lookup(base(t), key, copy, Lookup::get, OX_TTL_NEVER, false);                 \
    }                                                                                              \
    int P##_find_with_ttl(T *t, void *key, void **data, int32_t ttl, int try_flag)                 \
    {                                                                                              \
        return table_lookup(base(t), key, data, Lookup::find, ttl, try_flag == 1);                 \
    }                                                                                              \
    int P##_reference_with_ttl(T *t, void *key, void **data, int32_t ttl, int try_flag)            \
    {                                                                                              \
        return table_lookup(base(t), key, data, Lookup::reference, ttl, try_flag == 1);            \
    }                                                                                              \
    int P##_unreference_with_ttl(T *t, void *key, int32_t ttl, int try_flag)                       \
    {                                                                                              \
        return table_lookup(base(t), key, nullptr, Lookup::unreference, ttl, try_flag == 1);       \
    }                                                                                              \
    int P##_get_with_ttl(T *t, void *key, void **copy, int32_t ttl, int try_flag)                  \
    {                                                                                              \
        return table_lookup(base(t), key, copy, Lookup::get, ttl, try_flag == 1);                  \
    }                                                                                              \
    int P##_replace(T *t, void *key, void **old_key, void *data, void **old_data)                  \
    {                                                                                              \
        return table_replace(base(t), key, old_key, data, old_data);                               \
    }                                                                                              \
    int P##_remove(T *t, void *key, void **data)                                                   \
    {                                                                                              \
        return table_remove(base(t), key, data, false);                                            \
    }                                                                                              \
    int P##_try_remove(T *t, void *key, void **data)                                               \
    {                                                                                              \
        return table_remove(base(t), key, data, true);                                             \
    }                                                                                              \
    int P##_remove_all(T *t) { return table_remove_all(base(t)); }                                 \
    int P##_ttl_flush(T *t, int *removed) { return table_flush(base(t), removed, false); }         \
    int P##_try_ttl_flush(T *t, int *removed) { return table_flush(base(t), removed, true); }      \
    int P##_foreach(T *t, ox_foreach_callback fn, void *arg)                                       \
    {                                                                                              \
        return table_foreach(base(t), fn, arg);                                                    \
    }                                                                                              \
    int P##_size(T *t) { return table_size(base(t)); }

extern "C" {
CAIRN_TABLE_FAMILY(ox_table, ox_table, OX_CONTAINER_TABLE)
CAIRN_TABLE_FAMILY(ox_rw_table, ox_rw_table, OX_CONTAINER_RW_TABLE)
}
