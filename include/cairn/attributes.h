/** @file
 * Values and attributes: value lists (ordered lists of text values) and
 * attribute lists (named value lists kept in case-insensitive name order),
 * with their text forms.  Lists are classic lists (cairn/containers.h):
 * unlocked, one user at a time.  Records come from the never-null
 * allocators (cairn/utilities.h), so no call here reports exhaustion. */
#ifndef CAIRN_ATTRIBUTES_H
#define CAIRN_ATTRIBUTES_H

#include <stdint.h>
#include <stdio.h>
#include "cairn/containers.h"
#include "cairn/export.h"
#include "cairn/messages.h"

CAIRN_BEGIN_DECLS

/** A value: the next record, then the text inline (NUL-terminated UTF-8).
 *  One allocation; the text is as long as was asked for. */
typedef struct val {
    struct val *next; /**< The next value, or NULL. */
    char value[1];    /**< The text, NUL-terminated, allocated with the record. */
} val_t;

/* ------------------------------------------------------------------------
 * Single values
 * ------------------------------------------------------------------------ */

/** A new record holding a copy of @p text (NULL: the empty value). */
CAIRN_API val_t *val_new(const char *text);
/** A copy of @p text without leading and trailing white space (isspace);
 *  NULL for NULL, empty or all-blank text. */
CAIRN_API val_t *val_new_nosp(const char *text);
/** A copy of one value record (not the ones after it); NULL for NULL. */
CAIRN_API val_t *val_dup(const val_t *v);
/** Replace *@p slot by a new record holding @p text (NULL: empty), taking
 *  over its next pointer; the old record is freed. */
CAIRN_API void val_update(val_t **slot, const char *text);
/** Case-insensitive (ASCII letters) comparison of two val_t records. */
CAIRN_API int val_cmp(const void *a, const void *b);
/** Byte comparison of two val_t records (unsigned): -1, 0 or 1. */
CAIRN_API int val_cmp_exact(const void *a, const void *b);
/** Write the text and one blank. */
CAIRN_API void val_print(FILE *stream, const val_t *v);

/* ------------------------------------------------------------------------
 * Building value lists.  A list is a val_t * (NULL when empty); calls that
 * change it take its address.
 * ------------------------------------------------------------------------ */

/** Append a new value holding @p text at the end of *@p list. */
CAIRN_API void vallist_add(val_t **list, const char *text);
/** As vallist_add(), returning the new record; NULL with EINVAL for a NULL
 *  @p list. */
CAIRN_API val_t *vallist_add_tail(val_t **list, const char *text);
/** A new value at the head. */
CAIRN_API void vallist_insert(val_t **list, const char *text);
/** Append after *@p tail (or as the head when *@p tail is NULL) and move
 *  *@p tail to the new record: constant time.  NULL for NULL addresses. */
CAIRN_API val_t *vallist_append(val_t **list, val_t **tail, const char *text);
/** As vallist_append(), walking a lagging *@p tail to the real tail first.
 *  NULL addresses, or an empty list with a non-NULL tail, are refused
 *  (NULL, EINVAL; a debug line at level 9 or trace bit 0x100). */
CAIRN_API val_t *vallist_add2(val_t **list, val_t **tail, const char *text);
/** Insert in ascending case-insensitive order; 0 (nothing added) when an
 *  equal value is present, else 1. */
CAIRN_API int vallist_addsort(val_t **list, const char *text);
/** The same by the exact comparison. */
CAIRN_API int vallist_addsort_exact(val_t **list, const char *text);
/** The same by the locale's collation (strcoll of the texts converted to
 *  the locale's multibyte form, the first 19456 bytes of each). */
CAIRN_API int i18n_vallist_addsort(val_t **list, const char *text);
/** A new list of the given texts in order, the last argument NULL. */
CAIRN_API val_t *vallist_build(const char *text, ...);
/** A copy of the whole list, in order; NULL for an empty list. */
CAIRN_API val_t *vallist_dup(const val_t *list);
/** Free every record of the list; NULL is ignored. */
CAIRN_API void vallist_free(val_t *list);
/** Convert every value in place from UTF-8 to the locale's multibyte text
 *  (ox_utf8s_to_mbts()); each record is replaced, keeping its place. */
CAIRN_API void vlist_utf8_to_mbts(val_t **list);

/* ------------------------------------------------------------------------
 * Searching: case-insensitive unless named exact; positions count from 1.
 * ------------------------------------------------------------------------ */

