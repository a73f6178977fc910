/* cairn time now | iso8601 SECONDS | parse TEXT: the library's clock and
 * its ISO 8601 writers and reader. */
#include <stdio.h>
#include <string.h>

#include "cairn.h"
#include "cairn_tool.h"

/* Seconds since 1970 with the local and the UTC ISO 8601 forms. */
static int show_time(struct cairn_ctx *ctx, ox_time64_t t)
{
    char local[64], utc[64];
    if (ox_str8601_time(local, sizeof local, t) == 0 ||
        ox_str8601_time_compz(utc, sizeof utc, t, 0) == 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "%lld cannot be written as a date", (long long)t);
    out_begin(ctx);
    out_int(ctx, "seconds", (long long)t);
    out_str(ctx, "local", local);
    out_str(ctx, "utc", utc);
    out_end(ctx);
    return CAIRN_EXIT_OK;
}

int cmd_time(struct cairn_ctx *ctx, int argc, char **argv)
{
    long long v;
    ox_time64_t t;
    if (argc < 1)
        return usage(ctx, "expected now, iso8601 SECONDS or parse TEXT");
    if (strcmp(argv[0], "now") == 0 && argc == 1)
        return show_time(ctx, ox_time(NULL));
    if (strcmp(argv[0], "iso8601") == 0 && argc == 2) {
        /* The calendar covers years 1 to 9999. */
        if (parse_long(argv[1], -62135596800LL, 253402300799LL, &v) != 0)
            return usage(ctx, "'%s' is not a number of seconds in years 1 to 9999", argv[1]);
        return show_time(ctx, (ox_time64_t)v);
    }
    if (strcmp(argv[0], "parse") == 0 && argc == 2) {
        t = ox_8601ptime(argv[1]);
        /* 0 is also the reader's failure: only the epoch's own text gives it. */
        if (t == 0 && strcmp(argv[1], "1970-01-01T00:00:00Z") != 0 &&
            strcmp(argv[1], "19700101T000000Z") != 0)
            return fail(ctx, CAIRN_EXIT_FAILED, "'%s' is not ISO 8601 text the library reads",
                        argv[1]);
        return show_time(ctx, t);
    }
    return usage(ctx, "expected now, iso8601 SECONDS or parse TEXT");
}
