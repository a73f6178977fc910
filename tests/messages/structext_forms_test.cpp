// The text forms of structured message records: what each writer makes,
// byte for byte; what each parser makes of good and malformed text; and
// parse-of-print round trips over generated records.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"

namespace {

// "id|form" and "|descriptor:text" for each argument; "NULL" for none.
std::string dump(const structext *st)
{
    if (st == nullptr)
        return "NULL";
    std::string s = std::to_string(st->msgid) + "|" + st->form;
    for (int i = 0; i < st->argcount; ++i)
        s += "|" + std::to_string(st->args[i].desc) + ":" + st->args[i].text;
    return s;
}

std::string take(char *text)
{
    std::string s = text != nullptr ? text : "NULL";
    std::free(text);
    return s;
}

std::string parsed(structext *st)
{
    std::string s = dump(st);
    msg_structext_free(st);
    return s;
}

// A record the test owns, with arguments from the list.
struct Record {
    structext st{};
    Record(uint32_t id, const char *form, std::vector<std::pair<int, std::string>> args)
    {
        st.msgid = id;
        st.form = strdup(form);
        st.argcount = static_cast<int32_t>(args.size());
        st.args = static_cast<structext_arg *>(calloc(args.size() + 1, sizeof(structext_arg)));
        for (size_t i = 0; i < args.size(); ++i)
            st.args[i] = {args[i].first, strdup(args[i].second.c_str())};
    }
    ~Record() { msg_structext_depopulate(&st); }
};

TEST(StructextForms, WritersByteForByte)
{
    struct Row {
        Record rec;
        const char *stbuf;
        const char *xml;
        const char *stxdr;
    };
    const Row rows[] = {
        {{12, "%s and %s", {{0, "a"}, {0, "bcd"}}},
         "12 9 %s and %s 2 0 1 a 0 3 bcd",
         "<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARGS>  <MSGARG arg=\"a\" "
         "argdesc=\"0\"/>  "
         "<MSGARG arg=\"bcd\" argdesc=\"0\"/>  </MSGARGS> </MSG>",
         "a and bcd 12 9 %s and %s 2 0 1 a 0 3 bcd"},
        {{0, "plain", {}},
         "0 5 plain",
         "<MSG id=\"0\" form=\"plain\" argcount=\"0\"> </MSG>",
         "plain 0 5 plain"},
        {{7, "<\"&'>", {}},
         "7 5 <\"&'>",
         "<MSG id=\"7\" form=\"&lt;&quot;&amp;&apos;&gt;\" argcount=\"0\"> </MSG>",
         "<\"&'> 7 5 <\"&'>"},
        {{mc_message_id(0xF000, 3), "%d%%", {{1, "42"}}},
         "-134217725 4 %d%% 1 1 2 42",
         "<MSG id=\"-134217725\" form=\"%d%%\" argcount=\"1\">  <MSGARGS>  <MSGARG arg=\"42\" "
         "argdesc=\"1\"/>  "
         "</MSGARGS> </MSG>",
         "42% -134217725 4 %d%% 1 1 2 42"},
        {{5, "%s/%s", {{11, "77:lit"}, {49, "3 4 <%s> 1 0 2 in"}}},
         "5 5 %s/%s 2 11 6 77:lit 49 17 3 4 <%s> 1 0 2 in",
         "<MSG id=\"5\" form=\"%s/%s\" argcount=\"2\">  <MSGARGS>  <MSGARG arg=\"77:lit\" "
         "argdesc=\"11\"/>  "
         "<MSGARG arg=\"3 4 &lt;%s&gt; 1 0 2 in\" argdesc=\"49\"/>  </MSGARGS> </MSG>",
         "lit/<in> 5 5 %s/%s 2 11 6 77:lit 49 17 3 4 <%s> 1 0 2 in"},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(take(msg_structext_to_stbuf(&row.rec.st)), row.stbuf);
        EXPECT_EQ(take(msg_structext_to_xmlstr(&row.rec.st)), row.xml);
        size_t len = 0;
        std::string stxdr = take(msg_structext_to_stxdrbuf(&row.rec.st, &len));
        EXPECT_EQ(stxdr, row.stxdr);
        EXPECT_EQ(stxdr.find(' ', len), len) << "the buffer form starts after the rendered text";
    }
    EXPECT_EQ(mc_facility_id(3), 0x803u);
    EXPECT_EQ(mc_message_id(3, 7), 0x08030007u);

    // A long argument is cut in the buffer form only.
    std::string big(3000, 'x');
    Record rec(1, "%s", {{0, big}});
    EXPECT_EQ(take(msg_structext_to_stbuf(&rec.st)), "1 2 %s 1 0 2047 " + big.substr(0, 2047));
    size_t len = 0;
    EXPECT_EQ(take(msg_structext_to_stxdrbuf(&rec.st, &len)), big + " 1 2 %s 1 0 3000 " + big);
    EXPECT_EQ(len, 3000u);
    EXPECT_STREQ(rec.st.args[0].text, big.c_str()) << "the record is left as it was";
}

TEST(StructextForms, BufferParserTable)
{
    const std::string kForm = "12|%s and %s";
    const std::string kFull = kForm + "|0:a|0:bcd";
    const std::string long_token(257, '1');
    struct Row {
        std::string text;
        std::string expect;
    };
    const Row rows[] = {
        {"12 9 %s and %s 2 0 1 a 0 3 bcd", kFull},
        {"12 9 %s and %s 2 0 1 a 0 3 bcd trailing", kFull},
        {"12 9 %s and %s 2 0 1 a 0 0 ", kForm + "|0:a|0:"},
        {"12 9 %s and %s 2 -3 1 a 77 3 b d", kForm + "|-3:a|77:b d"},
        {"12 9 %s and %s", kForm},                  // no arguments
        {"12 9 %s and %s 3 0 1 a 0 3 bcd", kForm},  // count is not the form's
        {"12 9 %s and %s x", kForm},                // count not a number
        {"12 9 %s and %sX2 0 1 a 0 3 bcd", kForm},  // no blank before the count
        {"0 0 ", "0|"},
        {"-5 1 x", "4294967291|x"},
        {"4294967295 1 x", "4294967295|x"},
        {"4294967296 1 x", "NULL"},                   // id out of range
        {"12 9 %s and", "NULL"},                      // form past the end
        {"12 9 %s and %s 2 0 1 a 0 9 bcd", "NULL"},   // argument past the end
        {"12 9 %s and %s 2 0 1 a0 3 bcd", "NULL"},    // no blank between arguments
        {"12 9 %s and %s 2 0 1 a", "NULL"},           // an argument missing
        {"12 9 %s and %s 2 q 1 a 0 3 bcd", "NULL"},   // descriptor not a number
        {"12 9 %s and %s 2 0 -1 a 0 3 bcd", "NULL"},  // negative length
        {"12 9 %s and %s 2 0 1 a 0  3 bcd", "NULL"},  // two blanks
        {"12 6 %255$s 255 0 0 ", "NULL"},             // more arguments than fit
        {"x 9 %s and %s", "NULL"},
        {"12 z %s", "NULL"},
        {"12  9 %s and %s", "NULL"},
        {"", "NULL"},
        {"12", "NULL"},
        {"12 ", "NULL"},
        {long_token + " 1 x", "NULL"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(parsed(msg_stbuf_to_structext(row.text.c_str())), row.expect) << row.text;
    EXPECT_EQ(msg_stbuf_to_structext(nullptr), nullptr);

    // The rendered-plus-buffer form: the rendered length finds the buffer.
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("a and bcd 12 9 %s and %s 2 0 1 a 0 3 bcd", 9)),
              kFull);
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("a and bcd 12 9 %s and %s 2 0 1 a 0 3 bcd", 8)),
              "NULL");
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("short", 5)), "NULL");
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext("short", SIZE_MAX)), "NULL");
    EXPECT_EQ(parsed(msg_stxdrbuf_to_structext(nullptr, 0)), "NULL");
}

