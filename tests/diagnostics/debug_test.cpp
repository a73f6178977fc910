// The debug log: prefixes, process and thread streams, lent streams,
// dfopen twice, the fallbacks to standard error, the va_list forms,
// verbprint's strict level, printerr's accrual decision, and preflen; and
// debug lines written at once by several threads and several processes to
// one file, and by several threads to one pipe: each line arrives whole.
//
// The debug-control channel: the setting-line grammar, the keyword table,
// the notice and invalid-value lines byte for byte, the control file applied
// and deleted; as another local user sees it (the debug event fired by
// another uid is ignored, the control file is refused when it is a symbolic
// link, another user's file, writable by others or not a regular file, a
// process that cannot have its event name says so once; the other user runs
// as uid 65534 in a forked child, and where the test may not change uid it
// skips); and the census a process gives an operator, with the request
// call's answers when nobody listens.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <thread>
#include <vector>

#include "child_exit.hpp"
#include "capture_fd.hpp"
#include "cairn/concurrency.h"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "child_process.hpp"
#include "debug_capture.hpp"
#include "diagnostics/debug_control.hpp"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/debug_settings.hpp"
#include "../messages/log_dir.hpp"
#include "frame/process_identity.hpp"
#include "messages/msg_identity.hpp"
#include "platform/named_event.hpp"
#include "va_fronts.hpp"

using cairn::testing::CaptureFd;
using cairn::testing::DebugScope;
using cairn::testing::eventually;
using cairn::testing::run_in_child;

