// The thread object and the pieces of the thread layer that its files
// share.
#pragma once

#include <pthread.h>

#include <atomic>
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
    // The object and every joiner waiting on the handle each hold it, so a
    // restart or destroy never frees it under a joiner.
    std::atomic<int32_t> holders{1};
};

// Let go of a handle; the last holder frees it.  nullptr is ignored.
void handle_release(PlatformThread *handle);

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

// The one way a thread ends, whatever ends it (its function returned, a
// cancel, the end of a thread the library adopted), in two halves.
//
// First, in the ending thread: the undo steps of the wait it was ended in,
// the storage destructors, then the clean-up entries, newest first.  Queued
// calls wait meanwhile: a cancel that arrives now comes too late and goes
// with the record.
void run_end_steps(ox_thread *t, ThreadRecord &rec);
// Then the object is settled: the thread stops being a target of queued
// calls, `release_record` frees its record (a library thread, so that
// nothing of the library is left to free once it has ended), the state and
// exit code are set and the joiners wake.  A thread destroyed while it ran
// frees its object here; an adopted thread drops the reference its record
// held.
void settle_ended(ox_thread *t, ThreadRecord &rec, uint32_t code, bool cancelled,
                  bool release_record);

// How a thread that the library did not create is settled when it ends.
void adopted_thread_ended(ThreadRecord &rec);

}  // namespace cairn
