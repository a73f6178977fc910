// UTF-8 decoding and encoding, lengths and validity, and the conversions
// between UTF-8 and 16-bit wide text; and between UTF-8 and the current
// locale's multibyte text, in a UTF-8 locale and in the single-byte Latin-1
// locale.
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "capture_fd.hpp"
#include "ci_skip.hpp"
#include "debug_scope.hpp"
#include "debug_text.hpp"
#include "text/utf8_codec.hpp"

using cairn::testing::CaptureFd;
using cairn::testing::DebugScope;

namespace {

using WideString = std::vector<ox_wchar>;

WideString wide(std::initializer_list<ox_wchar> units)
{
    WideString w(units);
    w.push_back(0);
    return w;
}

// Convert with a generous output; returns the units without the terminator.
WideString to_wide(const char *in, int *result)
{
    WideString out(std::strlen(in) + 1, 0xFFFF);
    size_t count = 99;
    *result = ox_utf8s_to_wcs(out.data(), in, out.size(), &count);
    EXPECT_EQ(out[count], 0) << "terminated after the count";
    out.resize(count);
    return out;
}

// The reference: convert character by character with ox_utf8_to_wc.
WideString to_wide_stepwise(const char *in)
{
    WideString out;
    while (*in) {
        ox_wchar wc = 0;
        int len = 0;
        if (ox_utf8_to_wc(&wc, in, std::strlen(in), &len) == 0) {
            out.push_back(wc);
            in += len;
        } else {
            out.push_back('?');
            in += 1;
        }
    }
    return out;
}

class InLocale : public ::testing::Test {
protected:
    void use(const char *name)
    {
        if (std::setlocale(LC_ALL, name) == nullptr)
            CAIRN_SKIP_UNLESS_CI("locale " << name << " is not installed (tools/run setup)");
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

class Latin1 : public InLocale {
protected:
    void SetUp() override { use("en_US.ISO-8859-1"); }
};

class Utf8Locale : public InLocale {
protected:
    void SetUp() override { use("en_US.UTF-8"); }
};

struct Converted {
    int result;
    std::string text;
    size_t count;
};

using Converter = int (*)(char *, const char *, size_t, size_t *);

Converted run(Converter fn, const char *in, size_t size = 64)
{
    std::string out(size + 1, '#');
    size_t count = 999;
    int r = fn(out.data(), in, size, &count);
    EXPECT_EQ(out[size], '#') << "wrote past the size";
    return {r, std::string(out.c_str()), count};
}

TEST_F(Latin1, MultibyteToUtf8AndWholeCharacterBounds)
{
    Converted c = run(ox_mbs_to_utf8s, "\xE9t\xE9 \xFF");
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "\xC3\xA9t\xC3\xA9 \xC3\xBF");
    EXPECT_EQ(c.count, 8u);
    // Every byte of Latin-1 is a character: nothing is replaced.
    std::string all;
    for (int b = 1; b < 256; ++b)
        all += static_cast<char>(b);
    c = run(ox_mbs_to_utf8s, all.c_str(), 512);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.count, ox_calc_utf8_len(all.c_str()));
    // and a round trip through the locale gives every one back.
    Converted back = run(ox_utf8s_to_mbs, c.text.c_str(), 600);
    EXPECT_EQ(back.result, 0);
    EXPECT_EQ(back.text, all);

