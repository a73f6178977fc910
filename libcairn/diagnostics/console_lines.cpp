// Console lines: verbprint() (level-tested, no prefix), printerr() and
// printinfo() (prefix joined to the caller's format).
#include <cstdlib>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "diagnostics/debug_prefix.hpp"
#include "diagnostics/oxprint/output_path.hpp"
#include "frame/environment.hpp"
#include "frame/errinfo_state.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

constexpr uint32_t kErrorClass = 3;  // a class in thousands: 3000

// The strict level of "BXR_STRICT_LEVEL", read on every call; -1 unset.
int strict_level()
{
    char value[32];
    return environment_read("BXR_STRICT_LEVEL", value, sizeof value) ? std::atoi(value) : -1;
}

// The prefix followed by `fmt`, in new storage of strlen(fmt) + 960 bytes,
// both parts bounded by it.  nullptr when the storage cannot be had.
char *join_prefix(const char *fmt)
{
    std::size_t size = std::strlen(fmt) + kDebugPrefixSize;
    char *joined = static_cast<char *>(mem_alloc(size));
    if (joined == nullptr)
        return nullptr;
    char prefix[kDebugPrefixSize];
    std::size_t used = debug_prefix(prefix, sizeof prefix);
    std::memcpy(joined, prefix, used + 1);
    std::size_t room = size - used;
    std::strncat(joined + used, fmt, room - 1);
    return joined;
}

// Texts that report a notice or a warning are not accrued as errors.
bool is_notice_or_warning(const char *text)
{
    static const char *const kMarkers[] = {"notice,", "notice:", "warning,", "warning:"};
    for (const char *marker : kMarkers)
        if (std::strstr(text, marker) != nullptr)
            return true;
    return false;
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

void verbprint(int level, const char *fmt, ...)
{
    if (fmt == nullptr || Debug < level)
        return;
    int strict = strict_level();
    if (level >= 1 && strict != -1 && strict != level)
        return;
    va_list ap;
    va_start(ap, fmt);
    ox_vfprintf(stderr, fmt, ap);
    va_end(ap);
}

void vprinterr(const char *fmt, va_list ap)
{
    if (fmt == nullptr)
        return;
    char *joined = join_prefix(fmt);
    if (joined == nullptr)
        return;
    // The joined text is the format: a "%" in the program name or the time
    // is read as a conversion, as callers have always seen it.
    oxprint::FormattedText text(joined, ap);
    mem_free(joined);
    if (errinfo_accrual_on() && !is_notice_or_warning(text.data()))
        err_accrue(text.data());
    msg_print(0, kErrorClass, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, text.data());
}

void printerr(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    vprinterr(fmt, ap);
    va_end(ap);
}

void vprintinfo(const char *fmt, va_list ap)
{
    if (fmt == nullptr)
        return;
    char *joined = join_prefix(fmt);
    if (joined == nullptr)
        return;
    ox_vfprintf(stdout, joined, ap);
    mem_free(joined);
}

void printinfo(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    vprintinfo(fmt, ap);
    va_end(ap);
}

}  // extern "C"
