// The seam between attribute values and structured message text.  Until
// structured messages exist, the conversions pass the text through as it
// is; the messages work replaces these two functions.
#pragma once

namespace cairn::attrs {

// The structured text form of a plain message string (new text, mem_free).
char *structured_from_string(const char *text);

// Local text rendered from a value in structured text form (new text,
// mem_free).
char *local_from_structured(const char *text);

}  // namespace cairn::attrs
