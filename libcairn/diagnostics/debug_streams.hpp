// The debug streams: one for the process, one for each thread.
#pragma once

#include <cstdio>

namespace cairn {

// The process stream, or nullptr.  A plain variable, read without a lock.
extern FILE *g_process_debug_stream;

// The calling thread's stream, or nullptr (never creates the thread's
// record).
FILE *thread_debug_stream();

}  // namespace cairn
