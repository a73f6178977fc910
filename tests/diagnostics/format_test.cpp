// The positional formatter: argument kinds and positions, the three output
// modes, UTF-8 width and precision, failures and their debug lines.
#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "capture_fd.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/text.h"
#include "debug_scope.hpp"
#include "debug_text.hpp"
#include "fault_injection.hpp"
#include "platform/alloc.hpp"

using cairn::testing::CaptureFd;
using cairn::testing::DebugScope;
using cairn::testing::for_each_allocation_failure;

namespace {

// Formats through a non-literal format, so that deliberately unusual
// formats do not trip the compiler's format checks.
std::string fmt(const char *format, ...)
{
    char buf[512];
    va_list ap;
    va_start(ap, format);
    int n = ox_vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    EXPECT_EQ(n, static_cast<int>(std::strlen(buf)));
    return buf;
}

// i18n_vsprintf with a NULL result pointer is allowed and does nothing.
int alloc_format(char **result, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int n = i18n_vsprintf(nullptr, result, format, ap);
    va_end(ap);
    return n;
}

int bounded_alloc_format(size_t size, char **result, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int n = i18n_vsnprintf(nullptr, size, result, format, ap);
    va_end(ap);
    return n;
}

int vformat(char *buf, size_t size, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int n = ox_vsnprintf(buf, size, format, ap);
    va_end(ap);
    return n;
}

// Fetchers that ignore the argument list and record the kinds asked for.
std::vector<int> g_fetched;
const ox_wchar kEmptyWide[1] = {0};

template <int Kind>
void recording_fetch(va_list *, ox_fmt_arg *slot)
{
    g_fetched.push_back(Kind);
    switch (Kind) {
    case OX_FMT_STRING:
        slot->s = "str";
        break;
    case OX_FMT_DOUBLE:
        slot->d = 2.5;
        break;
    case OX_FMT_LONGDOUBLE:
        slot->ld = 4.5L;
        break;
    case OX_FMT_POINTER:
        slot->p = nullptr;
        break;
    case OX_FMT_LONG:
        slot->p = kEmptyWide;
        break;  // "%ls" follows it
    default:
        slot->ll = 7;
        break;
    }
}

const ox_fmt_fetchers kRecording = {{
    recording_fetch<0>,
    recording_fetch<1>,
    recording_fetch<2>,
    recording_fetch<3>,
    recording_fetch<4>,
    recording_fetch<5>,
    recording_fetch<6>,
    recording_fetch<7>,
    recording_fetch<8>,
    recording_fetch<9>,
}};

int map_format(char *buf, size_t size, char **result, const ox_fmt_fetchers *f, const char *format,
               ...)
{
    va_list ap;
    va_start(ap, format);
    int n = i18n_vsnprintf_map(buf, size, result, f, nullptr, format, ap);
    va_end(ap);
    return n;
}

std::vector<int> kinds_fetched(const char *format)
{
    g_fetched.clear();
    char buf[256];
    map_format(buf, sizeof buf, nullptr, &kRecording, format);
    return g_fetched;
}

}  // namespace

