// The allocation-failure sweep: every constructor, parser and insertion of
// the API runs with its 1st, 2nd, ... allocation failing, once and for good,
// until it succeeds.  Each failure must give the call's documented error,
// leave the last error set and nothing allocated, and leave an object that
// existed before the call whole and usable.  Calls whose allocations end
// the process (the failing-stop allocators) are swept in forked children.
#include <gtest/gtest.h>
#include "va_fronts.hpp"
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "cairn/attributes.h"
#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "cairn/paths.h"
#include "cairn/text.h"
#include "cairn/utilities.h"
#include "capture_fd.hpp"
#include "ci_skip.hpp"
#include "concurrency/thread_object.hpp"
#include "containers/container.hpp"
#include "debug_scope.hpp"
#include "debug_text.hpp"
#include "frame/environment.hpp"
#include "fault_injection.hpp"
#include "platform/alloc.hpp"
#include "platform/clocks.hpp"
#include "platform/thread_record.hpp"

using cairn::testing::FailMode;
using cairn::testing::FailureSweep;

using cairn::testing::alloc_format;
using cairn::testing::bounded_alloc_format;
using cairn::testing::vcreate;
using cairn::testing::vpopulate;

namespace {

struct Row {
    const char *name;
    std::function<bool()> call;         // true on success, having released what it made
    std::function<void()> intact = {};  // the object that existed before, still whole
    int last_error = OX_ENOMEM;
    std::function<void()> before_each = {};  // puts back what a success used up
};

void sweep(const std::vector<Row> &rows)
{
    for (const Row &row : rows)
        for (FailMode mode : {FailMode::once, FailMode::forever}) {
            SCOPED_TRACE(row.name);
            FailureSweep how;
            how.mode = mode;
            how.last_error = row.last_error;
            how.after_failure = row.intact;
            how.before_each = row.before_each;
            cairn::testing::for_each_allocation_failure(row.call, how);
        }
}

// Each step costs a fork, so failing forever is swept only where a step
// returned: where every step stopped, the two modes cannot differ.
void sweep_fatal(const std::vector<Row> &rows)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        bool recovered = false;
        cairn::testing::for_each_fatal_allocation_failure(row.call, FailMode::once, &recovered);
        if (recovered)
            cairn::testing::for_each_fatal_allocation_failure(row.call, FailMode::forever);
    }
}

// A constructor: NULL on failure, else the result goes to `release`.
template <typename T, typename R>
bool made(T *p, R release)
{
    if (p == nullptr)
        return false;
    release(p);
    return true;
}

// A call that returns a library code: 0, or 53 when memory ran out.
bool coded(int rc)
{
    if (rc == 0)
        return true;
    EXPECT_EQ(rc, OX_ENOMEM);
    return false;
}

void *ptr(intptr_t v) { return reinterpret_cast<void *>(v); }
int compare_ints(void *a, void *b) { return a == b ? 0 : a < b ? -1 : 1; }
uint32_t hash_int(void *k) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(k)); }
void collect(void *data, void *into)
{
    static_cast<std::vector<intptr_t> *>(into)->push_back(reinterpret_cast<intptr_t>(data));
}
void ignore_item(void *) {}
void count_work(void *) {}
void tick(void *) {}

// The list still holds exactly `want` (data = key), walks front to back,
// and takes and gives back one more element.
void list_intact(ox_list *l, const std::vector<intptr_t> &want)
{
    std::vector<intptr_t> seen;
    ox_iterator *it = ox_iterator_new(l);
    ASSERT_NE(it, nullptr);
    void *data = nullptr;
    for (int rc = ox_iterator_start(it, &data); rc == 0; rc = ox_iterator_next(it, &data))
        seen.push_back(reinterpret_cast<intptr_t>(data));
    ox_iterator_destroy(it);
    EXPECT_EQ(seen, want);
    EXPECT_EQ(ox_list_size(l), static_cast<int>(want.size()));
    ASSERT_EQ(ox_list_append(l, ptr(99), ptr(99)), 0);
    EXPECT_EQ(ox_list_remove_node(l, ptr(99), nullptr), 0);
}

// Freezes the tables' clock for a test, at the second given.
struct FrozenClock {
    FrozenClock() { cairn::testing::clock_seconds32_freeze(true); }
    ~FrozenClock()
    {
        cairn::testing::clock_seconds32_offset(0);
        cairn::testing::clock_seconds32_freeze(false);
    }
    void to(int32_t s) { cairn::testing::clock_seconds32_offset(s); }
};

// Functions of both table kinds, so that one set of rows serves both.
template <typename T>
struct TableFns {
    T *(*make)(ox_data_destructor, ox_data_copy, ox_key_compare, ox_key_destructor, ox_key_hash,
               uint32_t, int);
    int (*destroy)(T *);
    int (*add)(T *, void *, void *);
    int (*add_with_ttl)(T *, void *, void *, int32_t, int);
    int (*replace)(T *, void *, void **, void *, void **);
    int (*remove)(T *, void *, void **);
    int (*find)(T *, void *, void **);
    int (*foreach)(T *, ox_foreach_callback, void *);
    int (*size)(T *);
};
const TableFns<ox_table> kTable{ox_table_new,          ox_table_destroy, ox_table_add,
                                ox_table_add_with_ttl, ox_table_replace, ox_table_remove,
                                ox_table_find,         ox_table_foreach, ox_table_size};
