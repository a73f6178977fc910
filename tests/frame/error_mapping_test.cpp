// The mapping tables between native codes and portable codes: hand-picked
// rows, the deliberate irregularities, and properties over whole ranges
// (round trips, how many values each table maps, nothing maps to
// EWOULDBLOCK).
#include <gtest/gtest.h>
#include <netdb.h>

#include <cerrno>
#include <map>
#include <set>

#include "cairn/frame.h"

namespace {

// How many values of 0..limit a mapping does not read as unknown.
template <typename T, typename F>
int mapped_count(T limit, F map)
{
    int n = 0;
    for (T value = 0; value <= limit; ++value)
        n += map(value) != OX_EUNKNOWN;
    return n;
}

TEST(ErrorMapping, CodesAndErrnoRoundTrip)
{
    EXPECT_EQ(OX_ERROR_CODE_COUNT, 86);
    struct Row {
        int code, to_errno;
    };
    for (Row r : {Row{OX_SUCCESS, 0},
                  {OX_EUNKNOWN, 0},
                  {OX_ENULL, 0},
                  {3, E2BIG},
                  {4, EACCES},
                  {OX_EHOSTNOTFOUND, 0},
                  {OX_EINVAL, EINVAL},
                  {OX_ENORECOVERY, 0},
                  {OX_ENOENT, ENOENT},
                  {OX_ETIMEDOUT, ETIMEDOUT},
                  {84, EXDEV},
                  {OX_EPRIVATE, 0}})
        EXPECT_EQ(ox_error_to_errno(r.code), r.to_errno) << "code " << r.code;
    // Exactly these codes have no errno; every other one maps back to
    // itself, but for EALREADY, whose errno belongs to EINPROGRESS.
    const std::set<int> no_errno = {0, 1, 2, 13, 25, 39, 45, 67, 76, 83, 85};
    for (int code = 0; code < OX_ERROR_CODE_COUNT; ++code) {
        int e = ox_error_to_errno(code);
        EXPECT_EQ(e == 0, no_errno.count(code) == 1) << "code " << code;
        if (e != 0) {
            EXPECT_EQ(ox_error_from_errno(e), code == OX_EALREADY ? OX_EINPROGRESS : code) << code;
        }
    }
    for (int code : {-1, 86, 1000})
        EXPECT_EQ(ox_error_to_errno(code), 0) << code;

    EXPECT_EQ(mapped_count(400, ox_error_from_errno), 77);
    for (int e = 1; e <= 400; ++e) {
        int code = ox_error_from_errno(e);
        if (code != OX_EUNKNOWN && e != EALREADY && e != OX_ERRNO_PRIVATE) {
            EXPECT_EQ(ox_error_to_errno(code), e) << "errno " << e;
        }
    }
    EXPECT_EQ(ox_error_from_errno(0), OX_SUCCESS);
    EXPECT_EQ(ox_error_from_errno(-1), OX_EUNKNOWN);
    EXPECT_EQ(ox_error_from_errno(OX_ERRNO_PRIVATE), OX_EPRIVATE);
    EXPECT_EQ(ox_error_from_errno(EALREADY), OX_EINPROGRESS);
    EXPECT_EQ(ox_error_to_errno(OX_EALREADY), EINPROGRESS);
    // Aliases of the platform: EWOULDBLOCK is EAGAIN, EOPNOTSUPP is ENOTSUP.
    EXPECT_EQ(ox_error_from_errno(EWOULDBLOCK), OX_EAGAIN);
    EXPECT_EQ(ox_error_from_errno(EOPNOTSUPP), OX_ENOTSUP);
}

TEST(ErrorMapping, Win32AndWinsockRowsAndCounts)
{
    struct Row {
        uint32_t native;
        int code;
    };
    const Row win32[] = {
        {0, OX_SUCCESS},
        {1, OX_EINVAL},
        {5, OX_EACCES},
        {10, OX_E2BIG},
        {19, OX_EPERM},
        {23, OX_EUNKNOWN},
        {25, OX_ESPIPE},
        {288, OX_EPERM},
        {1460, OX_ETIME},
        {1816, OX_ENOMEM},
        {1817, OX_EUNKNOWN},
        {99999, OX_EUNKNOWN},
        {0xFFFFFFFFu, OX_EUNKNOWN},
    };
    for (Row r : win32)
        EXPECT_EQ(ox_error_from_win32(r.native), r.code) << "win32 " << r.native;
    const Row winsock[] = {
        {0, OX_SUCCESS},         {6, OX_EBADF},           {7, OX_EUNKNOWN},
        {10035, OX_EAGAIN},      {10036, OX_EINPROGRESS}, {10037, OX_EALREADY},
        {10091, OX_EAGAIN},      {10092, OX_ENOTSUP},     {11001, OX_EHOSTNOTFOUND},
        {11003, OX_ENORECOVERY}, {11004, OX_ENODATA},     {11005, OX_EUNKNOWN},
    };
    for (Row r : winsock)
        EXPECT_EQ(ox_error_from_winsock(r.native), r.code) << "winsock " << r.native;
    EXPECT_EQ(mapped_count(20000u, ox_error_from_win32), 87);
    EXPECT_EQ(mapped_count(20000u, ox_error_from_winsock), 47);
    for (uint32_t v = 0; v <= 20000; ++v) {
        ASSERT_EQ(ox_error_from_native(v, OX_ERRKIND_WIN32), ox_error_from_win32(v)) << v;
        ASSERT_EQ(ox_error_from_native(v, OX_ERRKIND_WINSOCK), ox_error_from_winsock(v)) << v;
        if (v <= 400) {
            ASSERT_EQ(ox_error_from_native(v, OX_ERRKIND_ERRNO),
                      ox_error_from_errno(static_cast<int>(v)));
        }
        // No mapping ever produces EWOULDBLOCK.
        for (int kind = 1; kind <= 5; ++kind)
            ASSERT_NE(ox_error_from_native(v, kind), OX_EWOULDBLOCK) << v;
    }
    // Shadow-copy errors and unknown kinds always read 1.
    for (uint32_t v : {0u, 5u, 0x80042301u})
        EXPECT_EQ(ox_error_from_native(v, OX_ERRKIND_VSS), OX_EUNKNOWN);
    EXPECT_EQ(ox_error_from_native(0, 0), OX_EUNKNOWN);
    EXPECT_EQ(ox_error_from_native(0, 6), OX_EUNKNOWN);
}

TEST(ErrorMapping, FromResolverByMeaning)
{
    const std::map<int, int> expected = {
        {EAI_FAMILY, OX_EAFNOSUPPORT}, {EAI_AGAIN, OX_EAGAIN},
        {EAI_BADFLAGS, OX_EINVAL},     {EAI_SERVICE, OX_EINVAL},
        {EAI_NONAME, OX_EINVAL},       {EAI_FAIL, OX_ENORECOVERY},
        {EAI_MEMORY, OX_ENOMEM},       {EAI_SOCKTYPE, OX_ESOCKTNOSUPPORT},
        {EAI_NODATA, OX_EINVAL},       {EAI_ADDRFAMILY, OX_EAFNOSUPPORT},
    };
    // Success of the resolver (0) is not success of the library.
    for (int eai = -200; eai <= 200; ++eai) {
        auto it = expected.find(eai);
        int want = it == expected.end() ? OX_EUNKNOWN : it->second;
        EXPECT_EQ(ox_error_from_resolver(eai), want) << "EAI " << eai;
        EXPECT_EQ(ox_error_from_native(static_cast<uint32_t>(eai), OX_ERRKIND_RESOLVER), want);
    }
}

TEST(ErrorMapping, ErrnoFromWin32StoresTheWin32Code)
{
    EXPECT_EQ(ox_errno_from_win32(5), EACCES);
    int kind = 0;
    EXPECT_EQ(ox_error_get_last_native(&kind), 5u);
    EXPECT_EQ(kind, OX_ERRKIND_WIN32);
    EXPECT_EQ(ox_error_get_last(), OX_EACCES);
    EXPECT_EQ(ox_errno_from_win32(99999), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EUNKNOWN);
}

}  // namespace