    // "\xE9t\xE9" needs 5 bytes and a terminator.
    const size_t sizes[] = {1, 2, 3, 4, 5, 6};
    const char *wants[] = {"", "", "\xC3\xA9", "\xC3\xA9t", "\xC3\xA9t", "\xC3\xA9t\xC3\xA9"};
    for (size_t i = 0; i < 6; ++i) {
        c = run(ox_mbs_to_utf8s, "\xE9t\xE9", sizes[i]);
        EXPECT_EQ(c.result, i == 5 ? 0 : 46) << sizes[i];
        EXPECT_EQ(c.text, wants[i]) << sizes[i];
        EXPECT_EQ(c.count, std::strlen(wants[i]));
    }
    size_t count = 0;
    EXPECT_EQ(ox_mbs_to_utf8s(nullptr, "\xE9t\xE9", 0, &count), 46) << "counting only";
    EXPECT_EQ(count, 5u);
    char out[4] = "##";
    EXPECT_EQ(ox_mbs_to_utf8s(out, "", sizeof out, &count), 31);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(ox_mbs_to_utf8s(out, nullptr, sizeof out, &count), 31);
    EXPECT_EQ(count, 0u);
}

TEST_F(Latin1, Utf8ToMultibyteAndTheOtherForms)
{
    Converted c = run(ox_utf8s_to_mbs, "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "\xE9t\xE9");
    EXPECT_EQ(c.count, 3u);
    // A character outside Latin-1 and a bad sequence both become '?'.
    c = run(ox_utf8s_to_mbs, "a\xE6\x97\xA5"
                             "b\xC3(");
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(c.text, "a?b?(");
    // U+F880..U+F8FF carry raw bytes, also from a four-byte sequence whose
    // low 16 bits fall in that range.
    c = run(ox_utf8s_to_mbs, "\xEF\xA2\xA9|\xEF\xA3\xBF|\xEF\xA2\x80|\xF0\x9F\xA2\xA9");
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "\xA9|\xFF|\x80|\xA9");
    // The mbts and oem forms are the locale conversions.
    EXPECT_EQ(run(ox_mbsoem_to_utf8s, "\xE9").text, "\xC3\xA9");
    EXPECT_EQ(run(ox_utf8s_to_mbsoem, "\xC3\xA9").text, "\xE9");
    EXPECT_EQ(run(ox_utf8s_to_mbts, "\xC3\xA9").text, "\xE9");
    c = run(ox_mbs_to_mbts, "\xE9t\xE9");
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "\xE9t\xE9");
    c = run(ox_mbts_to_mbs, "\xE9t\xE9", 3);
    EXPECT_EQ(c.result, 46);
    EXPECT_EQ(c.text, "\xE9t");
}

TEST_F(Utf8Locale, ConversionsReplaceBadBytesAndKeepWholeCharacters)
{
    Converted c = run(ox_mbs_to_utf8s, "a\xE6\x97\xA5\xC3(\xFF");
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(c.text, "a\xE6\x97\xA5?(?");
    // Characters above U+FFFF keep their value (cut to 16 bits they would
    // read as another, valid, character); too little room cuts before such
    // a character, never inside.
    const char *above = "a\xf0\x9f\x98\x80"
                        "b\xf4\x8f\xbf\xbf";  // U+1F600, U+10FFFF
    c = run(ox_mbs_to_utf8s, above);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, above);
    EXPECT_EQ(c.count, std::strlen(above));
    c = run(ox_mbs_to_utf8s, above, 4);
    EXPECT_NE(c.result, 0);
    EXPECT_EQ(c.text, "a");
    // A character cut off by the end of the text is replaced byte by byte.
    c = run(ox_mbs_to_utf8s, "x\xE6\x97");
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(c.text, "x??");

    // Back to the locale: whole characters only.
    const char *day = "a\xE6\x97\xA5"
                      "b";  // "a", U+65E5, "b"
    c = run(ox_utf8s_to_mbs, day, 64);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, day);
    // The three bytes of U+65E5 do not fit after "a" in 3 bytes: stop there,
    // without reporting.
    for (size_t size : {2u, 3u, 4u}) {
        c = run(ox_utf8s_to_mbs, day, size);
        EXPECT_EQ(c.result, 0) << size;
        EXPECT_EQ(c.text, "a") << size;
        EXPECT_EQ(c.count, 1u);
    }
    c = run(ox_utf8s_to_mbs, day, 5);
    EXPECT_EQ(c.text, "a\xE6\x97\xA5");
    // Surrogate values cannot be written in the locale's encoding.
    c = run(ox_utf8s_to_mbs, "\xED\xA0\x80z");
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(c.text, "?z");
    // The raw-byte range wins over the locale: 0xA9 alone, not valid UTF-8.
    c = run(ox_utf8s_to_mbs, "\xEF\xA2\xA9");
    EXPECT_EQ(c.text, "\xA9");

    // Arguments, and whole-character copies between the mbs and mbts forms.
    char out[4] = "##";
    size_t count = 5;
    EXPECT_EQ(ox_utf8s_to_mbs(out, "", sizeof out, &count), 31);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(count, 0u);
    std::strcpy(out, "##");
    EXPECT_EQ(ox_utf8s_to_mbs(out, "abc", 0, &count), 31);
    EXPECT_STREQ(out, "##") << "size 0: no room to store anything";
    EXPECT_EQ(ox_utf8s_to_mbs(nullptr, "abc", 4, &count), 31);
    EXPECT_EQ(ox_utf8s_to_mbs(out, nullptr, 4, &count), 31);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_utf8s_to_mbs(out, "abcdef", 4, &count), 0);
    EXPECT_STREQ(out, "abc");
    EXPECT_EQ(count, 3u);
    c = run(ox_mbs_to_mbts, "ab\xE6\x97\xA5", 4);
    EXPECT_EQ(c.result, 46);
    EXPECT_EQ(c.text, "ab");
    c = run(ox_mbs_to_mbts, "ab\xE6\x97\xA5", 6);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "ab\xE6\x97\xA5");
    char two[2];
    EXPECT_EQ(ox_mbts_to_mbs(two, nullptr, 2, nullptr), 31);
    EXPECT_EQ(ox_mbts_to_mbs(two, "x", 0, nullptr), 31);
}

}  // namespace

