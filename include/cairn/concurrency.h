/** @file
 * Concurrency: the object registry under every handle, once-guards and
 * atomics, locks and events, threads and thread storage (and, as the
 * library grows, queues and timers). */
#ifndef CAIRN_CONCURRENCY_H
#define CAIRN_CONCURRENCY_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>
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
    volatile uint32_t reserved; /**< Unused. */
    volatile uint32_t done;     /**< Non-zero once the function has run. */
    volatile uint32_t started;  /**< Non-zero while the function runs. */
} ox_once_t;

#define OX_ONCE_INIT                                                                               \
    {                                                                                              \
        0, 0, 0                                                                                    \
    } /**< The initial value of an ox_once_t. */

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

/** A registered 32-bit integer. */
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
CAIRN_API int ox_atomic_compare_exchange(ox_atomic *a, int32_t value, int32_t expected);
/** @return the current value (a full barrier like the others). */
CAIRN_API int32_t ox_atomic_get(ox_atomic *a);
/**
 * Drop one reference; the last one frees the atomic.
 * @return 0; 2 for NULL (last error errno 22); 49 for a stale handle.
 */
CAIRN_API int ox_atomic_destroy(ox_atomic *a);

/* ------------------------------------------------------------------------
 * Locks and events
 *
 * Every wait of the library is alertable: calls queued to the waiting
 * thread (a thread cancel, a timer's callback) run inside the wait, which
 * then reports an interruption.  Time-outs are milliseconds on a monotonic
 * clock; OX_WAIT_FOREVER never ends and 0 tries once.
 *
 * Results common to the handle types: 0 success; 2 NULL handle (last error
 * errno EINVAL); 30 interrupted (errno EINTR); 8 would block (errno
 * EAGAIN); 81 timed out (last error Win32 258); 18 self-deadlock (errno
 * EDEADLK); 69 not owner (errno EPERM).
 * ------------------------------------------------------------------------ */

/** A time-out that never ends. */
#define OX_WAIT_FOREVER 0xFFFFFFFFu

/** Handles of the lock objects: opaque, registered, used through their calls below. */
typedef struct ox_mutex ox_mutex;
/** Handles of the lock objects: opaque, registered, used through their calls below. */
typedef struct ox_event ox_event;
/** Handles of the lock objects: opaque, registered, used through their calls below. */
typedef struct ox_rwlock ox_rwlock;
/** Handles of the lock objects: opaque, registered, used through their calls below. */
typedef struct ox_semaphore ox_semaphore;
/** Handles of the lock objects: opaque, registered, used through their calls below. */
typedef struct ox_mtx ox_mtx;
/** Handles of the lock objects: opaque, registered, used through their calls below. */
typedef struct ox_cond ox_cond;

/** @return a new unlocked, non-recursive mutex, or NULL (last error set).
 *  Destroy it with ox_event_destroy(). */
CAIRN_API ox_mutex *ox_mutex_new(void);
/**
 * Lock, waiting as long as it takes.
 * @return 0; 18 when the caller already owns @p m; 30 interrupted; 2 NULL.
 */
CAIRN_API int ox_mutex_lock(ox_mutex *m);
/** Lock without waiting (no self-deadlock test: a mutex the caller owns is
 *  busy).  @return 0; 8 busy; 30 interrupted; 2 NULL. */
CAIRN_API int ox_mutex_trylock(ox_mutex *m);
/** @return 0; 69 when the caller does not own @p m; 2 NULL. */
CAIRN_API int ox_mutex_unlock(ox_mutex *m);

/** @return a new auto-reset event, not signalled, or NULL (last error set). */
CAIRN_API ox_event *ox_event_new(void);
/** Release one waiter (or the next wait) and end a running broadcast.
 *  @return 0; 2 NULL. */
CAIRN_API int ox_event_signal(ox_event *e);
/**
 * With waiters counted, release them one after another; with none, do
 * nothing (a broadcast is not remembered).  A waiter that timed out or was
 * interrupted stays counted, so a broadcast may leave the event signalled
 * for the next wait.  @return 0; 2 NULL.
 */
