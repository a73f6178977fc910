// The file form on arbitrary contents: reading never fails on a readable
// file, and writing the values back and reading them again gives the same
// values (unless a value ends in a carriage return, which reading takes as
// part of a CR LF line end).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/attributes.h"

namespace {

std::string scratch(const char *name)
{
    static std::string dir = [] {
        char templ[] = "/tmp/cairn-fuzz-vallist-XXXXXX";
        return std::string(mkdtemp(templ) ? templ : "/tmp");
    }();
    return dir + "/" + name;
}

bool ends_in_cr(const val_t *list)
{
    for (; list != nullptr; list = list->next) {
        size_t n = std::strlen(list->value);
        if (n > 0 && list->value[n - 1] == '\r')
            return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string in = scratch("in"), out = scratch("out");
    FILE *f = std::fopen(in.c_str(), "wb");
    if (f == nullptr)
        return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    val_t *list = nullptr;
    if (vallist_from_file(&list, in.c_str()) != nullptr)
        std::abort();
    if (vallist_write_file(list, out.c_str()) != nullptr)
        std::abort();
    val_t *again = nullptr;
    if (vallist_from_file(&again, out.c_str()) != nullptr)
        std::abort();
    if (!ends_in_cr(list) && vallist_cmp_exact(list, again) != 0)
        std::abort();
    vallist_free(again);
    vallist_free(list);
    return 0;
}
