// The system message table as data: the platform's documented texts for the
// system error codes 0 to 1299 and the Winsock codes, and what
// ox_error_get_message() makes of them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "frame/system_messages.hpp"

namespace {

struct Sample {
    uint32_t code;
    const char *text;
};

// Well-known codes, byte for byte as the platform documents them.
const Sample kSamples[] = {
    {0, "The operation completed successfully.\r\n"},
    {2, "The system cannot find the file specified.\r\n"},
    {5, "Access is denied.\r\n"},
    {32, "The process cannot access the file because it is being used by another process.\r\n"},
    {87, "The parameter is incorrect.\r\n"},
    {112, "There is not enough space on the disk.\r\n"},
    {122, "The data area passed to a system call is too small.\r\n"},
    {183, "Cannot create a file when that file already exists.\r\n"},
    {193, "%1 is not a valid Win32 application.\r\n"},
    {234, "More data is available.\r\n"},
    {258, "The wait operation timed out.\r\n"},
    {487, "Attempt to access invalid address.\r\n"},
    {995, "The I/O operation has been aborted because of either a thread exit or an application "
          "request.\r\n"},
    {997, "Overlapped I/O operation is in progress.\r\n"},
    {1168, "Element not found.\r\n"},
    {1223, "The operation was canceled by the user.\r\n"},
    {1299, "Indicates a particular Security ID may not be assigned as the label of an object.\r\n"},
    {10054, "An existing connection was forcibly closed by the remote host.\r\n"},
    {11001, "No such host is known.\r\n"},
};

TEST(SystemMessages, WellKnownCodesByteForByte)
{
    for (const Sample &s : kSamples) {
        const char *text = cairn::system_message_text(s.code);
        ASSERT_NE(text, nullptr) << s.code;
        EXPECT_STREQ(text, s.text) << s.code;
    }
    // Codes the platform does not define have no text.
    EXPECT_EQ(cairn::system_message_text(35), nullptr);
    EXPECT_EQ(cairn::system_message_text(1300), nullptr);
    EXPECT_EQ(cairn::system_message_text(0xFFFFFFFFu), nullptr);
}

TEST(SystemMessages, TableIsSortedUniqueAndComplete)
{
    std::size_t count = 0;
    const cairn::SystemMessageRow *rows = cairn::system_message_rows(&count);
    ASSERT_GT(count, 700u);  // the documented codes below 1300 alone are 733
    std::size_t below_1300 = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) {
            EXPECT_LT(rows[i - 1].code, rows[i].code) << "row " << i;
        }
        ASSERT_NE(rows[i].text, nullptr) << rows[i].code;
        std::size_t n = std::strlen(rows[i].text);
        EXPECT_GT(n, 2u) << rows[i].code;
        EXPECT_EQ(std::string(rows[i].text + n - 2), "\r\n") << rows[i].code;
        // One line: only the final line break.
        EXPECT_EQ(std::strpbrk(rows[i].text, "\r\n"), rows[i].text + n - 2) << rows[i].code;
        below_1300 += rows[i].code < 1300;
        EXPECT_EQ(cairn::system_message_text(rows[i].code), rows[i].text);
    }
    EXPECT_EQ(below_1300, 733u);
}

TEST(SystemMessages, KindThreeMessageCarriesTheText)
{
    char buf[512];
    ox_error_set_last(122, OX_ERRKIND_WIN32);
    ox_error_get_message(buf, sizeof buf);
    EXPECT_STREQ(buf, "The data area passed to a system call is too small. (Win32 error 0x7a)");
    ox_error_set_last(1300, OX_ERRKIND_WIN32);
    ox_error_get_message(buf, sizeof buf);
    EXPECT_EQ(std::string(buf).find("Unknown error"), 0u) << buf;
}

}  // namespace
