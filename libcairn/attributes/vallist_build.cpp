// Building value lists: appending, inserting, sorted insertion, copying.
#include <cerrno>
#include <clocale>
#include <cstdarg>
#include <cstring>

#include "attributes/value_record.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/text.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

using namespace cairn::values;

namespace {

// Texts are compared by the locale's collation up to this many bytes.
constexpr std::size_t kCollateBytes = 19456;

// Sorted insertion by `cmp` through the classic toolkit: 0 when an equal
// value is present (the new record is freed), else 1.
int add_sorted(val_t **list, const char *text, list_compare_fn cmp)
{
    if (list == nullptr)
        return 0;
    val_t *v = make(text);
    val_t *dup = nullptr;
    if (list_addelem(v, list, &dup, cmp) == 1)
        return 1;
    release(v);
    return 0;
}

// The locale's multibyte form of UTF-8 text, cut to kCollateBytes; the
// UTF-8 itself when the conversion fails.
void to_local(const char *in, char *out)
{
    size_t count = 0;
    int rc = ox_utf8s_to_mbs(out, in, kCollateBytes + 1, &count);
    if (rc != 0 && rc != 1)
        ox_strlcpy(out, in, kCollateBytes + 1);
}

int collate(const void *a, const void *b)
{
    char *x = static_cast<char *>(xmalloc(2 * (kCollateBytes + 1)));
    char *y = x + kCollateBytes + 1;
    to_local(static_cast<const val_t *>(a)->value, x);
    to_local(static_cast<const val_t *>(b)->value, y);
    int c = std::strcoll(x, y);
    cairn::mem_free(x);
    return c;
}

}  // namespace

namespace cairn::values {
int collate_cmp(const void *a, const void *b) { return collate(a, b); }
}  // namespace cairn::values

extern "C" {

void vallist_add(val_t **list, const char *text) { vallist_add_tail(list, text); }

val_t *vallist_add_tail(val_t **list, const char *text)
{
    if (list == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    return *tail_link(list) = make(text);
}

void vallist_insert(val_t **list, const char *text)
{
    if (list == nullptr)
        return;
    val_t *v = make(text);
    v->next = *list;
    *list = v;
}

val_t *vallist_append(val_t **list, val_t **tail, const char *text)
{
    if (list == nullptr || tail == nullptr)
        return nullptr;
    val_t *v = make(text);
    if (*tail == nullptr)
        *list = v;
    else
        (*tail)->next = v;
    return *tail = v;
}

val_t *vallist_add2(val_t **list, val_t **tail, const char *text)
{
    if (list == nullptr || tail == nullptr || (*list == nullptr && *tail != nullptr)) {
        if (Debug >= 9 || (OxTrace & 0x100))
            debugprintf("vallist_add2(): invalid input\n");
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    if (*tail != nullptr)
        while ((*tail)->next != nullptr)
            *tail = (*tail)->next;
    return vallist_append(list, tail, text);
}

int vallist_addsort(val_t **list, const char *text) { return add_sorted(list, text, val_cmp); }

int vallist_addsort_exact(val_t **list, const char *text)
{
    return add_sorted(list, text, val_cmp_exact);
}

int i18n_vallist_addsort(val_t **list, const char *text) { return add_sorted(list, text, collate); }

val_t *vallist_build(const char *text, ...)
{
    val_t *head = nullptr;
    val_t **link = &head;
    va_list ap;
    va_start(ap, text);
    for (const char *t = text; t != nullptr; t = va_arg(ap, const char *)) {
        *link = make(t);
        link = &(*link)->next;
    }
    va_end(ap);
    return head;
}

val_t *vallist_dup(const val_t *list)
{
    val_t *head = nullptr;
    val_t **link = &head;
    for (; list != nullptr; list = list->next) {
        *link = make(list->value);
        link = &(*link)->next;
    }
    return head;
}

void vallist_free(val_t *list)
{
    while (list != nullptr) {
        val_t *next = list->next;
        release(list);
        list = next;
    }
}

void vlist_utf8_to_mbts(val_t **list)
{
    for (; list != nullptr && *list != nullptr; list = &(*list)->next) {
        // A character never takes more than four bytes more in the locale's
        // form than in UTF-8's.
        size_t size = 4 * std::strlen((*list)->value) + 1;
        char *local = static_cast<char *>(xmalloc(size));
        size_t count = 0;
        int rc = ox_utf8s_to_mbts(local, (*list)->value, size, &count);
        if (rc == 0 || rc == 1)
            val_update(list, local);
        cairn::mem_free(local);
    }
}

}  // extern "C"