// Hand-written vectors in the manner of the public UTF-8 decoder stress
// files: the first and last value of every sequence length, other
// boundaries, stray and lonely bytes, cut-off sequences, overlong forms of
// '/', of NUL and at each length's maximum, impossible bytes, surrogates
// and noncharacters.  Both decoders must give the written answer; a valid
// sequence cut short by one byte must fail, and the encoder must give the
// bytes back.
TEST(Utf8Codec, DecoderStressVectors)
{
    using namespace cairn::utf8;
    struct Vector {
        const char *bytes;
        int length;  // kInvalid for a malformed sequence
        uint32_t value;
    };
    const Vector vectors[] = {
        // First possible sequence of each length.
        {"\x01", 1, 0x01},
        {"\xC2\x80", 2, 0x80},
        {"\xE0\xA0\x80", 3, 0x800},
        {"\xF0\x90\x80\x80", 4, 0x10000},
        {"\xF8\x88\x80\x80\x80", 5, 0x200000},
        {"\xFC\x84\x80\x80\x80\x80", 6, 0x4000000},
        // Last possible sequence of each length.
        {"\x7F", 1, 0x7F},
        {"\xDF\xBF", 2, 0x7FF},
        {"\xEF\xBF\xBF", 3, 0xFFFF},
        {"\xF7\xBF\xBF\xBF", 4, 0x1FFFFF},
        {"\xFB\xBF\xBF\xBF\xBF", 5, 0x3FFFFFF},
        {"\xFD\xBF\xBF\xBF\xBF\xBF", 6, 0x7FFFFFFF},
        // Other boundaries.
        {"\xED\x9F\xBF", 3, 0xD7FF},
        {"\xEE\x80\x80", 3, 0xE000},
        {"\xEF\xBF\xBD", 3, 0xFFFD},
        {"\xF4\x8F\xBF\xBF", 4, 0x10FFFF},
        {"\xF4\x90\x80\x80", 4, 0x110000},
        // Surrogates and noncharacters decode as their values.
        {"\xED\xA0\x80", 3, 0xD800},
        {"\xED\xBF\xBF", 3, 0xDFFF},
        {"\xEF\xBF\xBE", 3, 0xFFFE},
        // Unexpected continuation bytes and lonely start bytes.
        {"\x80", kInvalid, 0},
        {"\xBF", kInvalid, 0},
        {"\xC0 ", kInvalid, 0},
        {"\xDF ", kInvalid, 0},
        {"\xE0 ", kInvalid, 0},
        {"\xEF\xBF ", kInvalid, 0},
        {"\xF0 ", kInvalid, 0},
        {"\xF8 ", kInvalid, 0},
        {"\xFC ", kInvalid, 0},
        // Impossible bytes.
        {"\xFE", kInvalid, 0},
        {"\xFF", kInvalid, 0},
        // Overlong '/'.
        {"\xC0\xAF", kInvalid, 0},
        {"\xE0\x80\xAF", kInvalid, 0},
        {"\xF0\x80\x80\xAF", kInvalid, 0},
        {"\xF8\x80\x80\x80\xAF", kInvalid, 0},
        {"\xFC\x80\x80\x80\x80\xAF", kInvalid, 0},
        // Maximum overlong sequences.
        {"\xC1\xBF", kInvalid, 0},
        {"\xE0\x9F\xBF", kInvalid, 0},
        {"\xF0\x8F\xBF\xBF", kInvalid, 0},
        {"\xF8\x87\xBF\xBF\xBF", kInvalid, 0},
        {"\xFC\x83\xBF\xBF\xBF\xBF", kInvalid, 0},
        // Overlong NUL.
        {"\xC0\x80", kInvalid, 0},
        {"\xE0\x80\x80", kInvalid, 0},
        {"\xF0\x80\x80\x80", kInvalid, 0},
        {"\xF8\x80\x80\x80\x80", kInvalid, 0},
        {"\xFC\x80\x80\x80\x80\x80", kInvalid, 0},
    };
    int compared = 0;
    for (const Vector &v : vectors) {
        SCOPED_TRACE(testing::PrintToString(std::string(v.bytes)));
        const auto *bytes = reinterpret_cast<const unsigned char *>(v.bytes);
        const size_t avail = std::strlen(v.bytes);
        for (auto *decoder : {&decode_by_table, +[](const unsigned char *b, size_t n,
                                                    uint32_t *out) { return decode(b, n, out); }}) {
            uint32_t value = 0xDEAD;
            ASSERT_EQ(decoder(bytes, avail, &value), v.length);
            if (v.length == kInvalid)
                continue;
            EXPECT_EQ(value, v.value);
            if (v.length > 1) {
                EXPECT_EQ(decoder(bytes, static_cast<size_t>(v.length) - 1, &value), kInvalid)
                    << "cut off";
            }
            ++compared;
        }
        if (v.length != kInvalid) {
            unsigned char out[8] = {};
            ASSERT_EQ(encode(v.value, out), v.length);
            EXPECT_EQ(std::memcmp(out, bytes, avail), 0);
        }
    }
    EXPECT_EQ(compared, 2 * 20);
}

