/** @file
 * Utilities: allocation that never returns NULL, integer text, and the
 * regular-expression and file-name pattern matchers. */
#ifndef CAIRN_UTILITIES_H
#define CAIRN_UTILITIES_H

#include <stddef.h>
#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/* ------------------------------------------------------------------------
 * Allocation that never returns NULL.  When memory is exhausted these
 * write one last line to standard error ("<caller>: out of memory
 * (<n> bytes)"), flush the standard streams and end the process with
 * exit status 1, without running exit handlers (they could need memory
 * themselves).  Memory they return is freed with free().
 * ------------------------------------------------------------------------ */

/** @p size bytes (a zero size gives a unique, freeable block). */
CAIRN_API void *xmalloc(size_t size);
/** @p count zeroed items of @p size bytes; an overflowing product counts as
 *  exhaustion. */
CAIRN_API void *xcalloc(size_t count, size_t size);
/** A copy of @p text; NULL for NULL text (nothing is allocated). */
CAIRN_API char *xstrdup(const char *text);

/** Room for any value inttostr() writes, terminator included. */
#define OX_INTTOSTR_SIZE 21

/** Write @p value in decimal ("-" for negatives) into @p buf.
 *  @return @p buf; NULL with ERANGE (and "" in @p buf when @p size > 0)
 *  when @p size is too small, NULL with EINVAL for a NULL @p buf. */
CAIRN_API char *inttostr(int64_t value, char *buf, size_t size);

/* ------------------------------------------------------------------------
 * Regular expressions: POSIX extended syntax, matched anywhere in the text
 * (anchor with ^ and $), case-sensitive.  A compiled expression may be used
 * by one thread at a time.
 * ------------------------------------------------------------------------ */

/** A compiled regular expression: opaque. */
typedef struct ox_regex ox_regex;

/** Compile @p pattern.  @return the expression, or NULL with EINVAL for a
 *  NULL or malformed pattern (ENOMEM when memory is short). */
CAIRN_API ox_regex *regex_cmp(const char *pattern);
/** @return 1 when @p text matches, 0 when it does not, -1 with EINVAL for
 *  NULL arguments. */
CAIRN_API int regex_exec(const ox_regex *re, const char *text);
/** Free a compiled expression (NULL is ignored). */
CAIRN_API void regex_done(ox_regex *re);

/** File-name pattern match ("*", "?", "[...]", backslash escapes) of the
 *  whole @p name, case-sensitive; "*" and "?" also match "/" and a leading
 *  ".".  @return 1 on a match, 0 otherwise (also for NULL arguments). */
CAIRN_API int fmatch(const char *pattern, const char *name);

CAIRN_END_DECLS

#endif /* CAIRN_UTILITIES_H */
