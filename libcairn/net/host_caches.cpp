// The level II caches: three tables of names with their own times to live
// and size limits from "MAX_DNS_CACHE_SIZE" and "MAX_CLIENTS_CACHE_SIZE".
#include "net/host_caches.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "frame/exit_cleanup.hpp"
#include "platform/alloc.hpp"

namespace cairn::net {

namespace {

struct NameEntry {
    char *name;
    char *canonical;  // host list: nullptr for a name that does not resolve
};

struct Level2 {
    ox_mutex *mutex = nullptr;
    ox_table *hosts = nullptr;
    ox_table *clients = nullptr;
    ox_table *inactive = nullptr;
    unsigned long host_limit = kDefaultHostCacheSize;
    unsigned long client_limit = kDefaultClientCacheSize;
};

ox_once_t g_once = OX_ONCE_INIT;
Level2 g_l2;
std::atomic<int32_t> g_positive_ttl{1800}, g_negative_ttl{1800};

uint32_t hash_name(void *key) { return hashstr(static_cast<const char *>(key), 0); }
int same_name(void *a, void *b)
{
    return ox_straicmp(static_cast<const char *>(a), static_cast<const char *>(b));
}
void free_entry(void *p)
{
    auto *e = static_cast<NameEntry *>(p);
    mem_free(e->name);
    mem_free(e->canonical);
    mem_free(e);
}

ox_table *new_table()
{
    // The key is the entry's own name: only the data destructor frees.
    return ox_table_new(free_entry, nullptr, same_name, nullptr, hash_name, 491, 1);
}

// A limit below the default is raised to it.
unsigned long read_limit(const char *name, unsigned long fallback)
{
    const char *text = ox_getenv(name);
    unsigned long v = text ? std::strtoul(text, nullptr, 10) : 0;
    return v < fallback ? fallback : v;
}

void tear_down()
{
    ox_table_destroy(g_l2.hosts);
    ox_table_destroy(g_l2.clients);
    ox_table_destroy(g_l2.inactive);
    ox_event_destroy(reinterpret_cast<ox_event *>(g_l2.mutex));
    g_l2 = Level2{};
    ox_once_reset(&g_once);
}

void make()
{
    g_l2.mutex = ox_mutex_new();
    g_l2.hosts = new_table();
    g_l2.clients = new_table();
    g_l2.inactive = new_table();
    if (!g_l2.mutex || !g_l2.hosts || !g_l2.clients || !g_l2.inactive) {
        raise(SIGTERM);
        return;
    }
    g_l2.host_limit = read_limit("MAX_DNS_CACHE_SIZE", kDefaultHostCacheSize);
    g_l2.client_limit = read_limit("MAX_CLIENTS_CACHE_SIZE", kDefaultClientCacheSize);
    register_exit_cleanup(tear_down);
}

Level2 &level2()
{
    ox_once(&g_once, make);
    return g_l2;
}

int add_entry(ox_table *t, unsigned long limit, const char *name, const char *canonical,
              int32_t ttl)
{
    if (t == nullptr || name == nullptr || name[0] == '\0')
        return ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    if (static_cast<unsigned long>(ox_table_size(t)) >= limit) {
        ox_table_ttl_flush(t, nullptr);  // make room from the expired first
        if (static_cast<unsigned long>(ox_table_size(t)) >= limit)
            return ox_error_set_last(ENOSPC, OX_ERRKIND_ERRNO);
    }
    auto *e = static_cast<NameEntry *>(mem_calloc(1, sizeof(NameEntry)));
    if (e == nullptr || (e->name = mem_strdup(name)) == nullptr ||
        (canonical && (e->canonical = mem_strdup(canonical)) == nullptr)) {
        if (e)
            free_entry(e);
        return ox_error_get_last();
    }
    void *old = nullptr;
    ox_table_remove(t, e->name, &old);  // a newer answer replaces the old
    int rc = ox_table_add_with_ttl(t, e->name, e, ttl, 0);
    if (rc != 0)
        free_entry(e);
    return rc;
}

void collect(void *data, void *arg)
{
    auto *lines = static_cast<std::vector<std::string> *>(arg);
    const auto *e = static_cast<const NameEntry *>(data);
    lines->push_back(e->name);
    if (e->canonical != nullptr)
        lines->back().append(" (").append(e->canonical).append(")");
}

std::vector<std::string> lines_of(ox_table *t)
{
    std::vector<std::string> lines;
    if (t != nullptr)
        ox_table_foreach(t, collect, &lines);
    return lines;
}

}  // namespace

ox_mutex *host_cache_mutex() { return level2().mutex; }

int host_cache_add(const char *name, const char *canonical)
{
    Level2 &l = level2();
    int32_t ttl = canonical ? g_positive_ttl.load() : g_negative_ttl.load();
    return add_entry(l.hosts, l.host_limit, name, canonical, ttl);
}

int client_cache_add(const char *name, int inactive)
{
    Level2 &l = level2();
    return add_entry(inactive ? l.inactive : l.clients, l.client_limit, name, nullptr,
                     g_positive_ttl.load());
}

unsigned long host_cache_limit() { return level2().host_limit; }
unsigned long client_cache_limit() { return level2().client_limit; }

void host_caches_flush()
{
    Level2 &l = level2();
    ox_table_remove_all(l.hosts);
    ox_table_remove_all(l.clients);
    ox_table_remove_all(l.inactive);
}

std::vector<std::string> host_cache_lines() { return lines_of(level2().hosts); }

std::vector<std::string> client_cache_lines(bool inactive)
{
    return lines_of(inactive ? level2().inactive : level2().clients);
}

}  // namespace cairn::net

extern "C" void dns_cache_set_ttls(int32_t positive, int32_t negative)
{
    if (positive >= 0)
        cairn::net::g_positive_ttl.store(positive);
    if (negative >= 0)
        cairn::net::g_negative_ttl.store(negative);
}

extern "C" void dns_cache_get_ttls(int32_t *positive, int32_t *negative)
{
    if (positive)
        *positive = cairn::net::g_positive_ttl.load();
    if (negative)
        *negative = cairn::net::g_negative_ttl.load();
}
