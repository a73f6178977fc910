/** @file
 * Time: calendar times with their forever and indefinite values, relative
 * offsets, rounding of retention times, the frozen service time, microsecond
 * clocks, and ISO 8601 text both ways. */
#ifndef CAIRN_TIME_H
#define CAIRN_TIME_H

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/* ------------------------------------------------------------------------
 * Time values
 *
 * A time is a signed 64-bit count of seconds since 1970-01-01 00:00:00 UTC.
 * Two encodings mean "forever": the largest 32-bit time and the largest
 * 64-bit time.  Because the 32-bit one is reserved, every function that
 * reads the clock turns a real time of exactly 0x7FFFFFFF into 0x7FFFFFFE.
 *
 * A time offset is a signed 32-bit count of seconds relative to a base time,
 * with three reserved values: -1 forever, -2 overflow (a real offset that
 * would have been -1) and -3 indefinite.
 * ------------------------------------------------------------------------ */

typedef int64_t ox_time64_t;     /**< seconds since the epoch */
typedef int32_t ox_time32_t;     /**< the same on a 32-bit clock */
typedef int32_t ox_timeoffset_t; /**< seconds relative to a base time */

#define OX_TIME_FOREVER32 ((ox_time64_t)0x7FFFFFFF) /**< The forever time (32-bit and 64-bit). */
/** The forever time (32-bit and 64-bit). */
#define OX_TIME_FOREVER ((ox_time64_t)0x7FFFFFFFFFFFFFFFLL)
/** 32-bit forever stand-in for a real time that hit the reserved value. */
#define OX_TIME_NOT_FOREVER32 ((ox_time64_t)0x7FFFFFFE)
/** The indefinite time: 2152-02-29 11:11:11 UTC. */
#define OX_TIME_INDEFINITE ((ox_time64_t)5748491471LL)

/** The special relative times: forever, overflow, indefinite. */
#define OX_TIMEOFFSET_FOREVER ((ox_timeoffset_t)-1)
/** The special relative times: forever, overflow, indefinite. */
#define OX_TIMEOFFSET_OVERFLOW ((ox_timeoffset_t)-2)
/** The special relative times: forever, overflow, indefinite. */
#define OX_TIMEOFFSET_INDEFINITE ((ox_timeoffset_t)-3)

/** A time of day: seconds and microseconds (0..999999). */
struct ox_timeval {
    int32_t tv_sec;  /**< Seconds. */
    int32_t tv_usec; /**< Microseconds. */
};

/**
 * The current time: the 32-bit clock, sign-extended, with 0x7FFFFFFF
 * replaced by 0x7FFFFFFE.  Also stored through @p t when it is not NULL.
 */
CAIRN_API ox_time64_t ox_time(ox_time64_t *t);

/** @return 1 when @p t is either forever encoding, else 0. */
CAIRN_API int ox_is_forever_time(ox_time64_t t);

/** @return -1, 0 or 1 comparing @p a with @p b as signed 64-bit values after
 *  both forever encodings are taken as 0x7FFFFFFFFFFFFFFF. */
CAIRN_API int ox_time_cmp(ox_time64_t a, ox_time64_t b);

/** @return 0x7FFFFFFF when the high half of @p t is positive, -1 when it is
 *  negative, else the low half limited to 0x7FFFFFFF. */
CAIRN_API ox_time32_t ox_time64_to_32(ox_time64_t t);

/**
 * Offset of @p t from @p base: -1 for a forever time; otherwise the low half
 * of @p t minus the low half of @p base in 32-bit arithmetic, where a result
 * of -1 becomes -2 (a real offset must not read as forever).
 */
CAIRN_API ox_timeoffset_t ox_time64_to_offset(ox_time64_t t, ox_time64_t base);

/**
 * The time that @p offset from @p base stands for:
 * 0x7FFFFFFFFFFFFFFF when the offset is -1 or @p base is 0x7FFFFFFF;
 * the indefinite time when the offset is -2 or -3 or @p base is 0x7FFFFFFE;
 * otherwise @p base plus the offset taken as an unsigned 32-bit number,
 * where a sum of exactly 0x7FFFFFFF becomes 0x7FFFFFFE.
 */
CAIRN_API ox_time64_t ox_timeoffset_to_64(ox_timeoffset_t offset, ox_time64_t base);

/** @return 1 when @p o is the forever offset (-1), else 0. */
CAIRN_API int ox_is_forever_timeoffset(ox_timeoffset_t o);
/** @return 1 when @p o is the indefinite offset (-3), else 0. */
CAIRN_API int ox_is_new_indefinite_timeoffset(ox_timeoffset_t o);
/** @return the indefinite offset, -3. */
CAIRN_API ox_timeoffset_t ox_new_indefinite_timeoffset(void);

/**
 * Whether a retention time is beyond what a 32-bit offset from now can hold.
 * @return 0 for 0 and for 0x7FFFFFFFFFFFFFFF; otherwise 1 when @p t minus
 *         the current time is at least 2^32 seconds, else 0.
 */
CAIRN_API int ox_is_ret_time_max(ox_time64_t t);

/**
 * @p t moved to 23:59:59 local time of its own day:
 * t + 86399 - (hour * 3600 + minute * 60 + second) of its local time.
 * @p t is returned unchanged when it cannot be broken down as a calendar
 * time; both forever encodings count as such, so they survive rounding.
 * A result of exactly 0x7FFFFFFF becomes 0x7FFFFFFE.
 */
CAIRN_API ox_time64_t ox_time_roundup(ox_time64_t t);

/** @p t unchanged when it lies less than 86400 seconds after the current
 *  time (or at or before it); otherwise ox_time_roundup(t). */
