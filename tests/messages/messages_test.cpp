// msg_print() and the message logs: the direct path to the standard
// streams, the numbered forms, the message-number switch, posting decisions
// and the callback; the line format, one file per destination, appends from
// several processes, refusal of files that are not ours, and the fallback to
// standard error.  Message objects and structured text records: creation,
// severity fields, the per-thread rings and pools, objects the caller owns,
// the calls that build, render and convert records, and the text forms:
// what each writer makes byte for byte, what each parser makes of good and
// malformed text, and parse-of-print round trips over generated records.
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "child_exit.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/time.h"
#include "child_process.hpp"
#include "log_dir.hpp"
#include "messages/msg_identity.hpp"
#include "messages/msg_log.hpp"
#include "va_fronts.hpp"

using cairn::testing::LogDir;
using cairn::testing::run_in_child;
using cairn::testing::vcreate;
using cairn::testing::vpopulate;

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

TEST(MsgLog, LineFieldByFieldDestinationsAndLongTexts)
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

    // A long text is cut at a character, with a marker.
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

std::string take(char *text)
{
    std::string s = text != nullptr ? text : "NULL";
    std::free(text);
    return s;
}

// "id|form" ("-" for no form) and "|descriptor:text" for each argument;
// "NULL" for no record.
std::string dump(const structext *st)
{
    if (st == nullptr)
        return "NULL";
    std::string s = std::to_string(st->msgid) + "|" + (st->form ? st->form : "-");
    for (int i = 0; i < st->argcount; ++i)
        s += "|" + std::to_string(st->args[i].desc) + ":" + st->args[i].text;
    return s;
}

CAIRN_VA_FRONT(msg_t *, vmessage, (int32_t id, uint32_t severity, const char *form, ...), form,
               msg_vcreate, id, severity, form)

std::string parsed(structext *st)
{
    std::string s = dump(st);
    msg_structext_free(st);
    return s;
}

TEST(MsgObjects, CreationFieldsArgumentsTextRingAndOwnedCopies)
{
    msg_t *m = msg_create(77, 52013, "%s+%d", MSG_ARG_TEXT, "a", MSG_ARG_NUMBER, "5");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 77);
    EXPECT_EQ(m->err.type, 5);
    EXPECT_EQ(m->err.severity, 2);
    EXPECT_EQ(m->err.code, 13);
    EXPECT_STREQ(m->text, "a+5");
    EXPECT_EQ(m->stext.msgid, 77u);
    ASSERT_EQ(m->stext.argcount, 2);
    EXPECT_EQ(m->stext.args[1].desc, MSG_ARG_NUMBER);
    EXPECT_STREQ(m->stext.args[1].text, "5");

    // A message object argument is kept as its record's buffer form.
    msg_t *outer = msg_create(1, 3000, "[%s|%s]", MSG_ARG_OBJECT, m, MSG_ARG_LITERAL, "9:lit");
    EXPECT_EQ(outer->err.type, 0);
    EXPECT_EQ(outer->err.severity, 3);
    EXPECT_EQ(outer->stext.args[0].desc, MSG_ARG_NESTED);
    EXPECT_STREQ(outer->stext.args[0].text, "77 5 %s+%d 2 0 1 a 1 1 5");
    EXPECT_STREQ(outer->text, "[a+5|lit]");
    EXPECT_EQ(msg_create(1, 0, nullptr), nullptr);

    auto child = run_in_child([] {
        msg_t *n = msg_create(42, 50000, "<%s>", MSG_ARG_TEXT, static_cast<const char *>(nullptr));
        std::printf("%s %d %s", n->text, n->stext.args[0].desc, n->stext.args[0].text);
    });
    EXPECT_EQ(child.out, "<null> 0 null");
    EXPECT_EQ(child.err, "passing null into one of the msg creation calls with msg id 42\n");

    // The ring of thirty-two, and copies the caller owns.
    std::thread([] {  // a fresh thread: its ring starts at the first slot
        msg_t *first = msg_create(1, 50000, "first %s", MSG_ARG_TEXT, "x");
        msg_t *keep = msg_copy(first);
        msg_t *last = nullptr;
        for (int i = 0; i < 31; ++i)
            last = msg_create(2 + i, 50000, "n");
        EXPECT_NE(last, first);
        EXPECT_STREQ(first->text, "first x") << "32 objects live at once";
        msg_t *wrapped = msg_create(99, 50000, "wrapped");
        EXPECT_EQ(wrapped, first) << "the 33rd takes the first slot";
        EXPECT_STREQ(first->text, "wrapped");
        EXPECT_FALSE(keep->in_ring);
        EXPECT_STREQ(keep->text, "first x");
        EXPECT_STREQ(keep->stext.args[0].text, "x");
        msg_free(keep);
        msg_free(wrapped);  // a ring object: emptied, its slot unused
        EXPECT_EQ(wrapped->text, nullptr);
        EXPECT_EQ(wrapped->stext.msgid, MSG_UNUSED_ID);
        msg_free(nullptr);
    })
        .join();
}

