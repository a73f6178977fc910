#include "messages/msg_post_fallback.hpp"

#include "cairn/diagnostics.h"
#include "messages/msg_render.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

thread_local PostedMessage t_last_posted{};

}  // namespace

PostedMessage last_posted_for_testing() { return t_last_posted; }

void msg_post_until_logs_exist(int32_t number, uint32_t severity, uint32_t flags,
                               const char *format, va_list ap)
{
    t_last_posted = PostedMessage{number, severity, flags};
    char *text = msg_render(format, ap);
    if (text == nullptr)
        return;
    ox_fprintf(stderr, "%s", text);
    mem_free(text);
}

}  // namespace cairn
