/* cairn resolve NAME: a forward lookup through the library's cache, twice,
 * with the time of each: the first may ask the system resolver, the second
 * is answered from the cache. */
#include <netdb.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "cairn.h"
#include "cairn_tool.h"

static double now_us(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec * 1e6 + (double)ts.tv_nsec / 1e3;
}

/* One lookup: its result, the chain (freed by the caller) and its time. */
static int lookup(const char *name, struct addrinfo **chain, double *took_us)
{
    struct addrinfo hints;
    double start = now_us();
    int rc;
    memset(&hints, 0, sizeof hints);
    hints.ai_socktype = SOCK_STREAM;
    rc = ox_getaddrinfo(name, NULL, &hints, chain);
    *took_us = now_us() - start;
    return rc;
}

int cmd_resolve(struct cairn_ctx *ctx, int argc, char **argv)
{
    struct addrinfo *first = NULL, *second = NULL, *node;
    double first_us = 0, second_us = 0;
    char shown[64];
    int rc;
    if (argc != 1 || argv[0][0] == '\0')
        return usage(ctx, "expected one NAME");
    rc = lookup(argv[0], &first, &first_us);
    if (rc != 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "'%s' does not resolve: %s", argv[0], gai_strerror(rc));
    lookup(argv[0], &second, &second_us);
    out_begin(ctx);
    out_str(ctx, "name", argv[0]);
    out_open(ctx, "addresses", 1);
    for (node = first; node != NULL; node = node->ai_next)
        if (ox_inet_ntop(node->ai_addr, shown, (int)sizeof shown) == NULL)
            continue;
        else if (ctx->json)
            out_str(ctx, NULL, shown);
        else
            printf("  %s\n", shown);
    out_close(ctx, 1);
    out_int(ctx, "first_us", (long long)first_us);
    out_int(ctx, "second_us", (long long)second_us);
    out_end(ctx);
    ox_freeaddrinfo(first);
    ox_freeaddrinfo(second);
    return CAIRN_EXIT_OK;
}