TEST(MsgRings, PoolSizeByEnvironmentReuseAndTheLiteralRing)
{
    struct Row {
        const char *value;
        int size;
        const char *line;
    };
    const Row rows[] = {
        {nullptr, 32, ""},
        {"63", 32, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 63, leaving poolsize as 32\n"},
        {"64", 64, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 64, setting poolsize to 64\n"},
        {"127", 64, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 127, setting poolsize to 64\n"},
        {"128", 128, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 128, setting poolsize to 128\n"},
    };
    for (const Row &row : rows) {
        auto child = run_in_child([&row] {
            if (row.value != nullptr)
                setenv("MSG_STRUCTURED_TEXT_POOL_SIZE", row.value, 1);
            Debug = 9;
            set_timestamps_dprintf(0);
            // A new thread reads the variable when its state is made: the
            // forked main thread may have made its pool before.
            int result = 3;
            std::thread fresh([&row, &result] {
                const char *form = "%s";
                const char *text = "t";
                int32_t desc = 0;
                structext *first = msg_structext_new(41, form, 1, &desc, &text);
                structext *second = msg_structext_new(42, form, 1, &desc, &text);
                msg_structext_free(second);  // back in the pool: reused without a line
                bool unused = second->msgid == MSG_UNUSED_ID;
                for (int i = 2; i < row.size; ++i)
                    msg_structext_new(43, form, 1, &desc, &text);
                structext *wrapped = msg_structext_new(44, "x", 0, nullptr, nullptr);
                structext *again = msg_structext_new(45, "y", 0, nullptr, nullptr);
                result = unused && wrapped == first && again == second && first->pooled ? 0 : 3;
            });
            fresh.join();
            std::exit(result);
        });
        EXPECT_EQ(child.exit_code, 0) << row.size;
        EXPECT_EQ(child.err, std::string(row.line) + "freeing unused structext with msgid 41\n")
            << row.size;
    }

    // The literal ring of two hundred.
    std::thread([] {
        char *first = msg_mlit_create(12, "abc");
        EXPECT_STREQ(first, "12:abc");
        for (int i = 1; i < MSG_LITERAL_SLOTS; ++i)
            EXPECT_NE(msg_lit_create(i, "lit"), first);
        EXPECT_STREQ(first, "12:abc") << "200 literals live at once";
        EXPECT_EQ(msg_lit_create(1, "x"), first);
        // Bounded copies never split a UTF-8 character.
        std::string big(3070, 'a');
        EXPECT_EQ(std::strlen(msg_lit_create(1, (big + "\xc3\xa9").c_str())), 3070u);
        EXPECT_EQ(std::strlen(msg_lit_create(1, (big + "b\xc3\xa9").c_str())), 3071u);
        EXPECT_EQ(std::string(msg_mlit_create(123456, big.c_str())),
                  "123456:" + big.substr(0, 3064));
        EXPECT_EQ(msg_mlit_create(1, nullptr), nullptr);
        EXPECT_EQ(msg_lit_create(1, nullptr), nullptr);
    }).join();
}

TEST(StructextCalls, BuildPopulateCopyConvertVaListFormsAndNesting)
{
    const int32_t descs[] = {0, 1, 2};
    const char *texts[] = {"a", "b", "c"};
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 2, descs, texts)), "9|%s-%s|0:a|1:b");
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 1, descs, texts)), "9|%s-%s|0:a|0:null");
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 3, descs, texts)), "9|%s-%s|0:a|1:b");
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 0, descs, texts)), "9|%s-%s");
    EXPECT_EQ(msg_structext_new(9, nullptr, 2, descs, texts), nullptr);

    structext *own = msg_structext_copy(msg_structext_new(9, "%s", 1, descs, texts));
    EXPECT_FALSE(own->pooled);
    EXPECT_EQ(msg_structext_populate(own, 3, "%s+%s", MSG_ARG_TEXT, "x", MSG_ARG_LITERAL, "4:y"),
              own);
    EXPECT_EQ(dump(own), "3|%s+%s|0:x|11:4:y");
    EXPECT_EQ(take(msg_structext_render(own)), "x+y");
    EXPECT_EQ(msg_structext_populate(own, 3, nullptr), nullptr);
    EXPECT_EQ(msg_create_from_structext(13000, own)->err.severity, 3);
    EXPECT_STREQ(msg_create_from_structext(13000, own)->text, "x+y");
    msg_structext_depopulate(own);
    EXPECT_EQ(dump(own), "3|-");
    EXPECT_EQ(msg_create_from_structext(13000, own), nullptr);
    msg_structext_free(own);

    EXPECT_EQ(take(msg_idlit_to_stbuf("123:abc")), "123 3 abc");
    EXPECT_EQ(take(msg_idlit_to_stbuf("-4:")), "-4 0 ");
    for (const char *bad : {"abc", "x:y", ":y", "99999999999:y"})
        EXPECT_EQ(msg_idlit_to_stbuf(bad), nullptr) << bad;
    EXPECT_EQ(take(msg_string_to_stbuf("hello")), "0 5 hello");
    EXPECT_EQ(take(msg_string_to_stbuf(std::string(3000, 'z').c_str())),
              "0 2047 " + std::string(2047, 'z'));
    structext *plain = msg_string_to_structext("50%s done");
    EXPECT_EQ(dump(plain), "0|50%s done");
    EXPECT_EQ(take(msg_structext_render(plain)), "50%s done")
        << "a form without its arguments shows as it is";
    msg_structext_free(plain);
    msg_t *m = msg_create_from_mlit(50000, "77:Hi %s");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 77);
    EXPECT_STREQ(m->text, "Hi %s");
    EXPECT_EQ(msg_create_from_mlit(50000, "no colon"), nullptr);
    EXPECT_EQ(msg_string_to_stbuf(nullptr), nullptr);
    EXPECT_EQ(msg_structext_render(nullptr), nullptr);

    // A conversion that prints text never gets a number as its address: such
    // forms show as they are.
    const char *texts2[] = {"1", "2"};
    const int32_t descs2[] = {MSG_ARG_NUMBER, MSG_ARG_NUMBER};
    for (const char *form : {"%zs|%ls", "%1$ld %1$s", "%1$s %1$*2$d", "%lp %s"})
        EXPECT_EQ(take(msg_structext_render(msg_structext_new(1, form, 2, descs2, texts2))), form);
    EXPECT_EQ(take(msg_structext_render(msg_structext_new(1, "%1$s %1$p %2$d", 2, descs2, texts2)))
                  .substr(0, 2),
              "1 ");

    // A hostile width cannot make the text larger than the record allows.
    const char *one = "1";
    int32_t number = MSG_ARG_NUMBER;
    std::string wide =
        take(msg_structext_render(msg_structext_new(1, "%100000000d|", 1, &number, &one)));
    EXPECT_EQ(wide.size(), 19456u + 12 + 1 - 1);
    EXPECT_EQ(wide.find_first_not_of(' '), std::string::npos) << "cut inside the padding";

    // The va_list forms match their variadic twins.
    structext *st = vcreate(5, "%s=%s", MSG_ARG_TEXT, "k", MSG_ARG_NUMBER, "7");
    EXPECT_EQ(dump(st), "5|%s=%s|0:k|1:7");
    EXPECT_EQ(vcreate(5, nullptr), nullptr);
    own = msg_structext_copy(st);
    EXPECT_EQ(vpopulate(own, 6, "<%s>", MSG_ARG_TEXT, nullptr), own);
    EXPECT_EQ(dump(own), "6|<%s>|0:null");
    msg_structext_free(own);
    m = vmessage(8, 52000, "%s=%s", MSG_ARG_TEXT, "k", MSG_ARG_NUMBER, "7");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 8);
    EXPECT_EQ(m->err.type, 5);
    EXPECT_EQ(m->err.severity, 2);
    EXPECT_STREQ(m->text, "k=7");
    EXPECT_EQ(vmessage(8, 52000, nullptr), nullptr);

    // Nested records render eight levels deep.
    // r9 = "<%s>" with "core"; each r(i) nests r(i+1) with descriptor 49.
    char *inner = nullptr;
    std::string innermost;
    for (int level = 9; level >= 0; --level) {
        int32_t desc = level == 9 ? MSG_ARG_TEXT : MSG_ARG_NESTED;
        const char *text = level == 9 ? "core" : inner;
        structext *rec = msg_structext_new(level, "<%s>", 1, &desc, &text);
        if (level == 8)
            innermost = inner;
        if (level == 0) {
            EXPECT_EQ(take(msg_structext_render(rec)),
                      std::string(9, '<') + innermost + std::string(9, '>'));
        }
        std::free(inner);
        inner = msg_structext_to_stbuf(rec);
    }
    std::free(inner);
}

