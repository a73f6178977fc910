// The application directory: found from where the running executable lies,
// cached once found.
#pragma once

#include <cstddef>

namespace cairn {

// The running executable's full path; false when it cannot be read.
bool executable_path(char *out, std::size_t size);

// The application directory for `name` (the saved name when NULL): the
// parent of the executable's "bin" directory, or the nearest enclosing
// directory called `name`, or the default under the system root.  NULL
// only when there is no name to fall back on.
const char *app_directory_lookup(const char *name);

}  // namespace cairn