// The argument kinds, checked as data through the fetcher table.
TEST(FormatKinds, KindOfEachConversionAsData)
{
    struct Case {
        const char *format;
        std::vector<int> kinds;
    };
    const Case cases[] = {
        {"%c", {1}},
        {"%d", {1}},
        {"%i", {1}},
        {"%hd", {1}},
        {"%hu", {1}},
        {"%hhx", {1}},
        {"%X", {2}},
        {"%o", {2}},
        {"%u", {2}},
        {"%x", {2}},
        {"%ld", {3}},
        {"%lx", {3}},
        {"%li", {3}},
        {"%ls", {3}},
        {"%lc", {3}},
        {"%lld", {4}},
        {"%llu", {4}},
        {"%llx", {4}},
        {"%E", {5}},
        {"%G", {5}},
        {"%e", {5}},
        {"%f", {5}},
        {"%g", {5}},
        {"%lf", {5}},
        {"%Lf", {6}},
        {"%Lg", {6}},
        {"%s", {7}},
        {"%p", {8}},
        {"%lu", {9}},
        {"%I64d", {0}},
        {"%n", {0}},
        {"%zu", {9}},
        {"%zd", {3}},
        {"%zx", {3}},
        {"%jd", {3}},
        {"%ju", {9}},
        {"%td", {3}},
        {"%2$zu %1$td", {3, 9}},
        {"%3$d", {0, 0, 1}},  // positions never mentioned: a word
        {"%*d", {1, 1}},
        {"%-*.*s", {1, 1, 7}},
        {"%1$*3$.*2$f", {5, 1, 1}},  // stars with their own positions
        {"%2$s %1$lu", {9, 7}},
        {"%d%%%s", {1, 7}},
        {"100%", {}},
        {"%5!d", {}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(kinds_fetched(c.format), c.kinds) << c.format;
}

TEST(FormatKinds, ArgumentCountIsHighestPositionUsed)
{
    struct Case {
        const char *format;
        int count;
    };
    const Case cases[] = {
        {"", 0},         {"plain", 0},
        {"%%", 0},       {"%d %s", 2},
        {"%3$d", 3},     {"%*d", 2},
        {"%1$*2$d", 2},  {"%2$s %s", 3},
        {"%.*f", 2},     {"%255$d", 255},
        {"%256$d", 256}, {"%99999999999$d", 2147483646},  // saturated: the count is INT_MAX
        {"%5!", 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_formatted_args_num(c.format), c.count) << c.format;
    EXPECT_EQ(get_formatted_args_num(nullptr), 0);
}

TEST(FormatPositions, ReorderAndReuse)
{
    EXPECT_EQ(fmt("%2$s %1$s", "a", "b"), "b a");
    EXPECT_EQ(fmt("%1$s-%1$s-%2$d", "x", 5), "x-x-5");
    // Conversions without a position take the positions in turn, also after
    // a positional one.
    EXPECT_EQ(fmt("%2$s %s %1$s", "a", "b", "c"), "b c a");
    EXPECT_EQ(fmt("%1$*2$d|%1$-*2$d|", 7, 4), "   7|7   |");
    EXPECT_EQ(fmt("%3$.*1$s|%2$d", 2, 9, "abcdef"), "ab|9");
}

// The position count (highest position plus one) must stay below 256.
TEST(FormatPositions, PositionCountBelow256)
{
    char buf[64];
    g_fetched.clear();
    EXPECT_EQ(map_format(buf, sizeof buf, nullptr, &kRecording, "%254$d"), 1);
    EXPECT_STREQ(buf, "7");
    EXPECT_EQ(g_fetched.size(), 254u);

    std::strcpy(buf, "garbage");
    g_fetched.clear();
    EXPECT_EQ(map_format(buf, sizeof buf, nullptr, &kRecording, "x%255$d"), 0);
    EXPECT_STREQ(buf, "") << "a failed format leaves an empty text";
    EXPECT_TRUE(g_fetched.empty()) << "nothing is fetched for a failed format";
    std::strcpy(buf, "garbage");
    EXPECT_EQ(map_format(buf, sizeof buf, nullptr, &kRecording, "x%256$d"), 0);
    EXPECT_STREQ(buf, "") << "a failed format leaves an empty text";

    char *result = reinterpret_cast<char *>(1);
    EXPECT_EQ(map_format(nullptr, 0, &result, &kRecording, "%256$d"), 0);
    EXPECT_EQ(result, nullptr);
    DebugScope debug(6, 0);
    CaptureFd err(2);
    result = reinterpret_cast<char *>(1);
    EXPECT_EQ(alloc_format(&result, "%1$d %300$d", 1), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
              "Too many arguments. maxpos(301) must be less than 256.\n");
}

// Long formats (more pieces than the formatter keeps from its scan) are
// parsed again for output, with the same positions.
TEST(FormatPositions, ManyConversions)
{
    std::string format, want;
    for (int i = 1; i <= 40; ++i) {
        format += std::string("%") + std::to_string(i % 2 == 0 ? i - 1 : i + 1) + "$d,";
        want += std::to_string(i % 2 == 0 ? (i - 1) * 10 : (i + 1) * 10) + ",";
    }
    char *text = nullptr;
    EXPECT_EQ(alloc_format(&text, format.c_str(), 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120,
                           130, 140, 150, 160, 170, 180, 190, 200, 210, 220, 230, 240, 250, 260,
                           270, 280, 290, 300, 310, 320, 330, 340, 350, 360, 370, 380, 390, 400),
              static_cast<int>(want.size()));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text), want);
    cairn::mem_free(text);
}

TEST(FormatText, NullStringAndStringPrecisions)
{
    EXPECT_EQ(fmt("[%s]", static_cast<char *>(nullptr)), "[null]");
    EXPECT_EQ(fmt("[%6s|%.2s]", static_cast<char *>(nullptr), static_cast<char *>(nullptr)),
              "[  null|nu]");
    EXPECT_EQ(fmt("[%.0s|%.9s]", "abc", "abc"), "[|abc]");
}

// Padding counts screen columns; a precision never splits a character.
TEST(FormatText, Utf8WidthAndPrecision)
{
    const char *cjk = "\xE6\x97\xA5\xE6\x9C\xAC";  // two wide characters, 6 bytes
    EXPECT_EQ(fmt("[%5s]", cjk), std::string("[ ") + cjk + "]");
    EXPECT_EQ(fmt("[%-6s]", cjk), std::string("[") + cjk + "  ]");
    EXPECT_EQ(fmt("[%3s]", cjk), std::string("[") + cjk + "]");
    EXPECT_EQ(fmt("[%.4s]", "abc\xE6\x97\xA5"), "[abc]");
    EXPECT_EQ(fmt("[%.5s]", cjk), "[\xE6\x97\xA5]");
    EXPECT_EQ(fmt("[%.6s]", cjk), std::string("[") + cjk + "]");
    EXPECT_EQ(fmt("[%.2s]", cjk), "[]");
    // The padding is computed for the part printed.
    EXPECT_EQ(fmt("[%5.3s]", cjk), "[   \xE6\x97\xA5]");
    // Four-byte characters are two columns wide.
    EXPECT_EQ(fmt("[%5s]", "\xF0\x9F\x98\x80"), "[   \xF0\x9F\x98\x80]");
    EXPECT_EQ(fmt("[%.3s]", "\xF0\x9F\x98\x80"), "[]");
    // Latin accents are one column wide.
    EXPECT_EQ(fmt("[%4s]", "\xC3\xA9t\xC3\xA9"), "[ \xC3\xA9t\xC3\xA9]");
}

TEST(FormatText, WideStringsAndCharacters)
{
    const ox_wchar wide[] = {'a', 0xE9, 0x65E5, 0};
    EXPECT_EQ(fmt("[%ls]", wide), "[a\xC3\xA9\xE6\x97\xA5]");
    EXPECT_EQ(fmt("[%6ls]", wide), "[  a\xC3\xA9\xE6\x97\xA5]");
    EXPECT_EQ(fmt("[%.5ls]", wide), "[a\xC3\xA9]") << "whole characters within the precision";
    EXPECT_EQ(fmt("[%lc|%-3lc|%c]", static_cast<unsigned>(0xE9), static_cast<unsigned>('x'), 'y'),
              "[\xC3\xA9|x  |y]");
    EXPECT_EQ(fmt("[%ls]", static_cast<ox_wchar *>(nullptr)), "[null]");
}

// A string conversion never follows a value fetched as an int.
TEST(FormatText, MismatchedPositionIsNotFollowed) { EXPECT_EQ(fmt("%1$s %1$d", 5), "null 5"); }

TEST(FormatText, UnknownAndBrokenSpecifications)
{
    EXPECT_EQ(fmt("%I64d %d", 7, 8), "%I64d 8") << "the unknown letter takes one argument";
    EXPECT_EQ(fmt("100%"), "100%");
    EXPECT_EQ(fmt("%5!|%-"), "%5!|%-");
    EXPECT_EQ(fmt("%d%%", 3), "3%");
    EXPECT_EQ(fmt("%5%"), "%");

    DebugScope debug(0, 2);
    CaptureFd err(2);
    fmt("%I64d %zu %y", 1, size_t{2}, 3);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
              "Failed to identify '%I' string formatting symbol\n"
              "Failed to identify '%y' string formatting symbol\n");
}

