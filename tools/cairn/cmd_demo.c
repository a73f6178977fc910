/* cairn demo [--duration SECONDS]: a short self-running job that shows the
 * library at work: a structured message in its text forms, the resolver
 * cache answering a second lookup, a thread pool, a timer, a table whose
 * entries expire,
 * and its debug level changed live from outside, by `cairn debug` run as
 * another process against this one, halfway through. */
#include <errno.h>
#include <netdb.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cairn.h"
#include "cairn_tool.h"

#define TICK_MS 250

static ox_atomic *g_done_work; /* items the pool finished */
static ox_atomic *g_timer_ticks;

static void pool_work(void *item)
{
    dfprintf(2, "pool worker: item %d\n", (int)(intptr_t)item);
    ox_atomic_increment(g_done_work);
}

static void on_timer(void *arg)
{
    (void)arg;
    dfprintf(1, "timer: tick %d\n", ox_atomic_increment(g_timer_ticks));
}

static uint32_t hash_key(void *key) { return ox_hash_string((const char *)key); }
static int compare_keys(void *a, void *b) { return strcmp((const char *)a, (const char *)b); }

/* The operator's side, from outside: this very program run as
 * `cairn debug PID Debug=3`, the path every operator uses. */
static int change_level_from_outside(void)
{
    char pid[32];
    int status = 0;
    pid_t child;
    snprintf(pid, sizeof pid, "%d", (int)getpid());
    printinfo("operator: cairn debug %s Debug=3\n", pid);
    fflush(NULL);
    child = fork();
    if (child == 0) {
        /* The path it was started by, when it has one: under a tool such as
         * valgrind /proc/self/exe is the tool, not this program. */
        const char *self = ox_get_argv0();
        if (self != NULL && strchr(self, '/') != NULL)
            execl(self, "cairn", "debug", pid, "Debug=3", (char *)NULL);
        execl("/proc/self/exe", "cairn", "debug", pid, "Debug=3", (char *)NULL);
        _exit(127);
    }
    if (child < 0)
        return -1;
    /* Wait alertably, so that this thread's timer keeps running. */
    while (waitpid(child, &status, WNOHANG) == 0)
        ox_thread_sleep(20);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

/* The directory of the debug-control file: a demo run from a fresh tree
 * has none yet.  0 when it exists or was made. */
static int make_control_dir(void)
{
    char dir[4096];
    char *p;
    snprintf(dir, sizeof dir, "%s", ox_debug_control_file());
    p = strrchr(dir, '/');
    if (p == NULL || p == dir)
        return 0;
    *p = '\0';
    for (p = dir + 1; *p; ++p)
        if (*p == '/') {
            *p = '\0';
            mkdir(dir, 0755);
            *p = '/';
        }
    return mkdir(dir, 0755) == 0 || errno == EEXIST ? 0 : -1;
}

struct demo {
    ox_threadqueue *pool;
    ox_timer *timer;
    ox_table *table;
};

/* A structured message: made once, shown rendered and in the two text
 * forms in which it travels between processes and into logs. */
static void show_message(void)
{
    msg_t *m = msg_create((int32_t)mc_message_id(7, 1), 50000, "%s backed up %s files",
                          MSG_ARG_TEXT, "client-a", MSG_ARG_NUMBER, "42");
    char *stbuf = m ? msg_structext_to_stbuf(&m->stext) : NULL;
    char *xml = m ? msg_structext_to_xmlstr(&m->stext) : NULL;
    if (m != NULL)
        printf("message %d: %s\n  buffer form: %s\n  XML form: %s\n", m->err.number, m->text,
               stbuf ? stbuf : "?", xml ? xml : "?");
    free(stbuf);
    free(xml);
}

/* The resolver cache: the same name twice, the second from the cache. */
static void show_resolver(void)
{
    struct addrinfo *chain = NULL;
    int round;
    for (round = 1; round <= 2; ++round) {
        struct ox_timeval before, after;
        long long took;
        int rc;
        ox_gettimeofday(&before, NULL);
        rc = ox_getaddrinfo("localhost", NULL, NULL, &chain);
        ox_gettimeofday(&after, NULL);
        took =
            ((long long)after.tv_sec - before.tv_sec) * 1000000 + (after.tv_usec - before.tv_usec);
        printf("resolve localhost (%s): %s in %lld us\n", round == 1 ? "first" : "cached",
               rc == 0 ? "found" : "failed", took);
        ox_freeaddrinfo(chain);
        chain = NULL;
    }
}

static int demo_start(struct demo *d)
{
    int i;
    g_done_work = ox_atomic_new(0);
    g_timer_ticks = ox_atomic_new(0);
    d->pool = ox_threadqueue_new(pool_work, NULL, 1, 4, 1);
    d->timer = ox_timer_new(500, 0, on_timer, NULL, NULL);
    d->table = ox_table_new(NULL, NULL, compare_keys, NULL, hash_key, 31, 0);
    if (!g_done_work || !g_timer_ticks || !d->pool || !d->timer || !d->table)
        return -1;
    for (i = 1; i <= 20; ++i)
        ox_threadqueue_push(d->pool, (void *)(intptr_t)i);
    ox_timer_start(d->timer);
    /* Entries that live one second, and one that never expires. */
    ox_table_add_with_ttl(d->table, "session-a", "a", 1, 0);
    ox_table_add_with_ttl(d->table, "session-b", "b", 1, 0);
    ox_table_add_with_ttl(d->table, "config", "c", OX_TTL_NEVER, 0);
    show_message();
    show_resolver();
    return 0;
}

static void demo_stop(struct demo *d)
{
    if (g_done_work)
        ox_atomic_destroy(g_done_work);
    if (g_timer_ticks)
        ox_atomic_destroy(g_timer_ticks);
    if (d->timer)
        ox_timer_destroy(d->timer);
    if (d->pool)
        ox_threadqueue_destroy(d->pool);
    if (d->table)
        ox_table_destroy(d->table);
}

static int demo_run(double seconds)
{
    struct demo d = {NULL, NULL, NULL};
    int ticks = (int)(seconds * 1000 / TICK_MS), tick, rc = 0, removed = 0;
    if (demo_start(&d) != 0) {
        printerr("demo: cannot set up its objects\n");
        demo_stop(&d);
        return CAIRN_EXIT_FAILED;
    }
    Debug = 1;
    printinfo("demo %d running for %.1f s at debug level %d\n", (int)getpid(), seconds, (int)Debug);
    printinfo("(its debug-control file: %s)\n", ox_debug_control_file());
    for (tick = 1; tick <= ticks; ++tick) {
        dfprintf(1, "tick %d: level 1 line (Debug is %d)\n", tick, (int)Debug);
        dfprintf(2, "tick %d:   level 2 detail\n", tick);
        dfprintf(3, "tick %d:     level 3 trace\n", tick);
        if (tick == ticks / 2 && change_level_from_outside() != 0) {
            printerr("demo: the operator's change failed\n");
            rc = CAIRN_EXIT_FAILED;
        }
        ox_thread_sleep(TICK_MS); /* alertable: the timer ticks here */
    }
    ox_table_ttl_flush(d.table, &removed);
    printinfo("pool: %d items done; timer: %d ticks; table: %d expired, %d left\n",
              ox_atomic_get(g_done_work), ox_atomic_get(g_timer_ticks), removed,
              ox_table_size(d.table));
    printinfo("demo done at debug level %d\n", (int)Debug);
    demo_stop(&d);
    return rc;
}

int cmd_demo(struct cairn_ctx *ctx, int argc, char **argv)
{
    const char *duration = "3";
    long long ms;
    const struct cairn_option opts[] = {{"--duration", 1, &duration, NULL}, {NULL, 0, NULL, NULL}};
    if (take_options(ctx, &argc, argv, opts) != 0)
        return CAIRN_EXIT_USAGE;
    if (argc != 0)
        return usage(ctx, "unexpected argument '%s'", argv[0]);
    if (parse_long(duration, 2, 3600, &ms) != 0)
        return usage(ctx, "--duration takes whole seconds from 2 to 3600");
    setvbuf(stdout, NULL, _IOLBF, 0); /* the notes interleave with the debug lines */
    if (make_control_dir() != 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "cannot make the directory of %s: %s",
                    ox_debug_control_file(), strerror(errno));
    if (ox_debug_event_start() != 0)
        return fail(ctx, CAIRN_EXIT_FAILED, "cannot watch the debug event");
    return demo_run((double)ms);
}
