/** @file
 * Containers: locked lists and slot arrays of (key, data) pairs, with
 * ownership modes, per-element references, expiry on lists, and one
 * iterator type that survives removals. */
#ifndef CAIRN_CONTAINERS_H
#define CAIRN_CONTAINERS_H

#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/** Handles of lists, arrays, iterators and element records: opaque. */
typedef struct ox_list ox_list;
/** Handles of lists, arrays, iterators and element records: opaque. */
typedef struct ox_array ox_array;
/** Handles of lists, arrays, iterators and element records: opaque. */
typedef struct ox_iterator ox_iterator;
/** Handles of lists, arrays, iterators and element records: opaque. */
typedef struct ox_node ox_node;

/** Callbacks given to every creator, in this order. */
typedef void (*ox_data_destructor)(void *data);
/** Returns a new copy of @p data, or NULL on failure. */
typedef void *(*ox_data_copy)(void *data);
/** 0 when equal; negative when @p a orders before @p b; positive otherwise. */
typedef int (*ox_key_compare)(void *a, void *b);
/** Frees a key the container owns. */
typedef void (*ox_key_destructor)(void *key);
/** Called with each element's data and the caller's argument. */
typedef void (*ox_foreach_callback)(void *data, void *arg);

/** Ownership mode 1: the container destroys the data it removes. */
#define OX_CONTAINER_OWNS_DATA 1
/** Container flag: no operation takes the container mutex (the owner
 *  serialises access).  Set with ox_object_set_attribute(). */
#define OX_CONTAINER_NOLOCK 0x4u
/** Time to live meaning "never expires" (and the stored expiry of such an
 *  element). */
#define OX_TTL_NEVER 0x7fffffff

/* Container type codes, third word of every container. */
#define OX_CONTAINER_LIST 0     /**< A container type code. */
#define OX_CONTAINER_TABLE 2    /**< A container type code. */
#define OX_CONTAINER_ARRAY 3    /**< A container type code. */
#define OX_CONTAINER_RW_TABLE 4 /**< A container type code. */

/**
 * A zeroed element record holding @p data and @p key, never expiring.
 * @return the record, or NULL with the last error set (ENOMEM).
 */
CAIRN_API ox_node *ox_node_new(void *data, void *key);

/* ------------------------------------------------------------------------
 * Lists.  Positions count from 1.  Results: 0, 2 invalid argument
 * (EINVAL), 49 not found (ENOENT), 12 busy (EBUSY), 53 no memory or failed
 * copy (ENOMEM), 80 expired (errno 137 as last error), 22 duplicate
 * (EEXIST).  Every failure also sets the thread's last error.
 * ------------------------------------------------------------------------ */

/** A new empty list, or NULL (allocation, mutex or registration failure). */
CAIRN_API ox_list *ox_list_new(ox_data_destructor destroy_data, ox_data_copy copy_data,
                               ox_key_compare compare, ox_key_destructor destroy_key,
                               int ownership);
/** Drop one reference; the last one destroys every element (data and key
 *  destructors whatever the ownership mode) and the list.  2 for NULL, 12
 *  while an iterator is open. */
CAIRN_API int ox_list_destroy(ox_list *list);
/** Append at the tail, never expiring; duplicates are kept. */
CAIRN_API int ox_list_append(ox_list *list, void *key, void *data);
/** Append at the tail with a time to live in seconds.  Below OX_TTL_NEVER
 *  with a non-NULL key, a live element with an equal key refuses the append
 *  (22) and an expired one is removed first. */
CAIRN_API int ox_list_append_with_ttl(ox_list *list, void *key, void *data, int32_t ttl);
/** Insert at the head, never expiring. */
CAIRN_API int ox_list_prepend(ox_list *list, void *key, void *data);
/** ox_list_prepend() with a NULL key. */
CAIRN_API int ox_list_push(ox_list *list, void *data);
/** Remove position 1, as ox_list_remove_index(). */
CAIRN_API int ox_list_pop(ox_list *list, void **data);
/** Insert before @p position (0 counts as 1; past the end appends). */
CAIRN_API int ox_list_insert(ox_list *list, void *key, void *data, int position);
/** The data of the first element with an equal key. */
CAIRN_API int ox_list_find(ox_list *list, void *key, void **data);
/** As ox_list_find(), adding one element reference. */
CAIRN_API int ox_list_reference(ox_list *list, void *key, void **data);
/** Drop one element reference (never below 0). */
CAIRN_API int ox_list_unreference(ox_list *list, void *key);
/** A copy of the data (caller owns it); 53 when the copy fails. */
CAIRN_API int ox_list_get(ox_list *list, void *key, void **copy);
/** Position of the first element with an equal key; 0 when none (ENOENT)
 *  or on bad arguments (EINVAL).  Expiry is not looked at. */
