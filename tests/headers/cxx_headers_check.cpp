// Every public header, compiled as C++ and linked with the shared library.
#include "cairn.h"

#include <cstdio>

int main()
{
    static_assert(OX_EPRIVATE == 85, "code table");
    if (ox_error_from_errno(0) != OX_SUCCESS)
        return 1;
    char path[16];
    if (canon("c:/x/.", path) == nullptr || path[0] != 'C' || ox_8601ptime("2021/06/21") != 0)
        return 1;
    val_t *values = vallist_build("x", static_cast<const char *>(nullptr));
    if (values == nullptr || vallist_find(values, "X") != values)
        return 1;
    vallist_free(values);
    std::puts("C++ headers ok");
    return 0;
}