// A record the test owns, with arguments from the list.
struct Record {
    structext st{};
    Record(uint32_t id, const char *form, std::vector<std::pair<int, std::string>> args)
    {
        st.msgid = id;
        st.form = strdup(form);
        st.argcount = static_cast<int32_t>(args.size());
        st.args = static_cast<structext_arg *>(calloc(args.size() + 1, sizeof(structext_arg)));
        for (size_t i = 0; i < args.size(); ++i)
            st.args[i] = {args[i].first, strdup(args[i].second.c_str())};
    }
    ~Record() { msg_structext_depopulate(&st); }
};

TEST(StructextForms, WritersByteForByte)
{
    struct Row {
        Record rec;
        const char *stbuf;
        const char *xml;
        const char *stxdr;
    };
    const Row rows[] = {
        {{12, "%s and %s", {{0, "a"}, {0, "bcd"}}},
         "12 9 %s and %s 2 0 1 a 0 3 bcd",
         "<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARGS>  <MSGARG arg=\"a\" "
         "argdesc=\"0\"/>  "
         "<MSGARG arg=\"bcd\" argdesc=\"0\"/>  </MSGARGS> </MSG>",
         "a and bcd 12 9 %s and %s 2 0 1 a 0 3 bcd"},
        {{0, "plain", {}},
         "0 5 plain",
         "<MSG id=\"0\" form=\"plain\" argcount=\"0\"> </MSG>",
         "plain 0 5 plain"},
        {{7, "<\"&'>", {}},
         "7 5 <\"&'>",
         "<MSG id=\"7\" form=\"&lt;&quot;&amp;&apos;&gt;\" argcount=\"0\"> </MSG>",
         "<\"&'> 7 5 <\"&'>"},
        {{mc_message_id(0xF000, 3), "%d%%", {{1, "42"}}},
         "-134217725 4 %d%% 1 1 2 42",
         "<MSG id=\"-134217725\" form=\"%d%%\" argcount=\"1\">  <MSGARGS>  <MSGARG arg=\"42\" "
         "argdesc=\"1\"/>  "
         "</MSGARGS> </MSG>",
         "42% -134217725 4 %d%% 1 1 2 42"},
        {{5, "%s/%s", {{11, "77:lit"}, {49, "3 4 <%s> 1 0 2 in"}}},
         "5 5 %s/%s 2 11 6 77:lit 49 17 3 4 <%s> 1 0 2 in",
         "<MSG id=\"5\" form=\"%s/%s\" argcount=\"2\">  <MSGARGS>  <MSGARG arg=\"77:lit\" "
         "argdesc=\"11\"/>  "
         "<MSGARG arg=\"3 4 &lt;%s&gt; 1 0 2 in\" argdesc=\"49\"/>  </MSGARGS> </MSG>",
         "lit/<in> 5 5 %s/%s 2 11 6 77:lit 49 17 3 4 <%s> 1 0 2 in"},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(take(msg_structext_to_stbuf(&row.rec.st)), row.stbuf);
        EXPECT_EQ(take(msg_structext_to_xmlstr(&row.rec.st)), row.xml);
        size_t len = 0;
        std::string stxdr = take(msg_structext_to_stxdrbuf(&row.rec.st, &len));
        EXPECT_EQ(stxdr, row.stxdr);
        EXPECT_EQ(stxdr.find(' ', len), len) << "the buffer form starts after the rendered text";
    }
    EXPECT_EQ(mc_facility_id(3), 0x803u);
    EXPECT_EQ(mc_message_id(3, 7), 0x08030007u);

    // A long argument is cut in the buffer form only.
    std::string big(3000, 'x');
    Record rec(1, "%s", {{0, big}});
    EXPECT_EQ(take(msg_structext_to_stbuf(&rec.st)), "1 2 %s 1 0 2047 " + big.substr(0, 2047));
    size_t len = 0;
    EXPECT_EQ(take(msg_structext_to_stxdrbuf(&rec.st, &len)), big + " 1 2 %s 1 0 3000 " + big);
    EXPECT_EQ(len, 3000u);
    EXPECT_STREQ(rec.st.args[0].text, big.c_str()) << "the record is left as it was";
}

