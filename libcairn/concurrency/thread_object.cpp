// Creation and release of thread objects and their sequence numbers.
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "concurrency/thread_object.hpp"
#include "concurrency/object_registry.hpp"
#include "concurrency/wait_results.hpp"
#include "frame/exit_cleanup.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

ox_once_t g_sequence_once;
std::atomic<ox_atomic *> g_sequence{nullptr};
// Where a counter made after a tear-down starts: the last number handed
// out, so that thread ids are never used twice in a process.
int32_t g_sequence_resume = 0;

// At tear-down the counter goes (the registry keeps no library object) but
// its position stays.
void destroy_sequence_counter()
{
    ox_atomic *counter = g_sequence.exchange(nullptr, std::memory_order_acq_rel);
    if (counter != nullptr) {
        g_sequence_resume = ox_atomic_get(counter);
        ox_atomic_destroy(counter);
    }
    ox_once_reset(&g_sequence_once);
}

void create_sequence_counter()
{
    ox_atomic *counter = ox_atomic_new(g_sequence_resume);
    g_sequence.store(counter, std::memory_order_release);
    if (counter != nullptr)
        register_exit_cleanup(destroy_sequence_counter);
}

int destroy_thread(void *obj) { return ox_thread_destroy(static_cast<ox_thread *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_thread, "thread"};

// The next sequence number, never 0.  Without a counter the process cannot
// number its threads and stops.
uint32_t next_sequence()
{
    ox_once(&g_sequence_once, create_sequence_counter);
    ox_atomic *counter = g_sequence.load(std::memory_order_acquire);
    if (counter == nullptr) {
        raise(SIGTERM);
        return 1;
    }
    int32_t n;
    do {
        n = ox_atomic_increment(counter);
    } while (n == 0);
    return static_cast<uint32_t>(n);
}

}  // namespace

ox_thread *thread_object_create(ox_thread_fn fn, void *arg)
{
    auto *t = mem_new<ox_thread>();
    if (t == nullptr)
        return nullptr;
    t->lock = mem_new<CriticalSection>(100);
    if (t->lock == nullptr || !register_object(t, destroy_thread)) {
        mem_delete(t->lock);
        mem_delete(t);
        return nullptr;
    }
    t->pid = static_cast<uint32_t>(getpid());
    t->fn = fn;
    t->arg = arg;
    return t;
}

void handle_release(PlatformThread *handle)
{
    if (handle != nullptr && handle->holders.fetch_sub(1, std::memory_order_acq_rel) == 1)
        mem_delete(handle);
}

void thread_object_free(ox_thread *t)
{
    handle_release(t->handle);
    mem_delete(t->lock);
    t->header.flags = 0;
    mem_delete(t);
}

void thread_object_free_detached(ox_thread *t)
{
    while (_ox_object_unreference(t) > 0) {
    }
    thread_object_free(t);
}

bool is_calling_thread(const ox_thread *t)
{
    ThreadRecord *rec = thread_record_peek();
    return rec != nullptr && rec->thread == t;
}

void run_cleanup_entries(ox_thread *t)
{
    while (CleanupEntry *entry = t->cleanup) {
        t->cleanup = entry->next;
        void (*fn)(void *) = entry->fn;
        void *arg = entry->arg;
        mem_free(entry);
        if (fn != nullptr)
            fn(arg);
    }
}

void run_end_steps(ox_thread *t, ThreadRecord &rec)
{
    QueuedCallsHeld no_calls;
    run_unwind_steps(rec);
    _ox_threadstorage_expunge();
    run_cleanup_entries(t);
}

void settle_ended(ox_thread *t, ThreadRecord &rec, uint32_t code, bool cancelled,
                  bool release_record)
{
    bool adopted;
    {
        CriticalSectionLock hold(*t->lock);
        t->record = nullptr;
        rec.thread = nullptr;
        adopted = t->handle->adopted;
    }
    if (release_record)
        thread_record_release();
    bool detached;
    {
        CriticalSectionLock hold(*t->lock);
        detached = t->state == kThreadDetached;
        if (!detached) {
            t->state = cancelled ? kThreadCancelled : kThreadReturned;
            t->exit_code = code;
        }
        sync_event_set(&t->handle->ended);
    }
    if (detached)
        thread_object_free_detached(t);
    else if (adopted && _ox_object_unreference(t) == 0)
        thread_object_free(t);
}

}  // namespace cairn

using namespace cairn;

extern "C" {

ox_thread *ox_thread_new(ox_thread_fn fn, void *arg)
{
    if (fn == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    ox_thread *t = thread_object_create(fn, arg);
    if (t != nullptr)
        t->sequence = next_sequence();
    return t;
}

}  // extern "C"
