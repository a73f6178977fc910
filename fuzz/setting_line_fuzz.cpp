// Setting lines of the debug-control file on arbitrary bytes: applying one
// never crashes, Debug never ends above 15 through the file, and a number
// that parses parses the same again.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "cairn/diagnostics.h"
#include "diagnostics/debug_control.hpp"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int quiet = [] {
        // The notices go to standard error: keep the fuzzer's output readable.
        int fd = open("/dev/null", O_WRONLY);
        if (fd >= 0)
            dup2(fd, STDERR_FILENO);
        return 0;
    }();
    (void)quiet;
    FuzzText input(data, size);
    Debug = 0;
    cairn::apply_setting_line(input.text.get());
    if (Debug > 15)
        std::abort();
    int32_t a, b;
    if (cairn::parse_setting_number(input.text.get(), &a) !=
        cairn::parse_setting_number(input.text.get(), &b))
        std::abort();
    uint32_t bits;
    cairn::parse_setting_bits(input.text.get(), &bits);
    Debug = 0;
    OxTrace = 0;
    return 0;
}
