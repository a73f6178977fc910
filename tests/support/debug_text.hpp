// Debug lines as captured, without the debug log's per-line prefix
// ("<program>: ", or "(pid N): " before the program name is set), so that
// tests of other subsystems compare only the texts they wrote.
#pragma once

#include <cctype>
#include <cstring>
#include <string>

#include "cairn/frame.h"

namespace cairn::testing {

// Length of the prefix at `line`, 0 when it has none.
inline std::size_t debug_prefix_length(const std::string &text, std::size_t line)
{
    char name[300];
    if (ox_get_progname(name, sizeof name) != nullptr) {
        std::string own = std::string(name) + ": ";
        if (text.compare(line, own.size(), own) == 0)
            return own.size();
    }
    // "(pid N): " of a forked child, whose pid differs from ours.
    if (text.compare(line, 5, "(pid ") != 0)
        return 0;
    std::size_t p = line + 5;
    while (p < text.size() && std::isdigit(static_cast<unsigned char>(text[p])))
        ++p;
    return text.compare(p, 3, "): ") == 0 ? p + 3 - line : 0;
}

inline std::string without_debug_prefixes(const std::string &text)
{
    std::string out;
    std::size_t line = 0;
    while (line < text.size()) {
        std::size_t end = text.find('\n', line);
        end = end == std::string::npos ? text.size() : end + 1;
        std::size_t skip = debug_prefix_length(text, line);
        out.append(text, line + skip, end - line - skip);
        line = end;
    }
    return out;
}

}  // namespace cairn::testing
