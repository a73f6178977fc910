#include "diagnostics/debug_prefix.hpp"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "cairn/frame.h"
#include "cairn/time.h"
#include "diagnostics/debug_settings.hpp"

namespace cairn {
namespace {

constexpr const char *kTimeForm = "%m/%d/%y %H:%M:%S";

// The local time of `seconds` in kTimeForm, or "no-time".
void local_time_text(time_t seconds, char *buf, std::size_t size)
{
    struct tm parts;
    if (localtime_r(&seconds, &parts) == nullptr ||
        std::strftime(buf, size, kTimeForm, &parts) == 0)
        std::snprintf(buf, size, "%s", "no-time");
}

}  // namespace

std::size_t debug_prefix(char *buf, std::size_t size)
{
    std::size_t used = 0;
    if (g_need_timestamps) {
        char when[64];
        local_time_text(std::time(nullptr), when, sizeof when);
        int n = std::snprintf(buf, size, "%s ", when);
        used = n > 0 ? static_cast<std::size_t>(n) : 0;
        if (used >= size)
            return size - 1;
    }
    char name[kProgramNameSize];
    if (ox_get_progname(name, sizeof name) == nullptr)
        name[0] = '\0';
    // "<name>: ", cut to the buffer (a plain copy: this runs for every line).
    std::size_t room = size - 1 - used;
    std::size_t n = strnlen(name, sizeof name);
    const char *parts[2] = {name, ": "};
    std::size_t lens[2] = {n, 2};
    for (int i = 0; i < 2; ++i) {
        std::size_t k = lens[i] < room ? lens[i] : room;
        std::memcpy(buf + used, parts[i], k);
        used += k;
        room -= k;
    }
    buf[used] = '\0';
    return used;
}

void debug_stamp(char *buf, std::size_t size)
{
    struct ox_timeval now;
    char when[64];
    if (ox_gettimeofday_current_time(&now) != 0) {
        std::snprintf(buf, size, "%s", "<NULL>");
        return;
    }
    local_time_text(static_cast<time_t>(now.tv_sec), when, sizeof when);
    if (std::snprintf(buf, size, "%s.%.6lu", when, static_cast<unsigned long>(now.tv_usec)) < 0)
        std::snprintf(buf, size, "%s", "<NULL>");
}

}  // namespace cairn