const TableFns<ox_rw_table> kRwTable{
    ox_rw_table_new,          ox_rw_table_destroy, ox_rw_table_add,
    ox_rw_table_add_with_ttl, ox_rw_table_replace, ox_rw_table_remove,
    ox_rw_table_find,         ox_rw_table_foreach, ox_rw_table_size};

template <typename T>
void sweep_table(const char *kind, const TableFns<T> &f)
{
    SCOPED_TRACE(kind);
    T *t = f.make(nullptr, nullptr, compare_ints, nullptr, hash_int, 7, 0);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(f.add(t, ptr(1), ptr(10)), 0);
    ASSERT_EQ(f.add(t, ptr(2), ptr(20)), 0);
    // Key 6 expired at second 1 of the frozen clock: an add over it must
    // leave it in place when it fails.
    FrozenClock clock;
    auto add_expired = [&] {
        void *data = nullptr;
        if (f.size(t) == 3)
            return;
        clock.to(0);
        ASSERT_EQ(f.add_with_ttl(t, ptr(6), ptr(60), 0, 0), 0);
        clock.to(1);
        EXPECT_EQ(f.find(t, ptr(1), &data), 0);
    };
    add_expired();
    auto intact = [&] {
        std::vector<intptr_t> seen;
        EXPECT_EQ(f.foreach (t, collect, &seen), 0);
        std::sort(seen.begin(), seen.end());
        EXPECT_EQ(seen, (std::vector<intptr_t>{10, 20, 60}));
        void *data = nullptr;
        EXPECT_EQ(f.find(t, ptr(2), &data), 0);
        EXPECT_EQ(data, ptr(20));
        ASSERT_EQ(f.add(t, ptr(5), ptr(50)), 0);
        EXPECT_EQ(f.remove(t, ptr(5), nullptr), 0);
    };
    // A successful insertion is taken out again, so every row starts alike.
    // Keys 1 to 5 fall in buckets of their own, so that the reader-writer
    // table evicts nobody.
    auto added = [&](int rc, intptr_t key) {
        return coded(rc) && f.remove(t, ptr(key), nullptr) == 0;
    };
    std::vector<Row> rows{
        {"table_new",
         [&] {
             return made(f.make(nullptr, nullptr, compare_ints, nullptr, hash_int, 491, 1),
                         f.destroy);
         }},
        {"table_add", [&] { return added(f.add(t, ptr(3), ptr(30)), 3); }, intact},
        {"table_add_with_ttl", [&] { return added(f.add_with_ttl(t, ptr(3), ptr(30), 5, 0), 3); },
         intact},
        {"table_add_with_ttl over an expired entry",
         [&] {
             if (!coded(f.add_with_ttl(t, ptr(6), ptr(61), 5, 0)))
                 return false;
             return f.remove(t, ptr(6), nullptr) == 0;
         },
         intact},
        {"table_replace", [&] { return added(f.replace(t, ptr(4), nullptr, ptr(40), nullptr), 4); },
         intact},
    };
    for (Row &row : rows)
        row.before_each = add_expired;
    sweep(rows);
    f.destroy(t);
}

}  // namespace

TEST(AllocationSweep, ListsArraysAndIterators)
{
    ox_list *l = ox_list_new(nullptr, nullptr, compare_ints, nullptr, 0);
    ASSERT_NE(l, nullptr);
    ASSERT_EQ(ox_list_append(l, ptr(1), ptr(1)), 0);
    ASSERT_EQ(ox_list_append(l, ptr(2), ptr(2)), 0);
    auto intact = [l] { list_intact(l, {1, 2}); };
    auto added = [l](int rc) { return coded(rc) && ox_list_remove_node(l, ptr(7), nullptr) == 0; };
    // An array at its first table's capacity: the next add must grow it.
    ox_array *a = ox_array_new(nullptr, nullptr, compare_ints, nullptr, 0);
    ASSERT_NE(a, nullptr);
    for (intptr_t i = 1; i <= 256; ++i)
        ASSERT_EQ(ox_array_add(a, ptr(i), ptr(i)), 0);
    auto array_intact = [a] {
        EXPECT_EQ(ox_array_size(a), 256);
        std::vector<intptr_t> seen;
        EXPECT_EQ(ox_array_foreach(a, collect, &seen), 0);
        ASSERT_EQ(seen.size(), 256u);
        for (intptr_t i = 0; i < 256; ++i)
            EXPECT_EQ(seen[i], i + 1);
        void *data = nullptr;
        EXPECT_EQ(ox_array_find(a, ptr(200), &data), 0);
        EXPECT_EQ(data, ptr(200));
    };
    sweep({
        {"ox_node_new",
         [] {
             ox_node *node = ox_node_new(ptr(1), ptr(2));
             if (node == nullptr)
                 return false;
             bool right = node->data == ptr(1) && node->key == ptr(2) &&
                          node->expiry == OX_TTL_NEVER && node->refs == 0 && node->next == nullptr;
             cairn::mem_free(node);
             return right;
         }},
        {"ox_list_new",
         [] {
             return made(ox_list_new(nullptr, nullptr, compare_ints, nullptr, 0), ox_list_destroy);
         }},
        {"ox_array_new",
         [] {
             return made(ox_array_new(nullptr, nullptr, compare_ints, nullptr, 0),
                         ox_array_destroy);
         }},
        {"ox_iterator_new", [l] { return made(ox_iterator_new(l), ox_iterator_destroy); }, intact},
        {"ox_list_append", [&] { return added(ox_list_append(l, ptr(7), ptr(7))); }, intact},
        {"ox_list_append_with_ttl",
         [&] { return added(ox_list_append_with_ttl(l, ptr(7), ptr(7), 60)); }, intact},
        {"ox_list_prepend", [&] { return added(ox_list_prepend(l, ptr(7), ptr(7))); }, intact},
        {"ox_list_insert", [&] { return added(ox_list_insert(l, ptr(7), ptr(7), 2)); }, intact},
        {"ox_list_replace",
         [&] { return added(ox_list_replace(l, ptr(7), nullptr, ptr(7), nullptr)); }, intact},
        {"ox_list_push",
         [l] {
             if (!coded(ox_list_push(l, ptr(7))))
                 return false;
             void *out = nullptr;
             return ox_list_pop(l, &out) == 0 && out == ptr(7);
         },
         intact},
        {"ox_array_add",
         [a] {
             return coded(ox_array_add(a, ptr(300), ptr(300))) &&
                    ox_array_remove_node(a, ptr(300), nullptr) == 0;
         },
         array_intact},
    });
    ox_array_destroy(a);
    ox_list_destroy(l);
}