TEST(FormatText, UnknownLetterLineNeedsLevelTwo)
{
    DebugScope debug(1, 1);
    CaptureFd err(2);
    fmt("%I64d", 1);
    EXPECT_EQ(err.text(), "");
}

TEST(FormatNumbers, FlagsWidthsAndPrecisionsAsData)
{
    struct Case {
        const char *format;
        long long value;
        const char *want;
    };
    const Case cases[] = {
        {"%lld", 0, "0"},
        {"%lld", -9223372036854775807LL - 1, "-9223372036854775808"},
        {"%+lld", 5, "+5"},
        {"% lld", 5, " 5"},
        {"%05lld", -42, "-0042"},
        {"%-5lld|", -42, "-42  |"},
        {"%.0lld", 0, ""},
        {"%+.0lld", 0, "+"},
        {"%8.3lld", -7, "    -007"},
        {"%08.3lld", 7, "     007"},
        {"%#llx", 0, "0"},
        {"%#llx", 255, "0xff"},
        {"%#llX", 255, "0XFF"},
        {"%#llo", 8, "010"},
        {"%#.0llo", 0, "0"},
        {"%#5.3llo", 8, "  010"},
        {"%#08llx", 255, "0x0000ff"},
        {"%llu", -1, "18446744073709551615"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(fmt(c.format, c.value), c.want) << c.format;
    EXPECT_EQ(fmt("%hhd|%hd|%hu|%hhu", 300, 70000, 70000, 511), "44|4464|4464|255");
    EXPECT_EQ(fmt("%*d|%-*d|%.*d", -4, 1, 3, 2, -2, 3), "1   |2  |3");
}

TEST(FormatNumbers, FloatsAndPointersMatchTheRuntime)
{
    char want[128];
    std::snprintf(want, sizeof want, "%.3f|%10.2e|%-8g|%G|%a|%Lf|%p|%p", 3.14159, -12345.678, 0.5,
                  1e-10, 1.0, 1.25L, static_cast<void *>(nullptr),
                  reinterpret_cast<void *>(0x1234));
    EXPECT_EQ(fmt("%.3f|%10.2e|%-8g|%G|%a|%Lf|%p|%p", 3.14159, -12345.678, 0.5, 1e-10, 1.0, 1.25L,
                  static_cast<void *>(nullptr), reinterpret_cast<void *>(0x1234)),
              want);
    // A very long conversion result takes the allocating path.
    std::string big = fmt("%.300f", 1.0);
    EXPECT_EQ(big.size(), 302u);
    char *text = nullptr;
    EXPECT_EQ(alloc_format(&text, "%.700f", 1.0), 702);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text, 2), "1.");
    cairn::mem_free(text);
}

