// A process's start and end: initialisation seen from outside (copies of a
// probe program laid out in temporary directory trees report the
// directories they derive) and in-process; the environment cache, ox_putenv
// and the getenv_ulong rules; the program name, argv[0] and the
// debug-control file's path; and exit handlers, each case run in a child
// process whose handlers write their names to a file read back by the
// parent.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "frame/environment.hpp"
#include "frame/process_identity.hpp"

namespace fs = std::filesystem;

namespace {

struct ProbeRun {
    int status = -1;
    std::map<std::string, std::string> values;
    std::string err;
};

class Init : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/cairn-init-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        root_ = tmpl;
    }
    void TearDown() override { fs::remove_all(root_); }

    // Copy the probe to root/relative and run it there.
    ProbeRun run(const std::string &relative, const char *name, const char *env = "")
    {
        fs::path target = fs::path(root_) / relative;
        fs::create_directories(target.parent_path());
        fs::copy_file(CAIRN_INIT_PROBE, target, fs::copy_options::overwrite_existing);
        std::string cmd = std::string(env) + " '" + target.string() + "' " + (name ? name : "-") +
                          " 2>" + root_ + "/stderr";
        ProbeRun r;
        FILE *p = popen(cmd.c_str(), "r");
        char line[16384];
        while (p && fgets(line, sizeof line, p)) {
            std::string s(line);
            if (!s.empty() && s.back() == '\n')
                s.pop_back();
            auto eq = s.find('=');
            if (eq != std::string::npos)
                r.values[s.substr(0, eq)] = s.substr(eq + 1);
        }
        r.status = p ? pclose(p) : -1;
        FILE *e = fopen((root_ + "/stderr").c_str(), "r");
        while (e && fgets(line, sizeof line, e))
            r.err += line;
        if (e)
            fclose(e);
        return r;
    }

    std::string root_;
};

TEST_F(Init, BinDirectoryGivesItsParentDirectoriesByLayoutOriginProbe)
{
    ProbeRun r = run("X/bxr/bin/Prog.Tool.exe", "bxr-fr");
    ASSERT_EQ(WEXITSTATUS(r.status), 0) << r.err;
    std::string app = root_ + "/X/bxr";
    for (const char *d : {"applogs", "bin", "cores", "cst", "debug", "etc", "gls", "index", "lib",
                          "logs", "mm", "mod", "rap", "res", "tmp"})
        EXPECT_EQ(r.values[std::string(d) + "dir"], app + "/" + d);
    EXPECT_EQ(r.values["bindir_again"], app + "/bin");
    EXPECT_EQ(r.values["argv0_kept"], "1");
    EXPECT_EQ(r.values["securedir"], app + "/tmp/sec");
    EXPECT_EQ(r.values["progname"], "prog");
    EXPECT_EQ(r.values["appname"], "bxr");
    EXPECT_EQ(r.values["catalog"], "fr");
    // The installation directory is the parent of the executable's directory.
    EXPECT_EQ(r.values["installdir"], app);
    EXPECT_EQ(r.values["debugfile"], app + "/tmp/oxdbg.tmp");
    EXPECT_EQ(r.values["controlfile"], app + "/tmp/oxdbg.tmp");
    // The crypto search path is the installation's bin directory, or the
    // directory and subdirectory given.
    EXPECT_EQ(r.values["fips"], app + "/bin");
    EXPECT_EQ(r.values["fips_given"], "/opt/x/lib64");

    // Where the directories come from, by layout: "@" stands for the test's
    // root directory.
    struct Case {
        const char *copy_to, *name, *env, *key, *want;
    };
    const Case cases[] = {
        // Walking up to the application name, in any case.
        {"X/BXR/sub/deeper/prog", "bxr", "", "bindir", "@/X/BXR/bin"},
        {"X/BXR/sub/deeper/prog", "bxr", "", "catalog", "(null)"},
        // The executable's own directory is compared with "bin" only.
        {"Y/bxr/prog", "bxr", "", "bindir", "/bxr/bin"},
        // No match falls back to the system root.
        {"X/other/prog", "bxr", "", "bindir", "/bxr/bin"},
        {"X/other/prog", "bxr", "SYSTEMDRIVE=D:", "bindir", "D:\\bxr/bin"},
        // The program "quorl" keeps its debug-control file in bin.
        {"Q/bxr/bin/quorl", "quorl", "", "debugfile", "@/Q/bxr/bin/oxdbg.tmp"},
        {"X/bxr/bin/prog", "bxr", "BXR_PRINT_ORIGIN=1", "bindir", "@/X/bxr/bin"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.copy_to) + " " + c.env);
        ProbeRun probe = run(c.copy_to, c.name, c.env);
        EXPECT_EQ(WEXITSTATUS(probe.status), 0) << probe.err;
        std::string want = c.want[0] == '@' ? root_ + (c.want + 1) : c.want;
        EXPECT_EQ(probe.values[c.key], want);
    }

    // The origin probe for install scripts tells where the program runs from,
    // and with "quit" ends before printing anything.
    ProbeRun shown = run("X/bxr/bin/prog", "bxr", "BXR_PRINT_ORIGIN=1");
    EXPECT_NE(shown.err.find("' is `" + root_ + "/X/bxr/bin/'"), std::string::npos) << shown.err;
    ProbeRun quit = run("X/bxr/bin/prog", "bxr", "BXR_PRINT_ORIGIN=quit");
    EXPECT_EQ(WEXITSTATUS(quit.status), 0);
    EXPECT_TRUE(quit.values.empty());
}