TEST(Utf8Chars, DecodeOneCharacterResults)
{
    struct Case {
        const char *bytes;
        size_t avail;
        int result;
        ox_wchar wc;
        int len;
    };
    const Case cases[] = {
        {"A", 1, 0, 'A', 1},
        {"\xC3\xA9", 2, 0, 0xE9, 2},
        {"\xC3\xA9", 1, 1, 0x7777, -1},  // cut off by the bytes available
        {"\xE6\x97\xA5", 3, 0, 0x65E5, 3},
        {"\xE6\x97", 3, 1, 0x7777, -1},         // cut off by the terminator
        {"\xF0\x9F\x98\x80", 4, 0, 0xF600, 4},  // U+1F600 keeps its low 16 bits
        {"\xED\xA0\x80", 3, 0, 0xD800, 3},      // a surrogate value decodes as such
        {"\xC0\x80", 2, 1, 0x7777, -1},         // overlong NUL
        {"\xE0\x80\xAF", 3, 1, 0x7777, -1},     // overlong '/'
        {"\x80", 1, 1, 0x7777, -1},             // stray continuation byte
        {"\xFF", 1, 1, 0x7777, -1},
        {"\xFC\x84\x80\x80\x80\x80", 6, 0, 0x0000, 6},  // U+4000000, six bytes
        {"\xC3\x28", 2, 1, 0x7777, -1},
        {"", 5, 31, 0, 0},         // empty: stores 0 and length 0
        {"A", 0, 31, 0x7777, -1},  // no bytes available
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::string(c.bytes)));
        ox_wchar wc = 0x7777;
        int len = 42;
        EXPECT_EQ(ox_utf8_to_wc(&wc, c.bytes, c.avail, &len), c.result);
        EXPECT_EQ(wc, c.wc);
        EXPECT_EQ(len, c.len);
        EXPECT_EQ(ox_utf8_to_wc(nullptr, c.bytes, c.avail, nullptr), c.result) << "NULL outputs";
    }
    EXPECT_EQ(ox_utf8_to_wc(nullptr, nullptr, 4, nullptr), 31);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

