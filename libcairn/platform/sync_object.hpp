// The Linux emulation of the platform's waitable objects and of its
// alertable waits: the one wait core through which every blocking call of
// the library waits.
//
// Each object keeps an intrusive list of waiters (nodes on the waiting
// threads' stacks) under a small internal lock.  A waiter that cannot take
// the object at once links its node and sleeps on its own thread's park
// word until it is granted the object, its deadline passes, a call is
// queued to its thread or due work (timers) falls due.  A releaser hands the
// object to the waiters at the head of the list under the internal lock.
// Uncontended takes and releases are one atomic operation and never enter
// the kernel.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/word_lock.hpp"

namespace cairn {

struct ThreadRecord;
struct Waiter;

enum class SyncKind : uint8_t {
    semaphore,     // count between 0 and a maximum
    auto_event,    // signalled state cleared by the one wait it releases
    manual_event,  // signalled state kept until reset; releases every wait
    mutex,         // recursive, owned by one thread
};

struct SyncObject {
    SyncKind kind;
    int32_t maximum = 0;             // semaphore
    std::atomic<int32_t> count{0};   // semaphore units; event: 1 signalled
    std::atomic<uint64_t> owner{0};  // mutex owner (sync_caller_id()), 0 free
    int32_t recursion = 0;           // mutex; touched by the owner only
    std::atomic<int32_t> queued{0};  // waiters linked in the list
    WordLock lock;                   // guards the list
    Waiter *head = nullptr;
    Waiter *tail = nullptr;

    explicit SyncObject(SyncKind k) : kind(k) {}
};

// Time-outs in milliseconds: 0 tries once, kForever never ends.
constexpr uint32_t kForever = 0xFFFFFFFFu;

enum class WaitStatus {
    signalled,    // the object was taken (or is signalled)
    timed_out,    // the time-out passed
    interrupted,  // queued calls or due work ran in this thread
};

// Creation (nullptr on allocation failure, last error set) and closing.
SyncObject *sync_semaphore_create(int32_t initial, int32_t maximum);
SyncObject *sync_event_create(bool manual_reset, bool initially_signalled);
SyncObject *sync_mutex_create();
void sync_close(SyncObject *obj);

// The identity that mutexes record as their owner: the thread record's
// sequence number, never reused.  A thread without a record (only while it
// is being made, or after a fatal failure to make it) gets kNoThreadSeq.
constexpr uint64_t kNoThreadSeq = UINT64_MAX;
extern __attribute__((tls_model("initial-exec"))) thread_local uint64_t t_caller_id;
uint64_t sync_caller_id_slow();
inline uint64_t sync_caller_id()
{
    uint64_t id = t_caller_id;
    return id != 0 ? id : sync_caller_id_slow();
}

// Alertable wait on `obj` for up to `ms` milliseconds.  The object is tested
// first; then calls queued to the thread run (the wait reports an
// interruption); then, unless `ms` is 0, the thread sleeps.  A wait never
// ends before its time-out.  With `obj` nullptr this is an alertable sleep.
WaitStatus sync_wait(SyncObject *obj, uint32_t ms);

// Add `units` to a semaphore.  False, with nothing changed, when the count
// would pass the maximum.
bool sync_semaphore_release(SyncObject *obj, int32_t units);

// Signal or reset an event.
void sync_event_set(SyncObject *obj);
void sync_event_reset(SyncObject *obj);

// Release one level of a mutex owned by the caller.  False when the caller
// does not own it.
bool sync_mutex_release(SyncObject *obj);

// Queue `fn(arg)` to run in `target` during its next alertable wait, and
// wake it if it waits now.  The caller keeps `target` alive for the call.
// False when the call cannot be allocated (last error set).
bool queue_call(ThreadRecord &target, void (*fn)(void *), void *arg);

// Due work: a component with work that falls due at a time (timers) sets the
// thread's next due time with note_due(); a wait of that thread ends no
// later than then and calls the runner, which does what is due, updates
// the thread's next due time and returns whether it ran anything.  Work that
// ran interrupts the wait as a queued call does.
using DueWorkRunner = bool (*)(ThreadRecord &rec, uint64_t now_ns);
void set_due_work_runner(DueWorkRunner runner);
void note_due(ThreadRecord &target, uint64_t due_ns);

// Wake `target` if it sleeps in a wait, so that it re-examines its state.
void wake_thread(ThreadRecord &target);

// While one exists, calls queued to the calling thread do not run in its
// waits (they wait for a later one).  The library holds this wherever it
// keeps a lock across user code that may wait, so that a call that ends the
// thread cannot leave the lock held.
class QueuedCallsHeld {
public:
    QueuedCallsHeld();
    ~QueuedCallsHeld();
    QueuedCallsHeld(const QueuedCallsHeld &) = delete;
    QueuedCallsHeld &operator=(const QueuedCallsHeld &) = delete;

private:
    ThreadRecord *rec_;
};

// After the library's thread entry regained control from a queued call that
// ended the thread, the wait core's state of the thread is reset.
void reset_after_exit_jump(ThreadRecord &rec);

}  // namespace cairn
