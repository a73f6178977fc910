// ox_atomic: a registered 32-bit integer; every operation is a full barrier.
#include <cerrno>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/object_registry.hpp"
#include "frame/error_results.hpp"
#include "platform/alloc.hpp"

struct ox_atomic {
    ox_object_header header;
    int32_t value;
};

namespace {

int destroy_atomic(void *obj) { return ox_atomic_destroy(static_cast<ox_atomic *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_atomic, "atomic"};

bool reject_null(const ox_atomic *a)
{
    if (a != nullptr)
        return false;
    cairn::null_argument();
    return true;
}

}  // namespace

extern "C" {

ox_atomic *ox_atomic_new(int32_t initial)
{
    auto *a = static_cast<ox_atomic *>(cairn::mem_calloc(1, sizeof(ox_atomic)));
    if (a == nullptr)
        return nullptr;
    int index = _ox_object_reference(a, destroy_atomic);
    if (index < 0) {
        cairn::mem_free(a);
        return nullptr;
    }
    a->header.index = index;
    a->header.flags |= OX_OBJECT_VALID;
    __atomic_store_n(&a->value, initial, __ATOMIC_SEQ_CST);
    return a;
}

int32_t ox_atomic_increment(ox_atomic *a)
{
    return reject_null(a) ? 0 : __atomic_add_fetch(&a->value, 1, __ATOMIC_SEQ_CST);
}

int32_t ox_atomic_decrement(ox_atomic *a)
{
    return reject_null(a) ? 0 : __atomic_sub_fetch(&a->value, 1, __ATOMIC_SEQ_CST);
}

int32_t ox_atomic_exchange(ox_atomic *a, int32_t value)
{
    return reject_null(a) ? 0 : __atomic_exchange_n(&a->value, value, __ATOMIC_SEQ_CST);
}

int32_t ox_atomic_exchange_add(ox_atomic *a, int32_t value)
{
    return reject_null(a) ? 0 : __atomic_fetch_add(&a->value, value, __ATOMIC_SEQ_CST);
}

int ox_atomic_compare_exchange(ox_atomic *a, int32_t value, int32_t expected)
{
    if (reject_null(a))
        return 0;
    return __atomic_compare_exchange_n(&a->value, &expected, value, false, __ATOMIC_SEQ_CST,
                                       __ATOMIC_SEQ_CST)
               ? 1
               : 0;
}

int32_t ox_atomic_get(ox_atomic *a)
{
    return reject_null(a) ? 0 : __atomic_load_n(&a->value, __ATOMIC_SEQ_CST);
}

int ox_atomic_destroy(ox_atomic *a)
{
    if (reject_null(a))
        return OX_ENULL;
    int left = _ox_object_unreference(a);
    if (left < 0)
        return OX_ENOENT;
    if (left > 0)
        return OX_SUCCESS;
    a->header.flags = 0;
    cairn::mem_free(a);
    return OX_SUCCESS;
}

}  // extern "C"
