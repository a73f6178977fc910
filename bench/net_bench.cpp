// ox_getaddrinfo on a cache hit against an in-process peer cache (an
// unordered_map of chains under a std::mutex that copies the chain out)
// and against the C library's uncached getaddrinfo, all for "localhost".
#include <benchmark/benchmark.h>
#include <netdb.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

#include "cairn/net.h"

namespace {

addrinfo hints()
{
    addrinfo h{};
    h.ai_family = AF_INET;
    h.ai_socktype = SOCK_STREAM;
    return h;
}

// The peer: chains copied node by node as the library copies them.
addrinfo *copy_chain(const addrinfo *src)
{
    addrinfo *head = nullptr, **tail = &head;
    for (; src; src = src->ai_next) {
        auto *n = static_cast<addrinfo *>(std::malloc(sizeof(addrinfo)));
        *n = *src;
        n->ai_next = nullptr;
        n->ai_addr = static_cast<sockaddr *>(std::malloc(src->ai_addrlen));
        std::memcpy(n->ai_addr, src->ai_addr, src->ai_addrlen);
        n->ai_canonname = src->ai_canonname ? strdup(src->ai_canonname) : nullptr;
        *tail = n;
        tail = &n->ai_next;
    }
    return head;
}

void free_chain(addrinfo *c)
{
    while (c) {
        addrinfo *next = c->ai_next;
        std::free(c->ai_addr);
        std::free(c->ai_canonname);
        std::free(c);
        c = next;
    }
}

class PeerCache {
public:
    addrinfo *get(const char *host, const char *service)
    {
        std::string key = std::string(host) + (service ? service : "");
        std::lock_guard<std::mutex> hold(mutex_);
        auto it = map_.find(key);
        return it == map_.end() ? nullptr : copy_chain(it->second);
    }
    void put(const char *host, const char *service, addrinfo *chain)
    {
        std::lock_guard<std::mutex> hold(mutex_);
        map_.emplace(std::string(host) + (service ? service : ""), chain);
    }

private:
    std::mutex mutex_;
    std::unordered_map<std::string, addrinfo *> map_;
};

PeerCache &peer()
{
    static PeerCache *cache = [] {
        auto *c = new PeerCache;
        addrinfo h = hints(), *res = nullptr;
        if (getaddrinfo("localhost", nullptr, &h, &res) == 0) {
            c->put("localhost", nullptr, copy_chain(res));
            freeaddrinfo(res);
        }
        return c;
    }();
    return *cache;
}

void BM_CairnCacheHit(benchmark::State &state)
{
    addrinfo h = hints(), *res = nullptr;
    if (ox_getaddrinfo("localhost", nullptr, &h, &res) != 0) {  // fills the cache
        state.SkipWithError("localhost does not resolve");
        return;
    }
    ox_freeaddrinfo(res);
    for (auto _ : state) {
        ox_getaddrinfo("localhost", nullptr, &h, &res);
        benchmark::DoNotOptimize(res);
        ox_freeaddrinfo(res);
    }
}
BENCHMARK(BM_CairnCacheHit)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

void BM_PeerCacheHit(benchmark::State &state)
{
    PeerCache &cache = peer();
    for (auto _ : state) {
        addrinfo *res = cache.get("localhost", nullptr);
        benchmark::DoNotOptimize(res);
        free_chain(res);
    }
}
BENCHMARK(BM_PeerCacheHit)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

void BM_GlibcUncached(benchmark::State &state)
{
    addrinfo h = hints();
    for (auto _ : state) {
        addrinfo *res = nullptr;
        getaddrinfo("localhost", nullptr, &h, &res);
        benchmark::DoNotOptimize(res);
        freeaddrinfo(res);
    }
}
BENCHMARK(BM_GlibcUncached);

}  // namespace