CAIRN_API int ox_event_broadcast(ox_event *e);
/** ox_event_timedwait() with OX_WAIT_FOREVER. */
CAIRN_API int ox_event_wait(ox_event *e);
/** Wait up to @p ms milliseconds.  @return 0; 81 timed out; 30
 *  interrupted; 2 NULL. */
CAIRN_API int ox_event_timedwait(ox_event *e, uint32_t ms);
/**
 * Drop one reference to an ox_event or an ox_mutex; the last one frees it.
 * @return 0; 2 NULL (errno EINVAL); 49 stale handle (errno ENOENT).
 */
CAIRN_API int ox_event_destroy(void *handle);

/** @return a new read-write lock, writers first, or NULL (last error set). */
CAIRN_API ox_rwlock *ox_rwlock_new(void);
/** Shared lock; waits behind a writer that waits or holds the lock.
 *  @return 0; 30 interrupted; 2 NULL. */
CAIRN_API int ox_rwlock_read_lock(ox_rwlock *rw);
/** As ox_rwlock_read_lock() without waiting.  @return 0; 8 busy; 30; 2. */
CAIRN_API int ox_rwlock_read_trylock(ox_rwlock *rw);
/**
 * Exclusive lock: takes the entry lock, then waits for the readers to
 * leave.  @return 0 holding the lock; 30 interrupted: when the wait for the
 * readers was interrupted the entry lock is still held and the caller must
 * call ox_rwlock_unlock(); 2 NULL.
 */
CAIRN_API int ox_rwlock_write_lock(ox_rwlock *rw);
/**
 * As ox_rwlock_write_lock() without waiting: 8 when the entry lock is
 * busy.  When readers hold the lock, the entry lock is released again and
 * the result is the portable code of the thread's last error as it stands
 * (the wait that found readers does not change it): callers set the last
 * error first when they need to tell this case apart.
 */
CAIRN_API int ox_rwlock_write_trylock(ox_rwlock *rw);
/** Release a writer's or a reader's hold.  @return 0; 2 NULL. */
CAIRN_API int ox_rwlock_unlock(ox_rwlock *rw);
/** Drop one reference; the last one frees.  @return 0; 2 NULL; 49 stale. */
CAIRN_API int ox_rwlock_destroy(ox_rwlock *rw);

/** @return a semaphore holding @p initial units (at most 0x7FFFFFFF, else
 *  NULL with errno EINVAL), or NULL (last error set). */
CAIRN_API ox_semaphore *ox_semaphore_new(uint32_t initial);
/** Add one unit.  @return 0; 2 NULL; the portable code of the failure when
 *  the count would pass 0x7FFFFFFF (last error Win32 298, code 1). */
CAIRN_API int ox_semaphore_post(ox_semaphore *s);
/** Take one unit, waiting as long as it takes.  @return 0; 30; 2 NULL. */
CAIRN_API int ox_semaphore_wait(ox_semaphore *s);
/** Take one unit within @p ms.  @return 0; 81 timed out; 30; 2 NULL. */
CAIRN_API int ox_semaphore_timedwait(ox_semaphore *s, uint32_t ms);
/** Take one unit without waiting.  @return 0; 8 none left; 30; 2 NULL. */
CAIRN_API int ox_semaphore_trywait(ox_semaphore *s);
/** Drop one reference; the last one frees.  @return 0; 2 NULL; 49 stale. */
CAIRN_API int ox_semaphore_destroy(ox_semaphore *s);

/*
 * The boolean pair: 1 success, 0 failure; no last error is set.  ox_mtx is
 * recursive and not a registered object; its waits are alertable too, so an
 * interrupted ox_mtx_lock() returns 0 without the lock.
 */
/** Create into @p *m.  @return 1; 0 when @p m is NULL or memory runs out. */
CAIRN_API int ox_mtx_create(ox_mtx **m);
/** @return 1; 0 for NULL. */
CAIRN_API int ox_mtx_destroy(ox_mtx *m);
/** @return 1 once locked (again, when the caller owns it); 0 NULL or
 *  interrupted. */
