/* An attribute list's round trip: build a list, write it as
 * "name=value,name=value" text, read the text back into a new list and
 * check that both lists are equal; then show the printed form. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <cairn.h>

/* "name=value" for each value of each attribute, comma-separated.  The
 * reader takes the same form (values here hold no commas or quotes). */
static int to_text(const attr_t *list, char *buf, size_t size)
{
    size_t len = 0;
    const attr_t *a;
    const val_t *v;
    buf[0] = '\0';
    for (a = list; a != NULL; a = a->next)
        for (v = a->values; v != NULL; v = v->next) {
            int n = snprintf(buf + len, size - len, "%s%s=%s", len ? "," : "", a->name, v->value);
            if (n < 0 || (size_t)n >= size - len)
                return -1;
            len += (size_t)n;
        }
    return 0;
}

int main(int argc, char **argv)
{
    char text[1024];
    attr_t *back = NULL, *a;
    int same;
    /* Names are kept in ascending order without regard to case. */
    attr_t *list = attrlist_build("client", "mars", NULL, "level", "full", NULL, "pool", "Default",
                                  NULL, NULL);
    _oxinit("attrdemo", argc, argv);
    if (list == NULL || to_text(list, text, sizeof text) != 0) {
        fprintf(stderr, "cannot build the list\n");
        return 1;
    }
    printf("text: %s\n", text);
    if (snmp_str_to_attrs(text, &back) != attr_count(list)) {
        fprintf(stderr, "the text did not read back whole\n");
        return 1;
    }
    same = attrlist_equal(list, back);
    printf("round trip: %s\n", same ? "equal" : "DIFFERENT");
    for (a = back; a != NULL; a = a->next)
        attr_print(stdout, a, 0);
    attrlist_free(list);
    attrlist_free(back);
    return same ? 0 : 1;
}
