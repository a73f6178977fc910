// Applying the debug-control file's setting line: the keyword table, the
// change notice and the invalid-value line.
#include "diagnostics/debug_control.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "cairn/diagnostics.h"
#include "diagnostics/debug_settings.hpp"
#include "frame/process_identity.hpp"
#include "messages/msg_identity.hpp"
#include "text/ascii_case.hpp"

namespace cairn {
namespace {

constexpr std::size_t kHeaderMax = 1024;
constexpr std::size_t kTextMax = 512;
constexpr std::size_t kFileMax = 1024;
// At most this many bytes of a bad value are echoed back, non-printing
// bytes as '?': the file may hold anything.
constexpr std::size_t kEchoMax = 64;

// What a setting does with its value.  Each row of the table names one.
enum class Rule {
    debug_level,         // notice (old, value); store min(value, 15)
    plain,               // notice (old, value); store value
    msgid_switch,        // notice (state, value); switch = value != 0
    set_one,             // notice (old, 1); store 1
    dns_threshold,       // notice (old, 1); store max(value, 5)
    zero_if_negative,    // notice (old, value); store value, or 0 when negative
    thirty_if_negative,  // notice (old, value); store value, or 30 when negative
    patch_debug,         // notice (DriveStealExclusion, value); store value
    toggle,              // notice (old, old ^ 1); store old ^ 1
};

struct Setting {
    const char *keyword;
    const char *label;
    int32_t *variable;  // nullptr for the message-number switch
    Rule rule;
    bool bit_list;  // value written as a bit list
};

const Setting kSettings[] = {
    {"Debug", "Debug level", &Debug, Rule::debug_level, false},
    {"Trace", "Trace level", reinterpret_cast<int32_t *>(&OxTrace), Rule::plain, true},
    {"Vflag", "Vflag level", &Vflag, Rule::plain, false},
    {"MsgID", "msgID print state", nullptr, Rule::msgid_switch, false},
    {"PrintDevInfo", "PrintDevInfo", &PrintDevInfo, Rule::set_one, false},
    {"PrintBxrAuthInfo", "PrintBxrAuthInfo", &PrintBxrAuthInfo, Rule::set_one, false},
    {"FlushDnsCache", "FlushDnsCache", &FlushDnsCache, Rule::set_one, false},
    {"PrintDnsCache", "PrintDnsCache", &PrintDnsCache, Rule::set_one, false},
    {"PrintInactiveClients", "PrintInactiveClientsCache", &g_print_inactive_clients, Rule::set_one,
     false},
    {"LogDnsThreshold", "LogDnsThreshold", &LogDnsThreshold, Rule::dns_threshold, false},
    {"JukeboxThrottle", "Jukebox Throttle", &JukeboxThrottle, Rule::zero_if_negative, false},
    {"DriveStealExclusion", "Drive Steal Exclusion", &DriveStealExclusion, Rule::thirty_if_negative,
     false},
    {"PatchDebug", "Patch Debug", &PatchDebug, Rule::patch_debug, false},
    {"PrintDeviceSelection", "Print Device Selection", &PrintDeviceSelection, Rule::toggle, false},
    {"JobsdbFullPurge", "JobsdbFullPurge", &JobsdbFullPurge, Rule::set_one, false},
};

std::atomic<uint32_t> g_notices{0};
std::atomic<uint32_t> g_invalid{0};
std::atomic<uint32_t> g_refused{0};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool same_word(const char *word, std::size_t len, const char *keyword)
{
    if (std::strlen(keyword) != len)
        return false;
    for (std::size_t i = 0; i < len; ++i)
        if (text::fold_upper(static_cast<unsigned char>(word[i])) !=
            text::fold_upper(static_cast<unsigned char>(keyword[i])))
            return false;
    return true;
}

const Setting *find_setting(const char *word, std::size_t len)
{
    for (const Setting &s : kSettings)
        if (same_word(word, len, s.keyword))
            return &s;
    return nullptr;
}

// One write of the whole line to the standard-error descriptor: safe from
// the event thread, and never interleaved with stdio buffering.
void write_stderr(const char *buf, std::size_t len)
{
    while (len > 0) {
        ssize_t n = ::write(STDERR_FILENO, buf, len);
        if (n <= 0)
            return;  // debug writes ignore write errors
        buf += n;
        len -= static_cast<std::size_t>(n);
    }
}

void announce(const char *label, int32_t old_value, int32_t new_value)
{
    char line[kHeaderMax + kTextMax + 32];
    std::size_t len = format_change_notice(line, sizeof line, label, old_value, new_value);
    write_stderr(line, len);
    g_notices.fetch_add(1, std::memory_order_relaxed);
}

// The settings are plain variables that every thread reads without a
// lock; the event thread's stores are relaxed atomics so that each store
// is whole.
int32_t load(const int32_t &var) { return __atomic_load_n(&var, __ATOMIC_RELAXED); }
void store(int32_t &var, int32_t value) { __atomic_store_n(&var, value, __ATOMIC_RELAXED); }

void apply(const Setting &s, int32_t value)
{
    if (s.rule == Rule::msgid_switch) {
        announce(s.label, msg_number_switch() ? 1 : 0, value);
        set_msg_number_switch(value != 0);
        return;
    }
    int32_t &var = *s.variable;
    int32_t old = load(var);
    switch (s.rule) {
    case Rule::debug_level:
        announce(s.label, old, value);
        store(var, value < 15 ? value : 15);
        break;
    case Rule::plain:
        announce(s.label, old, value);
        store(var, value);
        break;
    case Rule::set_one:
        announce(s.label, old, 1);
        store(var, 1);
        break;
    case Rule::dns_threshold:
        announce(s.label, old, 1);  // the notice always shows 1
        store(var, value > 5 ? value : 5);
        break;
    case Rule::zero_if_negative:
        announce(s.label, old, value);
        store(var, value < 0 ? 0 : value);
        break;
    case Rule::thirty_if_negative:
        announce(s.label, old, value);
        store(var, value < 0 ? 30 : value);
        break;
    case Rule::patch_debug:
        announce(s.label, load(DriveStealExclusion), value);  // shows the other switch, as always
        store(var, value);
        break;
    case Rule::toggle:
        announce(s.label, old, old ^ 1);
        store(var, old ^ 1);
        break;
    case Rule::msgid_switch:
        break;
    }
}

}  // namespace

std::size_t format_change_notice(char *buf, std::size_t size, const char *label, int32_t old_value,
                                 int32_t new_value)
{
    const MsgIdentity *id = msg_identity_recorded();
    const char *host = id != nullptr && id->host[0] != '\0' ? id->host : "localhost";
    const char *prog = id != nullptr && id->progname[0] != '\0' ? id->progname : "unknown";
    char header[kHeaderMax];
    std::snprintf(header, sizeof header, "0 %lld 1 1 0 0 %d 0 %s %s SYSTEM notice",
                  static_cast<long long>(std::time(nullptr)), id != nullptr ? id->pid : 0, host,
                  prog);
    char text[kTextMax];
    int tlen =
        std::snprintf(text, sizeof text, " Changing %s from %d to %d", label, old_value, new_value);
    if (tlen < 0)
        text[0] = '\0';  // a failed format leaves the buffer unset: show no text
    std::size_t shown = std::strlen(text);
    int n = std::snprintf(buf, size, "%s %zu%s 0\n", header, shown > 0 ? shown - 1 : 0, text);
    if (n < 0)
        return 0;
    return static_cast<std::size_t>(n) < size ? static_cast<std::size_t>(n) : size - 1;
}

std::size_t format_invalid_value(char *buf, std::size_t size, const char *value,
                                 const char *keyword)
{
    if (size > kTextMax)
        size = kTextMax;
    char shown[kEchoMax + 1];
    std::size_t n_shown = 0;
    for (; n_shown < kEchoMax && value[n_shown] != '\0'; ++n_shown) {
        unsigned char c = static_cast<unsigned char>(value[n_shown]);
        shown[n_shown] = c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '?';
    }
    shown[n_shown] = '\0';
    int n = std::snprintf(buf, size, "%s is an invalid value for %s\n", shown, keyword);
    if (n < 0)
        return 0;
    return static_cast<std::size_t>(n) < size ? static_cast<std::size_t>(n) : size - 1;
}

void apply_setting_line(const char *line)
{
    if (line == nullptr)
        return;
    const char *p = line;
    while (is_blank(*p))
        ++p;
    const char *word = p;
    while (is_letter(*p))
        ++p;
    std::size_t word_len = static_cast<std::size_t>(p - word);
    char keyword[kTextMax];
    std::snprintf(keyword, sizeof keyword, "%.*s", static_cast<int>(word_len), word);
    while (is_blank(*p))
        ++p;
    const Setting *setting = find_setting(word, word_len);
    int32_t value = 0;
    if (*p != '\0') {
        if (*p != '=')
            return;
        ++p;
        while (is_blank(*p))
            ++p;
        bool bit_list = setting != nullptr && setting->bit_list;
        uint32_t bits = 0;
        bool ok = *p != '\0' &&
                  (bit_list ? parse_setting_bits(p, &bits) : parse_setting_number(p, &value));
        if (!ok) {
            char msg[kTextMax];
            write_stderr(msg, format_invalid_value(msg, sizeof msg, p, keyword));
            g_invalid.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        if (bit_list)
            value = static_cast<int32_t>(bits);
    }
    if (setting != nullptr)
        apply(*setting, value);
}

ControlCounts control_counts()
{
    return ControlCounts{g_notices.load(std::memory_order_relaxed),
                         g_invalid.load(std::memory_order_relaxed),
                         g_refused.load(std::memory_order_relaxed)};
}

std::size_t format_settings(char *buf, std::size_t size, char sep)
{
    std::size_t len = 0;
    for (const Setting &s : kSettings) {
        int32_t value = s.variable != nullptr ? load(*s.variable) : (msg_number_switch() ? 1 : 0);
        int n = s.bit_list ? std::snprintf(buf + len, size - len, "%s=0x%x%c", s.keyword,
                                           static_cast<unsigned>(value), sep)
                           : std::snprintf(buf + len, size - len, "%s=%d%c", s.keyword, value, sep);
        if (n < 0 || static_cast<std::size_t>(n) >= size - len)
            break;  // cut at a whole setting
        len += static_cast<std::size_t>(n);
    }
    if (len < size)
        buf[len] = '\0';
    return len;
}

const char *debug_control_file()
{
    const char *path = debug_control_path();
    return path[0] != '\0' ? path : "oxdbg.tmp";
}

}  // namespace cairn

extern "C" const char *ox_debug_control_file(void) { return cairn::debug_control_file(); }

namespace cairn {
namespace {

// Why the open control file `st` may not be trusted, or nullptr: it must be
// a regular file, owned by this process's user or by root, that other users
// cannot write (anyone may be able to create files in its directory).
const char *untrusted_because(const struct stat &st)
{
    if (!S_ISREG(st.st_mode))
        return "not a regular file";
    if (st.st_uid != 0 && st.st_uid != geteuid())
        return "owned by another user";
    if ((st.st_mode & S_IWOTH) != 0)
        return "writable by other users";
    return nullptr;
}

void tell_refused(const char *path, const char *why)
{
    char line[kTextMax];
    g_refused.fetch_add(1, std::memory_order_relaxed);
    int n = std::snprintf(line, sizeof line, "debug-control file %.400s refused: %s\n", path, why);
    if (n > 0)
        write_stderr(line, std::strlen(line));
}

// Open the control file without following a symbolic link (nor blocking on
// a FIFO), and check what was opened.  -1 when there is none to read.
int open_control_file(const char *path, struct stat &st)
{
    int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        if (errno == ELOOP)
            tell_refused(path, "a symbolic link");
        return -1;
    }
    const char *why = ::fstat(fd, &st) != 0 ? "cannot be examined" : untrusted_because(st);
    if (why != nullptr) {
        tell_refused(path, why);
        ::close(fd);
        return -1;
    }
    return fd;
}

// Remove the control file only if its name still leads to the file that
// was read: never a file someone put in its place.
void unlink_if_same(const char *path, const struct stat &opened)
{
    struct stat now;
    if (::lstat(path, &now) == 0 && now.st_dev == opened.st_dev && now.st_ino == opened.st_ino)
        ::unlink(path);
}

}  // namespace
}  // namespace cairn

extern "C" int ondbgintr(int event)
{
    using namespace cairn;
    if (event != OX_DEBUG_EVENT)
        return 1;
    const char *path = debug_control_file();
    struct stat st;
    int fd = open_control_file(path, st);
    if (fd < 0)
        return 1;
    char buf[kFileMax + 1];
    ssize_t n = ::read(fd, buf, kFileMax);
    if (n >= 1) {
        // Meant to drop the line's newline: a file without one loses its
        // last character.
        buf[n - 1] = '\0';
        apply_setting_line(buf);
    }
    ::close(fd);
    unlink_if_same(path, st);
    return 1;
}
