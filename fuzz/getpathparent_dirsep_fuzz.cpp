// getpathparent_dirsep on arbitrary bytes for both separators: the parent is
// "/" or a proper prefix of the path; allocated, bounded and in-place forms
// agree.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cairn/paths.h"
#include "fuzz_input.hpp"

static void check_separator(const FuzzText &input, int sep)
{
    const char *path = input.text.get();
    char *allocated = getpathparent_dirsep(path, nullptr, 0, sep);
    if (allocated != nullptr) {
        std::size_t n = std::strlen(allocated);
        bool root = std::strcmp(allocated, "/") == 0;
        if (!root && (n >= input.length || std::strncmp(allocated, path, n) != 0))
            std::abort();
        // A buffer of exactly the parent's size works, one byte less fails.
        std::unique_ptr<char[]> exact(new char[n + 1]);
        if (getpathparent_dirsep(path, exact.get(), n + 1, sep) != exact.get() ||
            std::strcmp(exact.get(), allocated) != 0)
            std::abort();
        if (getpathparent_dirsep(path, exact.get(), n, sep) != nullptr)
            std::abort();
    }
    std::unique_ptr<char[]> in_place(new char[input.length + 1]);
    std::memcpy(in_place.get(), path, input.length + 1);
    char *r = getpathparent_dirsep(in_place.get(), in_place.get(), input.length + 1, sep);
    if ((r == nullptr) != (allocated == nullptr) || (r && std::strcmp(r, allocated) != 0))
        std::abort();
    int depth = getpathdepth_dirsep(path, sep);
    if (depth < 0)
        std::abort();
    ox_path_free(allocated);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    check_separator(input, '/');
    check_separator(input, '\\');
    return 0;
}