CAIRN_API int ox_list_index(ox_list *list, void *key);
/** The data at @p position; 49 outside 1..count. */
CAIRN_API int ox_list_nth(ox_list *list, int position, void **data);
/** Remove the element at @p position; @p data (may be NULL) receives the
 *  data unless the list owns it (then it is destroyed and NULL given). */
CAIRN_API int ox_list_remove_index(ox_list *list, int position, void **data);
/** As ox_list_remove_index(), refusing (12) a referenced element or one an
 *  iterator stands on. */
CAIRN_API int ox_list_try_remove_index(ox_list *list, int position, void **data);
/** Remove the first element with an equal key. */
CAIRN_API int ox_list_remove_node(ox_list *list, void *key, void **data);
/** As ox_list_remove_node(), refusing busy elements (12). */
CAIRN_API int ox_list_try_remove_node(ox_list *list, void *key, void **data);
/** Remove every element head first; returns 0 and leaves the last error at
 *  ENOENT. */
CAIRN_API int ox_list_remove_all(ox_list *list);
/** Replace the data and key of the first element with an equal key (12 if
 *  it is referenced); old values go to the outs or to the destructors.
 *  Without a match the pair is appended and the outs are set to NULL. */
CAIRN_API int ox_list_replace(ox_list *list, void *key, void **old_key, void *data,
                              void **old_data);
/** Call @p fn(data, arg) for every element, head to tail, under the mutex. */
CAIRN_API int ox_list_foreach(ox_list *list, ox_foreach_callback fn, void *arg);
/** The element count; 0 with EINVAL for NULL. */
CAIRN_API int ox_list_size(ox_list *list);

/* ------------------------------------------------------------------------
 * Arrays.  Slot numbers count from 0 and never change while an element
 * lives, also across growth.  The _b forms binary-search the key index.
 * ------------------------------------------------------------------------ */

/** A new array with 256 free slots, or NULL. */
CAIRN_API ox_array *ox_array_new(ox_data_destructor destroy_data, ox_data_copy copy_data,
                                 ox_key_compare compare, ox_key_destructor destroy_key,
                                 int ownership);
/** Drop one reference; the last destroys every element and the array. */
CAIRN_API int ox_array_destroy(ox_array *array);
/** Store in the first free slot (growing by doubling when full). */
CAIRN_API int ox_array_add(ox_array *array, void *key, void *data);
/** Look up @p key: find gives the stored data, reference also takes a reference on the element,
 *  unreference drops one, get gives a copy made by the copy function; the _b forms binary-search
 *  the key index.  Results as for lists. */
CAIRN_API int ox_array_find(ox_array *array, void *key, void **data);
/** @copydoc ox_array_find() */
CAIRN_API int ox_array_find_b(ox_array *array, void *key, void **data);
/** @copydoc ox_array_find() */
CAIRN_API int ox_array_reference(ox_array *array, void *key, void **data);
/** @copydoc ox_array_find() */
CAIRN_API int ox_array_reference_b(ox_array *array, void *key, void **data);
CAIRN_API int ox_array_unreference(ox_array *array, void *key);   /**< @copydoc ox_array_find() */
CAIRN_API int ox_array_unreference_b(ox_array *array, void *key); /**< @copydoc ox_array_find() */
/** @copydoc ox_array_find() */
CAIRN_API int ox_array_get(ox_array *array, void *key, void **copy);
/** @copydoc ox_array_find() */
CAIRN_API int ox_array_get_b(ox_array *array, void *key, void **copy);
/** The slot number holding @p key; -1 with ENOENT (or EINVAL). */
CAIRN_API int ox_array_index(ox_array *array, void *key);
/** ox_array_index() by binary search of the key index. */
CAIRN_API int ox_array_index_b(ox_array *array, void *key);
/** The data in slot @p slot (@p data may be NULL); 49 for an unused or
 *  out-of-range slot. */
