// Display width of UTF-8 text on a terminal, by lead byte.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cairn/diagnostics.h"

TEST(DisplayWidth, CharacterWidthByLeadByteAsData)
{
    struct Case {
        const char *text;
        int width;
        int last;  // index of the character's last byte
    };
    const Case cases[] = {
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
    for (const Case &c : cases) {
        int index = 0;
        EXPECT_EQ(utf8_ttywidth(c.text, &index), c.width)
            << testing::PrintToString(std::string(c.text));
        EXPECT_EQ(index, c.last) << testing::PrintToString(std::string(c.text));
    }
}

TEST(DisplayWidth, WalkingTextAndBadArguments)
{
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
}

TEST(DisplayWidth, WholeTextAndFirstCharacters)
{
    const char *text = "a\xE6\x97\xA5\xF0\x9F\x98\x80z";
    EXPECT_EQ(utf8_ttystrlen(text), 6);
    EXPECT_EQ(utf8_ttystrlen(""), 0);
    EXPECT_EQ(utf8_ttystrlen(nullptr), 0);
    EXPECT_EQ(utf8_ttystrlen("\xE6"), 2);

    struct Case {
        int n;
        int width;
    };
    for (Case c :
         {Case{0, 0}, Case{1, 1}, Case{2, 3}, Case{3, 5}, Case{4, 6}, Case{99, 6}, Case{-1, 0}}) {
        EXPECT_EQ(ox_utf8swidth(text, c.n), c.width) << c.n;
        EXPECT_EQ(ox_mbswidth(text, c.n), c.width) << c.n;
    }
    EXPECT_EQ(ox_utf8swidth(nullptr, 3), 0);
    EXPECT_EQ(ox_utf8swidth("", 3), 0);
}
