// Helpers shared by the path tests: exactly sized heap copies (so that the
// sanitizers see any write past what a function may use) and readable
// output for backslashes.
#pragma once

#include <cstring>
#include <memory>
#include <string>

namespace cairn::testing {

// A heap buffer holding `text` with exactly `extra` bytes of room after its
// terminator.
inline std::unique_ptr<char[]> exact_copy(const std::string &text, std::size_t extra = 0)
{
    std::unique_ptr<char[]> buf(new char[text.size() + 1 + extra]);
    std::memcpy(buf.get(), text.c_str(), text.size() + 1);
    return buf;
}

inline const char *sep_name(int sep) { return sep == '/' ? "'/'" : "'\\\\'"; }

}  // namespace cairn::testing
