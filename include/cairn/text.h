/** @file
 * Text and encodings: UTF-8 tests and conversions between UTF-8, the
 * library's 16-bit wide text and the current locale's multibyte text, plus
 * the bounded string utilities the rest of the library builds on.
 *
 * All narrow text is NUL-terminated UTF-8 unless a function says otherwise.
 * Result codes of the conversions are the library's portable error codes:
 *   0  (OX_SUCCESS)  success
 *   1                success, but at least one bad sequence became '?'
 *   46 (OX_ENOBUFS)  the output was too small; it holds the whole characters
 *                    that fitted and is terminated
 *   31 (OX_EINVAL)   missing or bad arguments
 * A 46 or 31 result is also stored as the thread's last error (errno ENOBUFS
 * or EINVAL); 0 and 1 leave the last error alone.
 *
 * An output buffer of size 0 has no room, not even for a terminator: no
 * function writes to it. */
#ifndef CAIRN_TEXT_H
#define CAIRN_TEXT_H

#include <stddef.h>
#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/**
 * The library's wide character: one 16-bit unit.  Wide text is an array of
 * these ended by a 0 unit.  There are no surrogate pairs: a character above
 * U+FFFF decodes to the low 16 bits of its value (so U+10000, U+20000, ...
 * become 0 and end the wide text), and every unit (surrogate values
 * included) encodes on its own.  This is not the platform's wchar_t,
 * which is 32 bits on Linux.
 */
typedef uint16_t ox_wchar;

/* ------------------------------------------------------------------------
 * Single characters and lengths
 *
 * UTF-8 here is the six-byte form (values up to 0x7FFFFFFF): a lead byte
 * followed by continuation bytes 10xxxxxx; an encoding longer than needed
 * (overlong) is invalid.  A NUL byte is never a continuation byte, so no
 * decoder reads past a terminator.
 * ------------------------------------------------------------------------ */

/**
 * Decode the first character of @p s, reading at most @p avail bytes.
 * @param wc  receives the character's low 16 bits (may be NULL)
 * @param len receives the bytes consumed (may be NULL); -1 when invalid
 * @return 0 on success; 1 for an invalid, overlong or cut-off sequence;
 *         31 when @p s is NULL or @p avail is 0 (length -1), or when @p s is
 *         the empty string (then *wc = 0 and *len = 0).
 * @param s the UTF-8 text
 * @param avail the bytes that may be read
 */
CAIRN_API int ox_utf8_to_wc(ox_wchar *wc, const char *s, size_t avail, int *len);

/**
 * Encode @p wc as UTF-8 into @p out, which needs room for 3 bytes; no
 * terminator is written.
 * @param len receives the bytes written, 1 to 3 (0 on failure; may be NULL)
 * @return 0; 31 when @p out is NULL.
 * @param out the output
 * @param wc the character
 */
CAIRN_API int ox_wc_to_utf8(char *out, ox_wchar wc, int *len);

/** @return the length in bytes of the first sequence of @p s (reading at
 *  most @p avail bytes), 0 for an empty or NULL string, -1 when the
 *  sequence is invalid or @p avail is 0. */
CAIRN_API int ox_utf8_len(const char *s, size_t avail);

/** @return the number of characters of @p s; 0 for NULL or empty text; -1
 *  at the first invalid or overlong sequence. */
CAIRN_API int ox_utf8s_len(const char *s);

/** @return 1 when the first sequence of @p s (at most @p avail bytes) is a
 *  valid character, else 0.  The empty string is a valid character (NUL). */
CAIRN_API int is_utf8_mb(const char *s, size_t avail);

/** @return 1 when ox_utf8s_len(@p s) is not negative (NULL and empty text
 *  are valid), else 0. */
CAIRN_API int is_utf8_mbs(const char *s);

/**
 * Bytes of the next character judged by shape alone: 0 for NULL or empty
 * text; 1 when the text is one byte long or its first byte is below 0xC0;
 * otherwise 1 plus the number of following bytes 0x80..0xBF, at most 6 in
 * all.  The lead byte's own class is not consulted.
 */
