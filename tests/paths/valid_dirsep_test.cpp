#include <gtest/gtest.h>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/paths.h"

namespace {

TEST(ValidDirsep, SlashGivesTheMessage)
{
    for (const char *ok : {"", "name", "c:\\dir\\x", "a b"})
        EXPECT_EQ(valid_dirsep(ok), nullptr) << ok;
    msg_t *m = valid_dirsep("a/b");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 34252);
    EXPECT_EQ(m->err.type * 10000 + m->err.severity * 1000 + m->err.code, 10019);
    EXPECT_STREQ(m->text, "Path a/b may not contain '/' character");
    EXPECT_STREQ(m->stext.form, "Path %s may not contain '%s' character");
    ASSERT_EQ(m->stext.argcount, 2);
    EXPECT_STREQ(m->stext.args[1].text, "/");
    EXPECT_EQ(valid_dirsep(nullptr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

}  // namespace
