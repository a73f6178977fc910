// The library's exit handlers: an ox_list of functions, newest first, run by
// ox_exit(), by the C library's exit processing, or on request.
#include "frame/exit_handlers.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/frame.h"
#include "concurrency/internal_lock.hpp"
#include "containers/container.hpp"
#include "frame/exit_cleanup.hpp"
#include "platform/fork_guard.hpp"
#include "platform/thread_record.hpp"

namespace cairn {
namespace {

ox_list *g_handlers;
ox_mutex *g_name_lock;
ox_once_t g_once;
std::atomic<bool> g_enabled{true};
std::atomic<bool> g_hook_registered{false};
std::atomic<bool> g_executing{false};
std::atomic<bool> g_std_files_open{true};

void *as_data(ox_exit_handler h) { return reinterpret_cast<void *>(h); }
ox_exit_handler as_handler(void *p) { return reinterpret_cast<ox_exit_handler>(p); }
int same_handler(void *a, void *b) { return a == b ? 0 : (a < b ? -1 : 1); }

// A set-up failure of the handler layer is fatal: the message goes to
// standard error and the process stops with SIGTERM.
[[noreturn]] void fatal(const char *form)
{
    char text[1024];
    ox_error_get_message(text, sizeof text);
    std::fprintf(stderr, form, text);
    std::fflush(stderr);
    raise(SIGTERM);
    std::_Exit(128 + SIGTERM);
}

void runtime_hook();

void create()
{
    g_handlers = ox_list_new(nullptr, nullptr, same_handler, nullptr, 0);
    if (g_handlers == nullptr)
        fatal("Failed to create internal atexit list: %s.\n");
    // The oldest entry, so it runs after every other handler.
    if (ox_list_prepend(g_handlers, as_data(thread_records_exit_cleanup),
                        as_data(thread_records_exit_cleanup)) != OX_SUCCESS)
        fatal("Failed to create internal atexit list: %s.\n");
    g_name_lock = ox_mutex_new();
    if (g_name_lock == nullptr)
        fatal("Failed to create program name mutex: %s.\n");
    fork_protect(ForkRank::exit_handlers, [] {
        return g_handlers ? reinterpret_cast<ContainerHeader *>(g_handlers)->mutex : nullptr;
    });
    fork_protect(ForkRank::program_name, [] { return g_name_lock; });
    // A process that disabled exit handling before first use never gets
    // the hook.
    if (g_enabled.load())
        install_exit_hook();
}

void ensure() { ox_once(&g_once, create); }

void tear_down()
{
    if (g_handlers) {
        ox_list_destroy(g_handlers);
        g_handlers = nullptr;
    }
    if (g_name_lock) {
        ox_event_destroy(g_name_lock);
        g_name_lock = nullptr;
    }
    ox_once_reset(&g_once);
    ox_object_once_cleanup_atexit();
}

void runtime_hook()
{
    g_executing.store(true);
    if (g_enabled.load())
        ox_atexit_execute_and_remove_all();
    tear_down();
    g_hook_registered.store(false);
}

// Close a standard descriptor; a network connection is shut down first so
// that the peer sees the end of the stream.
void close_standard(int fd)
{
    int type = 0;
    socklen_t len = sizeof type;
    if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &len) == 0)
        shutdown(fd, SHUT_RDWR);
    close(fd);
}

}  // namespace

void program_name_lock()
{
    ensure();
    acquire_internal(g_name_lock);
}

void program_name_unlock() { ox_mutex_unlock(g_name_lock); }

int register_exit_cleanup(void (*handler)(void)) { return ox_atexit(handler); }

void install_exit_hook()
{
    if (!g_hook_registered.exchange(true))
        std::atexit(runtime_hook);
}

}  // namespace cairn

using namespace cairn;

bool cairn::std_files_open() { return g_std_files_open.load(std::memory_order_acquire); }

extern "C" {

int ox_atexit(ox_exit_handler handler)
{
    ensure();
    if (handler == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    return ox_list_prepend(g_handlers, as_data(handler), as_data(handler));
}

int ox_unatexit(ox_exit_handler handler)
{
    ensure();
    if (handler == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    return ox_list_remove_node(g_handlers, as_data(handler), nullptr);
}

void ox_atexit_enable(void)
{
    ensure();
    g_enabled.store(true);
}

void ox_atexit_disable(void)
{
    g_enabled.store(false);
    ensure();
}

void ox_atexit_execute_and_remove_all(void)
{
    ensure();
    if (!g_enabled.load())
        Ox_atexit_ox_threadstorage_destroy = 1;
    // The list is read again after every handler: handlers may register or
    // remove others, and new ones run in this same pass.
    void *data = nullptr;
    // The size is asked first: a pop from the empty list would report
    // through the last error and make the calling thread a new record after
    // the records' clean-up, the last handler, released it.
    while (ox_list_size(g_handlers) > 0 && ox_list_pop(g_handlers, &data) == OX_SUCCESS) {
        if (ox_exit_handler h = as_handler(data))
            h();
    }
    tear_down();
}

int ox_atexit_is_executing(void)
{
    ensure();
    return g_executing.load() ? 1 : 0;
}

void ox_exit(int status)
{
    ensure();
    if (g_std_files_open.exchange(false)) {
        std::fflush(stdout);
        std::fflush(stderr);
        close_standard(STDERR_FILENO);
        close_standard(STDOUT_FILENO);
    }
    if (g_enabled.load())
        ox_atexit_execute_and_remove_all();
    std::exit(status);
}

}  // extern "C"
