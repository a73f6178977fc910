// The name helpers on arbitrary bytes for both separators: base name,
// directory name, child of the parent, and the typed-path clean-up.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cairn/paths.h"
#include "fuzz_input.hpp"

static void check_separator(const FuzzText &input, int sep)
{
    const char *path = input.text.get();
    char *base = ox_path_basename(path, nullptr, 0, sep);
    char *dir = ox_path_dirname(path, nullptr, 0, sep);
    if (base == nullptr || dir == nullptr || base[0] == '\0' || dir[0] == '\0')
        std::abort();
    char *parent = getpathparent_dirsep(path, nullptr, 0, sep);
    if (parent != nullptr) {
        char *child = getpathchild_dirsep(path, parent, nullptr, 0, sep);
        if (child != nullptr && std::strncmp(child, path, std::strlen(child)) != 0)
            std::abort();
        ox_path_free(child);
    }
    std::unique_ptr<char[]> copy(new char[input.length + 1]);
    std::memcpy(copy.get(), path, input.length + 1);
    if (ox_path_strip(copy.get(), sep) != copy.get() || std::strlen(copy.get()) > input.length)
        std::abort();
    std::memcpy(copy.get(), path, input.length + 1);
    convertDriveToUpper(copy.get());
    if (std::strlen(copy.get()) > input.length)
        std::abort();
    ox_path_free(base);
    ox_path_free(dir);
    ox_path_free(parent);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    check_separator(input, '/');
    check_separator(input, '\\');
    return 0;
}
