/** @file
 * Files and paths: one canonical spelling for paths written with either
 * separator, their parents, children, depths and names, and the conversion
 * of UTF-8 paths into absolute wide system paths. */
#ifndef CAIRN_PATHS_H
#define CAIRN_PATHS_H

#include <stddef.h>
#include <stdint.h>

#include "cairn/export.h"
#include "cairn/text.h"

CAIRN_BEGIN_DECLS

/* ------------------------------------------------------------------------
 * Conventions
 *
 * A path is NUL-terminated UTF-8.  Every function exists with an explicit
 * separator (the _dirsep forms, taking '/' or '\\') and, where it has a
 * short form, that form uses '\\'.  With '\\' the rules for drive letters
 * ("C:") and UNC names (two leading separators) apply, and '/' counts as a
 * separator too wherever a path is split into components; with '/' the
 * plain POSIX rules apply.
 *
 * Components are the texts between separators.  "." names the directory
 * itself and ".." its parent.  The root string is "/" in both modes.
 *
 * Errors: a NULL argument, or a separator other than '/' and '\\', sets the
 * thread's last error to errno 22 (EINVAL) and gives the failure result the
 * function documents (NULL, -1 or 0).
 * ------------------------------------------------------------------------ */

/** Size of the library's path buffers, terminator included. */
#define OX_PATH_MAX 13312

/* Wide paths use the library's 16-bit wide text, ox_wchar (cairn/text.h). */

/* ------------------------------------------------------------------------
 * UNC names (separator '\\'; '/' is accepted in their place)
 *
 * A UNC name begins with two separators.  After its prefix it names:
 *   OX_UNC_SHARE       \\server\share[\file path] or the long form
 *                      \\?\UNC\server\share[\file path]
 *   OX_UNC_SERVER      a server without a share: \\server, \\server\,
 *                      or an empty server or share name (\\\x, \\s\\x)
 *   OX_UNC_DEVICE      \\.\device[\...]
 *   OX_UNC_NAMESPACE   \\?\ followed by anything but a drive or UNC\
 *                      (volume and device names of the system namespace)
 *   OX_UNC_LONG_DRIVE  \\?\X:[file path], a drive path in long form
 * Only OX_UNC_SHARE and OX_UNC_LONG_DRIVE names carry a file path part, the
 * part that canonicalisation works on; the others are left as they are.
 * ------------------------------------------------------------------------ */

#define OX_UNC_NONE 0       /**< A kind of UNC name as get_unc_obj_type() reports it. */
#define OX_UNC_SHARE 1      /**< A kind of UNC name as get_unc_obj_type() reports it. */
#define OX_UNC_SERVER 2     /**< A kind of UNC name as get_unc_obj_type() reports it. */
#define OX_UNC_DEVICE 3     /**< A kind of UNC name as get_unc_obj_type() reports it. */
#define OX_UNC_NAMESPACE 4  /**< A kind of UNC name as get_unc_obj_type() reports it. */
#define OX_UNC_LONG_DRIVE 5 /**< A kind of UNC name as get_unc_obj_type() reports it. */

/** @return 1 when @p path begins with two separators ('\\' or '/'), else 0
 *  (also for NULL). */
CAIRN_API int is_unc_path(const char *path);

/** @return the UNC object type of @p path (OX_UNC_SHARE ... OX_UNC_LONG_DRIVE),
 *  OX_UNC_NONE when it is not a UNC name or is NULL. */
CAIRN_API int get_unc_obj_type(const char *path);

/**
 * The file path part of a UNC name of type OX_UNC_SHARE (from the separator
 * after the share name) or OX_UNC_LONG_DRIVE (from just after "X:").
 * @return a pointer into @p path, or NULL when there is no such part (other
 *         types, a name that ends after the share or drive, NULL).
 */
CAIRN_API const char *get_unc_file_path(const char *path);

/**
 * Skip the prefix of a wide UNC name: "\\?\UNC\" (8 units, "UNC" in any
 * case), "\\?\" or "\\.\" (4 units), or "\\" (2 units).
 * @return the position after the prefix; @p path itself when it is not a
 *         UNC name; NULL for NULL.
 */
CAIRN_API const ox_wchar *unc_skip_prefixw(const ox_wchar *path);

/* ------------------------------------------------------------------------
 * Canonical forms
 * ------------------------------------------------------------------------ */

