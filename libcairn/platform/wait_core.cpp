// The alertable wait: test the object, run calls queued to the thread, spin
// briefly, then link a node and sleep on the thread's park word.
#include "platform/wait_internal.hpp"

#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "platform/alloc.hpp"
#include "platform/cpu.hpp"
#include "platform/descriptor_wait.hpp"
#include "platform/futex.hpp"
#include "platform/spin_policy.hpp"

namespace cairn {
namespace {

// Rounds a granted waiter spins for its granter before it yields to it.
constexpr int kGranterSpinRounds = 100;

std::atomic<DueWorkRunner> g_due_runner{nullptr};

bool calls_pending(const ThreadRecord &rec)
{
    return rec.ready != nullptr || rec.incoming.load(std::memory_order_seq_cst) != nullptr;
}

// Whether the thread has something to run now.  Nothing counts while calls
// are held: inside a queued call (calls do not nest) or under a library
// lock kept across user code.
bool alert_pending(const ThreadRecord &rec, uint64_t now)
{
    if (rec.calls_held != 0)
        return false;
    return calls_pending(rec) || rec.next_due_ns.load(std::memory_order_relaxed) <= now;
}

// Move the calls pushed by other threads (newest first) behind the ready
// ones, oldest first.
void take_incoming(ThreadRecord &rec)
{
    QueuedCall *pushed = rec.incoming.exchange(nullptr, std::memory_order_acquire);
    QueuedCall *reversed = nullptr;
    while (pushed != nullptr) {
        QueuedCall *next = pushed->next;
        pushed->next = reversed;
        reversed = pushed;
        pushed = next;
    }
    QueuedCall **tail = &rec.ready;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = reversed;
}

// Run every queued call and any due work.  Each call's node is freed before
// the call runs, so a call that ends the thread leaks nothing.
bool run_alerts(ThreadRecord &rec)
{
    if (rec.calls_held != 0)
        return false;
    ++rec.calls_held;
    bool ran = false;
    for (take_incoming(rec); rec.ready != nullptr; take_incoming(rec)) {
        QueuedCall *call = rec.ready;
        rec.ready = call->next;
        void (*fn)(void *) = call->fn;
        void *arg = call->arg;
        mem_free(call);
        fn(arg);
        ran = true;
    }
    uint64_t now = monotonic_ns();
    DueWorkRunner runner = g_due_runner.load(std::memory_order_acquire);
    if (rec.next_due_ns.load(std::memory_order_relaxed) <= now) {
        if (runner != nullptr)
            ran = runner(rec, now) || ran;
        else
            rec.next_due_ns.store(kNoDeadline, std::memory_order_relaxed);
    }
    --rec.calls_held;
    return ran;
}

// A cheap look before the atomic operation of try_acquire().
bool might_acquire(const SyncObject &obj, uint64_t id)
{
    if (obj.kind == SyncKind::mutex) {
        uint64_t owner = obj.owner.load(std::memory_order_relaxed);
        return owner == 0 || owner == id;
    }
    return obj.count.load(std::memory_order_relaxed) != 0;
}

// Spinning covers the common hand-over between two threads running on
// different CPUs without a trip through the kernel; the spin policy says
// for how long, and learns whether it paid.
bool spin_for(SyncObject &obj, uint64_t id, const ThreadRecord &rec, int rounds)
{
    for (int i = 0; i < rounds; ++i) {
        cpu_relax();
        if (might_acquire(obj, id) && try_acquire(obj, id))
            return true;
        if (rec.calls_held == 0 && calls_pending(rec))
            return false;
    }
    return false;
}

// Sleep until granted, an alert or the deadline.  `state` and `obj` tell an
// operator's census what the thread sleeps on (relaxed stores: the thread is
// about to enter the kernel anyway).
void sleep_on_park(ThreadRecord &rec, const Waiter *w, uint64_t deadline, uint8_t state,
                   const void *obj)
{
    rec.waiting_on.store(reinterpret_cast<uintptr_t>(obj), std::memory_order_relaxed);
    rec.wait_state.store(state, std::memory_order_relaxed);
    for (;;) {
        // Store-buffering pattern with the granter, which stores the grant
        // and then exchanges the park word: each side stores, then reads the
        // other's word.  Only sequentially consistent operations on both
        // sides guarantee that one of them sees the other (release/acquire
        // lets both reads miss, and the waiter would sleep through its grant).
        rec.park.store(1, std::memory_order_seq_cst);
        if (w != nullptr && w->granted.load(std::memory_order_seq_cst) != kWaiting)
            break;
        uint64_t now = monotonic_ns();
        if (alert_pending(rec, now))
            break;
        // Due work cannot run while calls are held, so it does not shorten
        // the sleep then (it would only make the wait spin).
        uint64_t due =
            rec.calls_held != 0 ? kNoDeadline : rec.next_due_ns.load(std::memory_order_relaxed);
        uint64_t limit = std::min(deadline, due);
        if (now >= limit)
            break;
        futex_wait(rec.park, 1, limit);
    }
    rec.park.store(0, std::memory_order_relaxed);
    rec.wait_state.store(kNotWaiting, std::memory_order_relaxed);
}

// A granted waiter leaves only once its granter has finished with its
// park word.  The granter is between two instructions, so this is brief
// unless the granter was preempted, in which case the waiter yields to it.
void await_granter(const Waiter &w, bool spin)
{
    for (int i = 0; w.granted.load(std::memory_order_acquire) != kGranted; ++i) {
        if (spin && i < kGranterSpinRounds)
            cpu_relax();
        else
            sched_yield();
    }
}

// One linked wait on `obj`; true when the object was taken.  A grant that
// arrives after the sleep ended for another reason is honoured: the waiter
// looks again under the object's lock before it unlinks itself.
bool park_on(SyncObject &obj, uint64_t id, ThreadRecord &rec, uint64_t deadline)
{
    // The waiter count and the object's state form a store-buffering pair
    // with a releaser (count, then test; change, then read the count): both
    // sides are sequentially consistent (see after_release()).
    Waiter w(&rec, id);
    obj.lock.lock();
    obj.queued.fetch_add(1, std::memory_order_seq_cst);
    if (try_acquire(obj, id)) {
        obj.queued.fetch_sub(1, std::memory_order_relaxed);
        obj.lock.unlock();
        return true;
    }
    link_waiter(obj, w);
    obj.lock.unlock();

    sleep_on_park(rec, &w, deadline,
                  static_cast<uint8_t>(kWaitObject + static_cast<uint8_t>(obj.kind)), &obj);

    if (w.granted.load(std::memory_order_seq_cst) == kWaiting) {
        WordLockHold hold(obj.lock);
        if (w.granted.load(std::memory_order_seq_cst) == kWaiting) {
            unlink_waiter(obj, w);
            obj.queued.fetch_sub(1, std::memory_order_relaxed);
            return false;
        }
    }
    await_granter(w, several_cpus(monotonic_ns()));
    return true;
}

// The thread's wake descriptor, made on its first descriptor wait; -1 with
// errno when it cannot be made.
int wake_descriptor(ThreadRecord &rec)
{
    if (rec.wake_fd < 0)
        rec.wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return rec.wake_fd;
}

// Milliseconds poll() may sleep before `limit`, rounded up so that a wait
// never ends early; -1 for no limit.
int poll_ms(uint64_t now, uint64_t limit)
{
    if (limit == kNoDeadline)
        return -1;
    if (limit <= now)
        return 0;
    uint64_t ms = (limit - now + 999'999) / 1'000'000;
    return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
}

// One poll() that a waker can end: the park word reads kParkPolling while
// it runs, and a waker that finds it so writes the wake descriptor (slot
// `n` of `fds`).  Returns poll()'s result without the wake descriptor.
int poll_woken(ThreadRecord &rec, pollfd *fds, nfds_t n, int ms, const WaitGeneration *generation)
{
    fds[n] = pollfd{rec.wake_fd, POLLIN, 0};
    // Store-buffering pair with the waker (it changes its state, then
    // reads the park word): both sides sequentially consistent.
    rec.park.store(kParkPolling, std::memory_order_seq_cst);
    int r = 0;
    if (!alert_pending(rec, monotonic_ns()) && (generation == nullptr || !generation->changed()))
        r = poll(fds, n + 1, ms);
    int saved = errno;
    rec.park.store(0, std::memory_order_seq_cst);
    if (r > 0 && fds[n].revents != 0) {
        uint64_t count;
        [[maybe_unused]] ssize_t got = read(rec.wake_fd, &count, sizeof count);
        --r;
    }
    errno = saved;
    return r;
}

}  // namespace

int descriptor_wait(pollfd *fds, nfds_t n, uint64_t deadline_ns, const WaitGeneration *generation)
{
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)  // only after a fatal failure to set up the thread
        return poll(fds, n, 0);
    for (;;) {
        uint64_t now = monotonic_ns();
        if ((alert_pending(*rec, now) && run_alerts(*rec)) ||
            (generation != nullptr && generation->changed())) {
            errno = EINTR;
            return -1;
        }
        uint64_t due =
            rec->calls_held != 0 ? kNoDeadline : rec->next_due_ns.load(std::memory_order_relaxed);
        int ms = poll_ms(now, std::min(deadline_ns, due));
        if (ms == 0 && now >= deadline_ns)
            return poll(fds, n, 0);
        if (wake_descriptor(*rec) < 0)
            return -1;
        int r = poll_woken(*rec, fds, n, ms, generation);
        if (r != 0 && !(r < 0 && errno == EINTR))
            return r;
        if (r == 0 && monotonic_ns() >= deadline_ns)
            return 0;
        // Woken, a signal, or due work's time: look again at why we wait.
    }
}

WaitStatus sync_wait(SyncObject *obj, uint32_t ms)
{
    // Only mutexes know their owner: the others need no caller id.
    const uint64_t id = obj != nullptr && obj->kind == SyncKind::mutex ? sync_caller_id() : 0;
    if (obj != nullptr && try_acquire(*obj, id))
        return WaitStatus::signalled;
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)  // only after a fatal failure to set up the thread
        return WaitStatus::timed_out;
    const uint64_t deadline = deadline_after_ms(ms);
    bool spun = false;
    for (;;) {
        uint64_t now = monotonic_ns();
        if (alert_pending(*rec, now) && run_alerts(*rec))
            return WaitStatus::interrupted;
        if (now >= deadline)
            return WaitStatus::timed_out;
        if (obj == nullptr) {
            sleep_on_park(*rec, nullptr, deadline, kWaitSleep, nullptr);
            continue;
        }
        if (!spun) {
            spun = true;
            if (int rounds = spin_rounds(now); rounds > 0) {
                bool taken = spin_for(*obj, id, *rec, rounds);
                spin_outcome(taken);
                if (taken)
                    return WaitStatus::signalled;
            }
        }
        if (park_on(*obj, id, *rec, deadline))
            return WaitStatus::signalled;
    }
}

