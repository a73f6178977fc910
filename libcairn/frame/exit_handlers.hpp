// Internal view of the exit-handler layer.
#pragma once

namespace cairn {

// The program-name lock, created with the handler list (once-guard); other
// parts of the frame take it around the program name.
void program_name_lock();
void program_name_unlock();

// The runtime record's flag: the standard files are open (ox_exit() closes
// them and clears it).
bool std_files_open();

}  // namespace cairn