namespace {

std::string read_file(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

CAIRN_VA_FRONT_VOID(vdprintf_at, (int level, const char *fmt, ...), fmt, ox_vdprintf, level, fmt)
CAIRN_VA_FRONT_VOID(printerr_through_v, (const char *fmt, ...), fmt, vprinterr, fmt)
CAIRN_VA_FRONT_VOID(vdfprintf_at, (int level, const char *fmt, ...), fmt, vdfprintf, level, fmt)
CAIRN_VA_FRONT_VOID(printinfo_through_v, (const char *fmt, ...), fmt, vprintinfo, fmt)

TEST(DebugLog, ProcessStreamLevelsPrefixesAndStamps)
{
    cairn::testing::LogDir tmp;
    std::string path = tmp.file("proc.log");
    ox_set_progname("/usr/bin/Prog.exe");
    DebugScope scope(2, 0);
    dfopen(path.c_str());
    ASSERT_NE(dfopen_filehndl(), nullptr);
    dfprintf(2, "two %d\n", 2);
    dfprintf(3, "three\n");  // above the level: nothing
    CAIRN_DEBUG(2, 0, "internal %s\n", "line");
    dfclose();
    EXPECT_EQ(dfopen_filehndl(), nullptr);
    std::string text = read_file(path);
    // The open note comes through debugprintf(), so it carries the stamp.
    std::string note = " dfopen: Opened file " + path + " for dprintf writing.\n";
    std::size_t at = text.find(note);
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_EQ(at, std::string("prog: 11/15/26 18:22:52.123456").size()) << text;
    EXPECT_EQ(text.substr(at + note.size()), "prog: two 2\nprog: internal line\n");

    // debugprintf's stamp, and the time-stamped prefix.
    path = tmp.file("stamp.log");
    Debug = 0;  // no open note this time
    dfopen(path.c_str());
    debugprintf("hello\n");
    set_timestamps_dprintf(0);
    debugprintf("plain\n");
    set_timestamps_dprintf(1);
    print_timestamps(1);
    dfprintf(0, "dated\n");
    print_timestamps(0);
    dfclose();
    std::istringstream lines(read_file(path));
    std::string l1, l2, l3;
    std::getline(lines, l1);
    std::getline(lines, l2);
    std::getline(lines, l3);
    // "prog: MM/DD/YY HH:MM:SS.uuuuuu hello"
    ASSERT_EQ(l1.size(), std::string("prog: 11/15/26 18:22:52.123456 hello").size()) << l1;
    EXPECT_EQ(l1.substr(0, 6), "prog: ");
    EXPECT_EQ(l1[8], '/');
    EXPECT_EQ(l1[23], '.');
    EXPECT_EQ(l1.substr(30), " hello");
    EXPECT_EQ(l2, "prog: plain");
    ASSERT_EQ(l3.size(), std::string("11/15/26 18:22:52 prog: dated").size()) << l3;
    EXPECT_EQ(l3.substr(17), " prog: dated");
}

TEST(DebugLog, ProcessAndThreadStreamsDfopenTwiceEmptyNamesAndFailures)
{
    cairn::testing::LogDir tmp;
    std::string p = tmp.file("p.log"), t = tmp.file("t.log"), shared = tmp.file("both.log");
    ox_set_progname("prog");
    DebugScope scope(1, 0);
    std::FILE *both = std::fopen(shared.c_str(), "a");
    setvbuf(both, nullptr, _IONBF, 0);
    dfopen(p.c_str());
    dfopen_at_thread_level(t.c_str());
    ASSERT_NE(dfopen_thread_filehndl(), nullptr);
    dfprintf(1, "line\n");
    // A new thread starts without a thread stream.
    std::FILE *seen = reinterpret_cast<std::FILE *>(1);
    std::thread([&] {
        seen = dfopen_thread_filehndl();
        dfprintf(1, "other\n");
    }).join();
    EXPECT_EQ(seen, nullptr);
    dfclose_at_thread_level();
    dfclose();
    EXPECT_EQ(read_file(t), "prog: line\n");
    std::string ptext = read_file(p);
    EXPECT_NE(ptext.find("prog: line\nprog: other\n"), std::string::npos) << ptext;

    // Both lent the same stream: the process line comes first, then the
    // thread's copy.
    dfopen_use_existing_filehndl(both);
    dfopen_use_existing_thread_filehndl(both);
    vdprintf_at(0, "diag %s\n", "x");
    vdprintf_at(1, "one\n");
    dfclose();
    dfclose_at_thread_level();
    EXPECT_EQ(std::fputs("still open\n", both) >= 0, true) << "a lent stream survives dfclose";
    std::fclose(both);
    EXPECT_EQ(
        read_file(shared),
        "prog: Diagnostic: diag x\nprog: Diagnostic: diag x\nprog: one\nprog: one\nstill open\n");

    // dfopen twice, with empty names, and failing.
    std::string a = tmp.file("a.log"), b = tmp.file("b.log");
    dfopen(a.c_str());
    std::FILE *first = dfopen_filehndl();
    dfopen(b.c_str());  // warns into a.log, then replaces it without closing
    EXPECT_NE(dfopen_filehndl(), first);
    EXPECT_GE(std::fputs("first still open\n", first), 0);
    std::fclose(first);
    dfopen(nullptr);
    dfopen("");
    std::FILE *second = dfopen_filehndl();
    EXPECT_NE(second, nullptr) << "NULL and empty names keep the stream";
    dfclose();
    EXPECT_NE(read_file(a).find("dfopen: Warning. An Outfile already exists. Simply ignore it.\n"),
              std::string::npos);
    EXPECT_NE(read_file(a).find("first still open\n"), std::string::npos);

    // An open failure leaves no stream; the note goes to standard error.
    auto child = run_in_child([] {
        Debug = 2;
        ox_set_progname("prog");
        dfopen("/nonexistent-dir/x.log");
        std::printf("%d", dfopen_filehndl() == nullptr);
        dfopen_use_existing_filehndl(nullptr);
        dfopen_at_thread_level(nullptr);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "1");
    EXPECT_NE(child.err.find(" dfopen: Unable to open file /nonexistent-dir/x.log for writing.\n"),
              std::string::npos)
        << child.err;
    EXPECT_NE(child.err.find("dfopen_use_existing_filehndl: fhp is null ... \n"),
              std::string::npos);
    EXPECT_NE(child.err.find("dfopen_thread_level: filename is null ... \n"), std::string::npos);
}

TEST(DebugLog, FallbacksToStandardError)
{
    auto child = run_in_child([] {
        ox_set_progname("prog");
        Debug = 1;
        dfprintf(1, "fallback %d\n", 7);
        dfprintf(2, "hidden\n");
        debugprintf("stamped\n");
        set_timestamps_dprintf(0);
        debugprintf("bare\n");
        CAIRN_DEBUG(1, 0, "lib %s\n", "line");
        vdfprintf_at(1, "shown %d\n", 1);
        vdfprintf_at(2, "hidden\n");
    });
    ASSERT_TRUE(child.exited);
    std::string err = child.err;
    EXPECT_EQ(err.find("hidden"), std::string::npos);
    EXPECT_EQ(err.substr(0, 17), "prog: fallback 7\n") << err;
    // debugprintf without a stream: stamp, no program-name prefix.
    std::size_t at = err.find("stamped\n");
    ASSERT_NE(at, std::string::npos);
    std::size_t line_start = err.rfind('\n', at) + 1;
    EXPECT_EQ(at - line_start, std::string("11/15/26 18:22:52.123456 ").size()) << err;
    EXPECT_EQ(err.find("prog: 1", line_start), std::string::npos);
    EXPECT_NE(err.find("\nbare\nprog: lib line\nprog: shown 1\n"), std::string::npos) << err;
}

TEST(DebugLog, VerbprintStrictLevelPrinterrPrintinfoAndAccrual)
{
    auto child = run_in_child([] {
        setenv("BXR_STRICT_LEVEL", "3", 1);
        Debug = 5;
        for (int level = -1; level <= 6; ++level)
            verbprint(level, "[%d]", level);
        unsetenv("BXR_STRICT_LEVEL");
        Debug = 2;
        for (int level = 0; level <= 4; ++level)
            verbprint(level, "<%d>", level);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.err, "[-1][0][3]<0><1><2>");

    // printerr, printinfo and the accrual decision.
    child = run_in_child([] {
        ox_set_progname("prog");
        printerr("before\n");  // accrual is off until blow_err()
        blow_err(0);
        printerr("disk %s failed\n", "d1");
        printerr("warning: disk %s slow\n", "d2");
        msg_t *chain = blow_err(1);
        std::fprintf(stderr, "{%s}", chain ? chain->text : "none");
        printinfo("info %d\n", 5);
        printinfo_through_v("info %s\n", "five");
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.err, "prog: before\nprog: disk d1 failed\nprog: warning: disk d2 slow\n"
                         "{prog: disk d1 failed\n}");
    EXPECT_EQ(child.out, "prog: info 5\nprog: info five\n");

    // The program name is part of the format: its "%" is read as a conversion.
    auto odd = run_in_child([] {
        ox_set_progname("p%sq");
        printerr_through_v("x\n", "S");
    });
    EXPECT_EQ(odd.err, "pSq: x\n");
}

TEST(DebugLog, SettersDefaultsAndPrefixLengths)
{
    EXPECT_EQ(DriveStealExclusion, 30);
    EXPECT_EQ(need_timestamps(), 0);
    EXPECT_EQ(get_timestamps_dprintf(), 1);
    int32_t saved = Debug;
    EXPECT_EQ(liblvars_set_debug(99), 99);
    EXPECT_EQ(Debug, 99) << "no upper bound here";
    Debug = saved;
    EXPECT_EQ(print_timestamps(0), 0);
    // Forgetting a thread stream does not close it.
    cairn::testing::LogDir tmp;
    std::string path = tmp.file("v.log");
    std::FILE *fp = std::fopen(path.c_str(), "a");
    dfopen_use_existing_thread_filehndl(fp);
    EXPECT_EQ(dfopen_thread_filehndl(), fp);
    dfopen_varp_reset();
    EXPECT_EQ(dfopen_thread_filehndl(), nullptr);
    EXPECT_GE(std::fputs("x", fp), 0);
    std::fclose(fp);

    // How much of a path a prefix covers.
    const std::tuple<const char *, const char *, int> cases[] = {
        {"C:\\dir", "c:", 2},    {"\\dir\\x", "\\dir", 4}, {"\\dirx", "\\dir", 0},
        {"\\anything", "\\", 1}, {"C:\\dir", "c:\\", 3},   {"C:dir", "c:\\", 0},
        {"\\DIR", "\\dir", 4},   {"\\di", "\\dir", 0},     {"", "", 0},
        {"abc", "", 0},          {"\\dir/x", "\\dir", 0},  {"ab", "ab", 2},
    };
    for (auto [whole, prefix, expected] : cases)
        EXPECT_EQ(preflen(whole, prefix), expected) << whole << " / " << prefix;
    EXPECT_EQ(preflen(nullptr, "a"), 0);
    EXPECT_EQ(preflen("a", nullptr), 0);
}

constexpr int kThreads = 4;
constexpr int kLinesPerThread = 150;

// Lines of `payload` copies of one letter per writer, tagged with the
// writer, so that a line cut by another's bytes shows.
void write_lines(int writer, std::size_t payload)
{
    std::string body(payload, static_cast<char>('a' + writer % 26));
    for (int i = 0; i < kLinesPerThread; ++i)
        dfprintf(1, "w%02d %s\n", writer, body.c_str());
}

void run_writers(int first_writer, std::size_t payload)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(write_lines, first_writer + t, payload);
    for (std::thread &t : threads)
        t.join();
}

// Every line is "prog: wNN " and the writer's letter, whole, and each of
// `writers` writers wrote all its lines.
void check_lines(const std::string &text, std::size_t payload, int writers)
{
    std::map<int, int> per_writer;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        const std::string head = "prog: w";
        EXPECT_EQ(line.compare(0, head.size(), head), 0) << line.substr(0, 40);
        if (line.size() != head.size() + 3 + payload) {
            ADD_FAILURE() << "line of " << line.size() << " bytes: " << line.substr(0, 40);
            continue;
        }
        int writer = std::atoi(line.c_str() + head.size());
        std::string body = line.substr(head.size() + 3);
        EXPECT_EQ(body, std::string(payload, static_cast<char>('a' + writer % 26)));
        ++per_writer[writer];
    }
    EXPECT_EQ(per_writer.size(), static_cast<std::size_t>(writers));
    for (const auto &[writer, lines] : per_writer)
        EXPECT_EQ(lines, kLinesPerThread) << "writer " << writer;
}

// Lines longer than any stdio buffer, from threads of four processes that
// share one debug file.
TEST(DebugLines, ThreadsAndProcessesNeverInterleave)
{
    cairn::testing::LogDir tmp;
    const std::string path = tmp.file("lines.log");
    const std::size_t payload = 9000;
    constexpr int kProcesses = 3;
    ox_set_progname("prog");
    DebugScope scope(1, 0);

    std::vector<pid_t> children;
    for (int p = 1; p <= kProcesses; ++p) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            dfopen(path.c_str());
            run_writers(p * kThreads, payload);
            dfclose();
            cairn::testing::child_exit(0);
        }
        children.push_back(pid);
    }
    dfopen(path.c_str());
    run_writers(0, payload);
    dfclose();
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    check_lines(read_file(path), payload, kThreads * (kProcesses + 1));
}

// A pipe takes a write of up to PIPE_BUF bytes whole: lines that fit arrive
// whole from several threads, also through a buffered stream.
TEST(DebugLines, PipeLinesStayWhole)
{
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::FILE *writer = fdopen(fds[1], "w");  // fully buffered
    ASSERT_NE(writer, nullptr);
    std::string received;
    std::thread reader([&] {
        char buf[8192];
        ssize_t n;
        while ((n = read(fds[0], buf, sizeof buf)) > 0)
            received.append(buf, static_cast<std::size_t>(n));
    });
    ox_set_progname("prog");
    DebugScope scope(1, 0);
    const std::size_t payload = PIPE_BUF - 16;
    dfopen_use_existing_filehndl(writer);
    run_writers(0, payload);
    dfclose();
    std::fclose(writer);
    reader.join();
    close(fds[0]);
    check_lines(received, payload, kThreads);
}

// Numbers and bit lists: what parses, to what, and that a failed parse
// stores nothing.
TEST(SettingNumbers, SyntaxAndBitListsAsTables)
{
    // Each row: the text, whether it parses, and its value.
    const std::tuple<const char *, bool, int32_t> cases[] = {
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
    for (auto [text, ok, value] : cases) {
        int32_t v = -999;
        EXPECT_EQ(cairn::parse_setting_number(text, &v), ok) << text;
        EXPECT_EQ(v, ok ? value : -999) << text << ": a failed parse must not store";
    }
    int32_t unset;
    EXPECT_FALSE(cairn::parse_setting_number(nullptr, &unset));

    const std::tuple<const char *, bool, uint32_t> bit_cases[] = {
        {"1,2,5", true, 0x13}, {"0", true, 0},    {"1", true, 1},     {"32", true, 0x80000000u},
        {"33", true, 1},       {"-4,2", true, 2}, {"0x3", true, 4},   {"1, 2", true, 3},
        {"1,", false, 0},      {",1", false, 0},  {"1,,2", false, 0}, {"x", false, 0},
        {"2junk,3", true, 6},
    };
    for (auto [text, ok, value] : bit_cases) {
        uint32_t v = 0xdead;
        EXPECT_EQ(cairn::parse_setting_bits(text, &v), ok) << text;
        EXPECT_EQ(v, ok ? value : 0xdeadu) << text;
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

TEST(SettingLines, KeywordTableTraceAndMessageNumberSwitch)
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
    for (const KeywordCase &c : cases)
        *c.variable = 0;
    DriveStealExclusion = saved_dse;

    // The trace bits and the message-number switch.
    CaptureFd err(2);
    OxTrace = 0;
    cairn::apply_setting_line("Trace=1,2");
    EXPECT_EQ(OxTrace, 3u);
    cairn::apply_setting_line("trace = 32,1");
    EXPECT_EQ(OxTrace, 0x80000001u);
    cairn::apply_setting_line("Trace=1,,2");  // invalid: kept
    EXPECT_EQ(OxTrace, 0x80000001u);

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
    OxTrace = 0;
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
    // The value is echoed only in part (64 bytes) and without terminal
    // escapes, the line bounded to 512 bytes with the terminator.
    std::string huge(2000, 'v');
    huge[10] = '\x1b';
    len = cairn::format_invalid_value(buf, sizeof buf, huge.c_str(), "Debug");
    std::string echoed(64, 'v');
    echoed[10] = '?';
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

constexpr uid_t kNobody = 65534;
constexpr int kCannotChangeUid = 77;

// Run `body` as uid 65534 in a forked child; its exit status is the
// result (0 for success), kCannotChangeUid when the uid cannot be had.
int run_as_other_user(const std::function<int()> &body)
{
    pid_t pid = fork();
    if (pid == 0) {
        if (setgid(kNobody) != 0 || setuid(kNobody) != 0 || getuid() != kNobody)
            _exit(kCannotChangeUid);
        cairn::testing::child_exit(body());
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

#define SKIP_UNLESS_ROOT()                                                                         \
    do {                                                                                           \
        if (geteuid() != 0)                                                                        \
            GTEST_SKIP() << "needs root to run the other user (uid 65534) in a child";             \
    } while (0)

std::atomic<int> g_fired{0};
int count_firing(int) { return g_fired.fetch_add(1) + 1; }

TEST(DebugEventSecurity, AnotherUsersFiringIsIgnored)
{
    SKIP_UNLESS_ROOT();
    ASSERT_NE(regevent(OX_DEBUG_EVENT, count_firing), nullptr);
    unsigned long refused_before = cairn::named_event_refusals();
    pid_t me = getpid();
    int rc = run_as_other_user([me] { return ox_debug_event_signal(me) == 0 ? 0 : 2; });
    if (rc == kCannotChangeUid)
        GTEST_SKIP() << "setuid(65534) is not permitted here";
    ASSERT_EQ(rc, 0) << "the other user's datagram was not even sent";
    // The watcher received it and dropped it.
    ASSERT_TRUE(eventually([&] { return cairn::named_event_refusals() > refused_before; }));
    EXPECT_EQ(g_fired.load(), 0);
    // The process's own user still reaches it.
    ASSERT_EQ(ox_debug_event_signal(me), 0);
    ASSERT_TRUE(eventually([] { return g_fired.load() >= 1; }));
    EXPECT_EQ(g_fired.load(), 1);
    regevent(OX_DEBUG_EVENT, nullptr);
}

TEST(DebugEventSecurity, ANameTakenFirstIsReportedOnce)
{
    auto child = run_in_child([] {
        // Someone else binds this process's event name before it does.
        char name[64];
        std::snprintf(name, sizeof name, "%dDEBUGEVENT", static_cast<int>(getpid()));
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::memcpy(addr.sun_path + 1, name, std::strlen(name));
        int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        auto len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + std::strlen(name));
        if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&addr), len) != 0)
            std::exit(3);
        Debug = 0;  // the line is written whatever the level
        int first = ox_debug_event_start();
        int second = ox_debug_event_start();
        std::printf("%d %d", first != 0, second != 0);
    });
    ASSERT_TRUE(child.exited);
    ASSERT_NE(child.exit_code, 3);
    EXPECT_EQ(child.out, "1 1");
    std::string needle = "cannot watch the debug event ";
    std::size_t at = child.err.find(needle);
    ASSERT_NE(at, std::string::npos) << child.err;
    EXPECT_EQ(child.err.find(needle, at + 1), std::string::npos) << "told more than once:\n"
                                                                 << child.err;
}

// A control directory anyone may create files in, as a temporary
// directory is (sticky, world-writable).
struct SharedDir {
    char path[64] = "/tmp/cairn-ctlsec-XXXXXX";
    SharedDir()
    {
        if (mkdtemp(path) == nullptr || chmod(path, 01777) != 0)
            path[0] = '\0';
    }
    std::string file() const { return std::string(path) + "/oxdbg.tmp"; }
};

void write_file(const std::string &path, const char *content, mode_t mode)
{
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
    if (fd >= 0) {
        ssize_t n = write(fd, content, std::strlen(content));
        (void)n;
        fchmod(fd, mode);
        close(fd);
    }
}

bool exists(const std::string &path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

TEST(ControlFileSecurity, ForeignSymlinkedAndWorldWritableFilesAreRefused)
{
    SKIP_UNLESS_ROOT();
    auto child = run_in_child([] {
        SharedDir dir;
        if (dir.path[0] == '\0')
            std::exit(3);
        cairn::set_debug_control_path(dir.path);
        std::string ctl = dir.file();
        Debug = 1;

        // Fire the event and tell the level and whether the file is left.
        auto fire = [&ctl](const char *what) {
            ondbgintr(OX_DEBUG_EVENT);
            std::printf("%s=%d,%d ", what, Debug, exists(ctl));
            unlink(ctl.c_str());
        };
        // Another user's file.
        int rc = run_as_other_user([&ctl] {
            write_file(ctl, "Debug=9\n", 0644);
            return exists(ctl) ? 0 : 2;
        });
        if (rc == kCannotChangeUid)
            std::exit(4);
        fire("foreign");
        // A symbolic link to a file the process may read, which stays.
        std::string target = std::string(dir.path) + "/target";
        write_file(target, "Debug=8\n", 0600);
        if (symlink(target.c_str(), ctl.c_str()) != 0)
            std::exit(5);
        fire("link");
        std::printf("target=%d ", exists(target));
        unlink(target.c_str());
        // The process's own file, but anyone may write it.
        write_file(ctl, "Debug=7\n", 0666);
        fire("open");
        // A FIFO: not a regular file, and the handler must not block on it.
        if (mkfifo(ctl.c_str(), 0600) != 0)
            std::exit(6);
        fire("fifo");
        // The process's own, private file is applied and removed.
        write_file(ctl, "Debug=6\n", 0600);
        fire("own");
        rmdir(dir.path);
    });
    ASSERT_TRUE(child.exited);
    if (child.exit_code == 4)
        GTEST_SKIP() << "setuid(65534) is not permitted here";
    ASSERT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, "foreign=1,1 link=1,1 target=1 open=1,1 fifo=1,1 own=6,0 ");
    for (const char *why : {"owned by another user", "a symbolic link", "writable by other users",
                            "not a regular file"})
        EXPECT_NE(child.err.find(std::string("refused: ") + why), std::string::npos) << why << "\n"
                                                                                     << child.err;
}

std::string census()
{
    std::size_t length = ox_process_stats(nullptr, 0);
    std::vector<char> buf(length + 1, 'x');
    EXPECT_EQ(ox_process_stats(buf.data(), buf.size()), length);
    return std::string(buf.data());
}

// The count on the census line "  <type>: <n>", or -1 when there is none.
long count_of(const std::string &text, const std::string &type)
{
    std::size_t at = text.find("  " + type + ": ");
    return at == std::string::npos ? -1 : std::stol(text.substr(at + type.size() + 4));
}

TEST(ProcessStats, CensusCountsLiveObjectsAndIsBoundedRequestsToNobodyFail)
{
    std::string before = census();
    ASSERT_GE(before.size(), 13u);
    EXPECT_EQ(before.substr(before.size() - 13), "end of stats\n");
    ox_mutex *held[3] = {ox_mutex_new(), ox_mutex_new(), ox_mutex_new()};
    std::string during = census();
    long had = count_of(before, "mutex");
    EXPECT_EQ(count_of(during, "mutex"), (had < 0 ? 0 : had) + 3) << during;
    for (ox_mutex *m : held)
        ox_event_destroy(m);
    EXPECT_EQ(count_of(census(), "mutex"), had) << "the census is read afresh each time";

    // A short buffer gets a terminated prefix and the whole length.
    char small[10];
    std::size_t whole = ox_process_stats(small, sizeof small);
    EXPECT_GT(whole, sizeof small);
    EXPECT_EQ(std::string(small), census().substr(0, 9));

    // Events and requests to nobody fail clearly.
    EXPECT_EQ(regevent(5, ondbgintr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_NE(ox_debug_event_signal(0), 0);
    // Nobody watches the event of a process that does not exist.
    EXPECT_NE(ox_debug_event_signal(999999999), 0);
    char answer[64] = "untouched";
    EXPECT_EQ(ox_debug_request(0, "status", answer, sizeof answer, 100, nullptr, nullptr),
              OX_EINVAL);
    EXPECT_EQ(ox_debug_request(999999999, nullptr, answer, sizeof answer, 100, nullptr, nullptr),
              OX_EINVAL);
    // A process id that no program watches: refused at once.
    EXPECT_EQ(ox_debug_request(999999999, "status", answer, sizeof answer, 100, nullptr, nullptr),
              OX_ECONNREFUSED);
    EXPECT_EQ(ox_error_get_last(), OX_ECONNREFUSED);
}

}  // namespace