CAIRN_API int ox_array_nth(ox_array *array, int slot, void **data);
/** Take or drop a reference on the element in slot @p slot; 49 for an unused or
 *  out-of-range slot. */
CAIRN_API int ox_array_reference_nth(ox_array *array, int slot, void **data);
/** @copydoc ox_array_reference_nth() */
CAIRN_API int ox_array_unreference_nth(ox_array *array, int slot);
/** Remove the element in @p slot or with @p key, handing its data back through @p data (may be
 *  NULL); the try forms leave a busy (referenced) element in place and return 12; the _b forms
 *  binary-search the key index. */
CAIRN_API int ox_array_remove_index(ox_array *array, int slot, void **data);
/** @copydoc ox_array_remove_index() */
CAIRN_API int ox_array_remove_node(ox_array *array, void *key, void **data);
/** @copydoc ox_array_remove_index() */
CAIRN_API int ox_array_remove_node_b(ox_array *array, void *key, void **data);
/** @copydoc ox_array_remove_index() */
CAIRN_API int ox_array_try_remove_node(ox_array *array, void *key, void **data);
/** @copydoc ox_array_remove_index() */
CAIRN_API int ox_array_try_remove_node_b(ox_array *array, void *key, void **data);
/** Call @p fn(data, arg) for each used slot in ascending slot number. */
CAIRN_API int ox_array_foreach(ox_array *array, ox_foreach_callback fn, void *arg);
/** The number of used slots; 0 with EINVAL for NULL. */
CAIRN_API int ox_array_size(ox_array *array);

/* ------------------------------------------------------------------------
 * Iterators over any container.  An iterator whose element is removed
 * moves to a neighbour, which the next step then gives.
 * ------------------------------------------------------------------------ */

/** A new iterator on a list, array or table; NULL with EINVAL for NULL.
 *  The container gains no reference: destroy iterators first. */
CAIRN_API ox_iterator *ox_iterator_new(void *container);
/** Destroy the iterator, or move it to the first, last, next or previous element and give its data
 *  (and key); 49 when there is none. */
CAIRN_API int ox_iterator_destroy(ox_iterator *it);
/** @copydoc ox_iterator_destroy() */
CAIRN_API int ox_iterator_start(ox_iterator *it, void **data);
CAIRN_API int ox_iterator_end(ox_iterator *it, void **data);  /**< @copydoc ox_iterator_destroy() */
CAIRN_API int ox_iterator_next(ox_iterator *it, void **data); /**< @copydoc ox_iterator_destroy() */
/** @copydoc ox_iterator_destroy() */
CAIRN_API int ox_iterator_previous(ox_iterator *it, void **data);
/** @copydoc ox_iterator_destroy() */
CAIRN_API int ox_iterator_start_key_data(ox_iterator *it, void **key, void **data);
/** @copydoc ox_iterator_destroy() */
CAIRN_API int ox_iterator_next_key_data(ox_iterator *it, void **key, void **data);
/** @copydoc ox_iterator_destroy() */
CAIRN_API int ox_iterator_previous_key_data(ox_iterator *it, void **key, void **data);
/** The current element's data without moving; 49 when there is none. */
CAIRN_API int ox_iterator_current(ox_iterator *it, void **data);

/* ------------------------------------------------------------------------
 * Hash tables with expiry.  Two kinds share every operation: the table
 * (ox_table_*, chained buckets under the container mutex) and the
 * reader-writer table (ox_rw_table_*, a direct-mapped cache under a
 * reader-writer lock: every bucket holds at most one entry and a new key
 * evicts the bucket's occupant).  Times to live are seconds on the 32-bit
 * clock; OX_TTL_NEVER never expires.  Results: 0; 2 NULL table or key
 * (EINVAL); 49 not found (ENOENT); 80 expired (errno 137); 12 busy
 * (EBUSY); 53 failed copy (ENOMEM); 22 live duplicate (EEXIST).  Iterators
 * (ox_iterator_new/start/next/current) walk a table bucket by bucket,
 * newest first within a bucket; tables offer no backward steps (ENOTSUP).
 * ------------------------------------------------------------------------ */

