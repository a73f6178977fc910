// ox_utf8_to_widepath on arbitrary bytes with output sizes from tiny to the
// path limit; the first byte chooses the size.
#include <cstdlib>
#include <memory>

#include "cairn/paths.h"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    std::size_t out_size = data[0] < 0xF0 ? data[0] : OX_PATH_MAX + 8;
    FuzzText path(data + 1, size - 1);
    std::unique_ptr<ox_wchar[]> out(new ox_wchar[out_size == 0 ? 1 : out_size]);
    ox_wchar *after = nullptr;
    int r = ox_utf8_to_widepath(path.get(), out.get(), out_size, &after);
    if (after < out.get() || after > out.get() + (out_size == 0 ? 0 : out_size - 1))
        std::abort();
    if (r == 0) {
        std::size_t n = 0;
        while (out[n] != 0)
            ++n;
        if (n >= out_size)
            std::abort();
    }
    return 0;
}
