// Attribute lists against the obvious peers: lookup and adding on lists of
// 50 and 500 attributes against a sorted std::vector of (name, values), and
// the printed form of a typical 40-attribute resource against building the
// same text with snprintf.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>
#include <utility>
#include <vector>

#include "cairn/attributes.h"

namespace {

std::string attr_name(int i)
{
    char b[32];
    std::snprintf(b, sizeof b, "attribute name %03d", i);
    return b;
}

struct CaseLess {
    bool operator()(const std::string &a, const std::string &b) const
    {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

using Peer = std::vector<std::pair<std::string, std::vector<std::string>>>;

Peer make_peer(int n)
{
    Peer p;
    for (int i = 0; i < n; ++i)
        p.push_back({attr_name(i), {"value"}});
    return p;
}

attr_t *make_list(int n)
{
    attr_t *list = nullptr;
    for (int i = 0; i < n; ++i)
        attrlist_add(&list, attr_name(i).c_str(), "value");
    return list;
}

// Names looked up: every name of the list in a scattered order.
std::vector<std::string> probes(int n)
{
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i)
        out.push_back(attr_name((i * 7919) % n));
    return out;
}

void BM_attrlist_find(benchmark::State &state)
{
    int n = static_cast<int>(state.range(0));
    attr_t *list = make_list(n);
    auto names = probes(n);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(attrlist_find(list, names[i].c_str()));
        i = i + 1 == names.size() ? 0 : i + 1;
    }
    attrlist_free(list);
}

void BM_vector_find(benchmark::State &state)
{
    int n = static_cast<int>(state.range(0));
    Peer peer = make_peer(n);
    auto names = probes(n);
    size_t i = 0;
    for (auto _ : state) {
        auto it = std::lower_bound(
            peer.begin(), peer.end(), names[i],
            [](const auto &e, const std::string &k) { return CaseLess()(e.first, k); });
        benchmark::DoNotOptimize(it);
        i = i + 1 == names.size() ? 0 : i + 1;
    }
}

// Adding a value to an attribute present in the list (the common case:
// merging into a resource), alternating with removing it again so the list
// keeps its size.
void BM_attrlist_add(benchmark::State &state)
{
    int n = static_cast<int>(state.range(0));
    attr_t *list = make_list(n);
    auto names = probes(n);
    size_t i = 0;
    for (auto _ : state) {
        attr_t *a = attrlist_add(&list, names[i].c_str(), "more");
        char *v = attr_extract_val(a);
        benchmark::DoNotOptimize(v);
        std::free(v);
        i = i + 1 == names.size() ? 0 : i + 1;
    }
    attrlist_free(list);
}

void BM_vector_add(benchmark::State &state)
{
    int n = static_cast<int>(state.range(0));
    Peer peer = make_peer(n);
    auto names = probes(n);
    size_t i = 0;
    for (auto _ : state) {
        auto it = std::lower_bound(
            peer.begin(), peer.end(), names[i],
            [](const auto &e, const std::string &k) { return CaseLess()(e.first, k); });
        if (it == peer.end() || strcasecmp(it->first.c_str(), names[i].c_str()) != 0)
            it = peer.insert(it, {names[i], {}});
        it->second.push_back("more");
        benchmark::DoNotOptimize(it->second.data());
        it->second.erase(it->second.begin());
        i = i + 1 == names.size() ? 0 : i + 1;
    }
}

BENCHMARK(BM_attrlist_find)->Arg(50)->Arg(500);
BENCHMARK(BM_vector_find)->Arg(50)->Arg(500);
BENCHMARK(BM_attrlist_add)->Arg(50)->Arg(500);
BENCHMARK(BM_vector_add)->Arg(50)->Arg(500);

// A typical resource: 40 attributes, most with one short value, some with
// a few, one long list that wraps.
attr_t *make_resource()
{
    attr_t *list = nullptr;
    for (int i = 0; i < 40; ++i) {
        std::string name = "resource attr " + std::to_string(i);
        if (i % 10 == 3)
            for (int j = 0; j < 12; ++j)
                attrlist_add(&list, name.c_str(), ("value" + std::to_string(j)).c_str());
        else if (i % 4 == 1)
            attrlist_add(&list, name.c_str(), "a value, with a comma");
        else
            attrlist_add(&list, name.c_str(), ("plain value " + std::to_string(i)).c_str());
    }
    return list;
}

void BM_attr_sprintf_resource(benchmark::State &state)
{
    attr_t *list = make_resource();
    static char buf[65536];
    for (auto _ : state) {
        size_t len = 0;
        for (const attr_t *a = list; a; a = a->next)
            len += static_cast<size_t>(
                attr_sprintf(buf + len, static_cast<int>(sizeof buf - len), 80, a, 0, 0, 0));
        benchmark::DoNotOptimize(buf);
        benchmark::DoNotOptimize(len);
    }
    attrlist_free(list);
}

// The same text with snprintf: name field, values (quoted where the list
// form quotes them, known beforehand), wrapping by a running column.
void BM_snprintf_resource(benchmark::State &state)
{
    attr_t *list = make_resource();
    static char buf[65536];
    for (auto _ : state) {
        size_t len = 0;
        for (const attr_t *a = list; a; a = a->next) {
            len += static_cast<size_t>(
                std::snprintf(buf + len, sizeof buf - len, "%*s: ", 28, a->name));
            int column = 30;
            for (const val_t *v = a->values; v; v = v->next) {
                bool q = std::strchr(v->value, ',') != nullptr;
                int w = static_cast<int>(std::strlen(v->value)) + (q ? 2 : 0);
                const char *fmt = q ? "\"%s\"" : "%s";
                if (column + w + 2 >= 80) {
                    len += static_cast<size_t>(
                        std::snprintf(buf + len, sizeof buf - len, "\n%30s", ""));
                    column = 30;
                }
                len +=
                    static_cast<size_t>(std::snprintf(buf + len, sizeof buf - len, fmt, v->value));
                column += w;
                if (v->next) {
                    len += static_cast<size_t>(std::snprintf(buf + len, sizeof buf - len, ", "));
                    column += 2;
                }
            }
            len += static_cast<size_t>(std::snprintf(buf + len, sizeof buf - len, ";\n"));
        }
        benchmark::DoNotOptimize(buf);
        benchmark::DoNotOptimize(len);
    }
    attrlist_free(list);
}

BENCHMARK(BM_attr_sprintf_resource);
BENCHMARK(BM_snprintf_resource);

}  // namespace