TEST(Utf8Chars, EncodeOneCharacter)
{
    struct Case {
        ox_wchar wc;
        const char *bytes;
    };
    const Case cases[] = {{0, "\0"},
                          {'A', "A"},
                          {0x7F, "\x7F"},
                          {0x80, "\xC2\x80"},
                          {0x7FF, "\xDF\xBF"},
                          {0x800, "\xE0\xA0\x80"},
                          {0xD800, "\xED\xA0\x80"},
                          {0xF8A9, "\xEF\xA2\xA9"},
                          {0xFFFF, "\xEF\xBF\xBF"}};
    for (const Case &c : cases) {
        char out[4] = {'x', 'x', 'x', 'x'};
        int len = -5;
        size_t want = c.wc == 0 ? 1 : std::strlen(c.bytes);
        EXPECT_EQ(ox_wc_to_utf8(out, c.wc, &len), 0);
        EXPECT_EQ(len, static_cast<int>(want));
        EXPECT_EQ(std::memcmp(out, c.bytes, want), 0) << std::hex << c.wc;
        EXPECT_EQ(out[3], 'x') << "room for three bytes only, no terminator";
    }
    int len = 7;
    EXPECT_EQ(ox_wc_to_utf8(nullptr, 'A', &len), 31);
    EXPECT_EQ(len, 0);
}

TEST(Utf8Chars, LengthsAndValidity)
{
    EXPECT_EQ(ox_utf8_len("\xE6\x97\xA5x", 4), 3);
    EXPECT_EQ(ox_utf8_len("", 4), 0);
    EXPECT_EQ(ox_utf8_len(nullptr, 4), 0);
    EXPECT_EQ(ox_utf8_len("\xE6\x97\xA5", 2), -1);
    EXPECT_EQ(ox_utf8_len("a", 0), -1);
    EXPECT_EQ(ox_utf8_len("\xC0\xAF", 2), -1);

    EXPECT_EQ(ox_utf8s_len(nullptr), 0);
    EXPECT_EQ(ox_utf8s_len(""), 0);
    EXPECT_EQ(ox_utf8s_len("a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80"), 4);
    EXPECT_EQ(ox_utf8s_len("ab\xC0\x80"), -1);
    EXPECT_EQ(ox_utf8s_len("ab\xE6\x97"), -1) << "cut off at the terminator";

    EXPECT_TRUE(is_utf8_mb("\xC3\xA9", 2));
    EXPECT_TRUE(is_utf8_mb("", 1));
    EXPECT_FALSE(is_utf8_mb("\xC3", 1));
    EXPECT_FALSE(is_utf8_mb(nullptr, 3));
    EXPECT_TRUE(is_utf8_mbs(nullptr));
    EXPECT_TRUE(is_utf8_mbs(""));
    EXPECT_TRUE(is_utf8_mbs("x\xEF\xBF\xBF"));
    EXPECT_FALSE(is_utf8_mbs("x\xF8"));
}

// Judged by shape only: continuation bytes after any lead from 0xC0 count.
TEST(Utf8Chars, NextCharacterAndEightBitTextByteCounts)
{
    struct Case {
        const char *s;
        int n;
    };
    const Case cases[] = {
        {nullptr, 0},
        {"", 0},
        {"a", 1},
        {"\xC3", 1},
        {"\x80\x80", 1},
        {"ab", 1},
        {"\xC3\xA9", 2},
        {"\xC3\xA9\xA9\xA9", 4},                  // the class is not consulted
        {"\xFF\x80\x80\x80\x80\x80\x80\x80", 6},  // capped at six
        {"\xE6\x97\xA5", 3},
        {"\xE6x", 1},
    };
    for (const Case &c : cases)
        EXPECT_EQ(utf8_num_bytes_in_next_utf8_char(c.s), c.n) << (c.s ? c.s : "(null)");
    EXPECT_EQ(ox_calc_utf8_len(nullptr), 0u);
    EXPECT_EQ(ox_calc_utf8_len(""), 0u);
    EXPECT_EQ(ox_calc_utf8_len("abc"), 3u);
    EXPECT_EQ(ox_calc_utf8_len("\xE9t\xE9\x7F\x80\xFF"), 10u);
}

