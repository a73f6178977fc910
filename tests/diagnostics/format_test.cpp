// The positional formatter: argument kinds and positions, the three output
// modes, UTF-8 width and precision, failures and their debug lines; the
// va_list forms; display widths of UTF-8 text; and the formatter against the
// C library's vsnprintf on generated formats.
#include <gtest/gtest.h>
#include "va_fronts.hpp"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/text.h"
#include "child_process.hpp"
#include "debug_capture.hpp"
#include "platform/alloc.hpp"

using cairn::testing::debug_output;
using cairn::testing::run_in_child;

using cairn::testing::alloc_format;
using cairn::testing::bounded_alloc_format;

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

CAIRN_VA_FRONT(int, vformat, (char *buf, size_t size, const char *format, ...), format,
               ox_vsnprintf, buf, size, format)

// A format the compiler cannot check (for deliberately unusual ones).
const char *hidden(const char *format)
{
    asm volatile("" : "+r"(format));
    return format;
}

// Fetchers that ignore the argument list and record the kinds asked for.
std::vector<int> g_fetched;
const ox_wchar kEmptyWide[1] = {0};

template <int Kind>
void recording_fetch(va_list *, ox_fmt_arg *slot)
{
    g_fetched.push_back(Kind);
    slot->ll = 7;
    if constexpr (Kind == OX_FMT_STRING)
        slot->s = "str";
    if constexpr (Kind == OX_FMT_DOUBLE)
        slot->d = 2.5;
    if constexpr (Kind == OX_FMT_LONGDOUBLE)
        slot->ld = 4.5L;
    if constexpr (Kind == OX_FMT_POINTER)
        slot->p = nullptr;
    if constexpr (Kind == OX_FMT_LONG)
        slot->p = kEmptyWide;  // "%ls" follows it
}

const ox_fmt_fetchers kRecording = {{recording_fetch<0>, recording_fetch<1>, recording_fetch<2>,
                                     recording_fetch<3>, recording_fetch<4>, recording_fetch<5>,
                                     recording_fetch<6>, recording_fetch<7>, recording_fetch<8>,
                                     recording_fetch<9>}};

CAIRN_VA_FRONT(int, map_format,
               (char *buf, size_t size, char **result, const ox_fmt_fetchers *f, const char *format,
                ...),
               format, i18n_vsnprintf_map, buf, size, result, f, nullptr, format)

std::vector<int> kinds_fetched(const char *format)
{
    g_fetched.clear();
    char buf[256];
    map_format(buf, sizeof buf, nullptr, &kRecording, format);
    return g_fetched;
}
}  // namespace

