// The structured text record's own operations: filling it from arguments,
// copying, emptying, and the byte-bounded copies the text forms share.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "cairn/messages.h"

namespace cairn::msg {

constexpr int kMaxNesting = 8;  // rendering and parsing of nested records

// A new owned copy of the first `len` bytes of `text` (xmalloc).
char *copy_bytes(const char *text, std::size_t len);

// Arguments (descriptor, pointer) taken from `ap` for `count` arguments:
// a NULL pointer becomes descriptor 0 with "null" (and, when `report` is
// set, the null-argument line on standard error naming `id`); descriptor
// 52 with a message object becomes its record's buffer form with
// descriptor 49; any other text is copied.  Nothing for a count below 1.
structext_arg *take_args(va_list ap, int count, int32_t id, bool report);

// Frees an argument array of `count` entries.
void free_args(structext_arg *args, int count);

// Fills an empty record (contents not freed) from pairs in `ap`.
void fill_from_pairs(structext &st, uint32_t id, const char *form, va_list ap);

// Moves the contents of `from` into `to` (whose contents are freed) and
// leaves `from` empty.
void move_record(structext &to, structext &from);

// Deep copy of `from`'s contents into the empty record `to`.
void copy_record(structext &to, const structext &from);

// The decimal id before the first ":" of `text`, and where the text after
// it starts; false without ":" or when the part before it is not a decimal
// number in the int32 range.
bool split_idlit(const char *text, int32_t *id, const char **rest);

}  // namespace cairn::msg