TEST(AllocationSweep, Tables)
{
    sweep_table("ox_table", kTable);
    sweep_table("ox_rw_table", kRwTable);
}

TEST(AllocationSweep, LocksThreadsQueuesAndTimers)
{
    // Warm objects first: the registry and the thread-storage list exist
    // from here on and are not counted.
    ox_event_destroy(ox_event_new());
    ox_threadstorage_destroy(ox_threadstorage_new(nullptr));
    ox_eventqueue *q = ox_eventqueue_new(nullptr);
    ASSERT_NE(q, nullptr);
    ASSERT_EQ(ox_eventqueue_push(q, ptr(1)), 0);
    auto queue_intact = [q] {
        EXPECT_EQ(ox_eventqueue_size(q), 1);
        ASSERT_EQ(ox_eventqueue_push(q, ptr(2)), 0);
        void *item = nullptr;
        EXPECT_EQ(ox_eventqueue_trypop(q, &item), 0);
        EXPECT_EQ(item, ptr(1));
        EXPECT_EQ(ox_eventqueue_trypop(q, &item), 0);
        EXPECT_EQ(item, ptr(2));
        ASSERT_EQ(ox_eventqueue_push(q, ptr(1)), 0);
    };
    ox_threadstorage *key = ox_threadstorage_new(nullptr);
    ASSERT_NE(key, nullptr);
    sweep({
        {"ox_atomic_new",
         [] {
             ox_atomic *a = ox_atomic_new(3);
             return a != nullptr && ox_atomic_get(a) == 3 && ox_atomic_destroy(a) == 0;
         }},
        {"ox_mutex_new", [] { return made(ox_mutex_new(), ox_event_destroy); }},
        {"ox_event_new", [] { return made(ox_event_new(), ox_event_destroy); }},
        {"ox_rwlock_new", [] { return made(ox_rwlock_new(), ox_rwlock_destroy); }},
        {"ox_semaphore_new", [] { return made(ox_semaphore_new(3), ox_semaphore_destroy); }},
        {"ox_mtx_create",
         [] {
             ox_mtx *m = reinterpret_cast<ox_mtx *>(1);
             if (ox_mtx_create(&m) == 0) {
                 EXPECT_EQ(m, nullptr) << "no half-made handle handed out";
                 return false;
             }
             return ox_mtx_destroy(m) == 1;
         }},
        {"ox_cond_create",
         [] {
             ox_cond *c = nullptr;
             return ox_cond_create(&c) != 0 && ox_cond_destroy(c) == 1;
         }},
        {"ox_thread_new",
         [] {
             return made(ox_thread_new([](void *) -> uint32_t { return 0; }, nullptr),
                         ox_thread_destroy);
         }},
        {"ox_threadstorage_new",
         [] { return made(ox_threadstorage_new(ignore_item), ox_threadstorage_destroy); }},
        {"ox_threadstorage_set",
         [key] {
             if (!coded(ox_threadstorage_set(key, ptr(5))))
                 return ox_threadstorage_get(key) == nullptr;
             return ox_threadstorage_get(key) == ptr(5) && ox_threadstorage_set(key, nullptr) == 0;
         }},
        {"ox_timer_new",
         [] { return made(ox_timer_new(10, 0, tick, nullptr, nullptr), ox_timer_destroy); }},
        {"ox_circularqueue_new",
         [] {
             ox_circularqueue *c = ox_circularqueue_new(nullptr, 2, 0);
             if (c == nullptr) {
                 EXPECT_EQ(ox_error_get_last(), OX_ENOMEM);
                 return false;
             }
             // A node that cannot be had leaves the ring shorter: only a
             // ring that takes both items is the whole result.
             bool whole = ox_circularqueue_trypush(c, ptr(1)) == 0 &&
                          ox_circularqueue_trypush(c, ptr(2)) == 0;
             ox_circularqueue_destroy(c);
             return whole;
         },
         {},
         0},
        {"ox_eventqueue_new",
         [] { return made(ox_eventqueue_new(nullptr), ox_eventqueue_destroy); }},
        {"ox_eventqueue_push",
         [q] {
             if (!coded(ox_eventqueue_push(q, ptr(2))))
                 return false;
             void *item = nullptr;
             return ox_eventqueue_trypop(q, &item) == 0 && item == ptr(1) &&
                    ox_eventqueue_trypop(q, &item) == 0 && item == ptr(2) &&
                    ox_eventqueue_push(q, ptr(1)) == 0;
         },
         queue_intact},
        {"ox_threadqueue_new",
         [] {
             return made(ox_threadqueue_new(count_work, nullptr, 0, 2, 0), ox_threadqueue_destroy);
         }},
    });
    ox_threadstorage_destroy(key);
    ox_eventqueue_destroy(q);
}

