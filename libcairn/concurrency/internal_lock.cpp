#include "concurrency/internal_lock.hpp"

#include "frame/last_error.hpp"
#include "platform/thread_record.hpp"

namespace cairn {
namespace {

// The caller's last error, put back after failed attempts (an interrupted
// wait reports EINTR, a re-entrant one EDEADLK).
class LastErrorKept {
public:
    LastErrorKept()
    {
        if (ErrorRecord *rec = error_record()) {
            kind_ = rec->kind;
            code_ = rec->code;
        }
    }
    void restore() const
    {
        if (ErrorRecord *rec = error_record()) {
            rec->kind = kind_;
            rec->code = code_;
        }
    }

private:
    int32_t kind_ = 1;
    uint32_t code_ = 0;
};

}  // namespace

void acquire_internal(SyncObject *obj)
{
    while (sync_wait(obj, kForever) != WaitStatus::signalled) {
    }
}

bool acquire_internal(ox_mutex *m)
{
    if (m == nullptr)
        return false;
    LastErrorKept kept;
    int rc = ox_mutex_lock(m);
    if (rc != OX_SUCCESS) {
        while (rc == OX_EINTR)
            rc = ox_mutex_lock(m);
        kept.restore();
    }
    return rc == OX_SUCCESS;
}

// A thread without a record has no queued calls or due work to hold; one
// is not made here (the exit clean-up takes this lock after the record
// went).
InternalLock::InternalLock(ox_mutex *m) : m_(acquire_internal(m) ? m : nullptr)
{
    if (m_ != nullptr && (rec_ = thread_record_peek()) != nullptr)
        ++rec_->calls_held;
}

InternalLock::~InternalLock()
{
    if (rec_ != nullptr)
        --rec_->calls_held;
    if (m_ != nullptr)
        ox_mutex_unlock(m_);
}

}  // namespace cairn
