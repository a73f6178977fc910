// Errors: the thread's last error (per-thread storage, the system message
// table and the message texts with their record rewrites, ox_strerror's save
// and restore, allocation failure); the mapping tables between native codes
// and portable codes (hand-picked rows, the deliberate irregularities, and
// properties over whole ranges: round trips, how many values each table
// maps, nothing maps to EWOULDBLOCK); and errinfo records (the error-type
// registry, composed numbers, the accrued error chain and its limit).
#include <gtest/gtest.h>
#include <netdb.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <thread>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "child_process.hpp"
#include "debug_scope.hpp"
#include "frame/errinfo_state.hpp"
#include "frame/error_types.hpp"
#include "frame/system_messages.hpp"
#include "platform/alloc_testing.hpp"

using cairn::testing::run_in_child;

namespace {

std::string message()
{
    char buf[1024];
    std::memset(buf, 'x', sizeof buf);
    ox_error_get_message(buf, sizeof buf);
    return buf;
}

TEST(LastError, SetGetAndPerThread)
{
    errno = 0;
    EXPECT_EQ(ox_error_set_last(2, OX_ERRKIND_ERRNO), OX_ENOENT);
    EXPECT_EQ(errno, 2);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);

    // Other kinds leave errno alone; a new thread starts with success.
    int seen_in_new_thread = -1, seen_after_set = -1, kind_in_new_thread = -1, kind = -1;
    std::thread other([&] {
        seen_in_new_thread = ox_error_get_last();
        ox_error_get_last_native(&kind_in_new_thread);
        errno = 7;
        ox_error_set_last(258, OX_ERRKIND_WIN32);
        seen_after_set = errno == 7 ? ox_error_get_last() : -2;
        ox_error_get_last_native(&kind);
    });
    other.join();
    EXPECT_EQ(seen_in_new_thread, OX_SUCCESS);
    EXPECT_EQ(kind_in_new_thread, OX_ERRKIND_ERRNO);
    EXPECT_EQ(seen_after_set, OX_ETIMEDOUT);
    EXPECT_EQ(kind, OX_ERRKIND_WIN32);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);
}

TEST(LastError, MessagesByKindNetworkingRewriteAndBufferBounds)
{
    const std::tuple<uint32_t, int, std::string> cases[] = {
        {ENOENT, OX_ERRKIND_ERRNO, std::strerror(ENOENT)},
        // Win32 texts lose their line break and carry the code in hexadecimal.
        {2, OX_ERRKIND_WIN32, "The system cannot find the file specified. (Win32 error 0x2)"},
        {122, OX_ERRKIND_WIN32,
         "The data area passed to a system call is too small. (Win32 error 0x7a)"},
        {1460, OX_ERRKIND_WIN32,
         "This operation returned because the timeout period expired. (Win32 error 0x5b4)"},
        // Winsock texts are kept as the system gives them.
        {10061, OX_ERRKIND_WINSOCK,
         "No connection could be made because the target machine actively refused it.\r\n"},
        {static_cast<uint32_t>(EAI_NONAME), OX_ERRKIND_RESOLVER, gai_strerror(EAI_NONAME)},
        {1300, OX_ERRKIND_WIN32, "Unknown error"},
        {99999, OX_ERRKIND_WIN32, "Unknown error"},
        {99999, OX_ERRKIND_WINSOCK, "Unknown error"},
        {0x80042301u, OX_ERRKIND_VSS, "Unknown error"},
        {1, 0, "Unknown error"},
        {1, 17, "Unknown error"},
    };
    for (const auto &[code, kind, text] : cases) {
        ox_error_set_last(code, kind);
        EXPECT_EQ(message(), text) << code << " kind " << kind;
    }

    // A networking errno is rewritten to Winsock.
    ox_error_set_last(ENODATA, OX_ERRKIND_ERRNO);
    // Kind 4 keeps the system's text as it is, line end included.
    EXPECT_EQ(message(),
              "The requested name is valid, but no data of the requested type was found.\r\n");
    int kind = 0;
    EXPECT_EQ(ox_error_get_last_native(&kind), 11004u);
    EXPECT_EQ(kind, OX_ERRKIND_WINSOCK);
    EXPECT_EQ(ox_error_get_last(), OX_ENODATA);

    // The private errno is reported as Winsock 10071.
    ox_error_set_last(OX_ERRNO_PRIVATE, OX_ERRKIND_ERRNO);
    message();
    EXPECT_EQ(ox_error_get_last_native(&kind), 10071u);

    // A networking errno without a Winsock counterpart reads as Winsock 0.
    ox_error_set_last(EPROTO, OX_ERRKIND_ERRNO);
    EXPECT_EQ(message(), "The operation completed successfully.\r\n");
    EXPECT_EQ(ox_error_get_last_native(&kind), 0u);
    EXPECT_EQ(kind, OX_ERRKIND_WINSOCK);

    // The message buffer's bounds.
    ox_error_set_last(5, OX_ERRKIND_WIN32);
    ox_error_get_message(nullptr, 100);  // must not crash

    char buf[8];
    std::memset(buf, 'x', sizeof buf);
    ox_error_get_message(buf, 0);
    EXPECT_EQ(buf[0], 'x');
    ox_error_get_message(buf, -5);
    EXPECT_EQ(buf[0], 'x');
    ox_error_get_message(buf, 1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], 'x');
    ox_error_get_message(buf, 6);
    EXPECT_STREQ(buf, "Acces");
    EXPECT_EQ(buf[6], 'x');
}

