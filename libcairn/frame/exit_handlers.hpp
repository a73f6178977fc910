// Internal view of the exit-handler layer.
#pragma once

namespace cairn {

// The program-name lock, created with the handler list (once-guard); other
// parts of the frame take it around the program name.
void program_name_lock();
void program_name_unlock();

}  // namespace cairn
