// File-name patterns and regular expressions on arbitrary bytes: the input
// is a pattern, a NUL or newline, and a name.  fmatch() answers 0 or 1
// without reading past either text, a pattern without special characters
// matches exactly itself, and a regular expression compiles or is refused
// cleanly, then matches or not.
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/utilities.h"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

bool is_literal(const std::string &pattern)
{
    return pattern.find_first_of("*?[\\") == std::string::npos;
}

// Stacked repeats ("a+++++...") make the C library's regcomp() take
// seconds: its cost, not the wrapper's, so such expressions are left out.
bool has_stacked_repeats(const std::string &pattern)
{
    int run = 0;
    for (char c : pattern) {
        run = (c == '*' || c == '+' || c == '?' || c == '{' || c == '}') ? run + 1 : 0;
        if (run > 3)
            return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Long expressions only make the C library's matcher slow.
    if (size > 512)
        return 0;
    std::string all(reinterpret_cast<const char *>(data), size);
    std::size_t cut = all.find_first_of(std::string("\n\0", 2));
    std::string pattern = all.substr(0, cut);
    std::string name = cut == std::string::npos ? std::string() : all.substr(cut + 1);
    pattern.resize(std::strlen(pattern.c_str()));
    name.resize(std::strlen(name.c_str()));

    int m = fmatch(pattern.c_str(), name.c_str());
    check(m == 0 || m == 1);
    if (is_literal(pattern))
        check(m == (pattern == name ? 1 : 0));
    check(fmatch(nullptr, name.c_str()) == 0 && fmatch(pattern.c_str(), nullptr) == 0);

    if (has_stacked_repeats(pattern))
        return 0;
    ox_regex *re = regex_cmp(pattern.c_str());
    if (re != nullptr) {
        int r = regex_exec(re, name.c_str());
        check(r == 0 || r == 1);
        check(regex_exec(re, nullptr) == -1);
        regex_done(re);
    }
    return 0;
}
