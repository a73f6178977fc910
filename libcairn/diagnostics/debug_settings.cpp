// The process-wide debug settings, exported as plain variables.
#include "cairn/diagnostics.h"

extern "C" {
CAIRN_API int32_t Debug = 0;
CAIRN_API uint32_t OxTrace = 0;
CAIRN_API int32_t Vflag = 0;
}
