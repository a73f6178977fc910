/** @file
 * Export and linkage macros shared by every public header of libcairn. */
#ifndef CAIRN_EXPORT_H
#define CAIRN_EXPORT_H

/** @def CAIRN_API
 *  Marks a function or variable that the library exports.
 *  @def CAIRN_BEGIN_DECLS
 *  Opens C linkage around a header's declarations when read as C++.
 *  @def CAIRN_END_DECLS
 *  Closes what CAIRN_BEGIN_DECLS opened.
 *  @def CAIRN_PRINTF
 *  Lets the compiler check a printf-style format (argument @p fmt_index)
 *  and its arguments (from @p first_arg). */

/* CAIRN_API marks a function or variable that the shared library exports.
 * Everything else in the library is built with hidden visibility. */
#if defined(CAIRN_STATIC_DEFINE)
#define CAIRN_API
#elif defined(__GNUC__) || defined(__clang__)
#define CAIRN_API __attribute__((visibility("default")))
#else
#define CAIRN_API
#endif

/* Every public header opens and closes C linkage with these. */
#ifdef __cplusplus
#define CAIRN_BEGIN_DECLS extern "C" {
#define CAIRN_END_DECLS }
#else
#define CAIRN_BEGIN_DECLS
#define CAIRN_END_DECLS
#endif

/* printf-style argument checking for the formatting entry points. */
#if defined(__GNUC__) || defined(__clang__)
#define CAIRN_PRINTF(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))
#else
#define CAIRN_PRINTF(fmt_index, first_arg)
#endif

#endif /* CAIRN_EXPORT_H */
