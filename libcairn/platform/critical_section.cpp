#include "platform/critical_section.hpp"

#include "platform/cpu.hpp"

namespace cairn {

CriticalSection::CriticalSection(int spin_count) : spin_count_(spin_count) { init(); }

void CriticalSection::init()
{
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_, &attr);
    pthread_mutexattr_destroy(&attr);
}

CriticalSection::~CriticalSection() { pthread_mutex_destroy(&mutex_); }

void CriticalSection::lock()
{
    for (int i = 0; i < spin_count_; ++i) {
        if (pthread_mutex_trylock(&mutex_) == 0)
            return;
        cpu_relax();
    }
    pthread_mutex_lock(&mutex_);
}

}  // namespace cairn
