// msg_print(): the decision between printing a message directly and
// posting it, and the direct path.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "diagnostics/debug_settings.hpp"
#include "frame/exit_handlers.hpp"
#include "messages/msg_identity.hpp"
#include "messages/msg_direct.hpp"
#include "messages/msg_render.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

constexpr uint32_t kFirstLogDestination = 0x8;

std::atomic<msg_callback_fn> g_callback{nullptr};

bool descriptor_usable(int fd) { return fcntl(fd, F_GETFD) != -1; }

// 0x100: the console when the process has standard streams, else the first
// message log.  The streams are gone once ox_exit() closed them, and in a
// process started with neither descriptor 1 nor 2 open.
uint32_t resolve_console_or_log(uint32_t flags)
{
    if ((flags & MSG_CONSOLE_OR_LOG) == 0)
        return flags;
    flags &= ~static_cast<uint32_t>(MSG_CONSOLE_OR_LOG);
    if (!std_files_open() ||
        (!descriptor_usable(STDOUT_FILENO) && !descriptor_usable(STDERR_FILENO))) {
        flags &= ~static_cast<uint32_t>(MSG_TO_STDOUT | MSG_TO_STDERR);
        flags |= kFirstLogDestination;
    }
    return flags;
}

void call_back(msg_callback_fn fn, const char *format, va_list ap)
{
    va_list copy;
    va_copy(copy, ap);
    char *text = msg_render(format, copy);
    va_end(copy);
    if (text != nullptr) {
        fn(text);
        mem_free(text);
    }
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

int msg_print(int32_t number, uint32_t severity, uint32_t flags, const char *format, ...)
{
    msg_identity();
    if (format == nullptr)
        return 0;
    va_list ap;
    va_start(ap, format);
    if (msg_callback_fn fn = g_callback.load(std::memory_order_acquire))
        call_back(fn, format, ap);
    flags = resolve_console_or_log(flags);
    int result = 0;
    if (g_need_timestamps != 0 || (flags & MSG_LOG_MASK) != 0) {
        if (severity < 6)
            severity *= 1000;
        msg_t *msg = msg_vcreate(number, severity, format, ap);
        msg_post(flags, msg);
        msg_free(msg);
    } else if (flags & (MSG_TO_STDOUT | MSG_TO_STDERR)) {
        // One rendering serves both streams: the arguments are text and
        // render the same each time.
        char *text = msg_render(format, ap);
        if (text != nullptr)
            result = print_direct(number, flags, text);
        mem_free(text);
    }
    va_end(ap);
    return result;
}

void msg_callback_set(msg_callback_fn fn) { g_callback.store(fn, std::memory_order_release); }

}  // extern "C"
