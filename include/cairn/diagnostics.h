/* Diagnostics and printing: the debug settings and the debug log (and, as
 * the library grows, the formatter and UTF-8-aware output). */
#ifndef CAIRN_DIAGNOSTICS_H
#define CAIRN_DIAGNOSTICS_H

#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/** Debug level: a line of level L is written when Debug >= L. */
CAIRN_API extern int32_t Debug;
/** Trace switches: bit 1 warnings, bit 2 informational notes; other bits are
 *  tested by the subsystems that name them. */
CAIRN_API extern uint32_t OxTrace;
/** Verbosity of user-facing output. */
CAIRN_API extern int32_t Vflag;

CAIRN_END_DECLS

#endif /* CAIRN_DIAGNOSTICS_H */
