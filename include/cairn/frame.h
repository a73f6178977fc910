/** @file
 * Runtime frame: the portable error model (and, as the library grows,
 * initialisation, process identity and exit handling). */
#ifndef CAIRN_FRAME_H
#define CAIRN_FRAME_H

#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/* ------------------------------------------------------------------------
 * Portable error codes
 *
 * One table drives the enum below and the library's mapping code.  Columns:
 *   code, name (the constant is OX_<name>),
 *   the errno that ox_error_to_errno() gives for the code (0: none),
 *   the errno that ox_error_from_errno() maps to the code (0: none).
 * errno columns name the platform's errno constants; the private errno
 * OX_ERRNO_PRIVATE (150) is unused by the system and carries OX_EPRIVATE.
 * ------------------------------------------------------------------------ */
/** The library's private errno, unused by the system. */
#define OX_ERRNO_PRIVATE 150

/** The table of portable codes, expanded with X(code, name, to_errno, from_errno) for each row. */
#define OX_ERROR_TABLE(X)                                                                          \
    X(0, SUCCESS, 0, 0)                                                                            \
    X(1, EUNKNOWN, 0, 0)                                                                           \
    X(2, ENULL, 0, 0)                                                                              \
    X(3, E2BIG, E2BIG, E2BIG)                                                                      \
    X(4, EACCES, EACCES, EACCES)                                                                   \
    X(5, EADDRINUSE, EADDRINUSE, EADDRINUSE)                                                       \
    X(6, EADDRNOTAVAIL, EADDRNOTAVAIL, EADDRNOTAVAIL)                                              \
    X(7, EAFNOSUPPORT, EAFNOSUPPORT, EAFNOSUPPORT)                                                 \
    X(8, EAGAIN, EAGAIN, EAGAIN)                                                                   \
    X(9, EALREADY, EINPROGRESS, 0)                                                                 \
    X(10, EBADF, EBADF, EBADF)                                                                     \
    X(11, EBADMSG, EBADMSG, EBADMSG)                                                               \
    X(12, EBUSY, EBUSY, EBUSY)                                                                     \
    X(13, ECANCELED, 0, 0)                                                                         \
    X(14, ECHILD, ECHILD, ECHILD)                                                                  \
    X(15, ECONNABORTED, ECONNABORTED, ECONNABORTED)                                                \
    X(16, ECONNREFUSED, ECONNREFUSED, ECONNREFUSED)                                                \
    X(17, ECONNRESET, ECONNRESET, ECONNRESET)                                                      \
    X(18, EDEADLK, EDEADLK, EDEADLK)                                                               \
    X(19, EDESTADDRREQ, EDESTADDRREQ, EDESTADDRREQ)                                                \
    X(20, EDOM, EDOM, EDOM)                                                                        \
    X(21, EDQUOT, EDQUOT, EDQUOT)                                                                  \
    X(22, EEXIST, EEXIST, EEXIST)                                                                  \
    X(23, EFAULT, EFAULT, EFAULT)                                                                  \
    X(24, EFBIG, EFBIG, EFBIG)                                                                     \
    X(25, EHOSTNOTFOUND, 0, 0)                                                                     \
    X(26, EHOSTUNREACH, EHOSTUNREACH, EHOSTUNREACH)                                                \
    X(27, EIDRM, EIDRM, EIDRM)                                                                     \
    X(28, EILSEQ, EILSEQ, EILSEQ)                                                                  \
    X(29, EINPROGRESS, EINPROGRESS, EINPROGRESS)                                                   \
    X(30, EINTR, EINTR, EINTR)                                                                     \
    X(31, EINVAL, EINVAL, EINVAL)                                                                  \
    X(32, EIO, EIO, EIO)                                                                           \
    X(33, EISCONN, EISCONN, EISCONN)                                                               \
    X(34, EISDIR, EISDIR, EISDIR)                                                                  \
    X(35, ELOOP, ELOOP, ELOOP)                                                                     \
    X(36, EMFILE, EMFILE, EMFILE)                                                                  \
    X(37, EMLINK, EMLINK, EMLINK)                                                                  \
    X(38, EMSGSIZE, EMSGSIZE, EMSGSIZE)                                                            \
    X(39, EMULTIHOP, 0, 0)                                                                         \
    X(40, ENAMETOOLONG, ENAMETOOLONG, ENAMETOOLONG)                                                \
    X(41, ENETDOWN, ENETDOWN, ENETDOWN)                                                            \
    X(42, ENETRESET, ENETRESET, ENETRESET)                                                         \
    X(43, ENETUNREACH, ENETUNREACH, ENETUNREACH)                                                   \
    X(44, ENFILE, ENFILE, ENFILE)                                                                  \
    X(45, ENORECOVERY, 0, 0)                                                                       \
    X(46, ENOBUFS, ENOBUFS, ENOBUFS)                                                               \
    X(47, ENODATA, ENODATA, ENODATA)                                                               \
    X(48, ENODEV, ENODEV, ENODEV)                                                                  \
    X(49, ENOENT, ENOENT, ENOENT)                                                                  \
    X(50, ENOEXEC, ENOEXEC, ENOEXEC)                                                               \
    X(51, ENOLCK, ENOLCK, ENOLCK)                                                                  \
    X(52, ENOLINK, ENOLINK, ENOLINK)                                                               \
    X(53, ENOMEM, ENOMEM, ENOMEM)                                                                  \
    X(54, ENOMSG, ENOMSG, ENOMSG)                                                                  \
    X(55, ENOPROTOOPT, ENOPROTOOPT, ENOPROTOOPT)                                                   \
    X(56, ENOSPC, ENOSPC, ENOSPC)                                                                  \
    X(57, ENOSR, ENOSR, ENOSR)                                                                     \
    X(58, ENOSTR, ENOSTR, ENOSTR)                                                                  \
    X(59, ENOSYS, ENOSYS, ENOSYS)                                                                  \
    X(60, ENOTCONN, ENOTCONN, ENOTCONN)                                                            \
    X(61, ENOTDIR, ENOTDIR, ENOTDIR)                                                               \
    X(62, ENOTEMPTY, ENOTEMPTY, ENOTEMPTY)                                                         \
    X(63, ENOTSOCK, ENOTSOCK, ENOTSOCK)                                                            \
    X(64, ENOTSUP, ENOTSUP, ENOTSUP)                                                               \
    X(65, ENOTTY, ENOTTY, ENOTTY)                                                                  \
    X(66, ENXIO, ENXIO, ENXIO)                                                                     \
    X(67, EOPNOTSUPP, 0, 0)                                                                        \
    X(68, EOVERFLOW, EOVERFLOW, EOVERFLOW)                                                         \
    X(69, EPERM, EPERM, EPERM)                                                                     \
    X(70, EPIPE, EPIPE, EPIPE)                                                                     \
    X(71, EPROTO, EPROTO, EPROTO)                                                                  \
    X(72, EPROTONOSUPPORT, EPROTONOSUPPORT, EPROTONOSUPPORT)                                       \
    X(73, EPROTOTYPE, EPROTOTYPE, EPROTOTYPE)                                                      \
    X(74, ERANGE, ERANGE, ERANGE)                                                                  \
    X(75, EROFS, EROFS, EROFS)                                                                     \
    X(76, ESOCKTNOSUPPORT, 0, 0)                                                                   \
    X(77, ESPIPE, ESPIPE, ESPIPE)                                                                  \
    X(78, ESRCH, ESRCH, ESRCH)                                                                     \
    X(79, ESTALE, ESTALE, ESTALE)                                                                  \
    X(80, ETIME, ETIME, ETIME)                                                                     \
    X(81, ETIMEDOUT, ETIMEDOUT, ETIMEDOUT)                                                         \
    X(82, ETXTBSY, ETXTBSY, ETXTBSY)                                                               \
    X(83, EWOULDBLOCK, 0, 0)                                                                       \
    X(84, EXDEV, EXDEV, EXDEV)                                                                     \
    X(85, EPRIVATE, 0, OX_ERRNO_PRIVATE)