// A thread the library did not create gets its object on first use: in a
// thread of its own whose record exists, each sweep step starts afresh.
TEST(AllocationSweep, AdoptedThreadsAndCleanUpEntries)
{
    std::thread([] {
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        sweep({
            {"ox_thread_self",
             [] {
                 if (ox_thread_self() == nullptr)
                     return false;
                 cairn::adopted_thread_ended(*cairn::thread_record());
                 return true;
             }},
            {"ox_thread_cleanup_push",
             [] {
                 if (!coded(ox_thread_cleanup_push(ignore_item, nullptr)))
                     return ox_thread_cleanup_pop(0) == OX_ENOENT;
                 bool popped = ox_thread_cleanup_pop(0) == 0;
                 cairn::adopted_thread_ended(*cairn::thread_record());
                 return popped;
             }},
        });
    }).join();
}

namespace {

int mapped_alloc_format(char **result, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int n = i18n_vsnprintf_map(nullptr, 0, result, nullptr, nullptr, format, ap);
    va_end(ap);
    return n;
}

// The allocating formatter: NULL text and result 0 when the storage cannot
// be had; a whole text `want` otherwise.
bool formatted(int n, char *text, const std::string &want)
{
    if (text == nullptr) {
        EXPECT_EQ(n, 0);
        return false;
    }
    std::string got(text);
    cairn::mem_free(text);
    EXPECT_EQ(got.size(), static_cast<size_t>(n)) << "terminated where it ends";
    if (got == want)
        return true;
    EXPECT_EQ(want.compare(0, got.size(), got), 0) << "a cut text is a prefix of the whole";
    return false;
}

}  // namespace

TEST(AllocationSweep, StringsAndFormatting)
{
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    char usr[] = "usr", empty[] = "", bin[] = "bin";
    char *words[] = {usr, empty, bin, nullptr};
    const std::string long_arg(30000, 'y');
    val_t *vals = vallist_build("b", "a", "c", nullptr);
    sweep({
        {"ox_strreplace",
         [] {
             char s[32] = "x-y-z";
             int n = ox_strreplace(s, sizeof s, "-", "<->");
             if (n < 0) {
                 EXPECT_STREQ(s, "x-y-z") << "all or nothing";
                 return false;
             }
             return n == 2 && std::strcmp(s, "x<->y<->z") == 0;
         }},
        {"ox_strappend",
         [] {
             char *first = ox_strappend(nullptr, "one");
             if (first == nullptr)
                 return false;
             char *both = ox_strappend(first, " two");
             if (both == nullptr) {
                 EXPECT_STREQ(first, "one") << "the original is untouched on failure";
                 cairn::mem_free(first);
                 return false;
             }
             bool right = std::strcmp(both, "one two") == 0;
             cairn::mem_free(both);
             return right;
         }},
        {"ox_strvalloc",
         [] {
             char **v = ox_strvalloc(3, 16);
             if (v == nullptr)
                 return false;
             bool right = v[3] == nullptr;
             for (int i = 0; i < 3; ++i)
                 right = right && v[i] != nullptr && std::string(v[i], 16) == std::string(16, '\0');
             ox_strvfree(v);
             return right;
         }},
        {"ox_strvcat",
         [&words] {
             char *s = ox_strvcat(words, ',');
             return s != nullptr && formatted(static_cast<int>(std::strlen(s)), s, "usr,,bin");
         }},
        {"regex_cmp", [] { return made(regex_cmp("a+"), regex_done); }},
        {"vallist_to_argv",
         [&] {
             int count = 7;
             char **vec = reinterpret_cast<char **>(&count);
             if (vallist_to_argv(vals, &count, &vec) != 0) {
                 EXPECT_EQ(count, 0);
                 EXPECT_EQ(vec, nullptr);
                 return false;
             }
             for (int i = 0; i < count; ++i)
                 cairn::mem_free(vec[i]);
             cairn::mem_free(vec);
             return count == 3;
         }},
        {"i18n_vsprintf",
         [] {
             char *text = reinterpret_cast<char *>(1);
             int n = alloc_format(&text, "%s %d", "short", 1);
             return formatted(n, text, "short 1");
         }},
        {"i18n_vsnprintf",
         [] {
             char *text = reinterpret_cast<char *>(1);
             int n = bounded_alloc_format(4, &text, "%s", "sized");
             return formatted(n, text, "siz");
         }},
        {"i18n_vsnprintf_map",
         [] {
             char *text = reinterpret_cast<char *>(1);
             int n = mapped_alloc_format(&text, "%d-%s", 7, "seven");
             return formatted(n, text, "7-seven");
         }},
        {"i18n_vsprintf long conversion",
         [] {
             char *text = nullptr;
             int n = alloc_format(&text, "%.700f", 2.0);
             return formatted(n, text, "2." + std::string(700, '0'));
         }},
    });
    // A failed enlargement keeps what fits, cut at the end of the first
    // storage, and says so on the debug stream.
    cairn::testing::DebugScope debug(0, 32);
    cairn::testing::CaptureFd err(2);
    int needed = cairn::testing::for_each_allocation_failure([&] {
        char *text = nullptr;
        int n = alloc_format(&text, "%s", long_arg.c_str());
        if (text != nullptr && n < 30000) {
            EXPECT_EQ(n, 19457) << "cut at the end of the first storage";
        }
        return formatted(n, text, long_arg);
    });
    EXPECT_EQ(needed, 3);
    EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
              "i18n_vsnprintf: Truncation detected - new buffer allocation failure\n");
    vallist_free(vals);
}

