/* cairn-demo: a job that writes debug lines while an operator changes its
 * debug level from outside.
 *
 *   cairn-demo [--duration SECONDS] [--self-change]
 *       run the job: a line per tick at levels 1 to 3 for SECONDS (default
 *       3); with --self-change the job plays its own operator halfway and
 *       raises its level to 3 through the debug event.
 *   cairn-demo ctl PID SETTING [--file PATH]
 *       the operator's side: write SETTING (for example Debug=3) to the
 *       debug-control file of process PID and fire its debug event.  The
 *       file is PATH, or the one this program's own initialisation fixes,
 *       which is the target's when it runs from the same installation. */
#define _POSIX_C_SOURCE 200809L
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cairn.h"

#define TICK_MS 250

static void sleep_ms(long ms)
{
    struct timespec ts;
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = (ms % 1000) * 1000000L;
    nanosleep(&ts, NULL);
}

/* Make the directories above the debug-control file: a demo run from the
 * build tree has no application tree of its own yet. */
static void make_parent_dirs(const char *file)
{
    char dir[4096];
    char *p;
    snprintf(dir, sizeof dir, "%s", file);
    p = strrchr(dir, '/');
    if (p == NULL || p == dir)
        return;
    *p = '\0';
    for (p = dir + 1; *p; ++p) {
        if (*p == '/') {
            *p = '\0';
            mkdir(dir, 0755);
            *p = '/';
        }
    }
    mkdir(dir, 0755);
}

/* The operator's side: the control line, then the event. */
static int send_setting(int pid, const char *setting, const char *file)
{
    char path[4096];
    FILE *fp;
    int fd;
    snprintf(path, sizeof path, "%s", file != NULL ? file : ox_debug_control_file());
    make_parent_dirs(path);
    /* A fresh file only this user can write: the program refuses a control
       file that others could have written or that belongs to someone else. */
    unlink(path);
    fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    fp = fd >= 0 ? fdopen(fd, "w") : NULL;
    if (fp == NULL) {
        if (fd >= 0)
            close(fd);
        fprintf(stderr, "cannot write %s\n", path);
        return 1;
    }
    fprintf(fp, "%s\n", setting);
    fclose(fp);
    if (ox_debug_event_signal(pid) != 0) {
        char text[256];
        ox_error_get_message(text, (int)sizeof text);
        fprintf(stderr, "process %d does not watch its debug event: %s\n", pid, text);
        unlink(path);
        return 1;
    }
    return 0;
}

static int ctl_main(int argc, char **argv)
{
    const char *file = NULL;
    if (argc < 4) {
        fprintf(stderr, "usage: %s ctl PID SETTING [--file PATH]\n", argv[0]);
        return 2;
    }
    if (argc >= 6 && strcmp(argv[4], "--file") == 0)
        file = argv[5];
    return send_setting(atoi(argv[2]), argv[3], file);
}

static int job_main(double seconds, int self_change)
{
    int ticks = (int)(seconds * 1000 / TICK_MS);
    int tick;
    if (ox_debug_event_start() != 0) {
        printerr("cannot watch the debug event\n");
        return 1;
    }
    Debug = 1;
    printinfo("job %d running for %.1f s at debug level %d\n", (int)getpid(), seconds, (int)Debug);
    printinfo("change it with: tools/cairn-debugctl %d Debug=3\n", (int)getpid());
    printinfo("(its debug-control file: %s)\n", ox_debug_control_file());
    for (tick = 1; tick <= ticks; ++tick) {
        dfprintf(1, "tick %d: level 1 line (Debug is %d)\n", tick, (int)Debug);
        dfprintf(2, "tick %d:   level 2 detail\n", tick);
        dfprintf(3, "tick %d:     level 3 trace\n", tick);
        if (self_change && tick == ticks / 2) {
            printinfo("acting as the operator: Debug=3\n");
            if (send_setting((int)getpid(), "Debug=3", NULL) != 0)
                return 1;
        }
        sleep_ms(TICK_MS);
    }
    printinfo("job done at debug level %d\n", (int)Debug);
    return 0;
}

int main(int argc, char **argv)
{
    double seconds = 3.0;
    int self_change = 0;
    int i;
    _oxinit("bxr", argc, argv);
    setvbuf(stdout, NULL, _IOLBF, 0); /* the job's notes interleave with its debug lines */
    if (argc >= 2 && strcmp(argv[1], "ctl") == 0)
        return ctl_main(argc, argv);
    for (i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--duration") == 0 && i + 1 < argc)
            seconds = atof(argv[++i]);
        else if (strcmp(argv[i], "--self-change") == 0)
            self_change = 1;
        else {
            fprintf(stderr, "usage: %s [--duration SECONDS] [--self-change]\n", argv[0]);
            return 2;
        }
    }
    if (seconds <= 0 || seconds > 3600)
        seconds = 3.0;
    return job_main(seconds, self_change);
}
