/* Output of the `cairn` command: "key: value" lines or one JSON object. */
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cairn_tool.h"

void json_string(const char *text)
{
    const unsigned char *p = (const unsigned char *)text;
    putchar('"');
    for (; *p; ++p) {
        if (*p == '"' || *p == '\\')
            printf("\\%c", *p);
        else if (*p == '\n')
            fputs("\\n", stdout);
        else if (*p == '\t')
            fputs("\\t", stdout);
        else if (*p < 0x20 || *p == 0x7F)
            printf("\\u%04x", *p);
        else
            putchar(*p);
    }
    putchar('"');
}

/* The separator and key of the next JSON member. */
static void member(struct cairn_ctx *ctx, const char *key)
{
    if (ctx->members++ > 0)
        putchar(',');
    if (key != NULL) {
        json_string(key);
        putchar(':');
    }
}

void out_begin(struct cairn_ctx *ctx)
{
    ctx->members = 0;
    if (ctx->json)
        putchar('{');
}

void out_end(struct cairn_ctx *ctx)
{
    if (ctx->json)
        puts("}");
    fflush(stdout);
}

void out_str(struct cairn_ctx *ctx, const char *key, const char *value)
{
    if (!ctx->json) {
        printf("%s: %s\n", key, value);
        return;
    }
    member(ctx, key);
    json_string(value);
}

void out_int(struct cairn_ctx *ctx, const char *key, long long value)
{
    if (!ctx->json) {
        printf("%s: %lld\n", key, value);
        return;
    }
    member(ctx, key);
    printf("%lld", value);
}

void out_result(struct cairn_ctx *ctx, const char *key, const char *value)
{
    if (ctx->json)
        out_str(ctx, key, value);
    else
        puts(value);
}

void out_open(struct cairn_ctx *ctx, const char *key, int array)
{
    if (!ctx->json) {
        if (key != NULL)
            printf("%s:\n", key);
        return;
    }
    member(ctx, key);
    putchar(array ? '[' : '{');
    ctx->members = 0;
}

void out_close(struct cairn_ctx *ctx, int array)
{
    if (!ctx->json)
        return;
    putchar(array ? ']' : '}');
    ctx->members = 1;
}

static int report(struct cairn_ctx *ctx, int code, const char *fmt, va_list ap)
{
    char text[1024];
    vsnprintf(text, sizeof text, fmt, ap);
    fprintf(stderr, "cairn%s%s: %s\n", ctx->command ? " " : "", ctx->command ? ctx->command : "",
            text);
    if (ctx->json) {
        printf("{\"ok\":false,\"exit\":%d,\"error\":", code);
        json_string(text);
        puts("}");
    }
    fflush(stdout);
    return code;
}

int fail(struct cairn_ctx *ctx, int code, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    report(ctx, code, fmt, ap);
    va_end(ap);
    return code;
}

int usage(struct cairn_ctx *ctx, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    report(ctx, CAIRN_EXIT_USAGE, fmt, ap);
    va_end(ap);
    fprintf(stderr, "try: cairn %s --help\n", ctx->command ? ctx->command : "");
    return CAIRN_EXIT_USAGE;
}

void progress_line(unsigned elapsed_ms, void *what)
{
    fprintf(stderr, "cairn: waiting for %s ... %u s\n", (const char *)what, elapsed_ms / 1000);
}

int parse_long(const char *text, long long min, long long max, long long *out)
{
    char *end;
    long long v;
    if (text == NULL || *text == '\0' || *text == ' ')
        return -1;
    errno = 0;
    v = strtoll(text, &end, 0);
    if (errno != 0 || *end != '\0' || v < min || v > max)
        return -1;
    *out = v;
    return 0;
}

static const struct cairn_option *find_option(const struct cairn_option *opts, const char *arg)
{
    for (; opts->name != NULL; ++opts)
        if (strcmp(opts->name, arg) == 0)
            return opts;
    return NULL;
}

int take_options(struct cairn_ctx *ctx, int *argc, char **argv, const struct cairn_option *opts)
{
    int kept = 0, i;
    for (i = 0; i < *argc; ++i) {
        const struct cairn_option *o;
        if (strncmp(argv[i], "--", 2) != 0 || argv[i][2] == '\0') {
            argv[kept++] = argv[i];
            continue;
        }
        o = find_option(opts, argv[i]);
        if (o == NULL) {
            usage(ctx, "unknown option %s", argv[i]);
            return -1;
        }
        if (!o->takes_value) {
            *o->flag = 1;
        } else if (i + 1 < *argc) {
            *o->value = argv[++i];
        } else {
            usage(ctx, "%s needs a value", argv[i]);
            return -1;
        }
    }
    *argc = kept;
    return 0;
}
