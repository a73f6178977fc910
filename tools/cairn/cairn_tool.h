/* The operator's `cairn` command: what every subcommand shares. */
#ifndef CAIRN_TOOL_H
#define CAIRN_TOOL_H

#include <stddef.h>

/* Exit codes, documented in cairn.1 and docs/debug-log.md. */
enum cairn_exit {
    CAIRN_EXIT_OK = 0,        /* done */
    CAIRN_EXIT_FAILED = 1,    /* the operation failed */
    CAIRN_EXIT_USAGE = 2,     /* bad usage or bad input */
    CAIRN_EXIT_NO_TARGET = 3, /* no such process, or not a program of the library */
    CAIRN_EXIT_DENIED = 4     /* not permitted */
};

struct cairn_ctx {
    int json;            /* --json: one JSON object on standard output */
    const char *command; /* the subcommand's name, for messages */
    int members;         /* JSON members written at the current level */
};

/* One row of the subcommand table: adding a subcommand is one row and the
 * small file that holds its function. */
struct cairn_command {
    const char *name;
    const char *usage;   /* arguments after the name */
    const char *summary; /* one line */
    int (*run)(struct cairn_ctx *ctx, int argc, char **argv);
};

/* Output.  In text mode each value is a "key: value" line (out_result
 * prints the value alone); in JSON mode they are members of one object. */
void out_begin(struct cairn_ctx *ctx);
void out_end(struct cairn_ctx *ctx);
void out_str(struct cairn_ctx *ctx, const char *key, const char *value);
void out_int(struct cairn_ctx *ctx, const char *key, long long value);
void out_result(struct cairn_ctx *ctx, const char *key, const char *value);
/* A nested JSON object or array (text mode: a heading line). */
void out_open(struct cairn_ctx *ctx, const char *key, int array);
void out_close(struct cairn_ctx *ctx, int array);
/* A JSON string literal of `text` on standard output. */
void json_string(const char *text);

/* Report a failure: "cairn COMMAND: message" on standard error, and with
 * --json {"ok":false,"exit":code,"error":message} on standard output.
 * Returns `code`. */
int fail(struct cairn_ctx *ctx, int code, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));
int usage(struct cairn_ctx *ctx, const char *fmt, ...) __attribute__((format(printf, 2, 3)));

/* A progress line on standard error for waits longer than a second. */
void progress_line(unsigned elapsed_ms, void *what);

/* Strict numbers: the whole text, in range.  0 on success. */
int parse_long(const char *text, long long min, long long max, long long *out);

/* Finds `--name`/`--name VALUE` options: a flag sets *flag, an option with a
 * value stores it; the arguments left keep their order in argv[0..*argc).
 * Returns 0, or -1 (usage already reported) for an unknown option or a
 * missing value. */
struct cairn_option {
    const char *name;
    int takes_value;
    const char **value; /* takes_value */
    int *flag;          /* !takes_value */
};
int take_options(struct cairn_ctx *ctx, int *argc, char **argv, const struct cairn_option *opts);

/* Reaching a running program of the library (target.c). */
struct cairn_target {
    int pid;
    char control[4096]; /* its debug-control file */
    unsigned notices, invalid, refused;
    char status[8192]; /* its whole status answer */
};
/* Parse PID, check the process exists, may be reached, and is a program
 * of the library (it answers on its debug channel).  Returns an exit code. */
int target_open(struct cairn_ctx *ctx, const char *pid_text, struct cairn_target *t);
/* Ask again for its status (counts and settings).  Returns an exit code. */
int target_refresh(struct cairn_ctx *ctx, struct cairn_target *t);
/* The value of `key` in the status answer (case-insensitive), or NULL. */
const char *target_value(const struct cairn_target *t, const char *key, char *buf, size_t size);

int cmd_debug(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_error(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_path(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_time(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_stats(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_demo(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_dns(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_addr(struct cairn_ctx *ctx, int argc, char **argv);
int cmd_resolve(struct cairn_ctx *ctx, int argc, char **argv);

#endif