/**
 * Write the canonical form of @p in to @p out (which may be @p in; it needs
 * strlen(in) + 1 bytes, and at least 2 when it is not @p in).
 *
 * With '\\': every '/' becomes '\\', one trailing '"' is dropped and the
 * drive or server part is upper-cased (convertDriveToUpper()); a UNC name
 * of a type without a file path part is then left as it is, and for the
 * two types with one only that part is worked on.
 *
 * Then: runs of separators collapse to one, except where the character
 * after the next separator is '?' (so a long-path prefix survives);
 * trailing separators are removed; "." components are removed and each
 * ".." removes the component before it (never reaching into a UNC prefix).
 * A path that reduces to nothing becomes "/": /a/./b/../c gives /a/c, /..
 * and /a/.. give "/", a//b/ gives a/b, c:/Temp//x/./y/.. gives C:\Temp\x.
 *
 * Relative paths (see ispathrelative()) stay relative: a leading "." is
 * dropped as well, a ".." that has nothing left to remove is kept at the
 * front, and a relative path that reduces to nothing becomes ".":
 * ./a gives a, a/../b gives b, a/.. gives ".", ../x and a/../../x give
 * ../x.  The empty string, like a path of separators only, gives "/".
 *
 * @return @p out; NULL for NULL arguments or a bad separator; NULL with
 *         last error ENOBUFS, @p in unchanged, for the empty string in
 *         place (its buffer cannot be known to hold "/").
 */
CAIRN_API char *canon_dirsep(const char *in, char *out, int sep);
/** canon_dirsep() with '\\'. */
CAIRN_API char *canon(const char *in, char *out);

/**
 * Write the canonical absolute form of @p name to @p out, which must hold
 * OX_PATH_MAX bytes (and may be @p name).  Relative names are joined to
 * @p cwd, or to the current directory when @p cwd is NULL; one trailing
 * '\\' of that directory is dropped unless it is one character long.
 *   - a name beginning with '/' is canonicalised with '/' whatever @p sep;
 *   - with '/': cwd, '/', name;
 *   - with '\\': a UNC name as it is; a name beginning with '\\' gets the
 *     directory's drive letter and ':' in front; a name without ':' is
 *     joined as cwd, '\\', name; a drive-relative name (c:data) on the
 *     directory's drive (ignoring case) is joined as cwd, '\\', data, on
 *     another drive it stays as it is; any other name stays as it is.
 * @return @p out; NULL when the current directory cannot be read (@p out
 *         is then not written), when the joined path would not fit in
 *         OX_PATH_MAX bytes (last error ENAMETOOLONG, @p out empty), or for
 *         NULL arguments or a bad separator.
 */
CAIRN_API char *fullcanon_dirsep(const char *name, char *out, const char *cwd, int sep);
/** fullcanon_dirsep() with '\\'. */
CAIRN_API char *fullcanon(const char *name, char *out, const char *cwd);

/**
 * Upper-case, in place, the drive or server part of @p path.
 * UNC name: the letters between its prefix and the next separator (for
 * OX_UNC_SHARE the one after the share: server and share); nothing when
 * no such separator follows.  The letters are case-mapped as wide
 * characters (towupper() of the current locale); the rest of the path is
 * kept byte for byte, and the path is left as it is when the mapped part
 * would need more bytes than it had (or, for names beyond 512 bytes, when
 * memory for the mapping runs out: last error ENOMEM).
 * Other paths: when a ':' follows the first character, the ASCII letters
 * before the first ':' (c:\x gives C:\x).
 * @return @p path; NULL for NULL.
 */
CAIRN_API char *convertDriveToUpper(char *path);

/* ------------------------------------------------------------------------
 * Separators at the end of a path (changed in place)
 *
 * Appending never lengthens a path beyond OX_PATH_MAX - 1 bytes; the caller
 * provides the room up to that.
 * ------------------------------------------------------------------------ */

/** Append @p sep unless @p path is "/" or already ends with it.
 *  @return @p path; NULL for NULL or a bad separator. */
CAIRN_API char *adddirsep(char *path, int sep);
/** adddirsep() for wide paths (the limit counts 16-bit units). */
CAIRN_API ox_wchar *adddirsepw(ox_wchar *path, int sep);

/** Remove trailing @p sep characters, never the first character.
 *  @return how many were removed (0 for paths shorter than 2, for NULL and
 *  for a bad separator). */
CAIRN_API int rmdirsep(char *path, int sep);

/** Remove trailing separators, then append @p count of them (count - 1 when
 *  the path is "/"); nothing is appended when that number is below 1.
 *  @return @p path; NULL for NULL or a bad separator. */
CAIRN_API char *setdirsep(char *path, int count, int sep);

/* ------------------------------------------------------------------------
 * Parents, children, depth
 *
 * Functions that take an output buffer and its size write there when it is
 * given; with a NULL buffer they allocate one from the library's allocator,
 * which the caller releases with ox_path_free().  A result that does not
 * fit sets errno ENOSPC (last error) and gives NULL.
 * ------------------------------------------------------------------------ */