TEST(LastError, StrerrorLeavesItAloneRecordAllocationFailureLeavesNone)
{
    ox_error_set_last(10060, OX_ERRKIND_WINSOCK);
    errno = EDOM;
    const char *text = ox_strerror(0x10000005u);
    EXPECT_STREQ(text, "Access is denied. (Win32 error 0x5)");
    EXPECT_EQ(errno, EDOM);
    int kind = 0;
    EXPECT_EQ(ox_error_get_last_native(&kind), 10060u);
    EXPECT_EQ(kind, OX_ERRKIND_WINSOCK);

    // Also when the saved error was an errno value: errno is still restored.
    ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    errno = ERANGE;
    EXPECT_STREQ(ox_strerror(EACCES), std::strerror(EACCES));
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);

    // The text lives in the thread's buffer until the next call.
    const char *first = ox_strerror(EPERM);
    const char *second = ox_strerror(EINVAL);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(second, std::strerror(EINVAL));

    // A failed allocation of the record leaves no last error.
    int before = -1, after = -1;
    std::thread fresh([&] {
        // The thread's library record is made first; the error record is
        // the allocation after it.
        cairn::testing::alloc_fail_at(2);
        before = ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
        cairn::testing::alloc_fail_at(0);
        after = ox_error_get_last();
    });
    fresh.join();
    EXPECT_EQ(before, OX_ENOENT);  // the mapping never fails
    EXPECT_EQ(after, OX_SUCCESS);  // but nothing was stored

    auto result = cairn::testing::run_in_child([] {
        std::thread doomed([] {
            cairn::testing::alloc_fail_at(1, true);
            ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
        });
        doomed.join();
    });
    EXPECT_EQ(result.signal, SIGTERM) << "failing to make the thread's record stops the process";
}

