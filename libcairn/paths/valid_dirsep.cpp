// valid_dirsep(): names that are stored as single components may not hold
// the '/' separator.
#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/paths.h"

namespace {

constexpr int32_t kNumber = 34252;
constexpr uint32_t kSeverity = 10019;

}  // namespace

extern "C" struct msg_t *valid_dirsep(const char *path)
{
    if (path == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    if (std::strchr(path, '/') == nullptr)
        return nullptr;
    return msg_create(kNumber, kSeverity, "Path %s may not contain '%s' character", MSG_ARG_TEXT,
                      path, MSG_ARG_TEXT, "/");
}
