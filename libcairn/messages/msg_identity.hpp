// The message layer's identity (program name, process id, host name),
// filled once per process on first use, and the message-number switch.
#pragma once

#include <cstddef>

namespace cairn {

constexpr std::size_t kMsgProgramMax = 261;
constexpr std::size_t kMsgHostMax = 256;

struct MsgIdentity {
    char progname[kMsgProgramMax];
    int pid;
    char host[kMsgHostMax];
};

// Runs the first-use step (once per process) and returns the identity.
const MsgIdentity &msg_identity();

// The identity when the first-use step has run, else nullptr.  Never
// blocks (safe from the event thread).
const MsgIdentity *msg_identity_recorded();

// Whether numbered messages carry their number on both standard streams.
// Turned on at first use by "BXR_FORCE_MSG_ID" (any value).
bool msg_number_switch();
void set_msg_number_switch(bool on);

}  // namespace cairn