TEST(StructextForms, BufferAndXmlParserTables)
{
    const std::string kForm = "12|%s and %s";
    const std::string kFull = kForm + "|0:a|0:bcd";
    const std::string long_token(257, '1');
    const std::pair<std::string, std::string> rows[] = {
        {"12 9 %s and %s 2 0 1 a 0 3 bcd", kFull},
        {"12 9 %s and %s 2 0 1 a 0 3 bcd trailing", kFull},
        {"12 9 %s and %s 2 0 1 a 0 0 ", kForm + "|0:a|0:"},
        {"12 9 %s and %s 2 -3 1 a 77 3 b d", kForm + "|-3:a|77:b d"},
        {"12 9 %s and %s", kForm},                  // no arguments
        {"12 9 %s and %s 3 0 1 a 0 3 bcd", kForm},  // count is not the form's
        {"12 9 %s and %s x", kForm},                // count not a number
        {"12 9 %s and %sX2 0 1 a 0 3 bcd", kForm},  // no blank before the count
        {"0 0 ", "0|"},
        {"-5 1 x", "4294967291|x"},
        {"4294967295 1 x", "4294967295|x"},
        {"4294967296 1 x", "NULL"},                   // id out of range
        {"12 9 %s and", "NULL"},                      // form past the end
        {"12 9 %s and %s 2 0 1 a 0 9 bcd", "NULL"},   // argument past the end
        {"12 9 %s and %s 2 0 1 a0 3 bcd", "NULL"},    // no blank between arguments
        {"12 9 %s and %s 2 0 1 a", "NULL"},           // an argument missing
        {"12 9 %s and %s 2 q 1 a 0 3 bcd", "NULL"},   // descriptor not a number
        {"12 9 %s and %s 2 0 -1 a 0 3 bcd", "NULL"},  // negative length
        {"12 9 %s and %s 2 0 1 a 0  3 bcd", "NULL"},  // two blanks
        {"12 6 %255$s 255 0 0 ", "NULL"},             // more arguments than fit
        {"x 9 %s and %s", "NULL"},
        {"12 z %s", "NULL"},
        {"12  9 %s and %s", "NULL"},
        {"", "NULL"},
        {"12", "NULL"},
        {"12 ", "NULL"},
        {long_token + " 1 x", "NULL"},
    };
    for (const auto &[text, expect] : rows)
        EXPECT_EQ(parsed(msg_stbuf_to_structext(text.c_str())), expect) << text;
    EXPECT_EQ(msg_stbuf_to_structext(nullptr), nullptr);

    // The rendered-plus-buffer form: the rendered length finds the buffer.
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("a and bcd 12 9 %s and %s 2 0 1 a 0 3 bcd", 9)),
              kFull);
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("a and bcd 12 9 %s and %s 2 0 1 a 0 3 bcd", 8)),
              "NULL");
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("short", 5)), "NULL");
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("short", SIZE_MAX)), "NULL");
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext(nullptr, 0)), "NULL");

    // The XML parser.
    const std::string kHead = "<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\"> ";
    const std::string kArgs =
        " <MSGARGS>  <MSGARG arg=\"a\" argdesc=\"0\"/>  <MSGARG arg=\"&lt;&quot;x&bogus;&amp;\" "
        "argdesc=\"3\"/>  </MSGARGS> </MSG>";
    const std::pair<std::string, std::string> xml_rows[] = {
        {kHead + kArgs, "12|%s and %s|0:a|3:<\"x&bogus;&"},
        {"junk " + kHead + kArgs, "12|%s and %s|0:a|3:<\"x&bogus;&"},
        {"<MSG id=\"1\" form=\"&amp;amp;\" argcount=\"0\"> </MSG>", "1|&amp;"},
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"3\"> " + kArgs,
         "12|%s and %s"},  // count not the form's
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARG arg=\"a\" argdesc=\"0\"/> "
         "</MSG>",
         "NULL"},
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARG arg=\"a\" argdesc=\"z\"/>",
         "NULL"},
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARG arg=\"a", "NULL"},
        {"<MSG form=\"x\" argcount=\"0\"> </MSG>", "NULL"},
        {"<MSG id=\"1\" argcount=\"0\"> </MSG>", "NULL"},
        {"<MSG id=\"1\" form=\"x\"> </MSG>", "NULL"},
        {"<MSG id=\"1\" form=\"x", "NULL"},
        {"<MSGX id=\"1\" form=\"x\" argcount=\"0\">", "NULL"},
        {"<MSG id=\"1\" form=\"%255$s\" argcount=\"255\"> </MSG>", "NULL"},
        {"", "NULL"},
    };
    for (const auto &[text, expect] : xml_rows)
        EXPECT_EQ(parsed(msg_xmlstr_to_structext(text.c_str())), expect) << text;
    EXPECT_EQ(msg_xmlstr_to_structext(nullptr), nullptr);
    EXPECT_TRUE(is_structext_xml("x<MSG y</MSG>"));
    EXPECT_FALSE(is_structext_xml("<MSG id=\"1\""));
    EXPECT_FALSE(is_structext_xml("</MSG>"));
    EXPECT_FALSE(is_structext_xml(nullptr));
}

