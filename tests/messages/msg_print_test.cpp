// msg_print(): the direct path to the standard streams, the numbered
// forms, the message-number switch, posting decisions and the callback.
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "child_process.hpp"
#include "messages/msg_identity.hpp"
#include "log_dir.hpp"

using cairn::testing::run_in_child;

namespace {

struct DirectCase {
    int32_t number;
    uint32_t flags;
    bool number_switch;
    const char *out;
    const char *err;
};

TEST(MsgPrint, DirectPathAsTable)
{
    const DirectCase cases[] = {
        {0, 2, false, "", "x"},
        {0, 1, false, "x", ""},
        {0, 3, false, "x", "x"},
        {0, 3, true, "x", "x"},
        {0, 0x82, true, "", "x"},
        {1234, 1, true, "1234:prog: x", ""},
        {1234, 2, true, "", "1234:prog: x"},
        {1234, 0x82, true, "", "1234:prog: x"},  // 0x80 ignored with the switch on
        {1234, 1, false, "x", ""},
        {1234, 2, false, "", "1234:prog: x"},
        {1234, 0x82, false, "", "x"},
        {-5, 3, false, "x", "-5:prog: x"},
        {7, 0, false, "", ""},
        {7, 0x100 | 2, false, "", "7:prog: x"},  // streams exist: 0x100 just cleared
    };
    for (const DirectCase &c : cases) {
        auto child = run_in_child([&c] {
            ox_set_progname("prog");
            cairn::set_msg_number_switch(c.number_switch);
            int rc = msg_print(c.number, 50000, c.flags, "%s", MSG_ARG_TEXT, "x");
            bool wrote = c.out[0] != '\0' || c.err[0] != '\0';
            std::exit(wrote == (rc > 0) ? 0 : 9);
        });
        ASSERT_TRUE(child.exited);
        EXPECT_EQ(child.exit_code, 0) << c.number << "/" << c.flags << ": result";
        EXPECT_EQ(child.out, c.out) << c.number << "/" << c.flags;
        EXPECT_EQ(child.err, c.err) << c.number << "/" << c.flags;
    }
}

TEST(MsgPrint, ForcedNumbersFromTheEnvironment)
{
    auto child = run_in_child([] {
        setenv("BXR_FORCE_MSG_ID", "", 1);
        ox_set_progname("/opt/bin/Tool.exe");
        msg_print(1234, 50000, 1, "%s of %s\n", MSG_ARG_TEXT, "copy", MSG_ARG_TEXT, "disk");
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "1234:tool: copy of disk\n");
}

TEST(MsgPrint, ArgumentsRenderByDescriptor)
{
    auto child = run_in_child([] {
        msg_print(0, 50000, 1, "[%s|%d|%s|%s|%5.1f]", MSG_ARG_TEXT, "a", MSG_ARG_NUMBER, "42",
                  MSG_ARG_LITERAL, "77:literal", MSG_ARG_TEXT, static_cast<const char *>(nullptr),
                  MSG_ARG_NUMBER, "2.5");
        msg_print(0, 50000, 1, "%2$s-%1$s", MSG_ARG_TEXT, "one", MSG_ARG_TEXT, "two");
        // Nested records render in place, given as text or as an object.
        msg_t *inner = msg_create(5, 50000, "(%s)", MSG_ARG_TEXT, "obj");
        msg_print(0, 50000, 1, "{%s|%s}", MSG_ARG_NESTED, "3 4 <%s> 1 0 2 in", MSG_ARG_OBJECT,
                  inner);
        std::printf("|%d", msg_print(0, 50000, 1, nullptr));
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "[a|42|literal|null|  2.5]two-one{<in>|(obj)}|0");
}

TEST(MsgPrint, PostingDecisionAndSeverityScaling)
{
    cairn::testing::LogDir dir;
    auto child = run_in_child([&dir] {
        ox_set_progname("prog");
        msg_log_open(dir.path());
        // A log destination bit: posted, never printed directly.
        std::printf("%d;", msg_print(9, 2, 8 | 1 | 2, "%s\n", MSG_ARG_TEXT, "posted"));
        msg_print(10, 6, 0x200, "%s\n", MSG_ARG_TEXT, "six");
        // Without standard streams 0x100 means the first log.
        int saved_out = dup(1), saved_err = dup(2);
        close(1);
        close(2);
        msg_print(3, 50000, 0x100 | 1 | 2, "%s", MSG_ARG_TEXT, "x");
        dup2(saved_out, 1);
        dup2(saved_err, 2);
        // Time stamps wanted: posted to the streams with the debug prefix.
        print_timestamps(1);
        msg_print(0, 50000, 2, "%s\n", MSG_ARG_TEXT, "stamped");
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "0;");
    EXPECT_NE(child.err.find(" prog: stamped\n"), std::string::npos) << child.err;
    EXPECT_EQ(child.err.find("posted"), std::string::npos);
    auto logged = dir.lines("messages.log");
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_NE(logged[0].find(" warning(2000) #9: posted"), std::string::npos) << logged[0];
    EXPECT_NE(logged[1].find(" info(50000) #3: x"), std::string::npos) << logged[1];
    auto rendered = dir.lines("rendered.log");
    ASSERT_EQ(rendered.size(), 1u);
    EXPECT_NE(rendered[0].find(" info(6) #10: six"), std::string::npos) << rendered[0];
}

std::string g_seen;
void remember(const char *text) { g_seen += text; }

TEST(MsgPrint, CallbackSeesEveryMessage)
{
    auto child = run_in_child([] {
        msg_callback_set(remember);
        msg_print(0, 50000, 0, "%s!", MSG_ARG_TEXT, "quiet");
        msg_print(0, 50000, 1, "%s!", MSG_ARG_TEXT, "loud");
        msg_print(0, 50000, 8, "%s!", MSG_ARG_TEXT, "posted");
        msg_callback_set(nullptr);
        msg_print(0, 50000, 0, "%s!", MSG_ARG_TEXT, "unseen");
        std::printf("|%s", g_seen.c_str());
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "loud!|quiet!loud!posted!");
}

}  // namespace
