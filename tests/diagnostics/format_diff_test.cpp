// The formatter against the C library's vsnprintf on generated formats:
// plain and positional conversions with flags, widths, precisions, "*" and
// "*m$", and every length letter, on ASCII arguments.  Same text and length
// for the bounded form at every buffer size, the C99 form and the
// allocating form.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cairn/diagnostics.h"
#include "platform/alloc.hpp"

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

enum class Type {
    Int,
    Unsigned,
    Long,
    ULong,
    LongLong,
    ULongLong,
    Double,
    LongDouble,
    String,
    Pointer
};

constexpr int kPositions = 18;
const Type kTypes[kPositions + 1] = {
    Type::Int,  // unused slot 0
    Type::Int,      Type::Int,       Type::Int,    Type::Unsigned, Type::Long,       Type::ULong,
    Type::LongLong, Type::ULongLong, Type::Double, Type::Double,   Type::LongDouble, Type::String,
    Type::String,   Type::Int,       Type::Int,    Type::Int,      Type::Pointer,    Type::Pointer,
};
// int positions that hold a small value usable as a width or precision
const int kStarPositions[] = {1, 2, 3, 15};
// int positions that are not negative (for unsigned conversions of an int)
bool non_negative_int(int pos) { return kTypes[pos] == Type::Int && pos != 2; }

int runtime_format(char *buf, size_t size, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = std::vsnprintf(buf, size, fmt, ap);
    va_end(ap);
    return n;
}

int library_bounded(char *buf, size_t size, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vsnprintf(buf, size, fmt, ap);
    va_end(ap);
    return n;
}

int library_allocating(char **text, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = i18n_vsprintf(nullptr, text, fmt, ap);
    va_end(ap);
    return n;
}

std::string canonical(Type t)
{
    switch (t) {
    case Type::Int:
        return "d";
    case Type::Unsigned:
        return "u";
    case Type::Long:
        return "ld";
    case Type::ULong:
        return "lu";
    case Type::LongLong:
        return "lld";
    case Type::ULongLong:
        return "llu";
    case Type::Double:
        return "g";
    case Type::LongDouble:
        return "Lg";
    case Type::String:
        return "s";
    case Type::Pointer:
        return "p";
    }
    return "d";
}

// Reference every position not yet used, since the C library needs the
// type of each.
std::string complete_positions(std::string f)
{
    for (int pos = 1; pos <= kPositions; ++pos) {
        std::string tag = std::to_string(pos) + "$";
        bool used = f.find(std::string("%") + tag) != std::string::npos ||
                    f.find(std::string("*") + tag) != std::string::npos;
        if (!used)
            f += std::string(" %") + tag + canonical(kTypes[pos]);
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
            bool star_candidate = pos < kPositions && is_star_position(pos);
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
            std::string width, precision;
            if (chance(4)) {
                int star = kStarPositions[pick(4)];
                width = star_at(star);
            }
            if (chance(4)) {
                int star = kStarPositions[pick(4)];
                precision = star_at(star);
            }
            f += conversion(pos, std::to_string(pos) + "$", width, precision);
            f += literal();
        }
        return complete_positions(f);
    }