// Texts with everything the forms must carry: blanks, quotes, markup
// characters, digits, empty texts, long texts and nested records.
std::string random_text(std::mt19937 &rng)
{
    static const char kAlphabet[] = " \"'<>&;:%0123456789abcXYZ\xc3\xa9";
    std::string s;
    size_t n = rng() % 12 == 0 ? 3000 : rng() % 20;
    for (size_t i = 0; i < n; ++i)
        s += kAlphabet[rng() % (sizeof kAlphabet - 1)];
    return s;
}

std::vector<std::pair<int, std::string>> random_args(std::mt19937 &rng, int count, int depth);

std::string nested_stbuf(std::mt19937 &rng, int depth)
{
    auto args = random_args(rng, 1, depth + 1);
    Record inner(rng() % 1000, "<%s>", args);
    return take(msg_structext_to_stbuf(&inner.st));
}

std::vector<std::pair<int, std::string>> random_args(std::mt19937 &rng, int count, int depth)
{
    std::vector<std::pair<int, std::string>> args;
    for (int i = 0; i < count; ++i) {
        if (depth < 3 && rng() % 4 == 0)
            args.push_back({MSG_ARG_NESTED, nested_stbuf(rng, depth)});
        else
            args.push_back({static_cast<int>(rng() % 60) - 5, random_text(rng)});
    }
    return args;
}

