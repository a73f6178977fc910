// The direct path of msg_print(): the rendered text to the standard
// streams, in the forms of numbered and unnumbered messages.
#include "messages/msg_direct.hpp"

#include <cstdio>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "messages/msg_identity.hpp"

namespace cairn {
namespace {

// Standard error's text of a numbered message: "<number>:<program>: <text>"
// (the long form), or the text alone when the short form is asked for.
int write_numbered(FILE *stream, int32_t number, const char *text, bool long_form)
{
    if (!long_form)
        return ox_fprintf(stream, "%s", text);
    return ox_fprintf(stream, "%d:%s: %s", number, msg_identity().progname, text);
}

}  // namespace

int print_direct(int32_t number, uint32_t flags, const char *text)
{
    int result = 0;
    bool with_number = number != 0 && msg_number_switch();
    if (flags & MSG_TO_STDOUT)
        result = with_number ? write_numbered(stdout, number, text, true)
                             : ox_fprintf(stdout, "%s", text);
    if (flags & MSG_TO_STDERR) {
        if (number == 0)
            result = ox_fprintf(stderr, "%s", text);
        else
            result =
                write_numbered(stderr, number, text, with_number || (flags & MSG_FIRST_FORM) == 0);
    }
    return result;
}

}  // namespace cairn
