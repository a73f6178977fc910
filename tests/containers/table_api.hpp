// Both table kinds behind one set of function pointers, so that tests and
// the model run every case on each kind.
#pragma once

#include <time.h>

#include <cstdint>
#include <ostream>

#include "cairn/containers.h"
#include "platform/clocks.hpp"

namespace tabletest {

struct TableApi {
    const char *name;
    bool rw;
    void *(*make)(ox_data_destructor, ox_data_copy, ox_key_compare, ox_key_destructor, ox_key_hash,
                  uint32_t, int);
    int (*destroy)(void *);
    int (*add)(void *, void *, void *);
    int (*add_with_ttl)(void *, void *, void *, int32_t, int);
    int (*find)(void *, void *, void **);
    int (*reference)(void *, void *, void **);
    int (*unreference)(void *, void *);
    int (*get)(void *, void *, void **);
    int (*find_with_ttl)(void *, void *, void **, int32_t, int);
    int (*reference_with_ttl)(void *, void *, void **, int32_t, int);
    int (*unreference_with_ttl)(void *, void *, int32_t, int);
    int (*get_with_ttl)(void *, void *, void **, int32_t, int);
    int (*replace)(void *, void *, void **, void *, void **);
    int (*remove)(void *, void *, void **);
    int (*try_remove)(void *, void *, void **);
    int (*remove_all)(void *);
    int (*ttl_flush)(void *, int *);
    int (*try_ttl_flush)(void *, int *);
    int (*foreach)(void *, ox_foreach_callback, void *);
    int (*size)(void *);
};

#define TABLETEST_API(P, T, RW)                                                                    \
    TableApi                                                                                       \
    {                                                                                              \
#P, RW,                                                                                 \
            [](ox_data_destructor a, ox_data_copy b, ox_key_compare c, ox_key_destructor d,     \
               ox_key_hash e, uint32_t f, int g) -> void * { return P##_new(a, b, c, d, e, f, g); }, \
            [](void *t) { return P##_destroy(static_cast<T *>(t)); },                           \
            [](void *t, void *k, void *d) { return P##_add(static_cast<T *>(t), k, d); },       \
            [](void *t, void *k, void *d, int32_t l, int y) {                                   \
                return P##_add_with_ttl(static_cast<T *>(t), k, d, l, y);                       \
            },                                                                                  \
            [](void *t, void *k, void **o) { return P##_find(static_cast<T *>(t), k, o); },     \
            [](void *t, void *k, void **o) { return P##_reference(static_cast<T *>(t), k, o); }, \
            [](void *t, void *k) { return P##_unreference(static_cast<T *>(t), k); },           \
            [](void *t, void *k, void **o) { return P##_get(static_cast<T *>(t), k, o); },      \
            [](void *t, void *k, void **o, int32_t l, int y) {                                  \
                return P##_find_with_ttl(static_cast<T *>(t), k, o, l, y);                      \
            },                                                                                  \
            [](void *t, void *k, void **o, int32_t l, int y) {                                  \
                return P##_reference_with_ttl(static_cast<T *>(t), k, o, l, y);                 \
            },                                                                                  \
            [](void *t, void *k, int32_t l, int y) {                                            \
                return P##_unreference_with_ttl(static_cast<T *>(t), k, l, y);                  \
            },                                                                                  \
            [](void *t, void *k, void **o, int32_t l, int y) {                                  \
                return P##_get_with_ttl(static_cast<T *>(t), k, o, l, y);                       \
            },                                                                                  \
            [](void *t, void *k, void **ok, void *d, void **od) {                               \
                return P##_replace(static_cast<T *>(t), k, ok, d, od);                          \
            },                                                                                  \
            [](void *t, void *k, void **o) { return P##_remove(static_cast<T *>(t), k, o); },   \
            [](void *t, void *k, void **o) { return P##_try_remove(static_cast<T *>(t), k, o); }, \
            [](void *t) { return P##_remove_all(static_cast<T *>(t)); },                        \
            [](void *t, int *n) { return P##_ttl_flush(static_cast<T *>(t), n); },              \
            [](void *t, int *n) { return P##_try_ttl_flush(static_cast<T *>(t), n); },          \
            [](void *t, ox_foreach_callback f, void *a) {                                       \
                return P##_foreach(static_cast<T *>(t), f, a);                                  \
            },                                                                                  \
            [](void *t) { return P##_size(static_cast<T *>(t)); },          \
    }

inline void PrintTo(const TableApi &a, std::ostream *os) { *os << a.name; }

inline const TableApi kTable = TABLETEST_API(ox_table, ox_table, false);
inline const TableApi kRwTable = TABLETEST_API(ox_rw_table, ox_rw_table, true);

// The 32-bit clock stopped at the second the guard was made in and made to
// read that second plus s, so that no real second passes between steps.
struct FrozenClock {
    explicit FrozenClock(int32_t s = 0)
    {
        cairn::testing::clock_seconds32_offset(0);
        cairn::testing::clock_seconds32_freeze(true);
        to(s);
    }
    ~FrozenClock()
    {
        cairn::testing::clock_seconds32_offset(0);
        cairn::testing::clock_seconds32_freeze(false);
    }
    FrozenClock(const FrozenClock &) = delete;
    FrozenClock &operator=(const FrozenClock &) = delete;
    void to(int32_t s) { cairn::testing::clock_seconds32_offset(s); }
};

// Keys are small integers; the hash is the key itself, so tests choose
// buckets directly.
inline void *ptr(intptr_t v) { return reinterpret_cast<void *>(v); }
inline intptr_t val(void *p) { return reinterpret_cast<intptr_t>(p); }
inline int compare_ints(void *a, void *b) { return val(a) < val(b) ? -1 : val(a) > val(b) ? 1 : 0; }
inline uint32_t hash_int(void *k) { return static_cast<uint32_t>(val(k)); }

}  // namespace tabletest
