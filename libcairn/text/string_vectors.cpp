// NULL-terminated vectors of allocated strings.
#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "platform/alloc.hpp"

using namespace cairn;

extern "C" {

char **ox_strvalloc(int n, size_t size)
{
    if (n < 0) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    auto count = static_cast<size_t>(n);
    auto **v = static_cast<char **>(mem_calloc(count + 1, sizeof(char *)));
    if (v == nullptr)
        return nullptr;
    for (size_t i = 0; i < count; ++i) {
        v[i] = static_cast<char *>(mem_calloc(1, size));
        if (v[i] == nullptr) {
            ox_strvfree(v);  // stops at the NULL slot just left
            return nullptr;
        }
    }
    return v;
}

char *ox_strvcat(char *const *v, char sep)
{
    if (v == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    size_t total = 1;
    size_t count = 0;
    for (; v[count]; ++count)
        total += std::strlen(v[count]);
    if (sep != '\0' && count > 1)
        total += count - 1;
    auto *joined = static_cast<char *>(mem_alloc(total));
    if (joined == nullptr)
        return nullptr;
    char *p = joined;
    for (size_t i = 0; i < count; ++i) {
        if (i > 0 && sep != '\0')
            *p++ = sep;
        size_t len = std::strlen(v[i]);
        std::memcpy(p, v[i], len);
        p += len;
    }
    *p = '\0';
    return joined;
}

void ox_strvfree(char **v)
{
    if (v == nullptr)
        return;
    for (char **p = v; *p; ++p)
        mem_free(*p);
    mem_free(v);
}

}  // extern "C"