CAIRN_API int ox_mtx_lock(ox_mtx *m);
/** @return 1 when locked at once; 0 otherwise. */
CAIRN_API int ox_mtx_trylock(ox_mtx *m);
/** Release one level.  A mutex the caller does not own counts as success.
 *  @return 1; 0 for NULL. */
CAIRN_API int ox_mtx_unlock(ox_mtx *m);

/** Create into @p *c.  @return 1; 0 when @p c is NULL or on failure. */
CAIRN_API int ox_cond_create(ox_cond **c);
/** @return 1; 0 for NULL. */
CAIRN_API int ox_cond_destroy(ox_cond *c);
/** Wake one waiter if any is counted; two signals before a waiter wakes wake
 *  only one.  There is no broadcast.  @return 1; 0 for NULL. */
CAIRN_API int ox_cond_signal(ox_cond *c);
/** ox_cond_timedwait() without a time-out. */
CAIRN_API int ox_cond_wait(ox_cond *c, ox_mtx *m);
/**
 * Release @p m, wait for a signal for at most @p rel (seconds * 1000 +
 * microseconds / 1000 milliseconds; NULL waits forever; negative parts
 * count as 0), lock @p m again.
 * @return 1 when signalled; 0 on time-out, interruption or bad arguments.
 *         Whenever the wait was entered, @p m is held again on return.
 */
CAIRN_API int ox_cond_timedwait(ox_cond *c, ox_mtx *m, const struct timeval *rel);

/* ------------------------------------------------------------------------
 * Threads
 *
 * Thread states: 0 new, 1 starting, 2 running, 3 destroyed while running
 * (frees itself when it ends), 4 cancelled and ended, 5 returned, 6 joined.
 * A joined thread may be started again.
 * ------------------------------------------------------------------------ */

/** Handles of threads and thread-storage keys: opaque, registered. */
typedef struct ox_thread ox_thread;
/** Handles of threads and thread-storage keys: opaque, registered. */
typedef struct ox_threadstorage ox_threadstorage;

/** A thread's start function; its result is the thread's exit code. */
typedef uint32_t (*ox_thread_fn)(void *arg);

/** @return a new thread object, not started, or NULL (last error set). */
CAIRN_API ox_thread *ox_thread_new(ox_thread_fn fn, void *arg);
/**
 * Start @p t (state 0 or 6), then pause 1 millisecond so that it may run
 * first.  @return 0; 2 NULL; 18 @p t is the caller; 12 (errno EBUSY) in any
 * other state; the portable code of the failure when the platform thread
 * cannot be created (the object stays new and reusable).
 */
CAIRN_API int ox_thread_start(ox_thread *t);
/**
 * Wait for @p t to end and store its exit code in @p code (may be NULL);
 * the thread is then joined (state 6).
 * @return 0; 2 NULL; 78 (errno ESRCH) unless @p t is starting, running or
 *         ended; 18 @p t is the caller; 30 interrupted (not joined).
 */
CAIRN_API int ox_thread_join(ox_thread *t, uint32_t *code);
/** As ox_thread_join() for a thread that has ended.  @return 12 (errno
 *  EBUSY) while it starts or runs; 78 unless it ended; as join otherwise. */
CAIRN_API int ox_thread_tryjoin(ox_thread *t, uint32_t *code);
/**
 * Ask a running thread to end at its next alertable wait (any library
 * wait, ox_thread_sleep() or ox_thread_test_cancel()).  There its storage
 * destructors and clean-up entries run and it ends with exit code 1.
 * @return 0 (also when the thread ignores cancels); 2 NULL; 78 (errno
 *         ESRCH) unless running; 1 when the request cannot be queued.
 */
CAIRN_API int ox_thread_cancel(ox_thread *t);
/** An alertable sleep of 1 millisecond where a pending cancel takes effect.
 *  When some other queued call ran, the last error becomes errno EINTR. */
CAIRN_API void ox_thread_test_cancel(void);
/**
 * Release @p t.  A starting or running thread is detached: it frees itself
 * when it ends.  Otherwise one reference is dropped and the last one frees
 * the object (after reaping an ended thread).
 * @return 0; 2 NULL; 18 @p t is the caller; 49 stale handle.
 */
