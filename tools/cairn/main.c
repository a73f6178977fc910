/* cairn: the operator's command for programs of the library.
 *
 *   cairn [--json] COMMAND [ARGS...]
 *   cairn COMMAND --help
 *
 * Each subcommand is one row of the table below and one small file. */
#include <stdio.h>
#include <string.h>

#include "cairn.h"
#include "cairn_tool.h"

static const struct cairn_command commands[] = {
    {"debug", "PID SETTING...",
     "change a running program's debug settings (Debug=3, Trace=1,2, ...)", cmd_debug},
    {"stats", "PID [--file PATH | --log]",
     "what a running program holds: objects, threads, timers, settings", cmd_stats},
    {"error", "CODE [--errno|--win32|--winsock|--eai]",
     "a portable error code, its native pair and its text", cmd_error},
    {"path", "canon|full|parent|depth PATH [--sep /|\\\\]", "path rules of the library", cmd_path},
    {"time", "now | iso8601 SECONDS | parse TEXT", "the library's clock and ISO 8601 text",
     cmd_time},
    {"dns", "PID flush|print", "a running program's name caches: empty them, or have them printed",
     cmd_dns},
    {"addr", "cmp A B | mask ADDR PREFIX | hex ADDR", "the library's rules for numeric addresses",
     cmd_addr},
    {"resolve", "NAME", "look NAME up twice through the library's cache, with both times",
     cmd_resolve},
    {"demo", "[--duration SECONDS]", "a short self-running demonstration of the library", cmd_demo},
};
#define COMMAND_COUNT (sizeof commands / sizeof commands[0])

static void overall_help(FILE *out)
{
    size_t i;
    fprintf(out, "usage: cairn [--json] COMMAND [ARGS...]\n\ncommands:\n");
    for (i = 0; i < COMMAND_COUNT; ++i)
        fprintf(out, "  %-6s %s\n         %s\n", commands[i].name, commands[i].usage,
                commands[i].summary);
    fprintf(out, "\n--json prints one JSON object; 'cairn COMMAND --help' for details.\n"
                 "exit codes: 0 ok, 1 the operation failed, 2 bad usage, 3 no such process\n"
                 "or not a program of the library, 4 not permitted.\n");
}

static int wants_help(int argc, char **argv)
{
    int i;
    for (i = 0; i < argc; ++i)
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)
            return 1;
    return 0;
}

/* --json may come before or after the command: it is taken out here. */
static int take_json(int *argc, char **argv)
{
    int kept = 0, json = 0, i;
    for (i = 0; i < *argc; ++i) {
        if (strcmp(argv[i], "--json") == 0)
            json = 1;
        else
            argv[kept++] = argv[i];
    }
    *argc = kept;
    return json;
}

int main(int argc, char **argv)
{
    struct cairn_ctx ctx = {0, NULL, 0};
    size_t i;
    _oxinit("cairn", argc, argv);
    ctx.json = take_json(&argc, argv);
    if (argc < 2) {
        overall_help(stderr);
        return CAIRN_EXIT_USAGE;
    }
    if (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "help") == 0) {
        overall_help(stdout);
        return CAIRN_EXIT_OK;
    }
    for (i = 0; i < COMMAND_COUNT; ++i) {
        if (strcmp(argv[1], commands[i].name) != 0)
            continue;
        ctx.command = commands[i].name;
        if (wants_help(argc - 2, argv + 2)) {
            printf("usage: cairn [--json] %s %s\n%s\n(see cairn(1) for details)\n",
                   commands[i].name, commands[i].usage, commands[i].summary);
            return CAIRN_EXIT_OK;
        }
        return commands[i].run(&ctx, argc - 2, argv + 2);
    }
    return usage(&ctx, "unknown command '%s'", argv[1]);
}
