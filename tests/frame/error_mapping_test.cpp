// The mapping tables between native codes and portable codes, checked as
// data: every listed value, and every value not listed reads 1.
#include <gtest/gtest.h>
#include <netdb.h>

#include <cerrno>
#include <map>
#include <set>
#include <vector>

#include "cairn/frame.h"

namespace {

struct Row {
    int code;
    int to_errno;
    std::vector<int> from_errno;
    std::vector<uint32_t> from_win32;
    std::vector<uint32_t> from_winsock;
};

// The complete table, written out independently of the library's own.
const std::vector<Row> &table()
{
    static const std::vector<Row> rows = {
        {0, 0, {0}, {0}, {0}},
        {1, 0, {}, {}, {}},
        {2, 0, {}, {}, {}},
        {3, E2BIG, {E2BIG}, {10}, {}},
        {4,
         EACCES,
         {EACCES},
         {5, 16, 33, 65, 82, 83, 108, 110, 132, 158, 167, 1307, 1326},
         {10013}},
        {5, EADDRINUSE, {EADDRINUSE}, {}, {10048}},
        {6, EADDRNOTAVAIL, {EADDRNOTAVAIL}, {}, {10049}},
        {7, EAFNOSUPPORT, {EAFNOSUPPORT}, {}, {10047}},
        {8, EAGAIN, {EAGAIN}, {21, 32, 89, 164, 215, 1237}, {10035, 10091, 11002}},
        {9, EINPROGRESS, {}, {}, {10037}},
        {10, EBADF, {EBADF}, {114, 130}, {6}},
        {11, EBADMSG, {EBADMSG}, {}, {}},
        {12, EBUSY, {EBUSY}, {54, 148, 170, 231}, {10058, 10067}},
        {13, 0, {}, {}, {}},
        {14, ECHILD, {ECHILD}, {128, 129}, {}},
        {15, ECONNABORTED, {ECONNABORTED}, {}, {10053}},
        {16, ECONNREFUSED, {ECONNREFUSED}, {}, {10061}},
        {17, ECONNRESET, {ECONNRESET}, {}, {10054}},
        {18, EDEADLK, {EDEADLK}, {1131}, {}},
        {19, EDESTADDRREQ, {EDESTADDRREQ}, {}, {10039}},
        {20, EDOM, {EDOM}, {}, {}},
        {21, EDQUOT, {EDQUOT}, {}, {}},
        {22, EEXIST, {EEXIST}, {80, 183}, {}},
        {23, EFAULT, {EFAULT}, {}, {10014}},
        {24, EFBIG, {EFBIG}, {}, {}},
        {25, 0, {}, {}, {11001}},
        {26, EHOSTUNREACH, {EHOSTUNREACH}, {}, {10064, 10065}},
        {27, EIDRM, {EIDRM}, {}, {}},
        {28, EILSEQ, {EILSEQ}, {}, {}},
        {29, EINPROGRESS, {EALREADY, EINPROGRESS}, {}, {10036}},
        {30, EINTR, {EINTR}, {}, {10004}},
        {31,
         EINVAL,
         {EINVAL},
         {1, 6, 12, 13, 22, 66, 87, 131, 160, 230, 267, 1004, 1200},
         {87, 10022}},
        {32, EIO, {EIO}, {26, 27, 29, 30, 31, 88, 1127}, {}},
        {33, EISCONN, {EISCONN}, {}, {10056}},
        {34, EISDIR, {EISDIR}, {}, {}},
        {35, ELOOP, {ELOOP}, {}, {10062}},
        {36, EMFILE, {EMFILE}, {4, 36}, {10024}},
        {37, EMLINK, {EMLINK}, {1142}, {}},
        {38, EMSGSIZE, {EMSGSIZE}, {}, {10040}},
        {39, 0, {}, {}, {}},
        {40, ENAMETOOLONG, {ENAMETOOLONG}, {206}, {10063}},
        {41, ENETDOWN, {ENETDOWN}, {}, {10050}},
        {42, ENETRESET, {ENETRESET}, {}, {10052}},
        {43, ENETUNREACH, {ENETUNREACH}, {}, {10051}},
        {44, ENFILE, {ENFILE}, {}, {}},
        {45, 0, {}, {}, {11003}},
        {46, ENOBUFS, {ENOBUFS}, {}, {10055}},
        {47, ENODATA, {ENODATA}, {}, {11004}},
        {48, ENODEV, {ENODEV}, {20, 55}, {}},
        {49, ENOENT, {ENOENT}, {2, 3, 15, 18, 51, 53, 67, 161}, {}},
        {50, ENOEXEC, {ENOEXEC}, {11}, {}},
        {51, ENOLCK, {ENOLCK}, {}, {}},
        {52, ENOLINK, {ENOLINK}, {}, {}},
        {53, ENOMEM, {ENOMEM}, {7, 8, 9, 14, 84, 1816}, {8}},
        {54, ENOMSG, {ENOMSG}, {}, {}},
        {55, ENOPROTOOPT, {ENOPROTOOPT}, {}, {10042}},
        {56, ENOSPC, {ENOSPC}, {39, 112}, {}},
        {57, ENOSR, {ENOSR}, {}, {}},
        {58, ENOSTR, {ENOSTR}, {}, {}},
        {59, ENOSYS, {ENOSYS}, {120}, {}},
        {60, ENOTCONN, {ENOTCONN}, {}, {10057}},
        {61, ENOTDIR, {ENOTDIR}, {}, {}},
        {62, ENOTEMPTY, {ENOTEMPTY}, {145}, {10066}},
        {63, ENOTSOCK, {ENOTSOCK}, {}, {10038}},
        {64, ENOTSUP, {ENOTSUP}, {50}, {10044, 10045, 10092}},
        {65, ENOTTY, {ENOTTY}, {}, {}},
        {66, ENXIO, {ENXIO}, {}, {}},
        {67, 0, {}, {}, {}},
        {68, EOVERFLOW, {EOVERFLOW}, {111}, {}},
        {69, EPERM, {EPERM}, {19, 288}, {}},
        {70, EPIPE, {EPIPE}, {109}, {}},
        {71, EPROTO, {EPROTO}, {}, {}},
        {72, EPROTONOSUPPORT, {EPROTONOSUPPORT}, {}, {10043, 10046}},
        {73, EPROTOTYPE, {EPROTOTYPE}, {}, {10041}},
        {74, ERANGE, {ERANGE}, {234}, {}},
        {75, EROFS, {EROFS}, {}, {}},
        {76, 0, {}, {}, {}},
        {77, ESPIPE, {ESPIPE}, {25}, {}},
        {78, ESRCH, {ESRCH}, {}, {}},
        {79, ESTALE, {ESTALE}, {}, {}},
        {80, ETIME, {ETIME}, {1460}, {}},
        {81, ETIMEDOUT, {ETIMEDOUT}, {258}, {10060}},
        {82, ETXTBSY, {ETXTBSY}, {}, {}},
        {83, 0, {}, {}, {}},
        {84, EXDEV, {EXDEV}, {17}, {}},
        {85, 0, {OX_ERRNO_PRIVATE}, {}, {}},
    };
    return rows;
}

template <typename T, typename F>
void check_column(const char *column, T limit, F map, std::vector<T> Row::*listed)
{
    std::map<T, int> expected;
    for (const Row &row : table())
        for (T value : row.*listed)
            expected[value] = row.code;
    for (T value = 0; value <= limit; ++value) {
        auto it = expected.find(value);
        int want = it == expected.end() ? OX_EUNKNOWN : it->second;
        EXPECT_EQ(map(value), want) << column << " value " << value;
    }
}

TEST(ErrorMapping, EveryCodeHasItsConstantAndErrno)
{
    ASSERT_EQ(table().size(), static_cast<size_t>(OX_ERROR_CODE_COUNT));
    for (const Row &row : table())
        EXPECT_EQ(ox_error_to_errno(row.code), row.to_errno) << "code " << row.code;
    EXPECT_EQ(OX_SUCCESS, 0);
    EXPECT_EQ(OX_EUNKNOWN, 1);
    EXPECT_EQ(OX_ENULL, 2);
    EXPECT_EQ(OX_EHOSTNOTFOUND, 25);
    EXPECT_EQ(OX_EINVAL, 31);
    EXPECT_EQ(OX_ENORECOVERY, 45);
    EXPECT_EQ(OX_ENOENT, 49);
    EXPECT_EQ(OX_ETIMEDOUT, 81);
    EXPECT_EQ(OX_EPRIVATE, 85);
    for (int code : {-1, 86, 1000})
        EXPECT_EQ(ox_error_to_errno(code), 0) << code;
}

TEST(ErrorMapping, FromErrnoByName)
{
    check_column<int>("errno", 400, ox_error_from_errno, &Row::from_errno);
    EXPECT_EQ(ox_error_from_errno(-1), OX_EUNKNOWN);
    // Aliases of the platform: EWOULDBLOCK is EAGAIN, EOPNOTSUPP is ENOTSUP.
    EXPECT_EQ(ox_error_from_errno(EWOULDBLOCK), OX_EAGAIN);
    EXPECT_EQ(ox_error_from_errno(EOPNOTSUPP), OX_ENOTSUP);
}

TEST(ErrorMapping, FromWin32)
{
    check_column<uint32_t>("win32", 20000, ox_error_from_win32, &Row::from_win32);
    EXPECT_EQ(ox_error_from_win32(5), OX_EACCES);
    EXPECT_EQ(ox_error_from_win32(1460), OX_ETIME);
    EXPECT_EQ(ox_error_from_win32(99999), OX_EUNKNOWN);
    EXPECT_EQ(ox_error_from_win32(0xFFFFFFFFu), OX_EUNKNOWN);
}

TEST(ErrorMapping, FromWinsock)
{
    check_column<uint32_t>("winsock", 20000, ox_error_from_winsock, &Row::from_winsock);
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
    for (int eai = -200; eai <= 200; ++eai) {
        auto it = expected.find(eai);
        int want = it == expected.end() ? OX_EUNKNOWN : it->second;
        EXPECT_EQ(ox_error_from_resolver(eai), want) << "EAI " << eai;
        EXPECT_EQ(ox_error_from_native(static_cast<uint32_t>(eai), OX_ERRKIND_RESOLVER), want);
    }
    // Success of the resolver is not success of the library.
    EXPECT_EQ(ox_error_from_resolver(0), OX_EUNKNOWN);
}

TEST(ErrorMapping, DeliberateIrregularities)
{
    EXPECT_EQ(ox_error_from_errno(EALREADY), OX_EINPROGRESS);
    EXPECT_EQ(ox_error_to_errno(OX_EALREADY), EINPROGRESS);
    EXPECT_EQ(ox_error_from_win32(19), OX_EPERM);
    EXPECT_EQ(ox_error_from_win32(288), OX_EPERM);
    EXPECT_EQ(ox_error_from_win32(0), OX_SUCCESS);
    EXPECT_EQ(ox_error_from_winsock(0), OX_SUCCESS);
    EXPECT_EQ(ox_error_from_winsock(10035), OX_EAGAIN);
    EXPECT_EQ(ox_error_from_winsock(10091), OX_EAGAIN);
    // Winsock's host-not-found is 25, the resolver's no-name is 31.
    EXPECT_EQ(ox_error_from_winsock(11001), OX_EHOSTNOTFOUND);
    EXPECT_EQ(ox_error_from_resolver(EAI_NONAME), OX_EINVAL);
    // No mapping ever produces EWOULDBLOCK.
    for (uint32_t v = 0; v <= 20000; ++v)
        for (int kind = 1; kind <= 5; ++kind)
            ASSERT_NE(ox_error_from_native(v, kind), OX_EWOULDBLOCK) << v;
    for (int eai = -200; eai < 0; ++eai)
        ASSERT_NE(ox_error_from_resolver(eai), OX_EWOULDBLOCK);
    for (int code : {13, 39, 67, 83})
        EXPECT_EQ(ox_error_to_errno(code), 0) << code;
    // Shadow-copy errors and unknown kinds always read 1.
    for (uint32_t v : {0u, 5u, 0x80042301u})
        EXPECT_EQ(ox_error_from_native(v, OX_ERRKIND_VSS), OX_EUNKNOWN);
    EXPECT_EQ(ox_error_from_native(0, 0), OX_EUNKNOWN);
    EXPECT_EQ(ox_error_from_native(0, 6), OX_EUNKNOWN);
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
