// The thread's last error: per-thread storage, the system message table and
// the message texts with their record rewrites, ox_strerror's save and
// restore, and allocation failure.
#include <gtest/gtest.h>
#include <netdb.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>

#include "cairn/frame.h"
#include "child_process.hpp"
#include "frame/system_messages.hpp"
#include "platform/alloc_testing.hpp"

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

TEST(LastError, MessagesByKind)
{
    struct Case {
        uint32_t code;
        int kind;
        std::string text;
    };
    const Case cases[] = {
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
    for (const Case &c : cases) {
        ox_error_set_last(c.code, c.kind);
        EXPECT_EQ(message(), c.text) << c.code << " kind " << c.kind;
    }
}

TEST(LastError, NetworkingErrnoIsRewrittenToWinsock)
{
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
}

TEST(LastError, MessageBufferBounds)
{
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

TEST(LastError, StrerrorLeavesTheLastErrorAlone)
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
}

TEST(LastError, RecordAllocationFailureLeavesNoLastError)
{
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
    const struct {
        uint32_t code;
        const char *text;
    } samples[] = {
        {0, "The operation completed successfully.\r\n"},
        {5, "Access is denied.\r\n"},
        {193, "%1 is not a valid Win32 application.\r\n"},
        {1299,
         "Indicates a particular Security ID may not be assigned as the label of an object.\r\n"},
        {10054, "An existing connection was forcibly closed by the remote host.\r\n"},
        {11001, "No such host is known.\r\n"},
    };
    for (const auto &s : samples) {
        const char *text = cairn::system_message_text(s.code);
        ASSERT_NE(text, nullptr) << s.code;
        EXPECT_STREQ(text, s.text) << s.code;
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

}  // namespace
