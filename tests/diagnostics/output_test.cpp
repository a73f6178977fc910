// The output path: stream classification by the excepted list and
// Mast_flag, converted and UTF-8 output, the writer hook, direct writes,
// line input with push-back, and closing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ci_skip.hpp"

#include <clocale>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "debug_capture.hpp"
#include "diagnostics/oxprint/excepted_fds.hpp"
#include "platform/alloc_testing.hpp"

using cairn::testing::debug_output;
using cairn::testing::run_in_child;
namespace oxp = cairn::oxprint;

namespace {

const char kEAcuteUtf8[] = "\xC3\xA9";
const char kEAcuteLatin1[] = "\xE9";

std::string read_all(FILE *f)
{
    std::fflush(f);
    std::string out;
    char buf[4096];
    ssize_t n;
    off_t pos = 0;
    while ((n = pread(fileno(f), buf, sizeof buf, pos)) > 0) {
        out.append(buf, static_cast<size_t>(n));
        pos += n;
    }
    return out;
}

// Each test starts from an empty list and Mast_flag 0, in the C locale.
class Output : public ::testing::Test {
protected:
    void SetUp() override
    {
        Mast_flag = 0;
        file_ = std::tmpfile();
        ASSERT_NE(file_, nullptr);
    }
    void TearDown() override
    {
        unset_vfprintf();
        Mast_flag = 0;
        for (int fd = 0; fd < 1024; ++fd)
            oxp::excepted_remove(fd);
        if (file_)
            std::fclose(file_);
        std::setlocale(LC_ALL, "C");
    }
    bool latin1() { return std::setlocale(LC_ALL, "en_US.ISO-8859-1") != nullptr; }

    FILE *file_ = nullptr;
};

#define REQUIRE_LATIN1()                                                                           \
    if (!latin1())                                                                                 \
    CAIRN_SKIP_UNLESS_CI("en_US.ISO-8859-1 is not installed (tools/run setup)")

}  // namespace

TEST_F(Output, ClassificationByModeFlagListAndEnvironmentAsData)
{
    // Each row: the mode, whether the stream is listed, and whether it is a user stream.
    const std::tuple<int32_t, bool, int> cases[] = {
        {0, false, 1}, {0, true, 0}, {1, false, 0}, {1, true, 1}, {7, true, 1}};
    int fd = fileno(file_);
    for (auto [mode, listed, user] : cases) {
        Mast_flag = mode;
        if (listed)
            oxp::excepted_add(fd);
        else
            oxp::excepted_remove(fd);
        EXPECT_EQ(is_user_fp(file_), user) << "mode " << mode << " listed " << listed;
    }
    EXPECT_EQ(is_user_fp(nullptr), 0);

    // The caught-child variable sets the mode, each call incrementing it.
    Mast_flag = 0;
    setenv("BXR_CATCH_CHILD_STDOUT", "yes", 1);
    EXPECT_STREQ(printby_utf8(), "yes");
    EXPECT_STREQ(printby_utf8(), "yes");
    EXPECT_EQ(Mast_flag, 2);
    unsetenv("BXR_CATCH_CHILD_STDOUT");
    EXPECT_EQ(printby_utf8(), nullptr);
    EXPECT_EQ(Mast_flag, 0);
}

TEST_F(Output, Utf8AndUserCallsMoveTheDescriptorByMode)
{
    int fd = fileno(file_);
    for (int32_t mode : {0, 1}) {
        Mast_flag = mode;
        utf8_fp(file_);
        EXPECT_EQ(is_user_fp(file_), 0);
        EXPECT_EQ(oxp::excepted_contains(fd), mode == 0) << "mode 0 lists UTF-8 streams";
        user_fp(file_);
        EXPECT_EQ(is_user_fp(file_), 1);
        EXPECT_EQ(oxp::excepted_contains(fd), mode != 0) << "mode 1 lists converted streams";
        utf8_fd(fd);
        EXPECT_EQ(is_user_fp(file_), 0);
        user_fd(fd);
        EXPECT_EQ(is_user_fp(file_), 1);
        oxp::excepted_remove(fd);
    }
    utf8_fp(nullptr);
    user_fd(-1);
    EXPECT_FALSE(oxp::excepted_contains(-1));
}

