// Rendering a message form with its arguments into readable text, through
// the library's formatter.  One core serves records and the (descriptor,
// value) pairs of msg_print().
#pragma once

#include <cstdarg>

#include "cairn/messages.h"

namespace cairn {

// New text (free with mem_free) of `form` with the pairs in `ap`, taken as
// msg_create() takes them (no line for NULL values); nullptr when the form
// fails.  `ap` is consumed.
char *msg_render(const char *form, va_list ap);

namespace msg {

// New text of `form` with `count` arguments; nullptr when the form fails.
//
// A string conversion prints an argument's text: descriptor 11 (an
// identified literal "<id>:<text>") the part after the first ":",
// descriptor 49 (a nested record in the buffer form) that record rendered,
// while `depth` is below kMaxNesting and the text parses, every other
// descriptor the text as it is.  A numeric conversion reads that text as
// a number, a %p conversion gets its address.  Arguments the form wants
// beyond `count` print "null".
char *render_args(const char *form, int count, const structext_arg *args, int depth);

// The record's readable text: render_args(), or the form as it is when the
// record has no arguments but its form wants some, or when the form fails.
// nullptr only for a record without form.
char *render_record(const structext &st, int depth);

// Readable text of a record held in a text form (the XML form when
// is_structext_xml() says so, else the buffer form); a copy of the text
// when it does not parse, so plain text shows as it is.
char *render_text_form(const char *text);

}  // namespace msg
}  // namespace cairn
