// canon_dirsep with both separators on arbitrary bytes: the result fits the
// input's own buffer (also in place), a second pass over an absolute '/' result keeps it,
// and a relative input stays relative.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cairn/paths.h"
#include "fuzz_input.hpp"

static void check_separator(const FuzzText &input, int sep)
{
    std::size_t room = input.length + 1 < 2 ? 2 : input.length + 1;
    std::unique_ptr<char[]> out(new char[room]);
    if (canon_dirsep(input.text.get(), out.get(), sep) != out.get())
        std::abort();
    std::size_t n = std::strlen(out.get());
    if (n == 0 || n >= room)
        std::abort();
    // Relative text (not emptied by a dropped quote) stays relative.
    std::size_t meaningful = input.length;
    if (sep == '\\' && meaningful > 0 && input.text[meaningful - 1] == '"')
        --meaningful;
    bool relative = ispathrelative(input.text.get(), sep) && meaningful > 0 &&
                    !(sep == '\\' && (input.text[0] == '/' || is_unc_path(input.text.get())));
    if (relative && (!ispathrelative(out.get(), sep) || out[0] == sep))
        std::abort();
    // In place, in a buffer of exactly the input's size, gives the same
    // answer without writing past it; the empty path is refused there.
    std::unique_ptr<char[]> again(new char[input.length + 1]);
    std::memcpy(again.get(), input.text.get(), input.length + 1);
    char *in_place = canon_dirsep(again.get(), again.get(), sep);
    if (input.text[0] == '\0' ? in_place != nullptr : std::strcmp(again.get(), out.get()) != 0)
        std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    check_separator(input, '/');
    check_separator(input, '\\');
    return 0;
}
