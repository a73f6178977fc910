// Named events that another process can fire.  On Linux a named event is a
// datagram socket bound in the abstract UNIX namespace under the event's
// name: firing sends one datagram to it, and a watching thread wakes.  It
// takes no signal and no file, and vanishes with the process.
//
// The abstract namespace has no permissions, so the watcher checks each
// sender: the socket has SO_PASSCRED set and a datagram fires the event
// only when the kernel-supplied credentials (SCM_CREDENTIALS) show the
// process's own user or root.  Anything else is dropped and counted.
#pragma once

namespace cairn {

// Watch the event `name` (at most 100 bytes) of this process: a detached
// thread with every signal blocked waits for it and calls `on_fire` once
// for each firing (firings that arrive while `on_fire` runs count once
// more, like a manual-reset event reset before the call).  Returns 0, or
// an errno value.  The thread never keeps the process from ending.
int named_event_watch(const char *name, void (*on_fire)());

// Datagrams dropped so far because another user sent them (tests).
unsigned long named_event_refusals();

// Stop watching in this process (the socket is closed; the thread ends).
// Used in a child after fork, where the parent's watcher does not exist.
void named_event_forget_after_fork();

// Fire the event `name`.  Returns 0, or an errno value (ECONNREFUSED when
// nobody watches it).
int named_event_fire(const char *name);

}  // namespace cairn
