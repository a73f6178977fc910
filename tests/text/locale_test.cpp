// Conversions between UTF-8 and the current locale's multibyte text, in a
// UTF-8 locale and in the single-byte Latin-1 locale.
#include <gtest/gtest.h>

#include "ci_skip.hpp"

#include <clocale>
#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "cairn/text.h"

namespace {

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

}  // namespace

TEST_F(Latin1, MultibyteToUtf8)
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
}

TEST_F(Latin1, MultibyteToUtf8StopsAtWholeCharacters)
{
    // "\xE9t\xE9" needs 5 bytes and a terminator.
    const size_t sizes[] = {1, 2, 3, 4, 5, 6};
    const char *wants[] = {"", "", "\xC3\xA9", "\xC3\xA9t", "\xC3\xA9t", "\xC3\xA9t\xC3\xA9"};
    for (size_t i = 0; i < 6; ++i) {
        Converted c = run(ox_mbs_to_utf8s, "\xE9t\xE9", sizes[i]);
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

TEST_F(Latin1, Utf8ToMultibyte)
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
}

TEST_F(Latin1, MbtsFormsAreTheLocaleConversions)
{
    EXPECT_EQ(run(ox_mbsoem_to_utf8s, "\xE9").text, "\xC3\xA9");
    EXPECT_EQ(run(ox_utf8s_to_mbsoem, "\xC3\xA9").text, "\xE9");
    EXPECT_EQ(run(ox_utf8s_to_mbts, "\xC3\xA9").text, "\xE9");
    Converted c = run(ox_mbs_to_mbts, "\xE9t\xE9");
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "\xE9t\xE9");
    c = run(ox_mbts_to_mbs, "\xE9t\xE9", 3);
    EXPECT_EQ(c.result, 46);
    EXPECT_EQ(c.text, "\xE9t");
}

TEST_F(Utf8Locale, MultibyteToUtf8ReplacesBadBytes)
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
}

TEST_F(Utf8Locale, Utf8ToMultibyteBoundsWholeCharacters)
{
    Converted c = run(ox_utf8s_to_mbs,
                      "a\xE6\x97\xA5"
                      "b",
                      64);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "a\xE6\x97\xA5"
                      "b");
    // The three bytes of U+65E5 do not fit after "a" in 3 bytes: stop there,
    // without reporting.
    for (size_t size : {2u, 3u, 4u}) {
        c = run(ox_utf8s_to_mbs,
                "a\xE6\x97\xA5"
                "b",
                size);
        EXPECT_EQ(c.result, 0) << size;
        EXPECT_EQ(c.text, "a") << size;
        EXPECT_EQ(c.count, 1u);
    }
    c = run(ox_utf8s_to_mbs,
            "a\xE6\x97\xA5"
            "b",
            5);
    EXPECT_EQ(c.text, "a\xE6\x97\xA5");
    // Surrogate values cannot be written in the locale's encoding.
    c = run(ox_utf8s_to_mbs, "\xED\xA0\x80z");
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(c.text, "?z");
    // The raw-byte range wins over the locale: 0xA9 alone, not valid UTF-8.
    c = run(ox_utf8s_to_mbs, "\xEF\xA2\xA9");
    EXPECT_EQ(c.text, "\xA9");
}

TEST_F(Utf8Locale, ArgumentsAndWholeCharacterCopies)
{
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
    Converted c = run(ox_mbs_to_mbts, "ab\xE6\x97\xA5", 4);
    EXPECT_EQ(c.result, 46);
    EXPECT_EQ(c.text, "ab");
    c = run(ox_mbs_to_mbts, "ab\xE6\x97\xA5", 6);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.text, "ab\xE6\x97\xA5");
    char two[2];
    EXPECT_EQ(ox_mbts_to_mbs(two, nullptr, 2, nullptr), 31);
    EXPECT_EQ(ox_mbts_to_mbs(two, "x", 0, nullptr), 31);
}
