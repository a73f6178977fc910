// The UNC and depth readers on arbitrary bytes: the UNC type is one of the
// named kinds and agrees with is_unc_path(), the file path part points into
// the name, the depth is never negative for a good separator, and
// valid_dirsep() objects exactly to names holding '/'.
#include <cstdlib>
#include <cstring>

#include "cairn/messages.h"
#include "cairn/paths.h"
#include "fuzz_input.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    const char *path = input.get();
    int type = get_unc_obj_type(path);
    check(type >= OX_UNC_NONE && type <= OX_UNC_LONG_DRIVE);
    check(type == OX_UNC_NONE || is_unc_path(path) == 1);
    const char *file = get_unc_file_path(path);
    if (file != nullptr) {
        check(type == OX_UNC_SHARE || type == OX_UNC_LONG_DRIVE);
        check(file > path && file <= path + input.length);
    }
    check(getpathdepth_dirsep(path, '/') >= 0);
    check(getpathdepth_dirsep(path, '\\') >= 0);
    check(getpathdepth_dirsep(path, 'x') == -1);
    int rel = ispathrelative(path, '\\');
    check(rel == 0 || rel == 1);
    msg_t *bad = valid_dirsep(path);
    check((bad != nullptr) == (std::strchr(path, '/') != nullptr));
    return 0;
}
