// The debug streams: one for the process, one for each thread.
#pragma once

#include <cstdio>

namespace cairn {

// The process stream, or nullptr.  A plain variable, read without a lock.
extern FILE *g_process_debug_stream;
// Whether the process stream is a terminal: found once when the stream is
// set, so that writing a line asks the system nothing.
extern bool g_process_debug_console;

// The calling thread's stream, or nullptr (never creates the thread's
// record); `console` receives its terminal flag.
FILE *thread_debug_stream(bool *console = nullptr);

// See g_process_debug_console.
bool is_console_stream(FILE *stream);

}  // namespace cairn
