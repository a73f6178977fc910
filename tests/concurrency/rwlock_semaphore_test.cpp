// ox_rwlock and ox_semaphore: writer priority, the exact results of a
// writer's second wait, counting under contention, and their failures.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/rwlock_handle.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

void nothing(void *) {}

// Read-lock from a thread of its own; the result of the attempt.
int read_trylock_elsewhere(ox_rwlock *rw, bool release = true)
{
    int rc = -1;
    std::thread([&] {
        rc = ox_rwlock_read_trylock(rw);
        if (rc == 0 && release)
            ox_rwlock_unlock(rw);
    }).join();
    return rc;
}

// What the other thread holds when an attempt is made.
enum class Held { nothing, reader, writer };

struct RwCase {
    Held held;
    int (*attempt)(ox_rwlock *);
    const char *name;
    int result;
};

// Run `attempt` in a thread of its own while this thread holds `held`.  A
// write try that times out on a reader reports the second wait's time-out
// whatever the last error held before, and gives the entry lock back while
// the real reader stays counted.
int attempt_while_held(ox_rwlock *rw, Held held, int (*attempt)(ox_rwlock *))
{
    if (held == Held::reader) {
        EXPECT_EQ(ox_rwlock_read_lock(rw), 0);
    } else if (held == Held::writer) {
        EXPECT_EQ(ox_rwlock_write_lock(rw), 0);
    }
    int rc = -1;
    std::thread([&] {
        ox_error_set_last(static_cast<uint32_t>(EAGAIN), OX_ERRKIND_ERRNO);
        rc = attempt(rw);
        if (rc == 0) {
            EXPECT_EQ(ox_rwlock_unlock(rw), 0);
        } else if (rc == OX_ETIMEDOUT) {
            int kind = 0;
            EXPECT_EQ(ox_error_get_last_native(&kind), 258u);
            EXPECT_EQ(kind, OX_ERRKIND_WIN32);
            EXPECT_EQ(read_trylock_elsewhere(rw), 0);
        }
    }).join();
    if (held == Held::reader) {
        EXPECT_EQ(rw->readers(), 1);
    }
    if (held != Held::nothing) {
        EXPECT_EQ(ox_rwlock_unlock(rw), 0);
    }
    return rc;
}

}  // namespace

TEST(RwLock, ResultsOfEveryFormAgainstEveryHolder)
{
    const RwCase cases[] = {
        {Held::nothing, ox_rwlock_read_lock, "read", 0},
        {Held::nothing, ox_rwlock_read_trylock, "read try", 0},
        {Held::nothing, ox_rwlock_write_lock, "write", 0},
        {Held::nothing, ox_rwlock_write_trylock, "write try", 0},
        {Held::reader, ox_rwlock_read_lock, "read", 0},
        {Held::reader, ox_rwlock_read_trylock, "read try", 0},
        {Held::reader, ox_rwlock_write_trylock, "write try", OX_ETIMEDOUT},
        {Held::writer, ox_rwlock_read_trylock, "read try", OX_EAGAIN},
        {Held::writer, ox_rwlock_write_trylock, "write try", OX_EAGAIN},
    };
    ox_rwlock *rw = ox_rwlock_new();
    ASSERT_NE(rw, nullptr);
    for (const RwCase &c : cases) {
        SCOPED_TRACE(c.name);
        SCOPED_TRACE(static_cast<int>(c.held));
        EXPECT_EQ(attempt_while_held(rw, c.held, c.attempt), c.result);
        EXPECT_EQ(rw->readers(), 0);
        EXPECT_EQ(rw->entry->owner.load(), 0u);
        EXPECT_EQ(rw->state.load(), 0u);  // no draining mark left behind
    }

    // Readers share, a reader's own second hold included.
    ASSERT_EQ(ox_rwlock_read_lock(rw), 0);
    EXPECT_EQ(ox_rwlock_read_trylock(rw), 0);
    EXPECT_EQ(rw->readers(), 2);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);
    EXPECT_EQ(rw->readers(), 0);

    // The writer's own thread: the entry lock is recursive, and a read lock
    // inside a write lock counts a reader that its second unlock removes.
    ASSERT_EQ(ox_rwlock_write_lock(rw), 0);
    EXPECT_EQ(ox_rwlock_write_trylock(rw), 0);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);
    EXPECT_EQ(ox_rwlock_read_trylock(rw), 0);
    EXPECT_EQ(rw->readers(), 1);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);  // releases the entry lock
    EXPECT_EQ(rw->entry->owner.load(), 0u);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);  // now as the reader
    EXPECT_EQ(rw->readers(), 0);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);  // neither: still 0
    EXPECT_EQ(rw->readers(), 0);
    EXPECT_EQ(ox_rwlock_destroy(rw), 0);

    EXPECT_EQ(ox_rwlock_read_lock(nullptr), OX_ENULL);
    EXPECT_EQ(ox_rwlock_write_trylock(nullptr), OX_ENULL);
    EXPECT_EQ(ox_rwlock_unlock(nullptr), OX_ENULL);
    EXPECT_EQ(ox_rwlock_destroy(nullptr), OX_ENULL);
}

