// The C library's calendar conversions on 32-bit times, with per-thread
// results (the C library's own ctime()/localtime() share one buffer between
// all threads).
#include <cerrno>
#include <cstdint>
#include <ctime>

#include "cairn/frame.h"
#include "cairn/time.h"
#include "platform/time_zone.hpp"

namespace {

// ctime_r() needs at least 26 bytes; years beyond 9999 need a few more.
constexpr int kCtimeBufferSize = 64;

thread_local char t_ctime_text[kCtimeBufferSize];
thread_local std::tm t_local_fields;

std::time_t low_32_bits(ox_time64_t t)
{
    return static_cast<std::time_t>(static_cast<int32_t>(static_cast<uint32_t>(t)));
}

}  // namespace

extern "C" {

char *ox_ctime(ox_time64_t t)
{
    std::time_t when = low_32_bits(t);
    std::tm local{};
    cairn::refresh_zone_data();  // the zone data is read under the environment lock
    if (localtime_r(&when, &local) == nullptr)
        return nullptr;
    // asctime_r() writes at most 26 bytes for four-digit years; a 32-bit
    // time never leaves them.
    return asctime_r(&local, t_ctime_text);
}

struct tm *ox_localtime(ox_time64_t t)
{
    std::time_t when = low_32_bits(t);
    cairn::refresh_zone_data();
    return localtime_r(&when, &t_local_fields);
}

ox_time64_t ox_mktime(struct tm *tm)
{
    if (tm == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    std::tm saved = *tm;
    tm->tm_wday = -1;  // mktime() sets it on success only
    std::time_t value = cairn::mktime_locked(tm);
    bool failed = value == static_cast<std::time_t>(-1) && tm->tm_wday == -1;
    // A 32-bit clock cannot hold times before 1970 or after 0x7FFFFFFF.
    if (failed || value < 0 || value > 0x7FFFFFFF) {
        *tm = saved;
        return -1;
    }
    return static_cast<ox_time64_t>(value);
}

ox_time32_t ox_mktime2(struct tm *tm) { return static_cast<ox_time32_t>(ox_mktime(tm)); }

}  // extern "C"
