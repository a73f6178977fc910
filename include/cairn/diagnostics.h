/** @file
 * Diagnostics and printing: the debug settings and the debug log, the
 * library's formatter and its UTF-8-aware console and file output. */
#ifndef CAIRN_DIAGNOSTICS_H
#define CAIRN_DIAGNOSTICS_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/** Debug level: a line of level L is written when Debug >= L. */
CAIRN_API extern int32_t Debug;
/** Trace switches: bit 1 warnings, bit 2 informational notes; other bits are
 *  tested by the subsystems that name them. */
CAIRN_API extern uint32_t OxTrace;
/** Verbosity of user-facing output. */
CAIRN_API extern int32_t Vflag;

/* ------------------------------------------------------------------------
 * Formatting
 *
 * One formatter serves every formatting call of the library.  It takes the
 * printf conversions d i u o x X c s p e E f F g G a A and %%, the flags
 * - + space # 0 (and ' which is accepted and ignored), widths and
 * precisions written as numbers or as * or *m$, and the length letters
 * hh h l ll L z j t (z, j and t take size_t, intmax_t and ptrdiff_t, which
 * are fetched as long).  Besides:
 *  - positional arguments: a conversion written %n$... takes argument n;
 *    conversions without a position take the positions in turn, also after
 *    a positional one; the position count, the highest position plus one,
 *    must stay below 256 (OX_FMT_MAX_POSITIONS);
 *  - every argument is fetched once, in position order (with a fetcher
 *    table, all of them before any text is produced);
 *  - "%s" counts width in screen columns of its UTF-8 text, and a
 *    precision never splits a UTF-8 character; a NULL string prints "null"
 *    (ox_snprintf() alone follows the C library: bytes, and "(null)");
 *  - "%p" prints as "%#lx" would, and a NULL pointer as "(nil)";
 *  - the cost of a conversion never grows with its width or precision
 *    beyond the text it stores: what a bounded buffer cannot take is
 *    counted, not made;
 *  - "%ls" and "%lc" take ox_wchar text (cairn/text.h) and print UTF-8;
 *  - a conversion letter outside the list (such as the I of I64, or n)
 *    prints its specification as text and fetches one int-sized argument; a specification broken by a character that cannot appear in
 *    one is copied as text and fetches nothing.
 * ------------------------------------------------------------------------ */

/** The position count (highest position plus one) must stay below this. */
#define OX_FMT_MAX_POSITIONS 256

/** Kinds of argument, found from a conversion's first letter. */
enum ox_fmt_kind {
    OX_FMT_WORD = 0,       /**< unknown letter, or a position never used: int */
    OX_FMT_INT = 1,        /**< c d i, and anything after h: int */
    OX_FMT_UNSIGNED = 2,   /**< X o u x: unsigned int */
    OX_FMT_LONG = 3,       /**< l followed by anything but l, u or a floating letter: long */
    OX_FMT_LONGLONG = 4,   /**< ll: long long */
    OX_FMT_DOUBLE = 5,     /**< e E f F g G a A (also after l): double */
    OX_FMT_LONGDOUBLE = 6, /**< L: long double */
    OX_FMT_STRING = 7,     /**< s: const char * */
    OX_FMT_POINTER = 8,    /**< p: void * */
    OX_FMT_ULONG = 9       /**< lu: unsigned long */
};
#define OX_FMT_KIND_COUNT 10 /**< The number of argument kinds. */

/** One fetched argument. */
typedef union ox_fmt_arg {
    int i;            /**< One argument as fetched for its kind. */
    unsigned int u;   /**< One argument as fetched for its kind. */
    long l;           /**< One argument as fetched for its kind. */
    unsigned long ul; /**< One argument as fetched for its kind. */
    long long ll;     /**< One argument as fetched for its kind. */
    double d;         /**< One argument as fetched for its kind. */
    long double ld;   /**< One argument as fetched for its kind. */
    const char *s;    /**< One argument as fetched for its kind. */
    const void *p;    /**< One argument as fetched for its kind. */
} ox_fmt_arg;

