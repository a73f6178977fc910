// ox_rwlock: writers first.  A writer holds the entry lock (a platform
// mutex) while it waits for the readers to leave, so new readers queue
// behind it; readers pass the entry lock only to count themselves in.
//
// While nobody holds the entry lock a reader does not take it at all: it
// counts itself in and then looks at the entry lock again.  A writer takes
// the entry lock and then looks at the count.  Both sides are sequentially
// consistent, so at least one sees the other: the reader backs out and
// queues for the entry lock, or the writer waits for the reader to leave.
// The uncontended read lock and unlock are then one atomic operation each.
#include "concurrency/rwlock_handle.hpp"
#include "concurrency/object_registry.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"
#include "platform/futex.hpp"
#include "platform/thread_record.hpp"

using namespace cairn;

namespace {

int destroy_rwlock(void *obj) { return ox_rwlock_destroy(static_cast<ox_rwlock *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_rwlock, "read-write lock"};

void free_rwlock(ox_rwlock *rw)
{
    sync_close(rw->entry);
    sync_close(rw->no_readers);
    mem_delete(rw);
}

bool entry_free(const ox_rwlock &rw)
{
    return rw.entry->owner.load(std::memory_order_seq_cst) == 0;
}

// One reader leaves; the last one out wakes a writer that waits for it.
// False when no reader was counted.
bool leave_as_reader(ox_rwlock &rw)
{
    uint32_t s = rw.state.load(std::memory_order_relaxed);
    do {
        if ((s & kRwReaderMask) == 0)
            return false;
    } while (!rw.state.compare_exchange_weak(s, s - 1, std::memory_order_seq_cst));
    if (s - 1 == kRwWriterDraining)
        sync_event_set(rw.no_readers);
    return true;
}

bool enter_while_entry_free(ox_rwlock &rw)
{
    if (!entry_free(rw))
        return false;
    rw.state.fetch_add(1, std::memory_order_seq_cst);
    if (entry_free(rw))
        return true;
    leave_as_reader(rw);
    return false;
}

int read_lock(ox_rwlock *rw, uint32_t ms)
{
    if (rw == nullptr)
        return null_argument();
    if (enter_while_entry_free(*rw))
        return OX_SUCCESS;
    WaitStatus status = sync_wait(rw->entry, ms);
    if (status != WaitStatus::signalled)
        return wait_result(status, ms == 0);
    rw->state.fetch_add(1, std::memory_order_seq_cst);
    sync_mutex_release(rw->entry);
    return OX_SUCCESS;
}

// The entry lock's holder marks itself draining before it looks at the
// count, so the last reader out sees the mark and sets the event.  The
// event is reset first: a set that comes later is for this writer.
bool readers_gone(ox_rwlock &rw)
{
    sync_event_reset(rw.no_readers);
    if ((rw.state.fetch_or(kRwWriterDraining, std::memory_order_seq_cst) & kRwReaderMask) != 0)
        return false;
    rw.state.fetch_and(~kRwWriterDraining, std::memory_order_seq_cst);
    return true;
}

// Milliseconds left until `deadline`, rounded up; forever stays forever.
uint32_t ms_left(uint32_t ms, uint64_t deadline)
{
    if (ms == kForever)
        return kForever;
    uint64_t now = monotonic_ns();
    return now >= deadline ? 0 : static_cast<uint32_t>((deadline - now + 999999u) / 1000000u);
}

// With the entry lock held, wait up to `ms` for the readers to leave.  A
// set left over from an earlier writer that gave up only makes it look
// again.
WaitStatus wait_for_readers(ox_rwlock &rw, uint32_t ms)
{
    const uint64_t deadline = deadline_after_ms(ms);
    WaitStatus status = WaitStatus::signalled;
    while (!readers_gone(rw)) {
        status = sync_wait(rw.no_readers, ms_left(ms, deadline));
        if (status != WaitStatus::signalled) {
            rw.state.fetch_and(~kRwWriterDraining, std::memory_order_seq_cst);
            break;
        }
    }
    return status;
}

// A writer that ends (a cancel) while it waits for the readers gives the
// entry lock back and stops draining, so readers and writers after it are
// not shut out by a thread that is gone.
void abandon_write(void *arg)
{
    auto *rw = static_cast<ox_rwlock *>(arg);
    rw->state.fetch_and(~kRwWriterDraining, std::memory_order_seq_cst);
    sync_mutex_release(rw->entry);
}

int write_lock(ox_rwlock *rw, uint32_t ms)
{
    if (rw == nullptr)
        return null_argument();
    WaitStatus status = sync_wait(rw->entry, ms);
    if (status != WaitStatus::signalled)
        return wait_result(status, ms == 0);
    {
        UnwindOnEnd undo(abandon_write, rw);
        status = wait_for_readers(*rw, ms);
    }
    if (status == WaitStatus::signalled)
        return OX_SUCCESS;
    if (status == WaitStatus::interrupted)
        return interrupted();  // keeps the entry lock: the caller unlocks
    // The platform reports the second wait's time-out as such, whatever
    // the caller's last error held before.
    sync_mutex_release(rw->entry);
    return timed_out();
}

}  // namespace

extern "C" {

ox_rwlock *ox_rwlock_new(void)
{
    auto *rw = mem_new<ox_rwlock>();
    if (rw == nullptr)
        return nullptr;
    rw->entry = sync_mutex_create();
    if (rw->entry != nullptr)
        rw->no_readers = sync_event_create(true, false);
    if (rw->no_readers == nullptr || !register_object(rw, destroy_rwlock)) {
        free_rwlock(rw);
        return nullptr;
    }
    return rw;
}

int ox_rwlock_read_lock(ox_rwlock *rw) { return read_lock(rw, kForever); }
int ox_rwlock_read_trylock(ox_rwlock *rw) { return read_lock(rw, 0); }
int ox_rwlock_write_lock(ox_rwlock *rw) { return write_lock(rw, kForever); }
int ox_rwlock_write_trylock(ox_rwlock *rw) { return write_lock(rw, 0); }

int ox_rwlock_unlock(ox_rwlock *rw)
{
    if (rw == nullptr)
        return null_argument();
    if (!entry_free(*rw) && sync_mutex_release(rw->entry))
        return OX_SUCCESS;  // the caller was the writer
    leave_as_reader(*rw);   // a reader, or neither: 0 all the same
    return OX_SUCCESS;
}

int ox_rwlock_destroy(ox_rwlock *rw)
{
    if (rw == nullptr)
        return null_argument();
    int result;
    if (last_reference(rw, result))
        free_rwlock(rw);
    return result;
}

}  // extern "C"
