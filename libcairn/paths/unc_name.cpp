// The exported UNC helpers.
#include "paths/unc_name.hpp"

#include <cerrno>

#include "cairn/frame.h"

namespace cairn::paths {

void set_invalid_argument() { ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO); }

}  // namespace cairn::paths

using cairn::paths::classify_unc;

extern "C" {

int is_unc_path(const char *path)
{
    return path != nullptr && cairn::paths::is_any_separator(path[0]) &&
           cairn::paths::is_any_separator(path[1]);
}

int get_unc_obj_type(const char *path)
{
    return path != nullptr ? classify_unc(path).type : OX_UNC_NONE;
}

const char *get_unc_file_path(const char *path)
{
    if (path == nullptr)
        return nullptr;
    cairn::paths::UncName u = classify_unc(path);
    if (!cairn::paths::has_file_path_type(u.type) || u.file_offset == cairn::paths::kNoPosition)
        return nullptr;
    return path + u.file_offset;
}

const ox_wchar *unc_skip_prefixw(const ox_wchar *path)
{
    if (path == nullptr)
        return nullptr;
    return path + classify_unc(path).prefix_length;
}

}  // extern "C"
