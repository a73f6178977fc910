// The per-thread library record: the calling thread's own library state.
// Its first two fields (thread object, last-error record) are what callers
// see through ox_corvan_get(); the rest belongs to the wait core and to the
// thread-local slots.  It is created on first use and freed when the thread
// ends.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

namespace cairn {

struct ErrorRecord;
struct ErrinfoState;

// A call queued to a thread, run during its next alertable wait.
struct QueuedCall {
    void (*fn)(void *);
    void *arg;
    QueuedCall *next;
};

// One thread-local slot value, valid while its generation matches the
// slot's current generation (a slot freed and allocated again reads NULL).
struct SlotValue {
    void *value;
    uint32_t generation;
};

// The next never-reused thread id (the first is 1; 0 means no thread).
inline uint64_t next_thread_seq()
{
    static std::atomic<uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

// An undo step of a library wait's bookkeeping, on the waiting frame's
// stack: a thread ended inside the wait skips that frame, so the thread's
// end runs the step instead.
struct UnwindStep {
    void (*fn)(void *);
    void *arg;
    UnwindStep *next;
};

struct ThreadRecord {
    void *thread = nullptr;        // the thread's ox_thread object, if any
    ErrorRecord *error = nullptr;  // last error, created on first use

    // The thread's identity as a lock owner: unlike the platform thread id,
    // never given to another thread, so an ended owner's id stays its own.
    const uint64_t seq = next_thread_seq();

    bool creating_error = false;

    // Wait core.  `park` is the word the thread sleeps on: 1 while it may
    // sleep, set to 0 by whoever wakes it.  kParkPolling (2) while it waits
    // in poll() on descriptors (descriptor_wait()); a waker then writes
    // `wake_fd`, an eventfd the thread makes on its first such wait.
    std::atomic<uint32_t> park{0};
    int wake_fd = -1;
    std::atomic<QueuedCall *> incoming{nullptr};  // pushed by other threads
    QueuedCall *ready = nullptr;                  // taken, oldest first
    // Non-zero while queued calls must not run: inside a queued call (calls
    // do not nest) or while the library holds a lock across user code.
    int calls_held = 0;
    // Monotonic time (ns) at which due work (timers) wants to run; a wait
    // ends no later than this and lets the due-work runner act.
    std::atomic<uint64_t> next_due_ns{UINT64_MAX};
    // Where the library's thread entry resumes when the thread is ended
    // from inside a wait (a jmp_buf of the entry), or nullptr.
    void *exit_landing = nullptr;
    // Undo steps of the waits in progress, innermost first.
    UnwindStep *unwind = nullptr;

    // Work that falls due on this thread (the timers it armed), owned by the
    // due-work component; released with the record.
    void *due_work = nullptr;

    // The thread's message rings and record pool, owned by the message
    // layer; released with the record.
    void *messages = nullptr;
    // What the thread is doing, for an operator's census (`cairn stats`):
    // kernel thread id, what it sleeps on (WaitState and the object's
    // address, never dereferenced by readers) and how many timers it armed.
    // Stores are relaxed and made only where the thread blocks anyway.
    int tid = 0;
    std::atomic<uint8_t> wait_state{0};
    std::atomic<uintptr_t> waiting_on{0};
    std::atomic<uint32_t> timers_armed{0};

    // Thread-local slot values, indexed by slot.
    SlotValue *slots = nullptr;
    uint32_t slot_capacity = 0;

    // The thread's debug stream and whether the caller lent it.  A new
    // thread starts with none; the library never closes it at thread end.
    FILE *debug_stream = nullptr;
    int debug_borrowed = 0;
    bool debug_console = false;  // the debug stream is a terminal (found when it is set)

    // The errinfo record, saved error and accrued chain (frame/errinfo_state.hpp).
    ErrinfoState *errinfo = nullptr;

    // Every record of the process, so that a forked child can forget the
    // threads it does not have.
    ThreadRecord *older = nullptr;
    ThreadRecord *newer = nullptr;
};

// Park word value of a thread waiting in poll() (see ThreadRecord::park).
constexpr uint32_t kParkPolling = 2;

// Wake every thread that waits in poll() on descriptors now, so that it
// looks again at why it waits (descriptor_wait()).
void wake_descriptor_waiters();
// ThreadRecord::wait_state values; a sync object wait is kWaitObject plus
// the object's kind (SyncKind).
constexpr uint8_t kNotWaiting = 0;
constexpr uint8_t kWaitSleep = 1;
constexpr uint8_t kWaitObject = 2;

// Calls `visit` with every thread record of the process under the records
// lock (so `visit` must not block nor take library locks).
void for_each_thread_record(void (*visit)(const ThreadRecord &rec, void *arg), void *arg);

// The calling thread's record, created on first use.  Allocation failure of
// the record itself is fatal for the process (SIGTERM): every thread of the
// library needs one.  Returns nullptr only while the record is being created
// (an allocation failure reporting itself) or after such a fatal failure.
ThreadRecord *thread_record();

// Pushes an undo step for the life of a library wait (see UnwindStep).
class UnwindOnEnd {
public:
    UnwindOnEnd(void (*fn)(void *), void *arg);
    ~UnwindOnEnd();
    UnwindOnEnd(const UnwindOnEnd &) = delete;
    UnwindOnEnd &operator=(const UnwindOnEnd &) = delete;

private:
    ThreadRecord *rec_;
    UnwindStep step_;
};

// Run and drop the calling thread's undo steps, innermost first.
void run_unwind_steps(ThreadRecord &rec);

// The calling thread's record, or nullptr when it has none yet.
ThreadRecord *thread_record_peek();

// Free the calling thread's record now (exit-time clean-up).
void thread_record_release();

// Exit-time clean-up, on the library's exit-handler list from the moment
// the list exists (registering there allocates, which the record's own
// creation, reached from any error report under any lock, must not do):
// frees the calling thread's record, and the key too when
// Ox_atexit_ox_threadstorage_destroy is set.
void thread_records_exit_cleanup();

// In a forked child: the records of the threads that do not exist there
// are unlinked and left (another thread might have been using them), their
// timers detached and their queued calls dropped.
void forget_other_threads();

// Called with a record just before it is freed at thread end, while the
// record is still the thread's own; the thread layer uses it to settle the
// thread object of a thread it did not create.
void set_thread_end_hook(void (*hook)(ThreadRecord &rec));

// Called with a record that still holds due work when it is freed, so the
// due-work component can detach that work from the ending thread.
void set_due_work_release_hook(void (*hook)(ThreadRecord &rec));

// Called with a record that holds message state when it is freed.
void set_message_state_release_hook(void (*hook)(ThreadRecord &rec));

}  // namespace cairn