CAIRN_API int ox_thread_destroy(ox_thread *t);
/**
 * The calling thread's object.  A thread the library did not create gets
 * one on first call (state 2, sequence number 0); it belongs to the thread
 * and is freed when the thread ends unless the caller took a reference.
 * @return the object; NULL when it cannot be allocated (last error set).
 */
CAIRN_API ox_thread *ox_thread_self(void);
/** @return 1 when @p a and @p b are the same object, else 0; 0 with errno
 *  EINVAL when either is NULL. */
CAIRN_API int ox_thread_equal(ox_thread *a, ox_thread *b);
/** @return process id in the high half, sequence number in the low half;
 *  0 with errno EINVAL for NULL. */
CAIRN_API uint64_t ox_thread_id(ox_thread *t);
/** Alertable sleep.  @return 0; 30 (errno EINTR) when a queued call ran. */
CAIRN_API int ox_thread_sleep(uint32_t ms);
/** Give up the time slice.  @return 0. */
CAIRN_API int ox_thread_yield(void);
/** Not supported (threads get the platform's default stack): @return 64. */
CAIRN_API int ox_thread_getstacksize(ox_thread *t, size_t *size);
/** Not supported: @return 64. */
CAIRN_API int ox_thread_setstacksize(ox_thread *t, size_t size);
/** Not supported: last error errno ENOSYS, @return 59. */
CAIRN_API int ox_thread_signal(ox_thread *t, int signo);
/** Not supported: last error errno ENOSYS, @return 59. */
CAIRN_API int ox_thread_signal_block(int signo);
/** Not supported: last error errno ENOSYS, @return 59. */
CAIRN_API int ox_thread_signal_handler(int signo, void (*handler)(int));
/** Mark the thread layer initialised.  @return 1. */
CAIRN_API int ox_thr_init(void);

/**
 * Push (fn, arg) on the calling thread's clean-up stack.  Entries run last
 * pushed first when the thread ends (returns, is cancelled, or, for a
 * thread the library did not create, exits); a NULL @p fn is skipped.
 * @return 0; 53 (errno ENOMEM) when the entry or the thread's object cannot
 *         be allocated.
 */
CAIRN_API int ox_thread_cleanup_push(void (*fn)(void *), void *arg);
/**
 * Remove the calling thread's newest clean-up entry and, when @p execute is
 * non-zero, run it.  @return 0; 49 (errno ENOENT) when the stack is empty.
 */
CAIRN_API int ox_thread_cleanup_pop(int execute);

/** The per-thread library record; the library keeps more private state
 *  after these fields, so never copy or allocate one. */
typedef struct ox_corvan {
    ox_thread *thread; /**< the thread's object, once known */
    void *last_error;  /**< the thread's last-error record, once made */
} ox_corvan;

/** @return the calling thread's record, created on first use (the process
 *  raises SIGTERM when it cannot be made). */
CAIRN_API ox_corvan *ox_corvan_get(void);

/* ------------------------------------------------------------------------
 * Thread storage
 * ------------------------------------------------------------------------ */

/**
 * A new key, every thread's value NULL.  @p destructor (may be NULL) is
 * called with a thread's non-NULL value when a library thread ends.
 * @return the key; NULL when no slot is free (errno EAGAIN) or memory runs
 *         out (last error set).
 */
CAIRN_API ox_threadstorage *ox_threadstorage_new(void (*destructor)(void *));
/** @return the calling thread's value; NULL when unset or @p key is NULL. */
CAIRN_API void *ox_threadstorage_get(ox_threadstorage *key);
/** Store the calling thread's value.  @return 0; 2 NULL (errno EINVAL); 53
 *  when the thread's table cannot grow. */
CAIRN_API int ox_threadstorage_set(ox_threadstorage *key, void *value);
/**
 * Drop one reference; the last one unlinks the key and returns its slot.
 * Values still held by threads are not destroyed.
 * @return 0; 2 NULL; 49 stale handle.
 */
