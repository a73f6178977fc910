/* cairn dns PID flush|print: the resolver's operator controls of a running
 * program.  "flush" empties its name caches; "print" makes it post the
 * cached entries as messages (on its standard output, or in its message
 * log when it has no console). */
#include <stdio.h>
#include <string.h>

#include "cairn.h"
#include "cairn_tool.h"

int cmd_dns(struct cairn_ctx *ctx, int argc, char **argv)
{
    struct cairn_target t;
    char request[32], answer[256], what[64];
    int rc;
    if (argc != 2)
        return usage(ctx, "expected PID and flush or print");
    if (strcmp(argv[1], "flush") != 0 && strcmp(argv[1], "print") != 0)
        return usage(ctx, "'%s' is neither flush nor print", argv[1]);
    rc = target_open(ctx, argv[0], &t);
    if (rc != CAIRN_EXIT_OK)
        return rc;
    snprintf(request, sizeof request, "dns %s", argv[1]);
    snprintf(what, sizeof what, "process %d", t.pid);
    rc = ox_debug_request(t.pid, request, answer, sizeof answer, 10000, progress_line, what);
    if (rc != 0 || strncmp(answer, "ok", 2) != 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "process %d: %s", t.pid,
                    rc == OX_ETIMEDOUT ? "no answer within 10 s"
                    : rc != 0          ? "request failed"
                                       : answer);
    out_begin(ctx);
    out_int(ctx, "pid", t.pid);
    out_str(ctx, "done",
            strcmp(argv[1], "flush") == 0 ? "caches flushed" : "caches printed by the program");
    out_end(ctx);
    return CAIRN_EXIT_OK;
}