/** The first value equal to @p text (the _exact form compares byte for byte), or NULL. */
CAIRN_API val_t *vallist_find(const val_t *list, const char *text);
/** @copydoc vallist_find() */
CAIRN_API val_t *vallist_find_exact(const val_t *list, const char *text);
/** Position of the first equal value, or -1. */
CAIRN_API int vallist_find_pos(const val_t *list, const char *text);
/** Text at @p position, or NULL below 1 or past the end. */
CAIRN_API const char *vallist_pos_value(const val_t *list, int position);
/** The number of values equal to @p text; 0 for NULL text. */
CAIRN_API int vallist_count_val(const val_t *list, const char *text);
/** Text of the first value of @p a equal to some value of @p b, or NULL. */
CAIRN_API const char *vallist_find_list(const val_t *a, const val_t *b);
/** 1 when either list is NULL or they share a value; else 0. */
CAIRN_API int vallist_match(const val_t *a, const val_t *b);
/** Text of the first value that has an equal value later on, or NULL. */
CAIRN_API const char *vallist_has_dup_values(const val_t *list);
/** First value containing @p needle (exact, as strstr), or NULL. */
CAIRN_API val_t *vallist_search_substr(const val_t *list, const char *needle);
/** First value equal to @p text after white-space normalisation, which is
 *  done in place on the list's records: tab and line feed become blanks,
 *  runs of white space shrink to one character, one leading and one
 *  trailing white-space character go. */
CAIRN_API val_t *vallist_find_trim(val_t *list, const char *text);
/** A record of @p a whose value @p b lacks, the first in collation order;
 *  NULL when there is none or either list is NULL. */
CAIRN_API val_t *vallist_find_unique(const val_t *a, const val_t *b);
/** 1 when either list is NULL, the first pattern is "*", or some pattern
 *  (a regular expression, regex_cmp()) matches some value, both folded to
 *  lower case; 0 otherwise, and at the first pattern that does not
 *  compile. */
CAIRN_API int vallist_patmatch(const val_t *patterns, const val_t *values);

/* ------------------------------------------------------------------------
 * Changing value lists
 * ------------------------------------------------------------------------ */

/** Remove the first value exactly equal to @p text: 1 when one went. */
CAIRN_API int vallist_delete(val_t **list, const char *text);
/** As vallist_delete(): remove the first value exactly equal to @p text; 1 when one went. */
CAIRN_API int vallist_remove(val_t **list, const char *text);
/** For each value of @p values, remove its first exact match. */
CAIRN_API void vallist_remove_values(const val_t *values, val_t **list);
/** Remove the first value beginning with @p prefix (exact): 1 or 0. */
CAIRN_API int vallist_strstart_delete(val_t **list, const char *prefix);
/** Remove the value at @p position when @p text is NULL or equal to it:
 *  1 or 0. */
CAIRN_API int vallist_pos_remove(val_t **list, const char *text, int position);
/** Insert @p text so that it stands at @p position (the head below 1, the
 *  tail past the end). */
CAIRN_API void vallist_pos_insert(val_t **list, const char *text, int position);
/** Append to *@p dest a copy of each value of @p source without an exact
 *  match there.  An empty *@p dest takes @p source itself (not a copy):
 *  the caller then no longer owns @p source. */
CAIRN_API void vallist_merge(val_t *source, val_t **dest);
/** Replace *@p b by the values of @p a that *@p b has, in reverse order of
 *  @p a; the old *@p b is freed. */
CAIRN_API void vallist_intersect(const val_t *a, val_t **b);
/** Split @p a and @p b by exact matches (used up one for one) into values
 *  in both, only in @p a and only in @p b, appended to the lists given; a
 *  NULL output skips its category. */
CAIRN_API void vallist_collide(const val_t *a, const val_t *b, val_t **both, val_t **only_a,
                               val_t **only_b);
/** 1 when every value of @p b has its own exact match in @p a. */
CAIRN_API int vallist_subset(const val_t *a, const val_t *b);
/** Sort ascending by @p cmp (val_cmp() when NULL); with @p unique only the
 *  first of each run of equal values stays.  @return the values left. */
CAIRN_API int vallist_sort(val_t **list, list_compare_fn cmp, int unique);
/** vallist_sort() of @p list, the result stored in *@p out. */
CAIRN_API int vallist_sort2(val_t *list, val_t **out, list_compare_fn cmp, int unique);
/** vallist_sort() with unique, each removed duplicate added to
 *  *@p duplicates with vallist_addsort(). */
CAIRN_API int vallist_remove_get_dups(val_t **list, list_compare_fn cmp, val_t **duplicates);
/** Bring *@p target, derived from @p old, in line with @p new_values
 *  without losing its own values (case-insensitive): mode 1 adds only,
 *  mode 2 removes only, others remove then add.  0 for a NULL target. */
