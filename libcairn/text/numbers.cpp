// Whole-text number parsing.
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "cairn/text.h"

extern "C" {

int64_t ox_strtoll(const char *text)
{
    if (text == nullptr)
        return OX_STRTOLL_FAILED;
    if (*text == '\0')
        return 0;
    int saved = errno;
    errno = 0;
    char *end = nullptr;
    long long value = std::strtoll(text, &end, 10);
    bool range = errno == ERANGE;
    errno = saved;
    // INT64_MIN is also what an underflow gives, so it never counts as a value.
    if (range || *end != '\0' || value == LLONG_MIN)
        return OX_STRTOLL_FAILED;
    return value;
}

}  // extern "C"
