// Attribute records and the name-ordered insertion every adding call uses.
#pragma once

#include "cairn/attributes.h"

namespace cairn::attrs {

// A new attribute without values (name copied).
attr_t *make(const char *name);

// Names compared without regard to ASCII case, of two attr_t records.
int name_cmp(const void *a, const void *b);

// The attribute named `name` (without regard to case), inserted without
// values in name order when absent (`created` then set): one pass.
attr_t *find_or_insert(attr_t **list, const char *name, bool *created = nullptr);

}  // namespace cairn::attrs
