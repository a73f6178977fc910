// The census a process gives an operator, read in-process, and the request
// call's answers when nobody listens.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"

namespace {

std::string census()
{
    std::size_t length = ox_process_stats(nullptr, 0);
    std::vector<char> buf(length + 1, 'x');
    EXPECT_EQ(ox_process_stats(buf.data(), buf.size()), length);
    return std::string(buf.data());
}

// The count on the census line "  <type>: <n>", or -1 when there is none.
long count_of(const std::string &text, const std::string &type)
{
    std::size_t at = text.find("  " + type + ": ");
    return at == std::string::npos ? -1 : std::stol(text.substr(at + type.size() + 4));
}

}  // namespace

TEST(ProcessStats, CensusCountsLiveObjectsAndIsBounded)
{
    std::string before = census();
    ASSERT_GE(before.size(), 13u);
    EXPECT_EQ(before.substr(before.size() - 13), "end of stats\n");
    ox_mutex *held[3] = {ox_mutex_new(), ox_mutex_new(), ox_mutex_new()};
    std::string during = census();
    long had = count_of(before, "mutex");
    EXPECT_EQ(count_of(during, "mutex"), (had < 0 ? 0 : had) + 3) << during;
    for (ox_mutex *m : held)
        ox_event_destroy(m);
    EXPECT_EQ(count_of(census(), "mutex"), had) << "the census is read afresh each time";

    // A short buffer gets a terminated prefix and the whole length.
    char small[10];
    std::size_t whole = ox_process_stats(small, sizeof small);
    EXPECT_GT(whole, sizeof small);
    EXPECT_EQ(std::string(small), census().substr(0, 9));
}

TEST(ProcessStats, RequestsToNobodyFailClearly)
{
    char answer[64] = "untouched";
    EXPECT_EQ(ox_debug_request(0, "status", answer, sizeof answer, 100, nullptr, nullptr),
              OX_EINVAL);
    EXPECT_EQ(ox_debug_request(999999999, nullptr, answer, sizeof answer, 100, nullptr, nullptr),
              OX_EINVAL);
    // A process id that no program watches: refused at once.
    EXPECT_EQ(ox_debug_request(999999999, "status", answer, sizeof answer, 100, nullptr, nullptr),
              OX_ECONNREFUSED);
    EXPECT_EQ(ox_error_get_last(), OX_ECONNREFUSED);
}