// The argument kinds, checked as data through the fetcher table.
TEST(FormatKinds, KindOfEachConversionAndTheCountAsData)
{
    // One conversion: the kind its argument is fetched as (0: a word).
    const std::pair<int, std::vector<const char *>> singles[] = {
        {1, {"%c", "%d", "%i", "%hd", "%hu", "%hhx"}},
        {2, {"%X", "%o", "%u", "%x"}},
        {3, {"%ld", "%lx", "%li", "%ls", "%lc", "%zd", "%zx", "%jd", "%td"}},
        {4, {"%lld", "%llu", "%llx"}},
        {5, {"%E", "%G", "%e", "%f", "%g", "%lf"}},
        {6, {"%Lf", "%Lg"}},
        {7, {"%s"}},
        {8, {"%p"}},
        {9, {"%lu", "%zu", "%ju"}},
        {0, {"%I64d", "%n"}},
    };
    for (const auto &[kind, formats] : singles)
        for (const char *format : formats)
            EXPECT_EQ(kinds_fetched(format), std::vector<int>{kind}) << format;
    const std::pair<const char *, std::vector<int>> cases[] = {
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
    for (const auto &[format, kinds] : cases)
        EXPECT_EQ(kinds_fetched(format), kinds) << format;

    // The argument count is the highest position used.
    const std::pair<const char *, int> counts[] = {
        {"", 0},         {"plain", 0},
        {"%%", 0},       {"%d %s", 2},
        {"%3$d", 3},     {"%*d", 2},
        {"%1$*2$d", 2},  {"%2$s %s", 3},
        {"%.*f", 2},     {"%255$d", 255},
        {"%256$d", 256}, {"%99999999999$d", 2147483646},  // saturated: the count is INT_MAX
        {"%5!", 0},
    };
    for (auto [format, count] : counts)
        EXPECT_EQ(get_formatted_args_num(format), count) << format;
    EXPECT_EQ(get_formatted_args_num(nullptr), 0);
}

TEST(FormatPositions, ReorderReuseAndTheLimitOf256)
{
    EXPECT_EQ(fmt("%2$s %1$s", "a", "b"), "b a");
    EXPECT_EQ(fmt("%1$s-%1$s-%2$d", "x", 5), "x-x-5");
    // Conversions without a position take the positions in turn, also after
    // a positional one.
    EXPECT_EQ(fmt("%2$s %s %1$s", "a", "b", "c"), "b c a");
    EXPECT_EQ(fmt("%1$*2$d|%1$-*2$d|", 7, 4), "   7|7   |");
    EXPECT_EQ(fmt("%3$.*1$s|%2$d", 2, 9, "abcdef"), "ab|9");
    // A string conversion never follows a value fetched as an int.
    EXPECT_EQ(fmt("%1$s %1$d", 5), "null 5");

    // The position count (highest position plus one) must stay below 256.
    char buf[64];
    g_fetched.clear();
    EXPECT_EQ(map_format(buf, sizeof buf, nullptr, &kRecording, "%254$d"), 1);
    EXPECT_STREQ(buf, "7");
    EXPECT_EQ(g_fetched.size(), 254u);

    for (const char *format : {"x%255$d", "x%256$d"}) {
        std::strcpy(buf, "garbage");
        g_fetched.clear();
        EXPECT_EQ(map_format(buf, sizeof buf, nullptr, &kRecording, format), 0);
        EXPECT_STREQ(buf, "") << "a failed format leaves an empty text";
        EXPECT_TRUE(g_fetched.empty()) << "nothing is fetched for a failed format";
    }
    char *result = reinterpret_cast<char *>(1);
    EXPECT_EQ(map_format(nullptr, 0, &result, &kRecording, "%256$d"), 0);
    EXPECT_EQ(result, nullptr);
    result = reinterpret_cast<char *>(1);
    EXPECT_EQ(debug_output(6, 0, [&] { EXPECT_EQ(alloc_format(&result, "%1$d %300$d", 1), 0); }),
              "Too many arguments. maxpos(301) must be less than 256.\n");
    EXPECT_EQ(result, nullptr);
}

// Padding counts screen columns; a precision never splits a character.
TEST(FormatText, Utf8WidthPrecisionWideTextUnknownAndBrokenSpecifications)
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
    // Wide strings and characters.
    const ox_wchar wide[] = {'a', 0xE9, 0x65E5, 0};
    EXPECT_EQ(fmt("[%ls]", wide), "[a\xC3\xA9\xE6\x97\xA5]");
    EXPECT_EQ(fmt("[%6ls]", wide), "[  a\xC3\xA9\xE6\x97\xA5]");
    EXPECT_EQ(fmt("[%.5ls]", wide), "[a\xC3\xA9]") << "whole characters within the precision";
    EXPECT_EQ(fmt("[%lc|%-3lc|%c]", static_cast<unsigned>(0xE9), static_cast<unsigned>('x'), 'y'),
              "[\xC3\xA9|x  |y]");
    EXPECT_EQ(fmt("[%ls]", static_cast<ox_wchar *>(nullptr)), "[null]");

    // Unknown and broken specifications.
    EXPECT_EQ(fmt("%I64d %d", 7, 8), "%I64d 8") << "the unknown letter takes one argument";
    EXPECT_EQ(fmt("100%"), "100%");
    EXPECT_EQ(fmt("%5!|%-"), "%5!|%-");
    EXPECT_EQ(fmt("%d%%", 3), "3%");
    EXPECT_EQ(fmt("%5%"), "%");
    EXPECT_EQ(debug_output(1, 1, [] { fmt("%I64d", 1); }), "")
        << "the unknown-letter line needs level 2";
    EXPECT_EQ(
        debug_output(
            0, 2, [] { fmt("%I64d %zu %jd %td %y", 1, size_t{2}, intmax_t{3}, ptrdiff_t{4}, 5); }),
        "Failed to identify '%I' string formatting symbol\n"
        "Failed to identify '%y' string formatting symbol\n");
}

