/* cairn error CODE [--errno|--win32|--winsock|--eai]: a portable code, or a
 * native code of the given kind, shown as the portable code, the native
 * pair the library keeps and the text it reports. */
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "cairn.h"
#include "cairn_tool.h"

#define NAME_ENTRY(code, name, to_errno, from_errno) [code] = "OX_" #name,
static const char *const code_names[OX_ERROR_CODE_COUNT] = {OX_ERROR_TABLE(NAME_ENTRY)};
#define FROM_ENTRY(code, name, to_errno, from_errno) [code] = from_errno,
static const int errno_to_code[OX_ERROR_CODE_COUNT] = {OX_ERROR_TABLE(FROM_ENTRY)};
#undef FROM_ENTRY
#undef NAME_ENTRY

static const char *kind_name(int kind)
{
    switch (kind) {
    case OX_ERRKIND_ERRNO:
        return "errno";
    case OX_ERRKIND_RESOLVER:
        return "resolver";
    case OX_ERRKIND_WIN32:
        return "win32";
    case OX_ERRKIND_WINSOCK:
        return "winsock";
    default:
        return "other";
    }
}

static int show(struct cairn_ctx *ctx, int code, int kind, uint32_t native, const char *text)
{
    out_begin(ctx);
    out_int(ctx, "code", code);
    out_str(ctx, "name", code_names[code] != NULL ? code_names[code] : "?");
    out_str(ctx, "kind", kind != 0 ? kind_name(kind) : "none");
    out_int(ctx, "native",
            kind == OX_ERRKIND_RESOLVER ? (long long)(int32_t)native : (long long)native);
    out_str(ctx, "text", text);
    out_end(ctx);
    return CAIRN_EXIT_OK;
}

/* A portable code given by number or by name (ENOENT, OX_ENOENT). */
static int portable_code(const char *text)
{
    long long v;
    int i;
    if (parse_long(text, 0, OX_ERROR_CODE_COUNT - 1, &v) == 0)
        return (int)v;
    for (i = 0; i < OX_ERROR_CODE_COUNT; ++i)
        if (code_names[i] != NULL &&
            (strcmp(code_names[i], text) == 0 || strcmp(code_names[i] + 3, text) == 0))
            return i;
    return -1;
}

int cmd_error(struct cairn_ctx *ctx, int argc, char **argv)
{
    int as_errno = 0, as_win32 = 0, as_winsock = 0, as_eai = 0, kind = 0, code;
    uint32_t native;
    long long v;
    char text[512];
    const struct cairn_option opts[] = {{"--errno", 0, NULL, &as_errno},
                                        {"--win32", 0, NULL, &as_win32},
                                        {"--winsock", 0, NULL, &as_winsock},
                                        {"--eai", 0, NULL, &as_eai},
                                        {NULL, 0, NULL, NULL}};
    if (take_options(ctx, &argc, argv, opts) != 0)
        return CAIRN_EXIT_USAGE;
    if (argc != 1)
        return usage(ctx, "expected one CODE");
    if (as_errno + as_win32 + as_winsock + as_eai > 1)
        return usage(ctx, "give at most one of --errno, --win32, --winsock, --eai");
    kind = as_errno     ? OX_ERRKIND_ERRNO
           : as_win32   ? OX_ERRKIND_WIN32
           : as_winsock ? OX_ERRKIND_WINSOCK
           : as_eai     ? OX_ERRKIND_RESOLVER
                        : 0;
    if (kind == 0) {
        code = portable_code(argv[0]);
        if (code < 0)
            return usage(ctx, "'%s' is not a portable error code (0 to %d or a name)", argv[0],
                         OX_ERROR_CODE_COUNT - 1);
        /* The errno the code stands for; else the one that maps to it. */
        native = (uint32_t)ox_error_to_errno(code);
        if (native == 0)
            native = (uint32_t)errno_to_code[code];
        if (native == 0 && code != 0)
            return show(ctx, code, 0, 0, "no native code");
        kind = OX_ERRKIND_ERRNO;
    } else {
        long long min = kind == OX_ERRKIND_RESOLVER ? -100000 : 0;
        if (parse_long(argv[0], min, 0xFFFFFFFFLL, &v) != 0)
            return usage(ctx, "'%s' is not a %s code", argv[0], kind_name(kind));
        native = (uint32_t)v;
    }
    code = ox_error_set_last(native, kind);
    ox_error_get_message(text, (int)sizeof text);
    native = ox_error_get_last_native(&kind); /* the text may come from another kind */
    text[strcspn(text, "\r\n")] = '\0';
    return show(ctx, code, kind, native, text);
}
