// Whole attribute lists: building, copying, merging, ordering, comparing
// and matching queries.
#include <cstdarg>
#include <cstring>

#include "attributes/attr_record.hpp"
#include "cairn/text.h"

using namespace cairn::attrs;

namespace {

void *copy_attr(const void *a) { return attr_dup(static_cast<const attr_t *>(a)); }
void free_attr(void *a) { attr_elem_free(static_cast<attr_t *>(a)); }

int name_cmp_indirect(const void *a, const void *b)
{
    return name_cmp(*static_cast<attr_t *const *>(a), *static_cast<attr_t *const *>(b));
}

bool empty_first(const val_t *v) { return v != nullptr && v->value[0] == '\0'; }

// The value test shared by the three query matchers.
enum class Query { plain, values_needed, empty_aware };

bool values_match(const val_t *q, const val_t *l, Query kind)
{
    if (kind == Query::empty_aware) {
        if (l == nullptr)
            return q == nullptr || empty_first(q);
        if (empty_first(q) && empty_first(l))
            return true;
    }
    if (kind != Query::plain && q != nullptr && l == nullptr)
        return false;
    return vallist_match(q, l) != 0;
}

int query(const attr_t *q, const attr_t *list, Query kind)
{
    for (; q != nullptr; q = q->next) {
        const attr_t *l = attrlist_find(list, q->name);
        if (l == nullptr || !values_match(q->values, l->values, kind))
            return 0;
    }
    return 1;
}

}  // namespace

extern "C" {

attr_t *attrlist_build(const char *name, ...)
{
    attr_t *list = nullptr;
    va_list ap;
    va_start(ap, name);
    for (const char *n = name; n != nullptr; n = va_arg(ap, const char *)) {
        attr_t *a = find_or_insert(&list, n);
        for (const char *v = va_arg(ap, const char *); v != nullptr; v = va_arg(ap, const char *))
            vallist_add(&a->values, v);
    }
    va_end(ap);
    return list;
}

attr_t *attrlist_dup(const attr_t *list)
{
    return static_cast<attr_t *>(list_dup(list, copy_attr));
}

void attrlist_free(attr_t *list) { list_free_1(list, free_attr); }

attr_t *attrlist_copy(const attr_t *selector, const attr_t *source)
{
    attr_t *out = nullptr;
    for (; source != nullptr; source = source->next) {
        if (attrlist_find(selector, source->name) == nullptr)
            continue;
        attr_t *copy = attr_dup(source);
        attr_t *dup = nullptr;
        if (list_addelem(copy, &out, &dup, name_cmp) != 1)
            attr_elem_free(copy);
    }
    return out;
}

void attrlist_merge_or_add(const attr_t *source, attr_t **list)
{
    if (list == nullptr)
        return;
    for (; source != nullptr; source = source->next) {
        bool created = false;
        attr_t *a = find_or_insert(list, source->name, &created);
        if (created || a->values == nullptr)
            a->values = vallist_dup(source->values);
        else
            vallist_merge(source->values, &a->values);  // copies: the destination is not empty
    }
}

void attrlist_merge(attr_t **source, attr_t **dest)
{
    if (source == nullptr || dest == nullptr)
        return;
    attr_t *copies = attrlist_dup(*source);
    attr_t *replaced = nullptr;
    list_addlist(&copies, dest, &replaced, name_cmp);
    attrlist_free(replaced);
}

void attrlist_intersect(attr_t **a, attr_t **b)
{
    if (a == nullptr || b == nullptr)
        return;
    attr_t *removed = nullptr;
    list_intersect(a, b, &removed, name_cmp);
    attrlist_free(removed);
}

void attrlist_order(const attr_t *template_list, attr_t **list)
{
    if (list == nullptr)
        return;
    attr_t *ordered = nullptr;
    attr_t **tail = &ordered;
    for (; template_list != nullptr; template_list = template_list->next) {
        for (attr_t **link = list; *link != nullptr; link = &(*link)->next) {
            if (ox_straicmp((*link)->name, template_list->name) != 0)
                continue;
            attr_t *found = *link;
            *link = found->next;
            found->next = nullptr;
            *tail = found;
            tail = &found->next;
            break;
        }
    }
    *tail = *list;
    *list = ordered;
}

void attrlist_sort(attr_t **list)
{
    if (list != nullptr)
        *list = static_cast<attr_t *>(list_sort(*list, 0, name_cmp_indirect));
}

int attrlist_equal(const attr_t *a, const attr_t *b) { return list_cmp(a, b, attr_cmp) == 0; }

int attrlist_subset(const attr_t *a, const attr_t *b) { return list_subset(a, b, attr_cmp); }

int attrlist_exact_name_match(const attr_t *a, const attr_t *b)
{
    for (; a != nullptr && b != nullptr; a = a->next, b = b->next)
        if (ox_straicmp(a->name, b->name) != 0)
            return 0;
    return a == nullptr && b == nullptr;
}

int attrlist_match(const attr_t *q, const attr_t *list) { return query(q, list, Query::plain); }

int query_match(const attr_t *q, const attr_t *list)
{
    return query(q, list, Query::values_needed);
}

int query_match_null(const attr_t *q, const attr_t *list)
{
    return query(q, list, Query::empty_aware);
}

}  // extern "C"