TEST_F(Output, ListHoldsTenAndIgnoresDuplicates)
{
    for (int fd = 100; fd < 110; ++fd)
        utf8_fd(fd);
    EXPECT_EQ(debug_output(1, 0, [] { utf8_fd(105); }), "") << "already present: no line";
    EXPECT_EQ(debug_output(1, 0, [] { utf8_fd(110); }),
              "An unexpected error occured in file: oxprint, line: 152, message = \"Failed to "
              "add new Excepted File Descriptor.\"\n");
    EXPECT_FALSE(oxp::excepted_contains(110));
    EXPECT_EQ(debug_output(0, 2, [] { utf8_fd(111); }), "")
        << "the line needs level 1 or trace bit 1";
    // Removing one moves the later entries up and makes room again.
    user_fd(100);
    utf8_fd(110);
    for (int fd = 101; fd <= 110; ++fd)
        EXPECT_TRUE(oxp::excepted_contains(fd)) << fd;

    // The list outlives its lock, which is made again when needed.
    oxp::excepted_list_cleanup();
    EXPECT_TRUE(oxp::excepted_contains(110));
    user_fd(110);
    EXPECT_FALSE(oxp::excepted_contains(110));
}

// With the variable set, standard output (not listed) turns into a UTF-8
// stream; user_fp makes it converted again.  ox_puts adds a newline.
TEST_F(Output, CaughtChildStdoutGetsRawUtf8)
{
    REQUIRE_LATIN1();
    auto result = run_in_child([] {
        EXPECT_EQ(ox_puts("\xC3\xA9t\xC3\xA9"), 4);
        EXPECT_EQ(ox_puts(nullptr), -1);
        ox_printf("%s|", "\xC3\xA9");
        setenv("BXR_CATCH_CHILD_STDOUT", "1", 1);
        printby_utf8();
        ox_printf("%s|", "\xC3\xA9");
        user_fp(stdout);
        ox_printf("%s", "\xC3\xA9");
        std::fflush(stdout);
    });
    ASSERT_TRUE(result.exited);
    EXPECT_EQ(result.out, "\xE9t\xE9\n\xE9|\xC3\xA9|\xE9");
}

TEST_F(Output, ConvertedAndUtf8StreamsInLatin1)
{
    REQUIRE_LATIN1();
    EXPECT_EQ(ox_fprintf(file_, "%2$s-%1$s", "\xE6\x97\xA5", kEAcuteUtf8), 3);
    EXPECT_EQ(read_all(file_), std::string(kEAcuteLatin1) + "-?");
    utf8_fp(file_);
    EXPECT_EQ(ox_fprintf(file_, "%2$s-%1$s", "x", kEAcuteUtf8), 4);
    EXPECT_EQ(read_all(file_), std::string(kEAcuteLatin1) + std::string("-?") + kEAcuteUtf8 + "-x");
    EXPECT_EQ(ox_fprintf(file_, "%s", ""), 0);
    EXPECT_EQ(ox_fprintf(nullptr, "x"), -1);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);

    // Text longer than the stack buffer goes out whole on both paths.
    std::string before = read_all(file_);
    const std::string long_text(50000, 'z');
    EXPECT_EQ(ox_fprintf(file_, "<%s>", long_text.c_str()), 50002);
    user_fp(file_);
    EXPECT_EQ(ox_fprintf(file_, "<%s>", long_text.c_str()), 50002);
    EXPECT_EQ(read_all(file_), before + "<" + long_text + "><" + long_text + ">");
}

TEST_F(Output, Utf8LocalePassesTextThrough)
{
    if (std::setlocale(LC_ALL, "en_US.UTF-8") == nullptr)
        CAIRN_SKIP_UNLESS_CI("en_US.UTF-8 is not installed");
    const char *text = "\xF0\x9F\x98\x80 \xE6\x97\xA5";
    EXPECT_EQ(ox_fprintf(file_, "%s", text), static_cast<int>(std::strlen(text)));
    EXPECT_EQ(ox_fputs(text, file_), static_cast<int>(std::strlen(text)));
    EXPECT_EQ(read_all(file_), std::string(text) + text);
}

// A terminal is converted even when listed as a UTF-8 stream.
TEST_F(Output, ConsoleIsAlwaysConverted)
{
    REQUIRE_LATIN1();
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        GTEST_SKIP() << "no pseudo-terminal";
    FILE *tty = std::fopen(ptsname(master), "w");
    ASSERT_NE(tty, nullptr);
    utf8_fp(tty);
    EXPECT_EQ(ox_fprintf(tty, "[%s]", kEAcuteUtf8), 3);
    std::fflush(tty);
    char buf[16] = {};
    ASSERT_EQ(read(master, buf, 3), 3);
    EXPECT_EQ(std::string(buf), std::string("[") + kEAcuteLatin1 + "]");
    ox_fclose(tty);
    close(master);
}

