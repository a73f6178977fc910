// The UTF-8 / wide conversions the path functions stand on, checked against
// the library's text rules (replacement, no surrogate pairs, results).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cairn/frame.h"
#include "paths/wide_text.hpp"

namespace {

using cairn::paths::WideUnit;

struct ToWide {
    const char *in;
    std::vector<WideUnit> expected;
    int result;
};

TEST(WideText, Utf8ToWideAsTable)
{
    const ToWide rows[] = {
        {"", {}, 0},
        {"abc", {'a', 'b', 'c'}, 0},
        {"\xc3\x28", {'?', '('}, 1},        // a lead byte without its continuation
        {"\xc0\x80", {'?', '?'}, 1},        // overlong: each bad byte replaced
        {"\xf0\x9f\x98\x80", {0xF600}, 0},  // beyond 16 bits: the low 16 bits
        {"\xe2\x82\xac", {0x20AC}, 0},
        {"\xed\xa0\x80", {0xD800}, 0},  // a surrogate decodes on its own
        {"\xff\xfe", {'?', '?'}, 1},
        {"a\xe2\x82", {'a', '?', '?'}, 1},          // cut short by the terminator
        {"\xfd\x80\x80\x80\x80\x81", {0x0001}, 0},  // six bytes, value 0x40000001: the low 16 bits
    };
    for (const ToWide &r : rows) {
        std::vector<WideUnit> out(16, 0xAAAA);
        std::size_t count = 99;
        EXPECT_EQ(cairn::paths::utf8_to_wide(out.data(), r.in, out.size(), &count), r.result)
            << r.in;
        ASSERT_EQ(count, r.expected.size()) << r.in;
        for (std::size_t i = 0; i < count; ++i)
            EXPECT_EQ(out[i], r.expected[i]) << r.in << " unit " << i;
        EXPECT_EQ(out[count], 0);
    }
}

TEST(WideText, BoundsAndArguments)
{
    WideUnit out[3];
    std::size_t count = 0;
    EXPECT_EQ(cairn::paths::utf8_to_wide(out, "abcdef", 3, &count),
              0);  // running out of room is not reported
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(cairn::paths::utf8_to_wide(nullptr, "a", 3, &count), OX_EINVAL);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(cairn::paths::utf8_to_wide(out, nullptr, 3, nullptr), OX_EINVAL);

    const WideUnit euro[] = {0x20AC, 'x', 0};
    char bytes[8];
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, euro, sizeof bytes, &count), 0);
    EXPECT_EQ(std::string(bytes), "\xe2\x82\xac"
                                  "x");
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, euro, 4, &count),
              OX_ENOBUFS);  // whole characters only
    EXPECT_EQ(std::string(bytes), "\xe2\x82\xac");
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, euro, 3, &count), OX_ENOBUFS);
    EXPECT_EQ(std::string(bytes), "");
    // Without an output it only counts, so a caller can size its buffer.
    EXPECT_EQ(cairn::paths::wide_to_utf8(nullptr, euro, 3, &count), OX_ENOBUFS);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(cairn::paths::wide_to_utf8(bytes, nullptr, sizeof bytes, &count), OX_EINVAL);
}

}  // namespace