// Well-known codes byte for byte as the platform documents them, and
// properties of the whole table.
TEST(SystemMessages, WellKnownCodesAndTheWholeTable)
{
    const std::pair<uint32_t, const char *> samples[] = {
        {0, "The operation completed successfully.\r\n"},
        {5, "Access is denied.\r\n"},
        {193, "%1 is not a valid Win32 application.\r\n"},
        {1299,
         "Indicates a particular Security ID may not be assigned as the label of an object.\r\n"},
        {10054, "An existing connection was forcibly closed by the remote host.\r\n"},
        {11001, "No such host is known.\r\n"},
    };
    for (auto [code, want] : samples) {
        const char *text = cairn::system_message_text(code);
        ASSERT_NE(text, nullptr) << code;
        EXPECT_STREQ(text, want) << code;
    }
    // Codes the platform does not define have no text.
    for (uint32_t code : {35u, 1300u, 0xFFFFFFFFu})
        EXPECT_EQ(cairn::system_message_text(code), nullptr) << code;

    std::size_t count = 0;
    const cairn::SystemMessageRow *rows = cairn::system_message_rows(&count);
    std::size_t below_1300 = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) {
            EXPECT_LT(rows[i - 1].code, rows[i].code) << "row " << i;
        }
        ASSERT_NE(rows[i].text, nullptr) << rows[i].code;
        std::size_t n = std::strlen(rows[i].text);
        EXPECT_GT(n, 2u) << rows[i].code;
        // One line: only the final line break.
        EXPECT_EQ(std::strpbrk(rows[i].text, "\r\n"), rows[i].text + n - 2) << rows[i].code;
        below_1300 += rows[i].code < 1300;
        EXPECT_EQ(cairn::system_message_text(rows[i].code), rows[i].text);
    }
    EXPECT_EQ(below_1300, 733u);
    // Every code a mapping knows has a text.
    for (uint32_t code = 0; code <= 20000; ++code) {
        if (ox_error_from_win32(code) != OX_EUNKNOWN ||
            ox_error_from_winsock(code) != OX_EUNKNOWN) {
            EXPECT_NE(cairn::system_message_text(code), nullptr) << code;
        }
    }
}

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
    // Codes with an errno: the values themselves (the loop below checks
    // only that they map back).
    const std::pair<int, int> rows[] = {{3, E2BIG},
                                        {4, EACCES},
                                        {OX_EINVAL, EINVAL},
                                        {OX_ENOENT, ENOENT},
                                        {OX_ETIMEDOUT, ETIMEDOUT},
                                        {84, EXDEV}};
    for (auto [code, to_errno] : rows)
        EXPECT_EQ(ox_error_to_errno(code), to_errno) << "code " << code;
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