private:
    // "*m$", built by appending (GCC 12 warns falsely on inserting concatenations).
    static std::string star_at(int pos)
    {
        std::string s = "*";
        s += std::to_string(pos);
        s += '$';
        return s;
    }

    int pick(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }
    bool chance(int one_in) { return pick(one_in) == 0; }
    static bool is_star_position(int pos)
    {
        for (int p : kStarPositions)
            if (p == pos)
                return true;
        return false;
    }

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
        static const char *kShort[] = {"", "h", "hh"};
        const char *small = kShort[pick(3)];
        switch (kTypes[pos]) {
        case Type::Int:
            if (pos == 14 && chance(2))
                return "c";
            if (non_negative_int(pos) && chance(2))
                return std::string(small) + "uoxX"[pick(4)];
            return std::string(small) + "di"[pick(2)];
        case Type::Unsigned:
            return std::string(small) + "uoxX"[pick(4)];
        // z, j and t name types as wide as a long.
        case Type::Long:
            return std::string(1, "lzjt"[pick(4)]) + "di"[pick(2)];
        case Type::ULong:
            return std::string(1, "lzj"[pick(3)]) + "uoxX"[pick(4)];
        case Type::LongLong:
            return std::string("ll") + "di"[pick(2)];
        case Type::ULongLong:
            return std::string("ll") + "uoxX"[pick(4)];
        case Type::Double:
            return std::string(chance(4) ? "l" : "") + "eEfFgGaA"[pick(8)];
        case Type::LongDouble:
            return std::string("L") + "eEfFgGaA"[pick(8)];
        case Type::String:
            return "s";
        case Type::Pointer:
            return "p";
        }
        return "d";
    }

    std::string conversion(int pos, const std::string &position, const std::string &width_star,
                           const std::string &precision_star)
    {
        std::string tail = letters(pos);
        char letter = tail.back();
        bool text = letter == 's' || letter == 'c';
        bool hash_ok = std::strchr("oxXeEfFgGaA", letter) != nullptr;
        std::string f = std::string("%") + position;
        for (char flag : std::string("-+ #0")) {
            if ((flag != '#' || hash_ok) && chance(4))
                f += flag;
        }
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
    ASSERT_EQ(library_allocating(&text, fmt, DIFF_ARGS), full);
    ASSERT_NE(text, nullptr);
    ASSERT_STREQ(text, want);
    cairn::mem_free(text);

    for (size_t size = 0; size <= static_cast<size_t>(full) + 1; ++size) {
        char runtime[1024], bounded[1024], c99[1024];
        std::memset(runtime, '#', sizeof runtime);
        std::memset(bounded, '#', sizeof bounded);
        std::memset(c99, '#', sizeof c99);
        runtime_format(runtime, size, fmt, DIFF_ARGS);
        int n = library_bounded(bounded, size, fmt, DIFF_ARGS);
        int expected = size == 0 ? 0 : std::min(full, static_cast<int>(size) - 1);
        ASSERT_EQ(n, expected) << "bounded, size " << size;
        ASSERT_EQ(std::memcmp(bounded, runtime, size + 1), 0) << "bounded, size " << size;
        ASSERT_EQ(ox_snprintf(c99, size, fmt, DIFF_ARGS), full) << "C99, size " << size;
        ASSERT_EQ(std::memcmp(c99, runtime, size + 1), 0) << "C99, size " << size;
    }
}

}  // namespace

TEST(FormatDifferential, PlainFormatsMatchTheRuntime)
{
    FormatGenerator gen(20240511);
    for (int i = 0; i < 600; ++i) {
        check_format(gen.plain());
        if (HasFatalFailure())
            return;
    }
}

TEST(FormatDifferential, PositionalFormatsMatchTheRuntime)
{
    FormatGenerator gen(77);
    for (int i = 0; i < 1500; ++i) {
        check_format(gen.positional());
        if (HasFatalFailure())
            return;
    }
}

// A few hand-written formats that the generators reach only by chance.
TEST(FormatDifferential, HandWrittenCornerCases)
{
    const char *formats[] = {
        "%1$*2$.*3$d|%16$hhd|%16$hd|%4$#o|%4$#x|%5$+ld|%8$#llX",
        "%12$-*1$s|%12$.*3$s|%13$5s|%12$-*2$s|%14$-3c|%9$+.0f|%10$#.0e|%11$12.3Lf",
        " %1$d %2$d %3$d %4$u %5$ld %6$lu %7$lld %8$llu %9$g %10$g %11$Lg %12$s %13$s %14$c %15$d "
        "%16$d",
    };
    for (const char *f : formats)
        check_format(complete_positions(f));
    check_format("%d %i %u %x %ld %lu %lld %llu %e %E %Lf %s %s %c %x %hhX %p %p");
    check_format(complete_positions("%5$zd|%6$zu|%6$jx|%5$td|%17$+20p|%18$-9p|%17$.12p"));
}