// Failures of widths, precisions and rebuilt specifications: result 0 and a
// debug line at level 6 or trace bit 32 only.
TEST(FormatFailures, WidthAndPrecisionFailuresAsData)
{
    const std::string long_flags(300, '-');
    const std::string long_precision = std::string("%.") + std::string(300, '0') + "5d";
    struct Case {
        std::string format;
        const char *line;
    };
    const Case cases[] = {
        {"%99999999999d", "i18n_vsnprintf: Failed to format parameter width\n"},
        {"%.99999999999d", "i18n_vsnprintf: Failed to format parameter precision\n"},
        {std::string("%") + long_flags + "d",
         "i18n_vsnprintf: Truncation detected during parameter width formatting\n"},
        {long_precision,
         "i18n_vsnprintf: Truncation detected during parameter precision formatting\n"},
        {"%*d", "i18n_vsnprintf: Failed to format parameter width\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.format.substr(0, 20));
        char buf[32] = "junk";
        {
            DebugScope quiet(5, 31);
            CaptureFd err(2);
            EXPECT_EQ(vformat(buf, sizeof buf, c.format.c_str(), INT_MIN, 1), 0);
            EXPECT_STREQ(buf, "");
            EXPECT_EQ(err.text(), "");
        }
        {
            DebugScope by_level(6, 0);
            CaptureFd err(2);
            EXPECT_EQ(vformat(buf, sizeof buf, c.format.c_str(), INT_MIN, 1), 0);
            EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()), c.line);
        }
        {
            DebugScope by_trace(0, 32);
            CaptureFd err(2);
            char *text = reinterpret_cast<char *>(1);
            EXPECT_EQ(alloc_format(&text, c.format.c_str(), INT_MIN, 1), 0);
            EXPECT_EQ(text, nullptr) << "allocating mode frees and clears";
            EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()), c.line);
        }
    }
    // A precision of INT_MIN by star is just no precision.
    EXPECT_EQ(fmt("%.*d", INT_MIN, 12), "12");
}

