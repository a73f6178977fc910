// The thread's last error: per-thread storage, the message texts with their
// record rewrites, ox_strerror's save and restore, and allocation failure.
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

int last_kind()
{
    int kind = -1;
    ox_error_get_last_native(&kind);
    return kind;
}

TEST(LastError, SetAndGetWithErrno)
{
    errno = 0;
    EXPECT_EQ(ox_error_set_last(2, OX_ERRKIND_ERRNO), OX_ENOENT);
    EXPECT_EQ(errno, 2);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);

    // Other kinds leave errno alone.
    errno = 7;
    EXPECT_EQ(ox_error_set_last(258, OX_ERRKIND_WIN32), OX_ETIMEDOUT);
    EXPECT_EQ(errno, 7);
    EXPECT_EQ(ox_error_get_last(), OX_ETIMEDOUT);
    EXPECT_EQ(last_kind(), OX_ERRKIND_WIN32);
}

TEST(LastError, IsPerThread)
{
    ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    int seen_in_new_thread = -1, seen_after_set = -1, kind_in_new_thread = -1;
    std::thread other([&] {
        seen_in_new_thread = ox_error_get_last();
        ox_error_get_last_native(&kind_in_new_thread);
        ox_error_set_last(10060, OX_ERRKIND_WINSOCK);
        seen_after_set = ox_error_get_last();
    });
    other.join();
    EXPECT_EQ(seen_in_new_thread, OX_SUCCESS);
    EXPECT_EQ(kind_in_new_thread, OX_ERRKIND_ERRNO);
    EXPECT_EQ(seen_after_set, OX_ETIMEDOUT);
    EXPECT_EQ(ox_error_get_last(), OX_ENOENT);
}

TEST(LastError, MessagesByKind)
{
    ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
    EXPECT_EQ(message(), std::strerror(ENOENT));

    // Win32 texts lose their line break and carry the code in hexadecimal.
    ox_error_set_last(2, OX_ERRKIND_WIN32);
    EXPECT_EQ(message(), "The system cannot find the file specified. (Win32 error 0x2)");
    ox_error_set_last(1460, OX_ERRKIND_WIN32);
    EXPECT_EQ(message(), "This operation returned because the timeout period expired. "
                         "(Win32 error 0x5b4)");

    // Winsock texts are kept as the system gives them.
    ox_error_set_last(10061, OX_ERRKIND_WINSOCK);
    EXPECT_EQ(message(), "No connection could be made because the target machine actively "
                         "refused it.\r\n");

    ox_error_set_last(static_cast<uint32_t>(EAI_NONAME), OX_ERRKIND_RESOLVER);
    EXPECT_EQ(message(), gai_strerror(EAI_NONAME));

    for (auto [code, kind] : {std::pair<uint32_t, int>{99999, OX_ERRKIND_WIN32},
                              {99999, OX_ERRKIND_WINSOCK},
                              {0x80042301u, OX_ERRKIND_VSS},
                              {1, 0},
                              {1, 17}}) {
        ox_error_set_last(code, kind);
        EXPECT_EQ(message(), "Unknown error") << code << " kind " << kind;
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

TEST(LastError, EveryMappedWin32AndWinsockCodeHasAText)
{
    for (uint32_t code = 0; code <= 20000; ++code) {
        int portable_win32 = ox_error_from_win32(code);
        int portable_wsa = ox_error_from_winsock(code);
        if (portable_win32 != OX_EUNKNOWN || portable_wsa != OX_EUNKNOWN) {
            const char *text = cairn::system_message_text(code);
            ASSERT_NE(text, nullptr) << code;
            size_t n = std::strlen(text);
            EXPECT_GT(n, 2u);
            EXPECT_EQ(std::string(text + n - 2), "\r\n") << code;
        }
    }
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
}

TEST(LastError, ThreadRecordAllocationFailureStopsTheProcess)
{
    auto result = cairn::testing::run_in_child([] {
        std::thread fresh([] {
            cairn::testing::alloc_fail_at(1, true);
            ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
        });
        fresh.join();
    });
    EXPECT_EQ(result.signal, SIGTERM);
}

}  // namespace
