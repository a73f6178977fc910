// ox_semaphore: a counting semaphore over a platform semaphore whose
// maximum is 0x7FFFFFFF.
#include "concurrency/wait_results.hpp"
#include "concurrency/object_registry.hpp"
#include "platform/alloc.hpp"

using namespace cairn;

namespace {
constexpr uint32_t kMaximum = 0x7FFFFFFF;
}

// The approximate count of the data model is the platform count itself,
// read atomically: a second counter beside it would double the atomic
// operations of every post and wait.
struct ox_semaphore {
    ox_object_header header;
    SyncObject *handle = nullptr;
};

namespace {

int destroy_semaphore(void *obj) { return ox_semaphore_destroy(static_cast<ox_semaphore *>(obj)); }
const cairn::ObjectTypeName kTypeName{destroy_semaphore, "semaphore"};

int missing_handle() { return ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO); }

int take(ox_semaphore *s, uint32_t ms, bool zero_wait_form)
{
    if (s == nullptr)
        return null_argument();
    if (s->handle == nullptr)
        return missing_handle();
    return wait_result(sync_wait(s->handle, ms), zero_wait_form);
}

}  // namespace

extern "C" {

ox_semaphore *ox_semaphore_new(uint32_t initial)
{
    if (initial > kMaximum) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    auto *s = mem_new<ox_semaphore>();
    if (s == nullptr)
        return nullptr;
    s->handle = sync_semaphore_create(static_cast<int32_t>(initial), kMaximum);
    if (s->handle == nullptr || !register_object(s, destroy_semaphore)) {
        sync_close(s->handle);
        mem_delete(s);
        return nullptr;
    }
    return s;
}

int ox_semaphore_post(ox_semaphore *s)
{
    if (s == nullptr)
        return null_argument();
    if (s->handle == nullptr)
        return missing_handle();
    if (!sync_semaphore_release(s->handle, 1))
        return ox_error_set_last(kWin32TooManyPosts, OX_ERRKIND_WIN32);
    return OX_SUCCESS;
}

int ox_semaphore_wait(ox_semaphore *s) { return take(s, kForever, false); }
int ox_semaphore_timedwait(ox_semaphore *s, uint32_t ms) { return take(s, ms, false); }
int ox_semaphore_trywait(ox_semaphore *s) { return take(s, 0, true); }

int ox_semaphore_destroy(ox_semaphore *s)
{
    if (s == nullptr)
        return null_argument();
    int result;
    if (last_reference(s, result)) {
        sync_close(s->handle);
        mem_delete(s);
    }
    return result;
}

}  // extern "C"
