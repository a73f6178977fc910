// The excepted descriptor list: at most ten descriptors whose treatment is
// the opposite of every other descriptor's, as chosen by Mast_flag.
#pragma once

namespace cairn::oxprint {

inline constexpr int kMaxExcepted = 10;

// Add `fd` (a no-op when present; refused with a debug line when full).
void excepted_add(int fd);
// Remove `fd`; later entries move up one place.
void excepted_remove(int fd);
// The same without the lock, for a child between fork and exec.
void excepted_remove_unlocked(int fd);
bool excepted_contains(int fd);

// Whether `fd` receives the library's UTF-8 text as it is.
bool is_utf8_descriptor(int fd);

// Exit handler: destroys the list's lock and resets its once-guard.
void excepted_list_cleanup();

}  // namespace cairn::oxprint
