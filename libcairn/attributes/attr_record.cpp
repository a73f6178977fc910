// Single attributes: records, comparison, value extraction, deletion.
#include "attributes/attr_record.hpp"

#include <cstddef>
#include <cstring>

#include "cairn/text.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

namespace cairn::attrs {

attr_t *make(const char *name)
{
    size_t len = std::strlen(name);
    auto *a = static_cast<attr_t *>(xmalloc(offsetof(attr_t, name) + len + 1));
    a->next = nullptr;
    a->values = nullptr;
    std::memcpy(a->name, name, len + 1);
    return a;
}

int name_cmp(const void *a, const void *b)
{
    return ox_straicmp(static_cast<const attr_t *>(a)->name, static_cast<const attr_t *>(b)->name);
}

attr_t *find_or_insert(attr_t **list, const char *name, bool *created)
{
    int c = 1;
    while (*list != nullptr && (c = ox_straicmp((*list)->name, name)) < 0)
        list = &(*list)->next;
    if (*list != nullptr && c == 0)
        return *list;
    if (created != nullptr)
        *created = true;
    attr_t *a = make(name);
    a->next = *list;
    *list = a;
    return a;
}

}  // namespace cairn::attrs

using namespace cairn::attrs;

extern "C" {

attr_t *attr_new(const char *name, const char *value)
{
    if (name == nullptr)
        return nullptr;
    attr_t *a = make(name);
    if (value != nullptr && *value != '\0')
        a->values = val_new(value);
    return a;
}

attr_t *attr_dup(const attr_t *a)
{
    if (a == nullptr)
        return nullptr;
    attr_t *copy = make(a->name);
    copy->values = vallist_dup(a->values);
    return copy;
}

void attr_elem_free(attr_t *a)
{
    if (a == nullptr)
        return;
    vallist_free(a->values);
    cairn::mem_free(a);
}

int attr_cmp(const void *a, const void *b)
{
    int c = name_cmp(a, b);
    if (c != 0)
        return c;
    return vallist_cmp(static_cast<const attr_t *>(a)->values,
                       static_cast<const attr_t *>(b)->values);
}

int attr_count(const attr_t *list)
{
    int n = 0;
    for (; list != nullptr; list = list->next)
        ++n;
    return n;
}

int attr_hasval(const attr_t *a, const char *text)
{
    return a != nullptr && vallist_find(a->values, text) != nullptr;
}

int attr_hasval_name(const attr_t *a, const char *text, char **name_out)
{
    if (!attr_hasval(a, text))
        return 0;
    if (name_out != nullptr)
        *name_out = xstrdup(a->name);
    return 1;
}

char *attr_extract_val(attr_t *a)
{
    if (a == nullptr || a->values == nullptr)
        return nullptr;
    val_t *first = a->values;
    a->values = first->next;
    char *text = xstrdup(first->value);
    cairn::mem_free(first);
    return text;
}

char **attr_extract_vallist(int *count, attr_t *a)
{
    int n = 0;
    for (const val_t *v = a ? a->values : nullptr; v != nullptr; v = v->next)
        ++n;
    if (count != nullptr)
        *count = n;
    if (n == 0)
        return nullptr;
    auto **texts = static_cast<char **>(xcalloc(static_cast<size_t>(n) + 1, sizeof(char *)));
    for (int i = 0; i < n; ++i)
        texts[i] = attr_extract_val(a);
    return texts;
}

int attr_delete(attr_t **list, const char *name)
{
    if (list == nullptr || name == nullptr)
        return 0;
    for (; *list != nullptr; list = &(*list)->next) {
        if (ox_straicmp((*list)->name, name) == 0) {
            attr_t *gone = *list;
            *list = gone->next;
            attr_elem_free(gone);
            return 1;
        }
    }
    return 0;
}

void attrlist_remove(attr_t **keys, attr_t **list)
{
    if (keys == nullptr || list == nullptr)
        return;
    attr_t *removed = nullptr;
    list_removeelem(keys, list, &removed, name_cmp);
    attrlist_free(*keys);
    *keys = removed;
}

}  // extern "C"
