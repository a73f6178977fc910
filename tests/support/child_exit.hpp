// Ending a forked test child at once, without the parent's exit handlers or
// stream buffers, yet with the coverage build's counters written out: a
// child that calls _exit() alone would leave whatever it ran uncounted.
#pragma once

#include <unistd.h>

#ifdef CAIRN_COVERAGE
extern "C" void __gcov_dump(void);
#endif

namespace cairn::testing {

[[noreturn]] inline void child_exit(int code)
{
#ifdef CAIRN_COVERAGE
    __gcov_dump();
#endif
    _exit(code);
}

}  // namespace cairn::testing
