#include "messages/msg_post.hpp"

#include <cstring>

#include "cairn/messages.h"
#include "diagnostics/debug_prefix.hpp"
#include "messages/msg_direct.hpp"
#include "messages/msg_log.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

// A posted message for the standard streams carries the debug prefix, so
// that it reads like the debug lines around it.
void print_stamped(uint32_t flags, int32_t number, const char *text)
{
    char prefix[kDebugPrefixSize];
    std::size_t plen = debug_prefix(prefix, sizeof prefix);
    std::size_t tlen = std::strlen(text);
    auto *line = static_cast<char *>(mem_alloc(plen + tlen + 1));
    if (line == nullptr)
        return;
    std::memcpy(line, prefix, plen);
    std::memcpy(line + plen, text, tlen + 1);
    print_direct(number, flags, line);
    mem_free(line);
}

}  // namespace

void msg_post_text(uint32_t flags, int32_t number, uint32_t severity, const char *text)
{
    if (flags & MSG_LOG_MASK)
        msg_log_append(flags, number, severity, text);
    else if (flags & (MSG_TO_STDOUT | MSG_TO_STDERR))
        print_stamped(flags, number, text);
}

}  // namespace cairn