TEST(Utf8ToWide, ReplacementWideValuesAndArguments)
{
    struct Case {
        const char *in;
        int result;
        WideString want;
    };
    const Case cases[] = {
        {"\xC3\x28", 1, {'?', '('}},
        {"\xC0\x80", 1, {'?', '?'}},  // each bad byte replaced by itself
        {"\xF0\x9F\x98\x80", 0, {0xF600}},
        {"a\xE6\x97\xA5z", 0, {'a', 0x65E5, 'z'}},
        {"\xE6\x97", 1, {'?', '?'}},
        {"\xFE\xFF", 1, {'?', '?'}},
        {"\xED\xB0\x80", 0, {0xDC00}},
    };
    for (const Case &c : cases) {
        int result = -1;
        EXPECT_EQ(to_wide(c.in, &result), c.want) << c.in;
        EXPECT_EQ(result, c.result) << c.in;
    }
    ox_wchar out[4] = {9, 9, 9, 9};
    size_t count = 7;
    EXPECT_EQ(ox_utf8s_to_wcs(nullptr, "a", 4, &count), 31);
    EXPECT_EQ(count, 0u);
    count = 7;
    EXPECT_EQ(ox_utf8s_to_wcs(out, nullptr, 4, &count), 31);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_utf8s_to_wcs(out, "", 4, &count), 0);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(count, 0u);
    out[0] = 9;
    EXPECT_EQ(ox_utf8s_to_wcs(out, "abc", 0, &count), 0) << "no room: nothing written";
    EXPECT_EQ(out[0], 9);
    EXPECT_EQ(ox_utf8s_to_wcs(out, "abc", 1, &count), 0);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(count, 0u);
}

// Every output size, on text whose non-ASCII characters sit at every offset
// around the sixteen-byte blocks of the ASCII path; the output never passes
// its size and matches the stepwise reference.
TEST(Utf8ToWide, BoundsAndFastPathAgreeWithStepwiseReference)
{
    const char *inserts[] = {"\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80", "\xC3", "\x80"};
    for (const char *insert : inserts) {
        for (size_t at = 0; at < 40; ++at) {
            std::string text(at, 'a');
            text += insert;
            text += std::string(37, 'b');
            WideString full = to_wide_stepwise(text.c_str());
            for (size_t size = 1; size <= full.size() + 2; ++size) {
                WideString out(size + 1, 0xBEEF);
                size_t count = 0;
                int r = ox_utf8s_to_wcs(out.data(), text.c_str(), size, &count);
                ASSERT_TRUE(r == 0 || r == 1);
                size_t want = std::min(full.size(), size - 1);
                ASSERT_EQ(count, want) << "at " << at << " size " << size;
                ASSERT_TRUE(
                    std::equal(full.begin(), full.begin() + static_cast<long>(want), out.begin()));
                ASSERT_EQ(out[want], 0);
                ASSERT_EQ(out[size], 0xBEEF) << "wrote past the size";
            }
        }
    }
}

TEST(WideToUtf8, CountsBoundsAndTermination)
{
    WideString in = wide({'a', 0xE9, 0x65E5, 0xD800});  // 1 + 2 + 3 + 3 bytes
    const std::string want = "a\xC3\xA9\xE6\x97\xA5\xED\xA0\x80";
    size_t count = 0;
    EXPECT_EQ(ox_wcs_to_utf8s(nullptr, in.data(), 0, &count), 46) << "counting only";
    EXPECT_EQ(count, want.size());
    EXPECT_EQ(ox_wcs_to_utf8s(nullptr, in.data(), want.size() + 1, &count), 0);
    EXPECT_EQ(count, want.size());

    // The whole characters that fit, terminated, at every size.
    const size_t ends[] = {0, 1, 3, 6, 9};
    for (size_t size = 1; size <= want.size() + 1; ++size) {
        std::string out(size + 1, '#');
        int r = ox_wcs_to_utf8s(out.data(), in.data(), size, &count);
        size_t fit = 0;
        for (size_t e : ends)
            if (e < size)
                fit = e;
        EXPECT_EQ(r, fit == want.size() ? 0 : 46) << size;
        EXPECT_EQ(count, fit);
        EXPECT_EQ(out.substr(0, fit), want.substr(0, fit));
        EXPECT_EQ(out[fit], '\0');
        EXPECT_EQ(out[size], '#') << "wrote past the size";
    }
    char one = '#';
    EXPECT_EQ(ox_wcs_to_utf8s(&one, in.data(), 0, &count), 46);
    EXPECT_EQ(one, '#') << "size 0 writes nothing";
    EXPECT_EQ(ox_error_get_last(), OX_ENOBUFS);

    EXPECT_EQ(ox_wcs_to_utf8s(&one, nullptr, 4, &count), 31);
    WideString empty = wide({});
    char out[2] = {'x', 'x'};
    EXPECT_EQ(ox_wcs_to_utf8s(out, empty.data(), 2, &count), 0);
    EXPECT_EQ(out[0], '\0');
    EXPECT_EQ(count, 0u);
}

