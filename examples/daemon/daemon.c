/* A daemon skeleton on libcairn: initialisation, the debug log, a thread
 * pool doing the work, a heartbeat timer, and a clean exit on SIGTERM or
 * SIGINT.  An operator changes its debug level while it runs:
 *
 *     cairn debug PID Debug=2
 *
 * Usage: cairn-daemon [--log FILE] [--run-for SECONDS]
 *   --log FILE       debug lines go to FILE (else to standard error)
 *   --run-for N      send itself SIGTERM after N seconds (for CI) */
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cairn.h>

/* Set by the signal handler, read by the main loop: the only thing a
 * handler may safely do. */
static volatile sig_atomic_t g_stop;

static void on_signal(int sig) { g_stop = sig; }

/* The work: each job is a number; the pool runs them on its workers. */
static void do_job(void *item) { dfprintf(2, "job %d done\n", (int)(intptr_t)item); }

/* Timers run on the thread that started them, inside its alertable waits
 * (here: ox_thread_sleep in the main loop). */
static void heartbeat(void *arg)
{
    ox_threadqueue *pool = arg;
    dfprintf(1, "heartbeat: %d jobs queued, %d workers\n", ox_threadqueue_pending(pool),
             ox_threadqueue_size(pool));
}

int main(int argc, char **argv)
{
    const char *log = NULL;
    int run_for = 0, i, job = 0;
    ox_threadqueue *pool;
    ox_timer *timer;
    struct sigaction sa;

    for (i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--log") == 0 && i + 1 < argc)
            log = argv[++i];
        else if (strcmp(argv[i], "--run-for") == 0 && i + 1 < argc)
            run_for = atoi(argv[++i]);
        else {
            fprintf(stderr, "usage: %s [--log FILE] [--run-for SECONDS]\n", argv[0]);
            return 2;
        }
    }

    /* Once, first: program identity, directories, and the debug event
     * that lets an operator reach this process. */
    _oxinit("cairnd", argc, argv);
    if (log != NULL)
        dfopen(log);
    Debug = 1;

    memset(&sa, 0, sizeof sa);
    sa.sa_handler = on_signal;
    sigaction(SIGTERM, &sa, NULL);
    sigaction(SIGINT, &sa, NULL);

    /* One to four workers; destroy waits for the queue to drain. */
    pool = ox_threadqueue_new(do_job, NULL, 1, 4, 1);
    timer = pool ? ox_timer_new(1000, 0, heartbeat, pool, NULL) : NULL;
    if (timer == NULL || ox_timer_start(timer) != 0) {
        printerr("cannot start: %d\n", ox_error_get_last());
        return 1;
    }
    printinfo("daemon %d running (debug-control file %s)\n", (int)getpid(),
              ox_debug_control_file());
    if (run_for > 0)
        alarm((unsigned)run_for);
    signal(SIGALRM, on_signal);

    while (!g_stop) {
        ox_threadqueue_push(pool, (void *)(intptr_t)++job);
        ox_thread_sleep(100); /* alertable: the heartbeat runs here */
    }

    /* One way out, whatever the signal: stop the timer, drain the pool. */
    printinfo("signal %d: stopping after %d jobs\n", (int)g_stop, job);
    ox_timer_destroy(timer);
    ox_threadqueue_destroy(pool);
    dfclose();
    return 0;
}
