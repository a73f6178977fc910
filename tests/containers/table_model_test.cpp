// Long random sequences of table operations on both kinds, with and without
// ownership of the data, checked step by step against a small reference
// model with a fake clock: expiry and its sliding re-arming, try forms and
// busy entries, reader-writer eviction, flushes, iterator repair, and what
// the destructors are given.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "platform/clocks.hpp"
#include "table_api.hpp"

using namespace tabletest;

namespace {

void *copy_data(void *p) { return ptr(val(p) + 1000000); }

// What the table's destructors were given.
std::vector<intptr_t> g_data_destroyed, g_keys_destroyed;
void destroy_data(void *p) { g_data_destroyed.push_back(val(p)); }
void destroy_key(void *p) { g_keys_destroyed.push_back(val(p)); }

// Whether `got` and `want` hold the same values from `from` on, in any
// order.
bool same_since(const std::vector<intptr_t> &got, const std::vector<intptr_t> &want, size_t from)
{
    if (got.size() != want.size())
        return false;
    std::vector<intptr_t> g(got.begin() + from, got.end()), w(want.begin() + from, want.end());
    std::sort(g.begin(), g.end());
    std::sort(w.begin(), w.end());
    return g == w;
}

struct Entry {
    intptr_t key;
    intptr_t data;  // unique per entry: the entry's identity
    int32_t expiry;
    int refs;
};

struct ModelIter {
    std::optional<intptr_t> current;
    bool pending = false;
};

struct Model {
    bool rw;
    bool owns;  // the table owns its data: dropped entries are destroyed
    std::vector<std::vector<Entry>> buckets;  // newest first
    ModelIter iters[2];
    std::vector<intptr_t> data_destroyed, keys_destroyed;

    static int32_t expiry(int32_t now, int32_t ttl)
    {
        if (ttl >= 0 && static_cast<uint32_t>(ttl) > 0x7fffffffu - static_cast<uint32_t>(now))
            return OX_TTL_NEVER;
        return static_cast<int32_t>(static_cast<uint32_t>(now) + static_cast<uint32_t>(ttl));
    }
    static bool expired(const Entry &e, int32_t now)
    {
        return e.expiry != OX_TTL_NEVER && e.expiry < now;
    }

