#include "diagnostics/process_stats.hpp"

#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
#include "concurrency/object_registry.hpp"
#include "diagnostics/debug_control.hpp"
#include "platform/alloc.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

namespace cairn {
namespace {

constexpr std::size_t kLineMax = 512;
// Room for threads that start between counting and copying the records.
constexpr std::size_t kSpareViews = 16;

void emit(const ReportSink &sink, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
void emit(const ReportSink &sink, const char *fmt, ...)
{
    char line[kLineMax];
    va_list ap;
    va_start(ap, fmt);
    int n = std::vsnprintf(line, sizeof line, fmt, ap);
    va_end(ap);
    if (n > 0)
        sink.write(line, std::strlen(line), sink.arg);
}

struct TypeCount {
    const char *name;
    std::size_t count;
};

struct Census {
    TypeCount types[kCensusGroups];
    std::size_t used = 0;
    std::size_t total = 0;
};

void count_type(ox_object_destructor destructor, std::size_t count, void *arg)
{
    auto &census = *static_cast<Census *>(arg);
    census.types[census.used++] =
        TypeCount{destructor ? object_type_name(destructor) : "other", count};
    census.total += count;
}

void report_objects(const ReportSink &sink)
{
    Census census;
    registry_census(count_type, &census);
    emit(sink, "objects: %zu live\n", census.total);
    for (std::size_t i = 0; i < census.used; ++i)
        emit(sink, "  %s: %zu\n", census.types[i].name, census.types[i].count);
}

// A copy of what a record shows, taken under the records lock.
struct ThreadView {
    uint64_t seq;
    int tid;
    uint8_t state;
    uintptr_t on;
    uint32_t timers;
};

struct Snapshot {
    ThreadView *views;
    std::size_t room;
    std::size_t used;
    std::size_t seen;
};

void count_record(const ThreadRecord &, void *arg) { ++*static_cast<std::size_t *>(arg); }

void copy_record(const ThreadRecord &rec, void *arg)
{
    auto &snap = *static_cast<Snapshot *>(arg);
    ++snap.seen;
    if (snap.used == snap.room)
        return;
    snap.views[snap.used++] =
        ThreadView{rec.seq, rec.tid, rec.wait_state.load(std::memory_order_relaxed),
                   rec.waiting_on.load(std::memory_order_relaxed),
                   rec.timers_armed.load(std::memory_order_relaxed)};
}

const char *state_text(uint8_t state)
{
    switch (state) {
    case kNotWaiting:
        return "running";
    case kWaitSleep:
        return "sleeping";
    case kWaitObject + static_cast<uint8_t>(SyncKind::semaphore):
        return "waiting on semaphore";
    case kWaitObject + static_cast<uint8_t>(SyncKind::auto_event):
    case kWaitObject + static_cast<uint8_t>(SyncKind::manual_event):
        return "waiting on event";
    case kWaitObject + static_cast<uint8_t>(SyncKind::mutex):
        return "waiting on mutex";
    default:
        return "waiting";
    }
}

void report_threads(const ReportSink &sink)
{
    std::size_t count = 0;
    for_each_thread_record(count_record, &count);
    Snapshot snap{static_cast<ThreadView *>(mem_alloc((count + kSpareViews) * sizeof(ThreadView))),
                  count + kSpareViews, 0, 0};
    if (snap.views == nullptr) {
        emit(sink, "threads: %zu (no memory to list them)\n", count);
        return;
    }
    for_each_thread_record(copy_record, &snap);
    emit(sink, "threads: %zu\n", snap.seen);
    for (std::size_t i = 0; i < snap.used; ++i) {
        const ThreadView &v = snap.views[i];
        char on[32] = "";
        if (v.on != 0)
            std::snprintf(on, sizeof on, " %#llx", static_cast<unsigned long long>(v.on));
        emit(sink, "  thread %llu tid %d: %s%s, timers armed: %u\n",
             static_cast<unsigned long long>(v.seq), v.tid, state_text(v.state), on, v.timers);
    }
    if (snap.seen > snap.used)
        emit(sink, "  (%zu more not shown)\n", snap.seen - snap.used);
    mem_free(snap.views);
}

void report_settings(const ReportSink &sink)
{
    char settings[kLineMax - 16];
    format_settings(settings, sizeof settings, ' ');
    ControlCounts counts = control_counts();
    emit(sink, "settings: %s\n", settings);
    emit(sink, "control: %s (notices %u, invalid values %u, refused files %u)\n",
         debug_control_file(), counts.notices, counts.invalid, counts.refused);
}

// A sink that fills a caller's buffer and counts what did not fit.
struct BufferSink {
    char *buf;
    std::size_t size;
    std::size_t len;
};

void buffer_write(const char *line, std::size_t len, void *arg)
{
    auto &b = *static_cast<BufferSink *>(arg);
    if (b.len < b.size) {
        std::size_t n = len < b.size - b.len ? len : b.size - b.len;
        std::memcpy(b.buf + b.len, line, n);
    }
    b.len += len;
}

}  // namespace

void write_process_stats(const ReportSink &sink)
{
    emit(sink, "stats of process %d\n", static_cast<int>(getpid()));
    report_objects(sink);
    report_threads(sink);
    report_settings(sink);
    emit(sink, "end of stats\n");
}

}  // namespace cairn

extern "C" size_t ox_process_stats(char *buf, size_t size)
{
    using namespace cairn;
    if (buf == nullptr)
        size = 0;
    BufferSink b{buf, size, 0};
    write_process_stats(ReportSink{buffer_write, &b});
    if (size > 0)
        buf[b.len < size ? b.len : size - 1] = '\0';
    return b.len;
}
