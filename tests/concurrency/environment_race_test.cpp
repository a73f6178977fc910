// Reads of the process environment made by the library against ox_putenv()
// in another thread.  setenv() may move the environment, so every library
// read (TZ for each ISO 8601 conversion among them) must hold the
// environment lock.  This program replaces getenv(), setenv() and
// unsetenv() with versions that record when a read and a change overlap:
// with the lock they never can.
#include <dlfcn.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "cairn/frame.h"
#include "cairn/time.h"

extern char **environ;

namespace {

std::atomic<bool> g_watching{false};
std::atomic<int> g_readers{0};
std::atomic<bool> g_writing{false};
std::atomic<long> g_overlaps{0};
std::atomic<long> g_reads{0};

// A short busy pause that widens the windows in which overlaps show.
void pause_briefly(int rounds)
{
    for (int i = 0; i < rounds; ++i)
        asm volatile("" ::: "memory");
}

using SetenvFn = int (*)(const char *, const char *, int);
using UnsetenvFn = int (*)(const char *);

}  // namespace

// The environment walk itself, as the C library does it.
extern "C" char *getenv(const char *name)
{
    bool watching = g_watching.load();
    if (watching) {
        g_readers.fetch_add(1);
        g_reads.fetch_add(1, std::memory_order_relaxed);
        if (g_writing.load())
            g_overlaps.fetch_add(1);
    }
    char *found = nullptr;
    std::size_t len = std::strlen(name);
    for (char **p = environ; p != nullptr && *p != nullptr; ++p)
        if (std::strncmp(*p, name, len) == 0 && (*p)[len] == '=') {
            found = *p + len + 1;
            break;
        }
    if (watching) {
        pause_briefly(200);
        if (g_writing.load())
            g_overlaps.fetch_add(1);
        g_readers.fetch_sub(1);
    }
    return found;
}

namespace {

// A change: announced, held open for a moment, then made.
template <typename Change>
int changing(Change change)
{
    if (!g_watching.load())
        return change();
    g_writing.store(true);
    pause_briefly(2000);
    if (g_readers.load() > 0)
        g_overlaps.fetch_add(1);
    int rc = change();
    g_writing.store(false);
    return rc;
}

}  // namespace

extern "C" int setenv(const char *name, const char *value, int overwrite)
{
    static auto real = reinterpret_cast<SetenvFn>(dlsym(RTLD_NEXT, "setenv"));
    return changing([&] { return real(name, value, overwrite); });
}

extern "C" int unsetenv(const char *name)
{
    static auto real = reinterpret_cast<UnsetenvFn>(dlsym(RTLD_NEXT, "unsetenv"));
    return changing([&] { return real(name); });
}

namespace {

TEST(EnvironmentRace, PutenvAgainstIso8601Conversions)
{
    // Resolve the real functions before the threads start.
    ASSERT_EQ(setenv("CAIRN_RACE_WARMUP", "1", 1), 0);
    ASSERT_EQ(unsetenv("CAIRN_RACE_WARMUP"), 0);
    char buf[64];
    ASSERT_GT(ox_str8601_time(buf, sizeof buf, 1624269600), 0);

    constexpr int kReaders = 2;
    constexpr int kChanges = 1500;
    std::atomic<bool> stop{false};
    std::atomic<int> ready{0};
    std::atomic<long> conversions{0};
    std::atomic<int> wrong{0};
    g_watching.store(true);
    std::vector<std::thread> readers;
    for (int r = 0; r < kReaders; ++r)
        readers.emplace_back([&, r] {
            ready.fetch_add(1);
            char text[64];
            while (!stop.load()) {
                ox_time64_t t = 1624269600 + r;
                int n = r == 0 ? ox_str8601_time(text, sizeof text, t)
                               : ox_str8601_time_comp(text, sizeof text, t, 0);
                if (n <= 0 || (r != 0 && ox_8601ptime(text) != t))
                    wrong.fetch_add(1);
                conversions.fetch_add(1, std::memory_order_relaxed);
            }
        });
    while (ready.load() < kReaders)
        std::this_thread::yield();
    // Fresh names every time: the environment grows and is moved.
    for (int i = 0; i < kChanges; ++i) {
        std::string assignment = "CAIRN_RACE_" + std::to_string(i) + "=" + std::to_string(i);
        ASSERT_EQ(ox_putenv(assignment.c_str()), 0);
    }
    // Readers must have run while the changes were made.
    while (conversions.load() < 1000)
        std::this_thread::yield();
    stop.store(true);
    for (auto &t : readers)
        t.join();
    g_watching.store(false);

    EXPECT_GT(g_reads.load(), 0);
    EXPECT_EQ(g_overlaps.load(), 0) << "library reads of the environment overlapped ox_putenv()";
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_STREQ(ox_getenv("CAIRN_RACE_1499"), "1499");
}

}  // namespace
