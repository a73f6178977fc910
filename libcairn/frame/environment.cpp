// The environment: a snapshot of NAME=value copies taken at initialisation,
// and the ox_getenv() cache whose values are never freed while the process
// runs (a changed value is retired, not released), so every pointer handed
// out stays valid.
#include "frame/environment.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/frame.h"
#include "frame/exit_cleanup.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"

extern char **environ;

namespace cairn {
namespace {

CriticalSection &env_lock() { return environment_lock(); }

char **g_snapshot;

void free_snapshot(char **snap)
{
    if (snap == nullptr)
        return;
    for (char **p = snap; *p; ++p)
        mem_free(*p);
    mem_free(snap);
}

// The cache: an ox_list of (name copy, value copy).  Names are freed with
// their entries; values are moved to the retired list instead.
ox_list *g_cache;
ox_once_t g_cache_once;
struct Retired {
    char *value;
    Retired *next;
};
Retired *g_retired;

int compare_names(void *a, void *b)
{
    return std::strcmp(static_cast<char *>(a), static_cast<char *>(b));
}
void free_name(void *p) { mem_free(p); }

void retire(void *value)
{
    auto *r = static_cast<Retired *>(mem_alloc(sizeof(Retired)));
    if (r == nullptr)
        return;  // the value then leaks, which keeps it valid
    *r = Retired{static_cast<char *>(value), g_retired};
    g_retired = r;
}

void destroy_cache()
{
    CriticalSectionLock hold(env_lock());
    if (g_cache) {
        void *value = nullptr;
        while (ox_list_pop(g_cache, &value) == OX_SUCCESS)
            mem_free(value);
        ox_list_destroy(g_cache);
        g_cache = nullptr;
    }
    while (Retired *r = g_retired) {
        g_retired = r->next;
        mem_free(r->value);
        mem_free(r);
    }
    free_snapshot(g_snapshot);
    g_snapshot = nullptr;
    ox_once_reset(&g_cache_once);
}

void create_cache()
{
    g_cache = ox_list_new(nullptr, nullptr, compare_names, free_name, 0);
    if (g_cache == nullptr)
        raise(SIGTERM);  // a hard stop: the environment cache is essential
    register_exit_cleanup(destroy_cache);
}

}  // namespace

// Guards the snapshot and every read or change of the process environment
// made by the library (the C library's own calls are not thread-safe).
namespace {
// Guards the snapshot and every read or change of the process environment
// made by the library (the C library's own calls are not thread-safe).
CriticalSection g_env_lock(100);
std::atomic<bool> g_env_lock_protected{false};
}  // namespace

// Entered for fork on first use without a guarded static: a forked child
// must never wait on a static initialisation another thread was running.
CriticalSection &environment_lock()
{
    if (!g_env_lock_protected.load(std::memory_order_acquire)) {
        fork_protect(ForkRank::environment, [] { return &g_env_lock; });
        g_env_lock_protected.store(true, std::memory_order_release);
    }
    return g_env_lock;
}

bool environment_read(const char *name, char *out, std::size_t size)
{
    CriticalSectionLock hold(env_lock());
    const char *value = getenv(name);
    if (size > 0) {
        std::size_t n = value ? std::strlen(value) : 0;
        if (n >= size)
            n = size - 1;
        if (n > 0)
            std::memcpy(out, value, n);
        out[n] = '\0';
    }
    return value != nullptr;
}

bool environment_has(const char *name)
{
    CriticalSectionLock hold(env_lock());
    return getenv(name) != nullptr;
}

void environment_snapshot_take()
{
    CriticalSectionLock hold(env_lock());
    int n = 0;
    while (environ && environ[n])
        ++n;
    auto *snap = static_cast<char **>(mem_calloc(static_cast<size_t>(n) + 1, sizeof(char *)));
    if (snap == nullptr)
        return;
    for (int i = 0; i < n; ++i)
        if ((snap[i] = mem_strdup(environ[i])) == nullptr) {
            free_snapshot(snap);
            return;
        }
    free_snapshot(g_snapshot);
    g_snapshot = snap;
}

int environment_snapshot_size()
{
    CriticalSectionLock hold(env_lock());
    int n = 0;
    while (g_snapshot && g_snapshot[n])
        ++n;
    return n;
}

bool environment_snapshot_find(const char *name, char *out, unsigned size)
{
    CriticalSectionLock hold(env_lock());
    size_t len = std::strlen(name);
    for (char **p = g_snapshot; p && *p; ++p)
        if (std::strncmp(*p, name, len) == 0 && (*p)[len] == '=') {
            std::strncpy(out, *p, size);
            if (size)
                out[size - 1] = '\0';
            return true;
        }
    return false;
}

namespace {

// The storage a snapshot update needs, made before the environment changes
// so that running out of memory changes nothing: the entry's copy and, for
// a name not in the snapshot yet, the grown vector.
struct SnapshotUpdate {
    char *copy = nullptr;
    char **slot = nullptr;   // the entry replaced, when the name is there
    char **grown = nullptr;  // else the new vector
};

bool snapshot_prepare(const char *assignment, size_t name_len, SnapshotUpdate &u)
{
    int n = 0;
    for (; g_snapshot && g_snapshot[n]; ++n)
        if (std::strncmp(g_snapshot[n], assignment, name_len + 1) == 0)
            u.slot = &g_snapshot[n];
    u.copy = mem_strdup(assignment);
    if (u.copy != nullptr && u.slot == nullptr)
        u.grown = static_cast<char **>(mem_calloc(static_cast<size_t>(n) + 2, sizeof(char *)));
    if (u.copy != nullptr && (u.slot != nullptr || u.grown != nullptr))
        return true;
    mem_free(u.copy);
    return false;
}

// Put the copy in place of the entry for the same name, or first.
void snapshot_commit(const SnapshotUpdate &u)
{
    if (u.slot != nullptr) {
        mem_free(*u.slot);
        *u.slot = u.copy;
        return;
    }
    u.grown[0] = u.copy;
    for (int i = 0; g_snapshot && g_snapshot[i]; ++i)
        u.grown[i + 1] = g_snapshot[i];
    mem_free(g_snapshot);
    g_snapshot = u.grown;
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

const char *ox_getenv(const char *name)
{
    if (name == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    ox_once(&g_cache_once, create_cache);
    CriticalSectionLock hold(env_lock());
    void *cached = nullptr;
    if (ox_list_find(g_cache, const_cast<char *>(name), &cached) == OX_SUCCESS)
        return static_cast<const char *>(cached);
    const char *value = getenv(name);
    if (value == nullptr)
        return nullptr;  // unset values are looked up again every time
    char *name_copy = mem_strdup(name);
    char *value_copy = mem_strdup(value);
    if (name_copy == nullptr || value_copy == nullptr ||
        ox_list_append(g_cache, name_copy, value_copy) != OX_SUCCESS) {
        mem_free(name_copy);
        mem_free(value_copy);
        return nullptr;
    }
    return value_copy;
}

int ox_putenv(const char *assignment)
{
    const char *eq = assignment ? std::strchr(assignment, '=') : nullptr;
    if (eq == nullptr || eq == assignment) {
        errno = EINVAL;
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    size_t name_len = static_cast<size_t>(eq - assignment);
    char *name = mem_strndup(assignment, name_len);
    if (name == nullptr) {
        errno = ENOMEM;
        return -1;
    }
    ox_once(&g_cache_once, create_cache);
    CriticalSectionLock hold(env_lock());
    SnapshotUpdate update;
    if (!snapshot_prepare(assignment, name_len, update)) {
        mem_free(name);
        errno = ENOMEM;
        return -1;
    }
    // An empty value removes the variable, as the platform's own call does.
    int rc = eq[1] == '\0' ? unsetenv(name) : setenv(name, eq + 1, 1);
    if (rc != 0) {
        ox_error_set_last(static_cast<uint32_t>(errno), OX_ERRKIND_ERRNO);
        mem_free(update.copy);
        mem_free(update.grown);
        mem_free(name);
        return rc;
    }
    snapshot_commit(update);
    if (std::strlen(assignment) < 1024) {
        void *old = nullptr;
        if (ox_list_remove_node(g_cache, name, &old) == OX_SUCCESS)
            retire(old);
    }
    mem_free(name);
    return 0;
}

}  // extern "C"
