// The file form of value lists: contents byte for byte, empty lines, a
// missing last newline, long lines, unreadable and unwritable paths, and a
// full disk (a file size limit in a forked child).
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "cairn/attributes.h"
#include "capture_fd.hpp"
#include "child_process.hpp"
#include "value_test_util.hpp"

namespace {

using namespace cairn::testing;

int32_t number_of(const msg_t *m) { return m != nullptr ? m->err.number : 0; }

class ValueFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        char templ[] = "/tmp/cairn-vallist-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir_ = templ;
    }
    void TearDown() override
    {
        chmod(dir_.c_str(), 0700);
        std::string cmd = "rm -rf '" + dir_ + "'";
        ASSERT_EQ(std::system(cmd.c_str()), 0);
    }
    std::string path(const char *name) const { return dir_ + "/" + name; }
    static void put(const std::string &p, const std::string &content)
    {
        std::ofstream(p, std::ios::binary) << content;
    }
    static std::string get(const std::string &p)
    {
        std::ifstream in(p, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    int entries() const
    {
        int n = 0;
        DIR *d = opendir(dir_.c_str());
        while (dirent *e = readdir(d))
            n += e->d_name[0] != '.';
        closedir(d);
        return n;
    }
    std::string dir_;
};

TEST_F(ValueFiles, ReadsLinesAsTheyStand)
{
    struct Row {
        std::string content;
        Texts values;
    };
    const Row rows[] = {
        {"", {}},
        {"a\nb\n", {"a", "b"}},
        {"a\nb", {"a", "b"}},
        {"\n\na\n\n", {"", "", "a", ""}},
        {" spaced \n", {" spaced "}},
        {"dos\r\nline\r\n", {"dos", "line"}},
        {"x\ry\n", {"x\ry"}},
    };
    for (const Row &row : rows) {
        put(path("in"), row.content);
        Vals l;
        EXPECT_EQ(vallist_from_file(&l.head, path("in").c_str()), nullptr);
        EXPECT_EQ(l.get(), row.values) << row.content;
    }
    // Lines are appended to a list that has values already.
    put(path("in"), "c\n");
    Vals l(Texts{"a"});
    EXPECT_EQ(vallist_from_file(&l.head, path("in").c_str()), nullptr);
    EXPECT_EQ(l.get(), (Texts{"a", "c"}));
}

TEST_F(ValueFiles, LongLinesAreCutIntoPieces)
{
    std::string exact(13311, 'x'), longer(13312, 'y');
    put(path("in"), exact + "\n" + longer + "\nend");
    Vals l;
    ASSERT_EQ(vallist_from_file(&l.head, path("in").c_str()), nullptr);
    EXPECT_EQ(l.get(), (Texts{exact, std::string(13311, 'y'), "y", "end"}));
}

TEST_F(ValueFiles, WritesEachValueOnItsLine)
{
    for (int n : {0, 1, 21, 22, 1000}) {
        Texts t;
        std::string expect;
        for (int i = 0; i < n; ++i) {
            t.push_back(i % 5 == 0 ? "" : "value " + std::to_string(i));
            expect += t.back() + "\n";
        }
        Vals l(t);
        ASSERT_EQ(vallist_write_file(l.head, path("out").c_str()), nullptr);
        EXPECT_EQ(get(path("out")), expect);
        Vals back;
        ASSERT_EQ(vallist_from_file(&back.head, path("out").c_str()), nullptr);
        EXPECT_EQ(back.get(), t);
    }
    EXPECT_EQ(entries(), 1) << "no temporary file is left behind";
    // An existing file keeps its permissions.
    chmod(path("out").c_str(), 0640);
    Vals l(Texts{"x"});
    ASSERT_EQ(vallist_write_file(l.head, path("out").c_str()), nullptr);
    struct stat st;
    ASSERT_EQ(stat(path("out").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
}

TEST_F(ValueFiles, UnreadablePathsGiveTheReadMessage)
{
    CaptureFd err(2);
    Vals l(Texts{"kept"});
    std::string missing = path("missing");
    msg_t *m = vallist_from_file(&l.head, missing.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, VALLIST_MSG_OPEN_READ);
    EXPECT_EQ(m->err.type * 10000 + m->err.severity * 1000 + m->err.code, 55000);
    EXPECT_EQ(std::string(m->text), "Unable to open file '" + missing + "' for reading\n");
    EXPECT_STREQ(m->stext.args[0].text, missing.c_str());
    EXPECT_EQ(number_of(vallist_from_file(&l.head, dir_.c_str())), VALLIST_MSG_OPEN_READ)
        << "a directory cannot be read";
    EXPECT_EQ(number_of(vallist_from_file(&l.head, nullptr)), VALLIST_MSG_OPEN_READ);
    EXPECT_EQ(number_of(vallist_from_file(nullptr, missing.c_str())), VALLIST_MSG_OPEN_READ);
    if (geteuid() != 0) {
        put(path("secret"), "x\n");
        chmod(path("secret").c_str(), 0);
        EXPECT_EQ(number_of(vallist_from_file(&l.head, path("secret").c_str())),
                  VALLIST_MSG_OPEN_READ);
    }
    EXPECT_EQ(l.get(), (Texts{"kept"}));
    EXPECT_EQ(err.text(), "") << "the message is returned, not printed";
}

TEST_F(ValueFiles, UnwritablePathsGiveTheWriteMessage)
{
    CaptureFd err(2);
    Vals l(Texts{"a"});
    std::string nowhere = path("no/such/dir");
    msg_t *m = vallist_write_file(l.head, nowhere.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, VALLIST_MSG_OPEN_WRITE);
    EXPECT_EQ(std::string(m->text), "Unable to open file '" + nowhere + "' for writing\n");
    EXPECT_EQ(number_of(vallist_write_file(l.head, nullptr)), VALLIST_MSG_OPEN_WRITE);
    EXPECT_EQ(number_of(vallist_write_file(l.head, "")), VALLIST_MSG_OPEN_WRITE);
    // A directory in the way: the temporary is written, the rename fails,
    // and nothing is left behind.
    mkdir(path("adir").c_str(), 0700);
    put(path("adir/inner"), "");
    EXPECT_EQ(number_of(vallist_write_file(l.head, path("adir").c_str())), VALLIST_MSG_OPEN_WRITE);
    EXPECT_EQ(entries(), 1);
    if (geteuid() != 0) {
        put(path("old"), "old\n");
        chmod(dir_.c_str(), 0500);
        EXPECT_EQ(number_of(vallist_write_file(l.head, path("old").c_str())),
                  VALLIST_MSG_OPEN_WRITE);
        chmod(dir_.c_str(), 0700);
        EXPECT_EQ(get(path("old")), "old\n");
    }
}

TEST_F(ValueFiles, AFullDiskLeavesTheOldFileWhole)
{
    std::string target = path("list");
    put(target, "old 1\nold 2\n");
    auto r = run_in_child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit lim = {64, 64};
        if (setrlimit(RLIMIT_FSIZE, &lim) != 0)
            std::_Exit(10);
        Texts t;
        for (int i = 0; i < 20; ++i)
            t.push_back("value number " + std::to_string(i));
        Vals l(t);
        msg_t *m = vallist_write_file(l.head, target.c_str());
        std::printf("%s", m != nullptr ? m->text : "none");
        std::fflush(stdout);
        std::_Exit(number_of(m) == VALLIST_MSG_WRITE_VALUE ? 0 : 11);
    });
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.exit_code, 0) << r.err;
    // Writing went on to the last value, whose message is the one returned.
    EXPECT_EQ(r.out, "Unable to write value #19 'value number 19' to file (rc=-1)");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(get(target), "old 1\nold 2\n");
    EXPECT_EQ(entries(), 1) << "the temporary file is removed";
}

}  // namespace