/** Expands one row of the table into an enumerator (undefined after use). */
#define OX_ERROR_ENUM_ENTRY_(code, name, to_errno, from_errno) OX_##name = code,
/** Portable error codes: 0 success, 1 unknown, 2 NULL handle or argument,
 *  3..84 the POSIX conditions in alphabetical order, 85 library-specific. */
enum ox_error_code { OX_ERROR_TABLE(OX_ERROR_ENUM_ENTRY_) OX_ERROR_CODE_COUNT };
#undef OX_ERROR_ENUM_ENTRY_

/** Kinds of native code kept in a thread's last error. */
enum ox_error_kind {
    OX_ERRKIND_ERRNO = 1,    /**< C library errno */
    OX_ERRKIND_RESOLVER = 2, /**< getaddrinfo() result (EAI_*) */
    OX_ERRKIND_WIN32 = 3,    /**< Win32 system error code */
    OX_ERRKIND_WINSOCK = 4,  /**< Winsock error code */
    OX_ERRKIND_VSS = 5       /**< volume-shadow-copy HRESULT */
};

/** Bit of an ox_strerror() argument that selects a Win32 code. */
#define OX_STRERROR_WIN32 0x10000000u

/**
 * Store (kind, code) as the calling thread's last error.
 * When @p kind is OX_ERRKIND_ERRNO, errno is also set to @p code.
 * @return the portable code for the pair (1 when it has no mapping).
 * If the thread's error record cannot be allocated nothing is stored.
 */
