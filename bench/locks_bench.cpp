// Locks and events against their POSIX peers: the uncontended mutex and
// read lock, a token handed back and forth between two threads (both on
// CPU 0, argument 0, or on CPUs 0 and 1, argument 1), and a semaphore
// post + wait.
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

void BM_OxRwlockReadLockUnlock(benchmark::State &state)
{
    ox_rwlock *rw = ox_rwlock_new();
    for (auto _ : state) {
        ox_rwlock_read_lock(rw);
        ox_rwlock_unlock(rw);
    }
    ox_rwlock_destroy(rw);
}
BENCHMARK(BM_OxRwlockReadLockUnlock);

void BM_PthreadRwlockReadLockUnlock(benchmark::State &state)
{
    pthread_rwlock_t rw;
    pthread_rwlock_init(&rw, nullptr);
    for (auto _ : state) {
        pthread_rwlock_rdlock(&rw);
        pthread_rwlock_unlock(&rw);
    }
    pthread_rwlock_destroy(&rw);
}
BENCHMARK(BM_PthreadRwlockReadLockUnlock);

struct OxEvents {
    ox_event *e[2] = {ox_event_new(), ox_event_new()};
    ~OxEvents()
    {
        ox_event_destroy(e[0]);
        ox_event_destroy(e[1]);
    }
    void signal(int i) { ox_event_signal(e[i]); }
    void wait(int i) { ox_event_wait(e[i]); }
};

struct PosixSemaphores {
    sem_t s[2];
    PosixSemaphores()
    {
        sem_init(&s[0], 0, 0);
        sem_init(&s[1], 0, 0);
    }
    ~PosixSemaphores()
    {
        sem_destroy(&s[0]);
        sem_destroy(&s[1]);
    }
    void signal(int i) { sem_post(&s[i]); }
    void wait(int i) { sem_wait(&s[i]); }
};

// One iteration: hand the token to the partner (channel 0) and get it back
// (channel 1).  The partner runs on CPU 0 with argument 0, else on CPU 1.
template <typename Channels>
void BM_PingPong(benchmark::State &state)
{
    Channels ch;
    std::atomic<bool> stop{false};
    const int partner_cpu = static_cast<int>(state.range(0));
    std::thread partner([&] {
        cairn::bench::pin_to_cpu(partner_cpu);
        for (;;) {
            ch.wait(0);
            if (stop.load(std::memory_order_relaxed))
                break;
            ch.signal(1);
        }
    });
    cairn::bench::pin_to_cpu(0);
    for (auto _ : state) {
        ch.signal(0);
        ch.wait(1);
    }
    stop = true;
    ch.signal(0);
    partner.join();
}
BENCHMARK(BM_PingPong<OxEvents>)->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_PingPong<PosixSemaphores>)->Arg(0)->Arg(1)->UseRealTime();

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
