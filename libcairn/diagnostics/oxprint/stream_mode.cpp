// Choosing, stream by stream, between UTF-8 and converted output.
#include <cstdlib>

#include "cairn/diagnostics.h"
#include "diagnostics/oxprint/excepted_fds.hpp"
#include "frame/environment.hpp"

using namespace cairn::oxprint;

namespace {

bool mode_flag_set() { return __atomic_load_n(&Mast_flag, __ATOMIC_RELAXED) != 0; }

int descriptor_of(FILE *stream) { return stream ? fileno(stream) : -1; }

}  // namespace

extern "C" {

void utf8_fd(int fd)
{
    if (fd < 0)
        return;
    if (mode_flag_set())
        excepted_remove(fd);
    else
        excepted_add(fd);
}

void user_fd(int fd)
{
    if (fd < 0)
        return;
    if (mode_flag_set())
        excepted_add(fd);
    else
        excepted_remove(fd);
}

void utf8_fp(FILE *stream) { utf8_fd(descriptor_of(stream)); }

void user_fp(FILE *stream) { user_fd(descriptor_of(stream)); }

int is_user_fp(FILE *stream)
{
    return stream != nullptr && !is_utf8_descriptor(descriptor_of(stream));
}

const char *printby_utf8(void)
{
    // Read under the environment lock into this thread's copy.
    thread_local char t_value[256];
    const char *value = cairn::environment_read("BXR_CATCH_CHILD_STDOUT", t_value, sizeof t_value)
                            ? t_value
                            : nullptr;
    if (value != nullptr)
        __atomic_add_fetch(&Mast_flag, 1, __ATOMIC_RELAXED);
    else
        __atomic_store_n(&Mast_flag, 0, __ATOMIC_RELAXED);
    return value;
}

}  // extern "C"