TEST(FormatModes, BoundedCutsAtTheLastByte)
{
    char buf[8];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(vformat(buf, 5, "%s-%d", "abc", 12345), 4);
    EXPECT_STREQ(buf, "abc-");
    EXPECT_EQ(buf[5], '#');
    EXPECT_EQ(vformat(buf, 1, "%s", "abc"), 0);
    EXPECT_STREQ(buf, "");
    buf[0] = '#';
    EXPECT_EQ(vformat(buf, 0, "%s", "abc"), 0) << "bounded with no room writes nothing";
    EXPECT_EQ(buf[0], '#');
    EXPECT_EQ(vformat(nullptr, 8, "%s", "abc"), 0);

    DebugScope debug(6, 0);
    CaptureFd err(2);
    EXPECT_EQ(vformat(buf, 3, "%s", "abc"), 2);
    EXPECT_EQ(vformat(buf, 4, "%s", "abc"), 3);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
              "i18n_vsnprintf: Truncation detected\n")
        << "only the cut text reports";
}

TEST(FormatModes, UnboundedAndNeitherBufferNorResult)
{
    char buf[64];
    EXPECT_EQ(ox_sprintf(buf, "%s=%d", "level", 3), 7);
    EXPECT_STREQ(buf, "level=3");
    EXPECT_EQ(ox_sprintf(nullptr, "%d", 3), 0);
    EXPECT_EQ(map_format(nullptr, 10, nullptr, nullptr, "abc"), 0);
    char *result = reinterpret_cast<char *>(1);
    EXPECT_EQ(map_format(nullptr, 0, &result, nullptr, nullptr), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

TEST(FormatModes, AllocatingGrowsAndBoundsWhenSized)
{
    const std::string long_arg(50000, 'x');
    char *text = nullptr;
    EXPECT_EQ(alloc_format(&text, "<%s>", long_arg.c_str()), 50002);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text), std::string("<") + long_arg + ">");
    cairn::mem_free(text);

    EXPECT_EQ(bounded_alloc_format(6, &text, "%s", "abcdefgh"), 5);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "abcde");
    cairn::mem_free(text);

    EXPECT_EQ(alloc_format(&text, ""), 0);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "");
    cairn::mem_free(text);
    EXPECT_EQ(alloc_format(nullptr, "abc"), 0) << "no result pointer";
}

