// Posting a message to the message logs.  The logs arrive with the message
// objects; until then a posted message is rendered and written to
// standard error by this one function, which the message logs replace.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace cairn {

// `severity` is already scaled (a class below 6 multiplied by 1000).
void msg_post_until_logs_exist(int32_t number, uint32_t severity, uint32_t flags,
                               const char *format, va_list ap);

// What the last posting received, so tests can observe the decision.
struct PostedMessage {
    int32_t number;
    uint32_t severity;
    uint32_t flags;
};
PostedMessage last_posted_for_testing();

}  // namespace cairn
