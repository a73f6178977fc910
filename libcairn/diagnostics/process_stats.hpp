// The census an operator asks a running program for: live library objects
// by type, the threads the library knows (what each waits on, the timers it
// armed) and the debug settings in force.
#pragma once

#include <cstddef>

namespace cairn {

// Where the report's lines go: `write` gets one whole line at a time.
struct ReportSink {
    void (*write)(const char *line, std::size_t len, void *arg);
    void *arg;
};

// Take the census now and write it.  Nothing is counted on the way: the
// registry, the thread records and the settings are read when asked.
void write_process_stats(const ReportSink &sink);

}  // namespace cairn