    std::vector<Entry> &bucket(intptr_t key)
    {
        return buckets[static_cast<size_t>(key) % buckets.size()];
    }
    int first_equal(intptr_t key)
    {
        auto &b = bucket(key);
        for (size_t i = 0; i < b.size(); ++i)
            if (b[i].key == key)
                return static_cast<int>(i);
        return -1;
    }
    bool busy(const Entry &e) const
    {
        if (e.refs > 0)
            return true;
        for (auto &it : iters)
            if (it.current == e.data)
                return true;
        return false;
    }
    std::optional<intptr_t> head_after(size_t b) const
    {
        for (++b; b < buckets.size(); ++b)
            if (!buckets[b].empty())
                return buckets[b][0].data;
        return std::nullopt;
    }
    std::optional<intptr_t> following(intptr_t data) const
    {
        for (size_t b = 0; b < buckets.size(); ++b)
            for (size_t i = 0; i < buckets[b].size(); ++i)
                if (buckets[b][i].data == data)
                    return i + 1 < buckets[b].size() ? buckets[b][i + 1].data : head_after(b);
        return std::nullopt;
    }
    void remove(std::vector<Entry> &b, int i)
    {
        for (auto &it : iters)
            if (it.current == b[i].data) {
                it.current = following(b[i].data);
                it.pending = true;
            }
        b.erase(b.begin() + i);
    }
    void destroyed(const Entry &e)
    {
        data_destroyed.push_back(e.data);
        keys_destroyed.push_back(e.key);
    }
    // An entry dropped by the table (expired, flushed or evicted).
    void drop(std::vector<Entry> &b, int i)
    {
        if (owns)
            destroyed(b[i]);
        remove(b, i);
    }
    void insert(intptr_t key, intptr_t data, int32_t exp)
    {
        auto &b = bucket(key);
        if (rw && !b.empty())
            drop(b, 0);
        b.insert(b.begin(), Entry{key, data, exp, 0});
    }
    int count() const
    {
        int n = 0;
        for (auto &b : buckets)
            n += static_cast<int>(b.size());
        return n;
    }
};

void run_model(const TableApi &a, uint32_t seed, int ownership)
{
    constexpr uint32_t kBuckets = 7;
    std::mt19937 rng(seed);
    g_data_destroyed.clear();
    g_keys_destroyed.clear();
    void *t =
        a.make(destroy_data, copy_data, compare_ints, destroy_key, hash_int, kBuckets, ownership);
    ASSERT_NE(t, nullptr);
    ox_iterator *its[2] = {ox_iterator_new(t), ox_iterator_new(t)};
    Model m{a.rw, ownership == 1, std::vector<std::vector<Entry>>(kBuckets), {}, {}, {}};
    FrozenClock clock;
    const int32_t base = cairn::clock_seconds32();
    int32_t elapsed = 0;
    const int32_t ttls[] = {-1, 0, 1, 2, 3, 5, 0x7ffffffe, OX_TTL_NEVER};  // 0x7ffffffe saturates
    intptr_t next_data = 1;
    for (int step = 0; step < 40000; ++step) {
        int op = static_cast<int>(rng() % 16);
        intptr_t key = static_cast<intptr_t>(rng() % 24) + 1;
        int32_t ttl = ttls[rng() % 8];
        int try_flag = static_cast<int>(rng() % 2);
        clock.to(elapsed);
        int32_t now = base + elapsed;
        auto &b = m.bucket(key);
        int i = m.first_equal(key);
        void *out = ptr(-1);
        bool with_out = rng() % 4 != 0;  // removals and replaces without outs too
        size_t data_checked = m.data_destroyed.size(), keys_checked = m.keys_destroyed.size();
        SCOPED_TRACE(testing::Message()
                     << a.name << " owns " << ownership << " step " << step << " op " << op
                     << " key " << key << " ttl " << ttl << " try " << try_flag);
        switch (op) {
        case 0:
        case 1:
        case 2: {
            int rc = op == 2 ? a.add(t, ptr(key), ptr(next_data))
                             : a.add_with_ttl(t, ptr(key), ptr(next_data), ttl, try_flag);
            if (op == 2)
                ttl = OX_TTL_NEVER;
            if (ttl < OX_TTL_NEVER && i >= 0) {
                if (!Model::expired(b[i], now)) {
                    ASSERT_EQ(rc, OX_EEXIST);
                    break;
                }
                if (!(try_flag == 1 && m.busy(b[i])))
                    m.drop(b, i);
            }
            ASSERT_EQ(rc, 0);
            m.insert(key, next_data++, Model::expiry(now, ttl));
            break;
        }
        case 3:
        case 4:
        case 5:
        case 6: {
            int mode = static_cast<int>(rng() % 4);
            bool with_ttl = rng() % 2;
            if (!with_ttl) {
                ttl = OX_TTL_NEVER;
                try_flag = 0;
            }
            void *k = ptr(key);
            int rc =
                mode == 0
                    ? (with_ttl ? a.find_with_ttl(t, k, &out, ttl, try_flag) : a.find(t, k, &out))
                : mode == 1 ? (with_ttl ? a.reference_with_ttl(t, k, &out, ttl, try_flag)
                                        : a.reference(t, k, &out))
                : mode == 2
                    ? (with_ttl ? a.unreference_with_ttl(t, k, ttl, try_flag) : a.unreference(t, k))
                    : (with_ttl ? a.get_with_ttl(t, k, &out, ttl, try_flag) : a.get(t, k, &out));
            if (i < 0) {
                ASSERT_EQ(rc, OX_ENOENT);
                break;
            }
            if (Model::expired(b[i], now)) {
                ASSERT_EQ(rc, 80);
                if (!(try_flag == 1 && m.busy(b[i])))
                    m.drop(b, i);
                break;
            }
            ASSERT_EQ(rc, 0);
            if (mode != 2) {  // get hands out a copy
                ASSERT_EQ(val(out), b[i].data + (mode == 3 ? 1000000 : 0));
            }
            if (mode == 1)
                ++b[i].refs;
            if (mode == 2 && b[i].refs > 0)
                --b[i].refs;
            if (ttl != OX_TTL_NEVER)
                b[i].expiry = Model::expiry(now, ttl);
            break;
        }
        case 7: {
            // Without an out, the old key or data goes to its destructor.
            void *old_key = ptr(-1), *old_data = ptr(-1);
            bool key_out = rng() % 2;
            ASSERT_EQ(a.replace(t, ptr(key), key_out ? &old_key : nullptr, ptr(next_data),
                                with_out ? &old_data : nullptr),
                      0);
            if (i >= 0) {
                ASSERT_EQ(val(old_key), key_out ? key : -1);
                ASSERT_EQ(val(old_data), with_out ? b[i].data : -1);
                if (!key_out)
                    m.keys_destroyed.push_back(key);
                if (!with_out)
                    m.data_destroyed.push_back(b[i].data);
                // The entry keeps its identity for the iterators: swap the
                // model's record of it.
                for (auto &it : m.iters)
                    if (it.current == b[i].data)
                        it.current = next_data;
                b[i].data = next_data++;
            } else {
                ASSERT_EQ(old_key, ptr(-1));
                ASSERT_EQ(old_data, ptr(-1));
                m.insert(key, next_data++, OX_TTL_NEVER);
            }
            break;
        }
        case 8:
        case 9: {
            // An owning table destroys what it removes (the out gets NULL);
            // one that does not hands the data back and leaves the key.
            void **o = with_out ? &out : nullptr;
            int rc = try_flag ? a.try_remove(t, ptr(key), o) : a.remove(t, ptr(key), o);
            intptr_t cleared = with_out ? 0 : -1;
            if (i < 0) {
                ASSERT_EQ(rc, OX_ENOENT);
                ASSERT_EQ(val(out), cleared);
            } else if (try_flag && m.busy(b[i])) {
                ASSERT_EQ(rc, OX_EBUSY);
                ASSERT_EQ(val(out), cleared);
            } else {
                ASSERT_EQ(rc, 0);
                ASSERT_EQ(val(out), m.owns || !with_out ? cleared : b[i].data);
                if (m.owns)
                    m.destroyed(b[i]);
                m.remove(b, i);
            }
            break;
        }
        case 10: {
            int removed = -1, want_removed = 0, want_rc = 0;
            int rc = try_flag ? a.try_ttl_flush(t, &removed) : a.ttl_flush(t, &removed);
            for (auto &mb : m.buckets)
                for (size_t j = 0; j < mb.size();) {
                    if (!Model::expired(mb[j], now)) {
                        ++j;
                    } else if (try_flag && m.busy(mb[j])) {
                        want_rc = OX_EBUSY;
                        ++j;
                    } else {
                        m.drop(mb, static_cast<int>(j));
                        ++want_removed;
                    }
                }
            ASSERT_EQ(rc, want_rc);
            ASSERT_EQ(removed, want_removed);
            break;
        }
        case 11:
            elapsed += static_cast<int32_t>(rng() % 3);
            break;
        case 12:
        case 13:
        case 14: {
            int k = static_cast<int>(rng() % 2);
            ModelIter &mi = m.iters[k];
            int which = static_cast<int>(rng() % 4);
            int rc;
            if (which == 0) {
                rc = ox_iterator_start(its[k], &out);
                mi.pending = false;
                mi.current = m.count() > 0 ? m.head_after(static_cast<size_t>(-1)) : std::nullopt;
            } else if (which == 3) {
                rc = ox_iterator_current(its[k], &out);
            } else {
                rc = ox_iterator_next(its[k], &out);
                if (mi.pending)
                    mi.pending = false;
                else if (mi.current)
                    mi.current = m.following(*mi.current);
            }
            ASSERT_EQ(rc, mi.current ? 0 : 49);
            ASSERT_EQ(val(out), mi.current.value_or(0));
            break;
        }
        default: {
            if (rng() % 40 == 0) {  // destroys every entry, owned or not
                ASSERT_EQ(a.remove_all(t), 0);
                for (auto &mb : m.buckets) {
                    for (auto &e : mb)
                        m.destroyed(e);
                    mb.clear();
                }
                for (auto &it : m.iters)
                    it = ModelIter{};
            }
            ASSERT_EQ(a.size(t), m.count());
            std::vector<intptr_t> seen, want;
            a.foreach (
                t,
                [](void *d, void *arg) {
                    static_cast<std::vector<intptr_t> *>(arg)->push_back(val(d));
                },
                &seen);
            for (auto &mb : m.buckets)
                for (auto &e : mb)
                    want.push_back(e.data);
            ASSERT_EQ(seen, want);
            break;
        }
        }
        ASSERT_TRUE(same_since(g_data_destroyed, m.data_destroyed, data_checked));
        ASSERT_TRUE(same_since(g_keys_destroyed, m.keys_destroyed, keys_checked));
    }
    // Destroy waits for the iterators, then destroys every entry left.
    EXPECT_EQ(a.destroy(t), OX_EBUSY);
    for (ox_iterator *it : its)
        ox_iterator_destroy(it);
    for (auto &mb : m.buckets)
        for (auto &e : mb)
            m.destroyed(e);
    EXPECT_EQ(a.destroy(t), 0);
    EXPECT_TRUE(same_since(g_data_destroyed, m.data_destroyed, 0));
    EXPECT_TRUE(same_since(g_keys_destroyed, m.keys_destroyed, 0));
}

TEST(TableModel, TableAgainstModel)
{
    run_model(kTable, 20261124, 0);
    run_model(kTable, 20261126, 1);
}
TEST(TableModel, ReaderWriterTableAgainstModel)
{
    run_model(kRwTable, 20261125, 0);
    run_model(kRwTable, 20261127, 1);
}

}  // namespace
