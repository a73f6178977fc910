// The calling thread's message state: the ring of message objects, the
// structured text pool and the ring of literal buffers.  Made on first use
// (the pool size is read from "MSG_STRUCTURED_TEXT_POOL_SIZE" then) and
// freed with the thread's library record.
#pragma once

#include "cairn/messages.h"

namespace cairn::msg {

// The next object slot, its previous contents freed; the slot stays marked
// in the ring.
msg_t *next_ring_object();

// The next pool record, its previous record freed (with a line on standard
// error at Debug >= 9 when it was in use); empty, marked pooled.
structext *next_pool_record();

// The next literal buffer (MSG_LITERAL_SIZE bytes).
char *next_literal_buffer();

// The calling thread's pool size (tests).
int pool_size_for_testing();

// Frees the contents of a ring object and marks the slot unused.
void release_ring_object(msg_t &m);

}  // namespace cairn::msg
