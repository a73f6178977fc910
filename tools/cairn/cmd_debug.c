/* cairn debug PID SETTING...: for each setting, write the line to the
 * program's debug-control file, fire its debug event, and ask it what came
 * of the line (its status answer follows the firing's handler). */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cairn.h"
#include "cairn_tool.h"

#define SETTING_MAX 1000

/* A fresh file only this user can write, holding the line: the program
 * refuses a control file that others could have written. */
static int write_control(const char *path, const char *setting, struct stat *made)
{
    size_t len = strlen(setting);
    int fd, err = 0;
    if (unlink(path) != 0 && errno != ENOENT)
        return errno;
    fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    if (write(fd, setting, len) != (ssize_t)len || write(fd, "\n", 1) != 1 || fstat(fd, made) != 0)
        err = errno ? errno : EIO;
    close(fd);
    if (err != 0)
        unlink(path);
    return err;
}

/* Whether the file we made is still there (the program did not read it). */
static int still_there(const char *path, const struct stat *made)
{
    struct stat now;
    return lstat(path, &now) == 0 && now.st_ino == made->st_ino && now.st_dev == made->st_dev;
}

static void keyword_of(const char *setting, char *out, size_t size)
{
    size_t n = strcspn(setting, "= \t");
    snprintf(out, size, "%.*s", (int)n, setting);
}

struct outcome {
    const char *result;
    int exit;
    char value[128];
};

static void judge(const struct cairn_target *before, const struct cairn_target *after,
                  const char *setting, int unread, struct outcome *o)
{
    char key[64];
    keyword_of(setting, key, sizeof key);
    o->value[0] = '\0';
    o->exit = CAIRN_EXIT_FAILED;
    if (after->notices != before->notices) {
        o->result = "changed";
        o->exit = CAIRN_EXIT_OK;
        target_value(after, key, o->value, sizeof o->value);
    } else if (after->invalid != before->invalid) {
        o->result = "invalid value (see the program's standard error)";
    } else if (after->refused != before->refused) {
        o->result = "control file refused (see the program's standard error)";
        o->exit = CAIRN_EXIT_DENIED;
    } else if (unread) {
        o->result = "the program did not read its control file (another handler?)";
    } else {
        o->result = "no change notice: unknown setting";
    }
}

static int apply_one(struct cairn_ctx *ctx, struct cairn_target *t, const char *setting,
                     struct outcome *o)
{
    struct cairn_target before = *t;
    struct stat made;
    int err = write_control(t->control, setting, &made), rc;
    if (err != 0) {
        snprintf(o->value, sizeof o->value, "%s", strerror(err));
        o->result = "cannot write the debug-control file";
        return o->exit = err == EACCES || err == EPERM ? CAIRN_EXIT_DENIED : CAIRN_EXIT_FAILED;
    }
    if (ox_debug_event_signal(t->pid) != 0) {
        unlink(t->control);
        o->result = "the debug event could not be fired";
        o->value[0] = '\0';
        return o->exit = CAIRN_EXIT_NO_TARGET;
    }
    rc = target_refresh(ctx, t);
    if (rc != CAIRN_EXIT_OK) {
        o->result = "no answer after the firing";
        o->value[0] = '\0';
        return o->exit = rc;
    }
    judge(&before, t, setting, still_there(t->control, &made), o);
    if (still_there(t->control, &made))
        unlink(t->control);
    return o->exit;
}

static void show(struct cairn_ctx *ctx, const char *setting, const struct outcome *o)
{
    if (!ctx->json) {
        printf("%s: %s%s%s\n", setting, o->result, o->value[0] ? ", now " : "", o->value);
        return;
    }
    out_open(ctx, NULL, 0);
    out_str(ctx, "setting", setting);
    out_str(ctx, "result", o->result);
    out_str(ctx, "value", o->value);
    out_int(ctx, "exit", o->exit);
    out_close(ctx, 0);
}

int cmd_debug(struct cairn_ctx *ctx, int argc, char **argv)
{
    struct cairn_target t;
    int i, worst = CAIRN_EXIT_OK, rc;
    if (argc < 2)
        return usage(ctx, "expected PID and at least one SETTING");
    for (i = 1; i < argc; ++i)
        if (argv[i][0] == '\0' || strlen(argv[i]) > SETTING_MAX || strpbrk(argv[i], "\r\n"))
            return usage(ctx, "a SETTING is one line of at most %d bytes", SETTING_MAX);
    rc = target_open(ctx, argv[0], &t);
    if (rc != CAIRN_EXIT_OK)
        return rc;
    out_begin(ctx);
    if (ctx->json) {
        out_int(ctx, "pid", t.pid);
        out_str(ctx, "control", t.control);
    }
    out_open(ctx, ctx->json ? "changes" : NULL, 1);
    for (i = 1; i < argc; ++i) {
        struct outcome o;
        rc = apply_one(ctx, &t, argv[i], &o);
        show(ctx, argv[i], &o);
        if (rc > worst)
            worst = rc;
        if (rc == CAIRN_EXIT_NO_TARGET)
            break; /* the program is gone */
    }
    out_close(ctx, 1);
    if (ctx->json)
        out_int(ctx, "exit", worst);
    out_end(ctx);
    return worst;
}