CAIRN_API int ox_error_set_last(uint32_t code, int kind);

/** @return the portable code of the calling thread's last error, 0 when the
 *  thread has none. */
CAIRN_API int ox_error_get_last(void);

/**
 * The calling thread's last error as its native pair.
 * @param kind receives the kind (may be NULL); 1 when the thread has none.
 * @return the native code (0 when the thread has none).
 */
CAIRN_API uint32_t ox_error_get_last_native(int *kind);

/** Pure mappings of native codes to portable codes; unknown values give 1. */
CAIRN_API int ox_error_from_errno(int err);
/** Portable code of a Win32 code, a Winsock code or a resolver (EAI_*) result; 1 when it has no
 *  mapping. */
CAIRN_API int ox_error_from_win32(uint32_t win32);
CAIRN_API int ox_error_from_winsock(uint32_t wsa); /**< @copydoc ox_error_from_win32() */
CAIRN_API int ox_error_from_resolver(int eai);     /**< @copydoc ox_error_from_win32() */
/** Portable code of any native pair, as ox_error_set_last() computes it. */
CAIRN_API int ox_error_from_native(uint32_t code, int kind);

/** @return the errno for a portable code; 0 for codes without one and for
 *  every code above 84. */
CAIRN_API int ox_error_to_errno(int code);

/** Store (OX_ERRKIND_WIN32, @p win32) as the last error.
 *  @return ox_error_to_errno(ox_error_from_win32(win32)). */
CAIRN_API int ox_errno_from_win32(uint32_t win32);

/**
 * Write the text of the calling thread's last error into @p buf as UTF-8,
 * always terminated and never longer than @p size - 1 bytes.  Does nothing
 * when @p buf is NULL or @p size is 0 or less.  Networking errno values are
 * reported through their Winsock counterparts and the thread's record is
 * rewritten to that kind.  Unknown codes read "Unknown error".
 */
CAIRN_API void ox_error_get_message(char *buf, int size);

/**
 * Text of an errno value, or of a Win32 code when OX_STRERROR_WIN32 is set
 * in @p code.  The text lives in a per-thread buffer of 1024 bytes that stays
 * valid until the thread's next ox_strerror().  The thread's last error and
 * errno are left unchanged.  Never returns NULL.
 */
CAIRN_API char *ox_strerror(uint32_t code);

/* ------------------------------------------------------------------------
 * Exit handlers: run last registered first when the process ends, through
 * ox_exit(), the C library's normal exit, or an explicit call.
 * ------------------------------------------------------------------------ */

/** A handler: takes nothing, returns nothing. */
typedef void (*ox_exit_handler)(void);

