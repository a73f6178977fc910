// The thread object and the pieces of the thread layer that its files
// share.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "cairn/concurrency.h"
#include "platform/critical_section.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

namespace cairn {

// One entry of a thread's clean-up stack.
struct CleanupEntry {
    void (*fn)(void *);
    void *arg;
    CleanupEntry *next;
};

// The emulated platform thread handle: waitable, signalled when the thread
// has ended.  Library threads run detached: by the time the handle is
// signalled they have released every library resource and only return
// into the C library.  An adopted thread's handle stands for the
// platform's pseudo-handle and is signalled when the thread exits.
struct PlatformThread {
    SyncObject ended{SyncKind::manual_event};
    pthread_t tid{};
    bool adopted = false;
};

enum ThreadState : int32_t {
    kThreadNew = 0,
    kThreadStarting = 1,
    kThreadRunning = 2,
    kThreadDetached = 3,  // destroyed while starting or running
    kThreadCancelled = 4,
    kThreadReturned = 5,
    kThreadJoined = 6,
};

}  // namespace cairn

struct ox_thread {
    ox_object_header header;
    cairn::PlatformThread *handle = nullptr;  // nullptr before start
    uint32_t reserved = 0;
    uint32_t sequence = 0;
    uint32_t pid = 0;
    cairn::CriticalSection *lock = nullptr;  // guards state, handle, record
    ox_thread_fn fn = nullptr;
    void *arg = nullptr;
    cairn::CleanupEntry *cleanup = nullptr;  // touched by its own thread only
    int32_t state = cairn::kThreadNew;
    int32_t cancel_ignore = 0;
    uint32_t exit_code = 0;
    // The running thread's record, through which calls are queued to it.
    cairn::ThreadRecord *record = nullptr;
};

namespace cairn {

// A registered thread object in state 0 with its lock; nullptr on failure
// (last error set, nothing left behind).
ox_thread *thread_object_create(ox_thread_fn fn, void *arg);

// Free the object, its lock and its handle; the caller dropped the last
// reference.
void thread_object_free(ox_thread *t);

// Free an object whose thread was detached by destroy, dropping whatever
// references remain.
void thread_object_free_detached(ox_thread *t);

// Whether `t` is the calling thread's object.
bool is_calling_thread(const ox_thread *t);

// Pop and run every clean-up entry of `t`, newest first.
void run_cleanup_entries(ox_thread *t);

// How a thread that the library did not create is settled when it ends.
void adopted_thread_ended(ThreadRecord &rec);

}  // namespace cairn