CAIRN_API int vallist_diff_apply(const val_t *old, const val_t *new_values, val_t **target,
                                 int mode);
/** Compare two lists value by value (the _exact form byte for byte): 0 when equal, else the order
 *  of the first difference. */
CAIRN_API int vallist_cmp(const val_t *a, const val_t *b);
CAIRN_API int vallist_cmp_exact(const val_t *a, const val_t *b); /**< @copydoc vallist_cmp() */

/* ------------------------------------------------------------------------
 * Text forms
 * ------------------------------------------------------------------------ */

/** Parse "a, b c,,d": fields cut at commas, white space around each field
 *  and empty fields dropped, no quoting.  NULL for NULL or empty text. */
CAIRN_API val_t *vallist_new_from_csv(const char *text);
/** The values joined by ", " ("<empty>" for none) in new text the caller
 *  frees.  With @p limit > 0 the text stops, with ", ...", before the
 *  value that would take it past @p limit (the first value is always
 *  whole). */
CAIRN_API char *vallist_to_csv(const val_t *list, int limit);
/** Each value and a blank, then a line feed. */
CAIRN_API void vallist_print(FILE *stream, const val_t *list);
/** "<label>: <comma form>" (or the comma form alone) to the debug log. */
CAIRN_API void vallist_dprint(const char *label, const val_t *list);
/** Numbered listing in one, two or three columns (stdout when NULL). */
CAIRN_API void vallist_display(FILE *stream, const val_t *list);

/** Message numbers of the file forms. */
#define VALLIST_MSG_OPEN_READ 157515
/** Message number: the list file cannot be opened for writing. */
#define VALLIST_MSG_OPEN_WRITE 157516
/** Message number: a value cannot be written to the list file. */
#define VALLIST_MSG_WRITE_VALUE 157517

/** Append each line of the file at @p path (line feed, or carriage return
 *  and line feed, removed; empty lines kept; lines longer than 13311 bytes
 *  are cut into several values) to *@p list.
 *  @return NULL, or when the file cannot be opened or read the message
 *  VALLIST_MSG_OPEN_READ (severity 55000, "Unable to open file '%s' for
 *  reading\n" with the path), an object of the thread's message ring. */
CAIRN_API msg_t *vallist_from_file(val_t **list, const char *path);
/** Write each value and a line feed to @p path, whole or not at all: a
 *  temporary file beside it is renamed over it only when every value was
 *  written.  Writing goes on after a value that fails.
 *  @return NULL, or the last failure's message (severity 55000, an object
 *  of the thread's message ring): VALLIST_MSG_OPEN_WRITE "Unable to open
 *  file '%s' for writing\n" with the path, or VALLIST_MSG_WRITE_VALUE
 *  "Unable to write value #%lu '%s' to file (rc=%d)" with the value's
 *  number from 0, its text and -1. */
CAIRN_API msg_t *vallist_write_file(const val_t *list, const char *path);
/** A new vector of new copies of the values (free each and the vector
 *  with free()).  @return 0; -1 with ENOMEM (*@p count 0, *@p vector
 *  NULL, nothing left allocated) or EINVAL. */
CAIRN_API int vallist_to_argv(const val_t *list, int *count, char ***vector);

/* ------------------------------------------------------------------------
 * Attributes.  An attribute list is an attr_t * kept in ascending order of
 * names compared without regard to ASCII case, each name at most once
 * (the adding calls merge or replace).  Values keep the order in which
 * they were added.
 * ------------------------------------------------------------------------ */

/** An attribute: the next record, its values, then its name inline. */
typedef struct attr {
    struct attr *next; /**< The next attribute, or NULL. */
    val_t *values;     /**< Its values, in the order they were added. */
    char name[1];      /**< The name, NUL-terminated, allocated with the record. */
} attr_t;

/** Suffix of the companion attribute that holds an attribute's values in
 *  structured text form. */
#define ATTR_I18N_SUFFIX "_I18N"

/** A new attribute with one value when @p value is neither NULL nor empty,
 *  otherwise none.  NULL for a NULL name. */
CAIRN_API attr_t *attr_new(const char *name, const char *value);
/** A copy of one attribute with its values (not the ones after it); NULL for NULL. */
CAIRN_API attr_t *attr_dup(const attr_t *a);
/** Free one attribute and its values (not the ones after it). */
CAIRN_API void attr_elem_free(attr_t *a);
/** Names without regard to case, then the value lists with vallist_cmp();
 *  of two attr_t records. */
