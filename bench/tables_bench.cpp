// ox_table_find against a plain djb2-chained table with the same 491
// buckets and keys, with GHashTable beside them: hits and misses at 1,000
// and 100,000 string keys.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cairn/containers.h"

#ifdef CAIRN_BENCH_GLIB
#include <glib.h>
#endif

namespace {

constexpr uint32_t kBuckets = 491;

struct Keys {
    std::vector<std::string> stored, hits, misses;
    explicit Keys(int n)
    {
        char buf[32];
        for (int i = 0; i < n; ++i) {
            std::snprintf(buf, sizeof buf, "host-%07d.example", i);
            stored.emplace_back(buf);
            std::snprintf(buf, sizeof buf, "miss-%07d.example", i);
            misses.emplace_back(buf);
        }
        hits = stored;
        std::mt19937 rng(7);
        std::shuffle(hits.begin(), hits.end(), rng);
        std::shuffle(misses.begin(), misses.end(), rng);
    }
};

const Keys &keys(int n)
{
    static Keys small(1000), large(100000);
    return n == 1000 ? small : large;
}

uint32_t hash_key(void *k) { return ox_hash_string(static_cast<const char *>(k)); }
int compare_key(void *a, void *b)
{
    return std::strcmp(static_cast<char *>(a), static_cast<char *>(b));
}

// The plain chained table the library's table is measured against.
class Djb2Table {
public:
    Djb2Table() : buckets_(kBuckets, nullptr) {}
    ~Djb2Table()
    {
        for (Node *n : buckets_)
            while (n) {
                Node *next = n->next;
                delete n;
                n = next;
            }
    }
    void add(const char *key, void *data)
    {
        uint32_t b = djb2(key) % kBuckets;
        buckets_[b] = new Node{key, data, buckets_[b]};
    }
    void *find(const char *key) const
    {
        for (Node *n = buckets_[djb2(key) % kBuckets]; n; n = n->next)
            if (std::strcmp(n->key, key) == 0)
                return n->data;
        return nullptr;
    }

private:
    struct Node {
        const char *key;
        void *data;
        Node *next;
    };
    static uint32_t djb2(const char *s)
    {
        uint32_t h = 5381;
        for (auto *p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
            h = h * 33 + *p;
        return h;
    }
    std::vector<Node *> buckets_;
};

const std::vector<std::string> &probes(const Keys &k, bool hit) { return hit ? k.hits : k.misses; }

void BM_OxTableFind(benchmark::State &state)
{
    const Keys &k = keys(static_cast<int>(state.range(0)));
    bool hit = state.range(1) != 0;
    ox_table *t = ox_table_new(nullptr, nullptr, compare_key, nullptr, hash_key, kBuckets, 0);
    for (const std::string &s : k.stored)
        ox_table_add(t, const_cast<char *>(s.c_str()), const_cast<char *>(s.c_str()));
    const auto &p = probes(k, hit);
    size_t i = 0;
    for (auto _ : state) {
        void *out = nullptr;
        benchmark::DoNotOptimize(ox_table_find(t, const_cast<char *>(p[i].c_str()), &out));
        benchmark::DoNotOptimize(out);
        if (++i == p.size())
            i = 0;
    }
    ox_table_destroy(t);
}

void BM_Djb2TableFind(benchmark::State &state)
{
    const Keys &k = keys(static_cast<int>(state.range(0)));
    bool hit = state.range(1) != 0;
    Djb2Table t;
    for (const std::string &s : k.stored)
        t.add(s.c_str(), const_cast<char *>(s.c_str()));
    const auto &p = probes(k, hit);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(t.find(p[i].c_str()));
        if (++i == p.size())
            i = 0;
    }
}

#ifdef CAIRN_BENCH_GLIB
void BM_GHashTableLookup(benchmark::State &state)
{
    const Keys &k = keys(static_cast<int>(state.range(0)));
    bool hit = state.range(1) != 0;
    GHashTable *t = g_hash_table_new(g_str_hash, g_str_equal);
    for (const std::string &s : k.stored)
        g_hash_table_insert(t, const_cast<char *>(s.c_str()), const_cast<char *>(s.c_str()));
    const auto &p = probes(k, hit);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(g_hash_table_lookup(t, p[i].c_str()));
        if (++i == p.size())
            i = 0;
    }
    g_hash_table_destroy(t);
}
BENCHMARK(BM_GHashTableLookup)->ArgNames({"keys", "hit"})->ArgsProduct({{1000, 100000}, {1, 0}});
#endif

BENCHMARK(BM_OxTableFind)->ArgNames({"keys", "hit"})->ArgsProduct({{1000, 100000}, {1, 0}});
BENCHMARK(BM_Djb2TableFind)->ArgNames({"keys", "hit"})->ArgsProduct({{1000, 100000}, {1, 0}});

}  // namespace
