// TEMPORARY stand-in for the library mutex until it lands; removed at merge.
#include "containers/mutex_shim.hpp"
#include <pthread.h>
#include <cerrno>
#include "platform/alloc.hpp"
#include "cairn/frame.h"
struct ox_mutex { pthread_mutex_t m; };
extern "C" {
ox_mutex *ox_mutex_new(void) {
    auto *m = static_cast<ox_mutex *>(cairn::mem_alloc(sizeof(ox_mutex)));
    if (!m) return nullptr;
    pthread_mutexattr_t a; pthread_mutexattr_init(&a);
    pthread_mutexattr_settype(&a, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&m->m, &a);
    return m;
}
int ox_mutex_lock(ox_mutex *m) { return pthread_mutex_lock(&m->m) == EDEADLK ? ox_error_set_last(EDEADLK, 1) : 0; }
int ox_mutex_unlock(ox_mutex *m) { return pthread_mutex_unlock(&m->m) == EPERM ? ox_error_set_last(EPERM, 1) : 0; }
int ox_event_destroy(void *p) { auto *m = static_cast<ox_mutex *>(p); pthread_mutex_destroy(&m->m); cairn::mem_free(m); return 0; }
}