/** When non-zero, exit-time clean-up of thread-storage keys destroys the
 *  keys themselves, not only the calling thread's values.  0 at load. */
CAIRN_API extern int32_t Ox_atexit_ox_threadstorage_destroy;

/** Register @p handler at the head of the list (it runs before every handler
 *  registered earlier).  A handler registered twice runs twice.
 *  @return 0, or the list's error code (2 for a NULL handler). */
CAIRN_API int ox_atexit(ox_exit_handler handler);
/** Remove the most recent registration of @p handler.
 *  @return 0, or 49 when it is not registered. */
CAIRN_API int ox_unatexit(ox_exit_handler handler);
/** Enable (the default) or disable exit handling by ox_exit() and by the C
 *  library's exit processing. */
CAIRN_API void ox_atexit_enable(void);
/** Disable exit handling (see ox_atexit_enable()). */
CAIRN_API void ox_atexit_disable(void);
/** Run and remove every handler now, newest first (handlers registered
 *  meanwhile run in the same pass), then tear the list down.  When exit
 *  handling is disabled this also sets Ox_atexit_ox_threadstorage_destroy. */
CAIRN_API void ox_atexit_execute_and_remove_all(void);
/** 1 once the C library's exit processing has reached the library's hook
 *  (never cleared); 0 before, also during an explicit
 *  ox_atexit_execute_and_remove_all(). */
CAIRN_API int ox_atexit_is_executing(void);
/** Flush and close standard output and error, run the handlers when exit
 *  handling is enabled, and end the process with @p status. */
CAIRN_API void ox_exit(int status);

/* ------------------------------------------------------------------------
 * Program identity
 * ------------------------------------------------------------------------ */

/** Record the program name from @p argv0: its base name (either separator),
 *  cut at the first '.', in lower case ("C:\dir\Backup.Tool.EXE" gives
 *  "backup").  NULL or empty is ignored. */
CAIRN_API void ox_set_progname(const char *argv0);
/** Copy the program name into @p dst (at most @p n - 1 bytes, terminated);
 *  "(pid N)" when none was set.  @return @p dst, or NULL with last error
 *  errno 22 when @p dst is NULL or @p n is not positive. */
CAIRN_API char *ox_get_progname(char *dst, int n);

/* ------------------------------------------------------------------------
 * Initialisation
 * ------------------------------------------------------------------------ */

/**
 * Initialise the library for this process; call it once at start, before
 * anything else.  @p name is the application name and may carry a catalog
 * selector after a '-' ("bxr-fr").  The first call snapshots the
 * environment, records the program name (from @p argv[0]), finds the
 * application and installation directories, chooses the debug-control file
 * and converts @p argv to UTF-8 in place.  Later calls redo only the cheap
 * steps.  Ends with the thread's last error cleared.
 */
CAIRN_API void _oxinit(const char *name, int argc, char **argv);
/** _oxinit(name, 0, NULL).  @return the product name. */
CAIRN_API const char *oxinit(const char *name);

/** The application name given to the first initialisation (before any
 *  '-'), or NULL. */
CAIRN_API const char *get_saved_appname(void);
/** The catalog selector given after '-' in the initialisation name, or
 *  NULL.  Kept for the message layer. */
CAIRN_API const char *get_saved_catalog(void);
/** The process's real and effective user and group ids as captured at
 *  initialisation (captured now if it has not run).  Either pointer may be
 *  NULL. */
CAIRN_API void get_saved_uids(uint32_t *ruid, uint32_t *euid);
/** The real and effective group ids captured at initialisation (either pointer may be NULL). */
CAIRN_API void get_saved_gids(uint32_t *rgid, uint32_t *egid);
/** Repeat the application-directory lookup for the saved application name. */
CAIRN_API void re_init_locales(void);

/** Keep a private copy of @p argv0 (NULL is ignored). */
CAIRN_API void ox_set_argv0(const char *argv0);
/** The copy kept by ox_set_argv0(), or NULL. */
CAIRN_API const char *ox_get_argv0(void);

