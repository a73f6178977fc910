// msg_print() and the message logs: the direct path to the standard
// streams, the numbered forms, the message-number switch, posting decisions
// and the callback; the line format, one file per destination, appends from
// several processes, refusal of files that are not ours, and the fallback to
// standard error.
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <set>
#include <string>

#include "child_exit.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/time.h"
#include "child_process.hpp"
#include "log_dir.hpp"
#include "messages/msg_identity.hpp"
#include "messages/msg_log.hpp"

using cairn::testing::LogDir;
using cairn::testing::run_in_child;

namespace {

// Text of line `i` of child `c`: its length varies from a few bytes to
// past 4 KiB, so that some lines are longer than a pipe's atomic write.
std::string child_text(int c, int i)
{
    std::size_t filler =
        (static_cast<std::size_t>(i) * 977 + static_cast<std::size_t>(c) * 131) % 6000;
    return "c" + std::to_string(c) + " i" + std::to_string(i) + " " +
           std::string(filler, static_cast<char>('a' + (i + c) % 26));
}

TEST(MsgLog, LineFieldByFieldAndDestinations)
{
    LogDir dir;
    auto child = run_in_child([&dir] {
        ox_set_progname("/opt/Tool.exe");
        if (msg_log_open(dir.path()) != 0)
            std::exit(3);
        msg_print(1234, 15023, MSG_LOG_MESSAGES, "%s of %s\n", MSG_ARG_TEXT, "copy", MSG_ARG_TEXT,
                  "disk");
        msg_print(-7, 4, 0x10 | 0x20 | 0x40 | 0x200, "two\nlines\r\n", MSG_ARG_TEXT, "");
        // A message made by the caller posts the same way.
        msg_t *made = msg_create(42, 50000, "%s", MSG_ARG_TEXT, "made here");
        if (msg_post(MSG_LOG_MESSAGES, made) != 0 ||
            msg_post(MSG_LOG_MESSAGES, nullptr) != OX_ENULL)
            std::exit(4);
        std::printf("%d", getpid());
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.exit_code, 0);
    EXPECT_EQ(child.err, "");
    std::regex form(
        R"((\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d{4}) (\S+)\[(\d+)\] (\w+)\((\d+)\) #(-?\d+): (.*))");
    std::smatch m;
    auto lines = dir.lines("messages.log");
    ASSERT_EQ(lines.size(), 2u);
    ASSERT_TRUE(std::regex_match(lines[1], m, form)) << lines[1];
    EXPECT_EQ(m[4], "info");
    EXPECT_EQ(m[6], "42");
    EXPECT_EQ(m[7], "made here");
    ASSERT_TRUE(std::regex_match(lines[0], m, form)) << lines[0];
    EXPECT_LT(std::llabs(ox_8601ptime(m[1].str().c_str()) - ox_time(nullptr)), 60);
    EXPECT_EQ(m[2], "tool");
    EXPECT_EQ(m[3], child.out);
    EXPECT_EQ(m[4], "critical");  // the thousands digit of 15023
    EXPECT_EQ(m[5], "15023");
    EXPECT_EQ(m[6], "1234");
    EXPECT_EQ(m[7], "copy of disk");
    for (uint32_t flag : {0x10u, 0x20u, 0x40u, 0x200u}) {
        auto other = dir.lines(msg_log_name(flag));
        ASSERT_EQ(other.size(), 1u) << flag;
        ASSERT_TRUE(std::regex_match(other[0], m, form)) << other[0];
        EXPECT_EQ(m[4], "severe");
        EXPECT_EQ(m[5], "4000");
        EXPECT_EQ(m[7], "two lines");
        struct stat st;
        ASSERT_EQ(stat(dir.file(msg_log_name(flag)).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0137, 0u) << "no group write, nothing for others";
    }
    const char *names[] = {"messages.log", "daemon.log", "audit.log", "jobs.log", "rendered.log"};
    const uint32_t flags[] = {0x8, 0x10, 0x20, 0x40, 0x200};
    for (int i = 0; i < 5; ++i)
        EXPECT_STREQ(msg_log_name(flags[i]), names[i]);
    EXPECT_EQ(msg_log_name(0x18), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

TEST(MsgLog, LongTextIsCutAtACharacterWithAMarker)
{
    char line[cairn::kLogLineMax];
    std::string text(cairn::kLogTextMax - 1, 'x');
    text += "\xc3\xa9tail";  // a two-byte character across the limit
    std::size_t n = cairn::msg_log_format(line, 1, 50000, text.c_str());
    std::string out(line, n);
    std::string expected_tail = std::string(10, 'x') + cairn::kLogCutMarker + "\n";
    EXPECT_EQ(out.substr(out.size() - expected_tail.size()), expected_tail);
    n = cairn::msg_log_format(line, 1, 50000, std::string(cairn::kLogTextMax, 'y').c_str());
    EXPECT_EQ(std::string(line, n).find("[truncated]"), std::string::npos);
    EXPECT_LE(n, cairn::kLogLineMax);
}

TEST(MsgLog, ProcessesAppendWholeLines)
{
    LogDir dir;
    constexpr int kChildren = 4, kLines = 500;
    ox_set_progname("tester");
    ASSERT_EQ(msg_log_open(dir.path()), 0);
    pid_t pids[kChildren];
    for (int c = 0; c < kChildren; ++c) {
        pids[c] = fork();
        ASSERT_GE(pids[c], 0);
        if (pids[c] == 0) {
            for (int i = 0; i < kLines; ++i)
                msg_print(100 + c, 50000, MSG_LOG_MESSAGES, "%s", MSG_ARG_TEXT,
                          child_text(c, i).c_str());
            cairn::testing::child_exit(0);
        }
    }
    for (pid_t pid : pids) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    // The message layer keeps the program name it saw first.
    std::regex head_form(R"(\S+ .+\[\d+\] info\(50000\) #(\d+))");
    std::set<std::pair<int, int>> seen;
    for (const std::string &line : dir.lines("messages.log")) {
        std::string head, text;
        std::smatch m;
        ASSERT_TRUE(LogDir::split(line, head, text)) << line.substr(0, 80);
        ASSERT_TRUE(std::regex_match(head, m, head_form)) << head;
        int c = -1, i = -1;
        ASSERT_EQ(std::sscanf(text.c_str(), "c%d i%d", &c, &i), 2) << text.substr(0, 80);
        EXPECT_EQ(std::stoi(m[1]), 100 + c);
        ASSERT_EQ(text, child_text(c, i)) << "torn line of child " << c << " line " << i;
        EXPECT_TRUE(seen.insert({c, i}).second);
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kChildren * kLines));
}

TEST(MsgLog, RefusedLogsAndNoLogsDirectoryFallBackToStandardErrorOnce)
{
    LogDir dir;
    ASSERT_EQ(symlink("/dev/null", dir.file("messages.log").c_str()), 0);
    // A log owned by another user (root can give it away).
    bool can_chown = geteuid() == 0 && getpwnam("nobody") != nullptr;
    {
        std::FILE *f = std::fopen(dir.file("daemon.log").c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fclose(f);
        if (can_chown) {
            ASSERT_EQ(chown(dir.file("daemon.log").c_str(), getpwnam("nobody")->pw_uid, 0), 0);
        }
    }
    auto child = run_in_child([&dir] {
        ox_set_progname("prog");
        msg_log_open(dir.path());
        msg_print(1, 50000, MSG_LOG_MESSAGES, "%s", MSG_ARG_TEXT, "first");
        msg_print(2, 50000, MSG_LOG_MESSAGES | MSG_LOG_DAEMON, "%s", MSG_ARG_TEXT, "second");
        msg_print(3, 50000, MSG_LOG_DAEMON, "%s", MSG_ARG_TEXT, "third");
    });
    ASSERT_TRUE(child.exited);
    std::string err = child.err;
    auto count = [&err](const std::string &what) {
        std::size_t n = 0;
        for (std::size_t at = err.find(what); at != std::string::npos; at = err.find(what, at + 1))
            ++n;
        return n;
    };
    EXPECT_EQ(count("messages.log (a symbolic link)"), 1u) << err;
    EXPECT_EQ(count("#1: first\n"), 1u);
    EXPECT_EQ(count("#2: second\n"), 1u);  // once, though both logs fell back
    struct stat st;
    ASSERT_EQ(lstat(dir.file("messages.log").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    if (can_chown) {
        EXPECT_EQ(count("daemon.log (owned by another user)"), 1u) << err;
        EXPECT_EQ(count("#3: third\n"), 1u);
        EXPECT_TRUE(dir.lines("daemon.log").empty());
    } else {
        EXPECT_EQ(dir.lines("daemon.log").size(), 2u);
    }

    // No usable logs directory at all.
    child = run_in_child([] {
        std::printf("%d %d;", msg_log_open("/nonexistent/logs"), msg_log_open("/dev/null"));
        msg_print(5, 50000, MSG_LOG_AUDIT, "%s\n", MSG_ARG_TEXT, "nowhere");
        msg_print(6, 50000, MSG_LOG_AUDIT, "%s\n", MSG_ARG_TEXT, "still");
        msg_log_close();
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "49 61;");
    // No directory chosen in this process: the application's, which is unknown.
    EXPECT_EQ(child.err.find("Cannot use message log "), 0u) << child.err;
    EXPECT_NE(child.err.find("audit.log ("), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("#5: nowhere\n"), std::string::npos);
    EXPECT_NE(child.err.find("#6: still\n"), std::string::npos);
    EXPECT_EQ(child.err.rfind("Cannot use"), 0u);
}

std::string g_seen;
void remember(const char *text) { g_seen += text; }

struct DirectCase {
    int32_t number;
    uint32_t flags;
    bool number_switch;
    const char *out;
    const char *err;
};

TEST(MsgPrint, DirectPathAsTable)
{
    const DirectCase cases[] = {
        {0, 2, false, "", "x"},
        {0, 1, false, "x", ""},
        {0, 3, false, "x", "x"},
        {0, 3, true, "x", "x"},
        {0, 0x82, true, "", "x"},
        {1234, 1, true, "1234:prog: x", ""},
        {1234, 2, true, "", "1234:prog: x"},
        {1234, 0x82, true, "", "1234:prog: x"},  // 0x80 ignored with the switch on
        {1234, 1, false, "x", ""},
        {1234, 2, false, "", "1234:prog: x"},
        {1234, 0x82, false, "", "x"},
        {-5, 3, false, "x", "-5:prog: x"},
        {7, 0, false, "", ""},
        {7, 0x100 | 2, false, "", "7:prog: x"},  // streams exist: 0x100 just cleared
    };
    for (const DirectCase &c : cases) {
        auto child = run_in_child([&c] {
            ox_set_progname("prog");
            cairn::set_msg_number_switch(c.number_switch);
            int rc = msg_print(c.number, 50000, c.flags, "%s", MSG_ARG_TEXT, "x");
            bool wrote = c.out[0] != '\0' || c.err[0] != '\0';
            std::exit(wrote == (rc > 0) ? 0 : 9);
        });
        ASSERT_TRUE(child.exited);
        EXPECT_EQ(child.exit_code, 0) << c.number << "/" << c.flags << ": result";
        EXPECT_EQ(child.out, c.out) << c.number << "/" << c.flags;
        EXPECT_EQ(child.err, c.err) << c.number << "/" << c.flags;
    }
}

// Also: the environment can force message numbers on (number 0 still
// prints none).
TEST(MsgPrint, ArgumentsRenderByDescriptorForcedNumbersAndTheCallback)
{
    auto child = run_in_child([] {
        setenv("BXR_FORCE_MSG_ID", "", 1);
        ox_set_progname("/opt/bin/Tool.exe");
        msg_print(1234, 50000, 1, "%s of %s\n", MSG_ARG_TEXT, "copy", MSG_ARG_TEXT, "disk");
        msg_print(0, 50000, 1, "[%s|%d|%s|%s|%5.1f]", MSG_ARG_TEXT, "a", MSG_ARG_NUMBER, "42",
                  MSG_ARG_LITERAL, "77:literal", MSG_ARG_TEXT, static_cast<const char *>(nullptr),
                  MSG_ARG_NUMBER, "2.5");
        msg_print(0, 50000, 1, "%2$s-%1$s", MSG_ARG_TEXT, "one", MSG_ARG_TEXT, "two");
        // Nested records render in place, given as text or as an object.
        msg_t *inner = msg_create(5, 50000, "(%s)", MSG_ARG_TEXT, "obj");
        msg_print(0, 50000, 1, "{%s|%s}", MSG_ARG_NESTED, "3 4 <%s> 1 0 2 in", MSG_ARG_OBJECT,
                  inner);
        std::printf("|%d", msg_print(0, 50000, 1, nullptr));
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "1234:tool: copy of disk\n[a|42|literal|null|  2.5]two-one{<in>|(obj)}|0");

    // The callback sees every message, printed, posted or neither.
    child = run_in_child([] {
        msg_callback_set(remember);
        msg_print(0, 50000, 0, "%s!", MSG_ARG_TEXT, "quiet");
        msg_print(0, 50000, 1, "%s!", MSG_ARG_TEXT, "loud");
        msg_print(0, 50000, 8, "%s!", MSG_ARG_TEXT, "posted");
        msg_callback_set(nullptr);
        msg_print(0, 50000, 0, "%s!", MSG_ARG_TEXT, "unseen");
        std::printf("|%s", g_seen.c_str());
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "loud!|quiet!loud!posted!");
}

TEST(MsgPrint, PostingDecisionAndSeverityScaling)
{
    cairn::testing::LogDir dir;
    auto child = run_in_child([&dir] {
        ox_set_progname("prog");
        msg_log_open(dir.path());
        // A log destination bit: posted, never printed directly.
        std::printf("%d;", msg_print(9, 2, 8 | 1 | 2, "%s\n", MSG_ARG_TEXT, "posted"));
        msg_print(10, 6, 0x200, "%s\n", MSG_ARG_TEXT, "six");
        // Without standard streams 0x100 means the first log.
        int saved_out = dup(1), saved_err = dup(2);
        close(1);
        close(2);
        msg_print(3, 50000, 0x100 | 1 | 2, "%s", MSG_ARG_TEXT, "x");
        dup2(saved_out, 1);
        dup2(saved_err, 2);
        // Time stamps wanted: posted to the streams with the debug prefix.
        print_timestamps(1);
        msg_print(0, 50000, 2, "%s\n", MSG_ARG_TEXT, "stamped");
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "0;");
    EXPECT_NE(child.err.find(" prog: stamped\n"), std::string::npos) << child.err;
    EXPECT_EQ(child.err.find("posted"), std::string::npos);
    auto logged = dir.lines("messages.log");
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_NE(logged[0].find(" warning(2000) #9: posted"), std::string::npos) << logged[0];
    EXPECT_NE(logged[1].find(" info(50000) #3: x"), std::string::npos) << logged[1];
    auto rendered = dir.lines("rendered.log");
    ASSERT_EQ(rendered.size(), 1u);
    EXPECT_NE(rendered[0].find(" info(6) #10: six"), std::string::npos) << rendered[0];
}

}  // namespace
