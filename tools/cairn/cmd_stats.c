/* cairn stats PID [--file PATH | --log]: the program's census.  The tool
 * creates the report file (0600, never following a link) and names it in
 * a "stats" request; the program writes it only if it is a regular file of
 * the requesting user.  Without --file a temporary file is used and
 * removed; with --log the report goes to the program's debug log. */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "cairn.h"
#include "cairn_tool.h"

#define REPORT_MAX (1 << 20)

static int make_report_file(const char *path, char *made, size_t size)
{
    int fd;
    if (path != NULL) {
        snprintf(made, size, "%s", path);
        fd = open(made, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    } else {
        const char *dir = getenv("TMPDIR");
        snprintf(made, size, "%s/cairn-stats-XXXXXX", dir && *dir ? dir : "/tmp");
        fd = mkstemp(made);
    }
    if (fd < 0)
        return errno;
    close(fd);
    return 0;
}

/* The report as the program wrote it (at most REPORT_MAX bytes). */
static char *read_report(const char *path)
{
    FILE *fp = fopen(path, "r");
    char *text = fp ? malloc(REPORT_MAX + 1) : NULL;
    size_t n = text ? fread(text, 1, REPORT_MAX, fp) : 0;
    if (fp)
        fclose(fp);
    if (text)
        text[n] = '\0';
    return text;
}

/* One report line as JSON members of the right section. */
static void json_line(struct cairn_ctx *ctx, const char *line, int *section)
{
    char name[128], state[128];
    unsigned long long count, id;
    int tid;
    unsigned timers;
    if (sscanf(line, "objects: %llu live", &count) == 1) {
        out_open(ctx, "objects", 0);
        out_int(ctx, "total", (long long)count);
        *section = 1;
    } else if (sscanf(line, "threads: %llu", &count) == 1) {
        if (*section == 1)
            out_close(ctx, 0);
        out_int(ctx, "thread_count", (long long)count);
        out_open(ctx, "threads", 1);
        *section = 2;
    } else if (*section == 1 && sscanf(line, "  %127[^:]: %llu", name, &count) == 2) {
        out_int(ctx, name, (long long)count);
    } else if (*section == 2 && sscanf(line, "  thread %llu tid %d: %127[^,], timers armed: %u",
                                       &id, &tid, state, &timers) == 4) {
        out_open(ctx, NULL, 0);
        out_int(ctx, "id", (long long)id);
        out_int(ctx, "tid", tid);
        out_str(ctx, "state", state);
        out_int(ctx, "timers", timers);
        out_close(ctx, 0);
    } else if (strncmp(line, "settings: ", 10) == 0) {
        if (*section == 2)
            out_close(ctx, 1);
        *section = 3;
        out_str(ctx, "settings", line + 10);
    }
}

static void show_report(struct cairn_ctx *ctx, int pid, const char *report)
{
    char line[1024];
    const char *p = report;
    int section = 0;
    if (!ctx->json) {
        fputs(report, stdout);
        return;
    }
    out_begin(ctx);
    out_int(ctx, "pid", pid);
    while (*p) {
        size_t len = strcspn(p, "\n");
        snprintf(line, sizeof line, "%.*s", (int)len, p);
        json_line(ctx, line, &section);
        p += len + (p[len] ? 1 : 0);
    }
    if (section == 1 || section == 2)
        out_close(ctx, section == 2);
    out_str(ctx, "report", report);
    out_end(ctx);
}

static int ask(struct cairn_ctx *ctx, struct cairn_target *t, const char *file, int keep)
{
    char request[4096 + 8], answer[1024], what[64];
    char *report;
    int rc;
    snprintf(request, sizeof request, file ? "stats %s" : "stats", file ? file : "");
    snprintf(what, sizeof what, "the report of process %d", t->pid);
    rc = ox_debug_request(t->pid, request, answer, sizeof answer, 10000, progress_line, what);
    if (rc != 0 || strncmp(answer, "ok", 2) != 0) {
        rc = fail(ctx, CAIRN_EXIT_FAILED, "process %d: %s", t->pid,
                  rc == OX_ETIMEDOUT ? "no answer within 10 s"
                  : rc != 0          ? "request failed"
                                     : answer);
    } else if (file == NULL) {
        out_begin(ctx);
        out_int(ctx, "pid", t->pid);
        out_str(ctx, "written", "debug log");
        out_end(ctx);
    } else if ((report = read_report(file)) == NULL || strstr(report, "end of stats\n") == NULL) {
        rc = fail(ctx, CAIRN_EXIT_FAILED, "the report in %s is incomplete", file);
        free(report);
    } else {
        show_report(ctx, t->pid, report);
        free(report);
    }
    if (file != NULL && !keep)
        unlink(file);
    return rc;
}

int cmd_stats(struct cairn_ctx *ctx, int argc, char **argv)
{
    const char *file = NULL;
    int to_log = 0, rc, err;
    char made[4096];
    struct cairn_target t;
    const struct cairn_option opts[] = {
        {"--file", 1, &file, NULL}, {"--log", 0, NULL, &to_log}, {NULL, 0, NULL, NULL}};
    if (take_options(ctx, &argc, argv, opts) != 0)
        return CAIRN_EXIT_USAGE;
    if (argc != 1)
        return usage(ctx, "expected one PID");
    if (file != NULL && (to_log || strlen(file) >= 4000 || file[0] == '\0'))
        return usage(ctx, "give either --file PATH (under 4000 bytes) or --log");
    rc = target_open(ctx, argv[0], &t);
    if (rc != CAIRN_EXIT_OK)
        return rc;
    if (to_log)
        return ask(ctx, &t, NULL, 0);
    err = make_report_file(file, made, sizeof made);
    if (err != 0)
        return fail(ctx, err == EACCES ? CAIRN_EXIT_DENIED : CAIRN_EXIT_FAILED,
                    "cannot create the report file %s: %s", made, strerror(err));
    return ask(ctx, &t, made, file != NULL);
}