/** Handles of tables and reader-writer tables: opaque, registered. */
typedef struct ox_table ox_table;
/** Handles of tables and reader-writer tables: opaque, registered. */
typedef struct ox_rw_table ox_rw_table;
/** The bucket of a key is hash(key) modulo the bucket count. */
typedef uint32_t (*ox_key_hash)(void *key);

/** djb2 of a NUL-terminated byte string: 5381, then value * 33 + byte. */
CAIRN_API uint32_t ox_hash_string(const char *string);
/** Case-insensitive hash: @p seed, then value * 231 + lower-case byte.
 *  NULL or "" give @p seed; a final 0 is returned as 1. */
CAIRN_API uint32_t hashstr(const char *string, uint32_t seed);

/* Tables: chained buckets. */
/** A new table of @p buckets chains; NULL with EINVAL for 0 buckets or no
 *  hash or comparison, NULL with the last error on allocation failure. */
CAIRN_API ox_table *ox_table_new(ox_data_destructor destroy_data, ox_data_copy copy_data,
                                 ox_key_compare compare, ox_key_destructor destroy_key,
                                 ox_key_hash hash, uint32_t buckets, int ownership);
/** 12 while an iterator is open; the last reference destroys every entry
 *  (data and key destructors whatever the ownership mode). */
CAIRN_API int ox_table_destroy(ox_table *table);
/** _add_with_ttl with OX_TTL_NEVER and no try: duplicates are kept and
 *  lookups find the newest. */
CAIRN_API int ox_table_add(ox_table *table, void *key, void *data);
/** Add with a time to live.  Below OX_TTL_NEVER a live equal key refuses
 *  (22) and an expired one is removed first (left in place, last error
 *  EBUSY, when it is busy and @p try_flag is 1). */
CAIRN_API int ox_table_add_with_ttl(ox_table *table, void *key, void *data, int32_t ttl,
                                    int try_flag);
/** The stored data of the newest entry with an equal key. */
CAIRN_API int ox_table_find(ox_table *table, void *key, void **data);
/** As _find, adding one entry reference. */
CAIRN_API int ox_table_reference(ox_table *table, void *key, void **data);
/** Drop one entry reference (never below 0). */
CAIRN_API int ox_table_unreference(ox_table *table, void *key);
/** A copy made by the copy callback (the caller owns it); 53 when it fails. */
CAIRN_API int ox_table_get(ox_table *table, void *key, void **copy);
/** The _with_ttl lookups re-arm a live entry's expiry to now + @p ttl
 *  (unless OX_TTL_NEVER), also when the copy fails.  An expired entry
 *  gives 80 and is removed, unless it is busy and @p try_flag is 1. */
CAIRN_API int ox_table_find_with_ttl(ox_table *table, void *key, void **data, int32_t ttl,
                                     int try_flag);
/** As ox_table_reference(), ox_table_unreference() and ox_table_get(), renewing the entry's time to
 *  live to @p ttl; an expired entry is not found (80), or kept when busy and @p try_flag is 1. */
CAIRN_API int ox_table_reference_with_ttl(ox_table *table, void *key, void **data, int32_t ttl,
                                          int try_flag);
/** @copydoc ox_table_reference_with_ttl() */
CAIRN_API int ox_table_unreference_with_ttl(ox_table *table, void *key, int32_t ttl, int try_flag);
/** @copydoc ox_table_reference_with_ttl() */
CAIRN_API int ox_table_get_with_ttl(ox_table *table, void *key, void **copy, int32_t ttl,
                                    int try_flag);
/** Replace data and key of the first entry with an equal key, referenced or
 *  not; the old ones go to the outs or, for NULL outs, to their
 *  destructors.  Without a match a never-expiring entry is added and the
 *  outs are left untouched. */
CAIRN_API int ox_table_replace(ox_table *table, void *key, void **old_key, void *data,
                               void **old_data);
/** Remove the first entry with an equal key.  Ownership mode 1 destroys
 *  the data (when a destructor is set; else hands it back) and the key;
 *  other modes hand the data back and leave the key alone. */
