// Message objects: creation, severity fields, the per-thread ring and
// objects the caller owns.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "cairn/diagnostics.h"
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
    })
        .join();
}

}  // namespace

namespace {

std::string take(char *text)
{
    std::string s = text != nullptr ? text : "NULL";
    std::free(text);
    return s;
}

std::string dump(const structext *st)
{
    if (st == nullptr)
        return "NULL";
    std::string s =
        std::to_string(static_cast<int32_t>(st->msgid)) + "|" + (st->form ? st->form : "-");
    for (int i = 0; i < st->argcount; ++i)
        s += "|" + std::to_string(st->args[i].desc) + ":" + st->args[i].text;
    return s;
}

TEST(MsgRings, PoolSizeByEnvironmentAndReuse)
{
    struct Row {
        const char *value;
        int size;
        const char *line;
    };
    const Row rows[] = {
        {nullptr, 32, ""},
        {"63", 32, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 63, leaving poolsize as 32\n"},
        {"64", 64, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 64, setting poolsize to 64\n"},
        {"127", 64, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 127, setting poolsize to 64\n"},
        {"128", 128, "Env MSG_STRUCTURED_TEXT_POOL_SIZE set to 128, setting poolsize to 128\n"},
    };
    for (const Row &row : rows) {
        auto child = run_in_child([&row] {
            if (row.value != nullptr)
                setenv("MSG_STRUCTURED_TEXT_POOL_SIZE", row.value, 1);
            Debug = 9;
            set_timestamps_dprintf(0);
            // A new thread reads the variable when its state is made: the
            // forked main thread may have made its pool before.
            int result = 3;
            std::thread fresh([&row, &result] {
                const char *form = "%s";
                const char *text = "t";
                int32_t desc = 0;
                structext *first = msg_structext_new(41, form, 1, &desc, &text);
                structext *second = msg_structext_new(42, form, 1, &desc, &text);
                msg_structext_free(second);  // back in the pool: reused without a line
                bool unused = second->msgid == MSG_UNUSED_ID;
                for (int i = 2; i < row.size; ++i)
                    msg_structext_new(43, form, 1, &desc, &text);
                structext *wrapped = msg_structext_new(44, "x", 0, nullptr, nullptr);
                structext *again = msg_structext_new(45, "y", 0, nullptr, nullptr);
                result = unused && wrapped == first && again == second && first->pooled ? 0 : 3;
            });
            fresh.join();
            std::exit(result);
        });
        EXPECT_EQ(child.exit_code, 0) << row.size;
        EXPECT_EQ(child.err, std::string(row.line) + "freeing unused structext with msgid 41\n")
            << row.size;
    }
}

TEST(MsgRings, LiteralRingOfTwoHundred)
{
    std::thread([] {
        char *first = msg_mlit_create(12, "abc");
        EXPECT_STREQ(first, "12:abc");
        for (int i = 1; i < MSG_LITERAL_SLOTS; ++i)
            EXPECT_NE(msg_lit_create(i, "lit"), first);
        EXPECT_STREQ(first, "12:abc") << "200 literals live at once";
        EXPECT_EQ(msg_lit_create(1, "x"), first);
        // Bounded copies never split a UTF-8 character.
        std::string big(3070, 'a');
        EXPECT_EQ(std::strlen(msg_lit_create(1, (big + "\xc3\xa9").c_str())), 3070u);
        EXPECT_EQ(std::strlen(msg_lit_create(1, (big + "b\xc3\xa9").c_str())), 3071u);
        EXPECT_EQ(std::string(msg_mlit_create(123456, big.c_str())),
                  "123456:" + big.substr(0, 3064));
        EXPECT_EQ(msg_mlit_create(1, nullptr), nullptr);
        EXPECT_EQ(msg_lit_create(1, nullptr), nullptr);
    }).join();
}

TEST(StructextCalls, BuildPopulateCopyAndConvert)
{
    const int32_t descs[] = {0, 1, 2};
    const char *texts[] = {"a", "b", "c"};
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 2, descs, texts)), "9|%s-%s|0:a|1:b");
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 1, descs, texts)), "9|%s-%s|0:a|0:null");
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 3, descs, texts)), "9|%s-%s|0:a|1:b");
    EXPECT_EQ(dump(msg_structext_new(9, "%s-%s", 0, descs, texts)), "9|%s-%s");
    EXPECT_EQ(msg_structext_new(9, nullptr, 2, descs, texts), nullptr);

    structext *own = msg_structext_copy(msg_structext_new(9, "%s", 1, descs, texts));
    EXPECT_FALSE(own->pooled);
    EXPECT_EQ(msg_structext_populate(own, 3, "%s+%s", MSG_ARG_TEXT, "x", MSG_ARG_LITERAL, "4:y"),
              own);
    EXPECT_EQ(dump(own), "3|%s+%s|0:x|11:4:y");
    EXPECT_EQ(take(msg_structext_render(own)), "x+y");
    EXPECT_EQ(msg_structext_populate(own, 3, nullptr), nullptr);
    EXPECT_EQ(msg_create_from_structext(13000, own)->err.severity, 3);
    EXPECT_STREQ(msg_create_from_structext(13000, own)->text, "x+y");
    msg_structext_depopulate(own);
    EXPECT_EQ(dump(own), "3|-");
    EXPECT_EQ(msg_create_from_structext(13000, own), nullptr);
    msg_structext_free(own);

    EXPECT_EQ(take(msg_idlit_to_stbuf("123:abc")), "123 3 abc");
    EXPECT_EQ(take(msg_idlit_to_stbuf("-4:")), "-4 0 ");
    for (const char *bad : {"abc", "x:y", ":y", "99999999999:y"})
        EXPECT_EQ(msg_idlit_to_stbuf(bad), nullptr) << bad;
    EXPECT_EQ(take(msg_string_to_stbuf("hello")), "0 5 hello");
    EXPECT_EQ(take(msg_string_to_stbuf(std::string(3000, 'z').c_str())),
              "0 2047 " + std::string(2047, 'z'));
    structext *plain = msg_string_to_structext("50%s done");
    EXPECT_EQ(dump(plain), "0|50%s done");
    EXPECT_EQ(take(msg_structext_render(plain)), "50%s done")
        << "a form without its arguments shows as it is";
    msg_structext_free(plain);
    msg_t *m = msg_create_from_mlit(50000, "77:Hi %s");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 77);
    EXPECT_STREQ(m->text, "Hi %s");
    EXPECT_EQ(msg_create_from_mlit(50000, "no colon"), nullptr);
    EXPECT_EQ(msg_string_to_stbuf(nullptr), nullptr);
    EXPECT_EQ(msg_structext_render(nullptr), nullptr);

    // A conversion that prints text never gets a number as its address: such
    // forms show as they are.
    const char *texts2[] = {"1", "2"};
    const int32_t descs2[] = {MSG_ARG_NUMBER, MSG_ARG_NUMBER};
    for (const char *form : {"%zs|%ls", "%1$ld %1$s", "%1$s %1$*2$d", "%lp %s"})
        EXPECT_EQ(take(msg_structext_render(msg_structext_new(1, form, 2, descs2, texts2))), form);
    EXPECT_EQ(take(msg_structext_render(msg_structext_new(1, "%1$s %1$p %2$d", 2, descs2, texts2)))
                  .substr(0, 2),
              "1 ");

    // A hostile width cannot make the text larger than the record allows.
    const char *one = "1";
    int32_t number = MSG_ARG_NUMBER;
    std::string wide =
        take(msg_structext_render(msg_structext_new(1, "%100000000d|", 1, &number, &one)));
    EXPECT_EQ(wide.size(), 19456u + 12 + 1 - 1);
    EXPECT_EQ(wide.find_first_not_of(' '), std::string::npos) << "cut inside the padding";
}

