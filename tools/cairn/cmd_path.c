/* cairn path canon|full|parent|depth PATH [--sep /|\]: the library's path
 * rules applied to PATH (default separator '/'). */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cairn.h"
#include "cairn_tool.h"

static int last_error_failure(struct cairn_ctx *ctx, const char *what, const char *path)
{
    char text[256];
    ox_error_get_message(text, (int)sizeof text);
    text[strcspn(text, "\r\n")] = '\0';
    return fail(ctx, CAIRN_EXIT_FAILED, "%s of '%s' failed: %s", what, path, text);
}

static int show_path(struct cairn_ctx *ctx, const char *op, const char *path, const char *result)
{
    out_begin(ctx);
    if (ctx->json) {
        out_str(ctx, "op", op);
        out_str(ctx, "path", path);
    }
    out_result(ctx, "result", result);
    out_end(ctx);
    return CAIRN_EXIT_OK;
}

static int canon_path(struct cairn_ctx *ctx, const char *path, int sep)
{
    char *out = malloc(strlen(path) + 2); /* never longer than the input, or "/" */
    int rc;
    if (out == NULL)
        return fail(ctx, CAIRN_EXIT_FAILED, "out of memory");
    if (canon_dirsep(path, out, sep) == NULL)
        rc = last_error_failure(ctx, "canon", path);
    else
        rc = show_path(ctx, "canon", path, out);
    free(out);
    return rc;
}

/* full and parent allocate their result (a NULL buffer). */
static int allocated_path(struct cairn_ctx *ctx, const char *op, const char *path, int sep)
{
    char *out = strcmp(op, "full") == 0 ? fullpath(path, NULL, 0, sep)
                                        : getpathparent_dirsep(path, NULL, 0, sep);
    int rc;
    if (out == NULL && strcmp(op, "parent") == 0 && ox_error_get_last() != OX_ENOMEM)
        return fail(ctx, CAIRN_EXIT_FAILED, "'%s' has no parent", path);
    if (out == NULL)
        return last_error_failure(ctx, op, path);
    rc = show_path(ctx, op, path, out);
    ox_path_free(out);
    return rc;
}

static int depth_path(struct cairn_ctx *ctx, const char *path, int sep)
{
    char text[32];
    snprintf(text, sizeof text, "%d", getpathdepth_dirsep(path, sep));
    return show_path(ctx, "depth", path, text);
}

int cmd_path(struct cairn_ctx *ctx, int argc, char **argv)
{
    const char *sep_text = "/";
    int sep;
    const struct cairn_option opts[] = {{"--sep", 1, &sep_text, NULL}, {NULL, 0, NULL, NULL}};
    if (take_options(ctx, &argc, argv, opts) != 0)
        return CAIRN_EXIT_USAGE;
    if (argc != 2)
        return usage(ctx, "expected an operation and one PATH");
    if (strcmp(sep_text, "/") != 0 && strcmp(sep_text, "\\") != 0)
        return usage(ctx, "--sep takes / or \\");
    sep = sep_text[0];
    if (strlen(argv[1]) >= OX_PATH_MAX)
        return usage(ctx, "PATH is longer than %d bytes", OX_PATH_MAX - 1);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    if (strcmp(argv[0], "canon") == 0)
        return canon_path(ctx, argv[1], sep);
    if (strcmp(argv[0], "full") == 0 || strcmp(argv[0], "parent") == 0)
        return allocated_path(ctx, argv[0], argv[1], sep);
    if (strcmp(argv[0], "depth") == 0)
        return depth_path(ctx, argv[1], sep);
    return usage(ctx, "unknown operation '%s' (canon, full, parent or depth)", argv[0]);
}
