// Long random sequences of list and array operations, checked step by step
// against a small reference model of the same rules (positions, slot
// numbers, references, busy elements, iterator repair).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "cairn/containers.h"
#include "cairn/frame.h"

namespace {

void *ptr(intptr_t v) { return reinterpret_cast<void *>(v); }
intptr_t val(void *p) { return reinterpret_cast<intptr_t>(p); }
int compare_keys(void *a, void *b) { return val(a) < val(b) ? -1 : val(a) > val(b) ? 1 : 0; }

struct Elem {
    intptr_t key;
    intptr_t data;
    int refs = 0;
};

// Iterator state in the model: the current element by identity (its data,
// unique per element), pending flag and last direction.
struct ModelIter {
    std::optional<intptr_t> current;
    bool pending = false;
    int direction = 0;
};

// ---------------------------------------------------------------- lists ---

struct ListModel {
    std::vector<Elem> elems;
    ModelIter iters[2];

    int pos_of(intptr_t data) const
    {
        for (size_t i = 0; i < elems.size(); ++i)
            if (elems[i].data == data)
                return static_cast<int>(i);
        return -1;
    }
    int find_key(intptr_t key) const
    {
        for (size_t i = 0; i < elems.size(); ++i)
            if (elems[i].key == key)
                return static_cast<int>(i);
        return -1;
    }
    bool busy(int i) const
    {
        if (elems[i].refs > 0)
            return true;
        for (auto &it : iters)
            if (it.current == elems[i].data)
                return true;
        return false;
    }
    void remove(int i)
    {
        for (auto &it : iters) {
            if (it.current != elems[i].data)
                continue;
            bool has_next = i + 1 < static_cast<int>(elems.size()), has_prev = i > 0;
            if (it.direction == 1)
                it.current = has_next   ? elems[i + 1].data
                             : has_prev ? elems[i - 1].data
                                        : std::optional<intptr_t>();
            else
                it.current = has_prev   ? elems[i - 1].data
                             : has_next ? elems[i + 1].data
                                        : std::optional<intptr_t>();
            it.pending = true;
        }
        elems.erase(elems.begin() + i);
    }
    // The result of removing element i (-1: none): it goes, its data handed
    // out, unless the try form meets it busy.
    int removal(int i, bool try_only, intptr_t *data)
    {
        if (i < 0)
            return 49;
        if (try_only && busy(i))
            return 12;
        *data = elems[i].data;
        remove(i);
        return 0;
    }
    int step(ModelIter &it, bool forward, intptr_t *out)
    {
        it.direction = forward ? 1 : 2;
        if (it.pending) {
            it.pending = false;
        } else {
            if (!it.current)
                return 49;
            int i = pos_of(*it.current) + (forward ? 1 : -1);
            if (i < 0 || i >= static_cast<int>(elems.size()))
                return 49;
            it.current = elems[i].data;
        }
        if (!it.current)
            return 49;
        *out = *it.current;
        return 0;
    }
};

TEST(ContainerModel, ListAgainstModel)
{
    std::mt19937 rng(20261122);
    ox_list *list = ox_list_new(nullptr, nullptr, compare_keys, nullptr, 0);
    ASSERT_NE(list, nullptr);
    ox_iterator *its[2] = {ox_iterator_new(list), ox_iterator_new(list)};
    ListModel m;
    intptr_t next_data = 1;
    for (int step = 0; step < 60000; ++step) {
        int op = static_cast<int>(rng() % 16);
        intptr_t key = static_cast<intptr_t>(rng() % 40) + 1;
        int n = static_cast<int>(m.elems.size());
        int pos = static_cast<int>(rng() % static_cast<unsigned>(n + 2));
        void *out = ptr(-1);
        intptr_t want = 0;
        SCOPED_TRACE(testing::Message() << "step " << step << " op " << op);
        switch (op) {
        case 0:
        case 1:
            ASSERT_EQ(ox_list_append(list, ptr(key), ptr(next_data)), 0);
            m.elems.push_back({key, next_data++});
            break;
        case 2:
            ASSERT_EQ(ox_list_prepend(list, ptr(key), ptr(next_data)), 0);
            m.elems.insert(m.elems.begin(), {key, next_data++});
            break;
        case 3: {
            ASSERT_EQ(ox_list_insert(list, ptr(key), ptr(next_data), pos), 0);
            int at = std::min(std::max(pos, 1), n + 1) - 1;
            m.elems.insert(m.elems.begin() + at, {key, next_data++});
            break;
        }
        case 4:
        case 5:
        case 6:
        case 7: {
            bool try_only = op % 2, by_index = op < 6;
            int i = by_index ? (pos >= 1 && pos <= n ? pos - 1 : -1) : m.find_key(key);
            int rc = by_index ? (try_only ? ox_list_try_remove_index(list, pos, &out)
                                          : ox_list_remove_index(list, pos, &out))
                              : (try_only ? ox_list_try_remove_node(list, ptr(key), &out)
                                          : ox_list_remove_node(list, ptr(key), &out));
            ASSERT_EQ(rc, m.removal(i, try_only, &want));
            ASSERT_EQ(val(out), want);
            break;
        }
        case 8: {
            int i = m.find_key(key);
            int rc = rng() % 2 ? ox_list_reference(list, ptr(key), &out)
                               : ox_list_unreference(list, ptr(key));
            if (i < 0) {
                ASSERT_EQ(rc, 49);
            } else if (out != ptr(-1)) {
                ASSERT_EQ(rc, 0);
                ASSERT_EQ(val(out), m.elems[i].data);
                ++m.elems[i].refs;
            } else {
                ASSERT_EQ(rc, 0);
                m.elems[i].refs = std::max(0, m.elems[i].refs - 1);
            }
            break;
        }
        case 9:
        case 10: {
            int i = op == 9 ? m.find_key(key) : pos >= 1 && pos <= n ? pos - 1 : -1;
            int rc = op == 9 ? ox_list_find(list, ptr(key), &out) : ox_list_nth(list, pos, &out);
            ASSERT_EQ(rc, i < 0 ? 49 : 0);
            ASSERT_EQ(val(out), i < 0 ? 0 : m.elems[i].data);
            ASSERT_EQ(ox_list_index(list, ptr(key)), m.find_key(key) + 1);
            break;
        }
        default: {  // iterator steps
            int k = static_cast<int>(rng() % 2);
            ModelIter &mi = m.iters[k];
            int which = static_cast<int>(rng() % 5);
            int rc;
            if (which < 2) {
                rc = which == 0 ? ox_iterator_start(its[k], &out) : ox_iterator_end(its[k], &out);
                mi.current = m.elems.empty() ? std::optional<intptr_t>()
                                             : (which == 0 ? m.elems.front() : m.elems.back()).data;
                mi.pending = false;
                want = mi.current.value_or(0);
                ASSERT_EQ(rc, mi.current ? 0 : 49);
            } else if (which == 4) {
                rc = ox_iterator_current(its[k], &out);
                ASSERT_EQ(rc, mi.current ? 0 : 49);
                want = mi.current.value_or(0);
            } else {
                int mrc = m.step(mi, which == 2, &want);
                rc = which == 2 ? ox_iterator_next(its[k], &out)
                                : ox_iterator_previous(its[k], &out);
                ASSERT_EQ(rc, mrc);
                if (mrc != 0)
                    want = 0;
            }
            ASSERT_EQ(val(out), rc == 0 ? want : 0);
            break;
        }
        }
        ASSERT_EQ(ox_list_size(list), static_cast<int>(m.elems.size()));
    }
    EXPECT_EQ(ox_list_destroy(list), 12);  // iterators still open
    ox_iterator_destroy(its[0]);
    ox_iterator_destroy(its[1]);
    EXPECT_EQ(ox_list_destroy(list), 0);
}

// --------------------------------------------------------------- arrays ---

struct ArrayModel {
    std::vector<std::optional<Elem>> slots;
    std::vector<int> free_chain;  // back is the head
    ModelIter iters[2];           // current is a slot number here