CAIRN_API int ox_table_remove(ox_table *table, void *key, void **data);
/** As _remove, refusing (12) a referenced entry or one an iterator stands on. */
CAIRN_API int ox_table_try_remove(ox_table *table, void *key, void **data);
/** Destroy every entry (data and key destructors whatever the mode).
 *  Iterators open on the table are left on no element. */
CAIRN_API int ox_table_remove_all(ox_table *table);
/** Remove every expired entry; @p removed (may be NULL) gets the count. */
CAIRN_API int ox_table_ttl_flush(ox_table *table, int *removed);
/** As _ttl_flush, keeping busy expired entries: then 12 (last error EBUSY). */
CAIRN_API int ox_table_try_ttl_flush(ox_table *table, int *removed);
/** @p fn(data, arg) for every entry, expired ones included, bucket 0
 *  upward, under the table's (write) lock. */
CAIRN_API int ox_table_foreach(ox_table *table, ox_foreach_callback fn, void *arg);
/** The entry count; 0 with EINVAL for NULL. */
CAIRN_API int ox_table_size(ox_table *table);

/* Reader-writer tables: the same operations on a direct-mapped cache. */
/** The table calls above on a reader-writer table: the same arguments and results; a new key evicts
 *  its bucket's occupant. */
CAIRN_API ox_rw_table *ox_rw_table_new(ox_data_destructor destroy_data, ox_data_copy copy_data,
                                       ox_key_compare compare, ox_key_destructor destroy_key,
                                       ox_key_hash hash, uint32_t buckets, int ownership);
CAIRN_API int ox_rw_table_destroy(ox_rw_table *table); /**< @copydoc ox_rw_table_new() */
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_add(ox_rw_table *table, void *key, void *data);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_add_with_ttl(ox_rw_table *table, void *key, void *data, int32_t ttl,
                                       int try_flag);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_find(ox_rw_table *table, void *key, void **data);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_reference(ox_rw_table *table, void *key, void **data);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_unreference(ox_rw_table *table, void *key);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_get(ox_rw_table *table, void *key, void **copy);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_find_with_ttl(ox_rw_table *table, void *key, void **data, int32_t ttl,
                                        int try_flag);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_reference_with_ttl(ox_rw_table *table, void *key, void **data,
                                             int32_t ttl, int try_flag);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_unreference_with_ttl(ox_rw_table *table, void *key, int32_t ttl,
                                               int try_flag);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_get_with_ttl(ox_rw_table *table, void *key, void **copy, int32_t ttl,
                                       int try_flag);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_replace(ox_rw_table *table, void *key, void **old_key, void *data,
                                  void **old_data);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_remove(ox_rw_table *table, void *key, void **data);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_try_remove(ox_rw_table *table, void *key, void **data);
CAIRN_API int ox_rw_table_remove_all(ox_rw_table *table); /**< @copydoc ox_rw_table_new() */
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_ttl_flush(ox_rw_table *table, int *removed);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_try_ttl_flush(ox_rw_table *table, int *removed);
/** @copydoc ox_rw_table_new() */
CAIRN_API int ox_rw_table_foreach(ox_rw_table *table, ox_foreach_callback fn, void *arg);
CAIRN_API int ox_rw_table_size(ox_rw_table *table); /**< @copydoc ox_rw_table_new() */

/* ------------------------------------------------------------------------
 * The classic list toolkit: unlocked, intrusive, singly linked lists of
 * any record whose first field is the pointer to the next record (NULL at
 * the end).  A list is the pointer to its first record; calls that change
 * a list take the address of that pointer (passed as void * so that any
 * record type's head can be given without a cast).  Nothing here allocates
 * records or owns them: the calls only relink what the caller made.
 *
 * The sorted calls need their lists in ascending order under the one
 * comparison given and keep them so; each is one merge-style pass.
 * Unsorted input gives unspecified, but memory-safe, results.  Records
 * taken out of a list are chained, in the order met, into a hand-back list
 * whose head is stored through the out pointer (which may be NULL when the
 * caller keeps track of them itself).
 * ------------------------------------------------------------------------ */

/** Comparison of two records (or, for the search and sort calls, of the
 *  address of a record pointer and a key): 0 when equal, negative when the
 *  first orders before the second. */
