// The library's one allocator.  Every allocation of the library goes through
// these functions, so that tests can make the Nth allocation fail and check
// that each constructor cleans up after itself.
#pragma once

#include <cstddef>
#include <new>

namespace cairn {

// Each returns NULL on failure with the thread's last error set to ENOMEM.
void *mem_alloc(std::size_t size);
void *mem_calloc(std::size_t count, std::size_t size);
void *mem_realloc(void *ptr, std::size_t size);
char *mem_strdup(const char *s);
char *mem_strndup(const char *s, std::size_t max);
void mem_free(void *ptr);

// Allocate and construct a T; nullptr on failure (last error set).
template <typename T, typename... Args>
T *mem_new(Args &&...args)
{
    void *p = mem_alloc(sizeof(T));
    return p ? new (p) T(static_cast<Args &&>(args)...) : nullptr;
}

template <typename T>
void mem_delete(T *p)
{
    if (p) {
        p->~T();
        mem_free(p);
    }
}

}  // namespace cairn