TEST(WideToUtf8, RoundTripOfEveryUnit)
{
    WideString all;
    for (uint32_t u = 1; u <= 0xFFFF; ++u)
        all.push_back(static_cast<ox_wchar>(u));
    all.push_back(0);
    size_t need = 0;
    ASSERT_EQ(ox_wcs_to_utf8s(nullptr, all.data(), 0, &need), 46);
    std::string text(need + 1, '\0');
    ASSERT_EQ(ox_wcs_to_utf8s(text.data(), all.data(), text.size(), &need), 0);
    WideString back(all.size(), 0);
    size_t count = 0;
    ASSERT_EQ(ox_utf8s_to_wcs(back.data(), text.c_str(), back.size(), &count), 0);
    EXPECT_EQ(count, all.size() - 1);
    EXPECT_EQ(back, all);
}

TEST(Truncate, DropsStraddlingCharacterWholeAndRefusesBadInput)
{
    char out[16];
    std::memset(out, '#', sizeof out);
    // "abcde" then a two-byte character at bytes 5..6: size 7 puts byte 6
    // (its continuation) at position size - 1.
    EXPECT_EQ(utf8_truncate_to_char_boundary("abcde\xC3\xA9xyz", out, 7), out);
    EXPECT_STREQ(out, "abcde");
    // An ASCII byte at position size - 1 is left out too.
    EXPECT_EQ(utf8_truncate_to_char_boundary("abcdefghij", out, 7), out);
    EXPECT_STREQ(out, "abcdef");
    // A character that would fit exactly is still left out.
    EXPECT_EQ(utf8_truncate_to_char_boundary("abcd\xE6\x97\xA5xyz", out, 7), out);
    EXPECT_STREQ(out, "abcd");
    // Shorter text is copied whole.
    EXPECT_EQ(utf8_truncate_to_char_boundary("abc\xC3\xA9", out, 7), out);
    EXPECT_STREQ(out, "abc\xC3\xA9");
    std::strcpy(out, "keep");
    EXPECT_EQ(utf8_truncate_to_char_boundary(nullptr, out, 8), nullptr);
    EXPECT_EQ(utf8_truncate_to_char_boundary("", out, 8), nullptr);
    EXPECT_EQ(utf8_truncate_to_char_boundary("abcdefgh", nullptr, 8), nullptr);
    EXPECT_EQ(utf8_truncate_to_char_boundary("abcdefgh", out, 6), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_STREQ(out, "keep");
    EXPECT_EQ(utf8_truncate_to_char_boundary("a\x80\x80\x80\x80\x80\x80\x80\x80", out, 8), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EILSEQ);
    EXPECT_STREQ(out, "keep");
}

TEST(Truncate, DebugLines)
{
    char out[16];
    {
        DebugScope quiet(0, 0);
        CaptureFd err(2);
        utf8_truncate_to_char_boundary("abcde\xC3\xA9xyz", out, 7);
        EXPECT_EQ(err.text(), "");
    }
    {
        DebugScope verbose(7, 0);
        CaptureFd err(2);
        utf8_truncate_to_char_boundary("abcde\xC3\xA9xyz", out, 7);
        EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
                  "byte #6 = a9\nbyte #5 = c3\ninput truncated to strlen(abcde)=5\n");
    }
    {
        DebugScope trace_only(0, 4);
        CaptureFd err(2);
        utf8_truncate_to_char_boundary("a\x80\x80\x80\x80\x80\x80\x80\x80", out, 8);
        EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
                  "No lead UTF-8 byte found for truncation\n");
    }
    {
        DebugScope byte_trace(0, 64);
        CaptureFd err(2);
        utf8_truncate_to_char_boundary("abcdefghij", out, 7);
        EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()), "byte #6 = 67\n");
    }
}

TEST(PathEncoding, BoundedCopy)
{
    char out[6] = "#####";
    size_t len = 9;
    EXPECT_EQ(ox_ensure_path_encoding(out, "C:\\dir\\file", sizeof out, &len), 0);
    EXPECT_STREQ(out, "C:\\di");
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(ox_ensure_path_encoding(out, nullptr, sizeof out, &len), 0);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(ox_ensure_path_encoding(nullptr, "x", 4, &len), 0);
    EXPECT_EQ(len, 0u);
}
