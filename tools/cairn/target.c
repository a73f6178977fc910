/* Reaching a running program of the library: the checks that tell an
 * operator why a process cannot be reached, and its status on the debug
 * event's channel. */
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "cairn.h"
#include "cairn_tool.h"

#define ANSWER_WAIT_MS 5000

static unsigned number_of(const struct cairn_target *t, const char *key)
{
    char buf[32];
    return target_value(t, key, buf, sizeof buf) ? (unsigned)strtoul(buf, NULL, 10) : 0;
}

const char *target_value(const struct cairn_target *t, const char *key, char *buf, size_t size)
{
    size_t klen = strlen(key);
    const char *line = t->status;
    while (*line) {
        const char *end = strchr(line, '\n');
        size_t len = end ? (size_t)(end - line) : strlen(line);
        if (len > klen && line[klen] == '=' && strncasecmp(line, key, klen) == 0) {
            snprintf(buf, size, "%.*s", (int)(len - klen - 1), line + klen + 1);
            return buf;
        }
        line += len + (end ? 1 : 0);
    }
    return NULL;
}

int target_refresh(struct cairn_ctx *ctx, struct cairn_target *t)
{
    char what[64];
    int rc;
    snprintf(what, sizeof what, "process %d", t->pid);
    rc = ox_debug_request(t->pid, "status", t->status, sizeof t->status, ANSWER_WAIT_MS,
                          progress_line, what);
    if (rc == OX_ECONNREFUSED)
        return fail(ctx, CAIRN_EXIT_NO_TARGET,
                    "process %d is not a program of the library (it watches no debug event)",
                    t->pid);
    if (rc == OX_ETIMEDOUT)
        return fail(ctx, CAIRN_EXIT_FAILED,
                    "process %d did not answer within %d s (its debug event is held by another"
                    " process, or its event thread is blocked)",
                    t->pid, ANSWER_WAIT_MS / 1000);
    if (rc != 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "cannot reach process %d: %s", t->pid,
                    strerror(ox_error_to_errno(rc)));
    if (!target_value(t, "control", t->control, sizeof t->control))
        return fail(ctx, CAIRN_EXIT_FAILED, "process %d gave no debug-control file", t->pid);
    t->notices = number_of(t, "notices");
    t->invalid = number_of(t, "invalid");
    t->refused = number_of(t, "refused");
    return CAIRN_EXIT_OK;
}

int target_open(struct cairn_ctx *ctx, const char *pid_text, struct cairn_target *t)
{
    long long pid;
    memset(t, 0, sizeof *t);
    if (parse_long(pid_text, 1, 0x7FFFFFFF, &pid) != 0)
        return usage(ctx, "'%s' is not a process id", pid_text);
    t->pid = (int)pid;
    /* Signal 0 only asks whether the process exists and may be reached. */
    if (kill(t->pid, 0) != 0) {
        if (errno == ESRCH)
            return fail(ctx, CAIRN_EXIT_NO_TARGET, "no such process: %d", t->pid);
        if (errno == EPERM)
            return fail(ctx, CAIRN_EXIT_DENIED, "not permitted: process %d belongs to another user",
                        t->pid);
        return fail(ctx, CAIRN_EXIT_FAILED, "process %d: %s", t->pid, strerror(errno));
    }
    return target_refresh(ctx, t);
}
