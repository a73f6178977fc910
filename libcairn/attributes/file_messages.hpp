// The one place where value-list file operations report a message.  Until
// structured message records exist, a report is the message's text printed
// to standard error through msg_print()'s direct path, and the caller
// returns the message number; the messages work replaces this seam.
#pragma once

#include <cstdint>

namespace cairn::values {

// Reports message `number` of severity class 55000 with `form` and up to
// three arguments: each a pair of an msg_print() argument descriptor and
// its text (descriptor -1 ends the list).  Returns `number`.
struct MessageArg {
    int descriptor;
    const char *text;
};
int32_t report_file_message(int32_t number, const char *form, MessageArg a, MessageArg b = {-1, nullptr},
                            MessageArg c = {-1, nullptr});

}  // namespace cairn::values