/** Fetch one argument of a kind from @p ap into @p slot. */
typedef void (*ox_fmt_fetch_fn)(va_list *ap, ox_fmt_arg *slot);

/** One fetch operation per kind, indexed by enum ox_fmt_kind.  A NULL entry
 *  stands for the library's own operation of that kind. */
typedef struct ox_fmt_fetchers {
    ox_fmt_fetch_fn fetch[OX_FMT_KIND_COUNT]; /**< The fetcher of each argument kind. */
} ox_fmt_fetchers;

/**
 * The formatter.  Modes, chosen by @p buf, @p size and @p result:
 *  - bounded (@p buf, size > 0): at most size - 1 bytes and a terminator;
 *    when the text is cut, the cut is at the buffer's last byte;
 *  - unbounded (@p buf, size 0): the caller guarantees room for the text;
 *  - allocating (no @p buf, @p result): the text goes to new zero-filled
 *    storage stored through @p result before formatting starts (the caller
 *    frees it with free()): of @p size bytes when size > 0, bounded like a
 *    caller's buffer; for size 0 of strlen(fmt) + 19456 bytes, enlarged as
 *    needed.  When an enlargement fails the text is cut at what fits.
 * @param fetchers how to fetch each kind of argument; NULL for the
 *        library's own table
 * @param reserved pass NULL
 * @return the length of the text produced (without the terminator); 0 when
 *         neither @p buf nor @p result is given, for a NULL @p fmt, or when
 *         the format fails: a position of 255 or more, a width or precision
 *         beyond the int range, or a conversion that cannot be rebuilt in
 *         255 characters.  A failed format stores an empty text in @p buf
 *         (when it has room) and, in allocating mode, frees the storage and
 *         sets *result to NULL.
 * @param buf the output buffer, or NULL
 * @param size its size in bytes
 * @param result where the allocating mode stores the text, or NULL
 * @param fmt the format
 * @param ap its arguments
 */
CAIRN_API int i18n_vsnprintf_map(char *buf, size_t size, char **result,
                                 const ox_fmt_fetchers *fetchers, void *reserved, const char *fmt,
                                 va_list ap);

/** i18n_vsnprintf_map() with the library's fetchers. */
CAIRN_API int i18n_vsnprintf(char *buf, size_t size, char **result, const char *fmt, va_list ap);

/** Allocating form: the text is stored through @p result (NULL on failure,
 *  last error ENOMEM when storage could not be had); the caller frees it.
 *  @param reserved pass NULL.  @return the length of the text.
 *  @param result receives the text
 *  @param fmt the format
 *  @param ap its arguments */
CAIRN_API int i18n_vsprintf(void *reserved, char **result, const char *fmt, va_list ap);

/** Unbounded: @p buf must have room for the text.  @return its length; 0
 *  for a NULL @p buf or a failed format. */
CAIRN_API int ox_sprintf(char *buf, const char *fmt, ...) CAIRN_PRINTF(2, 3);
/** ox_sprintf() with a va_list. */
CAIRN_API int ox_vsprintf(char *buf, const char *fmt, va_list ap);

/** Bounded: at most @p size - 1 bytes and a terminator; size 0 writes
 *  nothing.  @return the length of the text written (not of the text that
 *  was cut away); 0 for a failed format. */
CAIRN_API int ox_vsnprintf(char *buf, size_t size, const char *fmt, va_list ap);

/**
 * The plain bounded formatter, with the C library's rules and the C99
 * result: the length the whole text needs, whatever was cut.  Widths and
 * precisions of "%s" count bytes and a NULL string prints "(null)" (nothing
 * when the precision is below 6).  At most @p size - 1 bytes and a
 * terminator are written; with a NULL @p buf or size 0 nothing is written
 * and the length is only measured.
 * @return the full length; -1 for a failed format or a NULL @p fmt, or
 *         with last error EOVERFLOW when the length passes INT_MAX.
 */
