// Named events that another process can fire.  On Linux a named event is a
// datagram socket bound in the abstract UNIX namespace under the event's
// name: firing sends one datagram to it, and a watching thread wakes.  It
// takes no signal and no file, and vanishes with the process.
//
// The abstract namespace has no permissions, so the watcher checks each
// sender: the socket has SO_PASSCRED set and a datagram fires the event
// only when the kernel-supplied credentials (SCM_CREDENTIALS) show the
// process's own user or root.  Anything else is dropped and counted.
//
// A datagram that starts with kRequestMark is a request instead of a
// firing: the watcher hands its text to the request handler and sends the
// handler's answer back to the sender's (auto-bound) address.  Requests
// queued behind a firing are answered after the firing's handler ran, so an
// operator's tool learns what the firing did.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace cairn {

constexpr char kRequestMark = '?';
// The longest request text and answer (one datagram each).
constexpr std::size_t kRequestMax = 4096;
constexpr std::size_t kAnswerMax = 8192;

// Answers `request` (NUL-terminated, without the mark) sent by `uid`:
// writes at most `size` bytes including a terminator into `answer`.
using RequestHandler = void (*)(const char *request, uid_t uid, char *answer, std::size_t size);

// Install the handler of requests (nullptr: requests are dropped).
void named_event_set_request_handler(RequestHandler handler);

// Send `request` to the watcher of `name` and wait at most `timeout_ms` for
// its answer, which must come from process `pid`.  `progress`, when given,
// is called about once a second while the wait lasts.  Returns 0, or an
// errno value: ECONNREFUSED when nobody watches the name, ETIMEDOUT when no
// answer came.
int named_event_request(const char *name, int pid, const char *request, char *answer,
                        std::size_t size, uint32_t timeout_ms,
                        void (*progress)(uint32_t elapsed_ms, void *arg), void *arg);

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

// Stop watching: the watcher thread ends and the socket is closed, so the
// event may be watched again.  False when the watcher did not end within
// two seconds (busy in the event's handler) or this is the watcher's own
// thread: it then ends on its own, and its socket stays open.
bool named_event_stop();

// Fire the event `name`.  Returns 0, or an errno value (ECONNREFUSED when
// nobody watches it).
int named_event_fire(const char *name);

}  // namespace cairn