TEST(ErrorMapping, Win32WinsockAndResolverRowsAndCounts)
{
    const std::pair<uint32_t, int> win32[] = {
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
    for (auto [native, code] : win32)
        EXPECT_EQ(ox_error_from_win32(native), code) << "win32 " << native;
    const std::pair<uint32_t, int> winsock[] = {
        {0, OX_SUCCESS},         {6, OX_EBADF},           {7, OX_EUNKNOWN},
        {10035, OX_EAGAIN},      {10036, OX_EINPROGRESS}, {10037, OX_EALREADY},
        {10091, OX_EAGAIN},      {10092, OX_ENOTSUP},     {11001, OX_EHOSTNOTFOUND},
        {11003, OX_ENORECOVERY}, {11004, OX_ENODATA},     {11005, OX_EUNKNOWN},
    };
    for (auto [native, code] : winsock)
        EXPECT_EQ(ox_error_from_winsock(native), code) << "winsock " << native;
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

    // Resolver codes map by meaning.
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

    // The errno of a Win32 code stores the Win32 code.
    EXPECT_EQ(ox_errno_from_win32(5), EACCES);
    int kind = 0;
    EXPECT_EQ(ox_error_get_last_native(&kind), 5u);
    EXPECT_EQ(kind, OX_ERRKIND_WIN32);
    EXPECT_EQ(ox_error_get_last(), OX_EACCES);
    EXPECT_EQ(ox_errno_from_win32(99999), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EUNKNOWN);
}

struct TypeRow {
    int type;
    const char *name;
    int max_code;
    const char *last_text;  // nullptr: not checked
};

TEST(Errinfo, BuiltInTypesAsDataAndRegistering)
{
    const TypeRow rows[] = {
        {1, "SYSTEM", 1, "Unknown error"},
        {2, "RPC", 29, nullptr},
        {3, "RAP", 33, nullptr},
        {5, "BXR", 1, "Unknown error"},
        {8, "MDB", 1, "Unknown error"},
        {9, "JOBS", 4, nullptr},
        {12, "GSS", 18, "The provided name was not a mechanism name"},
        {13, "SSL", 9, nullptr},
        {14, "OpenSSL", 1, "Unknown error"},
        {15, "BSAFE", 1, "Unknown error"},
        {16, "SSNCHNL", 29, nullptr},
        {18, "SYSTEM", 1, "Unknown error"},
        {19, "SYSTEM_VSS", 1, "Unknown error"},
        {24, "AUTHC", 9, nullptr},
        {25, "MSGBUS", 5, "System error"},
        {27, "SQLITE", 1, "Unknown error"},
    };
    for (const TypeRow &row : rows) {
        EXPECT_STREQ(err_type_name(row.type), row.name);
        auto last = cairn::err_type_lookup(row.type, row.max_code);
        EXPECT_STRNE(last.text, "") << row.name;
        EXPECT_NE(last.severity, 0) << row.name << ": a registered code";
        if (row.last_text != nullptr) {
            EXPECT_STREQ(last.text, row.last_text);
        }
        auto past = cairn::err_type_lookup(row.type, row.max_code + 1);
        EXPECT_STREQ(past.text, "Unknown error") << row.name;
        EXPECT_EQ(past.severity, 0);
    }
    EXPECT_STREQ(cairn::err_type_lookup(2, 0).text, cairn::err_type_lookup(16, 0).text);
    EXPECT_STREQ(cairn::err_type_lookup(9, 2).text, "Unable to find job record");
    EXPECT_STREQ(cairn::err_type_lookup(25, 1).text, "Invalid or NULL session channel");
    EXPECT_STREQ(cairn::err_type_lookup(12, 1).text, "An unsupported mechanism was requested");
    EXPECT_STREQ(cairn::err_type_lookup(12, 2).text, "An invalid name was supplied");
    for (int type : {0, 4, 34, 35, 36, -1})
        EXPECT_STREQ(err_type_name(type), "BXR") << type;
    EXPECT_STREQ(cairn::err_type_lookup(4, 0).text, "Unknown error");
    EXPECT_STREQ(cairn::err_severity_name(5), "critical");
    EXPECT_STREQ(cairn::err_severity_name(6), "info");

    // Registering a type copies, cuts and replaces.
    std::string long_name(200, 'n');
    char first[] = "1234:Disk full";
    const char *texts[] = {"Fine", first, nullptr};
    const int sev[] = {1, 4, 2};
    EXPECT_EQ(err_settype(4, 2, long_name.c_str(), texts, sev), 0);
    const char *before = cairn::err_type_lookup(4, 1).text;
    std::strcpy(first, "9:changed");
    EXPECT_EQ(std::strlen(err_type_name(4)), 127u);
    auto disk = cairn::err_type_lookup(4, 1);
    EXPECT_STREQ(disk.text, "1234:Disk full");
    EXPECT_EQ(disk.severity, 4);
    EXPECT_EQ(disk.catalog, 1234);
    EXPECT_STREQ(cairn::err_type_lookup(4, 2).text, "");
    // Replacing keeps the texts handed out before.
    EXPECT_EQ(err_settype(4, 0, "FOUR", texts, nullptr), 0);
    EXPECT_STREQ(err_type_name(4), "FOUR");
    EXPECT_EQ(cairn::err_type_lookup(4, 0).severity, 0);
    EXPECT_STREQ(before, "1234:Disk full");
    EXPECT_STREQ(cairn::err_type_lookup(4, 1).text, "Unknown error");
    // Bad calls.
    EXPECT_EQ(err_settype(36, 0, "X", texts, sev), 0);
    EXPECT_STREQ(err_type_name(35), "BXR");
    EXPECT_EQ(err_settype(0, 0, "X", texts, sev), OX_EINVAL);
    EXPECT_EQ(err_settype(6, 1000, "X", texts, sev), OX_EINVAL);
    EXPECT_EQ(err_settype(6, 0, nullptr, texts, sev), OX_ENULL);
    EXPECT_EQ(err_settype(6, 0, "X", nullptr, sev), OX_ENULL);
    EXPECT_STREQ(err_type_name(6), "BXR");
}

TEST(Errinfo, AccruedChainNewestFirstWithItsLimit)
{
    auto child = run_in_child([] {
        err_accrue("off");  // accrual is off for a new thread
        if (blow_err(0) != nullptr)
            std::exit(2);
        cairn::ErrinfoState *state = cairn::errinfo_state();
        err_accrue("a");
        err_accrue(nullptr);
        err_accrue("b");
        msg_t *kept = blow_err(0);
        msg_t *taken = blow_err(1);
        std::printf("%s %d %s %d|", kept->text, kept->err.number, taken->text,
                    blow_err(1) == nullptr);
        err_accrue("a");
        err_accrue("b");
        // Old length + new length + 9 may reach 19456, not exceed it.
        std::string big(cairn::kAccruedChainMax - 9 - state->chain_len - 5, 'x');
        err_accrue(big.c_str());
        std::printf("%zu ", state->chain_len);
        {
            cairn::testing::DebugScope debug(0, 0x100);
            err_accrue("y");
            std::printf("%zu ", state->chain_len);
            err_accrue("z");
        }
        std::printf("%zu|", state->chain_len);
        blow_err(1);
        err_accrue("a");
        cairn::testing::alloc_fail_at(1);
        err_accrue("z");  // no memory: the chain is kept
        cairn::testing::alloc_fail_at(0);
        std::printf("%s", blow_err(1)->text);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "b->(a) -10001 b->(a) 1|19446 19451 19451|a");
    EXPECT_NE(child.err.find("Dropping error string z\n"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("Unable to allocate memory for storing error string: "),
              std::string::npos);
}

struct SevenRow {
    int type, severity, code;
    int setall;  // err_setall's number
    int setsev;  // err_setsev's number
    const char *text;
};

TEST(Errinfo, ComposedNumbersSetKindsAndKeepingRecords)
{
    char busy[1024];
    std::snprintf(busy, sizeof busy, "%s", ox_strerror(16));
    const SevenRow rows[] = {
        {1, 0, 16, 13016, 15016, busy},  // EBUSY: the two differ on purpose
        {1, 0, 0, 11000, 11000, nullptr},
        {1, 0, 4, 13004, 13004, nullptr},
        {1, 0, 138, 13138, 13138, nullptr},
        {1, 0, 2, 15002, 15002, nullptr},
        {1, 2, 2, 12002, 12002, nullptr},
        {9, 0, 2, 93002, 93002, "Unable to find job record"},
        {25, 0, 0, 251000, 251000, "Success"},
        {4, 0, 7, 40007, 40007, "Unknown error"},   // unregistered: severity 0
        {2, 0, 30, 20030, 20030, "Unknown error"},  // past the last code
    };
    for (const SevenRow &row : rows) {
        msg_t *rec = err_setall(row.type, row.severity, row.code, nullptr);
        ASSERT_NE(rec, nullptr);
        EXPECT_EQ(rec->err.number, row.setall) << row.type << "/" << row.code;
        EXPECT_EQ(rec->err.type, row.setall / 10000);
        EXPECT_EQ(rec->err.severity, row.setall / 1000 % 10);
        EXPECT_EQ(rec->err.code, row.setall % 1000);
        EXPECT_EQ(err_setsev(row.type, row.severity, row.code), row.setsev);
        if (row.text != nullptr) {
            EXPECT_STREQ(rec->text, row.text);
        }
    }
    msg_t *given = err_setall(3, 4, 5, "own text");
    EXPECT_EQ(given->err.number, 34005);
    EXPECT_STREQ(given->text, "own text");

    // The setting calls, and keeping records.
    const char *texts[] = {"ok", "4711:Tape jammed"};
    const int sev[] = {1, 4};
    ASSERT_EQ(err_settype(7, 1, "TAPE", texts, sev), 0);
    msg_t *m = err_set(7, 1);  // severity digit 0: the table's 4
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 74001);
    EXPECT_STREQ(m->text, "Tape jammed");  // a catalog literal prints its text
    ASSERT_EQ(m->stext.argcount, 1);
    EXPECT_EQ(m->stext.args[0].desc, 11);
    m = err_set(7, 2000);
    EXPECT_EQ(m->err.number, 72000);
    EXPECT_EQ(m->stext.args[0].desc, MSG_ARG_ERRTEXT);
    m = err_setstr(2, 3017, "remote down");
    EXPECT_EQ(m->err.number, 23017);
    EXPECT_STREQ(m->text, "remote down");
    EXPECT_EQ(m->stext.args[0].desc, MSG_ARG_ERRTEXT);
    EXPECT_EQ(err_setstr(2, 1, nullptr), nullptr);

    err_varp pair{42005, strdup("moved")};
    m = err_move_to_varp(&pair);
    EXPECT_EQ(pair.text, nullptr);
    EXPECT_EQ(m->err.number, 42005);
    EXPECT_STREQ(m->text, "moved");
    EXPECT_EQ(err_move_to_varp(nullptr), nullptr);

    // Copies outlive the thread's record; restore frees what it is given.
    msg_t *own = err_setall(1, 0, 2, nullptr);
    msg_t *dup = err_dup(own);
    err_setall(1, 0, 0, nullptr);
    EXPECT_EQ(dup->err.number, 15002);
    msg_t *back = err_restore(dup);
    EXPECT_EQ(back->err.number, 15002);
    EXPECT_NE(back->text, nullptr);
    err_free(back);
    EXPECT_EQ(err_restore(nullptr), nullptr);
    EXPECT_EQ(err_dup(nullptr), nullptr);
    err_free(err_setall(1, 0, 0, nullptr));  // the thread's own record: forgotten first
    EXPECT_EQ(err_setall(1, 0, 4, nullptr)->err.number, 13004);
}

TEST(Errinfo, SaveOverwritesWithADebugLinePrintWarnsStateEndsWithTheThread)
{
    auto child = run_in_child([] {
        ox_set_progname("prog");
        msg_t *first = err_setstr(1, 3001, "first");
        msg_t *slot = err_save(first);
        {
            cairn::testing::DebugScope debug(1, 0);
            slot = err_save(err_setstr(1, 3002, "second"));
        }
        std::printf("%d %s %d|", slot->err.number, slot->text, err_save(nullptr) == nullptr);
        std::printf("%d", err_print(slot) > 0);
        err_free(slot);  // the slot is then empty: a new save writes no line
        cairn::testing::DebugScope debug(1, 0);
        err_save(first);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "13002 second 1|1");
    EXPECT_NE(child.err.find("err_save: overwriting old tmperr <first>\n"), std::string::npos)
        << child.err;
    EXPECT_EQ(child.err.find("tmperr <second>"), std::string::npos);
    EXPECT_NE(child.err.find("13002:prog: second"), std::string::npos);

    // The thread's state ends with the thread.
    // Under the sanitizers a leak of a thread's records fails the run.
    std::thread([] {
        err_setall(1, 0, 2, nullptr);
        err_save(err_setstr(1, 1, "kept"));
        blow_err(0);
        err_accrue("a");
        err_accrue("b");
        EXPECT_STREQ(blow_err(0)->text, "b->(a)");
    }).join();
    EXPECT_EQ(blow_err(1), nullptr) << "accrual state is per thread";
}

}  // namespace