CAIRN_API int ox_snprintf(char *buf, size_t size, const char *fmt, ...) CAIRN_PRINTF(3, 4);

/** @return the number of arguments @p fmt consumes: the highest position it
 *  uses (0 for NULL or a format without conversions). */
CAIRN_API int get_formatted_args_num(const char *fmt);

/* ------------------------------------------------------------------------
 * Output
 *
 * Every stream is either a UTF-8 stream, which receives the library's UTF-8
 * text as it is, or a converted stream, which receives it in the encoding
 * of the current locale (the console and the system encodings are both the
 * locale's on this platform).  A list of at most 10 "excepted" descriptors
 * and the mode flag Mast_flag decide: with Mast_flag 0 the listed
 * descriptors are UTF-8 streams and all others converted; with Mast_flag
 * non-zero it is the other way round.
 * ------------------------------------------------------------------------ */

/** Mode flag of the excepted descriptor list (initially 0). */
CAIRN_API extern int32_t Mast_flag;

/** Non-zero in a child between fork and exec, set by the process calls:
 *  ox_close() then changes the descriptor list without its lock. */
CAIRN_API extern int32_t In_fork;

/** Signature of the final writer of the output path (as vfprintf). */
typedef int (*ox_vfprintf_fn)(FILE *stream, const char *fmt, va_list ap);

/** ox_vfprintf() on standard output. */
CAIRN_API int ox_printf(const char *fmt, ...) CAIRN_PRINTF(1, 2);
/** ox_printf() with a va_list. */
CAIRN_API int ox_vprintf(const char *fmt, va_list ap);

/**
 * Format and write to @p stream.  A UTF-8 stream that is not a terminal
 * gets the text unchanged; a terminal or a converted stream gets it in the
 * locale's encoding (unchanged when that encoding is UTF-8 or ASCII), and
 * with a writer hook installed a converted non-terminal stream gets UTF-8.
 * When a conversion buffer cannot be allocated the UTF-8 text is written.
 * @return the writer's result (the bytes written, or -1 on a write error);
 *         0 when the format produced nothing; -1 with last error EINVAL for
 *         a NULL stream or format.
 */
CAIRN_API int ox_fprintf(FILE *stream, const char *fmt, ...) CAIRN_PRINTF(2, 3);
/** ox_fprintf() with a va_list. */
CAIRN_API int ox_vfprintf(FILE *stream, const char *fmt, va_list ap);

/**
 * Write @p text to @p stream.  A converted stream gets it converted in
 * pieces of at most 19455 bytes, cut by bytes (a character that straddles a
 * cut is split); a UTF-8 stream gets it unchanged.
 * @return the number of bytes written; -1 for NULL text or stream, or as
 *         soon as a write fails.
 */
CAIRN_API int ox_fputs(const char *text, FILE *stream);

/** ox_fputs() on standard output, then "\n".  @return the bytes written
 *  including the newline, or -1. */
CAIRN_API int ox_puts(const char *text);

/**
 * Read a line (as fgets) and return it in UTF-8.  On a converted stream or
 * a terminal the line is read into a temporary buffer of @p size bytes and
 * converted from the locale's encoding into @p buf; bytes that did not fit
 * after conversion are pushed back onto the stream, so the next read gets
 * them.  Other streams are read with plain fgets.
 * @return @p buf; NULL at end of file, on a read error, for bad arguments
 *         or when the temporary buffer cannot be allocated.
 */
CAIRN_API char *ox_fgets(char *buf, int size, FILE *stream);
/** The same as ox_fgets(). */
CAIRN_API char *ox_fgetmbts(char *buf, int size, FILE *stream);

/** Drop the stream's descriptor from the list, then fclose it.
 *  @return fclose's result; EOF for NULL (last error EINVAL). */
CAIRN_API int ox_fclose(FILE *stream);

/** Descriptors below 1 are left open and give 0; otherwise drop @p fd from
 *  the list and close it.  @return close's result. */
CAIRN_API int ox_close(int fd);