CAIRN_API int utf8_num_bytes_in_next_utf8_char(const char *s);

/** @return the bytes that the 8-bit text @p s needs as UTF-8 when each byte
 *  is one character: 1 per byte below 0x80, 2 per byte from 0x80; no
 *  terminator counted.  0 for NULL. */
CAIRN_API size_t ox_calc_utf8_len(const char *s);

/* ------------------------------------------------------------------------
 * String conversions.  @p count (may be NULL) receives the units written to
 * the output without the terminator.  Bad sequences never stop a
 * conversion: each is replaced by '?' after consuming exactly one byte.
 * ------------------------------------------------------------------------ */

/**
 * UTF-8 to wide text.  Stores at most @p size - 1 wide characters and a
 * terminating 0 (size 1 stores only the terminator).  Running out of room
 * is not reported: the conversion stops at the last whole character.
 * @param size output size in wide characters
 * @return 0, 1, or 31 when @p out or @p in is NULL (count 0).  An empty
 *         input stores an empty string and gives 0.
 * @param out the wide output
 * @param in the UTF-8 input
 * @param count receives the characters written (may be NULL)
 */
CAIRN_API int ox_utf8s_to_wcs(ox_wchar *out, const char *in, size_t size, size_t *count);

/**
 * Wide text to UTF-8 (1 to 3 bytes per character).
 * With @p out NULL the function only counts: *count is then the full length
 * and a later call needs a size of *count + 1.
 * @param size output size in bytes
 * @return 0; 46 when the text with its terminator does not fit in @p size
 *         (with @p out: stopped there, terminated; without: counting goes
 *         on); 31 when @p in is NULL (count 0).  An empty input stores an
 *         empty string and gives 0.
 * @param out the UTF-8 output, or NULL to count
 * @param in the wide input
 * @param count receives the bytes written or needed (may be NULL)
 */
CAIRN_API int ox_wcs_to_utf8s(char *out, const ox_wchar *in, size_t size, size_t *count);

/**
 * The current locale's multibyte text (LC_CTYPE) to UTF-8.  Each character
 * is read as the C library's multibyte conversion reads it (at most 5
 * bytes), taken as 16 bits and encoded as UTF-8; an unreadable byte becomes
 * '?'.  With @p out NULL the function only counts, as ox_wcs_to_utf8s().
 * @return 0, 1, 46 (stopped at the last whole character, terminated), or
 *         31 for NULL or empty input (an empty string is stored, count 0).
 */
CAIRN_API int ox_mbs_to_utf8s(char *out, const char *in, size_t size, size_t *count);

/**
 * UTF-8 to the current locale's multibyte text.  One-byte sequences are
 * copied as they are; a character from U+F880 to U+F8FF becomes the single
 * raw byte of its low 8 bits (so raw bytes survive a round trip); any other
 * character goes through the C library's conversion of the locale, and one
 * that the locale cannot express becomes '?'.  Stores at most @p size - 1
 * bytes and a terminator; a character whose bytes do not fit ends the
 * conversion without being reported.
 * @return 0, 1, or 31 for NULL or empty input or size 0 (an empty string is
 *         stored when there is room; count 0) or a NULL @p out.
 */
CAIRN_API int ox_utf8s_to_mbs(char *out, const char *in, size_t size, size_t *count);

/** The console ("OEM") code page is the locale's multibyte encoding on this
 *  platform: the same as ox_mbs_to_utf8s(). */
CAIRN_API int ox_mbsoem_to_utf8s(char *out, const char *in, size_t size, size_t *count);
/** The same as ox_utf8s_to_mbs(). */
CAIRN_API int ox_utf8s_to_mbsoem(char *out, const char *in, size_t size, size_t *count);