TEST(RwLock, WritersWaitingForReaders)
{
    ox_rwlock *rw = ox_rwlock_new();
    ASSERT_NE(rw, nullptr);
    ASSERT_EQ(ox_rwlock_read_lock(rw), 0);
    // A writer whose wait for the readers is interrupted keeps the entry
    // lock until it unlocks.
    std::atomic<cairn::ThreadRecord *> writer_rec{nullptr};
    std::atomic<int> step{0};
    std::thread interrupted([&] {
        writer_rec = cairn::thread_record();
        EXPECT_EQ(ox_rwlock_write_lock(rw), OX_EINTR);
        EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(EINTR));
        step = 1;
        ASSERT_TRUE(eventually([&] { return step.load() == 2; }));
        EXPECT_EQ(ox_rwlock_unlock(rw), 0);  // gives the entry lock back
    });
    ASSERT_TRUE(eventually([&] { return rw->no_readers->queued.load() == 1; }));
    ASSERT_TRUE(cairn::queue_call(*writer_rec.load(), nothing, nullptr));
    ASSERT_TRUE(eventually([&] { return step.load() == 1; }));
    EXPECT_EQ(read_trylock_elsewhere(rw), OX_EAGAIN);  // entry still held
    step = 2;
    interrupted.join();
    EXPECT_EQ(read_trylock_elsewhere(rw), 0);

    // A writer waiting for the readers to leave marks the lock: a new
    // reader's try is turned away and backs out, a blocking one queues
    // behind the writer.
    step = 0;
    std::atomic<int> reader_saw_writer_done{-1};
    std::thread writer([&] {
        ASSERT_EQ(ox_rwlock_write_lock(rw), 0);  // waits for the reader
        step = 1;
        EXPECT_EQ(rw->readers(), 0);
        step = 2;
        EXPECT_EQ(ox_rwlock_unlock(rw), 0);
    });
    ASSERT_TRUE(eventually([&] { return rw->no_readers->queued.load() == 1; }));
    EXPECT_EQ(rw->state.load(), cairn::kRwWriterDraining | 1u);
    EXPECT_EQ(read_trylock_elsewhere(rw), OX_EAGAIN);  // writers first
    EXPECT_EQ(rw->readers(), 1);                       // the try backed out
    std::thread reader([&] {
        ASSERT_EQ(ox_rwlock_read_lock(rw), 0);
        reader_saw_writer_done = step.load();
        ox_rwlock_unlock(rw);
    });
    ASSERT_TRUE(eventually([&] { return rw->entry->queued.load() == 1; }));
    EXPECT_EQ(reader_saw_writer_done.load(), -1);  // queued behind the writer
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);            // the last reader leaves
    writer.join();
    reader.join();
    EXPECT_EQ(reader_saw_writer_done.load(), 2);
    EXPECT_EQ(rw->state.load(), 0u);
    EXPECT_EQ(ox_rwlock_destroy(rw), 0);
}

TEST(Semaphore, ResultsOfEachFormAndCountLimits)
{
    ox_semaphore *s = ox_semaphore_new(1);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ox_semaphore_trywait(s), 0);
    EXPECT_EQ(ox_semaphore_trywait(s), OX_EAGAIN);
    EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(EAGAIN));
    EXPECT_EQ(ox_semaphore_timedwait(s, 0), OX_ETIMEDOUT);  // a time-out was given
    double took = elapsed_ms([&] { EXPECT_EQ(ox_semaphore_timedwait(s, 10), OX_ETIMEDOUT); });
    EXPECT_GE(took, 10.0);
    EXPECT_LT(took, 10.0 + kLateMarginMs);
    EXPECT_EQ(ox_semaphore_post(s), 0);
    EXPECT_EQ(ox_semaphore_post(s), 0);
    EXPECT_EQ(ox_semaphore_wait(s), 0);
    EXPECT_EQ(ox_semaphore_timedwait(s, 10), 0);
    EXPECT_EQ(ox_semaphore_destroy(s), 0);

    EXPECT_EQ(ox_semaphore_post(nullptr), OX_ENULL);
    EXPECT_EQ(ox_semaphore_wait(nullptr), OX_ENULL);
    EXPECT_EQ(ox_semaphore_timedwait(nullptr, 1), OX_ENULL);
    EXPECT_EQ(ox_semaphore_trywait(nullptr), OX_ENULL);
    EXPECT_EQ(ox_semaphore_destroy(nullptr), OX_ENULL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);

    // Count limits.
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_semaphore_new(0x80000000u), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);

    s = ox_semaphore_new(0x7FFFFFFFu);
    ASSERT_NE(s, nullptr);
    int kind = 0;
    EXPECT_EQ(ox_semaphore_post(s), OX_EUNKNOWN);  // past the maximum
    EXPECT_EQ(ox_error_get_last_native(&kind), 298u);
    EXPECT_EQ(kind, OX_ERRKIND_WIN32);
    EXPECT_EQ(ox_semaphore_trywait(s), 0);  // the failed post changed nothing
    EXPECT_EQ(ox_semaphore_post(s), 0);
    EXPECT_EQ(ox_semaphore_post(s), OX_EUNKNOWN);
    EXPECT_EQ(ox_semaphore_destroy(s), 0);
}

// Writers excluding readers and semaphore units under contention are checked
// by the stress program (StressLocks).
