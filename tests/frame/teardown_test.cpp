// Tear-down accounting: a program that has used the library the way a
// daemon does (threads, a pool, a timer, lists and tables with expiry,
// attribute lists, messages in a log directory, the debug log and its
// event thread, a socket pair, the resolver cache) and released what it
// made leaves nothing behind once the exit handlers have run: no object in
// the registry and exactly the descriptors it had before it began.
#include <dirent.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include "cairn/attributes.h"
#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "child_process.hpp"
#include "concurrency/object_registry.hpp"

namespace {

// Threads of this process, as the kernel counts them.
int live_threads()
{
    int n = 0;
    if (DIR *dir = opendir("/proc/self/task")) {
        while (dirent *e = readdir(dir))
            n += e->d_name[0] != '.';
        closedir(dir);
    }
    return n;
}

// Open descriptors and what each refers to.
std::map<int, std::string> open_descriptors()
{
    std::map<int, std::string> fds;
    DIR *dir = opendir("/proc/self/fd");
    if (dir == nullptr)
        return fds;
    int own = dirfd(dir);
    while (dirent *e = readdir(dir)) {
        int fd = std::atoi(e->d_name);
        if (e->d_name[0] == '.' || fd == own)
            continue;
        char target[512] = {};
        ssize_t n = readlink(("/proc/self/fd/" + std::string(e->d_name)).c_str(), target,
                             sizeof target - 1);
        fds[fd] = n > 0 ? std::string(target, static_cast<size_t>(n)) : "?";
    }
    closedir(dir);
    return fds;
}

// The registry's live objects by type name, for a failure's message.
std::string live_objects()
{
    std::string out;
    cairn::registry_census(
        [](ox_object_destructor destructor, std::size_t count, void *arg) {
            *static_cast<std::string *>(arg) += std::string(cairn::object_type_name(destructor)) +
                                                " x" + std::to_string(count) + " ";
        },
        &out);
    return out;
}

uint32_t thread_body(void *arg)
{
    ox_atomic_increment(static_cast<ox_atomic *>(arg));
    return 7;
}

void pool_work(void *item) { ox_atomic_increment(static_cast<ox_atomic *>(item)); }
void timer_tick(void *arg) { ox_atomic_increment(static_cast<ox_atomic *>(arg)); }

uint32_t hash_key(void *key) { return ox_hash_string(static_cast<const char *>(key)); }
int compare_keys(void *a, void *b)
{
    return std::strcmp(static_cast<const char *>(a), static_cast<const char *>(b));
}

void threads_pool_timer()
{
    ox_atomic *count = ox_atomic_new(0);
    ASSERT_NE(count, nullptr);
    for (int i = 0; i < 3; ++i) {
        ox_thread *t = ox_thread_new(thread_body, count);
        ASSERT_NE(t, nullptr);
        ASSERT_EQ(ox_thread_start(t), 0);
        uint32_t code = 0;
        ASSERT_EQ(ox_thread_join(t, &code), 0);
        EXPECT_EQ(code, 7u);
        ox_thread_destroy(t);
    }
    ox_threadqueue *pool = ox_threadqueue_new(pool_work, nullptr, 1, 3, 1);
    ASSERT_NE(pool, nullptr);
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(ox_threadqueue_push(pool, count), 0);
    ox_timer *timer = ox_timer_new(5, 0, timer_tick, count, nullptr);
    ASSERT_NE(timer, nullptr);
    ASSERT_EQ(ox_timer_start(timer), 0);
    while (ox_atomic_get(count) < 3 + 50 + 2)
        ox_thread_sleep(5);  // alertable: the timer runs here
    EXPECT_EQ(ox_timer_destroy(timer), 0);
    EXPECT_EQ(ox_threadqueue_destroy(pool), 0);
    EXPECT_EQ(ox_atomic_destroy(count), 0);
}

void containers_and_attributes()
{
    ox_list *list = ox_list_new(nullptr, nullptr, compare_keys, nullptr, 0);
    ox_table *table = ox_table_new(nullptr, nullptr, compare_keys, nullptr, hash_key, 17, 0);
    ASSERT_TRUE(list != nullptr && table != nullptr);
    static char keys[3][4] = {"a", "b", "c"};
    for (auto &k : keys) {
        EXPECT_EQ(ox_list_append_with_ttl(list, k, k, 1), 0);
        EXPECT_EQ(ox_table_add_with_ttl(table, k, k, 1, 0), 0);
    }
    EXPECT_EQ(ox_table_add_with_ttl(table, keys[0], keys[0], OX_TTL_NEVER, 0), 0);
    int removed = 0;
    ox_table_ttl_flush(table, &removed);
    EXPECT_EQ(ox_list_destroy(list), 0);
    EXPECT_EQ(ox_table_destroy(table), 0);

    attr_t *attrs = nullptr;
    ASSERT_NE(attrlist_add(&attrs, "client", "a"), nullptr);
    ASSERT_NE(attrlist_add(&attrs, "level", "full"), nullptr);
    EXPECT_STREQ(attrlist_getvalue(attrs, "CLIENT"), "a");
    attrlist_free(attrs);
}

void messages_and_debug_log(const std::string &dir)
{
    ASSERT_EQ(msg_log_open(dir.c_str()), 0);
    msg_t *m = msg_create(7, 50000, "%s backed up", MSG_ARG_TEXT, "client-a");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(msg_post(MSG_LOG_MESSAGES, m), 0);
    EXPECT_EQ(msg_post(MSG_LOG_DAEMON | MSG_LOG_RENDERED, m), 0);
    ASSERT_EQ(ox_debug_event_start(), 0);
    dfopen((dir + "/debug.log").c_str());
    Debug = 2;
    dfprintf(1, "teardown: %s\n", "debug line");
    Debug = 0;
}

void sockets_and_resolver()
{
    int pair[2] = {-1, -1};
    ASSERT_EQ(ox_socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    EXPECT_EQ(ox_send(pair[0], "ping", 4, 0), 4);
    char buf[8] = {};
    EXPECT_EQ(ox_recv(pair[1], buf, sizeof buf, 0), 4);
    EXPECT_EQ(ox_closesocket(pair[0]), 0);
    EXPECT_EQ(ox_closesocket(pair[1]), 0);
    for (int round = 0; round < 2; ++round) {  // the second answer is cached
        addrinfo *chain = nullptr;
        ASSERT_EQ(ox_getaddrinfo("localhost", nullptr, nullptr, &chain), 0);
        ox_freeaddrinfo(chain);
        char host[NI_MAXHOST];
        EXPECT_NE(ox_inet_htop("localhost", host, sizeof host), nullptr);
    }
}

}  // namespace

TEST(Teardown, ExitHandlersLeaveNoObjectDescriptorOrThread)
{
    char tmpl[] = "/tmp/cairn-teardown-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const std::string dir = tmpl;
    auto r = cairn::testing::run_in_child([&dir] {
        const auto before = open_descriptors();
        const int threads_before = live_threads();
        oxinit("teardown");
        threads_pool_timer();
        containers_and_attributes();
        messages_and_debug_log(dir);
        sockets_and_resolver();
        ASSERT_FALSE(::testing::Test::HasFailure());
        EXPECT_GT(cairn::registry_live_count(), 0u);  // the library's own facilities

        ox_atexit_execute_and_remove_all();
        EXPECT_EQ(cairn::registry_live_count(), 0u) << live_objects();
        // Every thread the library started is gone, not merely told to end.
        EXPECT_EQ(live_threads(), threads_before);
        const auto after = open_descriptors();
        for (const auto &[fd, target] : after)
            EXPECT_TRUE(before.count(fd) && before.at(fd) == target)
                << "left open: " << fd << " -> " << target;
        for (const auto &[fd, target] : before)
            EXPECT_TRUE(after.count(fd)) << "closed: " << fd << " -> " << target;
    });
    EXPECT_TRUE(r.exited && r.exit_code == 0) << r.out << r.err;
    std::string cleanup = "rm -rf " + dir;
    EXPECT_EQ(std::system(cleanup.c_str()), 0);
}