bool queue_call(ThreadRecord &target, void (*fn)(void *), void *arg)
{
    auto *call = mem_new<QueuedCall>(QueuedCall{fn, arg, nullptr});
    if (call == nullptr)
        return false;
    QueuedCall *head = target.incoming.load(std::memory_order_relaxed);
    do {
        call->next = head;
    } while (!target.incoming.compare_exchange_weak(head, call, std::memory_order_seq_cst));
    wake_thread(target);
    return true;
}

QueuedCallsHeld::QueuedCallsHeld() : rec_(thread_record())
{
    if (rec_ != nullptr)
        ++rec_->calls_held;
}

QueuedCallsHeld::~QueuedCallsHeld()
{
    if (rec_ != nullptr)
        --rec_->calls_held;
}

void set_due_work_runner(DueWorkRunner runner)
{
    g_due_runner.store(runner, std::memory_order_release);
}

void note_due(ThreadRecord &target, uint64_t due_ns)
{
    uint64_t current = target.next_due_ns.load(std::memory_order_relaxed);
    while (due_ns < current &&
           !target.next_due_ns.compare_exchange_weak(current, due_ns, std::memory_order_seq_cst)) {
    }
    wake_thread(target);
}

void reset_after_exit_jump(ThreadRecord &rec)
{
    rec.calls_held = 0;
    rec.park.store(0, std::memory_order_relaxed);
}

}  // namespace cairn