// The va_list forms, reached through variadic wrappers as callers reach them.
structext *vcreate(uint32_t id, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    structext *st = msg_vstructext_create(id, form, ap);
    va_end(ap);
    return st;
}

structext *vpopulate(structext *st, uint32_t id, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    structext *out = msg_vstructext_populate(st, id, form, ap);
    va_end(ap);
    return out;
}

msg_t *vmessage(int32_t id, uint32_t severity, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    msg_t *m = msg_vcreate(id, severity, form, ap);
    va_end(ap);
    return m;
}

TEST(StructextCalls, VaListFormsMatchTheirVariadicTwins)
{
    structext *st = vcreate(5, "%s=%s", MSG_ARG_TEXT, "k", MSG_ARG_NUMBER, "7");
    EXPECT_EQ(dump(st), "5|%s=%s|0:k|1:7");
    EXPECT_EQ(vcreate(5, nullptr), nullptr);
    structext *own = msg_structext_copy(st);
    EXPECT_EQ(vpopulate(own, 6, "<%s>", MSG_ARG_TEXT, nullptr), own);
    EXPECT_EQ(dump(own), "6|<%s>|0:null");
    msg_structext_free(own);
    msg_t *m = vmessage(8, 52000, "%s=%s", MSG_ARG_TEXT, "k", MSG_ARG_NUMBER, "7");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 8);
    EXPECT_EQ(m->err.type, 5);
    EXPECT_EQ(m->err.severity, 2);
    EXPECT_STREQ(m->text, "k=7");
    EXPECT_EQ(vmessage(8, 52000, nullptr), nullptr);
}

TEST(StructextCalls, NestedRecordsRenderEightLevelsDeep)
{
    // r9 = "<%s>" with "core"; each r(i) nests r(i+1) with descriptor 49.
    char *inner = nullptr;
    std::string innermost;
    for (int level = 9; level >= 0; --level) {
        int32_t desc = level == 9 ? MSG_ARG_TEXT : MSG_ARG_NESTED;
        const char *text = level == 9 ? "core" : inner;
        structext *st = msg_structext_new(level, "<%s>", 1, &desc, &text);
        if (level == 8)
            innermost = inner;
        if (level == 0) {
            EXPECT_EQ(take(msg_structext_render(st)),
                      std::string(9, '<') + innermost + std::string(9, '>'));
        }
        std::free(inner);
        inner = msg_structext_to_stbuf(st);
    }
    std::free(inner);
}

}  // namespace
