/* cairn-demo: the library's error model at work.  Each failing call leaves
 * a native error in the calling thread; the program shows the portable code,
 * the native pair and the message for a few typical failures. */
#include <errno.h>
#include <stdio.h>

#include "cairn.h"

static void show(const char *what)
{
    char text[256];
    int kind = 0;
    int portable = ox_error_get_last();
    uint32_t native = ox_error_get_last_native(&kind);
    ox_error_get_message(text, (int)sizeof text);
    printf("%-34s portable %2d  native (kind %d, %u)  \"%s\"\n", what, portable, kind,
           (unsigned)native, text);
}

int main(void)
{
    ox_atomic *counter;

    ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    show("open of a missing file (errno)");

    ox_error_set_last(5, OX_ERRKIND_WIN32);
    show("access denied (Win32 5)");

    ox_error_set_last(ECONNREFUSED, OX_ERRKIND_ERRNO);
    show("refused connection (errno)");
    show("  ... the same, read again");

    ox_error_set_last(10060, OX_ERRKIND_WINSOCK);
    show("connect timed out (Winsock)");

    printf("ox_strerror(0x10000005) = \"%s\"\n", ox_strerror(0x10000005u));

    counter = ox_atomic_new(41);
    if (counter == NULL) {
        show("ox_atomic_new");
        return 1;
    }
    printf("atomic incremented to %d\n", (int)ox_atomic_increment(counter));
    printf("destroy: %d, destroy again (stale): %d\n", ox_atomic_destroy(counter),
           ox_object_reference(NULL));
    show("reference of a NULL handle");
    return 0;
}