TEST(AllocationSweep, ConvertedStreamReads)
{
    if (std::setlocale(LC_ALL, "en_US.ISO-8859-1") == nullptr)
        CAIRN_SKIP_UNLESS_CI("en_US.ISO-8859-1 is not installed (tools/run setup)");
    FILE *file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    std::fputs("\xE9x\n", file);
    // The stream list's lock exists before failures start (failing to make
    // it is fatal, tested on its own).
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(is_user_fp(file), 1);
    sweep({{"ox_fgets", [file] {
                std::rewind(file);
                char buf[16];
                if (ox_fgets(buf, sizeof buf, file) == nullptr)
                    return false;
                return std::strcmp(buf, "\xC3\xA9x\n") == 0;
            }}});
    std::fclose(file);
    std::setlocale(LC_ALL, "C");
}

TEST(AllocationSweep, PathResults)
{
    // Every path function that allocates its result when given no buffer.
    auto result = [](char *p, const char *want) {
        if (p == nullptr)
            return false;
        bool right = std::strcmp(p, want) == 0;
        ox_path_free(p);
        return right;
    };
    std::string accents = "C:\\";
    for (int i = 0; i < 10; ++i)
        accents += "\xc3\xa9";
    const std::string server = "\\\\" + std::string(2000, 's') + "\\share\\x";
    const std::string upper = "\\\\" + std::string(2000, 'S') + "\\SHARE\\x";
    sweep({
        {"fullpath2", [&] { return result(fullpath2("a", "/b", nullptr, 0, '/'), "/b/a"); }},
        {"fullpath", [&] { return result(fullpath("/p/q/r", nullptr, 0, '/'), "/p/q/r"); }},
        {"ox_path_basename",
         [&] { return result(ox_path_basename("/a/b", nullptr, 0, '/'), "b"); }},
        {"ox_path_dirname", [&] { return result(ox_path_dirname("/a/b", nullptr, 0, '/'), "/a"); }},
        {"getpathparent_dirsep",
         [&] { return result(getpathparent_dirsep("/a/b/c", nullptr, 0, '/'), "/a/b"); }},
        {"getpathparent", [&] { return result(getpathparent("C:\\a\\b", nullptr, 0), "C:\\a"); }},
        {"getpathchild_dirsep",
         [&] { return result(getpathchild_dirsep("/a/b/c", "/a", nullptr, 0, '/'), "/a/b"); }},
        {"getpathchild",
         [&] { return result(getpathchild("C:\\a\\b\\c", "C:\\a", nullptr, 0), "C:\\a\\b"); }},
        {"ox_utf8_to_widepath",
         [&] {
             std::vector<ox_wchar> buf(18, 0xAAAA);
             int rc = ox_utf8_to_widepath(accents.c_str(), buf.data(), buf.size(), nullptr);
             if (rc != 0) {
                 EXPECT_EQ(rc, OX_ENOMEM);
                 EXPECT_EQ(buf[0], 0) << "the output is emptied";
             }
             return rc == 0;
         }},
        // Long server names are upper-cased in heap storage; without it
        // the path is left exactly as it was (and the call reports nothing).
        {"convertDriveToUpper",
         [&] {
             std::vector<char> copy(server.begin(), server.end());
             copy.push_back('\0');
             convertDriveToUpper(copy.data());
             if (upper == copy.data())
                 return true;
             EXPECT_EQ(server, copy.data()) << "left as it was";
             return false;
         },
         {},
         0},
    });
}

TEST(AllocationSweep, ResolverAndInterfaces)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_port = htons(80);
    loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // Each lookup fills the empty caches and empties them again, so that
    // every step starts alike and what it cached is not counted as a leak.
    ox_inet_cache_flush();
    auto emptied = [](bool ok) {
        EXPECT_EQ(ox_inet_cache_flush(), 0);
        return ok;
    };
    auto resolver_result = [](int rc) {
        if (rc == EAI_MEMORY)
            return false;
        EXPECT_EQ(rc, 0);
        return rc == 0;
    };
    sweep({
        {"ox_getaddrinfo",
         [&] {
             addrinfo *res = reinterpret_cast<addrinfo *>(1);
             int rc = ox_getaddrinfo("127.0.0.1", "80", &hints, &res);
             if (!resolver_result(rc)) {
                 EXPECT_EQ(res, nullptr) << "no result on failure";
                 return emptied(false);
             }
             bool right = res != nullptr && res->ai_family == AF_INET;
             ox_freeaddrinfo(res);
             return emptied(right);
         },
         {},
         0},
        {"ox_getnameinfo",
         [&] {
             char host[NI_MAXHOST] = "x", serv[NI_MAXSERV] = "";
             int rc =
                 ox_getnameinfo(reinterpret_cast<sockaddr *>(&loopback), sizeof loopback, host,
                                sizeof host, serv, sizeof serv, NI_NUMERICHOST | NI_NUMERICSERV);
             return emptied(resolver_result(rc) && std::strcmp(host, "127.0.0.1") == 0 &&
                            std::strcmp(serv, "80") == 0);
         },
         {},
         0},
        {"ox_getaliasinfo",
         [] {
             char **aliases = reinterpret_cast<char **>(1);
             int n = ox_getaliasinfo("localhost", &aliases);
             if (n < 0)
                 return false;
             ox_strvfree(aliases);
             return true;
         }},
        {"ox_get_ifaddresses",
         [] {
             ox_ifaddress *list = reinterpret_cast<ox_ifaddress *>(1);
             if (ox_get_ifaddresses(&list) != 0)
                 return false;
             ox_free_ifaddresses(list);
             return true;
         }},
    });
}

