// Skipping a test for want of something the machine lacks (a locale, a
// namespace): outside CI a skip with the reason; in CI (CI=true), where
// tools/run installs everything the tests need, a failure.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace cairn::testing {

inline bool running_in_ci()
{
    const char *ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

}  // namespace cairn::testing

// Skips with `why` (anything streamable), or fails with it in CI.
#define CAIRN_SKIP_UNLESS_CI(why)                                                                  \
    do {                                                                                           \
        if (::cairn::testing::running_in_ci())                                                     \
            GTEST_FAIL() << "missing in CI: " << why;                                              \
        else                                                                                       \
            GTEST_SKIP() << why;                                                                   \
    } while (0)