// Every allocating call fails cleanly: no text and ENOMEM when the first
// storage cannot be had; a cut text and the debug line when an enlargement
// fails.
TEST(FormatModes, AllocationFailures)
{
    ox_error_set_last(0, OX_ERRKIND_ERRNO);  // create the thread's record before injecting
    for_each_allocation_failure([] {
        char *text = reinterpret_cast<char *>(1);
        int n = alloc_format(&text, "%s %d", "short", 1);
        if (text == nullptr) {
            EXPECT_EQ(n, 0);
            return false;
        }
        EXPECT_STREQ(text, "short 1");
        cairn::mem_free(text);
        return true;
    });

    for_each_allocation_failure([] {
        char *text = reinterpret_cast<char *>(1);
        int n = bounded_alloc_format(4, &text, "%s", "sized");
        if (text == nullptr) {
            EXPECT_EQ(n, 0);
            return false;
        }
        EXPECT_STREQ(text, "siz");
        cairn::mem_free(text);
        return true;
    });

    const std::string long_arg(30000, 'y');
    DebugScope debug(0, 32);
    CaptureFd err(2);
    int needed = for_each_allocation_failure([&] {
        char *text = nullptr;
        int n = alloc_format(&text, "%s", long_arg.c_str());
        if (text == nullptr)
            return false;
        if (n < 30000) {
            EXPECT_EQ(std::strlen(text), static_cast<size_t>(n)) << "terminated where it was cut";
            EXPECT_EQ(n, 19457) << "cut at the end of the first storage";
            cairn::mem_free(text);
            return false;
        }
        EXPECT_EQ(std::string(text), long_arg);
        cairn::mem_free(text);
        return true;
    });
    EXPECT_EQ(needed, 3);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
              "i18n_vsnprintf: Truncation detected - new buffer allocation failure\n");

    for_each_allocation_failure([] {
        char *text = nullptr;
        int n = alloc_format(&text, "%.700f", 2.0);
        if (text == nullptr)
            return false;
        bool whole = n == 702;
        cairn::mem_free(text);
        return whole;  // the long conversion's own scratch can fail too
    });
}

TEST(FormatC99, SnprintfReturnsTheFullLength)
{
    char buf[8];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(ox_snprintf(buf, 4, "%s", "0123456789"), 10);
    EXPECT_STREQ(buf, "012");
    EXPECT_EQ(buf[4], '#');
    EXPECT_EQ(ox_snprintf(nullptr, 0, "%d-%s", 42, "abc"), 6) << "measuring";
    buf[0] = '#';
    EXPECT_EQ(ox_snprintf(buf, 0, "%d", 42), 2);
    EXPECT_EQ(buf[0], '#') << "size 0 writes nothing";
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%d", 42), 2);
    EXPECT_STREQ(buf, "42");
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%2$s%1$s", "a", "b"), 2);
    EXPECT_STREQ(buf, "ba");
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, nullptr), -1);

    DebugScope quiet_cut(6, 0);
    CaptureFd err(2);
    EXPECT_EQ(ox_snprintf(buf, 2, "%s", "abc"), 3);
    EXPECT_EQ(err.text(), "") << "the C99 form reports a cut only by its result";
}

// A huge width on a conversion done by the runtime makes only the part
// that fits, and still counts the whole.
TEST(FormatNumbers, HugeRuntimeConversionIntoSmallBuffer)
{
    char buf[16];
    EXPECT_EQ(vformat(buf, sizeof buf, "%100000f", 1.0), 15);
    EXPECT_EQ(std::string(buf), std::string(15, ' '));
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%-100000f|", 1.0), 100001);
    EXPECT_STREQ(buf, "1.000000       ");
}

TEST(FormatC99, SnprintfFailsNegative)
{
    char buf[8];
    // The largest width is still a width; one more is beyond the int range.
    const char *widest = "%2147483647d";
    const char *too_wide = "%2147483648d";
    asm volatile("" : "+r"(widest), "+r"(too_wide));
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, widest, 1), INT_MAX);
    EXPECT_STREQ(buf, "       ");
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, too_wide, 1), -1);
    const char *bad = "%99999999999d";
    asm volatile("" : "+r"(bad));  // keep the compiler's format check away
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, bad, 1), -1);
    EXPECT_STREQ(buf, "");
}