/**
 * The parent of @p path.  With '\\' the parent of a UNC name without a file
 * path part longer than one character, of a type other than OX_UNC_SHARE and
 * OX_UNC_LONG_DRIVE, is "/".  "/" has the parent "/".  Otherwise the parent
 * is everything before the last separator (one separator at the very end
 * does not count); a cut at the start gives "/".  Without a separator: with
 * '/' there is no parent; with '\\' a path with ':' has the part up to the
 * ':' as parent (C:\a gives C:, c:data gives c:), or "/" when only nothing
 * or a single '\\' follows the ':' (C:\ and C: give "/").
 * /a/b and /a/b/ give /a; /a gives "/".
 * @param out buffer of @p size bytes (may be @p path), or NULL to allocate
 *        strlen(path) + 1 bytes.  A given buffer other than @p path is
 *        first set to the empty string.
 * @return the parent; NULL when there is none (a NULL or empty path, a
 *         relative name without separator), when it does not fit (ENOSPC),
 *         or when allocation fails (ENOMEM).
 * @param path the path
 * @param size the size of @p out
 * @param sep the separator, '/' or '\\'
 */
CAIRN_API char *getpathparent_dirsep(const char *path, char *out, size_t size, int sep);
/** getpathparent_dirsep() with '\\'. */
CAIRN_API char *getpathparent(const char *path, char *out, size_t size);

/**
 * The child of @p parent on the way down to @p path: @p path cut after its
 * first component below @p parent, so that getpathparent() of the result is
 * @p parent.  @p path lies below @p parent when it begins with it (bytes
 * compared exactly: pass canonical forms) and the next character is a
 * separator, or @p parent ends with a separator (or, with '\\', with ':').
 * The children of the root "/" are /x with '/'; with '\\' they are drive
 * names (C:), UNC roots (\\server\share, or the whole name for types
 * without a file path part) and \x.
 * /a/b/c under /a gives /a/b; C:\a\b under C: gives C:\a.
 * @param out as for getpathparent_dirsep().
 * @return the child; NULL when @p path does not lie strictly below
 *         @p parent (last error untouched), when it does not fit (ENOSPC),
 *         on allocation failure (ENOMEM), or for NULL arguments or a bad
 *         separator (EINVAL).
 * @param path the path below @p parent
 * @param parent its ancestor
 * @param size the size of @p out
 * @param sep the separator, '/' or '\\'
 */
CAIRN_API char *getpathchild_dirsep(const char *path, const char *parent, char *out, size_t size,
                                    int sep);
/** getpathchild_dirsep() with '\\'. */
CAIRN_API char *getpathchild(const char *path, const char *parent, char *out, size_t size);

/**
 * @return 1 when @p path is relative, else 0.  With '/': relative unless it
 * begins with '/'.  With '\\': not relative when it is a UNC name, "/", or
 * begins with '\\'; otherwise relative exactly when it contains no ':'.
 * NULL or a bad separator: 0.
 */
CAIRN_API int ispathrelative(const char *path, int sep);

/**
 * The number of components below the root: each separator followed by
 * another character counts, and with '\\' each ':' not followed by a
 * separator.  "/" is 0, /a 1, /a/b 2, a/b 1, C:\ 0, C:\a 1, c:data 1.
 * With '\\' a UNC name of a type other than OX_UNC_SHARE, or without a file
 * path part longer than one character, has depth 1; otherwise counting
 * starts at 1 on its file path part (\\server\share\a is 2).
 * @return the depth; -1 for NULL or a bad separator.
 */
CAIRN_API int getpathdepth_dirsep(const char *path, int sep);
/** getpathdepth_dirsep() with '\\'. */
CAIRN_API int getpathdepth(const char *path);

/* ------------------------------------------------------------------------
 * Names
 *
 * The root of a path is "/" (a leading separator), with '\\' also a drive
 * name with at most one separator after it (C:, C:\) or a UNC root
 * (\\server\share with at most one separator after it; the whole name for
 * types without a file path part).
 * ------------------------------------------------------------------------ */

/**
 * The last component of @p path, trailing separators ignored: /a/b/ gives
 * b, C:\x gives x, c:x gives x.  A path that is only a root gives the root
 * as written ("/", C:\); the empty string gives ".".
 * @param out as for getpathparent_dirsep().
 * @return the name, or NULL (ENOSPC, ENOMEM, EINVAL) as there.
 * @param path the path
 * @param size the size of @p out
 * @param sep the separator, '/' or '\\'
 */
CAIRN_API char *ox_path_basename(const char *path, char *out, size_t size, int sep);

