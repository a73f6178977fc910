// The socket layer's process-wide state: made once on the first
// ox_socket() (the host's own name checked, the interface list taken) and
// undone by an exit handler.
#pragma once

#include <cstddef>

namespace cairn {

// Run the socket layer's start-up once per process (again after its exit
// handler ran).  Ends the process with status 1 when the host cannot
// resolve its own name.
void ensure_socket_layer();

// Interface indexes of the host's interface addresses, in the system's
// order, as taken at start-up (`count` receives how many).  Valid until
// the exit handler runs.
const unsigned *socket_interface_indexes(size_t *count);

// The host's own name, lower case, as start-up found it ("" before).
const char *socket_local_host_name();

// Whether the socket layer counts as running: from start-up until the exit
// handler, which leaves it running after ox_defer_wsa_cleanup().
bool socket_layer_running();

}  // namespace cairn
