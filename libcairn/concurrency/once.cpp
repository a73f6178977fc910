// ox_once: exactly one caller runs the function; the others wait for it by
// yielding, which suits the short start-up functions it guards.
#include <cerrno>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "platform/yield.hpp"

extern "C" {

int ox_once(ox_once_t *once, void (*fn)(void))
{
    if (once == nullptr || fn == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    if (__atomic_load_n(&once->done, __ATOMIC_ACQUIRE))
        return OX_SUCCESS;
    if (__atomic_load_n(&once->started, __ATOMIC_ACQUIRE) == 0 &&
        __atomic_add_fetch(&once->started, 1, __ATOMIC_ACQ_REL) == 1) {
        fn();
        __atomic_store_n(&once->done, 1, __ATOMIC_RELEASE);
        return OX_SUCCESS;
    }
    while (!__atomic_load_n(&once->done, __ATOMIC_ACQUIRE))
        cairn::alertable_yield();
    return OX_SUCCESS;
}

void ox_once_reset(ox_once_t *once)
{
    if (once == nullptr)
        return;
    __atomic_store_n(&once->reserved, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&once->started, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&once->done, 0, __ATOMIC_RELEASE);
}

}  // extern "C"
