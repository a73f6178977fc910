// Initialisation seen from outside: copies of a probe program laid out in
// temporary directory trees report the directories they derive.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "cairn/frame.h"
#include "child_process.hpp"

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

TEST_F(Init, BinDirectoryGivesItsParent)
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
}

// Where the directories come from, by layout: "@" stands for the test's
// root directory.
TEST_F(Init, DirectoriesByLayoutAsData)
{
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
        ProbeRun r = run(c.copy_to, c.name, c.env);
        EXPECT_EQ(WEXITSTATUS(r.status), 0) << r.err;
        std::string want = c.want[0] == '@' ? root_ + (c.want + 1) : c.want;
        EXPECT_EQ(r.values[c.key], want);
    }
}

// The origin probe for install scripts tells where the program runs from,
// and with "quit" ends before printing anything.
TEST_F(Init, OriginProbeForInstallScripts)
{
    ProbeRun shown = run("X/bxr/bin/prog", "bxr", "BXR_PRINT_ORIGIN=1");
    EXPECT_NE(shown.err.find("' is `" + root_ + "/X/bxr/bin/'"), std::string::npos) << shown.err;
    ProbeRun quit = run("X/bxr/bin/prog", "bxr", "BXR_PRINT_ORIGIN=quit");
    EXPECT_EQ(WEXITSTATUS(quit.status), 0);
    EXPECT_TRUE(quit.values.empty());
}

// A second call redoes only the cheap steps; oxinit returns the product and
// the ids are captured.
TEST(InitInProcess, SecondCallAndSavedValues)
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
}

TEST(ProductInfo, ValuesAndPrintedLines)
{
    EXPECT_STREQ(ox_product_get_string(), "Quillmark");
    EXPECT_STREQ(ox_product_get_value("Product"), "Quillmark");
    EXPECT_STREQ(ox_product_get_value("Build number"), "1");
    EXPECT_EQ(std::string(ox_product_get_value("Release")).rfind(".Build.1"),
              std::string(ox_product_get_value("Release")).size() - 8);
    EXPECT_STREQ(ox_product_get_value("No such key"), "");
    EXPECT_STREQ(ox_product_get_value(nullptr), "");
    auto r = cairn::testing::run_in_child([] { oxprint_productinfo(); });
    EXPECT_EQ(r.err.rfind("@(#) Product:      Quillmark\n", 0), 0u) << r.err;
    int lines = 0;
    for (char c : r.err)
        lines += c == '\n';
    EXPECT_EQ(lines, 6);
}

// Arguments that are already UTF-8 keep every byte in the C locale (where
// services and cron jobs run) and in a UTF-8 locale, characters above
// U+FFFF included; bytes that are not UTF-8 still read as unknown.
TEST(Utf8Argv, Utf8ArgumentsPassThroughInCAndUtf8Locales)
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
}

TEST(Utf8Argv, ConvertsFromTheLocaleIntoOneBuffer)
{
    auto r = cairn::testing::run_in_child([] {
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
    EXPECT_EQ(r.exit_code, 0);
}

}  // namespace
