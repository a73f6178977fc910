#include "frame/error_mapping.hpp"

#include <netdb.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "cairn/frame.h"

namespace cairn {
namespace {

constexpr int kMaxErrno = OX_ERRNO_PRIVATE;

struct Pair {
    uint32_t native;
    uint8_t portable;
};

// errno -> portable code, built from the one code table.  EALREADY is the
// one errno that maps to another code's entry (29) than its own name (9).
constexpr std::array<uint8_t, kMaxErrno + 1> build_errno_table()
{
    std::array<uint8_t, kMaxErrno + 1> t{};
    for (auto &v : t)
        v = OX_EUNKNOWN;
#define OX_FROM_ERRNO_(code, name, to_errno, from_errno)                                           \
    if ((from_errno) != 0)                                                                         \
        t[from_errno] = code;
    OX_ERROR_TABLE(OX_FROM_ERRNO_)
#undef OX_FROM_ERRNO_
    t[0] = OX_SUCCESS;
    t[EALREADY] = OX_EINPROGRESS;
    return t;
}
constexpr auto kFromErrno = build_errno_table();

constexpr std::array<uint8_t, OX_ERROR_CODE_COUNT> build_to_errno_table()
{
    std::array<uint8_t, OX_ERROR_CODE_COUNT> t{};
#define OX_TO_ERRNO_(code, name, to_errno, from_errno) t[code] = to_errno;
    OX_ERROR_TABLE(OX_TO_ERRNO_)
#undef OX_TO_ERRNO_
    return t;
}
constexpr auto kToErrno = build_to_errno_table();

// Win32 system error codes, ascending.
constexpr Pair kFromWin32[] = {
    {0, OX_SUCCESS},     {1, OX_EINVAL},         {2, OX_ENOENT},      {3, OX_ENOENT},
    {4, OX_EMFILE},      {5, OX_EACCES},         {6, OX_EINVAL},      {7, OX_ENOMEM},
    {8, OX_ENOMEM},      {9, OX_ENOMEM},         {10, OX_E2BIG},      {11, OX_ENOEXEC},
    {12, OX_EINVAL},     {13, OX_EINVAL},        {14, OX_ENOMEM},     {15, OX_ENOENT},
    {16, OX_EACCES},     {17, OX_EXDEV},         {18, OX_ENOENT},     {19, OX_EPERM},
    {20, OX_ENODEV},     {21, OX_EAGAIN},        {22, OX_EINVAL},     {25, OX_ESPIPE},
    {26, OX_EIO},        {27, OX_EIO},           {29, OX_EIO},        {30, OX_EIO},
    {31, OX_EIO},        {32, OX_EAGAIN},        {33, OX_EACCES},     {36, OX_EMFILE},
    {39, OX_ENOSPC},     {50, OX_ENOTSUP},       {51, OX_ENOENT},     {53, OX_ENOENT},
    {54, OX_EBUSY},      {55, OX_ENODEV},        {65, OX_EACCES},     {66, OX_EINVAL},
    {67, OX_ENOENT},     {80, OX_EEXIST},        {82, OX_EACCES},     {83, OX_EACCES},
    {84, OX_ENOMEM},     {87, OX_EINVAL},        {88, OX_EIO},        {89, OX_EAGAIN},
    {108, OX_EACCES},    {109, OX_EPIPE},        {110, OX_EACCES},    {111, OX_EOVERFLOW},
    {112, OX_ENOSPC},    {114, OX_EBADF},        {120, OX_ENOSYS},    {128, OX_ECHILD},
    {129, OX_ECHILD},    {130, OX_EBADF},        {131, OX_EINVAL},    {132, OX_EACCES},
    {145, OX_ENOTEMPTY}, {148, OX_EBUSY},        {158, OX_EACCES},    {160, OX_EINVAL},
    {161, OX_ENOENT},    {164, OX_EAGAIN},       {167, OX_EACCES},    {170, OX_EBUSY},
    {183, OX_EEXIST},    {206, OX_ENAMETOOLONG}, {215, OX_EAGAIN},    {230, OX_EINVAL},
    {231, OX_EBUSY},     {234, OX_ERANGE},       {258, OX_ETIMEDOUT}, {267, OX_EINVAL},
    {288, OX_EPERM},     {1004, OX_EINVAL},      {1127, OX_EIO},      {1131, OX_EDEADLK},
    {1142, OX_EMLINK},   {1200, OX_EINVAL},      {1237, OX_EAGAIN},   {1307, OX_EACCES},
    {1326, OX_EACCES},   {1460, OX_ETIME},       {1816, OX_ENOMEM},
};

// Winsock error codes, ascending.
constexpr Pair kFromWinsock[] = {
    {0, OX_SUCCESS},
    {6, OX_EBADF},
    {8, OX_ENOMEM},
    {87, OX_EINVAL},
    {10004, OX_EINTR},
    {10013, OX_EACCES},
    {10014, OX_EFAULT},
    {10022, OX_EINVAL},
    {10024, OX_EMFILE},
    {10035, OX_EAGAIN},
    {10036, OX_EINPROGRESS},
    {10037, OX_EALREADY},
    {10038, OX_ENOTSOCK},
    {10039, OX_EDESTADDRREQ},
    {10040, OX_EMSGSIZE},
    {10041, OX_EPROTOTYPE},
    {10042, OX_ENOPROTOOPT},
    {10043, OX_EPROTONOSUPPORT},
    {10044, OX_ENOTSUP},
    {10045, OX_ENOTSUP},
    {10046, OX_EPROTONOSUPPORT},
    {10047, OX_EAFNOSUPPORT},
    {10048, OX_EADDRINUSE},
    {10049, OX_EADDRNOTAVAIL},
    {10050, OX_ENETDOWN},
    {10051, OX_ENETUNREACH},
    {10052, OX_ENETRESET},
    {10053, OX_ECONNABORTED},
    {10054, OX_ECONNRESET},
    {10055, OX_ENOBUFS},
    {10056, OX_EISCONN},
    {10057, OX_ENOTCONN},
    {10058, OX_EBUSY},
    {10060, OX_ETIMEDOUT},
    {10061, OX_ECONNREFUSED},
    {10062, OX_ELOOP},
    {10063, OX_ENAMETOOLONG},
    {10064, OX_EHOSTUNREACH},
    {10065, OX_EHOSTUNREACH},
    {10066, OX_ENOTEMPTY},
    {10067, OX_EBUSY},
    {10091, OX_EAGAIN},
    {10092, OX_ENOTSUP},
    {11001, OX_EHOSTNOTFOUND},
    {11002, OX_EAGAIN},
    {11003, OX_ENORECOVERY},
    {11004, OX_ENODATA},
};

// getaddrinfo() results, mapped by meaning.  Success (0) is deliberately
// not listed: a resolver code of 0 reads as unknown.
struct ResolverPair {
    int eai;
    uint8_t portable;
};
constexpr ResolverPair kFromResolver[] = {
    {EAI_FAMILY, OX_EAFNOSUPPORT},
    {EAI_AGAIN, OX_EAGAIN},
    {EAI_BADFLAGS, OX_EINVAL},
    {EAI_SERVICE, OX_EINVAL},
    {EAI_NONAME, OX_EINVAL},
    {EAI_FAIL, OX_ENORECOVERY},
    {EAI_MEMORY, OX_ENOMEM},
    {EAI_SOCKTYPE, OX_ESOCKTNOSUPPORT},
    // Linux codes without a number of their own on the reference platform,
    // read as the code that stands for them there: no data is no name, a
    // family without addresses an unsupported family.
    {EAI_NODATA, OX_EINVAL},
    {EAI_ADDRFAMILY, OX_EAFNOSUPPORT},
};

// Networking errno values and the Winsock code under which messages report
// them.  Names whose code is 0 are networking values without a Winsock
// counterpart; they report as Winsock 0.
struct ErrnoWinsock {
    int err;
    uint32_t wsa;
};
constexpr ErrnoWinsock kErrnoWinsock[] = {
    {EADDRINUSE, 10048},
    {EADDRNOTAVAIL, 10049},
    {EAFNOSUPPORT, 10047},
    {EALREADY, 10037},
    {EBADMSG, 0},
    {ECANCELED, 0},
    {ECONNABORTED, 10053},
    {ECONNREFUSED, 10061},
    {ECONNRESET, 10054},
    {EDESTADDRREQ, 10039},
    {EHOSTUNREACH, 10065},
    {EIDRM, 0},
    {EINPROGRESS, 10036},
    {EISCONN, 10056},
    {ELOOP, 10062},
    {EMSGSIZE, 10040},
    {ENETDOWN, 10050},
    {ENETRESET, 10052},
    {ENETUNREACH, 10051},
    {ENOBUFS, 10055},
    {ENODATA, 11004},
    {ENOLINK, 0},
    {ENOMSG, 0},
    {ENOPROTOOPT, 10042},
    {ENOSR, 0},
    {ENOSTR, 0},
    {ENOTCONN, 10057},
    {ENOTRECOVERABLE, 0},
    {ENOTSOCK, 10038},
    {EOPNOTSUPP, 10045},
    {EOVERFLOW, 0},
    {EOWNERDEAD, 0},
    {EPROTO, 0},
    {EPROTONOSUPPORT, 10043},
    {EPROTOTYPE, 10041},
    {ETIME, 0},
    {ETIMEDOUT, 10060},
    {ETXTBSY, 0},
    {ESOCKTNOSUPPORT, 10044},
    {EPFNOSUPPORT, 10046},
    {ESHUTDOWN, 10058},
    {ETOOMANYREFS, 10059},
    {EHOSTDOWN, 10064},
    {EUSERS, 10068},
    {EDQUOT, 10069},
    {ESTALE, 10070},
    {OX_ERRNO_PRIVATE, 10071},
};

// Highest errno the C library knows; values above it (but the private one)
// are treated as unnamed networking values.
constexpr int kLastSystemErrno = EHWPOISON;

template <std::size_t N>
int lookup(const Pair (&table)[N], uint32_t native)
{
    std::size_t lo = 0, hi = N;
    while (lo < hi) {
        std::size_t mid = (lo + hi) / 2;
        if (table[mid].native < native)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo < N && table[lo].native == native ? int{table[lo].portable} : int{OX_EUNKNOWN};
}

const ErrnoWinsock *find_networking_errno(uint32_t err)
{
    for (const auto &row : kErrnoWinsock)
        if (static_cast<uint32_t>(row.err) == err)
            return &row;
    return nullptr;
}

}  // namespace

int portable_from_native(uint32_t code, int kind)
{
    switch (kind) {
    case OX_ERRKIND_ERRNO:
        return code <= kMaxErrno ? int{kFromErrno[code]} : int{OX_EUNKNOWN};
    case OX_ERRKIND_RESOLVER:
        for (const auto &row : kFromResolver)
            if (static_cast<uint32_t>(row.eai) == code)
                return row.portable;
        return OX_EUNKNOWN;
    case OX_ERRKIND_WIN32:
        return lookup(kFromWin32, code);
    case OX_ERRKIND_WINSOCK:
        return lookup(kFromWinsock, code);
    default:
        return OX_EUNKNOWN;
    }
}

int errno_from_portable(int code)
{
    return code >= 0 && code < OX_ERROR_CODE_COUNT ? kToErrno[code] : 0;
}

ErrnoClass classify_errno_for_message(uint32_t err)
{
    if (find_networking_errno(err) != nullptr)
        return ErrnoClass::winsock;
    if (err > static_cast<uint32_t>(kLastSystemErrno))
        return ErrnoClass::winsock;
    return ErrnoClass::runtime;
}

uint32_t winsock_from_errno(int err)
{
    const ErrnoWinsock *row = find_networking_errno(static_cast<uint32_t>(err));
    return row ? row->wsa : 0;
}

}  // namespace cairn