// When a buffer of the output path cannot be had, the text still goes out:
// unconverted when the conversion buffer fails, cut at the stack buffer
// when the long-text buffer fails.
TEST_F(Output, AllocationFailuresFallBack)
{
    REQUIRE_LATIN1();
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(is_user_fp(file_), 1);  // the list's lock exists

    std::string accented(3000, 'a');
    accented += kEAcuteUtf8;  // 3002 bytes: converting needs more than the stack
    accented = accented + accented;
    cairn::testing::alloc_fail_at(1);
    EXPECT_EQ(ox_fprintf(file_, "%s", accented.c_str()), static_cast<int>(accented.size()));
    cairn::testing::alloc_fail_at(0);
    EXPECT_EQ(read_all(file_), accented) << "written as UTF-8";

    std::rewind(file_);
    ASSERT_EQ(ftruncate(fileno(file_), 0), 0);
    const std::string long_text(30000, 'w');
    cairn::testing::alloc_fail_at(1);
    EXPECT_EQ(ox_fprintf(file_, "%s", long_text.c_str()), 19455);
    cairn::testing::alloc_fail_at(0);
    EXPECT_EQ(read_all(file_), long_text.substr(0, 19455));
}

TEST_F(Output, FputsConvertsInPiecesCutByBytes)
{
    REQUIRE_LATIN1();
    // The two bytes of U+00E9 straddle the cut after 19455 bytes.
    std::string text(19454, 'a');
    text += kEAcuteUtf8;
    text += "b";
    EXPECT_EQ(ox_fputs(text.c_str(), file_), 19457);
    std::string want(19454, 'a');
    want += "??b";
    EXPECT_EQ(read_all(file_), want);

    utf8_fp(file_);
    EXPECT_EQ(ox_fputs(kEAcuteUtf8, file_), 2) << "a UTF-8 stream gets the bytes as they are";
    EXPECT_EQ(read_all(file_).substr(want.size()), kEAcuteUtf8);

    EXPECT_EQ(ox_fputs(nullptr, file_), -1);
    EXPECT_EQ(ox_fputs("x", nullptr), -1);
    FILE *read_only = std::fopen("/dev/null", "r");
    ASSERT_NE(read_only, nullptr);
    EXPECT_EQ(ox_fputs("abc", read_only), -1) << "a failing write gives -1";
    std::fclose(read_only);
}