CAIRN_API int attr_cmp(const void *a, const void *b);
/** The number of attributes in the list. */
CAIRN_API int attr_count(const attr_t *list);
/** 1 when a value equals @p text without regard to case. */
CAIRN_API int attr_hasval(const attr_t *a, const char *text);
/** As attr_hasval(); on success *@p name_out gets a new copy of the name
 *  (free()). */
CAIRN_API int attr_hasval_name(const attr_t *a, const char *text, char **name_out);
/** Remove the first value and return it as new text (free()); NULL when
 *  there is none. */
CAIRN_API char *attr_extract_val(attr_t *a);
/** Remove all values, returning a new vector of new texts (free() each and
 *  the vector) and their number; NULL and 0 when there are none. */
CAIRN_API char **attr_extract_vallist(int *count, attr_t *a);
/** Remove the attribute of that name and free it: 1 when there was one. */
CAIRN_API int attr_delete(attr_t **list, const char *name);
/** Take out of *@p list every attribute named in *@p keys; they replace
 *  the key list, whose attributes are freed. */
CAIRN_API void attrlist_remove(attr_t **keys, attr_t **list);

/** The first attribute of that name: byte for byte when @p exact is 1,
 *  without regard to case otherwise; NULL when absent. */
CAIRN_API attr_t *attrlist_case_find(const attr_t *list, const char *name, int exact);
/** attrlist_case_find() without regard to case. */
CAIRN_API attr_t *attrlist_find(const attr_t *list, const char *name);
/** Text of the first value, or NULL. */
CAIRN_API const char *attrlist_getvalue(const attr_t *list, const char *name);
/** First value as atoi() reads it; 0 when absent. */
CAIRN_API int attrlist_getint(const attr_t *list, const char *name);
/** First value as an unsigned decimal number; 0 when absent. */
CAIRN_API uint64_t attrlist_getuint64(const attr_t *list, const char *name);
/** 1 when the attribute @p name has the value given (or either of the two),
 *  without regard to case. */
CAIRN_API int attrlist_hasattr(const attr_t *list, const char *name, const char *value);
CAIRN_API int attrlist_hasattr_eitherval(const attr_t *list, const char *name, const char *first,
                                         const char *second); /**< @copydoc attrlist_hasattr() */
/** 1 when the attribute has any value of @p values. */
CAIRN_API int attrlist_hasattr_valmatch(const attr_t *list, const char *name, const val_t *values);
/** First attribute whose name, folded to lower case, matches the folded
 *  file-name pattern (fmatch()). */
CAIRN_API attr_t *attrlist_regex_find(const attr_t *list, const char *pattern);

/** Add the attribute with @p value, or append the value (a NULL value adds
 *  nothing) when the name is present.  A new attribute gets no value for
 *  NULL or "".  @return the attribute (NULL for a NULL list or name). */
CAIRN_API attr_t *attrlist_add(attr_t **list, const char *name, const char *value);
/** As attrlist_add(), but a new attribute always gets one value ("" for
 *  NULL). */
CAIRN_API attr_t *attrlist_addempty(attr_t **list, const char *name, const char *value);
/** Add the attribute with a copy of @p values, or append the copy. */
CAIRN_API attr_t *attrlist_addlist(attr_t **list, const char *name, const val_t *values);
/** The attribute ends with exactly @p value (none for NULL or ""). */
CAIRN_API attr_t *attrlist_set(attr_t **list, const char *name, const char *value);
/** The attribute's values become a copy of @p values. */
CAIRN_API attr_t *attrlist_setlist(attr_t **list, const char *name, const val_t *values);
/** The attribute's values become @p values itself (ownership passes). */
CAIRN_API attr_t *attrlist_setlist_nodup(attr_t **list, const char *name, val_t *values);
/** As attrlist_set(): 0 when nothing would change (one value equal byte for
 *  byte, or no values and a NULL value), else 1 after setting. */
CAIRN_API int attrlist_replace(attr_t **list, const char *name, const char *value);
/** The attribute when it has a value; otherwise attrlist_add(). */
CAIRN_API attr_t *attrlist_default(attr_t **list, const char *name, const char *value);
/** Create or replace the companion "<name>_I18N" (at most 63 bytes) of an
 *  attribute that has values, its values in structured text form; with
 *  @p remove the original goes.  @return the companion's name, NULL when
 *  the original is missing or has no values. */
CAIRN_API const char *attrlist_add_I18Nattr(attr_t **list, const char *name, int remove);
/** A new list: name, its values, NULL; name, ..., NULL; a NULL name ends.
 *  Repeated names merge their values. */
CAIRN_API attr_t *attrlist_build(const char *name, ...);

