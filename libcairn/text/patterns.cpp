// The regular-expression matcher (POSIX extended expressions) and the
// file-name pattern matcher (fnmatch) behind value and attribute matching.
#include <fnmatch.h>
#include <regex.h>

#include <cerrno>

#include "cairn/frame.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

struct ox_regex {
    regex_t compiled;
};

extern "C" ox_regex *regex_cmp(const char *pattern)
{
    if (pattern == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    auto *re = static_cast<ox_regex *>(cairn::mem_alloc(sizeof(ox_regex)));
    if (re == nullptr)
        return nullptr;
    int rc = regcomp(&re->compiled, pattern, REG_EXTENDED | REG_NOSUB);
    if (rc != 0) {
        cairn::mem_free(re);
        ox_error_set_last(rc == REG_ESPACE ? ENOMEM : EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    return re;
}

extern "C" int regex_exec(const ox_regex *re, const char *text)
{
    if (re == nullptr || text == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    return regexec(&re->compiled, text, 0, nullptr, 0) == 0 ? 1 : 0;
}

extern "C" void regex_done(ox_regex *re)
{
    if (re == nullptr)
        return;
    regfree(&re->compiled);
    cairn::mem_free(re);
}

extern "C" int fmatch(const char *pattern, const char *name)
{
    if (pattern == nullptr || name == nullptr)
        return 0;
    return fnmatch(pattern, name, 0) == 0 ? 1 : 0;
}
