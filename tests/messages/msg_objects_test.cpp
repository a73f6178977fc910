// Message objects: creation, severity fields, the per-thread ring and
// objects the caller owns.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "cairn/messages.h"
#include "child_process.hpp"

using cairn::testing::run_in_child;

namespace {

TEST(MsgObjects, CreationFieldsArgumentsAndText)
{
    msg_t *m = msg_create(77, 52013, "%s+%d", MSG_ARG_TEXT, "a", MSG_ARG_NUMBER, "5");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 77);
    EXPECT_EQ(m->err.type, 5);
    EXPECT_EQ(m->err.severity, 2);
    EXPECT_EQ(m->err.code, 13);
    EXPECT_STREQ(m->text, "a+5");
    EXPECT_EQ(m->stext.msgid, 77u);
    ASSERT_EQ(m->stext.argcount, 2);
    EXPECT_EQ(m->stext.args[1].desc, MSG_ARG_NUMBER);
    EXPECT_STREQ(m->stext.args[1].text, "5");

    // A message object argument is kept as its record's buffer form.
    msg_t *outer = msg_create(1, 3000, "[%s|%s]", MSG_ARG_OBJECT, m, MSG_ARG_LITERAL, "9:lit");
    EXPECT_EQ(outer->err.type, 0);
    EXPECT_EQ(outer->err.severity, 3);
    EXPECT_EQ(outer->stext.args[0].desc, MSG_ARG_NESTED);
    EXPECT_STREQ(outer->stext.args[0].text, "77 5 %s+%d 2 0 1 a 1 1 5");
    EXPECT_STREQ(outer->text, "[a+5|lit]");
    EXPECT_EQ(msg_create(1, 0, nullptr), nullptr);

    auto child = run_in_child([] {
        msg_t *n = msg_create(42, 50000, "<%s>", MSG_ARG_TEXT, static_cast<const char *>(nullptr));
        std::printf("%s %d %s", n->text, n->stext.args[0].desc, n->stext.args[0].text);
    });
    EXPECT_EQ(child.out, "<null> 0 null");
    EXPECT_EQ(child.err, "passing null into one of the msg creation calls with msg id 42\n");
}

TEST(MsgObjects, RingOfThirtyTwoAndOwnedCopies)
{
    std::thread([] {  // a fresh thread: its ring starts at the first slot
        msg_t *first = msg_create(1, 50000, "first %s", MSG_ARG_TEXT, "x");
        msg_t *keep = msg_copy(first);
        msg_t *last = nullptr;
        for (int i = 0; i < 31; ++i)
            last = msg_create(2 + i, 50000, "n");
        EXPECT_NE(last, first);
        EXPECT_STREQ(first->text, "first x") << "32 objects live at once";
        msg_t *wrapped = msg_create(99, 50000, "wrapped");
        EXPECT_EQ(wrapped, first) << "the 33rd takes the first slot";
        EXPECT_STREQ(first->text, "wrapped");
        EXPECT_FALSE(keep->in_ring);
        EXPECT_STREQ(keep->text, "first x");
        EXPECT_STREQ(keep->stext.args[0].text, "x");
        msg_free(keep);
        msg_free(wrapped);  // a ring object: emptied, its slot unused
        EXPECT_EQ(wrapped->text, nullptr);
        EXPECT_EQ(wrapped->stext.msgid, MSG_UNUSED_ID);
        msg_free(nullptr);
    }).join();
}

}  // namespace
