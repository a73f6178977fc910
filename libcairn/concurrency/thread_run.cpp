// Starting, running, joining and destroying library threads.
#include <csetjmp>
#include <ctime>

#include "concurrency/thread_object.hpp"
#include "concurrency/thread_testing.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

std::atomic<bool> g_start_pause{true};

// The pause after a start gives the new thread a chance to run first.
void start_pause()
{
    if (!g_start_pause.load(std::memory_order_relaxed))
        return;
    timespec pause{0, 1000000};
    while (nanosleep(&pause, &pause) != 0) {
    }
}

// The thread is running: its record becomes the target of queued calls.
void attach(ox_thread *t, ThreadRecord *rec)
{
    CriticalSectionLock hold(*t->lock);
    if (t->state != kThreadDetached)
        t->state = kThreadRunning;
    t->record = rec;
    if (rec != nullptr)
        rec->thread = t;
}

// Runs the start function.  A cancel ends the thread from inside one of its
// waits by jumping back here, after it took the end steps itself (the
// clean-up entries' arguments may live in the frames that the jump leaves).
void *thread_entry(void *param)
{
    auto *t = static_cast<ox_thread *>(param);
    ThreadRecord *rec = thread_record();
    attach(t, rec);
    if (rec == nullptr)  // only after a fatal failure to set up the thread
        return nullptr;
    std::jmp_buf landing;
    volatile uint32_t code = 1;
    volatile bool cancelled = false;
    if (setjmp(landing) == 0) {
        rec->exit_landing = &landing;
        code = t->fn(t->arg);
    } else {
        cancelled = true;
        reset_after_exit_jump(*rec);
    }
    rec->exit_landing = nullptr;
    if (!cancelled)
        run_end_steps(t, *rec);
    settle_ended(t, *rec, code, cancelled, true);
    return nullptr;
}

int create_detached(pthread_t &tid, ox_thread *t)
{
    pthread_attr_t attr;
    int rc = pthread_attr_init(&attr);
    if (rc != 0)
        return rc;
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    rc = pthread_create(&tid, &attr, thread_entry, t);
    pthread_attr_destroy(&attr);
    return rc;
}

bool joinable_state(int32_t state)
{
    return state == kThreadStarting || state == kThreadRunning || state == kThreadCancelled ||
           state == kThreadReturned;
}

// Wait for the thread to end, then mark it joined.  Every joiner holds the
// handle it waits on and a reference to the object, so that a winning
// joiner that restarts or destroys the thread frees neither under the
// others; the last to let go frees them.
int join_ended(ox_thread *t, PlatformThread *handle, uint32_t *code)
{
    WaitStatus status = sync_wait(&handle->ended, kForever);
    int rc = OX_SUCCESS;
    if (status != WaitStatus::signalled) {
        rc = wait_result(status);
    } else {
        CriticalSectionLock hold(*t->lock);
        if (t->handle != handle || (t->state != kThreadCancelled && t->state != kThreadReturned)) {
            rc = no_such_thread();  // joined by someone else meanwhile
        } else {
            t->state = kThreadJoined;
            if (code != nullptr)
                *code = t->exit_code;
        }
    }
    handle_release(handle);
    if (_ox_object_unreference(t) == 0)
        thread_object_free(t);
    return rc;
}

// The handle of a thread that may be joined, held for the caller together
// with a reference to the object; or nullptr with `rc` set.
PlatformThread *joinable_handle(ox_thread *t, bool try_form, int &rc)
{
    CriticalSectionLock hold(*t->lock);
    if (try_form && (t->state == kThreadStarting || t->state == kThreadRunning))
        rc = busy();
    else if (try_form ? t->state != kThreadCancelled && t->state != kThreadReturned
                      : !joinable_state(t->state))
        rc = no_such_thread();
    else if ((rc = ox_object_reference(t)) != OX_SUCCESS) {
    } else {
        t->handle->holders.fetch_add(1, std::memory_order_relaxed);
        return t->handle;
    }
    return nullptr;
}

int join(ox_thread *t, uint32_t *code, bool try_form)
{
    if (t == nullptr)
        return null_argument();
    if (is_calling_thread(t))
        return self_deadlock();
    int rc = OX_SUCCESS;
    PlatformThread *handle = joinable_handle(t, try_form, rc);
    if (handle == nullptr)
        return rc;
    return join_ended(t, handle, code);
}

}  // namespace

namespace testing {
void set_thread_start_pause(bool enabled) { g_start_pause.store(enabled); }
}  // namespace testing

}  // namespace cairn

using namespace cairn;

extern "C" {

int ox_thread_start(ox_thread *t)
{
    if (t == nullptr)
        return null_argument();
    if (is_calling_thread(t))
        return self_deadlock();
    {
        CriticalSectionLock hold(*t->lock);
        if (t->state != kThreadNew && t->state != kThreadJoined)
            return busy();
        auto *handle = mem_new<PlatformThread>();
        if (handle == nullptr)
            return OX_ENOMEM;
        PlatformThread *previous = t->handle;  // the last run's, if joined
        t->state = kThreadStarting;
        t->cancel_ignore = 0;
        t->handle = handle;
        int rc = create_detached(handle->tid, t);
        if (rc != 0) {
            t->state = kThreadNew;
            t->handle = previous;
            handle_release(handle);
            return ox_error_set_last(static_cast<uint32_t>(rc), OX_ERRKIND_ERRNO);
        }
        handle_release(previous);
    }
    start_pause();
    return OX_SUCCESS;
}

int ox_thread_join(ox_thread *t, uint32_t *code) { return join(t, code, false); }

int ox_thread_tryjoin(ox_thread *t, uint32_t *code) { return join(t, code, true); }

int ox_thread_destroy(ox_thread *t)
{
    if (t == nullptr)
        return null_argument();
    if (is_calling_thread(t))
        return self_deadlock();
    {
        CriticalSectionLock hold(*t->lock);
        if (t->state == kThreadStarting || t->state == kThreadRunning) {
            t->state = kThreadDetached;
            return OX_SUCCESS;
        }
        if (t->state == kThreadDetached)
            return OX_SUCCESS;  // it frees itself; its references go with it
    }
    int result;
    if (!last_reference(t, result))
        return result;
    thread_object_free(t);
    return OX_SUCCESS;
}

}  // extern "C"
