// The final writer of the output path, its hook and the direct-write mode,
// and the formatted and converted texts the path hands to it.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/text.h"
#include "diagnostics/oxprint/format_core.hpp"
#include "diagnostics/oxprint/output_path.hpp"
#include "platform/alloc.hpp"
#include "text/locale_conv.hpp"

namespace cairn::oxprint {
namespace {

// First heap buffer for text longer than the stack buffer; doubled until
// the text fits.
constexpr std::size_t kFirstHeapSize = 38912;

std::atomic<ox_vfprintf_fn> g_hook{nullptr};
std::atomic<int> g_use_write{0};
std::atomic<FILE *> g_message_log{nullptr};

int clamp_count(std::size_t n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

// Standard output and error, when direct writes are on, go to the
// descriptor in one write; a regular file is appended to at its current
// end, so that several processes sharing it do not overwrite each other.
int write_direct(FILE *stream, const char *data, std::size_t len)
{
    std::fflush(stream);  // earlier buffered output goes first
    int fd = stream == stdout ? STDOUT_FILENO : STDERR_FILENO;
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
        lseek(fd, 0, SEEK_END);
    ssize_t n;
    do {
        n = ::write(fd, data, len);
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : clamp_count(static_cast<std::size_t>(n));
}

int emit(FILE *stream, const char *data, std::size_t len)
{
    // The platform's service test has no counterpart here: never a service.
    if (g_use_write.load(std::memory_order_relaxed) != 0 && (stream == stdout || stream == stderr))
        return write_direct(stream, data, len);
    if (len > 0 && std::fwrite(data, 1, len, stream) != len)
        return -1;
    return clamp_count(len);
}

int default_writer(FILE *stream, const char *fmt, va_list ap)
{
    if (stream == nullptr || fmt == nullptr)
        return -1;
    FormattedText text(fmt, ap);
    return emit(stream, text.data(), text.size());
}

}  // namespace

FormattedText::FormattedText(const char *fmt, va_list ap, const char *lead, std::size_t lead_len)
{
    Sink out = Sink::bounded(stack_, kStackSize);
    out.put(lead, lead_len);
    if (!format_into(out, fmt, ap, nullptr, kCountAll)) {
        out.clear();
        out.put(lead, lead_len);
        out.finish();
        size_ = out.length();
        return;
    }
    out.finish();
    size_ = out.length();
    if (!out.cut())
        return;
    std::size_t cap = kFirstHeapSize;
    while (cap <= out.total() && cap <= SIZE_MAX / 2)
        cap *= 2;
    heap_ = static_cast<char *>(mem_alloc(cap));
    if (heap_ == nullptr)
        return;  // the text stays cut at the stack buffer
    Sink big = Sink::bounded(heap_, cap);
    big.put(lead, lead_len);
    format_into(big, fmt, ap, nullptr, kStopWhenCut);
    big.finish();
    size_ = big.length();
}

FormattedText::~FormattedText() { mem_free(heap_); }

LocaleText::LocaleText(const char *utf8, std::size_t len) : text_(utf8)
{
    if (text::locale_passes_utf8() || len == 0)
        return;
    const auto per_char = static_cast<std::size_t>(MB_CUR_MAX);
    if (len > (SIZE_MAX - 1) / per_char)
        return;
    std::size_t room = len * per_char + 1;
    char *out = stack_;
    if (room > sizeof stack_) {
        owned_ = static_cast<char *>(mem_alloc(room));
        if (owned_ == nullptr)
            return;  // written unconverted
        out = owned_;
    }
    ox_utf8s_to_mbs(out, utf8, room, nullptr);
    text_ = out;
}

LocaleText::~LocaleText() { mem_free(owned_); }

int write_formatted(FILE *stream, const char *fmt, va_list ap)
{
    ox_vfprintf_fn hook = g_hook.load(std::memory_order_acquire);
    return hook ? hook(stream, fmt, ap) : default_writer(stream, fmt, ap);
}

namespace {

int call_writer(FILE *stream, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = write_formatted(stream, fmt, ap);
    va_end(ap);
    return n;
}

}  // namespace

int write_text(FILE *stream, const char *text)
{
    if (!writer_hook_installed())
        return emit(stream, text, std::strlen(text));  // what the default does with "%s"
    return call_writer(stream, "%s", text);
}

bool writer_hook_installed() { return g_hook.load(std::memory_order_acquire) != nullptr; }

bool is_console(int fd)
{
    struct stat st;
    return fd >= 0 && fstat(fd, &st) == 0 && S_ISCHR(st.st_mode);
}

FILE *message_log_stream() { return g_message_log.load(std::memory_order_acquire); }

void set_message_log_stream(FILE *stream)
{
    g_message_log.store(stream, std::memory_order_release);
}

}  // namespace cairn::oxprint

using namespace cairn::oxprint;

extern "C" {

ox_vfprintf_fn set_vfprintf(ox_vfprintf_fn writer)
{
    ox_vfprintf_fn previous = g_hook.load(std::memory_order_acquire);
    bool clear = writer == nullptr || writer == previous || writer == default_writer;
    g_hook.store(clear ? nullptr : writer, std::memory_order_release);
    return previous ? previous : default_writer;
}

void unset_vfprintf(void) { g_hook.store(nullptr, std::memory_order_release); }

int UseWrite(int on) { return g_use_write.exchange(on, std::memory_order_relaxed); }

}  // extern "C"