/**
 * Multibyte text and "mbts" text are both the locale's multibyte encoding
 * here, so these copy @p in unchanged, whole characters only: at most
 * @p size - 1 bytes and a terminator.
 * @return 0; 46 when the text did not fit (the output holds the whole
 *         characters that did); 31 for a NULL argument or size 0 (count 0).
 */
CAIRN_API int ox_mbs_to_mbts(char *out, const char *in, size_t size, size_t *count);
/** The same copy as ox_mbs_to_mbts(). */
CAIRN_API int ox_mbts_to_mbs(char *out, const char *in, size_t size, size_t *count);
/** The same as ox_utf8s_to_mbs(). */
CAIRN_API int ox_utf8s_to_mbts(char *out, const char *in, size_t size, size_t *count);

/**
 * Paths are UTF-8 already: a bounded copy of @p path into @p out (at most
 * @p size - 1 bytes, terminated).  A NULL path copies the empty string.
 * @param len receives the bytes copied (may be NULL)
 * @return 0 always.
 * @param out the output buffer
 * @param path the path
 * @param size the size of @p out
 */
CAIRN_API int ox_ensure_path_encoding(char *out, const char *path, size_t size, size_t *len);

/**
 * Copy @p in into @p out (size @p size) without splitting a character.
 * Text shorter than @p size is copied whole.  Otherwise the character that
 * begins at or before position size - 1 is left out whole (whether or not
 * it would have fitted) and everything before it is copied.
 * @return @p out; NULL (last error EINVAL) for NULL or empty input, NULL
 *         @p out or @p size below 7; NULL (last error EILSEQ) when the six
 *         bytes before position size are all continuation bytes.
 */
CAIRN_API char *utf8_truncate_to_char_boundary(const char *in, char *out, size_t size);

/* ------------------------------------------------------------------------
 * Bounded copies and concatenation
 * ------------------------------------------------------------------------ */

/**
 * Copy at most @p size - 1 bytes of @p src and terminate (when size > 0).
 * A NULL @p dst or size 0 only measures.
 * @return strlen(src); 0 for a NULL @p src (nothing is done).
 */
CAIRN_API size_t ox_strlcpy(char *dst, const char *src, size_t size);

/**
 * Append @p src to @p dst within @p size bytes in all, terminated.
 * @return the length the full result would have: the length of @p dst
 *         (within @p size) plus strlen(src); when @p dst has no terminator
 *         within @p size, size plus strlen(src) and nothing is written.
 *         A NULL @p src counts as empty; a NULL @p dst only measures src.
 */
CAIRN_API size_t ox_strlcat(char *dst, const char *src, size_t size);

/** @return the number of units before the terminating 0; 0 for NULL. */
CAIRN_API size_t ox_wcslen(const ox_wchar *s);

/** ox_strlcpy() for wide text: @p size counts wide characters. */
CAIRN_API size_t ox_wcslcpy(ox_wchar *dst, const ox_wchar *src, size_t size);

/** ox_strlcat() for wide text: @p size counts wide characters. */
CAIRN_API size_t ox_wcslcat(ox_wchar *dst, const ox_wchar *src, size_t size);

/* ------------------------------------------------------------------------
 * Comparison, search and case.  "Case-insensitive" means the ASCII letters
 * only: bytes from 0x80 (the parts of multibyte UTF-8 characters) are never
 * changed, so UTF-8 text stays valid.
 * ------------------------------------------------------------------------ */

/**
 * Compare after folding a..z to A..Z (folding to upper case decides, for
 * example, that '_' sorts after the letters).  All other bytes compare as
 * unsigned values.
 * @return 0 for the same pointer or equal text; otherwise the difference of
 *         the first differing folded bytes.  NULL compares as "".
 */
CAIRN_API int ox_straicmp(const char *a, const char *b);

/** @return the first occurrence of @p needle in @p haystack ignoring ASCII
 *  case; @p haystack for an empty needle; NULL when absent or for a NULL
 *  argument. */
CAIRN_API char *ox_stristr(const char *haystack, const char *needle);