// The extremes and the zero cases; the generated formats below cover the rest.
TEST(FormatNumbers, FlagsWidthsAndPrecisionsAsData)
{
    const std::tuple<const char *, long long, const char *> cases[] = {
        {"%lld", -9223372036854775807LL - 1, "-9223372036854775808"},
        {"%llu", -1, "18446744073709551615"},
        {"%.0lld", 0, ""},
        {"%+.0lld", 0, "+"},
        {"%#llx", 0, "0"},
        {"%#.0llo", 0, "0"},
        {"%#5.3llo", 8, "  010"},
    };
    for (auto [format, value, want] : cases)
        EXPECT_EQ(fmt(format, value), want) << format;
    EXPECT_EQ(fmt("%hhd|%hd|%hu|%hhu", 300, 70000, 70000, 511), "44|4464|4464|255");
    EXPECT_EQ(fmt("%*d|%-*d|%.*d", -4, 1, 3, 2, -2, 3), "1   |2  |3");
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
        auto bounded = [&] {
            EXPECT_EQ(vformat(buf, sizeof buf, c.format.c_str(), INT_MIN, 1), 0);
        };
        EXPECT_EQ(debug_output(5, 31, bounded), "");
        EXPECT_STREQ(buf, "");
        EXPECT_EQ(debug_output(6, 0, bounded), c.line);
        char *text = reinterpret_cast<char *>(1);
        EXPECT_EQ(
            debug_output(0, 32,
                         [&] { EXPECT_EQ(alloc_format(&text, c.format.c_str(), INT_MIN, 1), 0); }),
            c.line);
        EXPECT_EQ(text, nullptr) << "allocating mode frees and clears";
    }
    // A precision of INT_MIN by star is just no precision.
    EXPECT_EQ(fmt("%.*d", INT_MIN, 12), "12");
}

// Where the bounded and C99 forms cut, and what they return, at every
// buffer size: the differential below.
TEST(FormatModes, BoundedCutsReportUnboundedAndNeither)
{
    char buf[8];
    EXPECT_EQ(vformat(nullptr, 8, "%s", "abc"), 0);
    EXPECT_EQ(debug_output(6, 0,
                           [&] {
                               EXPECT_EQ(vformat(buf, 3, "%s", "abc"), 2);
                               EXPECT_EQ(vformat(buf, 4, "%s", "abc"), 3);
                           }),
              "i18n_vsnprintf: Truncation detected\n")
        << "only the cut text reports";

    // Unbounded, and neither buffer nor result.
    char big[64];
    EXPECT_EQ(ox_sprintf(big, "%s=%d", "level", 3), 7);
    EXPECT_STREQ(big, "level=3");
    EXPECT_EQ(ox_sprintf(nullptr, "%d", 3), 0);
    EXPECT_EQ(map_format(nullptr, 10, nullptr, nullptr, "abc"), 0);
    char *result = reinterpret_cast<char *>(1);
    EXPECT_EQ(map_format(nullptr, 0, &result, nullptr, nullptr), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);

    // Allocating: grows, and bounds when sized.
    const std::string long_arg(50000, 'x');
    char *text = nullptr;
    EXPECT_EQ(alloc_format(&text, "<%s>", long_arg.c_str()), 50002);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text), std::string("<") + long_arg + ">");
    cairn::mem_free(text);

    EXPECT_EQ(bounded_alloc_format(6, &text, "%s", "abcdefgh"), 5);
    EXPECT_STREQ(text, "abcde");
    cairn::mem_free(text);

    // A long conversion result in the allocating form.
    EXPECT_EQ(alloc_format(&text, "%.700f", 1.0), 702);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text, 2), "1.");
    cairn::mem_free(text);

    EXPECT_EQ(alloc_format(&text, ""), 0);
    EXPECT_STREQ(text, "");
    cairn::mem_free(text);
    EXPECT_EQ(alloc_format(nullptr, "abc"), 0) << "no result pointer";
}