// The C99 length letters, in every formatting call, with their arguments
// fetched at the width of a long.
TEST(FormatC99, LengthLettersZJT)
{
    DebugScope loud(6, 0xffffffffu);
    CaptureFd err(2);
    char buf[128];
    EXPECT_EQ(ox_snprintf(buf, 8, "%zu", static_cast<size_t>(5)), 1);
    EXPECT_STREQ(buf, "5");
    const size_t big = SIZE_MAX;
    const intmax_t most_negative = INTMAX_MIN;
    const ptrdiff_t gap = -PTRDIFF_MAX;
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%zu|%jd|%td|%zx|%d", big, most_negative, gap,
                          static_cast<size_t>(0xabc), 9),
              68);
    EXPECT_STREQ(buf, "18446744073709551615|-9223372036854775808|-9223372036854775807|abc|9");
    EXPECT_EQ(fmt("%2$zu %1$td %3$jx", gap, big, static_cast<uintmax_t>(255)),
              "18446744073709551615 -9223372036854775807 ff");
    EXPECT_EQ(fmt("%zd %Lf %lld", static_cast<ssize_t>(-4), 2.5L, -7LL), "-4 2.500000 -7");
    char *text = nullptr;
    EXPECT_EQ(alloc_format(&text, "%3$zu-%2$zu-%1$zu", size_t{1}, size_t{2}, size_t{3}), 5);
    EXPECT_STREQ(text, "3-2-1");
    cairn::mem_free(text);
    EXPECT_EQ(err.text(), "") << "no line about unknown letters";
}

// ox_snprintf() is the C library's formatter: widths and precisions of
// "%s" count bytes and a null string prints as the C library prints it.
TEST(FormatC99, SnprintfFollowsTheRuntimeForText)
{
    const char *cjk = "\xe4\xb8\xad\xe6\x96\x87";  // two wide characters, six bytes
    const char *none = nullptr;
    struct Case {
        const char *format;
        const char *arg;
    };
    const Case cases[] = {
        {"[%8s]", cjk},   {"[%-8s]", cjk},  {"[%.4s]", cjk}, {"[%s]", none},
        {"[%.3s]", none}, {"[%.6s]", none}, {"[%8s]", none}, {"[%-9.2s]", none},
    };
    for (const Case &c : cases) {
        char want[64], got[64];
        const char *f = c.format;
        asm volatile("" : "+r"(f));  // keep the compiler's checks of a null %s away
        int n = std::snprintf(want, sizeof want, f, c.arg);
        EXPECT_EQ(ox_snprintf(got, sizeof got, f, c.arg), n) << c.format;
        EXPECT_STREQ(got, want) << c.format;
    }
    // The positional formatter keeps its own rules.
    EXPECT_EQ(fmt("[%8s]", cjk), std::string("[    ") + cjk + "]");
    EXPECT_EQ(fmt("[%s]", none), "[null]");
}

namespace {

// A format the compiler cannot check (for deliberately unusual ones).
const char *hidden(const char *format)
{
    asm volatile("" : "+r"(format));
    return format;
}

}  // namespace

