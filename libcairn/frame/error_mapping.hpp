// Mapping tables between native error codes and portable codes.
#pragma once

#include <cstdint>

namespace cairn {

// Portable code of a native pair; 1 when unknown.
int portable_from_native(uint32_t code, int kind);

int errno_from_portable(int code);

// The Winsock code under which a networking errno is reported, 0 if none.
uint32_t winsock_from_errno(int err);

// How an errno value is reported in messages.
enum class ErrnoClass {
    runtime,  // the C library's own text
    winsock,  // a networking value: reported as its Winsock code
};
ErrnoClass classify_errno_for_message(uint32_t err);

}  // namespace cairn
