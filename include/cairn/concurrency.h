/* Concurrency: the object registry under every handle, once-guards and
 * atomics (and, as the library grows, locks, threads, queues and timers). */
#ifndef CAIRN_CONCURRENCY_H
#define CAIRN_CONCURRENCY_H

#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/* ------------------------------------------------------------------------
 * Object registry
 *
 * Every handle of the library begins with this header.  A handle is valid
 * only while the registry slot named by `index` holds the handle's address,
 * so a stale or foreign pointer is told apart from a live handle.
 * ------------------------------------------------------------------------ */

/** Header at the start of every registered object. */
typedef struct ox_object_header {
    uint32_t flags; /**< bit 0: registered and valid; other bits: attributes */
    int32_t index;  /**< registry slot */
} ox_object_header;

/** Flag bit 0 of the header: the object is registered and valid. */
#define OX_OBJECT_VALID 0x1u

/** Destructor kept in a registry slot; called by ox_object_unreference()
 *  when the last reference goes.  Its result is returned to that caller. */
typedef int (*ox_object_destructor)(void *obj);

/**
 * Enter @p obj in the registry with reference count 1.
 * The lowest free slot is used; the registry grows by 32 slots when full.
 * @return the slot index, which the caller stores in the header before
 *         setting OX_OBJECT_VALID; -1 on allocation failure (last error set).
 */
CAIRN_API int _ox_object_reference(void *obj, ox_object_destructor destructor);

/**
 * Drop one reference without calling the destructor.
 * @return the remaining count (non-zero: the caller must not free), 0 when
 *         the slot was freed (the caller releases the object now), or -1
 *         when the header's slot does not hold @p obj (last error errno 2).
 */
CAIRN_API int _ox_object_unreference(void *obj);

/**
 * Take one more reference on a registered object.
 * @return 0; 31 when @p obj is NULL or not flagged valid (last error errno
 *         22); 49 when its slot does not hold it (last error errno 2).
 */
CAIRN_API int ox_object_reference(void *obj);

/**
 * Drop one reference; on the last one the slot's destructor is called with
 * @p obj after the registry lock is released.
 * @return the destructor's result on the last reference, else 0; 31 or 49
 *         as for ox_object_reference().
 */
CAIRN_API int ox_object_unreference(void *obj);

/** OR @p bits into the header flags of @p obj, without locking.  Meant for
 *  the owner before the handle is shared.  @return 0, or 2 for NULL. */
CAIRN_API int ox_object_set_attribute(void *obj, uint32_t bits);

/** Allow ox_object_once_cleanup_atexit() to tear the registry down. */
CAIRN_API void enable_ox_object_cleanup(void);

/** At exit: when clean-up was enabled, free the registry and its lock so a
 *  later registration starts afresh; otherwise do nothing, so that objects
 *  released by late exit code still find the registry. */
CAIRN_API void ox_object_once_cleanup_atexit(void);

/* ------------------------------------------------------------------------
 * Once-guards
 * ------------------------------------------------------------------------ */

/** Once record: all zero when ready; a zero-filled static needs no set-up. */
typedef struct ox_once_t {
    volatile uint32_t reserved;
    volatile uint32_t done;
    volatile uint32_t started;
} ox_once_t;

#define OX_ONCE_INIT { 0, 0, 0 }

/**
 * Run @p fn exactly once for @p once in the process.  Every caller returns
 * only after @p fn has finished.  @p fn must not use the same record.
 * @return 0; 2 when @p once or @p fn is NULL (last error errno 22).
 */
CAIRN_API int ox_once(ox_once_t *once, void (*fn)(void));

/** Zero @p once so that the next ox_once() runs its function again.
 *  NULL is ignored. */
CAIRN_API void ox_once_reset(ox_once_t *once);

/* ------------------------------------------------------------------------
 * Atomic integers: registered 32-bit values; every operation is a full
 * barrier.  A NULL handle gives 0 with last error errno 22.
 * ------------------------------------------------------------------------ */

typedef struct ox_atomic ox_atomic;

/** @return a new atomic holding @p initial, or NULL (last error set). */
CAIRN_API ox_atomic *ox_atomic_new(int32_t initial);
/** @return the new value. */
CAIRN_API int32_t ox_atomic_increment(ox_atomic *a);
/** @return the new value. */
CAIRN_API int32_t ox_atomic_decrement(ox_atomic *a);
/** Store @p value.  @return the old value. */
CAIRN_API int32_t ox_atomic_exchange(ox_atomic *a, int32_t value);
/** Add @p value.  @return the old value. */
CAIRN_API int32_t ox_atomic_exchange_add(ox_atomic *a, int32_t value);
/** Store @p value if the atomic holds @p expected.
 *  @return 1 when stored, else 0. */
CAIRN_API int ox_atomic_compare_exchange(ox_atomic *a, int32_t value,
                                         int32_t expected);
/** @return the current value (a full barrier like the others). */
CAIRN_API int32_t ox_atomic_get(ox_atomic *a);
/**
 * Drop one reference; the last one frees the atomic.
 * @return 0; 2 for NULL (last error errno 22); 49 for a stale handle.
 */
CAIRN_API int ox_atomic_destroy(ox_atomic *a);

CAIRN_END_DECLS

#endif /* CAIRN_CONCURRENCY_H */