TEST(StructextForms, ParseOfPrintRoundTrips)
{
    std::mt19937 rng(20261125);
    const char *forms[] = {"",          "no conversions <&>", "%s",
                           "%s and %s", "%2$s %1$s %3$s",     "%d: \"%s\" %%"};
    for (int i = 0; i < 400; ++i) {
        const char *form = forms[i % 6];
        int count = get_formatted_args_num(form);
        Record rec(static_cast<uint32_t>(rng()), form, random_args(rng, count, 0));
        std::string want = dump(&rec.st);
        size_t len = 0;
        char *stxdr = msg_structext_to_stxdrbuf(&rec.st, &len);
        EXPECT_EQ(parsed(msg_stxdrbuf_to_structext(stxdr, len)), want);
        std::free(stxdr);
        EXPECT_EQ(parsed(msg_xmlstr_to_structext(take(msg_structext_to_xmlstr(&rec.st)).c_str())),
                  want);
        // The buffer form gives the record back with long texts cut.
        for (int a = 0; a < rec.st.argcount; ++a)
            if (std::strlen(rec.st.args[a].text) > MSG_STBUF_ARG_MAX)
                rec.st.args[a].text[MSG_STBUF_ARG_MAX] = '\0';
        EXPECT_EQ(parsed(msg_stbuf_to_structext(take(msg_structext_to_stbuf(&rec.st)).c_str())),
                  dump(&rec.st));
    }
}

}  // namespace
