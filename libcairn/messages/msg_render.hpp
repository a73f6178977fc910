// Rendering a message form with its (descriptor, value) argument pairs
// into readable text, through the library's formatter.
#pragma once

#include <cstdarg>

namespace cairn {

// New text (free with mem_free) of `form` with the pairs in `ap`; nullptr
// when storage cannot be had or the form fails.  `ap` is consumed.
//
// Every value is text.  A string conversion prints it: descriptor 11 (an
// identified literal "<id>:<text>") prints the part after the first ":",
// a NULL value prints "null", every other descriptor prints the text as
// it is.  A numeric conversion reads the text as a number (so descriptor
// 1 with "%d" prints the number), a %p conversion gets the text's address.
char *msg_render(const char *form, va_list ap);

}  // namespace cairn
