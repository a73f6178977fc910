// The in-flight table: a short list of lookups being resolved now, under a
// leaf lock.  Each record carries a manual-reset event of the wait core on
// which its waiters sleep, interruptibly.
#include "net/inflight.hpp"

#include <unistd.h>

#include <cstring>

#include "net/addrinfo_chain.hpp"
#include "platform/alloc.hpp"
#include "platform/fork_guard.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"
#include "platform/word_lock.hpp"

namespace cairn::net {

enum class Outcome { running, answered, abandoned };

struct Inflight {
    Inflight *next;
    KeyRecord key;
    pid_t pid;        // a forked child ignores its parent's records
    int holds;        // owner and waiters, under g_lock
    Outcome outcome;  // written before the event is set
    int result;
    addrinfo *chain;  // the answer, a library copy
    SyncObject *done;
};

namespace {

WordLock g_lock;
Inflight *g_head = nullptr;

void unlink_locked(Inflight *rec)
{
    for (Inflight **p = &g_head; *p; p = &(*p)->next)
        if (*p == rec) {
            *p = rec->next;
            return;
        }
}

Inflight *find_locked(const KeyRecord &key, pid_t pid)
{
    for (Inflight **p = &g_head; *p;) {
        Inflight *r = *p;
        if (r->pid != pid) {
            *p = r->next;  // left by a parent process: its threads are not here
            continue;
        }
        if (forward_equal(&r->key, const_cast<KeyRecord *>(&key)) == 0)
            return r;
        p = &r->next;
    }
    return nullptr;
}

void release(Inflight *rec)
{
    g_lock.lock();
    bool last = --rec->holds == 0;
    g_lock.unlock();
    if (!last)
        return;
    chain_free(rec->chain);
    sync_close(rec->done);
    mem_free(rec);
}

void release_hold(void *rec) { release(static_cast<Inflight *>(rec)); }

Inflight *make_record(const KeyRecord &key, pid_t pid)
{
    auto *rec = static_cast<Inflight *>(mem_calloc(1, sizeof(Inflight)));
    if (rec == nullptr)
        return nullptr;
    rec->done = sync_event_create(true, false);
    if (rec->done == nullptr) {
        mem_free(rec);
        return nullptr;
    }
    std::memcpy(&rec->key, &key, sizeof key);
    rec->pid = pid;
    rec->holds = 1;
    return rec;
}

void settle(Inflight *rec, Outcome outcome)
{
    g_lock.lock();
    unlink_locked(rec);
    rec->outcome = outcome;
    g_lock.unlock();
    sync_event_set(rec->done);
    release(rec);
}

}  // namespace

void inflight_protect()
{
    fork_protect(ForkRank::resolver_inflight, [] { return &g_lock; });
}

Inflight *inflight_join(const KeyRecord &key, bool *owner)
{
    pid_t pid = getpid();
    Inflight *fresh = make_record(key, pid);  // made outside the lock
    g_lock.lock();
    Inflight *rec = find_locked(key, pid);
    *owner = false;
    if (rec != nullptr) {
        ++rec->holds;
    } else if (fresh != nullptr) {
        rec = fresh;
        rec->next = g_head;
        g_head = rec;
        fresh = nullptr;
        *owner = true;
    }
    g_lock.unlock();
    if (fresh != nullptr) {
        sync_close(fresh->done);
        mem_free(fresh);
    }
    return rec;
}

void inflight_finish(Inflight *rec, int result, const addrinfo *chain)
{
    rec->result = result;
    rec->chain = result == 0 ? chain_copy(chain) : nullptr;
    if (result == 0 && rec->chain == nullptr)
        rec->result = EAI_MEMORY;
    settle(rec, Outcome::answered);
}

void inflight_abandon(void *rec) { settle(static_cast<Inflight *>(rec), Outcome::abandoned); }

bool inflight_wait(Inflight *rec, int *result, addrinfo **out)
{
    {
        UnwindOnEnd undo(release_hold, rec);
        while (sync_wait(rec->done, kForever) != WaitStatus::signalled) {
            // queued calls ran; the answer is still awaited
        }
    }
    bool answered = rec->outcome == Outcome::answered;
    *out = nullptr;
    *result = answered ? rec->result : 0;
    if (answered && rec->result == 0 && (*out = chain_copy(rec->chain)) == nullptr)
        *result = EAI_MEMORY;
    release(rec);
    return answered;
}

}  // namespace cairn::net
