// The exported formatting calls: the positional formatter in its bounded,
// unbounded and allocating modes, the C99-style bounded formatter, and the
// argument counter.
#include <cerrno>
#include <climits>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/oxprint/format_core.hpp"
#include "platform/alloc.hpp"

using namespace cairn;
using namespace cairn::oxprint;

namespace {

// Room beyond the format's own length for text made in allocating mode.
constexpr std::size_t kAllocSlack = 19456;

int clamp_length(std::size_t n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

void report_cut(const Sink &out)
{
    if (out.growth_failed())
        CAIRN_DEBUG(6, 32, "i18n_vsnprintf: Truncation detected - new buffer allocation failure\n");
    else if (out.cut())
        CAIRN_DEBUG(6, 32, "i18n_vsnprintf: Truncation detected\n");
}

int format_to_buffer(char *buf, size_t size, const ox_fmt_fetchers *fetchers, const char *fmt,
                     va_list ap)
{
    Sink out = size > 0 ? Sink::bounded(buf, size) : Sink::unbounded(buf);
    if (!format_into(out, fmt, ap, fetchers, kStopWhenCut)) {
        out.clear();
        return 0;
    }
    out.finish();
    report_cut(out);
    return clamp_length(out.length());
}

int format_to_storage(size_t size, char **result, const ox_fmt_fetchers *fetchers, const char *fmt,
                      va_list ap)
{
    std::size_t room = size > 0 ? size : std::strlen(fmt) + kAllocSlack;
    auto *storage = static_cast<char *>(mem_calloc(room, 1));
    *result = storage;
    if (storage == nullptr)
        return 0;
    Sink out = size > 0 ? Sink::bounded(storage, size) : Sink::growing(storage, room);
    bool ok = format_into(out, fmt, ap, fetchers, kStopWhenCut);
    *result = out.data();  // an enlargement may have moved it
    if (!ok) {
        mem_free(out.data());
        *result = nullptr;
        return 0;
    }
    out.finish();
    report_cut(out);
    return clamp_length(out.length());
}

}  // namespace

extern "C" {

int i18n_vsnprintf_map(char *buf, size_t size, char **result, const ox_fmt_fetchers *fetchers,
                       void *reserved, const char *fmt, va_list ap)
{
    (void)reserved;
    if (buf == nullptr && result == nullptr)
        return 0;
    if (fmt == nullptr) {
        if (buf != nullptr && size > 0)
            buf[0] = '\0';
        else if (buf == nullptr)
            *result = nullptr;
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return 0;
    }
    if (buf != nullptr)
        return format_to_buffer(buf, size, fetchers, fmt, ap);
    return format_to_storage(size, result, fetchers, fmt, ap);
}

int i18n_vsnprintf(char *buf, size_t size, char **result, const char *fmt, va_list ap)
{
    return i18n_vsnprintf_map(buf, size, result, nullptr, nullptr, fmt, ap);
}

int i18n_vsprintf(void *reserved, char **result, const char *fmt, va_list ap)
{
    if (result == nullptr)
        return 0;
    return i18n_vsnprintf_map(nullptr, 0, result, nullptr, reserved, fmt, ap);
}

int ox_vsprintf(char *buf, const char *fmt, va_list ap)
{
    if (buf == nullptr)
        return 0;
    return i18n_vsnprintf_map(buf, 0, nullptr, nullptr, nullptr, fmt, ap);
}

int ox_sprintf(char *buf, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vsprintf(buf, fmt, ap);
    va_end(ap);
    return n;
}

int ox_vsnprintf(char *buf, size_t size, const char *fmt, va_list ap)
{
    // Size 0 would mean "trust the buffer" to the formatter: a bounded call
    // with no room writes nothing instead.
    if (buf == nullptr || size == 0)
        return 0;
    return i18n_vsnprintf_map(buf, size, nullptr, nullptr, nullptr, fmt, ap);
}

int ox_snprintf(char *buf, size_t size, const char *fmt, ...)
{
    if (fmt == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    Sink out = Sink::bounded(size > 0 ? buf : nullptr, size);
    va_list ap;
    va_start(ap, fmt);
    bool ok = format_into(out, fmt, ap, nullptr, kCountAll | kPlainText);
    va_end(ap);
    if (!ok) {
        out.clear();
        return -1;
    }
    out.finish();
    if (out.total() > INT_MAX) {
        ox_error_set_last(EOVERFLOW, OX_ERRKIND_ERRNO);
        return -1;
    }
    return static_cast<int>(out.total());
}

int get_formatted_args_num(const char *fmt) { return fmt ? position_count(fmt) - 1 : 0; }

}  // extern "C"
