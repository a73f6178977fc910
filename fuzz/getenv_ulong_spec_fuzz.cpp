// Descriptions given to ox_getenv_ulong ("NAME=DEFAULT,MIN:MAX") on
// arbitrary text: one with a NAME and a DEFAULT (one without either ends the
// process, by contract, and is not tried) gives the same number twice,
// within the bounds it names when they are plain numbers in order.
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "fuzz_input.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// NAME ends at the first '=' and DEFAULT at the next ','; both non-empty.
bool well_formed(const std::string &spec, std::string *name)
{
    std::size_t eq = spec.find('=');
    if (eq == std::string::npos || eq == 0)
        return false;
    std::size_t comma = spec.find(',', eq + 1);
    if (comma == std::string::npos || comma == eq + 1)
        return false;
    *name = spec.substr(0, eq);
    return true;
}

bool plain_number(const std::string &text, unsigned long *value)
{
    if (text.empty() || text.size() > 9 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    *value = std::strtoul(text.c_str(), nullptr, 10);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    std::string spec = input.get(), name;
    if (!well_formed(spec, &name))
        return 0;
    unsigned long base = size > 0 ? data[0] * 1000ul : 0;
    unsigned long first = ox_getenv_ulong(spec.c_str(), base);
    check(ox_getenv_ulong(spec.c_str(), base) == first);

    std::size_t comma = spec.find(',', spec.find('=') + 1);
    std::string bounds = spec.substr(comma + 1);
    std::size_t colon = bounds.find(':');
    unsigned long lo, hi;
    if (colon != std::string::npos && plain_number(bounds.substr(0, colon), &lo) &&
        plain_number(bounds.substr(colon + 1), &hi) && lo <= hi)
        check(first >= lo && first <= hi);

    return 0;
}
