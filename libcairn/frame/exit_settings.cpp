// Process-wide settings of the exit handling, exported as plain variables.
#include "cairn/frame.h"

extern "C" {
CAIRN_API int32_t Ox_atexit_ox_threadstorage_destroy = 0;
}
