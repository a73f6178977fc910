// Single value records and the two comparisons every list operation uses.
#include "attributes/value_record.hpp"

#include <cctype>
#include <cstddef>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/text.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

namespace cairn::values {

val_t *make(const char *text, std::size_t len)
{
    auto *v = static_cast<val_t *>(xmalloc(offsetof(val_t, value) + len + 1));
    v->next = nullptr;
    std::memcpy(v->value, text, len);
    v->value[len] = '\0';
    return v;
}

val_t *make(const char *text) { return text ? make(text, std::strlen(text)) : make("", 0); }

void release(val_t *v) { cairn::mem_free(v); }

void unlink_free(val_t **link)
{
    val_t *gone = *link;
    *link = gone->next;
    release(gone);
}

val_t **tail_link(val_t **list)
{
    while (*list != nullptr)
        list = &(*list)->next;
    return list;
}

int text_cmp(const char *a, const char *b) { return ox_straicmp(a, b); }

int text_cmp_exact(const char *a, const char *b)
{
    int c = std::strcmp(a, b);  // compares as unsigned char
    return (c > 0) - (c < 0);
}

val_t **find_link(val_t **list, const char *text, int (*cmp)(const char *, const char *))
{
    if (text == nullptr)
        return nullptr;
    for (; *list != nullptr; list = &(*list)->next)
        if (cmp((*list)->value, text) == 0)
            return list;
    return nullptr;
}

}  // namespace cairn::values

using namespace cairn::values;

extern "C" {

val_t *val_new(const char *text) { return make(text); }

val_t *val_new_nosp(const char *text)
{
    if (text == nullptr)
        return nullptr;
    const char *end = text + std::strlen(text);
    while (text < end && std::isspace(static_cast<unsigned char>(*text)))
        ++text;
    while (end > text && std::isspace(static_cast<unsigned char>(end[-1])))
        --end;
    return text == end ? nullptr : make(text, static_cast<std::size_t>(end - text));
}

val_t *val_dup(const val_t *v) { return v ? make(v->value) : nullptr; }

void val_update(val_t **slot, const char *text)
{
    if (slot == nullptr)
        return;
    val_t *fresh = make(text);
    if (*slot != nullptr) {
        fresh->next = (*slot)->next;
        release(*slot);
    }
    *slot = fresh;
}

int val_cmp(const void *a, const void *b)
{
    return text_cmp(static_cast<const val_t *>(a)->value, static_cast<const val_t *>(b)->value);
}

int val_cmp_exact(const void *a, const void *b)
{
    return text_cmp_exact(static_cast<const val_t *>(a)->value,
                          static_cast<const val_t *>(b)->value);
}

void val_print(FILE *stream, const val_t *v)
{
    if (stream != nullptr && v != nullptr)
        ox_fprintf(stream, "%s ", v->value);
}

}  // extern "C"
