// Searching and sorting classic lists, and the plain walks (append, prepend,
// copy, free, visit).
#include <cstdlib>

#include "cairn/containers.h"
#include "cairn/utilities.h"
#include "containers/classic_link.hpp"
#include "platform/alloc.hpp"

using namespace cairn::classic;

namespace {

// Below this many records a walk with early stop beats building the array.
constexpr int kSearchArrayThreshold = 21;

int count_records(const void *list)
{
    int n = 0;
    for (; list != nullptr; list = next_of(list))
        ++n;
    return n;
}

void *walk_sorted(void *list, const void *key, list_compare_fn cmp)
{
    for (void *elem = list; elem != nullptr; elem = next_of(elem)) {
        int c = cmp(&elem, key);
        if (c == 0)
            return elem;
        if (c > 0)
            break;
    }
    return nullptr;
}

// Halving over the record pointers; the comparison keeps its argument
// order (record first), which the C library's bsearch() would reverse.
void *halve(void **records, int n, const void *key, list_compare_fn cmp)
{
    int lo = 0, hi = n;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        int c = cmp(&records[mid], key);
        if (c == 0)
            return records[mid];
        if (c < 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    return nullptr;
}

}  // namespace

extern "C" void *list_bsearch(void *list, const void *key, int count, list_compare_fn cmp)
{
    if (cmp == nullptr)
        return nullptr;
    if (count <= 0)
        count = count_records(list);
    if (count < kSearchArrayThreshold)
        return walk_sorted(list, key, cmp);
    auto **records =
        static_cast<void **>(cairn::mem_alloc(sizeof(void *) * static_cast<size_t>(count)));
    if (records == nullptr)
        return walk_sorted(list, key, cmp);
    int n = 0;
    for (void *elem = list; elem != nullptr && n < count; elem = next_of(elem))
        records[n++] = elem;
    void *found = halve(records, n, key, cmp);
    cairn::mem_free(records);
    return found;
}

extern "C" void *list_lsearch(void *list, const void *key, list_compare_fn cmp)
{
    if (cmp == nullptr)
        return nullptr;
    for (void *elem = list; elem != nullptr; elem = next_of(elem))
        if (cmp(&elem, key) == 0)
            return elem;
    return nullptr;
}

extern "C" void *list_sort(void *list, int /*count*/, list_compare_fn cmp)
{
    // The given count is only a hint: the real length is needed to relink.
    int n = count_records(list);
    if (cmp == nullptr || n < 2)
        return list;
    auto **records = static_cast<void **>(xmalloc(sizeof(void *) * static_cast<size_t>(n)));
    int i = 0;
    for (void *elem = list; elem != nullptr; elem = next_of(elem))
        records[i++] = elem;
    std::qsort(records, static_cast<size_t>(n), sizeof(void *), cmp);
    for (i = 0; i + 1 < n; ++i)
        set_next(records[i], records[i + 1]);
    set_next(records[n - 1], nullptr);
    void *head = records[0];
    cairn::mem_free(records);
    return head;
}

extern "C" void list_append(void *list, void *elem)
{
    if (list == nullptr || elem == nullptr)
        return;
    void *link = list;
    for (void *cur = load(link); cur != nullptr; cur = load(link))
        link = cur;
    store(link, elem);
}

extern "C" void list_prepend(void *list, void *other)
{
    if (list == nullptr || other == nullptr)
        return;
    void *head = load(other);
    if (head == nullptr)
        return;
    void *last = head;
    while (next_of(last) != nullptr)
        last = next_of(last);
    set_next(last, load(list));
    store(list, head);
}

extern "C" void *list_dup(const void *list, list_copy_fn copy)
{
    void *head = nullptr;
    void *link = &head;
    for (; copy != nullptr && list != nullptr; list = next_of(list)) {
        void *elem = copy(list);
        if (elem == nullptr)
            continue;
        set_next(elem, nullptr);
        store(link, elem);
        link = elem;
    }
    return head;
}

extern "C" void list_free_1(void *list, list_free_fn fn)
{
    while (fn != nullptr && list != nullptr) {
        void *next = next_of(list);
        fn(list);
        list = next;
    }
}

extern "C" void list_print(void *context, void *list, list_visit_fn fn)
{
    for (; fn != nullptr && list != nullptr; list = next_of(list))
        fn(context, list);
}

extern "C" void list_print_attr(void *context, void *list, int options, list_visit_attr_fn fn)
{
    for (; fn != nullptr && list != nullptr; list = next_of(list))
        fn(context, list, options);
}