TEST(StructextForms, XmlParserTable)
{
    const std::string kHead = "<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\"> ";
    const std::string kArgs =
        " <MSGARGS>  <MSGARG arg=\"a\" argdesc=\"0\"/>  <MSGARG arg=\"&lt;&quot;x&bogus;&amp;\" "
        "argdesc=\"3\"/>  </MSGARGS> </MSG>";
    struct Row {
        std::string text;
        std::string expect;
    };
    const Row rows[] = {
        {kHead + kArgs, "12|%s and %s|0:a|3:<\"x&bogus;&"},
        {"junk " + kHead + kArgs, "12|%s and %s|0:a|3:<\"x&bogus;&"},
        {"<MSG id=\"1\" form=\"&amp;amp;\" argcount=\"0\"> </MSG>", "1|&amp;"},
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"3\"> " + kArgs,
         "12|%s and %s"},  // count not the form's
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARG arg=\"a\" argdesc=\"0\"/> "
         "</MSG>",
         "NULL"},
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARG arg=\"a\" argdesc=\"z\"/>",
         "NULL"},
        {"<MSG id=\"12\" form=\"%s and %s\" argcount=\"2\">  <MSGARG arg=\"a", "NULL"},
        {"<MSG form=\"x\" argcount=\"0\"> </MSG>", "NULL"},
        {"<MSG id=\"1\" argcount=\"0\"> </MSG>", "NULL"},
        {"<MSG id=\"1\" form=\"x\"> </MSG>", "NULL"},
        {"<MSG id=\"1\" form=\"x", "NULL"},
        {"<MSGX id=\"1\" form=\"x\" argcount=\"0\">", "NULL"},
        {"<MSG id=\"1\" form=\"%255$s\" argcount=\"255\"> </MSG>", "NULL"},
        {"", "NULL"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(parsed(msg_xmlstr_to_structext(row.text.c_str())), row.expect) << row.text;
    EXPECT_EQ(msg_xmlstr_to_structext(nullptr), nullptr);
    EXPECT_TRUE(is_structext_xml("x<MSG y</MSG>"));
    EXPECT_FALSE(is_structext_xml("<MSG id=\"1\""));
    EXPECT_FALSE(is_structext_xml("</MSG>"));
    EXPECT_FALSE(is_structext_xml(nullptr));
}

