// Running a piece of a test in a forked child, for process-wide state
// (exit handlers, environment, fatal stops) seen from outside.
#pragma once

#include <functional>
#include <string>

namespace cairn::testing {

struct ChildResult {
    bool exited = false;  // ended through exit()
    int exit_code = -1;   // when exited
    int signal = 0;       // when killed by a signal
    std::string out;      // everything written to standard output
    std::string err;      // everything written to standard error
};

// The child's exit status when an assertion in `body` failed.
constexpr int kChildAssertionFailed = 97;

// Fork, run `body` in the child with its standard output and error captured,
// and exit(0) when it returns (kChildAssertionFailed when an assertion in it
// failed).  Waits at most `timeout_ms` for the child.  A failed assertion in
// the child, or a child still running at the deadline (then killed), fails
// the calling test with the child's output.
ChildResult run_in_child(const std::function<void()> &body, int timeout_ms = 30000);

}  // namespace cairn::testing
