// The process-wide debug settings, exported as plain variables, and the
// switches that the debug-control file sets for other subsystems.
#include "diagnostics/debug_settings.hpp"

#include "cairn/diagnostics.h"

extern "C" {
CAIRN_API int32_t Debug = 0;
CAIRN_API uint32_t OxTrace = 0;
CAIRN_API int32_t Vflag = 0;

CAIRN_API int32_t PrintDevInfo = 0;
CAIRN_API int32_t PrintBxrAuthInfo = 0;
CAIRN_API int32_t FlushDnsCache = 0;
CAIRN_API int32_t PrintDnsCache = 0;
CAIRN_API int32_t LogDnsThreshold = 0;
CAIRN_API int32_t JukeboxThrottle = 0;
CAIRN_API int32_t DriveStealExclusion = 30;
CAIRN_API int32_t PatchDebug = 0;
CAIRN_API int32_t PrintDeviceSelection = 0;
CAIRN_API int32_t JobsdbFullPurge = 0;
}

namespace cairn {

int g_need_timestamps = 0;
int g_dprintf_timestamps = 1;
int32_t g_print_inactive_clients = 0;

}  // namespace cairn

using namespace cairn;

extern "C" {

int need_timestamps(void) { return g_need_timestamps; }

int print_timestamps(int on)
{
    g_need_timestamps = on;
    return on;
}

int get_timestamps_dprintf(void) { return g_dprintf_timestamps; }

int set_timestamps_dprintf(int on)
{
    g_dprintf_timestamps = on;
    return on;
}

int liblvars_set_debug(int level)
{
    Debug = level;
    return level;
}

}  // extern "C"
