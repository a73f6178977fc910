/* cairn addr cmp A B | mask ADDR PREFIX | hex ADDR: the library's address
 * rules on numeric addresses of either family. */
#include <stdio.h>
#include <string.h>

#include "cairn.h"
#include "cairn_tool.h"

static int parse(struct cairn_ctx *ctx, const char *text, struct sockaddr_storage *addr)
{
    memset(addr, 0, sizeof *addr);
    if (ox_inet_pton(text, (struct sockaddr *)addr) != 0)
        return usage(ctx, "'%s' is not a numeric IPv4 or IPv6 address", text);
    return CAIRN_EXIT_OK;
}

static int compare(struct cairn_ctx *ctx, const char *a_text, const char *b_text)
{
    struct sockaddr_storage a, b;
    if (parse(ctx, a_text, &a) != 0 || parse(ctx, b_text, &b) != 0)
        return CAIRN_EXIT_USAGE;
    out_begin(ctx);
    out_result(ctx, "result",
               ox_inet_addrcmp((struct sockaddr *)&a, (struct sockaddr *)&b) == 0 ? "same"
                                                                                  : "different");
    out_end(ctx);
    return CAIRN_EXIT_OK;
}

static int mask(struct cairn_ctx *ctx, const char *text, const char *prefix_text)
{
    struct sockaddr_storage addr, netmask;
    long long prefix;
    char shown[64];
    if (parse(ctx, text, &addr) != 0)
        return CAIRN_EXIT_USAGE;
    if (parse_long(prefix_text, 0, 128, &prefix) != 0)
        return usage(ctx, "PREFIX takes 0 to 128");
    memset(&netmask, 0, sizeof netmask);
    if (ox_inet_netmask_from_prefix(addr.ss_family, (unsigned)prefix,
                                    (struct sockaddr *)&netmask) != 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "no mask of %lld bits", prefix);
    if (ox_inet_ntop((struct sockaddr *)&netmask, shown, (int)sizeof shown) == NULL)
        return fail(ctx, CAIRN_EXIT_FAILED, "the mask cannot be written");
    out_begin(ctx);
    out_str(ctx, "netmask", shown);
    out_int(ctx, "prefix", ox_inet_prefix_from_netmask((struct sockaddr *)&netmask));
    out_end(ctx);
    return CAIRN_EXIT_OK;
}

static int hex(struct cairn_ctx *ctx, const char *text)
{
    struct sockaddr_storage addr;
    char shown[64];
    if (parse(ctx, text, &addr) != 0)
        return CAIRN_EXIT_USAGE;
    if (ox_inet_addrtohex((struct sockaddr *)&addr, shown, (int)sizeof shown) == NULL)
        return fail(ctx, CAIRN_EXIT_FAILED, "the address cannot be written");
    out_begin(ctx);
    out_result(ctx, "hex", shown);
    out_end(ctx);
    return CAIRN_EXIT_OK;
}

int cmd_addr(struct cairn_ctx *ctx, int argc, char **argv)
{
    if (argc == 3 && strcmp(argv[0], "cmp") == 0)
        return compare(ctx, argv[1], argv[2]);
    if (argc == 3 && strcmp(argv[0], "mask") == 0)
        return mask(ctx, argv[1], argv[2]);
    if (argc == 2 && strcmp(argv[0], "hex") == 0)
        return hex(ctx, argv[1]);
    return usage(ctx, "expected cmp A B, mask ADDR PREFIX or hex ADDR");
}