// A second call redoes only the cheap steps; oxinit returns the product and
// the ids are captured.
TEST(InitInProcess, SecondCallSavedValuesAndProductInfo)
{
    auto r = cairn::testing::run_in_child([] {
        char arg0[] = "/some/where/First.exe";
        char *argv[] = {arg0, nullptr};
        _oxinit("alpha-de", 1, argv);
        ox_error_set_last(ENOENT, OX_ERRKIND_ERRNO);
        char arg1[] = "second";
        char *argv2[] = {arg1, nullptr};
        _oxinit("beta-it", 1, argv2);
        char name[64];
        if (std::string(get_saved_appname()) != "alpha" ||
            std::string(get_saved_catalog()) != "it" ||
            std::string(ox_get_progname(name, sizeof name)) != "second" || ox_error_get_last() != 0)
            std::exit(1);
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
    // A fresh process's first initialisation through oxinit.
    r = cairn::testing::run_in_child([] {
        if (std::string(oxinit("bxr")) != "Quillmark")
            std::exit(2);
        uint32_t ruid = 0, euid = 0, rgid = 0, egid = 0;
        get_saved_uids(&ruid, nullptr);
        get_saved_uids(nullptr, &euid);
        get_saved_gids(&rgid, &egid);
        std::exit(
            ruid == getuid() && euid == geteuid() && rgid == getgid() && egid == getegid() ? 0 : 3);
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;

    // The product's values and printed lines.
    EXPECT_STREQ(ox_product_get_string(), "Quillmark");
    EXPECT_STREQ(ox_product_get_value("Product"), "Quillmark");
    EXPECT_STREQ(ox_product_get_value("Build number"), "1");
    EXPECT_EQ(std::string(ox_product_get_value("Release")).rfind(".Build.1"),
              std::string(ox_product_get_value("Release")).size() - 8);
    EXPECT_STREQ(ox_product_get_value("No such key"), "");
    EXPECT_STREQ(ox_product_get_value(nullptr), "");
    r = cairn::testing::run_in_child([] { oxprint_productinfo(); });
    EXPECT_EQ(r.err.rfind("@(#) Product:      Quillmark\n", 0), 0u) << r.err;
    int lines = 0;
    for (char c : r.err)
        lines += c == '\n';
    EXPECT_EQ(lines, 6);
}

// Arguments that are already UTF-8 keep every byte in the C locale (where
// services and cron jobs run) and in a UTF-8 locale, characters above
// U+FFFF included; bytes that are not UTF-8 still read as unknown.
TEST(Utf8Argv, PassesUtf8ThroughAndConvertsFromTheLocaleIntoOneBuffer)
{
    for (const char *locale : {"C", "C.UTF-8", "en_US.UTF-8"}) {
        auto r = cairn::testing::run_in_child([locale] {
            if (!std::setlocale(LC_CTYPE, locale))
                std::exit(3);  // locale missing
            char a0[] = "prog", a1[] = "caf\xc3\xa9", a2[] = "\xf0\x9f\x98\x80x",
                 a3[] = "\xe9t\xe9";
            char *argv[] = {a0, a1, a2, a3, nullptr};
            char *buffer = nullptr;
            utf8_argv(4, argv, &buffer);
            std::printf("%s|%s|%s", argv[1], argv[2], argv[3]);
            std::free(buffer);
        });
        if (r.exit_code == 3)
            continue;
        EXPECT_EQ(r.exit_code, 0) << locale;
        EXPECT_EQ(r.out, "caf\xc3\xa9|\xf0\x9f\x98\x80x|?t?") << locale;
    }

    // Arguments in a Latin-1 locale are converted into one buffer.
    auto latin1 = cairn::testing::run_in_child([] {
        if (!std::setlocale(LC_CTYPE, "en_US.ISO-8859-1"))
            std::exit(3);  // locale missing
        char a0[] = "prog", a1[] = "caf\xe9";
        char *argv[] = {a0, a1, nullptr};
        char *buffer = nullptr;
        utf8_argv(2, argv, &buffer);
        bool ok = buffer == argv[0] && std::string(argv[1]) == "caf\xc3\xa9";
        std::free(buffer);
        utf8_argv(0, nullptr, nullptr);  // nothing to do
        std::exit(ok ? 0 : 1);
    });
    EXPECT_EQ(latin1.exit_code, 0);
}

TEST(Environment, ValuesStayValidUnsetOnesAreNotCachedPutenvUpdatesTheSnapshot)
{
    ASSERT_EQ(ox_putenv("CAIRN_T_A=first"), 0);
    const char *first = ox_getenv("CAIRN_T_A");
    EXPECT_STREQ(first, "first");
    EXPECT_EQ(ox_getenv("CAIRN_T_A"), first);  // cached
    ASSERT_EQ(ox_putenv("CAIRN_T_A=second"), 0);
    EXPECT_STREQ(first, "first");  // the old pointer still reads its value
    const char *second = ox_getenv("CAIRN_T_A");
    EXPECT_STREQ(second, "second");
    EXPECT_STREQ(std::getenv("CAIRN_T_A"), "second");
    // An empty value removes the variable.
    ASSERT_EQ(ox_putenv("CAIRN_T_A="), 0);
    EXPECT_EQ(ox_getenv("CAIRN_T_A"), nullptr);
    EXPECT_STREQ(second, "second");

    // Unset variables are not cached.
    unsetenv("CAIRN_T_B");
    EXPECT_EQ(ox_getenv("CAIRN_T_B"), nullptr);
    setenv("CAIRN_T_B", "now", 1);
    EXPECT_STREQ(ox_getenv("CAIRN_T_B"), "now");
    EXPECT_EQ(ox_getenv(nullptr), nullptr);

    // ox_putenv updates the snapshot and rejects bad assignments.
    cairn::environment_snapshot_take();
    int before = cairn::environment_snapshot_size();
    ASSERT_EQ(ox_putenv("CAIRN_T_C=1"), 0);
    ASSERT_EQ(ox_putenv("CAIRN_T_C=2"), 0);
    EXPECT_EQ(cairn::environment_snapshot_size(), before + 1);
    char entry[64];
    ASSERT_TRUE(cairn::environment_snapshot_find("CAIRN_T_C", entry, sizeof entry));
    EXPECT_STREQ(entry, "CAIRN_T_C=2");
    errno = 0;
    EXPECT_EQ(ox_putenv("NOEQUALS"), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ox_putenv("=value"), -1);
    EXPECT_EQ(ox_putenv(nullptr), -1);
}

struct UlongCase {
    const char *value;  // nullptr: unset
    const char *spec;
    unsigned long base;
    unsigned long want;
};

TEST(Environment, GetenvUlongRulesAndMalformedSpecs)
{
    const UlongCase cases[] = {
        {nullptr, "CAIRN_T_X=100,1:50", 0, 50},
        {"%10", "CAIRN_T_X=100,1:5000", 300, 30},
        {"D", "CAIRN_T_X=100,1:50", 300, 50},
        {"D", "CAIRN_T_X=100,1:500", 300, 300},
        {"<20", "CAIRN_T_X=100,1:500", 300, 20},
        {"<900", "CAIRN_T_X=100,1:5000", 300, 300},
        {">900", "CAIRN_T_X=100,1:5000", 300, 900},
        {"=7", "CAIRN_T_X=100,1:50", 300, 7},
        {"42", "CAIRN_T_X=100,1:*", 0, 42},
        {"0", "CAIRN_T_X=100,5:50", 0, 5},
        // No minimum: everything below 2^31 is raised to 0x80000000.
        {"42", "CAIRN_T_X=100,:*", 0, 0x80000000ul},
        {"42", "CAIRN_T_X=100,*:", 0, 0x80000000ul},
        // Percent arithmetic wraps at 32 bits.
        {"%200", "CAIRN_T_X=1,0:*", 3000000000ul, (200ul * 3000000000ul % 4294967296ul) / 100},
        {"abc", "CAIRN_T_X=1,0:*", 0, 0},
    };
    for (const auto &c : cases) {
        ox_putenv((std::string("CAIRN_T_X=") + (c.value ? c.value : "")).c_str());  // "": unset
        EXPECT_EQ(ox_getenv_ulong(c.spec, c.base), c.want)
            << (c.value ? c.value : "(unset)") << " " << c.spec << " " << c.base;
    }

    // In children: a malformed spec aborts with its line; at level 2 the
    // result is told.
    for (const char *spec : {"CAIRN_T_X=5", "=5,1:2", "CAIRN_T_X"}) {
        auto r = cairn::testing::run_in_child([spec] { ox_getenv_ulong(spec, 1); });
        EXPECT_EQ(r.signal, SIGABRT) << spec;
        EXPECT_NE(r.err.find(std::string("Unable to get the value of environment variable '") +
                             spec + "': the string is improperly formatted.\n"),
                  std::string::npos)
            << r.err;
    }
    auto r = cairn::testing::run_in_child([] {
        Debug = 2;
        ox_putenv("CAIRN_T_Y=");
        ox_getenv_ulong("CAIRN_T_Y=9,1:50", 3);
    });
    EXPECT_NE(r.err.find("getenv_ulong(CAIRN_T_Y=9,1:50, 3) returning 9\n"), std::string::npos)
        << r.err;
}

std::string progname(int n = 64)
{
    char buf[64];
    return ox_get_progname(buf, n) ? buf : "<null>";
}

// Before any name it is the pid; the control path is empty until set.
TEST(ProgramName, DefaultsBaseNameBoundsAndArgv0)
{
    auto r = cairn::testing::run_in_child([] {
        std::string want = "(pid " + std::to_string(getpid()) + ")";
        if (progname() != want)
            std::exit(1);
        if (std::string(cairn::debug_control_path()) != "")
            std::exit(2);
        cairn::set_debug_control_path("/opt/bxr/tmp");
        std::exit(std::string(cairn::debug_control_path()) == "/opt/bxr/tmp/oxdbg.tmp" ? 0 : 3);
    });
    EXPECT_EQ(r.exit_code, 0);

    // The base name, cut at the first dot, in lower case; bounds.
    const std::pair<const char *, const char *> cases[] = {
        {"C:\\dir\\Backup.Tool.EXE", "backup"},
        {"/usr/sbin/StorageD", "storaged"},
        {"relative/dir/cli.sh", "cli"},
        {"/bin/longername", "longername"},
    };
    for (auto [argv0, name] : cases) {
        ox_set_progname(argv0);
        EXPECT_EQ(progname(), name) << argv0;
    }
    // NULL and empty leave the name as it was.
    ox_set_progname(nullptr);
    ox_set_progname("");
    EXPECT_EQ(progname(5), "long");
    EXPECT_EQ(progname(1), "");
    EXPECT_EQ(ox_get_progname(nullptr, 10), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    char buf[4];
    EXPECT_EQ(ox_get_progname(buf, 0), nullptr);

    // Every argv[0] text handed out stays readable for the life of the process,
    // however often ox_find_installdir() records a new one (AddressSanitizer
    // reports a use after free otherwise).
    ox_set_argv0("/opt/first/bin/prog");
    const char *first = ox_get_argv0();
    ASSERT_NE(first, nullptr);
    ox_find_installdir("/opt/second/bin/prog");
    const char *second = ox_get_argv0();
    EXPECT_STREQ(second, "/opt/second/bin/prog");
    EXPECT_STREQ(first, "/opt/first/bin/prog");
    // The same name again keeps the text already handed out.
    ox_find_installdir("/opt/second/bin/prog");
    EXPECT_EQ(ox_get_argv0(), second);
    ox_set_argv0(nullptr);  // ignored
    EXPECT_EQ(ox_get_argv0(), second);
    for (int i = 0; i < 50; ++i)
        ox_set_argv0(i % 2 ? "/x/a" : "/x/b");
    EXPECT_STREQ(first, "/opt/first/bin/prog");
    EXPECT_STREQ(second, "/opt/second/bin/prog");
    EXPECT_STREQ(ox_get_argv0(), "/x/a");
}

int g_fd = -1;

void note(const char *text) { (void)!write(g_fd, text, std::strlen(text)); }
void handler_a() { note("A"); }
void handler_b() { note("B"); }
void handler_c() { note("C"); }
void handler_executing() { note(ox_atexit_is_executing() ? "[exec=1]" : "[exec=0]"); }
void handler_registers_more()
{
    note("R");
    ox_atexit(handler_a);
}
void handler_tsd_flag() { note(Ox_atexit_ox_threadstorage_destroy ? "[tsd=1]" : "[tsd=0]"); }

struct Case {
    const char *what;
    void (*body)();
    int exit_code;
    const char *out;
    const char *written;
};

const Case kCases[] = {
    {"an explicit run is newest first and not 'executing'",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_b);
         ox_atexit(handler_c);
         ox_atexit(handler_executing);
         ox_atexit_execute_and_remove_all();
         note("|");
         ox_atexit_execute_and_remove_all();  // empty now
         std::_Exit(0);
     },
     0, "", "[exec=0]CBA|"},
    {"a normal exit runs them through the runtime's hook",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_b);
         ox_atexit(handler_executing);
         std::exit(3);
     },
     3, "", "[exec=1]BA"},
    // ox_exit runs them itself, so the runtime hook finds an empty list.
    {"ox_exit closes the standard files, then runs the handlers",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_executing);
         std::printf("before");
         ox_exit(7);
     },
     7, "before", "[exec=0]A"},
    // After the tear-down a registration starts a fresh list, run by the
    // runtime's exit processing.
    {"duplicates, unregistration and late registration",
     [] {
         ox_atexit(handler_a);
         ox_atexit(handler_b);
         ox_atexit(handler_a);
         if (ox_unatexit(handler_a) != 0)
             std::_Exit(1);
         if (ox_unatexit(handler_c) != 49)
             std::_Exit(2);
         ox_atexit(handler_registers_more);
         ox_atexit_execute_and_remove_all();
         note("|");
         ox_atexit(handler_c);
         std::exit(0);
     },
     0, "", "RABA|C"},
    {"disabled handling runs nothing",
     [] {
         ox_atexit(handler_a);
         ox_atexit_disable();
         ox_exit(0);
     },
     0, "", ""},
    {"disabled before first use: the hook is never set up, explicit runs still work",
     [] {
         ox_atexit_disable();
         ox_atexit(handler_a);
         note(Ox_atexit_ox_threadstorage_destroy ? "[tsd=1]" : "[tsd=0]");
         ox_atexit(handler_tsd_flag);
         ox_atexit_execute_and_remove_all();
         ox_atexit(handler_b);
         std::exit(0);
     },
     0, "", "[tsd=0][tsd=1]A"},
    {"enabling again restores exit handling",
     [] {
         ox_atexit(handler_c);
         ox_atexit_disable();
         ox_atexit_enable();
         ox_exit(0);
     },
     0, "", "C"},
};

TEST(ExitHandlers, RunOrderExitPathsDisablingAsDataAndNullHandlers)
{
    char name[] = "/tmp/cairn-exit-XXXXXX";
    g_fd = mkstemp(name);
    ASSERT_GE(g_fd, 0);
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(ftruncate(g_fd, 0), 0);
        lseek(g_fd, 0, SEEK_SET);
        auto r = cairn::testing::run_in_child(c.body);
        EXPECT_EQ(r.exit_code, c.exit_code);
        EXPECT_EQ(r.out, c.out);
        char buf[256] = {};
        EXPECT_GE(pread(g_fd, buf, sizeof buf - 1, 0), 0);
        EXPECT_STREQ(buf, c.written);
    }
    close(g_fd);
    unlink(name);

    // Null handlers are refused.
    EXPECT_EQ(ox_atexit(nullptr), OX_ENULL);
    EXPECT_EQ(ox_unatexit(nullptr), OX_ENULL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

}  // namespace
