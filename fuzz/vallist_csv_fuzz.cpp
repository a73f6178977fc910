// The comma form on arbitrary text: every parsed value is non-empty, holds
// no comma and no white space at either end, and writing the list out and
// parsing it again gives the same values; a limited form stays within its
// limit but for the first value and the ", ..." mark.
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "cairn/attributes.h"
#include "fuzz_input.hpp"

namespace {

bool space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    val_t *list = vallist_new_from_csv(input.get());
    size_t total = 0, first = 0;
    for (const val_t *v = list; v != nullptr; v = v->next) {
        size_t n = std::strlen(v->value);
        if (n == 0 || std::strchr(v->value, ',') || space(v->value[0]) || space(v->value[n - 1]))
            std::abort();
        if (v == list)
            first = n;
        total += n + 2;
    }
    char *csv = vallist_to_csv(list, 0);
    val_t *again = vallist_new_from_csv(list ? csv : "");
    if (vallist_cmp_exact(list, again) != 0)
        std::abort();
    int limit = size > 0 ? data[0] : 0;
    char *limited = vallist_to_csv(list, limit);
    size_t bound = list ? (static_cast<size_t>(limit) > first ? limit : first) + 5 : 7;
    if (std::strlen(limited) > bound || std::strlen(limited) > std::strlen(csv) + 5 ||
        (limit == 0 && total > 0 && std::strlen(csv) + 2 != total))
        std::abort();
    std::free(limited);
    std::free(csv);
    vallist_free(again);
    vallist_free(list);
    return 0;
}
