/* A program of the library for the `cairn` command's tests: it watches its
 * debug event and holds known objects (2 read-write locks, 3 timers armed
 * by its main thread, 1 table, a thread waiting on a semaphore), writes
 * "ready" and then sleeps until SIGTERM, when it returns from main so that
 * its exit runs as a program's would. */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "cairn.h"

static volatile sig_atomic_t g_stop;

static void on_term(int sig)
{
    (void)sig;
    g_stop = 1;
}
static void tick(void *arg) { (void)arg; }
static uint32_t hash_key(void *key) { return ox_hash_string((const char *)key); }
static int compare_keys(void *a, void *b) { return strcmp((const char *)a, (const char *)b); }

static uint32_t wait_forever(void *sem)
{
    ox_semaphore_wait((ox_semaphore *)sem);
    return 0;
}

int main(void)
{
    int i;
    ox_semaphore *sem = ox_semaphore_new(0);
    ox_thread *waiter = ox_thread_new(wait_forever, sem);
    if (ox_debug_event_start() != 0 || sem == NULL || waiter == NULL ||
        ox_thread_start(waiter) != 0)
        return 1;
    if (ox_rwlock_new() == NULL || ox_rwlock_new() == NULL)
        return 1;
    for (i = 0; i < 3; ++i)
        if (ox_timer_start(ox_timer_new(60000, 0, tick, NULL, NULL)) != 0)
            return 1;
    if (ox_table_new(NULL, NULL, compare_keys, NULL, hash_key, 7, 0) == NULL)
        return 1;
    Debug = 1;
    signal(SIGTERM, on_term);
    printf("ready\n");
    fflush(stdout);
    while (!g_stop)
        ox_thread_sleep(50);
    return 0;
}