// In Latin-1 each input byte may become two: what does not fit is pushed
// back, and the next read starts with it.
TEST_F(Output, FgetsPushesBackUnusedBytes)
{
    REQUIRE_LATIN1();
    std::fputs("\xE9\xE9\xE9\xE9\nnext\n", file_);
    std::rewind(file_);
    char buf[6];
    ASSERT_EQ(ox_fgets(buf, sizeof buf, file_), buf);
    EXPECT_STREQ(buf, "\xC3\xA9\xC3\xA9");
    ASSERT_EQ(ox_fgets(buf, sizeof buf, file_), buf);
    EXPECT_STREQ(buf, "\xC3\xA9\xC3\xA9\n");
    ASSERT_EQ(ox_fgetmbts(buf, sizeof buf, file_), buf);
    EXPECT_STREQ(buf, "next\n");
    EXPECT_EQ(ox_fgets(buf, sizeof buf, file_), nullptr) << "end of file";

    // A UTF-8 stream is read as it is.
    std::rewind(file_);
    utf8_fp(file_);
    ASSERT_EQ(ox_fgets(buf, sizeof buf, file_), buf);
    EXPECT_STREQ(buf, "\xE9\xE9\xE9\xE9\n");

    EXPECT_EQ(ox_fgets(nullptr, 4, file_), nullptr);
    EXPECT_EQ(ox_fgets(buf, 0, file_), nullptr);
    EXPECT_EQ(ox_fgets(buf, 4, nullptr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

namespace {

std::string g_hook_format;
std::string g_hook_text;

int capturing_writer(FILE *stream, const char *fmt, va_list ap)
{
    g_hook_format = fmt;
    char buf[256];
    int n = std::vsnprintf(buf, sizeof buf, fmt, ap);
    g_hook_text = buf;
    return n + 1000;
}

int other_writer(FILE *, const char *, va_list) { return -7; }

}  // namespace

TEST_F(Output, WriterHookInstallClearAndWhatItSees)
{
    ox_vfprintf_fn original = set_vfprintf(capturing_writer);
    ASSERT_NE(original, nullptr) << "the default writer";
    EXPECT_EQ(set_vfprintf(other_writer), capturing_writer);
    EXPECT_EQ(set_vfprintf(other_writer), other_writer) << "installing the same clears";
    EXPECT_EQ(set_vfprintf(capturing_writer), original) << "cleared: the default again";
    EXPECT_EQ(set_vfprintf(original), capturing_writer) << "the default clears the hook";
    EXPECT_EQ(set_vfprintf(nullptr), original);
    set_vfprintf(capturing_writer);
    unset_vfprintf();
    EXPECT_EQ(set_vfprintf(nullptr), original);

    // Without a hook the default writer formats with the library.
    utf8_fp(file_);
    EXPECT_EQ(ox_fprintf(file_, "%2$s%1$s", "b", "a"), 2);
    EXPECT_EQ(read_all(file_), "ab");

    // A UTF-8 stream hands format and arguments to the hook unchanged; a
    // converted stream with a hook gets the UTF-8 text with "%s".
    REQUIRE_LATIN1();
    set_vfprintf(capturing_writer);
    EXPECT_EQ(ox_fprintf(file_, "<%d:%s>", 5, kEAcuteUtf8), 1000 + 6);
    EXPECT_EQ(g_hook_format, "<%d:%s>");
    user_fp(file_);
    EXPECT_EQ(ox_fprintf(file_, "<%d:%s>", 6, kEAcuteUtf8), 1000 + 6);
    EXPECT_EQ(g_hook_format, "%s");
    EXPECT_EQ(g_hook_text, std::string("<6:") + kEAcuteUtf8 + ">") << "not converted for the hook";
    EXPECT_EQ(read_all(file_), "ab") << "nothing more reached the stream itself";
}

// Direct writes bypass stdio and append at the end of a disk file, also
// when the descriptor's position is elsewhere.
TEST_F(Output, DirectWritesSeekToTheEndAndWriteLongTextAtOnce)
{
    char path[] = "/tmp/cairn-usewrite-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    auto result = run_in_child([&] {
        int out = open(path, O_WRONLY);
        dup2(out, STDOUT_FILENO);
        close(out);
        ASSERT_EQ(write(STDOUT_FILENO, "hello", 5), 5);
        lseek(STDOUT_FILENO, 0, SEEK_SET);
        EXPECT_EQ(UseWrite(1), 0);
        utf8_fp(stdout);
        EXPECT_EQ(ox_printf("%s", "abc"), 3);
        EXPECT_EQ(UseWrite(0), 1);
    });
    EXPECT_TRUE(result.exited);
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    FILE *f = std::fopen(path, "r");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(read_all(f), "helloabc");
    std::fclose(f);
    unlink(path);

    // Long text is one write, after what stdio buffered.
    result = run_in_child([] {
        UseWrite(1);
        std::string text(70000, 'q');
        std::printf("before|");  // buffered stdio output goes first
        EXPECT_EQ(ox_fprintf(stdout, "%s|", text.c_str()), 70001);
        EXPECT_EQ(ox_fprintf(stderr, "%s", "err"), 3);
    });
    EXPECT_EQ(result.out, std::string("before|") + std::string(70000, 'q') + "|");
    EXPECT_EQ(result.err, "err");
}

TEST_F(Output, CloseDropsDescriptorsFromTheList)
{
    FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    int fd = fileno(f);
    utf8_fp(f);
    ASSERT_TRUE(oxp::excepted_contains(fd));
    EXPECT_EQ(ox_fclose(f), 0);
    EXPECT_FALSE(oxp::excepted_contains(fd));
    EXPECT_EQ(ox_fclose(nullptr), EOF);

    int p[2];
    ASSERT_EQ(pipe(p), 0);
    utf8_fd(p[0]);
    utf8_fd(p[1]);
    EXPECT_EQ(ox_close(p[0]), 0);
    EXPECT_FALSE(oxp::excepted_contains(p[0]));
    In_fork = 1;  // the child's path: no lock taken
    EXPECT_EQ(ox_close(p[1]), 0);
    In_fork = 0;
    EXPECT_FALSE(oxp::excepted_contains(p[1]));
    EXPECT_EQ(ox_close(p[1]), -1) << "already closed";

    EXPECT_EQ(ox_close(0), 0);
    EXPECT_EQ(ox_close(-3), 0);
    EXPECT_NE(fcntl(0, F_GETFD), -1) << "descriptor 0 is never closed";
}

TEST_F(Output, FailingToCreateTheListLockIsFatal)
{
    auto result = run_in_child([] {
        ox_error_set_last(0, OX_ERRKIND_ERRNO);  // the thread's record exists before failures start
        oxp::excepted_list_cleanup();
        cairn::testing::alloc_fail_at(1, true);
        utf8_fd(3);
        cairn::testing::alloc_fail_at(0);
    });
    EXPECT_EQ(result.signal, SIGTERM);
}