TEST(FormatC99, SnprintfReturnsTheFullLengthAndFollowsTheRuntimeForText)
{
    char buf[8];
    EXPECT_EQ(ox_snprintf(nullptr, 0, "%d-%s", 42, "abc"), 6) << "measuring";
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, nullptr), -1);

    // The largest width is still a width; one more is beyond the int range.
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, hidden("%2147483647d"), 1), INT_MAX);
    EXPECT_STREQ(buf, "       ");
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, hidden("%2147483648d"), 1), -1);
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, hidden("%99999999999d"), 1), -1);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(debug_output(6, 0, [&] { EXPECT_EQ(ox_snprintf(buf, 2, "%s", "abc"), 3); }), "")
        << "the C99 form reports a cut only by its result";

    // It is the C library's formatter: widths and precisions of "%s" count
    // bytes and a null string prints as the C library prints it.
    const char *cjk = "\xe4\xb8\xad\xe6\x96\x87";  // two wide characters, six bytes
    const char *none = nullptr;
    const std::pair<const char *, const char *> cases[] = {
        {"[%8s]", cjk},   {"[%-8s]", cjk},  {"[%.4s]", cjk}, {"[%s]", none},
        {"[%.3s]", none}, {"[%.6s]", none}, {"[%8s]", none}, {"[%-9.2s]", none},
    };
    for (auto [format, arg] : cases) {
        char want[64], got[64];
        const char *f = hidden(format);  // keep the compiler's checks of a null %s away
        int n = std::snprintf(want, sizeof want, f, arg);
        EXPECT_EQ(ox_snprintf(got, sizeof got, f, arg), n) << format;
        EXPECT_STREQ(got, want) << format;
    }
    // The positional formatter keeps its own rules.
    EXPECT_EQ(fmt("[%8s]", cjk), std::string("[    ") + cjk + "]");
    EXPECT_EQ(fmt("[%s|%6s|%.2s]", none, none, none), "[null|  null|nu]");
}

