// Value records: one allocation each, the text inline after the next pointer.
#pragma once

#include <cstddef>

#include "cairn/attributes.h"

namespace cairn::values {

// A new unlinked record holding the first `len` bytes of `text`.
val_t *make(const char *text, std::size_t len);
// A new unlinked record holding `text` (the empty value for NULL).
val_t *make(const char *text);
void release(val_t *v);

// Unlinks the record that `*link` points at and frees it.
void unlink_free(val_t **link);

// The address of the next field of the last record (the head when empty).
val_t **tail_link(val_t **list);

// Case-insensitive and exact text comparisons behind val_cmp and friends.
int text_cmp(const char *a, const char *b);
int text_cmp_exact(const char *a, const char *b);

// The link whose record first equals `text` under `cmp`; NULL when none.
val_t **find_link(val_t **list, const char *text, int (*cmp)(const char *, const char *));

// The locale's collation of two val_t records (i18n_vallist_addsort).
int collate_cmp(const void *a, const void *b);

// A copy of `text` with ASCII letters folded to lower case (free with
// mem_free).
char *lower_copy(const char *text);

}  // namespace cairn::values
