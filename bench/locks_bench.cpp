// Locks and events against their POSIX peers: the uncontended mutex, a
// token handed back and forth between two threads on different CPUs, and
// a semaphore post + wait.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <thread>

#include "bench_util.hpp"
#include "cairn/concurrency.h"

namespace {

void BM_OxMutexLockUnlock(benchmark::State &state)
{
    ox_mutex *m = ox_mutex_new();
    for (auto _ : state) {
        ox_mutex_lock(m);
        ox_mutex_unlock(m);
    }
    ox_event_destroy(m);
}
BENCHMARK(BM_OxMutexLockUnlock);

void BM_PthreadErrorCheckMutex(benchmark::State &state)
{
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t m;
    pthread_mutex_init(&m, &attr);
    for (auto _ : state) {
        pthread_mutex_lock(&m);
        pthread_mutex_unlock(&m);
    }
    pthread_mutex_destroy(&m);
    pthread_mutexattr_destroy(&attr);
}
BENCHMARK(BM_PthreadErrorCheckMutex);

// One iteration: hand the token to the partner and get it back.
void BM_OxEventPingPong(benchmark::State &state)
{
    ox_event *ping = ox_event_new();
    ox_event *pong = ox_event_new();
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        cairn::bench::pin_to_cpu(1);
        for (;;) {
            ox_event_wait(ping);
            if (stop.load(std::memory_order_relaxed))
                break;
            ox_event_signal(pong);
        }
    });
    cairn::bench::pin_to_cpu(0);
    for (auto _ : state) {
        ox_event_signal(ping);
        ox_event_wait(pong);
    }
    stop = true;
    ox_event_signal(ping);
    partner.join();
    ox_event_destroy(ping);
    ox_event_destroy(pong);
}
BENCHMARK(BM_OxEventPingPong)->UseRealTime();

void BM_PthreadCondPingPong(benchmark::State &state)
{
    pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cv = PTHREAD_COND_INITIALIZER;
    int turn = 0;  // 0: ours, 1: the partner's; -1: stop
    std::thread partner([&] {
        cairn::bench::pin_to_cpu(1);
        pthread_mutex_lock(&m);
        for (;;) {
            while (turn == 0)
                pthread_cond_wait(&cv, &m);
            if (turn < 0)
                break;
            turn = 0;
            pthread_cond_signal(&cv);
        }
        pthread_mutex_unlock(&m);
    });
    cairn::bench::pin_to_cpu(0);
    for (auto _ : state) {
        pthread_mutex_lock(&m);
        turn = 1;
        pthread_cond_signal(&cv);
        while (turn == 1)
            pthread_cond_wait(&cv, &m);
        pthread_mutex_unlock(&m);
    }
    pthread_mutex_lock(&m);
    turn = -1;
    pthread_cond_signal(&cv);
    pthread_mutex_unlock(&m);
    partner.join();
    pthread_cond_destroy(&cv);
    pthread_mutex_destroy(&m);
}
BENCHMARK(BM_PthreadCondPingPong)->UseRealTime();

void BM_OxSemaphorePostWait(benchmark::State &state)
{
    ox_semaphore *s = ox_semaphore_new(0);
    for (auto _ : state) {
        ox_semaphore_post(s);
        ox_semaphore_wait(s);
    }
    ox_semaphore_destroy(s);
}
BENCHMARK(BM_OxSemaphorePostWait);

void BM_PosixSemaphorePostWait(benchmark::State &state)
{
    sem_t s;
    sem_init(&s, 0, 0);
    for (auto _ : state) {
        sem_post(&s);
        sem_wait(&s);
    }
    sem_destroy(&s);
}
BENCHMARK(BM_PosixSemaphorePostWait);

}  // namespace