// Huge widths and precisions on every kind of conversion: the length is
// exact and only what the buffer takes is made, so these calls return at
// once instead of producing gigabytes of scratch text.
TEST(FormatNumbers, HugeWidthsAndPrecisionsCostNothingPastTheBuffer)
{
    const int huge = 1000000000;
    char buf[16];
    // Widths: every conversion pads to exactly the width; `stored` is what
    // the 16-byte buffer keeps.
    auto width = [&](const char *format, const char *stored, auto arg) {
        const char *f = hidden(format);
        EXPECT_EQ(vformat(buf, sizeof buf, f, huge, arg), 15) << format;
        EXPECT_EQ(ox_snprintf(buf, sizeof buf, f, huge, arg), huge) << format;
        if (stored != nullptr) {
            EXPECT_STREQ(buf, stored) << format;
        }
    };
    const char *blanks = "               ";
    width("%*d", blanks, 1);
    width("%-*x", "1              ", 1);
    width("%*c", blanks, 1);
    width("%*p", nullptr, static_cast<void *>(buf));
    width("%*s", blanks, "x");
    for (const char *f : {"%*e", "%*g", "%*a"})
        width(f, blanks, 1.0);
    width("%-*f", "1.000000       ", 1.0);
    width("%0*E", "000000000000000", 1.0);
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
    // A huge width on a conversion done by the runtime makes only the part
    // that fits, and still counts the whole.
    EXPECT_EQ(vformat(buf, sizeof buf, "%100000f", 1.0), 15);
    EXPECT_EQ(std::string(buf), std::string(15, ' '));
    EXPECT_EQ(ox_snprintf(buf, sizeof buf, "%-100000f|", 1.0), 100001);
    EXPECT_STREQ(buf, "1.000000       ");
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

// The formatter against the C library: every generated format takes one
// argument list, checked for the same text and length in the bounded form at
// every buffer size, the C99 form and the allocating form.
namespace {

// Every generated format takes this one argument list.  Position (1-based):
//  1-3 int (7, -3, 12)   4 unsigned   5 long   6 unsigned long
//  7 long long   8 unsigned long long   9-10 double   11 long double
//  12-13 strings   14 int 'Z'   15 int 0   16 int 300
//  17 pointer   18 null pointer
#define DIFF_ARGS                                                                                  \
    7, -3, 12, 0x1234abcdu, -1234567890123L, 0xfedcba9876543210UL, -123456789012345678LL,          \
        0x8000000000000001ULL, 3.14159, -2.5e10, 1.25L, "hello", "", 'Z', 0, 300,                  \
        reinterpret_cast<void *>(0x1234abcdUL), static_cast<void *>(nullptr)

enum Type { Int, Unsigned, Long, ULong, LongLong, ULongLong, Double, LongDouble, String, Pointer };

// Per type: the conversion that completes a format where the position is
// unused, the length letters and the conversion letters drawn from.
struct TypeSpec {
    const char *canonical;
    std::vector<const char *> lengths;
    const char *letters;
};
const TypeSpec kSpecs[] = {
    {"d", {"", "h", "hh"}, "di"},
    {"u", {"", "h", "hh"}, "uoxX"},
    {"ld", {"l", "z", "j", "t"}, "di"},
    {"lu", {"l", "z", "j"}, "uoxX"},  // z, j, t: a long
    {"lld", {"ll"}, "di"},
    {"llu", {"ll"}, "uoxX"},
    {"g", {"l", "", "", ""}, "eEfFgGaA"},
    {"Lg", {"L"}, "eEfFgGaA"},
    {"s", {""}, "s"},
    {"p", {""}, "p"},
};

constexpr int kPositions = 18;
const Type kTypes[kPositions + 1] = {
    Int,  // unused slot 0
    Int,    Int,        Int,    Unsigned, Long, ULong, LongLong, ULongLong, Double,
    Double, LongDouble, String, String,   Int,  Int,   Int,      Pointer,   Pointer,
};
// int positions that hold a small value usable as a width or precision
const int kStarPositions[] = {1, 2, 3, 15};
// int positions that are not negative (for unsigned conversions of an int)
bool non_negative_int(int pos) { return kTypes[pos] == Int && pos != 2; }

CAIRN_VA_FRONT(int, runtime_format, (char *buf, size_t size, const char *fmt, ...), fmt,
               std::vsnprintf, buf, size, fmt)

// Reference every position not yet used, since the C library needs the
// type of each.
std::string complete_positions(std::string f)
{
    for (int pos = 1; pos <= kPositions; ++pos) {
        std::string tag = std::to_string(pos) + "$";
        bool used = f.find(std::string("%") + tag) != std::string::npos ||
                    f.find(std::string("*") + tag) != std::string::npos;
        if (!used)
            f += std::string(" %") + tag + kSpecs[kTypes[pos]].canonical;
    }
    return f;
}

class FormatGenerator {
public:
    explicit FormatGenerator(unsigned seed) : rng_(seed) {}

    // Conversions in argument order; int positions may serve as the "*"
    // width or precision of the conversion that follows them.
    std::string plain()
    {
        std::string f = literal();
        bool width_star = false, precision_star = false;
        for (int pos = 1; pos <= kPositions; ++pos) {
            bool star_candidate = pos < kPositions && std::count(std::begin(kStarPositions),
                                                                 std::end(kStarPositions), pos);
            if (star_candidate && !width_star && !precision_star && chance(4)) {
                width_star = true;
                continue;
            }
            if (star_candidate && !precision_star && chance(4)) {
                precision_star = true;
                continue;
            }
            f += conversion(pos, "", width_star ? "*" : "", precision_star ? "*" : "");
            f += literal();
            width_star = precision_star = false;
        }
        return f;
    }

    // Conversions at random positions, then every position not yet used.
    std::string positional()
    {
        std::string f = literal();
        int count = 1 + pick(6);
        for (int i = 0; i < count; ++i) {
            int pos = 1 + pick(kPositions);
            std::string width = chance(4) ? star_at(kStarPositions[pick(4)]) : "";
            std::string precision = chance(4) ? star_at(kStarPositions[pick(4)]) : "";
            f += conversion(pos, std::to_string(pos) + "$", width, precision);
            f += literal();
        }
        return complete_positions(f);
    }

private:
    static std::string star_at(int pos) { return "*" + std::to_string(pos) + "$"; }

    int pick(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }
    bool chance(int one_in) { return pick(one_in) == 0; }

    std::string literal()
    {
        static const char kChars[] = "abcXYZ :=-[]()|";
        std::string s;
        int n = pick(4);
        for (int i = 0; i < n; ++i)
            s += chance(8) ? std::string("%%") : std::string(1, kChars[pick(sizeof kChars - 1)]);
        return s;
    }

    // Length letters and conversion letter for the type at `pos`.
    std::string letters(int pos)
    {
        const TypeSpec &t = kSpecs[kTypes[pos]];
        if (pos == 14 && chance(2))
            return "c";
        const char *conversions = non_negative_int(pos) && chance(2) ? "uoxX" : t.letters;
        std::string length =
            t.lengths[static_cast<std::size_t>(pick(static_cast<int>(t.lengths.size())))];
        return length + conversions[pick(static_cast<int>(std::strlen(conversions)))];
    }

    std::string conversion(int pos, const std::string &position, const std::string &width_star,
                           const std::string &precision_star)
    {
        std::string tail = letters(pos);
        char letter = tail.back();
        bool text = letter == 's' || letter == 'c';
        bool hash_ok = std::strchr("oxXeEfFgGaA", letter) != nullptr;
        std::string f = std::string("%") + position;
        for (char flag : std::string("-+ #0"))
            if ((flag != '#' || hash_ok) && chance(4))
                f += flag;
        if (!width_star.empty())
            f += width_star;
        else if (chance(2))
            f += std::to_string(1 + pick(25));
        if (!precision_star.empty())
            f += std::string(".") + precision_star;
        else if (chance(2))
            f += std::string(".") +
                 (chance(6) ? std::string() : std::to_string(pick(text ? 8 : 13)));
        return f + tail;
    }

    std::mt19937 rng_;
};

void check_format(const std::string &format)
{
    const char *fmt = format.c_str();
    SCOPED_TRACE(format);
    char want[1024];
    int full = runtime_format(want, sizeof want, fmt, DIFF_ARGS);
    ASSERT_GE(full, 0);
    ASSERT_LT(full, static_cast<int>(sizeof want));

    char *text = nullptr;
    ASSERT_EQ(alloc_format(&text, fmt, DIFF_ARGS), full);
    ASSERT_NE(text, nullptr);
    ASSERT_STREQ(text, want);
    cairn::mem_free(text);

    for (size_t size = 0; size <= static_cast<size_t>(full) + 1; ++size) {
        char runtime[1024], bounded[1024], c99[1024];
        std::memset(runtime, '#', sizeof runtime);
        std::memset(bounded, '#', sizeof bounded);
        std::memset(c99, '#', sizeof c99);
        runtime_format(runtime, size, fmt, DIFF_ARGS);
        int n = vformat(bounded, size, fmt, DIFF_ARGS);
        int expected = size == 0 ? 0 : std::min(full, static_cast<int>(size) - 1);
        ASSERT_EQ(n, expected) << "bounded, size " << size;
        ASSERT_EQ(std::memcmp(bounded, runtime, size + 1), 0) << "bounded, size " << size;
        ASSERT_EQ(ox_snprintf(c99, size, fmt, DIFF_ARGS), full) << "C99, size " << size;
        ASSERT_EQ(std::memcmp(c99, runtime, size + 1), 0) << "C99, size " << size;
    }
}
}  // namespace

TEST(FormatDifferential, GeneratedAndHandWrittenFormatsMatchTheRuntime)
{
    FormatGenerator plain(20240511), positional(77);
    for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) {
        if (i < 600)
            check_format(plain.plain());
        check_format(positional.positional());
    }

    // A few hand-written formats that the generators reach only by chance, or
    // never (the generated ones have fewer conversions than the scan keeps).
    const char *formats[] = {
        "%1$*2$.*3$d|%16$hhd|%16$hd|%4$#o|%4$#x|%5$+ld|%8$#llX",
        "%12$-*1$s|%12$.*3$s|%13$5s|%12$-*2$s|%14$-3c|%9$+.0f|%10$#.0e|%11$12.3Lf",
        " %1$d %2$d %3$d %4$u %5$ld %6$lu %7$lld %8$llu %9$g %10$g %11$Lg %12$s %13$s %14$c %15$d "
        "%16$d",
    };
    for (const char *f : formats)
        check_format(complete_positions(f));
    // More conversions than the scan keeps: the output pass parses again.
    check_format(complete_positions(std::string(formats[2]) + formats[2]));
    check_format("%d %i %u %x %ld %lu %lld %llu %e %E %Lf %s %s %c %x %hhX %p %p");
    check_format(complete_positions("%5$zd|%6$zu|%6$jx|%5$td|%17$+20p|%18$-9p|%17$.12p"));
}

