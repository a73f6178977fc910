// Finding, reading, adding and setting attributes of a list.
#include <cstdlib>
#include <cstring>

#include "attributes/attr_record.hpp"
#include "cairn/text.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

using namespace cairn::attrs;

namespace {

// Companion names are limited to this many bytes.
constexpr size_t kCompanionNameBytes = 63;

void set_values(attr_t *a, val_t *values)
{
    vallist_free(a->values);
    a->values = values;
}

val_t *one_value_or_none(const char *value)
{
    return value != nullptr && *value != '\0' ? val_new(value) : nullptr;
}

// Adds `value` to the attribute `name`: appended when it exists (nothing
// for NULL); a new attribute gets `first_value` applied to it.
attr_t *add_value(attr_t **list, const char *name, const char *value,
                  val_t *(*first_value)(const char *))
{
    if (list == nullptr || name == nullptr)
        return nullptr;
    bool created = false;
    attr_t *a = find_or_insert(list, name, &created);
    if (created)
        a->values = first_value(value);
    else if (value != nullptr)
        vallist_add(&a->values, value);
    return a;
}

val_t *empty_when_null(const char *value) { return val_new(value); }

}  // namespace

extern "C" {

attr_t *attrlist_case_find(const attr_t *list, const char *name, int exact)
{
    if (name == nullptr)
        return nullptr;
    for (; list != nullptr; list = list->next) {
        int c = exact == 1 ? std::strcmp(list->name, name) : ox_straicmp(list->name, name);
        if (c == 0)
            return const_cast<attr_t *>(list);
    }
    return nullptr;
}

attr_t *attrlist_find(const attr_t *list, const char *name)
{
    return attrlist_case_find(list, name, 0);
}

const char *attrlist_getvalue(const attr_t *list, const char *name)
{
    const attr_t *a = attrlist_find(list, name);
    return a != nullptr && a->values != nullptr ? a->values->value : nullptr;
}

int attrlist_getint(const attr_t *list, const char *name)
{
    const char *v = attrlist_getvalue(list, name);
    return v ? std::atoi(v) : 0;
}

uint64_t attrlist_getuint64(const attr_t *list, const char *name)
{
    const char *v = attrlist_getvalue(list, name);
    return v ? std::strtoull(v, nullptr, 10) : 0;
}

int attrlist_hasattr(const attr_t *list, const char *name, const char *value)
{
    return attr_hasval(attrlist_find(list, name), value);
}

int attrlist_hasattr_eitherval(const attr_t *list, const char *name, const char *first,
                               const char *second)
{
    const attr_t *a = attrlist_find(list, name);
    return attr_hasval(a, first) || attr_hasval(a, second);
}

int attrlist_hasattr_valmatch(const attr_t *list, const char *name, const val_t *values)
{
    const attr_t *a = attrlist_find(list, name);
    return a != nullptr && a->values != nullptr && values != nullptr &&
           vallist_find_list(a->values, values) != nullptr;
}

attr_t *attrlist_regex_find(const attr_t *list, const char *pattern)
{
    if (pattern == nullptr)
        return nullptr;
    char *folded = xstrdup(pattern);
    ox_strlower(folded);
    attr_t *found = nullptr;
    for (; list != nullptr && found == nullptr; list = list->next) {
        char *name = xstrdup(list->name);
        ox_strlower(name);
        if (fmatch(folded, name) == 1)
            found = const_cast<attr_t *>(list);
        cairn::mem_free(name);
    }
    cairn::mem_free(folded);
    return found;
}

attr_t *attrlist_add(attr_t **list, const char *name, const char *value)
{
    return add_value(list, name, value, one_value_or_none);
}

attr_t *attrlist_addempty(attr_t **list, const char *name, const char *value)
{
    return add_value(list, name, value, empty_when_null);
}

attr_t *attrlist_addlist(attr_t **list, const char *name, const val_t *values)
{
    if (list == nullptr || name == nullptr)
        return nullptr;
    attr_t *a = find_or_insert(list, name);
    val_t *copy = vallist_dup(values);
    val_t **tail = &a->values;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = copy;
    return a;
}

attr_t *attrlist_set(attr_t **list, const char *name, const char *value)
{
    if (list == nullptr || name == nullptr)
        return nullptr;
    attr_t *a = find_or_insert(list, name);
    set_values(a, one_value_or_none(value));
    return a;
}

attr_t *attrlist_setlist(attr_t **list, const char *name, const val_t *values)
{
    return attrlist_setlist_nodup(list, name, vallist_dup(values));
}

attr_t *attrlist_setlist_nodup(attr_t **list, const char *name, val_t *values)
{
    if (list == nullptr || name == nullptr) {
        vallist_free(values);
        return nullptr;
    }
    attr_t *a = find_or_insert(list, name);
    if (a->values != values)
        set_values(a, values);
    return a;
}

int attrlist_replace(attr_t **list, const char *name, const char *value)
{
    if (list == nullptr || name == nullptr)
        return 0;
    const attr_t *a = attrlist_find(*list, name);
    if (a != nullptr) {
        const val_t *v = a->values;
        if (v == nullptr && value == nullptr)
            return 0;
        if (v != nullptr && v->next == nullptr && value != nullptr &&
            std::strcmp(v->value, value) == 0)
            return 0;
    }
    attrlist_set(list, name, value);
    return 1;
}

attr_t *attrlist_default(attr_t **list, const char *name, const char *value)
{
    attr_t *a = list ? attrlist_find(*list, name) : nullptr;
    if (a != nullptr && a->values != nullptr)
        return a;
    return attrlist_add(list, name, value);
}

const char *attrlist_add_I18Nattr(attr_t **list, const char *name, int remove)
{
    const attr_t *original = list ? attrlist_find(*list, name) : nullptr;
    if (original == nullptr || original->values == nullptr)
        return nullptr;
    // The name is shortened, not the suffix, so the companion stays one.
    constexpr size_t kSuffix = sizeof ATTR_I18N_SUFFIX - 1;
    char companion[kCompanionNameBytes + 1];
    ox_strlcpy(companion, name, kCompanionNameBytes - kSuffix + 1);
    ox_strlcat(companion, ATTR_I18N_SUFFIX, sizeof companion);
    val_t *converted = nullptr;
    for (const val_t *v = original->values; v != nullptr; v = v->next) {
        char *text = msg_string_to_stbuf(v->value);
        vallist_add(&converted, text);
        cairn::mem_free(text);
    }
    attr_t *c = attrlist_setlist_nodup(list, companion, converted);
    if (remove != 0 && ox_straicmp(companion, name) != 0)
        attr_delete(list, name);
    return c->name;
}

}  // extern "C"
