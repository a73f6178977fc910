// ox_8601ptime on arbitrary bytes: never crashes, and what it reads from
// the zoned writer's own text comes back unchanged.
#include <cstdlib>

#include "cairn/time.h"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText text(data, size);
    ox_time64_t t = ox_8601ptime(text.get());
    char written[64];
    if (t > 0 && t < 253402300799LL && ox_str8601_time(written, sizeof written, t) > 0) {
        ox_time64_t back = ox_8601ptime(written);
        // Local times inside a daylight-saving switch are ambiguous.
        if (back != t && (back - t > 7200 || t - back > 7200))
            std::abort();
    }
    return 0;
}
