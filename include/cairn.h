/** @file
 * libcairn: every public header of the library. */
#ifndef CAIRN_H
#define CAIRN_H

#include "cairn/export.h"
#include "cairn/frame.h"
#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/diagnostics.h"
#include "cairn/text.h"
#include "cairn/time.h"
#include "cairn/paths.h"
#include "cairn/messages.h"
#include "cairn/attributes.h"
#include "cairn/utilities.h"
#include "cairn/net.h"

#endif /* CAIRN_H */