CAIRN_API ox_time64_t ox_ret_time_roundup(ox_time64_t t);

/**
 * The service time: on the first call after start or after svc_time_reset(),
 * the current time (as ox_time()); afterwards that same value, so that all
 * steps of one operation agree on the present.  Read and set under a
 * process-wide lock; thread-safe.
 */
CAIRN_API ox_time64_t svc_time(void);

/** Clear the service time, so that the next svc_time() reads the clock. */
CAIRN_API void svc_time_reset(void);

/* ------------------------------------------------------------------------
 * Calendar conversions of the C library, on 32-bit times
 * ------------------------------------------------------------------------ */

/**
 * ctime() text of the low 32 bits of @p t (sign-extended).  The text lives
 * in a per-thread buffer, valid until the thread's next ox_ctime().
 * @return NULL when the time cannot be broken down.
 */
CAIRN_API char *ox_ctime(ox_time64_t t);

/**
 * Local broken-down time of the low 32 bits of @p t (sign-extended), in a
 * per-thread structure valid until the thread's next ox_localtime().
 * @return NULL when the time cannot be broken down.
 */
CAIRN_API struct tm *ox_localtime(ox_time64_t t);

/**
 * mktime() restricted to 32-bit times (1970-01-01 00:00:00 UTC to
 * 0x7FFFFFFF).  On success @p tm is normalised as mktime() does.
 * @return the time; -1 when @p tm is NULL (last error errno 22) or the time
 *         is out of range, and then @p tm is left as it was.
 */
CAIRN_API ox_time64_t ox_mktime(struct tm *tm);
/** ox_mktime() with a 32-bit result. */
CAIRN_API ox_time32_t ox_mktime2(struct tm *tm);

/* ------------------------------------------------------------------------
 * Microsecond clocks
 * ------------------------------------------------------------------------ */

/**
 * A monotonic clock in seconds and microseconds from the high-resolution
 * counter (not the wall clock; named apart from the C library's
 * gettimeofday() so that other callers of that keep their wall clock).
 * When the counter cannot be read the wall clock is used instead.
 * @param ignored not used (may be NULL).
 * @return 0; -1 when @p tv is NULL (last error errno 22).
 * @param tv receives the time
 */
CAIRN_API int ox_gettimeofday(struct ox_timeval *tv, void *ignored);

/**
 * The wall clock in seconds and microseconds since the epoch; the seconds
 * are limited to 0x7FFFFFFF and read -1 before 1970.
 * @return 0; -1 when @p tv is NULL (last error errno 22).
 */
CAIRN_API int ox_gettimeofday_current_time(struct ox_timeval *tv);

/** @return @p b - @p a, borrowing one second when the microseconds go
 *  negative: (5, 900000) to (7, 100000) is (1, 200000). */
CAIRN_API struct ox_timeval timeval_diff(struct ox_timeval a, struct ox_timeval b);

/** @return @p b - @p a in microseconds, wrapped to 32 bits. */
CAIRN_API int32_t gettimediff_usec(struct ox_timeval a, struct ox_timeval b);

/* ------------------------------------------------------------------------
 * ISO 8601 text
 *
 * The writers return the length written (without the terminator), or 0
 * when @p buf is NULL, the text does not fit in @p size bytes or the time
 * cannot be broken down; then @p buf holds the empty string when size > 0.
 * ------------------------------------------------------------------------ */

/**
 * Local time with the zone, "%Y-%m-%dT%H:%M:%S" followed by "+hhmm" or
 * "-hhmm": the zone is the local offset in effect at the present moment
 * (daylight time included when it is in effect now), also for other dates.
 * Example: 2021-06-21T10:00:00-0500.
 */
CAIRN_API int ox_str8601_time(char *buf, size_t size, ox_time64_t t);

/** Local time without a zone: "%Y-%m-%dT%H:%M:%S", or "%Y%m%dT%H%M%S" when
 *  @p compact is non-zero. */
CAIRN_API int ox_str8601_time_comp(char *buf, size_t size, ox_time64_t t, int compact);

/** UTC: "%Y-%m-%dT%H:%M:%SZ", or "%Y%m%dT%H%M%SZ" when @p compact is
 *  non-zero. */
CAIRN_API int ox_str8601_time_compz(char *buf, size_t size, ox_time64_t t, int compact);

/**
 * Parse ISO 8601 text into a time.  The text must match one of these forms
 * completely (scanf conventions: a number may have blanks before it and a
 * sign), tried in this order:
 *   1. "%d-%d-%dT%d:%d:%d-%ld"   zone sign minus
 *   2. "%d-%d-%dT%d:%d:%d+%ld"   zone sign plus
 *   3. "%04d%02d%02dT%02d%02d%02dZ"
 *   4. "%04d-%02d-%02dT%02d:%02d:%02dZ"
 *   5. "%04d%02d%02dT%02d%02d%02d"
 *   6. "%04d-%02d-%02dT%02d:%02d:%02d"
 * The zone number hhmm is hhmm - (hhmm / 100) * 40 minutes; forms 3 to 6
 * have zone 0.  The fields are converted as local standard time with
 * mktime() (-1 when that fails) and the result is that value + sign * zone
 * minutes * 60 - the local zone's offset east of UTC at the present moment
 * - the daylight shift of the converted date when it is in daylight time.
 * This reads back exactly what ox_str8601_time() writes on the same
 * machine; it is not the textbook conversion of a foreign zone.
 * @return the time; 0 when @p text is NULL or no form matches (also when a
 *         number or the zone arithmetic overflows).
 */
CAIRN_API ox_time64_t ox_8601ptime(const char *text);

CAIRN_END_DECLS

#endif /* CAIRN_TIME_H */
