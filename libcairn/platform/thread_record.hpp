// The per-thread library record: the calling thread's own library state
// (its thread object and its last-error record).  It is created on first
// use and freed when the thread ends.
#pragma once

namespace cairn {

struct ErrorRecord;

struct ThreadRecord {
    void *thread = nullptr;        // the thread's ox_thread object, if any
    ErrorRecord *error = nullptr;  // last error, created on first use
    bool creating_error = false;
};

// The calling thread's record, created on first use.  Allocation failure of
// the record itself is fatal for the process (SIGTERM): every thread of the
// library needs one.
ThreadRecord *thread_record();

// The calling thread's record, or nullptr when it has none yet.
ThreadRecord *thread_record_peek();

// Free the calling thread's record now (exit-time clean-up).
void thread_record_release();

}  // namespace cairn
