// Setting lines of the debug-control file on arbitrary bytes: applying one
// never crashes, Debug never ends above 15 through the file, and a number
// that parses parses the same again.
// Its notices go to standard error: run it with -close_fd_mask=2 (tools/run
// does), which keeps libFuzzer's own report.
#include <cstdlib>

#include "cairn/diagnostics.h"
#include "diagnostics/debug_control.hpp"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
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
