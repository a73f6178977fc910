// Deferred cancellation and the clean-up stack.
//
// A cancel is a call queued to the target thread; it runs at the thread's
// next alertable wait.  There it takes the thread's end steps (see
// run_end_steps) and then ends the thread with exit code 1.  A thread the
// library created is ended by a jump back into its entry function, which
// skips the frames in between without unwinding them: the wait core holds
// no lock and no object with a destructor at the point where queued calls
// run.  A thread the library adopted has no such entry and is ended with
// pthread_exit(), whose unwinding must not cross a noexcept frame of the
// caller's code.
#include <csetjmp>

#include "concurrency/thread_object.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

void cancel_routine(void *param)
{
    auto *t = static_cast<ox_thread *>(param);
    ThreadRecord *rec = thread_record_peek();
    if (rec == nullptr)
        return;
    run_end_steps(t, *rec);
    if (rec->exit_landing != nullptr)
        std::longjmp(*static_cast<std::jmp_buf *>(rec->exit_landing), 1);
    settle_ended(t, *rec, 1, true, false);
    pthread_exit(nullptr);
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

int ox_thread_cancel(ox_thread *t)
{
    if (t == nullptr)
        return null_argument();
    CriticalSectionLock hold(*t->lock);
    if (t->cancel_ignore == 1)
        return OX_SUCCESS;
    if (t->state != kThreadRunning || t->record == nullptr)
        return no_such_thread();
    return queue_call(*t->record, cancel_routine, t) ? OX_SUCCESS : OX_EUNKNOWN;
}

void ox_thread_test_cancel(void)
{
    if (sync_wait(nullptr, 1) == WaitStatus::interrupted)
        ox_error_set_last(EINTR, OX_ERRKIND_ERRNO);
}

int ox_thread_cleanup_push(void (*fn)(void *), void *arg)
{
    ox_thread *self = ox_thread_self();
    if (self == nullptr)
        return ox_error_get_last();
    auto *entry = mem_new<CleanupEntry>(CleanupEntry{fn, arg, self->cleanup});
    if (entry == nullptr)
        return OX_ENOMEM;
    self->cleanup = entry;
    return OX_SUCCESS;
}

int ox_thread_cleanup_pop(int execute)
{
    ThreadRecord *rec = thread_record_peek();
    auto *self = rec != nullptr ? static_cast<ox_thread *>(rec->thread) : nullptr;
    CleanupEntry *entry = self != nullptr ? self->cleanup : nullptr;
    if (entry == nullptr)
        return ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    self->cleanup = entry->next;
    void (*fn)(void *) = entry->fn;
    void *arg = entry->arg;
    mem_free(entry);
    if (execute != 0 && fn != nullptr)
        fn(arg);
    return OX_SUCCESS;
}

}  // extern "C"
