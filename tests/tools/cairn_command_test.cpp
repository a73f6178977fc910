// The operator's `cairn` command, run as a subprocess: exit codes, --json,
// --help, and `debug` and `stats` against a running program of the library.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "child_process.hpp"

namespace {

using cairn::testing::ChildResult;

ChildResult cairn_cmd(std::vector<std::string> args)
{
    args.insert(args.begin(), "cairn");
    return cairn::testing::run_in_child([&] {
        std::vector<char *> argv;
        for (auto &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(CAIRN_TOOL, argv.data());
        _exit(127);
    });
}

// Whether every line of `text` is one JSON document (python3 is a build
// requirement; it starts slowly, so outputs are checked together).
bool valid_json(const std::string &text)
{
    std::string cmd = "python3 -c 'import json,sys; [json.loads(l) for l in sys.stdin]'";
    FILE *p = popen(cmd.c_str(), "w");
    if (p == nullptr)
        return false;
    fwrite(text.data(), 1, text.size(), p);
    return pclose(p) == 0;
}

struct Case {
    std::vector<std::string> args;
    int exit_code;
    const char *out_has;  // in standard output, or nullptr
};

TEST(CairnCommand, SubcommandsAsATable)
{
    const Case cases[] = {
        {{"--help"}, 0, "exit codes"},
        {{}, 2, nullptr},
        {{"nosuch"}, 2, nullptr},
        {{"error", "--help"}, 0, "usage: cairn [--json] error"},
        {{"error", "49"}, 0, "name: OX_ENOENT"},
        {{"error", "ENOENT"}, 0, "native: 2"},
        {{"error", "10061", "--winsock"}, 0, "code: 16"},
        {{"error", "2", "--errno"}, 0, "No such file or directory"},
        {{"error", "83"}, 0, "kind: none"},
        {{"error", "86"}, 2, nullptr},
        {{"error", "12x", "--errno"}, 2, nullptr},
        {{"error", "1", "--errno", "--win32"}, 2, nullptr},
        {{"error", "1", "--bogus"}, 2, nullptr},
        {{"path", "canon", "/a/./b/../c"}, 0, "/a/c\n"},
        {{"path", "canon", "c:/Temp//x/./y/..", "--sep", "\\"}, 0, "C:\\Temp\\x\n"},
        {{"path", "parent", "/a/b"}, 0, "/a\n"},
        {{"path", "parent", "abc"}, 1, nullptr},
        {{"path", "depth", "/a/b"}, 0, "2\n"},
        {{"path", "full", "/x/../y"}, 0, "/y\n"},
        {{"path", "depth", "/a", "--sep", "x"}, 2, nullptr},
        {{"path", "split", "/a"}, 2, nullptr},
        {{"path", "canon"}, 2, nullptr},
        {{"time", "iso8601", "0"}, 0, "utc: 1970-01-01T00:00:00Z"},
        {{"time", "parse", "2021-06-21T10:00:00Z"}, 0, "seconds: 1624269600"},
        {{"time", "parse", "yesterday"}, 1, nullptr},
        {{"time", "iso8601", "99999999999999"}, 2, nullptr},
        {{"time", "now"}, 0, "seconds: "},
        {{"time"}, 2, nullptr},
        {{"debug", "abc", "Debug=3"}, 2, nullptr},
        {{"debug", "1"}, 2, nullptr},
        {{"debug", "1", "Debug=3\nTrace=1"}, 2, nullptr},
        {{"stats", "0"}, 2, nullptr},
        {{"stats", "1", "--file"}, 2, nullptr},
        {{"demo", "--duration", "0"}, 2, nullptr},
        {{"addr", "cmp", "10.0.0.1", "::ffff:10.0.0.1"}, 0, "same\n"},
        {{"addr", "cmp", "10.0.0.1", "10.0.0.2"}, 0, "different\n"},
        {{"addr", "mask", "10.1.2.3", "24"}, 0, "netmask: 255.255.255.0"},
        {{"addr", "mask", "::1", "60"}, 0, "prefix: "},
        {{"addr", "mask", "10.1.2.3", "129"}, 2, nullptr},
        {{"addr", "hex", "10.0.0.1"}, 0, "a000001"},
        {{"addr", "hex", "not-an-address"}, 2, nullptr},
        {{"addr", "cmp", "10.0.0.1"}, 2, nullptr},
        {{"resolve", "0.0.0.0"}, 0, "0.0.0.0"},
        {{"resolve", ""}, 2, nullptr},
        {{"dns", "1", "purge"}, 2, nullptr},
        {{"dns", "abc", "flush"}, 2, nullptr},
    };
    for (const Case &c : cases) {
        ChildResult r = cairn_cmd(c.args);
        std::string shown = c.args.empty() ? "(none)" : c.args[0] + " ...";
        ASSERT_TRUE(r.exited) << shown;
        EXPECT_EQ(r.exit_code, c.exit_code) << shown << "\n" << r.out << r.err;
        if (c.out_has != nullptr) {
            EXPECT_NE(r.out.find(c.out_has), std::string::npos) << shown << ": " << r.out;
        }
        if (c.exit_code != 0) {
            EXPECT_FALSE(r.err.empty()) << shown;  // a failure always says why
        }
    }
}

TEST(CairnCommand, JsonOutputParsesForResultsAndFailures)
{
    const std::vector<std::vector<std::string>> runs = {
        {"--json", "error", "-2", "--eai"},
        {"--json", "path", "canon", "a/\"b\"/../c"},
        {"time", "now", "--json"},
        {"--json", "error", "999"},
        {"--json", "debug", "999999999", "Debug=1"},
    };
    std::string all;
    for (const auto &args : runs) {
        ChildResult r = cairn_cmd(args);
        EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
        all += r.out;
    }
    EXPECT_TRUE(valid_json(all)) << all;
    EXPECT_NE(cairn_cmd({"--json", "error", "999"}).out.find("\"exit\":2"), std::string::npos);
}

// A program of the library running in a directory of its own; its
// standard error (where change notices go) is a file.
class Target {
public:
    Target()
    {
        char dir[] = "/tmp/cairn-tool-test-XXXXXX";
        dir_ = mkdtemp(dir);
        int out[2];
        if (pipe(out) != 0)
            std::abort();
        pid_ = fork();
        if (pid_ == 0) {
            if (chdir(dir_.c_str()) != 0)
                _exit(126);
            int err = open((dir_ + "/stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(out[1], 1);
            dup2(err, 2);
            execl(CAIRN_TOOL_TARGET, "tool_target", static_cast<char *>(nullptr));
            _exit(127);
        }
        close(out[1]);
        char buf[16] = {};
        ready_ = read(out[0], buf, sizeof buf - 1) > 0 && std::string(buf) == "ready\n";
        close(out[0]);
    }
    ~Target()
    {
        // Asked to end, the target exits as a program does; a target that
        // does not within five seconds is killed.
        kill(pid_, SIGTERM);
        bool reaped = false;
        for (int i = 0; i < 100 && !reaped; ++i) {
            reaped = waitpid(pid_, nullptr, WNOHANG) == pid_;
            if (!reaped)
                usleep(50000);
        }
        if (!reaped) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        std::system(("rm -rf " + dir_).c_str());
    }
    std::string pid() const { return std::to_string(pid_); }
    bool ready() const { return ready_; }
    std::string err() const
    {
        std::ifstream in(dir_ + "/stderr");
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    const std::string &dir() const { return dir_; }

private:
    std::string dir_;
    pid_t pid_ = -1;
    bool ready_ = false;
};

// One program of the library serves the debug, stats and dns subcommands;
// other processes are told apart.
TEST(CairnCommand, DebugStatsAndDnsAgainstALibraryProgram)
{
    Target t;
    ASSERT_TRUE(t.ready());
    ChildResult r = cairn_cmd({"debug", t.pid(), "Debug=3", "Trace=1,2"});
    EXPECT_EQ(r.exit_code, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("Debug=3: changed, now 3"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Trace=1,2: changed, now 0x3"), std::string::npos) << r.out;
    EXPECT_NE(t.err().find("Changing Debug level from 1 to 3"), std::string::npos) << t.err();
    // Each failure is told apart, and the control file never stays behind.
    r = cairn_cmd({"--json", "debug", t.pid(), "Debug=zz", "NoSuchSetting=1"});
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_TRUE(valid_json(r.out)) << r.out;
    EXPECT_NE(r.out.find("invalid value"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("unknown setting"), std::string::npos) << r.out;
    EXPECT_NE(access((t.dir() + "/oxdbg.tmp").c_str(), F_OK), 0);
    // A process that is not a program of the library, and one that is gone.
    pid_t plain = fork();
    if (plain == 0) {
        execlp("sleep", "sleep", "30", static_cast<char *>(nullptr));
        _exit(127);
    }
    r = cairn_cmd({"debug", std::to_string(plain), "Debug=3"});
    EXPECT_EQ(r.exit_code, 3);
    EXPECT_NE(r.err.find("not a program of the library"), std::string::npos) << r.err;
    kill(plain, SIGKILL);
    waitpid(plain, nullptr, 0);
    r = cairn_cmd({"debug", std::to_string(plain), "Debug=3"});
    EXPECT_EQ(r.exit_code, 3);
    EXPECT_NE(r.err.find("no such process"), std::string::npos) << r.err;

    // The census of the objects the program holds.
    r = cairn_cmd({"--json", "stats", t.pid()});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_TRUE(valid_json(r.out)) << r.out;
    EXPECT_NE(r.out.find("\"read-write lock\":2"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"timer\":3"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"table\":1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"timers\":3"), std::string::npos) << r.out;  // on the main thread
    EXPECT_NE(r.out.find("\"state\":\"waiting on semaphore"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Debug=3"), std::string::npos) << "the level set above: " << r.out;
    // A named report file is kept; a link in its place is never followed.
    std::string file = t.dir() + "/report";
    r = cairn_cmd({"stats", t.pid(), "--file", file});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(access(file.c_str(), F_OK), 0);
    std::string link = t.dir() + "/link";
    ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
    r = cairn_cmd({"stats", t.pid(), "--file", link});
    EXPECT_NE(r.exit_code, 0);
    r = cairn_cmd({"stats", t.pid(), "--log"});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(t.err().find("end of stats"), std::string::npos);
    // The resolver's controls reach the program through the same channel.
    r = cairn_cmd({"--json", "dns", t.pid(), "flush"});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("\"done\":\"caches flushed\""), std::string::npos) << r.out;
}

}  // namespace