void exit_handler() {}

// The process's own records: environment values (cached for the life of
// the process), the program's path, exit handlers and error types.  What a
// whole call keeps on purpose is measured by the sweep and allowed.
TEST(AllocationSweep, EnvironmentIdentityAndRegistrations)
{
    int fresh = 0;
    std::string name;
    const char *texts[] = {"Fine", "Worse", nullptr};
    ASSERT_EQ(err_settype(30, 1, "SWEPT", texts, nullptr), 0);
    std::string put_value;
    auto put_intact = [&put_value] {
        char kept[32] = "";
        EXPECT_TRUE(cairn::environment_snapshot_find("CAIRN_SWEEP_PUT", kept, sizeof kept));
        EXPECT_EQ("CAIRN_SWEEP_PUT=" + put_value, kept);
        const char *now = getenv("CAIRN_SWEEP_PUT");
        EXPECT_EQ(put_value, now ? now : "");
    };
    auto type_intact = [] { EXPECT_STREQ(err_type_name(30), "SWEPT"); };
    sweep({
        {"ox_getenv",
         [&] {
             // A name never read before, so that its value is cached now.
             name = "CAIRN_SWEEP_" + std::to_string(++fresh);
             setenv(name.c_str(), "value", 1);
             const char *v = ox_getenv(name.c_str());
             unsetenv(name.c_str());
             return v != nullptr && std::strcmp(v, "value") == 0;
         }},
        // All or nothing: a failed call leaves the environment and its
        // snapshot at the value set before; a whole call changes both.
        {"ox_putenv",
         [&] {
             std::string value = std::to_string(++fresh);
             if (ox_putenv(("CAIRN_SWEEP_PUT=" + value).c_str()) != 0) {
                 EXPECT_EQ(errno, ENOMEM);
                 return false;
             }
             put_value = value;
             return put_intact(), true;
         },
         put_intact},
        {"ox_set_argv0",
         [] {
             ox_set_argv0("/opt/tool/bin/swept");
             const char *kept = ox_get_argv0();
             return kept != nullptr && std::strcmp(kept, "/opt/tool/bin/swept") == 0;
         },
         {},
         0},
        {"ox_atexit",
         [] { return coded(ox_atexit(exit_handler)) && ox_unatexit(exit_handler) == 0; }},
        {"err_settype",
         [&] {
             int rc = err_settype(30, 1, "SWEPT", texts, nullptr);
             if (rc != 0) {
                 EXPECT_EQ(rc, OX_ENOMEM);
                 return false;
             }
             return true;
         },
         type_intact},
    });
}

namespace {

// Release a result of the failing-stop allocators: true when there was one.
bool values(val_t *l)
{
    vallist_free(l);
    return true;
}
bool attributes(attr_t *l)
{
    attrlist_free(l);
    return true;
}
bool record(structext *r)
{
    msg_structext_free(r);
    return r != nullptr;
}
bool object(msg_t *m)
{
    msg_free(m);
    return m != nullptr;
}
bool owned_text(char *t)
{
    std::free(t);
    return t != nullptr;
}

}  // namespace