typedef int (*list_compare_fn)(const void *first, const void *second);
/** Returns a new copy of @p elem (list_dup()). */
typedef void *(*list_copy_fn)(const void *elem);
/** Called with one record: to free it, or to visit it with the caller's context (and options). */
typedef void (*list_free_fn)(void *elem);
typedef void (*list_visit_fn)(void *context, void *elem); /**< @copydoc list_free_fn */
/** @copydoc list_free_fn */
typedef void (*list_visit_attr_fn)(void *context, void *elem, int options);

/**
 * Sorted insertion with uniqueness.  *@p dup_out is cleared first.  When a
 * record equal to @p elem is met it is stored in *@p dup_out and @p elem is
 * not inserted; otherwise @p elem goes after the last record that orders
 * before it (a new head when the list is empty or its head orders after).
 * @return 1 inserted, 0 duplicate, -1 with EINVAL for NULL arguments.
 */
CAIRN_API int list_addelem(void *elem, void *list, void *dup_out, list_compare_fn cmp);
/** Merge the sorted list *@p source into *@p dest, moving its records
 *  (*@p source ends NULL).  A source record equal to a destination record
 *  takes its place; the displaced record goes to *@p replaced_out.
 *  @return 0, or -1 with EINVAL. */
CAIRN_API int list_addlist(void *source, void *dest, void *replaced_out, list_compare_fn cmp);
/** For each record of the sorted key list, unlink the first equal record
 *  of *@p list onto *@p removed_out (one record per key).  @return the
 *  number removed, or -1 with EINVAL. */
CAIRN_API int list_removeelem(void *keys, void *list, void *removed_out, list_compare_fn cmp);
/** Keep in *@p list only the records equal to some key; the others go to
 *  *@p removed_out (all of them for an empty key list).  @return the
 *  number removed, or -1 with EINVAL. */
CAIRN_API int list_intersect(void *keys, void *list, void *removed_out, list_compare_fn cmp);
/** @return 1 when every record of sorted @p a has an equal record in
 *  sorted @p b (1 for an empty @p a), else 0. */
CAIRN_API int list_subset(const void *a, const void *b, list_compare_fn cmp);
/** The first non-zero comparison of records in step; when all compared
 *  pairs are equal, the longer list orders after (1 when @p a is longer,
 *  -1 when @p b is), 0 for equal lengths. */
CAIRN_API int list_cmp(const void *a, const void *b, list_compare_fn cmp);
/**
 * A record equal to @p key in the sorted list, or NULL.  @p count is the
 * length when known (0: count it).  Below 21 records the list is walked,
 * stopping at the first record that orders after the key; from 21 on a
 * temporary array of record pointers is searched by halving (the walk is
 * used when that array cannot be had).  @p cmp receives (address of a
 * record pointer, @p key).
 */
CAIRN_API void *list_bsearch(void *list, const void *key, int count, list_compare_fn cmp);
/** The first record for which @p cmp (address of the record pointer,
 *  @p key) returns 0, or NULL. */
CAIRN_API void *list_lsearch(void *list, const void *key, list_compare_fn cmp);
/** Sort by an array of record pointers and qsort(); @p cmp receives the
 *  addresses of two record pointers.  @p count is a hint (0: count it).
 *  @return the new head.  The process ends when memory is exhausted. */
CAIRN_API void *list_sort(void *list, int count, list_compare_fn cmp);
/** Put @p elem (or a chain) after the last record of *@p list. */
CAIRN_API void list_append(void *list, void *elem);
/** Put the whole list *@p other in front of *@p list; *@p other is left as
 *  it was. */
CAIRN_API void list_prepend(void *list, void *other);
/** A new list of the copies @p copy makes of each record, in order; a NULL
 *  copy is left out. */
CAIRN_API void *list_dup(const void *list, list_copy_fn copy);
/** Call @p fn on every record, reading each next pointer before the call. */
CAIRN_API void list_free_1(void *list, list_free_fn fn);
/** Call @p fn (context, record) for every record. */
CAIRN_API void list_print(void *context, void *list, list_visit_fn fn);
/** Call @p fn (context, record, options) for every record. */
CAIRN_API void list_print_attr(void *context, void *list, int options, list_visit_attr_fn fn);

CAIRN_END_DECLS

#endif /* CAIRN_CONTAINERS_H */