/** Make the stream (descriptor) a UTF-8 stream.  NULL is ignored. */
CAIRN_API void utf8_fp(FILE *stream);
/** utf8_fp() for a descriptor. */
CAIRN_API void utf8_fd(int fd);
/** Make the stream (descriptor) a converted stream.  NULL is ignored. */
CAIRN_API void user_fp(FILE *stream);
/** user_fp() for a descriptor. */
CAIRN_API void user_fd(int fd);
/** @return 1 when @p stream is a converted stream, else 0 (0 for NULL). */
CAIRN_API int is_user_fp(FILE *stream);

/** Read "BXR_CATCH_CHILD_STDOUT": when set, Mast_flag is incremented; when
 *  unset, Mast_flag becomes 0.  @return the variable's value or NULL. */
CAIRN_API const char *printby_utf8(void);

/**
 * Install @p writer as the final writer of the output path.  Installing the
 * writer already installed, NULL, or the default writer clears the hook.
 * @return the previous hook, or the default writer when none was installed.
 */
CAIRN_API ox_vfprintf_fn set_vfprintf(ox_vfprintf_fn writer);
/** Clear the writer hook. */
CAIRN_API void unset_vfprintf(void);

/** Set the direct-write flag: when non-zero, output to standard output and
 *  standard error bypasses stdio and goes to the descriptor in one write
 *  (after moving to the end of a regular file).  @return the previous
 *  value. */
CAIRN_API int UseWrite(int on);

/* ------------------------------------------------------------------------
 * Display width of UTF-8 text on a terminal: 1 or 2 columns a character,
 * judged by the lead byte (wide: U+3000..U+FAFF, U+FF00..U+FF5F,
 * U+FFE0..U+FFE7 and everything beyond U+FFFF).
 * ------------------------------------------------------------------------ */

/** Width of the character at text[*index]; moves *index to its last byte
 *  (never past the terminator).  @return 1 or 2; 0 for NULL arguments or
 *  at the terminator. */
CAIRN_API int utf8_ttywidth(const char *text, int *index);

/** @return the width of the whole text; 0 for NULL or empty text. */
CAIRN_API int utf8_ttystrlen(const char *text);

/** @return the width of the first @p n characters; 0 for NULL or empty. */
CAIRN_API int ox_utf8swidth(const char *text, int n);
/** The same as ox_utf8swidth(). */
CAIRN_API int ox_mbswidth(const char *text, int n);

/* ------------------------------------------------------------------------
 * The debug log
 *
 * Lines go to the process debug stream and then to the calling thread's
 * debug stream, each that is open; with neither open they fall back to
 * standard error through msg_print().  Every line that carries a prefix
 * starts with the local time (when need_timestamps() is on) and the
 * program name: "11/15/26 18:22:52 prog: " or "prog: ".  Debug streams are
 * unbuffered, so a crash loses no line.  No lock guards the settings or the
 * process stream: they are plain variables read by every thread.
 * ------------------------------------------------------------------------ */

/** Switches set through the debug-control file and read by the subsystems
 *  that use them (all 0 at start but DriveStealExclusion, 30). */
CAIRN_API extern int32_t PrintDevInfo;
CAIRN_API extern int32_t PrintBxrAuthInfo;     /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t FlushDnsCache;        /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t PrintDnsCache;        /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t LogDnsThreshold;      /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t JukeboxThrottle;      /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t DriveStealExclusion;  /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t PatchDebug;           /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t PrintDeviceSelection; /**< @copydoc PrintDevInfo */
CAIRN_API extern int32_t JobsdbFullPurge;      /**< @copydoc PrintDevInfo */

/** Open @p name in append mode as the process debug stream (unbuffered).
 *  A stream already open is replaced without being closed (with a warning
 *  at level 1 or trace bit 1).  NULL or "" keeps the current stream.  An
 *  open failure leaves no stream, so lines fall back to standard error. */
CAIRN_API void dfopen(const char *name);
/** The same for the calling thread's debug stream; an existing stream of
 *  the thread is closed first unless it was lent. */
