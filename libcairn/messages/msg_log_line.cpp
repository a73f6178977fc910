// The text of one message-log line:
//   <ISO 8601 local time> <program>[<pid>] <severity name>(<severity>) #<number>: <text>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cairn/time.h"
#include "frame/error_types.hpp"
#include "messages/msg_identity.hpp"
#include "messages/msg_log.hpp"

namespace cairn {
namespace {

// Length of the longest prefix of `text` (at most `max` bytes) that ends
// on a character boundary, so a cut never splits a UTF-8 sequence.
std::size_t cut_at_character(const char *text, std::size_t max)
{
    std::size_t n = max;
    while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
        --n;
    return n;
}

// Copy the text as one line: trailing line ends dropped, inner ones made
// blanks.  Returns the bytes written (at most kLogTextMax + the marker).
std::size_t put_text(char *out, const char *text)
{
    std::size_t len = strnlen(text, kLogTextMax + 1);
    bool cut = len > kLogTextMax;
    if (cut)
        len = cut_at_character(text, kLogTextMax);
    while (!cut && len > 0 && (text[len - 1] == '\n' || text[len - 1] == '\r'))
        --len;
    for (std::size_t i = 0; i < len; ++i)
        out[i] = (text[i] == '\n' || text[i] == '\r') ? ' ' : text[i];
    if (!cut)
        return len;
    std::memcpy(out + len, kLogCutMarker, sizeof kLogCutMarker - 1);
    return len + sizeof kLogCutMarker - 1;
}

}  // namespace

std::size_t msg_log_format(char *buf, int32_t number, uint32_t severity, const char *text)
{
    char when[40];
    if (ox_str8601_time(when, sizeof when, ox_time(nullptr)) == 0)
        std::snprintf(when, sizeof when, "%s", "-");
    int class_digit = static_cast<int>((severity / 1000) % 10);
    constexpr std::size_t kHeadMax = kLogLineMax - kLogTextMax - sizeof kLogCutMarker;
    int head =
        std::snprintf(buf, kHeadMax, "%s %s[%d] %s(%u) #%d: ", when, msg_identity().progname,
                      static_cast<int>(getpid()), err_severity_name(class_digit), severity, number);
    std::size_t n = head < 0 ? 0 : std::min(static_cast<std::size_t>(head), kHeadMax - 1);
    n += put_text(buf + n, text != nullptr ? text : "");
    buf[n++] = '\n';
    return n;
}

}  // namespace cairn
