// Changing value lists: removal, positional insertion, merging, set
// operations, sorting and applying a difference.
#include <algorithm>
#include <cstring>

#include "attributes/value_record.hpp"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

using namespace cairn::values;

namespace {

int remove_first(val_t **list, const char *text, int (*cmp)(const char *, const char *))
{
    if (list == nullptr)
        return 0;
    val_t **link = find_link(list, text, cmp);
    if (link == nullptr)
        return 0;
    unlink_free(link);
    return 1;
}

int starts_with(const char *text, const char *prefix)
{
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0 ? 0 : 1;
}

val_t **link_at(val_t **list, int position)
{
    for (int pos = 1; pos < position && *list != nullptr; ++pos)
        list = &(*list)->next;
    return list;
}

// Moves records, in order, onto the tail of *out (or frees them).
void hand_over(val_t *v, val_t **out)
{
    v->next = nullptr;
    if (out == nullptr)
        release(v);
    else
        *tail_link(out) = v;
}

// Sorts the records of *list by cmp (stable) and relinks them; with
// `unique`, each record equal to the one kept before it goes to `drop`
// through `on_drop`.  Returns the number of records kept.
int sort_records(val_t **list, list_compare_fn cmp, bool unique, val_t **drop,
                 void (*on_drop)(val_t *, val_t **))
{
    int n = 0;
    for (val_t *v = *list; v != nullptr; v = v->next)
        ++n;
    if (n == 0)
        return 0;
    auto **recs = static_cast<val_t **>(xmalloc(sizeof(val_t *) * static_cast<size_t>(n)));
    int i = 0;
    for (val_t *v = *list; v != nullptr; v = v->next)
        recs[i++] = v;
    std::stable_sort(recs, recs + n,
                     [cmp](const val_t *a, const val_t *b) { return cmp(a, b) < 0; });
    val_t **link = list;
    val_t *last = nullptr;
    int kept = 0;
    for (i = 0; i < n; ++i) {
        if (unique && last != nullptr && cmp(last, recs[i]) == 0) {
            recs[i]->next = nullptr;
            on_drop(recs[i], drop);
            continue;
        }
        *link = last = recs[i];
        link = &last->next;
        ++kept;
    }
    *link = nullptr;
    cairn::mem_free(recs);
    return kept;
}

void free_dropped(val_t *v, val_t **) { release(v); }

void add_dropped_sorted(val_t *v, val_t **dups)
{
    if (dups != nullptr)
        vallist_addsort(dups, v->value);
    release(v);
}

}  // namespace

extern "C" {

int vallist_delete(val_t **list, const char *text)
{
    return remove_first(list, text, text_cmp_exact);
}

int vallist_remove(val_t **list, const char *text)
{
    return remove_first(list, text, text_cmp_exact);
}

void vallist_remove_values(const val_t *values, val_t **list)
{
    for (; values != nullptr; values = values->next)
        remove_first(list, values->value, text_cmp_exact);
}

int vallist_strstart_delete(val_t **list, const char *prefix)
{
    return prefix != nullptr ? remove_first(list, prefix, starts_with) : 0;
}

int vallist_pos_remove(val_t **list, const char *text, int position)
{
    if (list == nullptr || position < 1)
        return 0;
    val_t **link = link_at(list, position);
    if (*link == nullptr || (text != nullptr && text_cmp((*link)->value, text) != 0))
        return 0;
    unlink_free(link);
    return 1;
}

void vallist_pos_insert(val_t **list, const char *text, int position)
{
    if (list == nullptr)
        return;
    val_t **link = link_at(list, position);
    val_t *v = make(text);
    v->next = *link;
    *link = v;
}

void vallist_merge(val_t *source, val_t **dest)
{
    if (dest == nullptr)
        return;
    if (*dest == nullptr) {
        *dest = source;
        return;
    }
    val_t **tail = tail_link(dest);
    for (; source != nullptr; source = source->next) {
        if (vallist_find_exact(*dest, source->value) != nullptr)
            continue;
        *tail = make(source->value);
        tail = &(*tail)->next;
    }
}

void vallist_intersect(const val_t *a, val_t **b)
{
    if (b == nullptr)
        return;
    val_t *kept = nullptr;
    for (; a != nullptr; a = a->next)
        if (vallist_find(*b, a->value) != nullptr)
            vallist_insert(&kept, a->value);
    vallist_free(*b);
    *b = kept;
}

void vallist_collide(const val_t *a, const val_t *b, val_t **both, val_t **only_a, val_t **only_b)
{
    val_t *rest = vallist_dup(b);
    for (; a != nullptr; a = a->next) {
        val_t **link = find_link(&rest, a->value, text_cmp_exact);
        if (link != nullptr)
            unlink_free(link);
        val_t **out = link != nullptr ? both : only_a;
        if (out != nullptr)
            hand_over(make(a->value), out);
    }
    if (only_b != nullptr)
        *tail_link(only_b) = rest;
    else
        vallist_free(rest);
}

int vallist_subset(const val_t *a, const val_t *b)
{
    val_t *pool = vallist_dup(a);
    int subset = 1;
    for (; b != nullptr && subset; b = b->next)
        subset = remove_first(&pool, b->value, text_cmp_exact);
    vallist_free(pool);
    return subset;
}

int vallist_sort(val_t **list, list_compare_fn cmp, int unique)
{
    if (list == nullptr)
        return 0;
    return sort_records(list, cmp ? cmp : val_cmp, unique != 0, nullptr, free_dropped);
}

int vallist_sort2(val_t *list, val_t **out, list_compare_fn cmp, int unique)
{
    int n = vallist_sort(&list, cmp, unique);
    if (out != nullptr)
        *out = list;
    return n;
}

int vallist_remove_get_dups(val_t **list, list_compare_fn cmp, val_t **duplicates)
{
    if (list == nullptr)
        return 0;
    return sort_records(list, cmp ? cmp : val_cmp, true, duplicates, add_dropped_sorted);
}

int vallist_diff_apply(const val_t *old, const val_t *new_values, val_t **target, int mode)
{
    if (target == nullptr)
        return 0;
    if (mode != 1) {
        val_t **link = target;
        while (*link != nullptr) {
            const char *t = (*link)->value;
            if (vallist_find(new_values, t) == nullptr && vallist_find(old, t) != nullptr)
                unlink_free(link);
            else
                link = &(*link)->next;
        }
    }
    if (mode != 2) {
        for (; new_values != nullptr; new_values = new_values->next) {
            const char *n = new_values->value;
            if (vallist_find(old, n) == nullptr && vallist_find(*target, n) == nullptr)
                vallist_add(target, n);
        }
    }
    return 1;
}

int vallist_cmp(const val_t *a, const val_t *b) { return list_cmp(a, b, val_cmp); }

int vallist_cmp_exact(const val_t *a, const val_t *b) { return list_cmp(a, b, val_cmp_exact); }

}  // extern "C"
