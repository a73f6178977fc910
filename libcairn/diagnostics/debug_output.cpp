// The debug lines: dfprintf(), vdfprintf(), ox_vdprintf(), debugprintf()
// and the library's own lines (debug_write), all through one write path.
#include "diagnostics/debug_output.hpp"

#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/debug_prefix.hpp"
#include "diagnostics/debug_settings.hpp"
#include "diagnostics/debug_streams.hpp"
#include "diagnostics/oxprint/output_path.hpp"

namespace cairn {
namespace {

constexpr uint32_t kInformation = 50000;

bool is_ascii(const char *text, std::size_t len)
{
    for (std::size_t i = 0; i < len; ++i)
        if (static_cast<unsigned char>(text[i]) >= 0x80)
            return false;
    return true;
}

// Prefix and raw text in one write, when that writes the very bytes the
// two writes would: a plain file, an ASCII prefix (which the output path
// passes unchanged) and no writer hook to hand the prefix to.
bool put_joined(FILE *stream, const char *prefix, std::size_t prefix_len, const char *text)
{
    constexpr std::size_t kJoinedMax = 4096;
    std::size_t text_len = std::strlen(text);
    if (prefix_len + text_len > kJoinedMax || oxprint::writer_hook_installed() ||
        stream == oxprint::message_log_stream() || !is_ascii(prefix, prefix_len))
        return false;
    char joined[kJoinedMax];
    std::memcpy(joined, prefix, prefix_len);
    std::memcpy(joined + prefix_len, text, text_len);
    std::fwrite(joined, 1, prefix_len + text_len, stream);
    return true;
}

void put_line(FILE *stream, bool plain, const char *prefix, std::size_t prefix_len,
              const char *marker, const char *text, DebugText how)
{
    if (plain && how == DebugText::raw && marker == nullptr &&
        put_joined(stream, prefix, prefix_len, text))
        return;
    ox_fprintf(stream, "%s", prefix);
    if (how == DebugText::raw) {
        if (marker != nullptr)
            std::fputs(marker, stream);
        std::fputs(text, stream);
    } else {
        if (marker != nullptr)
            ox_fprintf(stream, "%s", marker);
        ox_fprintf(stream, "%s", text);
    }
}

}  // namespace

void debug_write_line(const char *text, DebugText how, const char *marker)
{
    char prefix[kDebugPrefixSize];
    std::size_t prefix_len = debug_prefix(prefix, sizeof prefix);
    FILE *process = g_process_debug_stream;
    bool process_plain = g_process_debug_plain;
    bool thread_plain = false;
    FILE *thread = thread_debug_stream(&thread_plain);
    if (process == nullptr && thread == nullptr) {
        ox_fprintf(stderr, "%s", prefix);
        if (marker != nullptr)
            msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, marker);
        msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, text);
        return;
    }
    if (process != nullptr)
        put_line(process, process_plain, prefix, prefix_len, marker, text, how);
    if (thread != nullptr)
        put_line(thread, thread_plain, prefix, prefix_len, marker, text, how);
}

// Format and write; kept out of line so that the level tests of the
// callers stay free of the formatter's stack frame.
__attribute__((noinline)) void format_and_write(const char *fmt, va_list ap, DebugText how,
                                                const char *marker)
{
    if (fmt == nullptr)
        return;
    oxprint::FormattedText text(fmt, ap);
    debug_write_line(text.data(), how, marker);
}

void debug_vwrite(const char *fmt, va_list ap) { format_and_write(fmt, ap, DebugText::raw, nullptr); }

void debug_write(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    debug_vwrite(fmt, ap);
    va_end(ap);
}

namespace {

// debugprintf()'s line: the stamp and a blank ahead of the text when
// stamps are on; without a stream no prefix, and both standard streams
// are flushed.
void write_stamped_line(const char *text)
{
    char stamp[kDebugStampSize];
    bool stamped = g_dprintf_timestamps != 0;
    if (stamped)
        debug_stamp(stamp, sizeof stamp);
    FILE *streams[2] = {g_process_debug_stream, thread_debug_stream()};
    if (streams[0] == nullptr && streams[1] == nullptr) {
        if (stamped)
            msg_print(0, kInformation, MSG_TO_STDERR, "%s %s", MSG_ARG_TEXT, stamp, MSG_ARG_TEXT,
                      text);
        else
            msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, text);
        std::fflush(stderr);
        std::fflush(stdout);
        return;
    }
    char prefix[kDebugPrefixSize];
    debug_prefix(prefix, sizeof prefix);
    for (FILE *stream : streams) {
        if (stream == nullptr)
            continue;
        ox_fprintf(stream, "%s", prefix);
        if (stamped)
            std::fprintf(stream, "%s %s", stamp, text);
        else
            std::fputs(text, stream);
    }
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

void vdfprintf(int level, const char *fmt, va_list ap)
{
    if (Debug < level)
        return;
    format_and_write(fmt, ap, DebugText::raw, nullptr);
}

void dfprintf(int level, const char *fmt, ...)
{
    if (Debug < level)
        return;
    va_list ap;
    va_start(ap, fmt);
    format_and_write(fmt, ap, DebugText::raw, nullptr);
    va_end(ap);
}

void ox_vdprintf(int level, const char *fmt, va_list ap)
{
    if (Debug < level)
        return;
    format_and_write(fmt, ap, DebugText::converted, level == 0 ? "Diagnostic: " : nullptr);
}

void debugprintf(const char *fmt, ...)
{
    if (fmt == nullptr)
        return;
    va_list ap;
    va_start(ap, fmt);
    oxprint::FormattedText text(fmt, ap);
    va_end(ap);
    write_stamped_line(text.data());
}

}  // extern "C"