/**
 * Replace @p argv[0] .. @p argv[argc - 1] in place by their UTF-8 forms
 * (the command line is read in the current locale's encoding), all stored
 * in one buffer.  @p buffer_out (may be NULL) receives that buffer, which
 * the caller then owns; otherwise it lives for the process.  Does nothing
 * when @p argv is NULL.
 */
CAIRN_API void utf8_argv(int argc, char **argv, char **buffer_out);

/* ------------------------------------------------------------------------
 * The product's directory tree.  Strings belong to the library and stay
 * valid for the life of the process.  Each is NULL while the application
 * directory is unknown; a failed lookup is tried again on the next call.
 * ------------------------------------------------------------------------ */

/** Record @p argv0 and, once, the installation directory: the parent of the
 *  directory holding the running executable.  NULL for a NULL argument. */
CAIRN_API const char *ox_find_installdir(const char *argv0);
/** The installation directory, or NULL before ox_find_installdir(). */
CAIRN_API const char *ox_get_installdir(void);
/** The application directory joined with "applogs", "bin", "cores", "cst",
 *  "debug", "etc", "gls", "index", "lib", "logs", "mm", "mod", "rap",
 *  "res" and "tmp". */
CAIRN_API const char *ox_get_applogsdir(void);
/** A directory of the application tree (bin, cores, cst, debug, etc, gls, index, lib, logs, mm,
 *  mod, rap, res, tmp): the application directory joined with that name, computed once; NULL when
 *  the application directory is unknown. */
CAIRN_API const char *ox_get_bindir(void);
CAIRN_API const char *ox_get_coresdir(void); /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_cstdir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_debugdir(void); /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_etcdir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_glsdir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_indexdir(void); /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_libdir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_logsdir(void);  /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_mmdir(void);    /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_moddir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_rapdir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_resdir(void);   /**< @copydoc ox_get_bindir() */
CAIRN_API const char *ox_get_tmpdir(void);   /**< @copydoc ox_get_bindir() */
/** ox_get_tmpdir() joined with "sec". */
CAIRN_API const char *ox_get_securedir(void);

/** Set the crypto library's search path "R_SHLIB_LD_LIBRARY_PATH" to
 *  @p dir joined with @p sub ("bin" when NULL); with @p dir NULL the
 *  installation directory is used.  Nothing is set when no path results. */
CAIRN_API void ox_set_fips_path(const char *dir, const char *sub);

/* ------------------------------------------------------------------------
 * Environment
 * ------------------------------------------------------------------------ */

/**
 * The value of @p name, or NULL when unset (or on failure).  Values are
 * cached: every pointer returned stays valid for the life of the process,
 * also after ox_putenv() changes the variable.
 */
CAIRN_API const char *ox_getenv(const char *name);
/**
 * Set "NAME=value" in the process environment (an empty value removes the
 * variable) and in the environment snapshot; the next ox_getenv() of NAME
 * sees the new value.  @return 0, or -1 with errno set (EINVAL when
 * @p assignment is NULL or has no '=').
 */
CAIRN_API int ox_putenv(const char *assignment);
/**
 * A number from the environment, by a spec "NAME=DEFAULT,MIN:MAX": the
 * text is NAME's value or DEFAULT; "%N" gives N percent of @p base, "<N"
 * the smaller and ">N" the larger of @p base and N, "=N" N, "D" @p base,
 * anything else the text read as a decimal number.  The result is clamped
 * to MIN..MAX (an empty or "*" MIN is 0x80000000, MAX 0xFFFFFFFF).  A spec
 * without NAME or DEFAULT prints a fatal message and aborts the process.
 */
CAIRN_API unsigned long ox_getenv_ulong(const char *spec, unsigned long base);

/* ------------------------------------------------------------------------
 * Product information
 * ------------------------------------------------------------------------ */

/** The product name, "Quillmark". */
CAIRN_API const char *ox_product_get_string(void);
/** The value of the product information line holding @p key ("Product",
 *  "Release", "Build number", ...), or "" when none.  Owned by the library. */
CAIRN_API const char *ox_product_get_value(const char *key);
/** Print every product information line to standard error. */
CAIRN_API void oxprint_productinfo(void);

CAIRN_END_DECLS

#endif /* CAIRN_FRAME_H */
