// Reporting value-list file messages (see file_messages.hpp).
#include "attributes/file_messages.hpp"

#include "cairn/messages.h"

namespace cairn::values {

namespace {
constexpr uint32_t kSeverityClass = 55000;
}

int32_t report_file_message(int32_t number, const char *form, MessageArg a, MessageArg b, MessageArg c)
{
    if (b.descriptor < 0)
        msg_print(number, kSeverityClass, MSG_TO_STDERR, form, a.descriptor, a.text);
    else if (c.descriptor < 0)
        msg_print(number, kSeverityClass, MSG_TO_STDERR, form, a.descriptor, a.text, b.descriptor, b.text);
    else
        msg_print(number, kSeverityClass, MSG_TO_STDERR, form, a.descriptor, a.text, b.descriptor, b.text,
                  c.descriptor, c.text);
    return number;
}

}  // namespace cairn::values
