// The name=value parser on arbitrary text: the list it builds stays in
// ascending case-insensitive name order with unique names, every attribute
// has at most one value, and each printed form fits the length measured.
// Bad sections are reported on standard error: run it with
// -close_fd_mask=2 (tools/run does), so libFuzzer keeps its own report.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cairn/attributes.h"
#include "cairn/text.h"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    attr_t *list = nullptr;
    int set = snmp_str_to_attrs(input.get(), &list);
    if (attr_count(list) > set)
        std::abort();
    for (const attr_t *a = list; a != nullptr; a = a->next) {
        if (a->next != nullptr && ox_straicmp(a->name, a->next->name) >= 0)
            std::abort();
        if (a->values != nullptr && (a->values->next != nullptr || a->values->value[0] == '\0'))
            std::abort();
        int need = attr_sprintf(nullptr, 0, 80, a, 0, 1, 0);
        std::vector<char> buf(static_cast<size_t>(need) + 1);
        if (attr_sprintf(buf.data(), need + 1, 80, a, 0, 0, 0) != need ||
            std::strlen(buf.data()) != static_cast<size_t>(need))
            std::abort();
    }
    attrlist_free(list);
    return 0;
}
