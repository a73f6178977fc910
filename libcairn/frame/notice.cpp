#include "frame/notice.hpp"

#include <cstdio>

namespace cairn {

// Until the message printer exists, notices go straight to the stream the
// flags name.
void post_notice(int32_t, uint32_t, uint32_t flags, const char *text)
{
    if (text == nullptr)
        return;
    if (flags & 1)
        std::fputs(text, stdout);
    if (flags & 2)
        std::fputs(text, stderr);
}

}  // namespace cairn