// Texts with everything the forms must carry: blanks, quotes, markup
// characters, digits, empty texts, long texts and nested records.
std::string random_text(std::mt19937 &rng)
{
    static const char kAlphabet[] = " \"'<>&;:%0123456789abcXYZ\xc3\xa9";
    std::string s;
    size_t n = rng() % 12 == 0 ? 3000 : rng() % 20;
    for (size_t i = 0; i < n; ++i)
        s += kAlphabet[rng() % (sizeof kAlphabet - 1)];
    return s;
}

std::vector<std::pair<int, std::string>> random_args(std::mt19937 &rng, int count, int depth);

std::string nested_stbuf(std::mt19937 &rng, int depth)
{
    auto args = random_args(rng, 1, depth + 1);
    Record inner(rng() % 1000, "<%s>", args);
    return take(msg_structext_to_stbuf(&inner.st));
}

std::vector<std::pair<int, std::string>> random_args(std::mt19937 &rng, int count, int depth)
{
    std::vector<std::pair<int, std::string>> args;
    for (int i = 0; i < count; ++i) {
        if (depth < 3 && rng() % 4 == 0)
            args.push_back({MSG_ARG_NESTED, nested_stbuf(rng, depth)});
        else
            args.push_back({static_cast<int>(rng() % 60) - 5, random_text(rng)});
    }
    return args;
}

TEST(StructextForms, ParseOfPrintRoundTrips)
{
    std::mt19937 rng(20261125);
    const char *forms[] = {"",          "no conversions <&>", "%s",
                           "%s and %s", "%2$s %1$s %3$s",     "%d: \"%s\" %%"};
    for (int i = 0; i < 400; ++i) {
        const char *form = forms[i % 6];
        int count = get_formatted_args_num(form);
        Record rec(static_cast<uint32_t>(rng()), form, random_args(rng, count, 0));
        std::string want = dump(&rec.st);
        size_t len = 0;
        char *stxdr = msg_structext_to_stxdrbuf(&rec.st, &len);
        EXPECT_EQ(parsed(msg_stxdrbuf_to_structext(stxdr, len)), want);
        std::free(stxdr);
        EXPECT_EQ(parsed(msg_xmlstr_to_structext(take(msg_structext_to_xmlstr(&rec.st)).c_str())),
                  want);
        // The buffer form gives the record back with long texts cut.
        for (int a = 0; a < rec.st.argcount; ++a)
            if (std::strlen(rec.st.args[a].text) > MSG_STBUF_ARG_MAX)
                rec.st.args[a].text[MSG_STBUF_ARG_MAX] = '\0';
        EXPECT_EQ(parsed(msg_stbuf_to_structext(take(msg_structext_to_stbuf(&rec.st)).c_str())),
                  dump(&rec.st));
    }
}

}  // namespace
