/* A consumer of the installed library: links it, makes a handle and reads
 * an error back. */
#include <cairn.h>
#include <errno.h>
#include <stdio.h>

int main(void)
{
    char text[128];
    ox_atomic *a = ox_atomic_new(0);
    if (a == NULL)
        return 1;
    ox_atomic_increment(a);
    ox_atomic_destroy(a);
    ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    ox_error_get_message(text, (int)sizeof text);
    printf("consumer: linked libcairn, last error %d: %s\n", ox_error_get_last(), text);
    return ox_error_get_last() == OX_ENOENT ? 0 : 1;
}
