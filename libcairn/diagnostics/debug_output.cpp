// The debug lines: dfprintf(), vdfprintf(), ox_vdprintf(), debugprintf()
// and the library's own lines (debug_write), all through one write path:
// each line is made whole in one buffer and goes out in one write.
#include "diagnostics/debug_output.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/debug_prefix.hpp"
#include "diagnostics/debug_settings.hpp"
#include "diagnostics/debug_streams.hpp"
#include "diagnostics/oxprint/excepted_fds.hpp"
#include "diagnostics/oxprint/output_path.hpp"
#include "text/locale_conv.hpp"

namespace cairn {
namespace {

constexpr uint32_t kInformation = 50000;

// Room for the prefix and a marker or stamp after it.
constexpr std::size_t kLeadSize = kDebugPrefixSize + kDebugStampSize + 2;

// A debug stream and its kind, found when the stream was set.
struct DebugTarget {
    FILE *stream;
    bool console;
};

bool is_ascii(const char *text, std::size_t len)
{
    for (std::size_t i = 0; i < len; ++i)
        if (static_cast<unsigned char>(text[i]) >= 0x80)
            return false;
    return true;
}

// All of `len` bytes with one write where the system takes them at once:
// an O_APPEND file, a pipe (up to PIPE_BUF) and a terminal never mix them
// with other writers' lines.  Earlier buffered output of the stream goes
// first; a stream without a descriptor gets them through stdio.
void write_whole(FILE *stream, const char *data, std::size_t len)
{
    int fd = fileno(stream);
    if (fd < 0) {
        std::fwrite(data, 1, len, stream);
        return;
    }
    std::fflush(stream);
    while (len > 0) {
        ssize_t n = ::write(fd, data, len);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;  // a debug line is never worth more than one try
        data += n;
        len -= static_cast<std::size_t>(n);
    }
}

// The line's pieces one by one through the output path: for a writer hook,
// the message log, and a converted stream whose prefix the locale changes.
void put_pieces(FILE *stream, const char *prefix, const char *marker, const char *text,
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

// One debug line: `line` holds the prefix (`prefix_len` bytes), the marker
// and the text, `lead_len` bytes before the text.  The output path would
// write each piece unchanged or in the locale's encoding; the line goes out
// in one write whenever that gives the same bytes.
void put_line(const DebugTarget &t, const oxprint::FormattedText &line, std::size_t prefix_len,
              std::size_t lead_len, const char *marker, DebugText how)
{
    const char *data = line.data();
    bool unchanged =
        text::locale_passes_utf8() || (!t.console && oxprint::is_utf8_descriptor(fileno(t.stream)));
    if (oxprint::writer_hook_installed() || t.stream == oxprint::message_log_stream()) {
        // fall through to the pieces
    } else if (how == DebugText::converted && !unchanged) {
        oxprint::LocaleText converted(data, line.size());
        write_whole(t.stream, converted.data(), std::strlen(converted.data()));
        return;
    } else if (unchanged ||
               is_ascii(data, prefix_len)) {  // raw text after a prefix no locale changes
        write_whole(t.stream, data, line.size());
        return;
    }
    char prefix[kDebugPrefixSize];
    std::memcpy(prefix, data, prefix_len);  // the prefix never fills its buffer
    prefix[prefix_len] = '\0';
    put_pieces(t.stream, prefix, marker, data + lead_len, how);
}

// Without a debug stream the line goes to standard error through the
// message printer.
void put_stderr_line(const char *fmt, va_list ap, const char *marker)
{
    oxprint::FormattedText text(fmt, ap);
    char prefix[kDebugPrefixSize];
    debug_prefix(prefix, sizeof prefix);
    ox_fprintf(stderr, "%s", prefix);
    if (marker != nullptr)
        msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, marker);
    msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, text.data());
}

// Format once, with the prefix and the marker ahead of the text, and write
// the line to the process stream, then the thread stream.
void write_line(const DebugTarget (&targets)[2], const char *fmt, va_list ap, DebugText how,
                const char *marker)
{
    char lead[kLeadSize];
    std::size_t prefix_len = debug_prefix(lead, kDebugPrefixSize);
    std::size_t lead_len = prefix_len;
    if (marker != nullptr) {
        std::size_t n = strnlen(marker, sizeof lead - 1 - prefix_len);
        std::memcpy(lead + prefix_len, marker, n);
        lead_len += n;
    }
    lead[lead_len] = '\0';
    oxprint::FormattedText line(fmt, ap, lead, lead_len);
    for (const DebugTarget &t : targets)
        if (t.stream != nullptr)
            put_line(t, line, prefix_len, lead_len, marker, how);
}

void current_targets(DebugTarget (&targets)[2])
{
    targets[0] = {g_process_debug_stream, g_process_debug_console};
    targets[1].stream = thread_debug_stream(&targets[1].console);
}

}  // namespace

// Format and write; kept out of line so that the level tests of the
// callers stay free of the formatter's stack frame.
__attribute__((noinline)) void format_and_write(const char *fmt, va_list ap, DebugText how,
                                                const char *marker)
{
    if (fmt == nullptr)
        return;
    DebugTarget targets[2];
    current_targets(targets);
    if (targets[0].stream == nullptr && targets[1].stream == nullptr)
        put_stderr_line(fmt, ap, marker);
    else
        write_line(targets, fmt, ap, how, marker);
}

void debug_vwrite(const char *fmt, va_list ap)
{
    format_and_write(fmt, ap, DebugText::raw, nullptr);
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
__attribute__((noinline)) void write_stamped_line(const char *fmt, va_list ap)
{
    char stamp[kDebugStampSize + 1];
    bool stamped = g_dprintf_timestamps != 0;
    if (stamped) {
        // The stamp fills at most kDebugStampSize bytes: room for the blank.
        debug_stamp(stamp, kDebugStampSize);
        size_t n = std::strlen(stamp);
        stamp[n] = ' ';
        stamp[n + 1] = '\0';
    }
    DebugTarget targets[2];
    current_targets(targets);
    if (targets[0].stream != nullptr || targets[1].stream != nullptr) {
        write_line(targets, fmt, ap, DebugText::raw, stamped ? stamp : nullptr);
        return;
    }
    oxprint::FormattedText text(fmt, ap);
    if (stamped)
        msg_print(0, kInformation, MSG_TO_STDERR, "%s%s", MSG_ARG_TEXT, stamp, MSG_ARG_TEXT,
                  text.data());
    else
        msg_print(0, kInformation, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, text.data());
    std::fflush(stderr);
    std::fflush(stdout);
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
    write_stamped_line(fmt, ap);
    va_end(ap);
}

}  // extern "C"
