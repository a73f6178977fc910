// The debug streams: one for the process, one for each thread.
#pragma once

#include <cstdio>

namespace cairn {

// The process stream, or nullptr.  A plain variable, read without a lock.
extern FILE *g_process_debug_stream;
// Whether the process stream is a file that is neither a terminal nor a
// standard stream: the output path writes an ASCII prefix to it unchanged,
// so prefix and text may go out in one write.  Found when the stream is set.
extern bool g_process_debug_plain;

// The calling thread's stream, or nullptr (never creates the thread's
// record); `plain` receives its plain-file flag.
FILE *thread_debug_stream(bool *plain = nullptr);

// See g_process_debug_plain.
bool is_plain_file_stream(FILE *stream);

}  // namespace cairn