// Display width of UTF-8 text on a terminal, by lead byte.
TEST(DisplayWidth, ByLeadByteAsDataWalkingWholeFirstCharactersAndBadArguments)
{
    // Each row: the text, the width, and the index of the character's last byte.
    const std::tuple<const char *, int, int> cases[] = {
        {"a", 1, 0},
        {"\x80", 1, 0},                      // below 0xC0: one byte
        {"\xC3\xA9", 1, 1},                  // two bytes
        {"\xE2\x82\xAC", 1, 2},              // U+20AC, lead 0xE2
        {"\xE3\x80\x80", 2, 2},              // U+3000
        {"\xEE\xBF\xBF", 2, 2},              // U+EFFF
        {"\xEF\x80\x80", 2, 2},              // U+F000
        {"\xEF\xAB\xBF", 2, 2},              // U+FAFF
        {"\xEF\xAC\x80", 1, 2},              // U+FB00
        {"\xEF\xBC\x81", 2, 2},              // U+FF01
        {"\xEF\xBD\x9F", 2, 2},              // U+FF5F
        {"\xEF\xBD\xA0", 1, 2},              // U+FF60
        {"\xEF\xBE\x80", 1, 2},              // U+FF80
        {"\xEF\xBF\x9F", 1, 2},              // U+FFDF
        {"\xEF\xBF\xA0", 2, 2},              // U+FFE0
        {"\xEF\xBF\xA7", 2, 2},              // U+FFE7
        {"\xEF\xBF\xA8", 1, 2},              // U+FFE8
        {"\xEF\xBF\xBD", 1, 2},              // U+FFFD
        {"\xF0\x9F\x98\x80", 2, 3},          // four bytes
        {"\xF8\x88\x80\x80\x80", 2, 4},      // five bytes
        {"\xFC\x84\x80\x80\x80\x80", 2, 5},  // six bytes
        {"\xE6", 2, 0},                      // cut off: never past the terminator
        {"\xF0\x9F", 2, 1},
    };
    for (auto [text, width, last] : cases) {
        int index = 0;
        EXPECT_EQ(utf8_ttywidth(text, &index), width) << testing::PrintToString(std::string(text));
        EXPECT_EQ(index, last) << testing::PrintToString(std::string(text));
    }

    // Walking a text, and bad arguments.
    const char *text = "a\xE6\x97\xA5\xF0\x9F\x98\x80z";
    int widths[8];
    int n = 0;
    for (int i = 0; text[i]; ++i)
        widths[n++] = utf8_ttywidth(text, &i);
    ASSERT_EQ(n, 4);
    EXPECT_EQ(widths[0] + widths[1] + widths[2] + widths[3], 6);
    EXPECT_EQ(widths[1], 2);

    int index = 0;
    EXPECT_EQ(utf8_ttywidth(nullptr, &index), 0);
    EXPECT_EQ(utf8_ttywidth("a", nullptr), 0);
    index = -1;
    EXPECT_EQ(utf8_ttywidth("a", &index), 0);
    index = 1;
    EXPECT_EQ(utf8_ttywidth("a", &index), 0) << "at the terminator";

    // The whole text and its first characters.
    EXPECT_EQ(utf8_ttystrlen(text), 6);
    EXPECT_EQ(utf8_ttystrlen(""), 0);
    EXPECT_EQ(utf8_ttystrlen(nullptr), 0);
    EXPECT_EQ(utf8_ttystrlen("\xE6"), 2);

    const std::pair<int, int> firsts[] = {{0, 0}, {1, 1}, {2, 3}, {3, 5}, {4, 6}, {99, 6}, {-1, 0}};
    for (auto [count, width] : firsts) {
        EXPECT_EQ(ox_utf8swidth(text, count), width) << count;
        EXPECT_EQ(ox_mbswidth(text, count), width) << count;
    }
    EXPECT_EQ(ox_utf8swidth(nullptr, 3), 0);
    EXPECT_EQ(ox_utf8swidth("", 3), 0);
}