/** A copy of the whole list with its values. */
CAIRN_API attr_t *attrlist_dup(const attr_t *list);
/** Free every attribute of the list and its values; NULL is ignored. */
CAIRN_API void attrlist_free(attr_t *list);
/** A new list of copies of the attributes of @p source named in
 *  @p selector. */
CAIRN_API attr_t *attrlist_copy(const attr_t *selector, const attr_t *source);
/** Add a copy of each source attribute the list lacks; merge the values
 *  of the others with vallist_merge(). */
CAIRN_API void attrlist_merge_or_add(const attr_t *source, attr_t **list);
/** Merge copies of all attributes of *@p source into *@p dest; a copy
 *  replaces (and frees) a destination attribute of the same name. */
CAIRN_API void attrlist_merge(attr_t **source, attr_t **dest);
/** Keep in *@p b only the attributes named in *@p a; free the others. */
CAIRN_API void attrlist_intersect(attr_t **a, attr_t **b);
/** Attributes named in @p template_list first, in its order; the others
 *  after them in their previous order. */
CAIRN_API void attrlist_order(const attr_t *template_list, attr_t **list);
/** Ascending order of names without regard to case. */
CAIRN_API void attrlist_sort(attr_t **list);
/** 1 when both lists hold the same attributes with the same values (attr_cmp()). */
CAIRN_API int attrlist_equal(const attr_t *a, const attr_t *b);
/** Whether every attribute of @p a is in @p b with the same values (attr_cmp()). */
CAIRN_API int attrlist_subset(const attr_t *a, const attr_t *b);
/** 1 when both lists have the same names (without regard to case) in the
 *  same order. */
CAIRN_API int attrlist_exact_name_match(const attr_t *a, const attr_t *b);

/** 1 when every attribute of @p query is in @p list with a common value
 *  (a side without values matches anything); 1 for a NULL query. */
CAIRN_API int attrlist_match(const attr_t *query, const attr_t *list);
/** As attrlist_match(), but a query attribute with values does not match a
 *  list attribute without. */
CAIRN_API int query_match(const attr_t *query, const attr_t *list);
/** As query_match(), with empty values: two empty first values match, and a
 *  list attribute without values matches a query attribute without values
 *  or with an empty first value. */
CAIRN_API int query_match_null(const attr_t *query, const attr_t *list);

/** Options of the printed form. */
#define ATTR_HIDE_VALUES 0x1 /**< every value as "*******" */
#define ATTR_NO_RENDER 0x2   /**< never render structured text */
#define ATTR_RENDER 0x4      /**< render structured text values */
#define ATTR_NO_PADDING 0x8  /**< the name unpadded ("%s: ") */

/** Switch the hiding of the values of attributes named "*password*" (on at
 *  start).  @return @p flag. */
CAIRN_API int attr_passwords(int flag);
/**
 * The printed form of @p a: the name right-aligned in 28 columns and ": ",
 * the values (quoted where needed) separated by ", " and wrapped under
 * column 30 within @p width, then ";\n".  Writes at most @p size - 1 bytes
 * and a terminator.  @return the form's full length (with
 * @p measure_only, nothing is written); 0 and "" for a NULL attribute, an
 * empty name or a name longer than 508 bytes.
 */
CAIRN_API int attr_sprintf(char *buf, int size, int width, const attr_t *a, int force_quotes,
                           int measure_only, int options);
/** The form at width 80 on @p stream; standard output and error go through
 *  msg_print().  "BXR_ENCRYPTION_PHRASES" is always hidden. */
CAIRN_API void attr_print(FILE *stream, const attr_t *a, int options);
/** The label, then the form, to the debug log. */
CAIRN_API void attr_dprint(const char *label, const attr_t *a, int options);
/** The label and a line feed, then every attribute, to the debug log; a
 *  first attribute named "nopadding" is not printed and makes the others
 *  unpadded. */
CAIRN_API void attrlist_dprint(const char *label, const attr_t *list);
/** Append the forms of all attributes to @p buf within *@p size; with
 *  *@p size 0 nothing is written and the length needed is stored there.
 *  @return the length of the forms. */
CAIRN_API int attrlist_build_str(const attr_t *list, char *buf, int *size);

/** Parse "name=value,name=value" (or the part of a quoted text up to its
 *  closing quote) into *@p list, replacing the values of names present; an
 *  empty value gives an attribute without values.  A section without "="
 *  is reported ("ignoring bad section ...") and skipped.  @return the
 *  number of attributes set. */
CAIRN_API int snmp_str_to_attrs(const char *text, attr_t **list);

CAIRN_END_DECLS

#endif /* CAIRN_ATTRIBUTES_H */
