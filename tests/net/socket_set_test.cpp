// The library's socket set: insertion order, no duplicates, a capacity of
// 4096 with a notice beyond it.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cairn/messages.h"
#include "cairn/net.h"

namespace {

std::vector<std::string> g_notices;
void keep_notice(const char *text) { g_notices.emplace_back(text); }

std::vector<int> members(const ox_fd_set &set)
{
    return std::vector<int>(set.fd_array, set.fd_array + set.fd_count);
}

TEST(SocketSet, OrderDuplicatesClearAndOverflow)
{
    auto set = std::make_unique<ox_fd_set>();
    OX_FD_ZERO(set.get());
    for (int s : {7, 3, 9, 3, 7, 5})
        OX_FD_SET(s, set.get());
    EXPECT_EQ(members(*set), (std::vector<int>{7, 3, 9, 5}));
    EXPECT_EQ(OX_FD_ISSET(9, set.get()), 1);
    EXPECT_EQ(OX_FD_ISSET(4, set.get()), 0);
    EXPECT_EQ(OX_FD_CLR(3, set.get()), 1);
    EXPECT_EQ(members(*set), (std::vector<int>{7, 9, 5}));
    EXPECT_EQ(OX_FD_CLR(42, set.get()), 3) << "an absent socket gives the count";
    EXPECT_EQ(OX_FD_CLR(5, set.get()), 2);
    EXPECT_EQ(OX_FD_CLR(1, nullptr), -1);
    EXPECT_EQ(OX_FD_ISSET(1, nullptr), 0);
    OX_FD_SET(1, nullptr);

    OX_FD_ZERO(set.get());
    for (int s = 0; s < OX_FD_SETSIZE; ++s)
        OX_FD_SET(s, set.get());
    ASSERT_EQ(set->fd_count, 4096u);
    msg_callback_set(keep_notice);
    OX_FD_SET(100, set.get());  // a member: no notice
    EXPECT_TRUE(g_notices.empty());
    OX_FD_SET(5000, set.get());
    msg_callback_set(nullptr);
    EXPECT_EQ(set->fd_count, 4096u);
    EXPECT_EQ(OX_FD_ISSET(5000, set.get()), 0);
    ASSERT_EQ(g_notices.size(), 1u);
    EXPECT_NE(g_notices[0].find("Number of sockets exceeds set limit. (FD_SETSIZE 4096)."),
              std::string::npos)
        << g_notices[0];
    EXPECT_EQ(OX_FD_CLR(0, set.get()), 0);
    EXPECT_EQ(set->fd_array[0], 1);
    EXPECT_EQ(set->fd_array[4094], 4095);

    set->fd_count = 70000;  // a corrupted count is never followed past the array
    EXPECT_EQ(OX_FD_ISSET(-5, set.get()), 0);
    EXPECT_EQ(OX_FD_CLR(-5, set.get()), 4096);
    EXPECT_EQ(OX_FD_CLR(1, set.get()), 0);
    EXPECT_EQ(set->fd_count, 4095u);
}

}  // namespace