// Values, attributes, message records and error records take their memory
// from the failing-stop allocators: each step either succeeds or ends the
// process with the out-of-memory line, and never crashes on the way.
TEST(AllocationSweep, ValuesAndAttributesStopCleanly)
{
    char path[] = "/tmp/cairn_sweep_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "one\ntwo\n", 8), 8);
    close(fd);
    val_t *vals = vallist_build("b", "a", "c", nullptr);
    attr_t *attrs = attrlist_build("name", "v1", "v2", nullptr, "other", "x", nullptr, nullptr);
    ASSERT_NE(vals, nullptr);
    ASSERT_NE(attrs, nullptr);
    // The call on a copy of the list made before, then the copy freed.
    auto on_vals = [vals](std::function<void(val_t **)> op) {
        return [vals, op] {
            val_t *l = vallist_dup(vals);
            op(&l);
            return values(l);
        };
    };
    auto on_attrs = [attrs](std::function<void(attr_t **)> op) {
        return [attrs, op] {
            attr_t *l = attrlist_dup(attrs);
            op(&l);
            return attributes(l);
        };
    };
    sweep_fatal({
        {"val_new", [&] { return values(val_new(" a ")); }},
        {"val_new_nosp", [&] { return values(val_new_nosp(" a ")); }},
        {"val_dup", [&] { return values(val_dup(vals)); }},
        {"val_update", on_vals([](val_t **l) { val_update(l, "z"); })},
        {"vallist_add", on_vals([](val_t **l) { vallist_add(l, "d"); })},
        {"vallist_insert", on_vals([](val_t **l) { vallist_insert(l, "d"); })},
        {"vallist_add_tail", on_vals([](val_t **l) { vallist_add_tail(l, "d"); })},
        {"vallist_append",
         [&] {
             val_t *l = nullptr, *tail = nullptr;
             vallist_append(&l, &tail, "d");
             return values(l);
         }},
        {"vallist_add2",
         [&] {
             val_t *l = nullptr, *tail = nullptr;
             vallist_add2(&l, &tail, "d");
             return values(l);
         }},
        {"vallist_addsort", on_vals([](val_t **l) { vallist_addsort(l, "bb"); })},
        {"vallist_addsort_exact", on_vals([](val_t **l) { vallist_addsort_exact(l, "bb"); })},
        {"i18n_vallist_addsort", on_vals([](val_t **l) { i18n_vallist_addsort(l, "bb"); })},
        {"vallist_pos_insert", on_vals([](val_t **l) { vallist_pos_insert(l, "d", 2); })},
        {"vallist_build", [&] { return values(vallist_build("x", "y", nullptr)); }},
        {"vallist_dup", [&] { return values(vallist_dup(vals)); }},
        {"vallist_merge",
         [&] {
             val_t *l = vallist_build("q", nullptr);
             vallist_merge(vals, &l);
             return values(l);
         }},
        {"vallist_intersect",
         [&] {
             val_t *l = vallist_build("a", "q", nullptr);
             vallist_intersect(vals, &l);
             return values(l);
         }},
        {"vallist_diff_apply",
         [&] {
             val_t *now = vallist_build("a", "q", nullptr), *target = vallist_dup(vals);
             vallist_diff_apply(vals, now, &target, 0);
             vallist_free(now);
             return values(target);
         }},
        {"vallist_remove_get_dups",
         [&] {
             val_t *l = vallist_build("a", "a", "b", nullptr), *dups = nullptr;
             vallist_remove_get_dups(&l, nullptr, &dups);
             vallist_free(dups);
             return values(l);
         }},
        {"vlist_utf8_to_mbts", on_vals([](val_t **l) { vlist_utf8_to_mbts(l); })},
        {"vallist_new_from_csv", [&] { return values(vallist_new_from_csv("a,\"b,c\",d")); }},
        {"vallist_to_csv",
         [&] {
             char *s = vallist_to_csv(vals, 0);
             std::free(s);
             return s != nullptr;
         }},
        {"vallist_from_file",
         [&] {
             val_t *l = nullptr;
             EXPECT_EQ(vallist_from_file(&l, path), nullptr);
             return values(l);
         }},
        {"attr_new",
         [&] {
             attr_t *a = attr_new("n", "v");
             attr_elem_free(a);
             return a != nullptr;
         }},
        {"attr_dup",
         [&] {
             attr_t *a = attr_dup(attrs);
             attr_elem_free(a);
             return a != nullptr;
         }},
        {"attr_extract_val",
         [&] {
             attr_t *a = attr_dup(attrs);
             std::free(attr_extract_val(a));
             attr_elem_free(a);
             return true;
         }},
        {"attr_extract_vallist",
         [&] {
             int count = 0;
             char **v = attr_extract_vallist(&count, attrs);
             for (int i = 0; v != nullptr && i < count; ++i)
                 std::free(v[i]);
             std::free(v);
             return true;
         }},
        {"attrlist_add", on_attrs([&](attr_t **l) { attrlist_add(l, "name", "v3"); })},
        {"attrlist_addempty", on_attrs([&](attr_t **l) { attrlist_addempty(l, "e", ""); })},
        {"attrlist_addlist", on_attrs([&](attr_t **l) { attrlist_addlist(l, "n2", vals); })},
        {"attrlist_set", on_attrs([&](attr_t **l) { attrlist_set(l, "name", "w"); })},
        {"attrlist_setlist", on_attrs([&](attr_t **l) { attrlist_setlist(l, "name", vals); })},
        {"attrlist_setlist_nodup",
         on_attrs([&](attr_t **l) { attrlist_setlist_nodup(l, "name", vallist_dup(vals)); })},
        {"attrlist_replace", on_attrs([&](attr_t **l) { attrlist_replace(l, "other", "y"); })},
        {"attrlist_add_I18Nattr",
         on_attrs([&](attr_t **l) { attrlist_add_I18Nattr(l, "name", 1); })},
        {"attrlist_build", [&] { return attributes(attrlist_build("a", "1", nullptr, nullptr)); }},
        {"attrlist_dup", [&] { return attributes(attrlist_dup(attrs)); }},
        {"attrlist_copy", [&] { return attributes(attrlist_copy(attrs, attrs)); }},
        {"attrlist_merge_or_add",
         [&] {
             attr_t *l = attrlist_build("q", "1", nullptr, nullptr);
             attrlist_merge_or_add(attrs, &l);
             return attributes(l);
         }},
        {"attrlist_merge",
         [&] {
             attr_t *from = attrlist_dup(attrs), *l = attrlist_build("q", "1", nullptr, nullptr);
             attrlist_merge(&from, &l);
             attrlist_free(from);
             return attributes(l);
         }},
        {"attrlist_intersect",
         [&] {
             attr_t *a = attrlist_dup(attrs), *b = attrlist_build("name", "v1", nullptr, nullptr);
             attrlist_intersect(&a, &b);
             attrlist_free(b);
             return attributes(a);
         }},
        {"attrlist_build_str",
         [&] {
             char buf[256];
             int size = sizeof buf;
             return attrlist_build_str(attrs, buf, &size) > 0;
         }},
        {"snmp_str_to_attrs", on_attrs([&](attr_t **l) { snmp_str_to_attrs("name=z,new=1", l); })},
        {"xmalloc",
         [] {
             std::free(xmalloc(16));
             return true;
         }},
        {"xcalloc",
         [] {
             std::free(xcalloc(2, 8));
             return true;
         }},
        {"xstrdup",
         [] {
             std::free(xstrdup("text"));
             return true;
         }},
    });
    attrlist_free(attrs);
    vallist_free(vals);
    unlink(path);
}