// The va_list forms of the printing calls, reached through variadic
// wrappers as callers of the library reach them.
namespace {

CAIRN_VA_FRONT(int, via_vsprintf, (char *buf, const char *fmt, ...), fmt, ox_vsprintf, buf, fmt)
CAIRN_VA_FRONT(int, via_vprintf, (const char *fmt, ...), fmt, ox_vprintf, fmt)
CAIRN_VA_FRONT(int, via_vfprintf, (FILE * f, const char *fmt, ...), fmt, ox_vfprintf, f, fmt)
}  // namespace

TEST(VaListForms, FormattersWriteWhatTheirVariadicTwinsWrite)
{
    char buf[64];
    EXPECT_EQ(via_vsprintf(buf, "%2$s-%1$05d", 42, "id"), 8);
    EXPECT_STREQ(buf, "id-00042");
    EXPECT_EQ(via_vsprintf(nullptr, "%d", 1), 0);

    auto out = run_in_child([] {
        int n = via_vprintf("[%s|%x]", "a", 255);
        std::fflush(stdout);
        FILE *err = stderr;
        int m = via_vfprintf(err, "<%c>", 'z');
        std::fprintf(stderr, "%d %d %d", n, m, via_vfprintf(nullptr, "x"));
    });
    ASSERT_TRUE(out.exited);
    EXPECT_EQ(out.out, "[a|ff]");
    EXPECT_EQ(out.err, "<z>6 3 -1");
}
