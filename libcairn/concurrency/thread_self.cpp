// The calling thread's object (adopting threads the library did not
// create), identity, sleeping, and the calls this platform does not offer.
#include <sched.h>
#include <unistd.h>

#include <cstddef>

#include "concurrency/thread_object.hpp"
#include "concurrency/wait_results.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

int unsupported() { return ox_error_set_last(ENOSYS, OX_ERRKIND_ERRNO); }

ox_thread *adopt(ThreadRecord &rec)
{
    ox_thread *t = thread_object_create(nullptr, nullptr);
    if (t == nullptr)
        return nullptr;
    t->handle = mem_new<PlatformThread>();
    if (t->handle == nullptr) {
        _ox_object_unreference(t);
        thread_object_free(t);
        return nullptr;
    }
    t->handle->tid = pthread_self();
    t->handle->adopted = true;
    t->state = kThreadRunning;
    t->record = &rec;
    rec.thread = t;
    set_thread_end_hook(adopted_thread_ended);
    return t;
}

}  // namespace

// An adopted thread is ending: it takes the end steps and its object is
// settled.  A thread the library created, or one a cancel already ended,
// has no object left on its record by now.
void adopted_thread_ended(ThreadRecord &rec)
{
    auto *t = static_cast<ox_thread *>(rec.thread);
    if (t == nullptr)
        return;
    run_end_steps(t, rec);
    settle_ended(t, rec, 0, false, false);
}

}  // namespace cairn

using namespace cairn;

static_assert(offsetof(ThreadRecord, thread) == offsetof(ox_corvan, thread));
static_assert(offsetof(ThreadRecord, error) == offsetof(ox_corvan, last_error));

extern "C" {

ox_thread *ox_thread_self(void)
{
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)
        return nullptr;
    if (rec->thread != nullptr)
        return static_cast<ox_thread *>(rec->thread);
    return adopt(*rec);
}

ox_corvan *ox_corvan_get(void) { return reinterpret_cast<ox_corvan *>(thread_record()); }

int ox_thread_equal(ox_thread *a, ox_thread *b)
{
    if (a == nullptr || b == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return 0;
    }
    return a == b ? 1 : 0;
}

uint64_t ox_thread_id(ox_thread *t)
{
    if (t == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return 0;
    }
    return (static_cast<uint64_t>(t->pid) << 32) | t->sequence;
}

int ox_thread_sleep(uint32_t ms)
{
    return sync_wait(nullptr, ms) == WaitStatus::interrupted ? interrupted() : OX_SUCCESS;
}

int ox_thread_yield(void)
{
    sched_yield();
    return OX_SUCCESS;
}

int ox_thread_getstacksize(ox_thread *, size_t *) { return OX_ENOTSUP; }
int ox_thread_setstacksize(ox_thread *, size_t) { return OX_ENOTSUP; }
int ox_thread_signal(ox_thread *, int) { return unsupported(); }
int ox_thread_signal_block(int) { return unsupported(); }
int ox_thread_signal_handler(int, void (*)(int)) { return unsupported(); }
// The thread layer sets itself up on first use; there is nothing to mark.
int ox_thr_init(void) { return 1; }

}  // extern "C"