CAIRN_API void dfopen_at_thread_level(const char *name);
/** Close the process stream (dfclose()) and use the caller's @p fhp in its
 *  place; the caller keeps owning it.  NULL changes nothing. */
CAIRN_API void dfopen_use_existing_filehndl(FILE *fhp);
/** The same for the calling thread's stream. */
CAIRN_API void dfopen_use_existing_thread_filehndl(FILE *fhp);
/** @return the process debug stream, or NULL. */
CAIRN_API FILE *dfopen_filehndl(void);
/** @return the calling thread's debug stream, or NULL. */
CAIRN_API FILE *dfopen_thread_filehndl(void);
/** Forget the calling thread's stream without closing it. */
CAIRN_API void dfopen_varp_reset(void);
/** Close the process stream unless it was lent; it is forgotten either
 *  way.  A failed close is reported at level 2 or trace bit 2. */
CAIRN_API void dfclose(void);
/** The same for the calling thread's stream. */
CAIRN_API void dfclose_at_thread_level(void);

/** A debug line at @p level: written only when Debug >= level (tested
 *  before any formatting). */
CAIRN_API void dfprintf(int level, const char *fmt, ...) CAIRN_PRINTF(2, 3);
/** dfprintf() with a va_list. */
CAIRN_API void vdfprintf(int level, const char *fmt, va_list ap);
/** As vdfprintf(); a level-0 line is marked "Diagnostic: " after the
 *  prefix, and the text is written through ox_fprintf(). */
CAIRN_API void ox_vdprintf(int level, const char *fmt, va_list ap);
/** A debug line without level test, with a microsecond time stamp ahead of
 *  the text while get_timestamps_dprintf() is on.  Without a stream the
 *  line goes to standard error without prefix, and standard error and
 *  standard output are flushed. */
CAIRN_API void debugprintf(const char *fmt, ...) CAIRN_PRINTF(1, 2);
/** When Debug >= @p level, write the text to standard error without
 *  prefix.  With "BXR_STRICT_LEVEL" set (read on every call), lines of
 *  level 1 and above pass only when their level equals it. */
CAIRN_API void verbprint(int level, const char *fmt, ...) CAIRN_PRINTF(2, 3);
/** A prefixed error line to standard error.  The prefix is joined to
 *  @p fmt and the whole is the format (a "%" in the program name is read as
 *  a conversion).  Nothing is written when storage cannot be had. */
CAIRN_API void printerr(const char *fmt, ...) CAIRN_PRINTF(1, 2);
/** printerr() with a va_list. */
CAIRN_API void vprinterr(const char *fmt, va_list ap);
/** A prefixed information line to standard output, joined as printerr(). */
CAIRN_API void printinfo(const char *fmt, ...) CAIRN_PRINTF(1, 2);
/** printinfo() with a va_list. */
CAIRN_API void vprintinfo(const char *fmt, va_list ap);

/** @return the need-timestamps flag (0 at start). */
CAIRN_API int need_timestamps(void);
/** Set the need-timestamps flag.  @return @p on. */
CAIRN_API int print_timestamps(int on);
/** @return the debugprintf-timestamps flag (1 at start). */
CAIRN_API int get_timestamps_dprintf(void);
/** Set the debugprintf-timestamps flag.  @return @p on. */
CAIRN_API int set_timestamps_dprintf(int on);
/** Set Debug (no upper bound).  @return @p level. */
CAIRN_API int liblvars_set_debug(int level);

/**
 * Length of @p prefix when @p path begins with it (case-insensitively) at
 * a component boundary: the next character of path is "\" or the end, or
 * the prefix is "\", a drive "C:" or a drive root "C:\".  @return that
 * length, else 0 (0 for NULL arguments).
 */
CAIRN_API int preflen(const char *path, const char *prefix);

