// fullcanon_dirsep on arbitrary names, with and without a given directory,
// for both separators; the first byte chooses the variant.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cairn/paths.h"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    static const char *const kDirectories[] = {nullptr, "/home/user", "C:\\work\\", "d:", "/", ""};
    const char *cwd = kDirectories[data[0] % 6];
    int sep = (data[0] & 0x80) ? '/' : '\\';
    FuzzText name(data + 1, size - 1);
    std::unique_ptr<char[]> out(new char[OX_PATH_MAX]);
    char *r = fullcanon_dirsep(name.get(), out.get(), cwd, sep);
    if (r != nullptr && std::strlen(r) >= OX_PATH_MAX)
        std::abort();
    char *allocated = fullpath2(name.get(), cwd, nullptr, 0, sep);
    if ((allocated == nullptr) != (r == nullptr) || (allocated && std::strcmp(allocated, r) != 0))
        std::abort();
    ox_path_free(allocated);
    return 0;
}