/**
 * Everything before the last component, without the separators between
 * them, but keeping the root: /a/b gives /a, /a gives "/", a gives ".",
 * a/b/ gives a, C:\a gives C:\, c:a gives c:.  A path that is only a root
 * gives the root; the empty string gives ".".  Unlike getpathparent() it
 * always has an answer and keeps the root's separator.
 * @param out as for getpathparent_dirsep().
 * @return the directory, or NULL (ENOSPC, ENOMEM, EINVAL) as there.
 * @param path the path
 * @param size the size of @p out
 * @param sep the separator, '/' or '\\'
 */
CAIRN_API char *ox_path_dirname(const char *path, char *out, size_t size, int sep);

/**
 * Clean up a path as typed or read from a file, in place: remove leading
 * and trailing white space, then one leading and one trailing '"', then
 * trailing separators after the root.  " \"C:\\x\\\" " gives C:\x.
 * @return @p path; NULL for NULL or a bad separator.
 */
CAIRN_API char *ox_path_strip(char *path, int sep);

/** Release a buffer that a path function allocated.  NULL is ignored. */
CAIRN_API void ox_path_free(void *buf);

/* ------------------------------------------------------------------------
 * Absolute paths
 * ------------------------------------------------------------------------ */

/**
 * The current directory (UTF-8) in @p buf of @p size bytes.
 * @return @p buf; NULL when @p buf is NULL or @p size 0 (EINVAL), or when
 *         the directory cannot be read or does not fit (the system's errno,
 *         ERANGE for too small, as last error).
 */
CAIRN_API char *ox_getcwd(char *buf, size_t size);

/**
 * The canonical absolute form of @p name relative to the current directory,
 * as fullcanon_dirsep() makes it, in a buffer of the caller's size.
 * @param out as for getpathparent_dirsep() (allocated at the result's
 *        length plus 1 when NULL).
 * @return the path, or NULL as fullcanon_dirsep() or when it does not fit
 *         (ENOSPC) or cannot be allocated (ENOMEM).
 * @param name the path to make absolute
 * @param size the size of @p out
 * @param sep the separator, '/' or '\\'
 */
CAIRN_API char *fullpath(const char *name, char *out, size_t size, int sep);

/** fullpath() relative to @p dir instead of the current directory (the
 *  current directory when @p dir is NULL). */
CAIRN_API char *fullpath2(const char *name, const char *dir, char *out, size_t size, int sep);

/**
 * The system form of a UTF-8 path: absolute, wide, with '\\' separators and
 * the long-path prefix.
 * 1. Made absolute: a path beginning with two backslashes, or whose second
 *    character is ':', as it is; "." is the current directory; a path
 *    beginning with '\\' or '/' gets the directory's first two characters
 *    (its drive) in front; any other path is joined as directory, '\\',
 *    path, after leading "./" (".\") components are skipped and each
 *    leading "../" ("..\") has removed the directory's last component.
 *    Names such as .profile or .. (dots not followed by a separator) are
 *    joined like any other name.  Except in the first case, '/' becomes
 *    '\\' and one trailing '\\' is removed from a result of 4 characters
 *    or more.
 * 2. Converted to 16-bit wide text; every '/' becomes '\\'.
 * 3. A path that began with two backslashes and a '.' or '?' is written as
 *    it is; one that began with two backslashes otherwise gets the long UNC
 *    prefix \\?\UNC\ in place of them; any other path gets \\?\ in front.
 * @param size the size of @p out in 16-bit units.
 * @param after_prefix when not NULL, receives the position in @p out just
 *        after the prefix that was written (@p out itself when none was).
 * @return 0 on success; 31 when the path cannot be made absolute (the
 *         current directory cannot be read or has too few characters left
 *         for a "../", or the result would exceed OX_PATH_MAX - 1 bytes:
 *         last error ENAMETOOLONG); 46 when @p out is too small; 1 when
 *         bytes that are not UTF-8 were replaced by '?'; 53 when memory
 *         for measuring a long path runs out; 31 for NULL arguments or
 *         size 0.  On any result but 0, @p out holds the empty
 *         string (when @p size > 0).
 * @param path the UTF-8 path
 * @param out the wide output of @p size characters
 */
CAIRN_API int ox_utf8_to_widepath(const char *path, ox_wchar *out, size_t size,
                                  ox_wchar **after_prefix);

/* ------------------------------------------------------------------------
 * Separator check
 * ------------------------------------------------------------------------ */

struct msg_t;
/**
 * NULL when @p path holds no '/'; otherwise a message object (the calling
 * thread's ring, cairn/messages.h) numbered 34252 with severity 10019:
 * "Path %s may not contain '%s' character" with @p path and "/".  NULL
 * with last error errno 22 for a NULL @p path.
 */
CAIRN_API struct msg_t *valid_dirsep(const char *path);

CAIRN_END_DECLS

#endif /* CAIRN_PATHS_H */
