#include "frame/last_error.hpp"

#include <new>

#include "platform/alloc.hpp"
#include "platform/thread_record.hpp"

namespace cairn {

ErrorRecord *error_record()
{
    ThreadRecord *tr = thread_record_peek();
    return tr ? tr->error : nullptr;
}

ErrorRecord *error_record_create()
{
    ThreadRecord *tr = thread_record();
    if (tr == nullptr)
        return nullptr;
    if (tr->error == nullptr && !tr->creating_error) {
        // An allocation failure below reports through the last error, which
        // would come back here: the flag stops that recursion.
        tr->creating_error = true;
        tr->error = mem_new<ErrorRecord>();
        tr->creating_error = false;
    }
    return tr->error;
}

void error_record_free(ErrorRecord *rec) { mem_delete(rec); }

}  // namespace cairn
