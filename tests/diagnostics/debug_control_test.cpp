// The debug-control file: the setting-line grammar, the keyword table, the
// notice and invalid-value lines byte for byte, and a control line applied
// to a running child through the debug event.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "capture_fd.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "diagnostics/debug_control.hpp"
#include "diagnostics/debug_settings.hpp"
#include "frame/process_identity.hpp"
#include "messages/msg_identity.hpp"

using cairn::testing::CaptureFd;
using cairn::testing::run_in_child;

namespace {

struct NumberCase {
    const char *text;
    bool ok;
    int32_t value;
};

TEST(SettingNumbers, SyntaxAsTable)
{
    const NumberCase cases[] = {
        {"0", true, 0},
        {"42", true, 42},
        {"  \t7", true, 7},
        {"-5", true, -5},
        {"0x1F", true, 31},
        {"0xff", true, 255},
        {"0b101", true, 5},
        {"0o17", true, 15},
        {"12abc", true, 12},
        {"0b102", true, 2},
        {"0o78", true, 7},
        {"0x", false, 0},
        {"0b", false, 0},
        {"-", false, 0},
        {"abc", false, 0},
        {"", false, 0},
        {"+3", false, 0},
        {"0X10", true, 0},
        {"4294967297", true, 1},
        {"-0x5", true, 0},
        {"2147483648", true, INT32_MIN},
        {"18446744073709551617", true, 1},
    };
    for (const NumberCase &c : cases) {
        int32_t v = -999;
        EXPECT_EQ(cairn::parse_setting_number(c.text, &v), c.ok) << c.text;
        if (c.ok)
            EXPECT_EQ(v, c.value) << c.text;
        else
            EXPECT_EQ(v, -999) << c.text << ": a failed parse must not store";
    }
    int32_t v;
    EXPECT_FALSE(cairn::parse_setting_number(nullptr, &v));
}

struct BitsCase {
    const char *text;
    bool ok;
    uint32_t value;
};

TEST(SettingNumbers, BitListsAsTable)
{
    const BitsCase cases[] = {
        {"1,2,5", true, 0x13}, {"0", true, 0},    {"1", true, 1},     {"32", true, 0x80000000u},
        {"33", true, 1},       {"-4,2", true, 2}, {"0x3", true, 4},   {"1, 2", true, 3},
        {"1,", false, 0},      {",1", false, 0},  {"1,,2", false, 0}, {"x", false, 0},
        {"2junk,3", true, 6},
    };
    for (const BitsCase &c : cases) {
        uint32_t v = 0xdead;
        EXPECT_EQ(cairn::parse_setting_bits(c.text, &v), c.ok) << c.text;
        if (c.ok)
            EXPECT_EQ(v, c.value) << c.text;
        else
            EXPECT_EQ(v, 0xdeadu) << c.text;
    }
}

// Each row: a line, the variable it changes, the value before, the value
// after, and the notice's label, old and new values ("" when no notice).
struct KeywordCase {
    const char *line;
    int32_t *variable;
    int32_t before;
    int32_t after;
    const char *notice;  // " Changing <label> from <old> to <new>"
};

TEST(SettingLines, KeywordTableAsData)
{
    const KeywordCase cases[] = {
        {"Debug=20", &Debug, 0, 15, " Changing Debug level from 0 to 20"},
        {"debug = 0x3", &Debug, 9, 3, " Changing Debug level from 9 to 3"},
        {"Debug", &Debug, 4, 0, " Changing Debug level from 4 to 0"},
        {"Debug=-7", &Debug, 1, -7, " Changing Debug level from 1 to -7"},
        {"Vflag=0b11", &Vflag, 0, 3, " Changing Vflag level from 0 to 3"},
        {"PrintDevInfo=9", &PrintDevInfo, 0, 1, " Changing PrintDevInfo from 0 to 1"},
        {"PrintBxrAuthInfo", &PrintBxrAuthInfo, 0, 1, " Changing PrintBxrAuthInfo from 0 to 1"},
        {"FlushDnsCache=0", &FlushDnsCache, 0, 1, " Changing FlushDnsCache from 0 to 1"},
        {"PRINTDNSCACHE=1", &PrintDnsCache, 0, 1, " Changing PrintDnsCache from 0 to 1"},
        {"PrintInactiveClients=1", &cairn::g_print_inactive_clients, 0, 1,
         " Changing PrintInactiveClientsCache from 0 to 1"},
        {"LogDnsThreshold=2", &LogDnsThreshold, 0, 5, " Changing LogDnsThreshold from 0 to 1"},
        {"LogDnsThreshold=60", &LogDnsThreshold, 5, 60, " Changing LogDnsThreshold from 5 to 1"},
        {"JukeboxThrottle=-3", &JukeboxThrottle, 8, 0, " Changing Jukebox Throttle from 8 to -3"},
        {"JukeboxThrottle=12", &JukeboxThrottle, 0, 12, " Changing Jukebox Throttle from 0 to 12"},
        {"DriveStealExclusion=-1", &DriveStealExclusion, 10, 30,
         " Changing Drive Steal Exclusion from 10 to -1"},
        {"DriveStealExclusion=45", &DriveStealExclusion, 30, 45,
         " Changing Drive Steal Exclusion from 30 to 45"},
        // The notice shows DriveStealExclusion (still 45) as the old value.
        {"PatchDebug=7", &PatchDebug, 0, 7, " Changing Patch Debug from 45 to 7"},
        {"PrintDeviceSelection=5", &PrintDeviceSelection, 0, 1,
         " Changing Print Device Selection from 0 to 1"},
        {"PrintDeviceSelection", &PrintDeviceSelection, 1, 0,
         " Changing Print Device Selection from 1 to 0"},
        {"JobsdbFullPurge=0", &JobsdbFullPurge, 0, 1, " Changing JobsdbFullPurge from 0 to 1"},
        // Lines that change nothing.
        {"Debug 3", &Debug, 6, 6, ""},
        {"Nonsense=3", &Debug, 6, 6, ""},
        {"Debug=abc", &Debug, 6, 6, ""},
        {"Debug=", &Debug, 6, 6, ""},
        {"", &Debug, 6, 6, ""},
    };
    int32_t saved_dse = DriveStealExclusion;
    for (const KeywordCase &c : cases) {
        *c.variable = c.before;
        CaptureFd err(2);
        cairn::apply_setting_line(c.line);
        std::string text = err.text();
        err.restore();
        EXPECT_EQ(*c.variable, c.after) << c.line;
        if (c.notice[0] == '\0') {
            EXPECT_EQ(text.find("Changing"), std::string::npos) << c.line << ": " << text;
        } else {
            std::string tail = std::string(c.notice) + " 0\n";
            ASSERT_GE(text.size(), tail.size()) << c.line;
            EXPECT_EQ(text.substr(text.size() - tail.size()), tail) << c.line;
            // The length field counts the text without its leading blank.
            std::string length = " ";  // built in steps: GCC 12 at -O3 misreads the concatenation
            length.append(std::to_string(std::strlen(c.notice) - 1)).append(c.notice);
            EXPECT_NE(text.find(length), std::string::npos) << text;
        }
    }
    Debug = 0;
    DriveStealExclusion = saved_dse;
    PatchDebug = PrintDeviceSelection = JobsdbFullPurge = 0;
    PrintDevInfo = PrintBxrAuthInfo = FlushDnsCache = PrintDnsCache = 0;
    LogDnsThreshold = JukeboxThrottle = Vflag = 0;
    cairn::g_print_inactive_clients = 0;
}

TEST(SettingLines, TraceAndMessageNumberSwitch)
{
    CaptureFd err(2);
    OxTrace = 0;
    cairn::apply_setting_line("Trace=1,2");
    EXPECT_EQ(OxTrace, 3u);
    cairn::apply_setting_line("trace = 32,1");
    EXPECT_EQ(OxTrace, 0x80000001u);
    cairn::apply_setting_line("Trace=1,,2");  // invalid: kept
    EXPECT_EQ(OxTrace, 0x80000001u);
    OxTrace = 0;

    cairn::set_msg_number_switch(false);
    cairn::apply_setting_line("MsgID=4");
    EXPECT_TRUE(cairn::msg_number_switch());
    cairn::apply_setting_line("msgid=0");
    EXPECT_FALSE(cairn::msg_number_switch());
    std::string text = err.text();
    EXPECT_NE(text.find(" Changing Trace level from 0 to 3 0\n"), std::string::npos) << text;
    EXPECT_NE(text.find(" Changing Trace level from 3 to -2147483647 0\n"), std::string::npos);
    EXPECT_NE(text.find(" Changing msgID print state from 0 to 4 0\n"), std::string::npos);
    EXPECT_NE(text.find(" Changing msgID print state from 1 to 0 0\n"), std::string::npos);
    EXPECT_NE(text.find("1,,2 is an invalid value for Trace\n"), std::string::npos);
}

TEST(SettingLines, NoticeAndInvalidLinesByteForByte)
{
    char buf[2048];
    std::size_t len = cairn::format_change_notice(buf, sizeof buf, "Debug level", 0, 3);
    ASSERT_EQ(len, std::strlen(buf));
    const cairn::MsgIdentity *id = cairn::msg_identity_recorded();
    std::string host = id && id->host[0] ? id->host : "localhost";
    std::string prog = id && id->progname[0] ? id->progname : "unknown";
    std::string pid = std::to_string(id ? id->pid : 0);
    // "0 <time> 1 1 0 0 <pid> 0 <host> <prog> SYSTEM notice 32 Changing Debug level from 0 to 3 0\n"
    std::string line(buf, len);
    ASSERT_EQ(line.substr(0, 2), "0 ");
    std::size_t after_time = line.find(' ', 2);
    std::string seconds = line.substr(2, after_time - 2);
    EXPECT_LE(std::labs(std::atol(seconds.c_str()) - static_cast<long>(time(nullptr))), 5L);
    EXPECT_EQ(line.substr(after_time),
              " 1 1 0 0 " + pid + " 0 " + host + " " + prog +
                  " SYSTEM notice 32 Changing Debug level from 0 to 3 0\n");

    len = cairn::format_invalid_value(buf, sizeof buf, "abc", "Debug");
    EXPECT_EQ(std::string(buf, len), "abc is an invalid value for Debug\n");
    // The value is echoed only in part (64 bytes), the line bounded to 512
    // bytes with the terminator.
    std::string huge(2000, 'v');
    len = cairn::format_invalid_value(buf, sizeof buf, huge.c_str(), "Debug");
    std::string echoed(64, 'v');
    echoed.append(" is an invalid value for Debug\n");
    EXPECT_EQ(std::string(buf, len), echoed);
    std::string keyword(600, 'K');
    len = cairn::format_invalid_value(buf, sizeof buf, "abc", keyword.c_str());
    EXPECT_EQ(len, 511u);

    CaptureFd err(2);
    Debug = 6;
    cairn::apply_setting_line("Debug=abc");
    EXPECT_EQ(err.text(), "abc is an invalid value for Debug\n");
    EXPECT_EQ(Debug, 6);
    Debug = 0;
}

// Write `content` as the control file and run the handler.
void run_control_file(const char *content)
{
    std::FILE *fp = std::fopen(cairn::debug_control_file(), "w");
    ASSERT_NE(fp, nullptr);
    std::fputs(content, fp);
    std::fclose(fp);
    EXPECT_EQ(ondbgintr(OX_DEBUG_EVENT), 1);
}

TEST(ControlFile, ReadAppliedAndDeleted)
{
    auto child = run_in_child([] {
        char dir[] = "/tmp/cairn-ctl-XXXXXX";
        if (mkdtemp(dir) == nullptr)
            std::exit(3);
        cairn::set_debug_control_path(dir);
        run_control_file("Debug=20\n");
        std::printf("a=%d ", Debug);
        run_control_file("Debug=2");  // loses its last character: "Debug="
        std::printf("b=%d ", Debug);
        run_control_file("Trace=1,2\n");
        std::printf("c=%u ", OxTrace);
        std::printf("gone=%d ", access(cairn::debug_control_file(), F_OK) != 0);
        // Other events and a missing file do nothing.
        std::FILE *fp = std::fopen(cairn::debug_control_file(), "w");
        std::fputs("Debug=1\n", fp);
        std::fclose(fp);
        std::printf("other=%d,%d ", ondbgintr(2), Debug);
        std::printf("kept=%d ", access(cairn::debug_control_file(), F_OK) == 0);
        unlink(cairn::debug_control_file());
        std::printf("missing=%d,%d", ondbgintr(OX_DEBUG_EVENT), Debug);
        rmdir(dir);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "a=15 b=15 c=3 gone=1 other=1,15 kept=1 missing=1,15");
    EXPECT_NE(child.err.find(" is an invalid value for Debug\n"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find(" Changing Debug level from 0 to 20 0\n"), std::string::npos);
}

TEST(ControlFile, EventsAndHandlers)
{
    EXPECT_EQ(regevent(5, ondbgintr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_NE(ox_debug_event_signal(0), 0);
    // Nobody watches the event of a process that does not exist.
    EXPECT_NE(ox_debug_event_signal(999999999), 0);
}

}  // namespace