    ArrayModel() { grow(); }
    void grow()
    {
        size_t old = slots.size();
        size_t cap = old ? old * 2 : 256;
        slots.resize(cap);
        // The new slots chain upward from the old capacity.
        for (size_t i = cap; i-- > old;)
            free_chain.push_back(static_cast<int>(i));
    }
    int count() const
    {
        return static_cast<int>(
            std::count_if(slots.begin(), slots.end(), [](auto &s) { return s.has_value(); }));
    }
    int slot_of_key(intptr_t key) const
    {
        for (size_t i = 0; i < slots.size(); ++i)
            if (slots[i] && slots[i]->key == key)
                return static_cast<int>(i);
        return -1;
    }
    bool busy(int s) const
    {
        if (slots[s]->refs > 0)
            return true;
        for (auto &it : iters)
            if (it.current == s)
                return true;
        return false;
    }
    std::optional<intptr_t> used(int from, bool forward) const
    {
        for (int i = from + (forward ? 1 : -1); i >= 0 && i < static_cast<int>(slots.size());
             i += forward ? 1 : -1)
            if (slots[i])
                return i;
        return {};
    }
    void remove(int s)
    {
        for (auto &it : iters) {
            if (it.current != s)
                continue;
            bool fwd = it.direction == 1;
            auto n = used(s, fwd);
            it.current = n ? n : used(s, !fwd);
            it.pending = true;
        }
        slots[s].reset();
        free_chain.push_back(s);
    }
    // The result of removing slot s (-1: none), as for lists.
    int removal(int s, bool try_only, intptr_t *data)
    {
        if (s < 0)
            return 49;
        if (try_only && busy(s))
            return 12;
        *data = slots[s]->data;
        remove(s);
        return 0;
    }
    int step(ModelIter &it, bool forward)
    {
        it.direction = forward ? 1 : 2;
        if (it.pending)
            it.pending = false;
        else if (it.current)
            it.current = used(static_cast<int>(*it.current), forward);
        return it.current ? 0 : 49;
    }
};

TEST(ContainerModel, ArrayAgainstModel)
{
    std::mt19937 rng(777);
    ox_array *array = ox_array_new(nullptr, nullptr, compare_keys, nullptr, 0);
    ASSERT_NE(array, nullptr);
    ox_iterator *its[2] = {ox_iterator_new(array), ox_iterator_new(array)};
    ox_iterator *idle = ox_iterator_new(array);  // never placed: growth must leave it so
    ArrayModel m;
    intptr_t next_data = 1;
    int grew = 0;
    for (int step = 0; step < 60000; ++step) {
        // Bias towards adds early so that the array grows past 256 and 512,
        // with iterators placed at each growth.
        int op = static_cast<int>(rng() % 16);
        if (step < 20000 && op >= 5 && op < 9)
            op = 0;
        intptr_t key = static_cast<intptr_t>(rng() % 1500) + 1;
        int slot = static_cast<int>(rng() % (m.slots.size() + 2)) - 1;
        bool used = slot >= 0 && slot < static_cast<int>(m.slots.size()) && m.slots[slot];
        void *out = ptr(-1);
        SCOPED_TRACE(testing::Message() << "step " << step << " op " << op);
        if (op < 5) {
            if (m.slot_of_key(key) >= 0)
                continue;  // the model keeps keys unique
            if (m.free_chain.empty()) {
                m.grow();
                grew += m.iters[0].current || m.iters[1].current;
            }
            int s = m.free_chain.back();
            m.free_chain.pop_back();
            ASSERT_EQ(ox_array_add(array, ptr(key), ptr(next_data)), 0);
            m.slots[s] = Elem{key, next_data++};
            ASSERT_EQ(ox_array_index(array, ptr(key)), s);
            ASSERT_EQ(ox_array_index_b(array, ptr(key)), s);
        } else if (op < 8) {
            int s = op == 7 ? (used ? slot : -1) : m.slot_of_key(key);
            int rc = op == 7   ? ox_array_nth(array, slot, &out)
                     : op == 6 ? ox_array_find_b(array, ptr(key), &out)
                               : ox_array_find(array, ptr(key), &out);
            ASSERT_EQ(rc, s < 0 ? 49 : 0);
            ASSERT_EQ(val(out), s < 0 ? 0 : m.slots[s]->data);
        } else if (op == 8) {
            if (rng() % 2) {
                ASSERT_EQ(ox_array_reference_nth(array, slot, &out), used ? 0 : 49);
                if (used)
                    ++m.slots[slot]->refs;
            } else {
                ASSERT_EQ(ox_array_unreference_nth(array, slot), used ? 0 : 49);
                if (used)
                    m.slots[slot]->refs = std::max(0, m.slots[slot]->refs - 1);
            }
        } else if (op < 13) {
            bool try_only = op == 10 || op == 11, binary = op % 2, by_slot = op == 12;
            int s = by_slot ? (used ? slot : -1) : m.slot_of_key(key);
            int rc = by_slot    ? ox_array_remove_index(array, slot, &out)
                     : try_only ? (binary ? ox_array_try_remove_node_b(array, ptr(key), &out)
                                          : ox_array_try_remove_node(array, ptr(key), &out))
                                : (binary ? ox_array_remove_node_b(array, ptr(key), &out)
                                          : ox_array_remove_node(array, ptr(key), &out));
            intptr_t want = 0;
            ASSERT_EQ(rc, m.removal(s, try_only, &want));
            ASSERT_EQ(val(out), want);
        } else {
            int k = static_cast<int>(rng() % 2);
            ModelIter &mi = m.iters[k];
            int which = static_cast<int>(rng() % 5);
            int rc;
            if (which == 4) {
                rc = ox_iterator_current(its[k], &out);
            } else if (which < 2) {
                rc = which == 0 ? ox_iterator_start(its[k], &out) : ox_iterator_end(its[k], &out);
                mi.current =
                    which == 0 ? m.used(-1, true) : m.used(static_cast<int>(m.slots.size()), false);
                mi.pending = false;
            } else {
                int mrc = m.step(mi, which == 2);
                rc = which == 2 ? ox_iterator_next(its[k], &out)
                                : ox_iterator_previous(its[k], &out);
                ASSERT_EQ(rc, mrc);
            }
            ASSERT_EQ(rc, mi.current ? 0 : 49);
            ASSERT_EQ(val(out), mi.current ? m.slots[*mi.current]->data : 0);
        }
        ASSERT_EQ(ox_array_size(array), m.count());
        if (step % 1000 == 0) {  // foreach visits the used slots in number order
            std::vector<intptr_t> seen, want;
            ox_array_foreach(
                array,
                [](void *d, void *arg) {
                    static_cast<std::vector<intptr_t> *>(arg)->push_back(val(d));
                },
                &seen);
            for (auto &e : m.slots)
                if (e)
                    want.push_back(e->data);
            ASSERT_EQ(seen, want);
        }
    }
    EXPECT_GE(grew, 2);  // past 256 and 512 slots, an iterator placed
    void *out = ptr(-1);
    EXPECT_EQ(ox_iterator_current(idle, &out), 49);
    EXPECT_EQ(out, nullptr);
    ox_iterator_destroy(idle);
    ox_iterator_destroy(its[0]);
    ox_iterator_destroy(its[1]);
    EXPECT_EQ(ox_array_destroy(array), 0);
}

}  // namespace
