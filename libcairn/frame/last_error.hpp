// The calling thread's last error: the native pair (kind, code) and the
// per-thread buffer that ox_strerror() returns.
#pragma once

#include <cstdint>

namespace cairn {

constexpr int kMessageBufferSize = 1024;

struct ErrorRecord {
    int32_t kind = 1;
    uint32_t code = 0;
    char message[kMessageBufferSize] = {};
};

// The thread's record, or nullptr when it has none yet.
ErrorRecord *error_record();

// The thread's record, created on first use; nullptr if it cannot be
// allocated (the thread then has no last error).
ErrorRecord *error_record_create();

// Free a record (called when the thread's library state is torn down).
void error_record_free(ErrorRecord *rec);

}  // namespace cairn
