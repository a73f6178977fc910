// The classic list toolkit against a model (std::vector) on lists of 0, 1,
// 21, 22 and 1,000 records, plus the edge cases of each sorted operation.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

#include "cairn/containers.h"

namespace {

struct Rec {
    Rec *next;
    int key;
    int tag;  // tells records with equal keys apart
};

int by_key(const void *a, const void *b)
{
    int x = static_cast<const Rec *>(a)->key, y = static_cast<const Rec *>(b)->key;
    return (x > y) - (x < y);
}

// Search comparisons receive the address of a record pointer and the key.
int calls = 0;
int search_key(const void *elem_addr, const void *key)
{
    ++calls;
    int x = (*static_cast<Rec *const *>(elem_addr))->key, y = *static_cast<const int *>(key);
    return (x > y) - (x < y);
}
int sort_key(const void *a, const void *b)
{
    return by_key(*static_cast<Rec *const *>(a), *static_cast<Rec *const *>(b));
}

// Owns the records of a test; lists link into them.
struct Pool {
    std::deque<Rec> recs;
    Rec *make(int key, int tag = 0) { return &recs.emplace_back(Rec{nullptr, key, tag}); }
    Rec *chain(const std::vector<int> &keys, int tag = 0)
    {
        Rec *head = nullptr, **link = &head;
        for (int k : keys) {
            *link = make(k, tag);
            link = &(*link)->next;
        }
        return head;
    }
};

std::vector<int> keys(const Rec *r)
{
    std::vector<int> out;
    for (; r; r = r->next)
        out.push_back(r->key);
    return out;
}
std::vector<int> tags(const Rec *r)
{
    std::vector<int> out;
    for (; r; r = r->next)
        out.push_back(r->tag);
    return out;
}

// Even numbers 0, 2, ... : odd keys fall between records.
std::vector<int> evens(int n)
{
    std::vector<int> v;
    for (int i = 0; i < n; ++i)
        v.push_back(2 * i);
    return v;
}

const int kSizes[] = {0, 1, 21, 22, 1000};

TEST(ClassicList, AddelemKeepsOrderAndReportsDuplicates)
{
    for (int n : kSizes) {
        Pool pool;
        Rec *head = pool.chain(evens(n));
        std::vector<int> model = evens(n);
        int tag = 100;
        for (int k : {-1, 1, 2 * n - 1, 2 * n + 5, n, 0, 2 * n - 2}) {
            Rec *dup = pool.make(0);  // cleared by the call
            Rec *elem = pool.make(k, ++tag);
            bool present = std::binary_search(model.begin(), model.end(), k);
            int rc = list_addelem(elem, &head, &dup, by_key);
            if (present) {
                EXPECT_EQ(rc, 0);
                ASSERT_NE(dup, nullptr);
                EXPECT_EQ(dup->key, k);
                EXPECT_NE(dup, elem) << "the record already listed is reported";
                EXPECT_NE(dup->tag, tag);
            } else {
                EXPECT_EQ(rc, 1);
                EXPECT_EQ(dup, nullptr);
                model.insert(std::upper_bound(model.begin(), model.end(), k), k);
            }
            ASSERT_EQ(keys(head), model) << "size " << n << " key " << k;
        }
    }
    Pool pool;
    Rec *head = pool.chain({1, 2});
    Rec *first = head;
    Rec *dup = nullptr;
    EXPECT_EQ(list_addelem(pool.make(1, 7), &head, &dup, by_key), 0);
    EXPECT_EQ(dup, first);
    EXPECT_EQ(head, first);
    EXPECT_EQ(keys(head), (std::vector<int>{1, 2}));
    EXPECT_EQ(list_addelem(nullptr, &head, &dup, by_key), -1);
    EXPECT_EQ(dup, nullptr);
    EXPECT_EQ(list_addelem(pool.make(3), nullptr, nullptr, by_key), -1);
}

TEST(ClassicList, AddlistMergesAndHandsBackDisplaced)
{
    Pool pool;
    Rec *dst = pool.chain({1, 2}, 0);  // a, b
    Rec *src = pool.chain({1, 3}, 1);  // a, c
    Rec *old_a = dst;
    Rec *replaced = pool.make(99);
    ASSERT_EQ(list_addlist(&src, &dst, &replaced, by_key), 0);
    EXPECT_EQ(src, nullptr);
    EXPECT_EQ(keys(dst), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(tags(dst), (std::vector<int>{1, 0, 1}));
    EXPECT_EQ(replaced, old_a);
    EXPECT_EQ(old_a->next, nullptr);

    for (int n : kSizes) {
        Pool p;
        Rec *d = p.chain(evens(n), 0);
        std::vector<int> s_keys;
        for (int i = 0; i < n + 3; i += 3)
            s_keys.push_back(i);  // every third number: some equal, some between
        Rec *s = p.chain(s_keys, 1);
        std::vector<int> model = evens(n), displaced;
        for (int k : s_keys) {
            if (std::binary_search(model.begin(), model.end(), k))
                displaced.push_back(k);
            else
                model.insert(std::upper_bound(model.begin(), model.end(), k), k);
        }
        Rec *rep = nullptr;
        list_addlist(&s, &d, &rep, by_key);
        EXPECT_EQ(keys(d), model) << n;
        EXPECT_EQ(keys(rep), displaced) << n;
        for (Rec *r = d; r; r = r->next) {
            if (std::binary_search(s_keys.begin(), s_keys.end(), r->key)) {
                EXPECT_EQ(r->tag, 1) << "source record takes the place of " << r->key;
            }
        }
    }
}

// Calls `op` (removeelem or intersect) with records of `key_values` on a
// list of `have`, and expects the list left, the records removed and their
// count.
void expect_split(int (*op)(void *, void *, void *, list_compare_fn), const std::vector<int> &have,
                  const std::vector<int> &key_values, const std::vector<int> &left,
                  const std::vector<int> &removed)
{
    Pool p;
    Rec *h = p.chain(have), *k = p.chain(key_values), *rem = nullptr;
    EXPECT_EQ(op(&k, &h, &rem, by_key), static_cast<int>(removed.size()));
    EXPECT_EQ(keys(h), left);
    EXPECT_EQ(keys(rem), removed);
}

TEST(ClassicList, RemoveelemTakesOnePerKeyAndIntersectKeepsKeyedRecords)
{
    expect_split(list_removeelem, {1, 2, 2}, {2}, {1, 2}, {2});
    expect_split(list_intersect, {1, 2, 3}, {}, {}, {1, 2, 3});
    for (int n : kSizes) {
        SCOPED_TRACE(n);
        const std::vector<int> ks = {-1, 0, 0, 3, 4, 2 * n - 2, 2 * n + 4};
        std::vector<int> left = evens(n), gone;
        for (int key : ks) {
            auto it = std::find(left.begin(), left.end(), key);
            if (it != left.end()) {
                gone.push_back(key);
                left.erase(it);
            }
        }
        expect_split(list_removeelem, evens(n), ks, left, gone);
        std::vector<int> thirds, kept;
        gone.clear();
        for (int i = 0; i < 2 * n; i += 3)
            thirds.push_back(i);
        for (int v : evens(n))
            (std::binary_search(thirds.begin(), thirds.end(), v) ? kept : gone).push_back(v);
        expect_split(list_intersect, evens(n), thirds, kept, gone);
    }
}

TEST(ClassicList, SubsetAndCmp)
{
    Pool p;
    Rec *a = p.chain({1});
    Rec *ab = p.chain({1, 2});
    EXPECT_EQ(list_cmp(a, ab, by_key), -1);
    EXPECT_EQ(list_cmp(ab, a, by_key), 1);
    EXPECT_EQ(list_cmp(nullptr, nullptr, by_key), 0);
    EXPECT_EQ(list_cmp(p.chain({1, 5}), p.chain({1, 3, 9}), by_key), 1);
    EXPECT_EQ(list_subset(nullptr, ab, by_key), 1);
    EXPECT_EQ(list_subset(a, ab, by_key), 1);
    EXPECT_EQ(list_subset(ab, a, by_key), 0);
    EXPECT_EQ(list_subset(p.chain({0, 1}), ab, by_key), 0);
    for (int n : kSizes) {
        Pool q;
        Rec *all = q.chain(evens(n));
        std::vector<int> every_other;
        for (int i = 0; i < n; i += 2)
            every_other.push_back(2 * i);
        EXPECT_EQ(list_subset(q.chain(every_other), all, by_key), 1) << n;
        EXPECT_EQ(list_cmp(q.chain(evens(n)), all, by_key), 0) << n;
        if (n > 0) {
            every_other.push_back(2 * n + 1);
            EXPECT_EQ(list_subset(q.chain(every_other), all, by_key), 0) << n;
        }
    }
}

TEST(ClassicList, BsearchWalksBelowThresholdAndHalvesFromIt)
{
    for (int n : {0, 1, 20, 21, 22, 1000}) {
        Pool p;
        Rec *h = p.chain(evens(n));
        for (int k = -1; k <= 2 * n; ++k) {
            calls = 0;
            Rec *found = static_cast<Rec *>(list_bsearch(h, &k, 0, search_key));
            if (k >= 0 && k % 2 == 0 && k < 2 * n) {
                ASSERT_NE(found, nullptr) << n << " " << k;
                EXPECT_EQ(found->key, k);
            } else {
                EXPECT_EQ(found, nullptr) << n << " " << k;
            }
            if (n >= 21)
                EXPECT_LE(calls, 12) << "halving from 21 records on";
            else
                EXPECT_LE(calls, k / 2 + 2) << "the walk stops at the first later record";
        }
        int k = 2 * (n / 2);
        if (n > 0) {  // a count given by the caller gives the same answers
            EXPECT_EQ(list_bsearch(h, &k, n, search_key), list_bsearch(h, &k, 0, search_key));
            EXPECT_EQ(list_lsearch(h, &k, search_key), list_bsearch(h, &k, 0, search_key));
        }
        // A count larger than the list stays within it.
        EXPECT_EQ(list_bsearch(h, &k, n + 50, search_key),
                  n ? list_bsearch(h, &k, 0, search_key) : nullptr);
    }
}

TEST(ClassicList, SortAppendPrependDupFreeVisit)
{
    std::mt19937 rng(7);
    for (int n : kSizes) {
        Pool p;
        std::vector<int> v(static_cast<size_t>(n));
        for (int &x : v)
            x = static_cast<int>(rng() % 500);
        Rec *h = static_cast<Rec *>(list_sort(p.chain(v), 0, sort_key));
        std::sort(v.begin(), v.end());
        EXPECT_EQ(keys(h), v) << n;
    }
    Pool p;
    Rec *h = nullptr;
    list_append(&h, p.make(1));
    list_append(&h, p.chain({2, 3}));
    Rec *other = p.chain({7, 8});
    Rec *other_head = other;
    list_prepend(&h, &other);
    EXPECT_EQ(keys(h), (std::vector<int>{7, 8, 1, 2, 3}));
    EXPECT_EQ(other, other_head);

    Rec *copy = static_cast<Rec *>(list_dup(h, [](const void *e) -> void * {
        auto *r = new Rec(*static_cast<const Rec *>(e));
        r->tag = 5;
        return r;
    }));
    EXPECT_EQ(keys(copy), keys(h));
    EXPECT_EQ(tags(copy), std::vector<int>(5, 5));
    int sum = 0;
    list_print(&sum, copy,
               [](void *ctx, void *e) { *static_cast<int *>(ctx) += static_cast<Rec *>(e)->key; });
    EXPECT_EQ(sum, 21);
    list_print_attr(&sum, copy, 3,
                    [](void *ctx, void *, int opt) { *static_cast<int *>(ctx) += opt; });
    EXPECT_EQ(sum, 36);
    // Freeing reads each next pointer first: deleting the record is safe.
    list_free_1(copy, [](void *e) { delete static_cast<Rec *>(e); });
}

}  // namespace
