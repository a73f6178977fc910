// The debug lines: dfprintf(), vdfprintf(), ox_vdprintf(), debugprintf()
// and the library's own lines (debug_write), all through one write path.
#include "diagnostics/debug_output.hpp"

#include <cstdio>

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

void put_line(FILE *stream, const char *prefix, const char *marker, const char *text,
              DebugText how)
{
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
    debug_prefix(prefix, sizeof prefix);
    FILE *process = g_process_debug_stream;
    FILE *thread = thread_debug_stream();
    if (process == nullptr && thread == nullptr) {
        ox_fprintf(stderr, "%s", prefix);
        if (marker != nullptr)
            msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, marker);
        msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, text);
        return;
    }
    if (process != nullptr)
        put_line(process, prefix, marker, text, how);
    if (thread != nullptr)
        put_line(thread, prefix, marker, text, how);
}

void debug_vwrite(const char *fmt, va_list ap)
{
    oxprint::FormattedText text(fmt, ap);
    debug_write_line(text.data(), DebugText::raw, nullptr);
}

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
    oxprint::FormattedText text(fmt, ap);
    debug_write_line(text.data(), DebugText::raw, nullptr);
}

void dfprintf(int level, const char *fmt, ...)
{
    if (Debug < level)
        return;
    va_list ap;
    va_start(ap, fmt);
    oxprint::FormattedText text(fmt, ap);
    va_end(ap);
    debug_write_line(text.data(), DebugText::raw, nullptr);
}

void ox_vdprintf(int level, const char *fmt, va_list ap)
{
    if (Debug < level)
        return;
    oxprint::FormattedText text(fmt, ap);
    debug_write_line(text.data(), DebugText::converted, level == 0 ? "Diagnostic: " : nullptr);
}

void debugprintf(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    oxprint::FormattedText text(fmt, ap);
    va_end(ap);
    write_stamped_line(text.data());
}

}  // extern "C"
