// Thread storage keys: registered keys over the emulated thread-local
// slots, kept in one process-wide list (newest first) so that a thread's
// values can be destroyed when it ends.
#include <atomic>
#include <csignal>
#include <cstdlib>

#include "concurrency/wait_results.hpp"
#include "concurrency/object_registry.hpp"
#include "platform/alloc.hpp"
#include "platform/critical_section.hpp"
#include "platform/fork_guard.hpp"
#include "platform/sync_object.hpp"
#include "platform/tls_slots.hpp"

using namespace cairn;

struct ox_threadstorage {
    ox_object_header header;
    int index = -1;
    void (*destructor)(void *) = nullptr;
};

namespace {

constexpr int kExpungePasses = 4;

struct KeyNode {
    ox_threadstorage *key;
    KeyNode *next;
};

ox_once_t g_list_once;
std::atomic<CriticalSection *> g_list_lock{nullptr};
KeyNode *g_keys = nullptr;  // guarded by g_list_lock

void create_list_lock()
{
    g_list_lock.store(mem_new<CriticalSection>(100));
    fork_protect(ForkRank::key_list, [] { return g_list_lock.load(std::memory_order_acquire); });
}

// The key-list lock; the process cannot keep keys without it and stops.
CriticalSection &list_lock()
{
    ox_once(&g_list_once, create_list_lock);
    CriticalSection *lock = g_list_lock.load(std::memory_order_acquire);
    if (lock == nullptr) {
        raise(SIGTERM);
        std::abort();  // a handled SIGTERM comes back here; keys still cannot work
    }
    return *lock;
}

int destroy_key(void *obj)
{
    return ox_threadstorage_destroy(static_cast<ox_threadstorage *>(obj));
}
const cairn::ObjectTypeName kTypeName{destroy_key, "thread storage key"};

void unlink_key(ox_threadstorage *key)
{
    CriticalSectionLock hold(list_lock());
    for (KeyNode **link = &g_keys; *link != nullptr; link = &(*link)->next) {
        if ((*link)->key == key) {
            KeyNode *node = *link;
            *link = node->next;
            mem_free(node);
            return;
        }
    }
}

// One pass of the expunge; true when some destructor ran.
bool expunge_pass()
{
    bool ran = false;
    for (KeyNode *node = g_keys; node != nullptr; node = node->next) {
        ox_threadstorage *key = node->key;
        if (key->destructor == nullptr)
            continue;
        void *value = tls_get(key->index);
        if (value == nullptr)
            continue;
        tls_set(key->index, nullptr);
        key->destructor(value);
        ran = true;
    }
    return ran;
}

}  // namespace

extern "C" {

ox_threadstorage *ox_threadstorage_new(void (*destructor)(void *))
{
    CriticalSection &lock = list_lock();
    int index = tls_alloc();
    if (index < 0) {
        ox_error_set_last(EAGAIN, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    auto *key = mem_new<ox_threadstorage>();
    auto *node = key ? mem_new<KeyNode>(KeyNode{key, nullptr}) : nullptr;
    if (node == nullptr || !register_object(key, destroy_key)) {
        mem_free(node);
        mem_delete(key);
        tls_free(index);
        return nullptr;
    }
    key->index = index;
    key->destructor = destructor;
    CriticalSectionLock hold(lock);
    node->next = g_keys;
    g_keys = node;
    return key;
}

void *ox_threadstorage_get(ox_threadstorage *key)
{
    if (key == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    return tls_get(key->index);
}

int ox_threadstorage_set(ox_threadstorage *key, void *value)
{
    if (key == nullptr)
        return null_argument();
    return tls_set(key->index, value) ? OX_SUCCESS : ox_error_get_last();
}

int ox_threadstorage_destroy(ox_threadstorage *key)
{
    if (key == nullptr)
        return null_argument();
    int result;
    if (!last_reference(key, result))
        return result;
    unlink_key(key);
    if (!tls_free(key->index))
        result = ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    key->header.flags = 0;
    mem_delete(key);
    return result;
}

void _ox_threadstorage_expunge(void)
{
    QueuedCallsHeld no_calls;  // destructors run under the key-list lock
    CriticalSectionLock hold(list_lock());
    for (int pass = 0; pass < kExpungePasses && expunge_pass(); ++pass) {
    }
}

}  // extern "C"
