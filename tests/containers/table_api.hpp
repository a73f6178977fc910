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

// Table functions called through `void *` for the table, so that the two
// kinds fit one set of function pointers.
template <auto F>
struct Erased;
template <typename T, typename R, typename... A, R (*F)(T *, A...)>
struct Erased<F> {
    static R call(void *t, A... a) { return F(static_cast<T *>(t), a...); }
};
template <auto F>
constexpr auto erased = &Erased<F>::call;
template <auto F>
struct Made;
template <typename T, typename... A, T *(*F)(A...)>
struct Made<F> {
    static void *call(A... a) { return F(a...); }
};
template <auto F>
constexpr auto made = &Made<F>::call;

inline void PrintTo(const TableApi &a, std::ostream *os) { *os << a.name; }

// Both kinds.
template <typename... Fields>
TableApi table_api(Fields... fields)
{
    return TableApi{fields...};
}
inline const TableApi kTable =
    table_api("ox_table", false, made<ox_table_new>, erased<ox_table_destroy>, erased<ox_table_add>,
              erased<ox_table_add_with_ttl>, erased<ox_table_find>, erased<ox_table_reference>,
              erased<ox_table_unreference>, erased<ox_table_get>, erased<ox_table_find_with_ttl>,
              erased<ox_table_reference_with_ttl>, erased<ox_table_unreference_with_ttl>,
              erased<ox_table_get_with_ttl>, erased<ox_table_replace>, erased<ox_table_remove>,
              erased<ox_table_try_remove>, erased<ox_table_remove_all>, erased<ox_table_ttl_flush>,
              erased<ox_table_try_ttl_flush>, erased<ox_table_foreach>, erased<ox_table_size>);
inline const TableApi kRwTable = table_api(
    "ox_rw_table", true, made<ox_rw_table_new>, erased<ox_rw_table_destroy>,
    erased<ox_rw_table_add>, erased<ox_rw_table_add_with_ttl>, erased<ox_rw_table_find>,
    erased<ox_rw_table_reference>, erased<ox_rw_table_unreference>, erased<ox_rw_table_get>,
    erased<ox_rw_table_find_with_ttl>, erased<ox_rw_table_reference_with_ttl>,
    erased<ox_rw_table_unreference_with_ttl>, erased<ox_rw_table_get_with_ttl>,
    erased<ox_rw_table_replace>, erased<ox_rw_table_remove>, erased<ox_rw_table_try_remove>,
    erased<ox_rw_table_remove_all>, erased<ox_rw_table_ttl_flush>,
    erased<ox_rw_table_try_ttl_flush>, erased<ox_rw_table_foreach>, erased<ox_rw_table_size>);

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
