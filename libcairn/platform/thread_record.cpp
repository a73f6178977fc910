#include "platform/thread_record.hpp"

#include <pthread.h>
#include <unistd.h>
#include <csignal>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "frame/errinfo_state.hpp"
#include "frame/exit_cleanup.hpp"
#include "frame/last_error.hpp"
#include "platform/alloc.hpp"
#include "platform/fork_guard.hpp"
#include "platform/sync_object.hpp"
#include "platform/word_lock.hpp"

namespace cairn {
namespace {

// The fast path reads this pointer; the platform key exists so that the
// record is freed when the thread ends, whoever created the thread.
__attribute__((tls_model("initial-exec"))) thread_local ThreadRecord *t_record;
// Set while this thread creates its record: an allocation failure inside
// reports through the last error, which would come back here.
__attribute__((tls_model("initial-exec"))) thread_local bool t_creating;

pthread_key_t g_key;
bool g_key_ok = false;
ox_once_t g_key_once;
std::atomic<void (*)(ThreadRecord &)> g_end_hook{nullptr};
std::atomic<void (*)(ThreadRecord &)> g_due_release_hook{nullptr};
std::atomic<void (*)(ThreadRecord &)> g_message_release_hook{nullptr};

void free_calls(QueuedCall *call)
{
    while (call != nullptr) {
        QueuedCall *next = call->next;
        mem_free(call);
        call = next;
    }
}

// Every record, newest first (see forget_other_threads).
WordLock g_records_lock;
ThreadRecord *g_newest = nullptr;

WordLock *records_lock() { return &g_records_lock; }

void link_record(ThreadRecord *rec)
{
    WordLockHold hold(g_records_lock);
    rec->older = g_newest;
    if (g_newest != nullptr)
        g_newest->newer = rec;
    g_newest = rec;
}

void unlink_record(ThreadRecord *rec)
{
    WordLockHold hold(g_records_lock);
    (rec->newer != nullptr ? rec->newer->older : g_newest) = rec->older;
    if (rec->older != nullptr)
        rec->older->newer = rec->newer;
    rec->older = rec->newer = nullptr;
}

void free_record(ThreadRecord *rec)
{
    unlink_record(rec);
    if (auto hook = g_end_hook.load(std::memory_order_acquire))
        hook(*rec);
    if (rec->due_work != nullptr)
        if (auto release = g_due_release_hook.load(std::memory_order_acquire))
            release(*rec);
    if (rec->messages != nullptr)
        if (auto release = g_message_release_hook.load(std::memory_order_acquire))
            release(*rec);
    free_calls(rec->incoming.exchange(nullptr));
    free_calls(rec->ready);
    mem_free(rec->slots);
    errinfo_state_free(rec->errinfo);
    error_record_free(rec->error);
    if (rec->wake_fd >= 0)
        close(rec->wake_fd);
    mem_delete(rec);
}

void record_destructor(void *value)
{
    auto *rec = static_cast<ThreadRecord *>(value);
    free_record(rec);
    if (t_record == rec)
        t_record = nullptr;
}

// The records' exit-time clean-up is the oldest entry of the exit-handler
// list, which the exit hook reaches (creating it then if need be).
void create_key()
{
    g_key_ok = pthread_key_create(&g_key, record_destructor) == 0;
    fork_protect(ForkRank::records, records_lock);
    install_exit_hook();
}

ThreadRecord *fatal_record_failure(ThreadRecord *rec)
{
    mem_delete(rec);
    t_creating = false;
    raise(SIGTERM);
    return nullptr;
}

}  // namespace

ThreadRecord *thread_record_peek() { return t_record; }

ThreadRecord *thread_record()
{
    if (t_record != nullptr)
        return t_record;
    if (t_creating)
        return nullptr;
    t_creating = true;
    ox_once(&g_key_once, create_key);
    auto *rec = mem_new<ThreadRecord>();
    if (rec == nullptr || !g_key_ok || pthread_setspecific(g_key, rec) != 0)
        return fatal_record_failure(rec);
    rec->tid = static_cast<int>(gettid());
    link_record(rec);
    t_record = rec;
    t_creating = false;
    return rec;
}

void thread_record_release()
{
    ThreadRecord *rec = t_record;
    if (rec == nullptr)
        return;
    if (g_key_ok)
        pthread_setspecific(g_key, nullptr);
    free_record(rec);
    t_record = nullptr;
}

UnwindOnEnd::UnwindOnEnd(void (*fn)(void *), void *arg)
    : rec_(thread_record()), step_{fn, arg, nullptr}
{
    if (rec_ != nullptr) {
        step_.next = rec_->unwind;
        rec_->unwind = &step_;
    }
}

UnwindOnEnd::~UnwindOnEnd()
{
    if (rec_ != nullptr)
        rec_->unwind = step_.next;
}

void run_unwind_steps(ThreadRecord &rec)
{
    while (UnwindStep *step = rec.unwind) {
        rec.unwind = step->next;
        step->fn(step->arg);
    }
}

// Exit-time clean-up of the library's own key: the calling thread's record
// goes, the key itself only when the exit handling asks for it.
void thread_records_exit_cleanup()
{
    thread_record_release();
    if (Ox_atexit_ox_threadstorage_destroy != 0 && g_key_ok) {
        pthread_key_delete(g_key);
        g_key_ok = false;
        ox_once_reset(&g_key_once);
    }
}

void forget_other_threads()
{
    ThreadRecord *self = t_record;
    ThreadRecord *rec = g_newest;
    g_newest = nullptr;
    while (rec != nullptr) {
        ThreadRecord *older = rec->older;
        rec->older = rec->newer = nullptr;
        if (rec == self) {
            rec->tid = static_cast<int>(gettid());  // the child's own id
            rec->older = g_newest;
            g_newest = rec;
            // The wake descriptor is shared with the parent's thread: a
            // drain here could swallow a wake-up meant for it.
            if (rec->wake_fd >= 0)
                close(rec->wake_fd);
            rec->wake_fd = -1;
        } else {
            if (rec->due_work != nullptr)
                if (auto release = g_due_release_hook.load(std::memory_order_acquire))
                    release(*rec);
            free_calls(rec->incoming.exchange(nullptr));
            free_calls(rec->ready);
            rec->ready = nullptr;
        }
        rec = older;
    }
}

void wake_descriptor_waiters()
{
    WordLockHold hold(g_records_lock);
    for (ThreadRecord *rec = g_newest; rec != nullptr; rec = rec->older)
        if (rec->park.load(std::memory_order_seq_cst) == kParkPolling)
            wake_thread(*rec);
}

void for_each_thread_record(void (*visit)(const ThreadRecord &rec, void *arg), void *arg)
{
    WordLockHold hold(g_records_lock);
    for (const ThreadRecord *rec = g_newest; rec != nullptr; rec = rec->older)
        visit(*rec, arg);
}

void set_due_work_release_hook(void (*hook)(ThreadRecord &rec))
{
    g_due_release_hook.store(hook, std::memory_order_release);
}

void set_message_state_release_hook(void (*hook)(ThreadRecord &rec))
{
    g_message_release_hook.store(hook, std::memory_order_release);
}

void set_thread_end_hook(void (*hook)(ThreadRecord &rec))
{
    g_end_hook.store(hook, std::memory_order_release);
}

}  // namespace cairn
