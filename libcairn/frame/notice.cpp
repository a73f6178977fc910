#include "frame/notice.hpp"

#include "cairn/messages.h"

namespace cairn {

void post_notice(int32_t number, uint32_t severity, uint32_t flags, const char *text)
{
    if (text == nullptr)
        return;
    msg_print(number, severity, flags, "%s", MSG_ARG_TEXT, text);
}

}  // namespace cairn