/* ------------------------------------------------------------------------
 * Run-time control
 *
 * An operator changes a running program's settings by writing one setting
 * line ("Debug=3", "Trace=1,2", ...) to the debug-control file and firing
 * the program's debug event (see docs/platform.md for how on Linux).  The
 * library's event thread then calls the handler registered for event 17,
 * ondbgintr() unless the program registered another.
 * ------------------------------------------------------------------------ */

/** @return the debug-control file's path: the one initialisation fixed
 *  (in the temporary directory of the application's tree), else
 *  "oxdbg.tmp" in the current directory.  Owned by the library. */
CAIRN_API const char *ox_debug_control_file(void);

/** The debug event's number. */
#define OX_DEBUG_EVENT 17

/** A handler of a library event; its result is ignored. */
typedef int (*ox_event_handler)(int event);

/** regevent() with this keeps the current handler. */
#define OX_EVENT_HANDLER_KEEP ((ox_event_handler)1)

/**
 * Read the debug-control file and apply its setting line, then delete the
 * file.  A missing file does nothing.  @return 1 always; events other than
 * 17 return at once.
 */
CAIRN_API int ondbgintr(int event);

/**
 * Register @p handler for @p event (only 17, the debug event, exists) and
 * make sure the event thread runs.  NULL restores ondbgintr();
 * OX_EVENT_HANDLER_KEEP keeps the current handler.
 * @return the previous handler; NULL for another event (last error errno
 *         22) or when the event thread could not be started (last error
 *         set).
 */
CAIRN_API ox_event_handler regevent(int event, ox_event_handler handler);

/**
 * Start the event thread that waits for the debug event, once per process
 * (again in a child after fork).  It never keeps the process from ending.
 * @return 0, or a portable error code with the last error set.
 */
CAIRN_API int ox_debug_event_start(void);

/**
 * Fire the debug event of process @p pid, as an operator's tool does after
 * writing the debug-control file.  @return 0; a portable error code with the
 * last error set when no such event is being watched.
 */
CAIRN_API int ox_debug_event_signal(int pid);

/** Called about once a second while ox_debug_request() waits.
 *  @param elapsed_ms time waited so far.  @param arg the caller's value. */
typedef void (*ox_debug_progress_fn)(uint32_t elapsed_ms, void *arg);

/**
 * Send @p request to process @p pid on its debug event's channel and wait
 * at most @p timeout_ms for the answer.  Requests: "status" (the process's
 * debug-control file, its counts of change notices, invalid values and
 * refused control files, and its settings, one "key=value" a line);
 * "stats" (the census of ox_process_stats() written to its debug log) and
 * "stats FILE" (written to FILE, which must be a regular file of the
 * requesting user that others cannot write: the process opens it without
 * following links).  Only the process's own user and root are answered.
 * Requests sent after a firing are answered after the firing's handler ran.
 * @param pid the process asked.
 * @param request the request text (shorter than 4096 bytes).
 * @param answer receives the answer, cut to @p size - 1 bytes.
 * @param size the size of @p answer.
 * @param timeout_ms the longest wait for the answer.
 * @param progress called about once a second while waiting; may be NULL.
 * @param arg passed to @p progress.
 * @return 0; OX_ECONNREFUSED when the process does not watch a debug
 *         event; OX_ETIMEDOUT when no answer came; OX_EINVAL for a bad
 *         argument; the last error is set on failure.
 */
CAIRN_API int ox_debug_request(int pid, const char *request, char *answer, size_t size,
                               uint32_t timeout_ms, ox_debug_progress_fn progress, void *arg);

/**
 * The calling process's census, as an operator's "stats" request gets it:
 * live library objects by type, the threads the library knows with what
 * each waits on and how many timers each armed, the debug settings in force
 * and the control channel's counts.  Lines end with "\n"; the last is
 * "end of stats".  At most @p size - 1 bytes and a terminator are written;
 * a NULL @p buf or size 0 only measures.
 * @return the length of the whole report.
 */
CAIRN_API size_t ox_process_stats(char *buf, size_t size);

CAIRN_END_DECLS

#endif /* CAIRN_DIAGNOSTICS_H */