CAIRN_API int ox_threadstorage_destroy(ox_threadstorage *key);
/**
 * Run the destructors of the calling thread's values: up to 4 passes over
 * all keys; in each, every key with a destructor and a non-NULL value has
 * its value set to NULL and the destructor called with the old value.
 * Destructors run under the key-list lock and must not create or destroy
 * keys.
 */
CAIRN_API void _ox_threadstorage_expunge(void);

/* ------------------------------------------------------------------------
 * Timers: a callback called periodically on the thread that started (or
 * reset) the timer, during that thread's alertable waits (any library wait,
 * ox_thread_sleep(), ox_thread_test_cancel()), each delivery interrupting
 * the wait (30).  The first expiry is immediate; later ones follow every
 * interval.  A busy thread gets one call when it next waits, not a pile.
 * ------------------------------------------------------------------------ */

/** A timer handle: opaque, registered. */
typedef struct ox_timer ox_timer;
/** A timer's callback (and its release function), given the timer's argument. */
typedef void (*ox_timer_fn)(void *arg);

/**
 * A new idle timer.  @p value is stored for the caller and not used.
 * @p release (may be NULL) is called with @p arg once, when the timer is
 * finally destroyed.  An interval of 0 makes a timer that fires once.
 * @return the timer, or NULL with the last error set.
 */
CAIRN_API ox_timer *ox_timer_new(uint32_t interval_ms, uint32_t value, ox_timer_fn fn, void *arg,
                                 ox_timer_fn release);
/** Arm the timer for the calling thread.  @return 0; 2 for NULL; 12 (errno
 *  EBUSY) when it is already running. */
CAIRN_API int ox_timer_start(ox_timer *t);
/** Disarm a running timer (state stopped); an idle timer stays idle.
 *  @return 0, or 2 for NULL. */
CAIRN_API int ox_timer_stop(ox_timer *t);
/** Store a new interval and value and arm the timer again for the calling
 *  thread, with an immediate first expiry.  @return 0, or 2 for NULL. */
CAIRN_API int ox_timer_reset(ox_timer *t, uint32_t interval_ms, uint32_t value);
/** The value given to ox_timer_new() or the last ox_timer_reset(); 0 for
 *  NULL (last error errno 22). */
CAIRN_API uint32_t ox_timer_get_value(ox_timer *t);
/** Drop one reference; the last disarms the timer, calls the release
 *  function and frees it.  @return 0; 2 for NULL; 49 for a stale handle. */
CAIRN_API int ox_timer_destroy(ox_timer *t);

/* ------------------------------------------------------------------------
 * Queues.  Items are opaque non-NULL pointers.  Results: 0; 2 NULL queue
 * or argument (errno EINVAL); 56 full (errno ENOSPC); 49 empty (errno
 * ENOENT); 81 timed out; 30 interrupted (errno EINTR); 31 invalid sizes
 * (errno EINVAL); 18 a thread queue destroyed from one of its own workers
 * (errno EDEADLK).
 * ------------------------------------------------------------------------ */

/** Handles of the queues and of the thread pool: opaque, registered. */
typedef struct ox_circularqueue ox_circularqueue;
/** Handles of the queues and of the thread pool: opaque, registered. */
typedef struct ox_eventqueue ox_eventqueue;
/** Handles of the queues and of the thread pool: opaque, registered. */
typedef struct ox_threadqueue ox_threadqueue;
/** Frees an item still queued when its queue is destroyed. */
typedef void (*ox_item_free)(void *item);
/** Runs one item on a worker of a thread queue. */
typedef void (*ox_work_fn)(void *item);

/** A bounded ring of (@p capacity_high << 32 | @p capacity_low) nodes, all
 *  made now (a node that cannot be allocated is left out); NULL on failure
 *  or for capacity 0 (errno EINVAL). */
CAIRN_API ox_circularqueue *ox_circularqueue_new(ox_item_free free_fn, uint32_t capacity_low,
                                                 uint32_t capacity_high);
