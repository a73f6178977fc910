// The debug log: prefixes, process and thread streams, lent streams,
// dfopen twice, the fallbacks to standard error, the va_list forms,
// verbprint's strict level, printerr's accrual decision, and preflen; and
// debug lines written at once by several threads and several processes to
// one file, and by several threads to one pipe: each line arrives whole.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <thread>
#include <vector>

#include "child_exit.hpp"
#include "capture_fd.hpp"
#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "debug_scope.hpp"
#include "diagnostics/debug_line.hpp"
#include "va_fronts.hpp"

using cairn::testing::CaptureFd;
using cairn::testing::DebugScope;
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

class TempDir {
public:
    TempDir()
    {
        char tmpl[] = "/tmp/cairn-dlog-XXXXXX";
        dir_ = mkdtemp(tmpl);
    }
    ~TempDir() { std::system(("rm -rf " + dir_).c_str()); }
    std::string file(const char *name) const { return dir_ + "/" + name; }

private:
    std::string dir_;
};

TEST(DebugLog, ProcessStreamLevelsPrefixesAndStamps)
{
    TempDir tmp;
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

TEST(DebugLog, ProcessAndThreadStreamsBothWrittenProcessFirst)
{
    TempDir tmp;
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
}

TEST(DebugLog, DfopenTwiceEmptyNamesAndFailures)
{
    TempDir tmp;
    std::string a = tmp.file("a.log"), b = tmp.file("b.log");
    ox_set_progname("prog");
    DebugScope scope(1, 0);
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
    TempDir tmp;
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
    TempDir tmp;
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

}  // namespace
