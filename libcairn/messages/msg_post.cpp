// msg_post(): a message object to the message logs, or, when it was posted
// only because time stamps are wanted, to the standard streams with the
// debug prefix.
#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
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

// The severity number back from the object's three fields.
uint32_t severity_of(const msg_errcode &err)
{
    return static_cast<uint32_t>(err.type * 10000 + err.severity * 1000 + err.code);
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" int msg_post(uint32_t flags, const msg_t *msg)
{
    if (msg == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    const char *text = msg->text != nullptr ? msg->text : "";
    if (flags & MSG_LOG_MASK)
        msg_log_append(flags, msg->err.number, severity_of(msg->err), text);
    else if (flags & (MSG_TO_STDOUT | MSG_TO_STDERR))
        print_stamped(flags, msg->err.number, text);
    return 0;
}
