// The buffer form of a record: "<id> <form length> <form>", then, with
// arguments, " <count>" and " <descriptor> <length> <text>" for each.
#pragma once

#include <cstddef>

#include "cairn/messages.h"

namespace cairn::msg {

// The buffer form; with `cut`, argument texts longer than
// MSG_STBUF_ARG_MAX bytes are written cut to that length.
char *write_stbuf(const structext &st, bool cut);

// Parses the buffer form in the `len` bytes at `text` (a record the caller
// owns), or nullptr when malformed.
structext *parse_stbuf(const char *text, std::size_t len);

}  // namespace cairn::msg
