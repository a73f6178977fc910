/* Every public header, compiled as strict C11 and linked with the shared
 * library. */
#include "cairn.h"

#include <stdio.h>

int main(void)
{
    ox_once_t once = OX_ONCE_INIT;
    ox_atomic *a = ox_atomic_new(1);
    if (a == NULL || ox_atomic_increment(a) != 2 || ox_atomic_destroy(a) != OX_SUCCESS) {
        fputs("atomic failed\n", stderr);
        return 1;
    }
    ox_once_reset(&once);
    if (ox_error_set_last(2, OX_ERRKIND_ERRNO) != OX_ENOENT) {
        fputs("unexpected mapping\n", stderr);
        return 1;
    }
    puts("C11 headers ok");
    return 0;
}