// Huge widths and precisions on every kind of conversion: the length is
// exact and only what the buffer takes is made, so these calls return at
// once instead of producing gigabytes of scratch text.
TEST(FormatNumbers, HugeWidthsAndPrecisionsCostNothingPastTheBuffer)
{
    const int huge = 1000000000;
    char buf[16];
    struct Case {
        const char *format;
        long long expected;  // full length
        const char *stored;  // what the 16-byte buffer keeps
    };
    // Widths: every conversion pads to exactly the width.
    const Case widths[] = {
        {"%*d", huge, "               "},  {"%-*x", huge, "1              "},
        {"%*e", huge, "               "},  {"%-*f", huge, "1.000000       "},
        {"%*g", huge, "               "},  {"%*a", huge, "               "},
        {"%0*E", huge, "000000000000000"}, {"%*p", huge, "               "},
        {"%*s", huge, "               "},  {"%*c", huge, "               "},
    };
    for (const Case &c : widths) {
        const char *f = c.format;
        asm volatile("" : "+r"(f));
        int n = -1, bounded = -1;
        switch (f[std::strlen(f) - 1]) {
        case 'd':
        case 'x':
        case 'c':
            n = ox_snprintf(buf, sizeof buf, f, huge, 1);
            bounded = vformat(buf, sizeof buf, f, huge, 1);
            break;
        case 'p':
            n = ox_snprintf(buf, sizeof buf, f, huge, static_cast<void *>(buf));
            bounded = vformat(buf, sizeof buf, f, huge, static_cast<void *>(buf));
            break;
        case 's':
            n = ox_snprintf(buf, sizeof buf, f, huge, "x");
            bounded = vformat(buf, sizeof buf, f, huge, "x");
            break;
        default:
            bounded = vformat(buf, sizeof buf, f, huge, 1.0);
            n = ox_snprintf(buf, sizeof buf, f, huge, 1.0);
            break;
        }
        EXPECT_EQ(n, c.expected) << c.format;
        EXPECT_EQ(bounded, 15) << c.format;
        if (f[std::strlen(f) - 1] != 'p') {
            EXPECT_STREQ(buf, c.stored) << c.format;
        }
    }
    // Precisions: zeros after the exact digits, before any exponent.
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*e", huge, 1.0), huge + 6);
    EXPECT_STREQ(buf, "1.0000000000000");
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*f", huge, 0.5), huge + 2);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*Lf", huge, 0.5L), huge + 2);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*g", huge, 0.5), 3) << "no '#': trailing zeros go";
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%#.*g", huge, 0.5), huge + 2) << "0. and the digits";
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*a", huge, 1.0), huge + 7);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*d", huge, 7), huge);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, hidden("%.*p"), huge, static_cast<void *>(buf)),
              huge + 2);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*s", huge, "abc"), 3);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%.*f", huge, 1.0 / 0.0), 3) << "inf takes no zeros";
    // Conversions after the buffer is full are counted.
    EXPECT_EQ(
        ox_snprintf(buf, sizeof buf, hidden("%*d%*e%*.*f"), huge, 1, huge, 1.0, huge, huge, 2.0),
        -1)
        << "three gigabytes pass INT_MAX";
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%*d%.*e|%s", 100, 1, huge / 2, 1.0, "tail"),
              100 + huge / 2 + 6 + 5);
}

// Precisions past the exact expansion, checked as text against the C
// library at sizes it still formats quickly.
TEST(FormatNumbers, LongPrecisionsMatchTheRuntime)
{
    const char *formats[] = {"%.3000e", "%.3000f",        "%#.3000g",     "%.3000g",
                             "%.3000a", "%-+#3100.2000E", "%03100.1600f", "%.3000A"};
    const double values[] = {1.0, -0.1, 1e300, 5e-324, 123456.789, 1.0 / 0.0};
    std::vector<char> want(8192), got(8192);
    for (const char *f : formats) {
        for (double v : values) {
            int n = std::snprintf(want.data(), want.size(), f, v);
            EXPECT_EQ(ox_snprintf(got.data(), got.size(), f, v), n) << f << " " << v;
            EXPECT_STREQ(got.data(), want.data()) << f << " " << v;
        }
    }
    const char *long_formats[] = {"%.17000Le", "%.17000Lf", "%#.17000Lg", "%.17000La"};
    std::vector<char> lwant(40000), lgot(40000);
    for (const char *f : long_formats) {
        for (long double v : {1.0L, -0.1L, 1e-4940L, 1e4000L}) {
            int n = std::snprintf(lwant.data(), lwant.size(), f, v);
            EXPECT_EQ(ox_snprintf(lgot.data(), lgot.size(), f, v), n) << f;
            EXPECT_STREQ(lgot.data(), lwant.data()) << f;
        }
    }
}
