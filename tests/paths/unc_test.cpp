// UNC classification, file path parts, prefixes, and upper-casing of drive
// and server names.
#include <gtest/gtest.h>

#include "ci_skip.hpp"

#include <clocale>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "cairn/frame.h"
#include "cairn/paths.h"
#include "path_test_util.hpp"

namespace {

using cairn::testing::exact_copy;

struct UncCase {
    const char *path;
    int type;
    const char *file;  // file path part, nullptr when none
    int prefix;        // units unc_skip_prefixw skips
};

const UncCase kNames[] = {
    {"C:\\x", OX_UNC_NONE, nullptr, 0},
    {"\\x", OX_UNC_NONE, nullptr, 0},
    {"", OX_UNC_NONE, nullptr, 0},
    {"\\\\server\\share\\dir\\f", OX_UNC_SHARE, "\\dir\\f", 2},
    {"\\\\server\\share\\", OX_UNC_SHARE, "\\", 2},
    {"\\\\server\\share", OX_UNC_SHARE, nullptr, 2},
    {"//server/share/x", OX_UNC_SHARE, "/x", 2},
    {"\\/server\\share", OX_UNC_SHARE, nullptr, 2},
    {"\\\\?\\UNC\\server\\share\\x", OX_UNC_SHARE, "\\x", 8},
    {"\\\\?\\unc\\server\\share", OX_UNC_SHARE, nullptr, 8},
    {"\\\\?\\UNC\\server", OX_UNC_SERVER, nullptr, 8},
    {"\\\\server", OX_UNC_SERVER, nullptr, 2},
    {"\\\\server\\", OX_UNC_SERVER, nullptr, 2},
    {"\\\\server\\\\share", OX_UNC_SERVER, nullptr, 2},  // empty share name
    {"\\\\\\x", OX_UNC_SERVER, nullptr, 2},              // empty server name
    {"\\\\", OX_UNC_SERVER, nullptr, 2},
    {"\\\\?", OX_UNC_SERVER, nullptr, 2},  // no separator after '?': a server named "?"
    {"\\\\.\\PhysicalDrive0", OX_UNC_DEVICE, nullptr, 4},
    {"\\\\.\\pipe\\name", OX_UNC_DEVICE, nullptr, 4},
    {"\\\\?\\Volume{1234}\\x", OX_UNC_NAMESPACE, nullptr, 4},
    {"\\\\?\\GLOBALROOT\\Device\\x", OX_UNC_NAMESPACE, nullptr, 4},
    {"\\\\?\\", OX_UNC_NAMESPACE, nullptr, 4},
    {"\\\\?\\UNCx\\a", OX_UNC_NAMESPACE, nullptr, 4},
    {"\\\\?\\C:\\a\\b", OX_UNC_LONG_DRIVE, "\\a\\b", 4},
    {"\\\\?\\c:", OX_UNC_LONG_DRIVE, nullptr, 4},
    {"\\\\?\\c:x", OX_UNC_LONG_DRIVE, "x", 4},
};

std::vector<ox_wchar> widen_ascii(const char *s)
{
    std::vector<ox_wchar> w(s, s + std::strlen(s) + 1);
    return w;
}

TEST(Unc, ClassificationAsTableAndNullArguments)
{
    for (const UncCase &c : kNames) {
        EXPECT_EQ(is_unc_path(c.path), c.type != OX_UNC_NONE) << c.path;
        EXPECT_EQ(get_unc_obj_type(c.path), c.type) << c.path;
        const char *file = get_unc_file_path(c.path);
        if (c.file == nullptr) {
            EXPECT_EQ(file, nullptr) << c.path;
        } else {
            ASSERT_NE(file, nullptr) << c.path;
            EXPECT_STREQ(file, c.file) << c.path;
            EXPECT_EQ(file + std::strlen(file), c.path + std::strlen(c.path))
                << "a pointer into the path";
        }
        std::vector<ox_wchar> wide = widen_ascii(c.path);
        EXPECT_EQ(unc_skip_prefixw(wide.data()), wide.data() + c.prefix) << c.path;
    }
    EXPECT_EQ(is_unc_path(nullptr), 0);
    EXPECT_EQ(get_unc_obj_type(nullptr), OX_UNC_NONE);
    EXPECT_EQ(get_unc_file_path(nullptr), nullptr);
    EXPECT_EQ(unc_skip_prefixw(nullptr), nullptr);
}

TEST(DriveCase, AsTableAndLongServerNames)
{
    const std::pair<const char *, const char *> cases[] = {
        {"c:\\x", "C:\\x"},
        {"abc:def:g", "ABC:def:g"},
        {":abc", ":abc"},  // a ':' at the start: nothing
        {"abc", "abc"},
        {"", ""},
        {"\\\\server\\share\\dir", "\\\\SERVER\\SHARE\\dir"},
        {"\\\\server\\share", "\\\\server\\share"},  // no separator after the share
        {"\\\\server\\", "\\\\SERVER\\"},
        {"\\\\?\\unc\\srv\\shr\\x", "\\\\?\\unc\\SRV\\SHR\\x"},
        {"\\\\?\\c:\\dir", "\\\\?\\C:\\dir"},
        {"\\\\.\\pipe\\x", "\\\\.\\PIPE\\x"},
        {"\\\\\\x", "\\\\\\x"},
        {"\\\\srv\\shr\\\xc3\xa9", "\\\\SRV\\SHR\\\xc3\xa9"},  // the file path part keeps its case
        {"\\\\s\xff\\h\\x", "\\\\S?\\H\\x"},  // a byte that is not UTF-8 in the name
        {"\\\\srv\\shr\\\xff\xf0\x9f\x98\x80",
         "\\\\SRV\\SHR\\\xff\xf0\x9f\x98\x80"},  // the rest byte for byte
    };
    for (auto [in, out] : cases) {
        auto buf = exact_copy(in);
        EXPECT_EQ(convertDriveToUpper(buf.get()), buf.get());
        EXPECT_STREQ(buf.get(), out) << in;
    }
    EXPECT_EQ(convertDriveToUpper(nullptr), nullptr);
    // A long server name takes its room from the heap.
    std::string path = "\\\\" + std::string(2000, 's') + "\\share\\x";
    std::string upper = "\\\\" + std::string(2000, 'S') + "\\SHARE\\x";
    auto buf = exact_copy(path);
    convertDriveToUpper(buf.get());
    EXPECT_EQ(std::string(buf.get()), upper);
}

TEST(DriveCase, WideCaseMappingFollowsTheLocale)
{
    const char *old = std::setlocale(LC_CTYPE, nullptr);
    std::string saved = old ? old : "C";
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        CAIRN_SKIP_UNLESS_CI("no C.UTF-8 locale");
    const std::pair<const char *, const char *> cases[] = {
        {"\\\\s\xc3\xa9rver\\share\\x",
         "\\\\S\xc3\x89RVER\\SHARE\\x"},  // e acute, two bytes both ways
        // U+0250 (2 bytes) maps to U+2C6F (3 bytes): no room, left alone.
        {"\\\\\xc9\x90\\share\\x", "\\\\\xc9\x90\\share\\x"},
    };
    for (auto [in, out] : cases) {
        auto buf = exact_copy(in);
        convertDriveToUpper(buf.get());
        EXPECT_STREQ(buf.get(), out) << in;
    }
    std::setlocale(LC_CTYPE, saved.c_str());
}

}  // namespace
