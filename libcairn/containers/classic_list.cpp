// The sorted operations of the classic list toolkit: each is one merge-style
// pass that relinks records through the address of a link (the head pointer
// or a record's next field), so head and middle need no separate cases.
#include <cerrno>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "containers/classic_link.hpp"

using namespace cairn::classic;

namespace {

int invalid()
{
    ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    return -1;
}

// Moves `link` (the address of a pointer) past every record that orders
// before `elem`; returns the comparison with the record it stops at.
int advance_before(void *&link, const void *elem, list_compare_fn cmp)
{
    for (void *cur = load(link); cur != nullptr; cur = load(link)) {
        int c = cmp(cur, elem);
        if (c >= 0)
            return c;
        link = cur;
    }
    return 1;
}

}  // namespace

extern "C" int list_addelem(void *elem, void *list, void *dup_out, list_compare_fn cmp)
{
    if (dup_out)
        store(dup_out, nullptr);
    if (elem == nullptr || list == nullptr || cmp == nullptr)
        return invalid();
    void *link = list;
    if (advance_before(link, elem, cmp) == 0) {
        if (dup_out)
            store(dup_out, load(link));
        return 0;
    }
    set_next(elem, load(link));
    store(link, elem);
    return 1;
}

extern "C" int list_addlist(void *source, void *dest, void *replaced_out, list_compare_fn cmp)
{
    HandBack replaced(replaced_out);
    if (source == nullptr || dest == nullptr || cmp == nullptr)
        return invalid();
    void *link = dest;
    void *elem = load(source);
    store(source, nullptr);
    while (elem != nullptr) {
        void *following = next_of(elem);
        if (advance_before(link, elem, cmp) == 0) {
            void *old = load(link);
            set_next(elem, next_of(old));
            replaced.add(old);
        } else {
            set_next(elem, load(link));
        }
        store(link, elem);
        link = elem;
        elem = following;
    }
    return 0;
}

extern "C" int list_removeelem(void *keys, void *list, void *removed_out, list_compare_fn cmp)
{
    HandBack removed(removed_out);
    if (keys == nullptr || list == nullptr || cmp == nullptr)
        return invalid();
    int count = 0;
    void *link = list;
    for (void *key = load(keys); key != nullptr && load(link) != nullptr; key = next_of(key)) {
        if (advance_before(link, key, cmp) != 0)
            continue;
        void *found = load(link);
        store(link, next_of(found));
        removed.add(found);
        ++count;
    }
    return count;
}

extern "C" int list_intersect(void *keys, void *list, void *removed_out, list_compare_fn cmp)
{
    HandBack removed(removed_out);
    if (keys == nullptr || list == nullptr || cmp == nullptr)
        return invalid();
    int count = 0;
    void *key = load(keys);
    void *link = list;
    for (void *elem = load(link); elem != nullptr; elem = load(link)) {
        int c = 1;
        while (key != nullptr && (c = cmp(key, elem)) < 0)
            key = next_of(key);
        if (key != nullptr && c == 0) {
            link = elem;
            continue;
        }
        store(link, next_of(elem));
        removed.add(elem);
        ++count;
    }
    return count;
}

extern "C" int list_subset(const void *a, const void *b, list_compare_fn cmp)
{
    if (cmp == nullptr)
        return invalid() + 1;
    for (; a != nullptr; a = next_of(a)) {
        int c = 1;
        while (b != nullptr && (c = cmp(b, a)) < 0)
            b = next_of(b);
        if (b == nullptr || c != 0)
            return 0;
    }
    return 1;
}

extern "C" int list_cmp(const void *a, const void *b, list_compare_fn cmp)
{
    if (cmp == nullptr)
        return invalid() + 1;
    for (; a != nullptr && b != nullptr; a = next_of(a), b = next_of(b)) {
        int c = cmp(a, b);
        if (c != 0)
            return c;
    }
    if (a != nullptr)
        return 1;
    return b != nullptr ? -1 : 0;
}