/** Queue @p item without waiting: 56 when full. */
CAIRN_API int ox_circularqueue_trypush(ox_circularqueue *q, void *item);
/** Queue @p item, waiting in 2000 ms slices while full. */
CAIRN_API int ox_circularqueue_push(ox_circularqueue *q, void *item);
/** Queue @p item, waiting up to @p ms while full: 56 when still full. */
CAIRN_API int ox_circularqueue_timedpush(ox_circularqueue *q, uint32_t ms, void *item);
/** Take the oldest item without waiting: 49 (and NULL) when empty. */
CAIRN_API int ox_circularqueue_trypop(ox_circularqueue *q, void **item);
/** Take the oldest item, waiting in 2000 ms slices while empty; a failed
 *  wait other than a time-out (30) is returned. */
CAIRN_API int ox_circularqueue_pop(ox_circularqueue *q, void **item);
/** Take the oldest item, waiting up to @p ms: 81 when still empty. */
CAIRN_API int ox_circularqueue_timedpop(ox_circularqueue *q, uint32_t ms, void **item);
/** Drop one reference; the last frees the queued items and the ring. */
CAIRN_API int ox_circularqueue_destroy(ox_circularqueue *q);

/** An unbounded queue whose waiters can all be interrupted; NULL on failure. */
CAIRN_API ox_eventqueue *ox_eventqueue_new(ox_item_free free_fn);
/** Queue @p item at the end and wake one waiter. */
CAIRN_API int ox_eventqueue_push(ox_eventqueue *q, void *item);
/** Take the oldest item, waiting as long as it takes; 30 when woken by
 *  ox_eventqueue_signal() (no item is taken). */
CAIRN_API int ox_eventqueue_pop(ox_eventqueue *q, void **item);
/** As ox_eventqueue_pop() within @p ms: 81 on time-out. */
CAIRN_API int ox_eventqueue_timedpop(ox_eventqueue *q, uint32_t ms, void **item);
/** As ox_eventqueue_pop() without waiting: 49 when empty. */
CAIRN_API int ox_eventqueue_trypop(ox_eventqueue *q, void **item);
/** Wake every waiter not yet interrupted with 30.  31 for NULL. */
CAIRN_API int ox_eventqueue_signal(ox_eventqueue *q);
/** The number of queued items; 0 with EINVAL for NULL. */
CAIRN_API int ox_eventqueue_size(ox_eventqueue *q);
/** Drop one reference; the last frees the queue and the items left. */
CAIRN_API int ox_eventqueue_destroy(ox_eventqueue *q);

/** A pool of @p min to @p max (at most 255) workers running @p work_fn on
 *  every pushed item, then @p free_fn (may be NULL).  Workers above the
 *  minimum retire after 60 s without work.  With @p wait_flag, destroy
 *  first waits for the queue to drain.  NULL on failure (31 cases: no work
 *  function, @p min above @p max, @p max 0). */
CAIRN_API ox_threadqueue *ox_threadqueue_new(ox_work_fn work_fn, ox_item_free free_fn, uint8_t min,
                                             uint8_t max, int wait_flag);
/** Queue @p item, starting a worker when the pool may grow and none is idle. */
CAIRN_API int ox_threadqueue_push(ox_threadqueue *q, void *item);
/** The number of queued items; 0 with EINVAL for NULL. */
CAIRN_API int ox_threadqueue_pending(ox_threadqueue *q);
/** The number of workers now, and the pool's lower and upper limits; 0 with EINVAL for NULL. */
CAIRN_API int ox_threadqueue_size(ox_threadqueue *q);
CAIRN_API int ox_threadqueue_min_size(ox_threadqueue *q); /**< @copydoc ox_threadqueue_size() */
CAIRN_API int ox_threadqueue_max_size(ox_threadqueue *q); /**< @copydoc ox_threadqueue_size() */
/** New limits for later growth and retirement: 31 when @p min > @p max. */
CAIRN_API int ox_threadqueue_set_sizes(ox_threadqueue *q, uint8_t min, uint8_t max);
/** Drop one reference; the last stops the workers and frees the queue and
 *  the items left.  Workers blocked in the work function are not waited
 *  for unless the queue was made with the wait flag.  18 from one of the
 *  queue's own workers (nothing changes). */
CAIRN_API int ox_threadqueue_destroy(ox_threadqueue *q);

CAIRN_END_DECLS

#endif /* CAIRN_CONCURRENCY_H */
