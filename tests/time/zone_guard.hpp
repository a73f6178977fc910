// Switch the process's local time zone for the length of a scope.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace cairn::testing {

class ZoneGuard {
public:
    explicit ZoneGuard(const char *zone)
    {
        if (const char *old = std::getenv("TZ"))
            saved_ = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneGuard()
    {
        if (saved_)
            setenv("TZ", saved_->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    ZoneGuard(const ZoneGuard &) = delete;
    ZoneGuard &operator=(const ZoneGuard &) = delete;

private:
    std::optional<std::string> saved_;
};

// Seconds east of UTC of the local zone at `when`.
inline long east_offset_at(std::time_t when)
{
    std::tm local{};
    localtime_r(&when, &local);
    return local.tm_gmtoff;
}

// The zones the time tests run under: no offset, whole-hour daylight time,
// a half-hour offset without daylight time, and a half-hour daylight shift.
inline const char *const kTestZones[] = {"UTC", "America/New_York", "Asia/Kolkata",
                                         "Australia/Lord_Howe"};

// Test name suffix for a zone parameter: "America/New_York" -> "America_New_York".
inline std::string zone_test_name(const ::testing::TestParamInfo<const char *> &param_info)
{
    std::string name = param_info.param;
    for (char &c : name)
        if (c == '/')
            c = '_';
    return name;
}

// Two fixed "present moments": northern winter (daylight time in Lord Howe)
// and northern summer (daylight time in New York).
constexpr std::time_t kJanuaryNow = 1610712000;      // 2021-01-15T12:00:00Z
constexpr std::time_t kJulyNow = 1626350400;         // 2021-07-15T12:00:00Z
constexpr std::int64_t kJune21At10Utc = 1624269600;  // 2021-06-21T10:00:00Z

}  // namespace cairn::testing
