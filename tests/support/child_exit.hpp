// Ending a forked test child at once, without the parent's exit handlers or
// stream buffers, yet with the coverage builds' counters written out (gcov's
// or clang's): a child that calls _exit() alone would leave whatever it ran
// uncounted.
#pragma once

#include <unistd.h>

#ifdef CAIRN_COVERAGE
extern "C" void __gcov_dump(void);
#endif
#ifdef CAIRN_LLVM_COVERAGE
extern "C" int __llvm_profile_write_file(void);
#endif

namespace cairn::testing {

[[noreturn]] inline void child_exit(int code)
{
#ifdef CAIRN_COVERAGE
    __gcov_dump();
#endif
#ifdef CAIRN_LLVM_COVERAGE
    __llvm_profile_write_file();
#endif
    _exit(code);
}

}  // namespace cairn::testing