TEST(AllocationSweep, MessagesAndErrorRecordsStopCleanly)
{
    const int32_t descs[] = {MSG_ARG_TEXT, MSG_ARG_TEXT};
    const char *const texts[] = {"one", "two"};
    structext *st = msg_structext_copy(msg_structext_new(7, "%s and %s", 2, descs, texts));
    msg_t *msg = msg_copy(msg_create(8, 50000, "<%s>", MSG_ARG_TEXT, "eight"));
    ASSERT_NE(st, nullptr);
    ASSERT_NE(msg, nullptr);
    char *stbuf = msg_structext_to_stbuf(st);
    char *xml = msg_structext_to_xmlstr(st);
    size_t rendered_len = 0;
    char *stxdr = msg_structext_to_stxdrbuf(st, &rendered_len);
    sweep_fatal({
        {"msg_create", [] { return msg_create(1, 50000, "%s", MSG_ARG_TEXT, "x") != nullptr; }},
        {"msg_vcreate (through err_setstr)", [] { return err_setstr(1, 2, "text") != nullptr; }},
        {"msg_copy", [&] { return object(msg_copy(msg)); }},
        {"msg_create_from_structext",
         [&] { return msg_create_from_structext(50000, st) != nullptr; }},
        {"msg_create_from_mlit", [] { return msg_create_from_mlit(50000, "12:lit") != nullptr; }},
        {"msg_structext_new",
         [&] { return msg_structext_new(7, "%s and %s", 2, descs, texts) != nullptr; }},
        {"msg_structext_populate",
         [&] {
             structext *r = msg_structext_copy(st);
             msg_structext_populate(r, 9, "%s", MSG_ARG_TEXT, "nine");
             return record(r);
         }},
        {"msg_vstructext_create",
         [&] { return vcreate(9, "%s", MSG_ARG_TEXT, "nine") != nullptr; }},
        {"msg_vstructext_populate",
         [&] {
             structext *r = msg_structext_copy(st);
             vpopulate(r, 9, "%s", MSG_ARG_TEXT, "nine");
             return record(r);
         }},
        {"msg_structext_copy", [&] { return record(msg_structext_copy(st)); }},
        {"msg_structext_render", [&] { return owned_text(msg_structext_render(st)); }},
        {"msg_structext_to_stbuf", [&] { return owned_text(msg_structext_to_stbuf(st)); }},
        {"msg_stbuf_to_structext", [&] { return record(msg_stbuf_to_structext(stbuf)); }},
        {"msg_structext_to_xmlstr", [&] { return owned_text(msg_structext_to_xmlstr(st)); }},
        {"msg_xmlstr_to_structext", [&] { return record(msg_xmlstr_to_structext(xml)); }},
        {"msg_structext_to_stxdrbuf",
         [&] {
             size_t n = 0;
             return owned_text(msg_structext_to_stxdrbuf(st, &n));
         }},
        {"msg_stxdrbuf_to_structext",
         [&] { return record(msg_stxdrbuf_to_structext(stxdr, rendered_len)); }},
        {"msg_mlit_create", [] { return msg_mlit_create(12, "lit") != nullptr; }},
        {"msg_lit_create", [] { return msg_lit_create(12, "lit") != nullptr; }},
        {"msg_idlit_to_stbuf", [] { return owned_text(msg_idlit_to_stbuf("12:lit")); }},
        {"msg_string_to_stbuf", [] { return owned_text(msg_string_to_stbuf("plain")); }},
        {"msg_string_to_structext", [&] { return record(msg_string_to_structext("plain")); }},
        {"err_setall", [] { return err_setall(1, 3, 2, "text") != nullptr; }},
        {"err_set", [] { return err_set(1, 2) != nullptr; }},
        {"err_dup",
         [&] {
             msg_t *m = err_dup(msg);
             err_free(m);
             return m != nullptr;
         }},
        {"err_save", [&] { return err_save(msg) != nullptr; }},
        {"err_move_to_varp",
         [] {
             err_varp pair{};
             pair.number = 3;
             pair.text = strdup("moved");
             return err_move_to_varp(&pair) != nullptr;
         }},
        {"err_accrue",
         [] {
             blow_err(1);  // accrual on, with an empty chain
             err_accrue("first");
             err_accrue("second");
             return true;
         }},
    });
    std::free(stxdr);
    std::free(xml);
    std::free(stbuf);
    msg_free(msg);
    msg_structext_free(st);
}
