// Searching value lists.
#include <cctype>
#include <cstring>

#include "attributes/value_record.hpp"
#include "cairn/text.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

using namespace cairn::values;

namespace {

val_t *find_by(const val_t *list, const char *text, int (*cmp)(const char *, const char *))
{
    auto *head = const_cast<val_t *>(list);
    val_t **link = find_link(&head, text, cmp);
    return link ? *link : nullptr;
}

bool is_blank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Tabs and line feeds to blanks, runs of white space to one character,
// then one leading and one trailing white-space character removed.
void normalise_spaces(char *s)
{
    char *out = s;
    for (const char *in = s; *in != '\0'; ++in) {
        char c = (*in == '\t' || *in == '\n') ? ' ' : *in;
        if (is_blank(c) && out > s && is_blank(out[-1]))
            continue;
        *out++ = c;
    }
    *out = '\0';
    if (out > s && is_blank(out[-1]))
        *--out = '\0';
    if (is_blank(s[0]))
        std::memmove(s, s + 1, static_cast<size_t>(out - s));
}

// A sorted copy by the locale's collation, duplicates dropped.
val_t *collated_copy(const val_t *list)
{
    val_t *sorted = nullptr;
    for (; list != nullptr; list = list->next)
        i18n_vallist_addsort(&sorted, list->value);
    return sorted;
}

bool pattern_matches_any(const char *pattern, const val_t *values, bool *bad_pattern)
{
    char *folded = lower_copy(pattern);
    ox_regex *re = regex_cmp(folded);
    cairn::mem_free(folded);
    if (re == nullptr) {
        *bad_pattern = true;
        return false;
    }
    bool hit = false;
    for (; values != nullptr && !hit; values = values->next) {
        char *value = lower_copy(values->value);
        hit = regex_exec(re, value) == 1;
        cairn::mem_free(value);
    }
    regex_done(re);
    return hit;
}

}  // namespace

namespace cairn::values {
char *lower_copy(const char *text)
{
    char *copy = xstrdup(text ? text : "");
    ox_strlower(copy);
    return copy;
}
}  // namespace cairn::values

extern "C" {

val_t *vallist_find(const val_t *list, const char *text) { return find_by(list, text, text_cmp); }

val_t *vallist_find_exact(const val_t *list, const char *text)
{
    return find_by(list, text, text_cmp_exact);
}

int vallist_find_pos(const val_t *list, const char *text)
{
    if (text == nullptr)
        return -1;
    for (int pos = 1; list != nullptr; list = list->next, ++pos)
        if (text_cmp(list->value, text) == 0)
            return pos;
    return -1;
}

const char *vallist_pos_value(const val_t *list, int position)
{
    if (position < 1)
        return nullptr;
    for (int pos = 1; list != nullptr; list = list->next, ++pos)
        if (pos == position)
            return list->value;
    return nullptr;
}

int vallist_count_val(const val_t *list, const char *text)
{
    int n = 0;
    for (; text != nullptr && list != nullptr; list = list->next)
        n += text_cmp(list->value, text) == 0;
    return n;
}

const char *vallist_find_list(const val_t *a, const val_t *b)
{
    for (; a != nullptr; a = a->next)
        if (vallist_find(b, a->value) != nullptr)
            return a->value;
    return nullptr;
}

int vallist_match(const val_t *a, const val_t *b)
{
    return a == nullptr || b == nullptr || vallist_find_list(a, b) != nullptr;
}

const char *vallist_has_dup_values(const val_t *list)
{
    for (; list != nullptr; list = list->next)
        if (vallist_find(list->next, list->value) != nullptr)
            return list->value;
    return nullptr;
}

val_t *vallist_search_substr(const val_t *list, const char *needle)
{
    for (; needle != nullptr && list != nullptr; list = list->next)
        if (std::strstr(list->value, needle) != nullptr)
            return const_cast<val_t *>(list);
    return nullptr;
}

val_t *vallist_find_trim(val_t *list, const char *text)
{
    for (; text != nullptr && list != nullptr; list = list->next) {
        normalise_spaces(list->value);
        if (text_cmp(list->value, text) == 0)
            return list;
    }
    return nullptr;
}

val_t *vallist_find_unique(const val_t *a, const val_t *b)
{
    if (a == nullptr || b == nullptr)
        return nullptr;
    val_t *sa = collated_copy(a), *sb = collated_copy(b);
    const val_t *y = sb;
    val_t *found = nullptr;
    for (const val_t *x = sa; x != nullptr && found == nullptr; x = x->next) {
        int c = 1;
        while (y != nullptr && (c = collate_cmp(y, x)) < 0)
            y = y->next;
        if (y == nullptr || c != 0)
            found = vallist_find(a, x->value);
    }
    vallist_free(sa);
    vallist_free(sb);
    return found;
}

int vallist_patmatch(const val_t *patterns, const val_t *values)
{
    if (patterns == nullptr || values == nullptr || std::strcmp(patterns->value, "*") == 0)
        return 1;
    for (; patterns != nullptr; patterns = patterns->next) {
        bool bad = false;
        if (pattern_matches_any(patterns->value, values, &bad))
            return 1;
        if (bad)
            return 0;
    }
    return 0;
}

}  // extern "C"
