#include "platform/thread_record.hpp"

#include <pthread.h>
#include <csignal>

#include "frame/last_error.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

// The fast path reads this pointer; the key exists only so that the record
// is freed when the thread ends.
__attribute__((tls_model("initial-exec"))) thread_local ThreadRecord *t_record;
// Set while the record is being made: an allocation failure reports through
// the last error, which must not try to make the record again.
__attribute__((tls_model("initial-exec"))) thread_local bool t_creating;

pthread_key_t g_key;
pthread_once_t g_key_once = PTHREAD_ONCE_INIT;
bool g_key_ok = false;

void free_record(ThreadRecord *rec)
{
    if (rec == nullptr)
        return;
    error_record_free(rec->error);
    mem_delete(rec);
}

void record_destructor(void *value)
{
    auto *rec = static_cast<ThreadRecord *>(value);
    if (t_record == rec)
        t_record = nullptr;
    free_record(rec);
}

void create_key() { g_key_ok = pthread_key_create(&g_key, record_destructor) == 0; }

}  // namespace

ThreadRecord *thread_record_peek() { return t_record; }

ThreadRecord *thread_record()
{
    if (t_record != nullptr)
        return t_record;
    if (t_creating)
        return nullptr;
    pthread_once(&g_key_once, create_key);
    t_creating = true;
    auto *rec = mem_new<ThreadRecord>();
    t_creating = false;
    if (rec == nullptr || !g_key_ok || pthread_setspecific(g_key, rec) != 0) {
        mem_delete(rec);
        raise(SIGTERM);
        return nullptr;
    }
    t_record = rec;
    return rec;
}

void thread_record_release()
{
    ThreadRecord *rec = t_record;
    if (rec == nullptr)
        return;
    t_record = nullptr;
    if (g_key_ok)
        pthread_setspecific(g_key, nullptr);
    free_record(rec);
}

}  // namespace cairn
