/* Every public header, compiled as strict C11 and linked with the shared
 * library. */
#include "cairn.h"

#include <stdio.h>
#include <stdlib.h>

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
    {
        char path[16];
        struct ox_timeval a = {5, 900000}, b = {7, 100000};
        if (canon_dirsep("/a/./b/..", path, '/') == NULL || path[0] != '/' || path[1] != 'a' ||
            path[2] != '\0' || ox_time64_to_32(OX_TIME_FOREVER) != 0x7FFFFFFF ||
            timeval_diff(a, b).tv_usec != 200000) {
            fputs("paths or time failed\n", stderr);
            return 1;
        }
    }
    {
        val_t *values = vallist_new_from_csv("b, a");
        attr_t *list = NULL;
        char *csv = vallist_to_csv(values, 0);
        attrlist_setlist_nodup(&list, "name", values);
        if (csv == NULL || csv[0] != 'b' || attrlist_getvalue(list, "NAME") == NULL ||
            attr_sprintf(NULL, 0, 80, list, 0, 1, 0) != 36) {
            fputs("values or attributes failed\n", stderr);
            return 1;
        }
        free(csv);
        attrlist_free(list);
    }
    puts("C11 headers ok");
    return 0;
}