/** ox_stristr() for wide text (units below 0x80 are folded). */
CAIRN_API ox_wchar *ox_wcsistr(const ox_wchar *haystack, const ox_wchar *needle);

/** @return the first occurrence of @p needle that lies wholly within the
 *  first @p len bytes of @p haystack (which ends earlier at its
 *  terminator); @p haystack for an empty needle; NULL when absent or for a
 *  NULL argument. */
CAIRN_API char *ox_strnstr(const char *haystack, const char *needle, size_t len);

/** @return how many times @p needle occurs in @p s, counted left to right
 *  without overlap; 0 for an empty or NULL needle or a NULL @p s. */
CAIRN_API size_t ox_strcount(const char *s, const char *needle);

/** Fold the ASCII letters of @p s to lower case in place.  @return @p s. */
CAIRN_API char *ox_strlower(char *s);
/** Fold the ASCII letters of @p s to upper case in place.  @return @p s. */
CAIRN_API char *ox_strupper(char *s);

/**
 * Replace, in place, every occurrence of @p from in @p s (found left to
 * right without overlap) by @p to.  @p s is a buffer of @p size bytes.
 * All or nothing: when the result would not fit in @p size - 1 bytes, @p s
 * is left unchanged.
 * @return the number of replacements (0 for an empty @p from); -1 with last
 *         error ENOBUFS when the result does not fit; -1 with last error
 *         ENOMEM (@p s unchanged) when a growing replacement cannot have
 *         its working storage; -1 with last error EINVAL for a NULL
 *         argument or when @p s has no terminator within @p size.
 *         Linear in the length of @p s.
 */
CAIRN_API int ox_strreplace(char *s, size_t size, const char *from, const char *to);

/**
 * Grow the allocated string @p s (NULL for none) and append @p tail.
 * @p s must come from the library's allocating calls or from malloc().
 * @return the (possibly moved) string, which the caller frees with free();
 *         @p s unchanged when @p tail is NULL; NULL on allocation failure
 *         (last error ENOMEM), in which case @p s is untouched and still the
 *         caller's.
 */
CAIRN_API char *ox_strappend(char *s, const char *tail);

/* ------------------------------------------------------------------------
 * Numbers
 * ------------------------------------------------------------------------ */

/** The value OX_STRTOLL_FAILED that ox_strtoll() returns on failure. */
#define OX_STRTOLL_FAILED INT64_MAX

/**
 * Parse @p text as a base-10 64-bit integer (leading white space allowed).
 * @return the value; 0 for empty text; INT64_MAX (OX_STRTOLL_FAILED) when
 *         the value is out of range, when characters follow the number,
 *         when there is no number, when the value is exactly INT64_MIN, and
 *         for NULL.
 */
CAIRN_API int64_t ox_strtoll(const char *text);

/* ------------------------------------------------------------------------
 * String vectors: NULL-terminated arrays of allocated strings.  The caller
 * frees a vector with ox_strvfree() and a joined string with free().
 * ------------------------------------------------------------------------ */

/**
 * @return a vector of @p n pointers, each to a zero-filled block of @p size
 *         bytes, plus a final NULL slot; NULL when any allocation fails
 *         (everything made so far is freed; last error ENOMEM) or when @p n
 *         is negative (last error EINVAL).
 */
CAIRN_API char **ox_strvalloc(int n, size_t size);

/**
 * Join the strings of @p v in order, with @p sep between neighbours (0 for
 * no separator).  An empty vector gives "".
 * @return a new string; NULL with last error ENOMEM when allocation fails,
 *         or EINVAL for a NULL vector.
 */
CAIRN_API char *ox_strvcat(char *const *v, char sep);

/** Free every string of @p v up to its NULL slot, then @p v.  NULL is
 *  ignored. */
CAIRN_API void ox_strvfree(char **v);

CAIRN_END_DECLS

#endif /* CAIRN_TEXT_H */
