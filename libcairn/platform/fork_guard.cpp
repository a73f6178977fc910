#include "platform/fork_guard.hpp"

#include <atomic>
#include <new>

#include "concurrency/internal_lock.hpp"
#include "concurrency/sync_handles.hpp"
#include "platform/critical_section.hpp"
#include "platform/thread_record.hpp"
#include "platform/word_lock.hpp"

namespace cairn {
namespace {

enum class Kind { none, critical_section, word_lock, pthread_mutex, library_mutex };

// Set once, before `ready` is published; the accessor matches `kind`.
struct Entry {
    Kind kind = Kind::none;
    union {
        CriticalSection *(*critical_section)();
        WordLock *(*word_lock)();
        pthread_mutex_t *(*pthread_mutex)();
        ox_mutex *(*library_mutex)();
    } current{};
    std::atomic<bool> ready{false};
    void *taken = nullptr;  // what prepare took; only the forking thread
};

void *current_lock(const Entry &e)
{
    if (!e.ready.load(std::memory_order_acquire))
        return nullptr;
    switch (e.kind) {
    case Kind::critical_section:
        return e.current.critical_section();
    case Kind::word_lock:
        return e.current.word_lock();
    case Kind::pthread_mutex:
        return e.current.pthread_mutex();
    case Kind::library_mutex:
        return e.current.library_mutex();
    case Kind::none:
        break;
    }
    return nullptr;
}

constexpr int kRanks = static_cast<int>(ForkRank::count);
Entry g_entries[kRanks];
// One fork at a time runs the handlers (they share the `taken` fields).
pthread_mutex_t g_fork_lock = PTHREAD_MUTEX_INITIALIZER;
ThreadRecord *g_forking_record = nullptr;
// Guards the entries' kinds and the installation of the handlers.
pthread_mutex_t g_claim_lock = PTHREAD_MUTEX_INITIALIZER;
bool g_installed = false;

void *take(Kind kind, void *lock)
{
    switch (kind) {
    case Kind::critical_section:
        static_cast<CriticalSection *>(lock)->lock();
        return lock;
    case Kind::word_lock:
        static_cast<WordLock *>(lock)->lock();
        return lock;
    case Kind::pthread_mutex:
        return pthread_mutex_lock(static_cast<pthread_mutex_t *>(lock)) == 0 ? lock : nullptr;
    case Kind::library_mutex:
        // Queued calls are held: nothing runs in this wait.  A mutex the
        // forking thread holds itself stays as it is.
        return acquire_internal(static_cast<ox_mutex *>(lock)) ? lock : nullptr;
    case Kind::none:
        break;
    }
    return nullptr;
}

void release_in_parent(Kind kind, void *lock)
{
    switch (kind) {
    case Kind::critical_section:
        static_cast<CriticalSection *>(lock)->unlock();
        break;
    case Kind::word_lock:
        static_cast<WordLock *>(lock)->unlock();
        break;
    case Kind::pthread_mutex:
        pthread_mutex_unlock(static_cast<pthread_mutex_t *>(lock));
        break;
    case Kind::library_mutex:
        ox_mutex_unlock(static_cast<ox_mutex *>(lock));
        break;
    case Kind::none:
        break;
    }
}

// The waiters linked on a library mutex in the child are nodes of threads
// that do not exist there: granting them the mutex would lose it.
void forget_waiters(SyncObject &obj)
{
    new (&obj.lock) WordLock();
    obj.head = obj.tail = nullptr;
    obj.queued.store(0, std::memory_order_relaxed);
}

// In the child every registered lock is made free again, whether prepare
// took it or not (one registered while the fork ran may be held by a thread
// that is gone): the C library's mutexes are made again (their owner is
// the parent's thread id), the one-word locks are freed, and a library
// mutex forgets the waiters of threads that are gone and is released.
void release_in_child(Kind kind, void *lock)
{
    switch (kind) {
    case Kind::critical_section:
        static_cast<CriticalSection *>(lock)->reset_in_child();
        break;
    case Kind::word_lock:
        new (lock) WordLock();
        break;
    case Kind::pthread_mutex:
        new (lock) pthread_mutex_t(PTHREAD_MUTEX_INITIALIZER);
        break;
    case Kind::library_mutex: {
        auto *m = static_cast<ox_mutex *>(lock);
        forget_waiters(*m->handle);
        m->owner.store(0, std::memory_order_relaxed);
        m->handle->count.store(1, std::memory_order_relaxed);
        break;
    }
    case Kind::none:
        break;
    }
}

void prepare()
{
    pthread_mutex_lock(&g_fork_lock);
    g_forking_record = thread_record_peek();
    if (g_forking_record != nullptr)
        ++g_forking_record->calls_held;
    for (Entry &e : g_entries) {
        void *lock = current_lock(e);
        e.taken = lock != nullptr ? take(e.kind, lock) : nullptr;
    }
}

void after_fork(void (*release)(Kind, void *))
{
    for (int i = kRanks - 1; i >= 0; --i) {
        Entry &e = g_entries[i];
        if (e.taken != nullptr)
            release(e.kind, e.taken);
        e.taken = nullptr;
    }
    if (g_forking_record != nullptr)
        --g_forking_record->calls_held;
    g_forking_record = nullptr;
}

void in_parent()
{
    after_fork(release_in_parent);
    pthread_mutex_unlock(&g_fork_lock);
}

void in_child()
{
    new (&g_fork_lock) pthread_mutex_t(PTHREAD_MUTEX_INITIALIZER);
    new (&g_claim_lock) pthread_mutex_t(PTHREAD_MUTEX_INITIALIZER);
    for (Entry &e : g_entries)
        if (e.taken == nullptr)
            e.taken = current_lock(e);
    after_fork(release_in_child);
    forget_unfinished_onces();
    forget_other_threads();
}

// The entry of `rank`, to be filled once; nullptr when it was already.
Entry *claim(ForkRank rank, Kind kind)
{
    Entry &e = g_entries[static_cast<int>(rank)];
    pthread_mutex_lock(&g_claim_lock);
    if (!g_installed)
        g_installed = pthread_atfork(prepare, in_parent, in_child) == 0;
    bool fresh = e.kind == Kind::none;
    if (fresh)
        e.kind = kind;
    pthread_mutex_unlock(&g_claim_lock);
    return fresh ? &e : nullptr;
}

}  // namespace

void fork_protect(ForkRank rank, CriticalSection *(*current)())
{
    if (Entry *e = claim(rank, Kind::critical_section)) {
        e->current.critical_section = current;
        e->ready.store(true, std::memory_order_release);
    }
}

void fork_protect(ForkRank rank, WordLock *(*current)())
{
    if (Entry *e = claim(rank, Kind::word_lock)) {
        e->current.word_lock = current;
        e->ready.store(true, std::memory_order_release);
    }
}

void fork_protect(ForkRank rank, pthread_mutex_t *(*current)())
{
    if (Entry *e = claim(rank, Kind::pthread_mutex)) {
        e->current.pthread_mutex = current;
        e->ready.store(true, std::memory_order_release);
    }
}

void fork_protect(ForkRank rank, ox_mutex *(*current)())
{
    if (Entry *e = claim(rank, Kind::library_mutex)) {
        e->current.library_mutex = current;
        e->ready.store(true, std::memory_order_release);
    }
}

}  // namespace cairn
