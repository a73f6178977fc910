// The printed form of attributes byte for byte: 28-column names, quoting,
// wrapping under column 30, hiding, the debug and list forms; and the
// name=value parser.
#include <gtest/gtest.h>

#include <string>

#include "attr_test_util.hpp"
#include "cairn/attributes.h"
#include "capture_fd.hpp"
#include "debug_scope.hpp"

namespace {

using namespace cairn::testing;

std::string form(const attr_t *a, int options = 0, bool force = false, int width = 80)
{
    int need = attr_sprintf(nullptr, 0, width, a, force, 1, options);
    std::string out(static_cast<size_t>(need) + 1, '\0');
    int len = attr_sprintf(out.data(), need + 1, width, a, force, 0, options);
    EXPECT_EQ(len, need);
    out.resize(static_cast<size_t>(len));
    return out;
}

std::string form_of(const char *name, const Texts &values, int options = 0, bool force = false)
{
    AttrList l(Attrs{{name, values}});
    return form(l.head, options, force);
}

const std::string kTen = "0123456789";

TEST(AttrForm, TableOfForms)
{
    struct Row {
        const char *name;
        Texts values;
        int options;
        bool force;
        std::string text;
    };
    const Row rows[] = {
        {"Name", {"a", "b"}, 0, false, "                        Name: a, b;\n"},
        {"n", {}, 0, false, "                           n: ;\n"},
        {"Name", {"a", "b"}, ATTR_NO_PADDING, false, "Name: a, b;\n"},
        {"exactly_twenty_eight_columns", {"v"}, 0, false, "exactly_twenty_eight_columns: v;\n"},
        {"a_name_longer_than_the_28_columns",
         {"v"},
         0,
         false,
         "a_name_longer_than_the_28_columns: v;\n"},
        {"q", {""}, 0, false, "                           q: \"\";\n"},
        {"q", {"a,b"}, 0, false, "                           q: \"a,b\";\n"},
        {"q", {"x "}, 0, false, "                           q: \"x \";\n"},
        {"q", {"\tx"}, 0, false, "                           q: \"\tx\";\n"},
        {"q", {"a\\b"}, 0, false, "                           q: \"a\\\\b\";\n"},
        {"q", {"say \"hi\""}, 0, false, "                           q: \"say \\\"hi\\\"\";\n"},
        {"q", {"line\n"}, 0, false, "                           q: \"line\";\n"},
        {"q", {"two\nlines"}, 0, false, "                           q: \"two\nlines\";\n"},
        {"q", {"#", ":", ";"}, 0, false, "                           q: \"#\", \":\", \";\";\n"},
        {"q", {"in side", "a-b"}, 0, false, "                           q: in side, a-b;\n"},
        {"q", {"plain"}, 0, true, "                           q: \"plain\";\n"},
        {"q", {"secret"}, ATTR_HIDE_VALUES, false, "                           q: *******;\n"},
        {"q",
         {"x", "y"},
         ATTR_HIDE_VALUES,
         true,
         "                           q: \"*******\", \"*******\";\n"},
        {"user password",
         {"s1", "s2"},
         0,
         false,
         "               user password: *******, *******;\n"},
        {"PassWordHint", {"s"}, 0, false, "                PassWordHint: *******;\n"},
        // Companions show their structured text rendered; text that does not
        // parse shows as it is.
        {"m_I18N",
         {"0 5 Hello", "12 4 a %s 1 0 1 b", "plain"},
         0,
         false,
         "                      m_I18N: Hello, a b, plain;\n"},
        {"m_I18N",
         {"0 5 Hello"},
         ATTR_NO_RENDER,
         false,
         "                      m_I18N: 0 5 Hello;\n"},
        {"m", {"0 5 Hello"}, 0, false, "                           m: 0 5 Hello;\n"},
        {"m", {"0 5 Hello"}, ATTR_RENDER, false, "                           m: Hello;\n"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(form_of(row.name, row.values, row.options, row.force), row.text) << row.name;
}

TEST(AttrForm, WrapsUnderColumn30)
{
    // Values of 10 columns: four fit on the first line (column 30 + 4 * 12
    // = 78), the fifth starts a new line under column 30.
    std::string pad30(30, ' ');
    std::string expect = "                           w: " + kTen + ", " + kTen + ", " + kTen +
                         ", " + kTen + ", \n" + pad30 + kTen + ", " + kTen + ";\n";
    EXPECT_EQ(form_of("w", {kTen, kTen, kTen, kTen, kTen, kTen}), expect);

    // A value of 47 columns still fits a line (47 + 32 < 80); of 48 not.
    std::string v47(47, 'a'), v48(48, 'b');
    EXPECT_EQ(form_of("w", {"x", v47}),
              "                           w: x, \n" + pad30 + v47 + ";\n");
    EXPECT_EQ(form_of("w", {v48}), "                           w: \\\n" + v48 + ";\n");
    // After a continuation block the line counts as full.
    EXPECT_EQ(form_of("w", {"x", v48, "y"}),
              "                           w: x, \n" + v48 + ", \n" + pad30 + "y;\n");

    // Too wide for one line: pieces of the line width.
    std::string v170(170, 'c');
    EXPECT_EQ(form_of("w", {v170}), "                           w: \\\n" + v170.substr(0, 80) +
                                        "\n" + v170.substr(80, 80) + "\n" + v170.substr(160) +
                                        ";\n");
    // A quoted value that starts with a line feed needs no backslash.
    std::string nl = "\n" + std::string(60, 'd');
    EXPECT_EQ(form_of("w", {nl}),
              "                           w: \"\n" + std::string(60, 'd') + "\";\n");
    // Pieces are counted in cells: wide characters take two.
    std::string wide;
    for (int i = 0; i < 41; ++i)
        wide += "\xe4\xb8\x80";  // U+4E00, two cells
    std::string f = form_of("w", {wide});
    size_t first_break = f.find('\n', f.find("\\\n") + 2);
    EXPECT_EQ(first_break - (f.find("\\\n") + 2), 40u * 3)
        << "40 characters of two cells on the first line";
}

TEST(AttrForm, PasswordSwitchAndSpecialNames)
{
    EXPECT_EQ(form_of("password", {"secret"}), "                    password: *******;\n");
    EXPECT_EQ(attr_passwords(0), 0);
    EXPECT_EQ(form_of("password", {"secret"}), "                    password: secret;\n");
    EXPECT_EQ(form_of("password", {"secret"}, ATTR_HIDE_VALUES),
              "                    password: *******;\n");
    AttrList phrases(Attrs{{"BXR_ENCRYPTION_PHRASES", {"p1"}}});
    EXPECT_EQ(form(phrases.head), "      BXR_ENCRYPTION_PHRASES: p1;\n")
        << "only printing hides these";
    std::string printed = stream_text([&](FILE *f) { attr_print(f, phrases.head, 0); });
    EXPECT_EQ(printed, "      BXR_ENCRYPTION_PHRASES: *******;\n");
    EXPECT_EQ(attr_passwords(1), 1);
}

TEST(AttrForm, EmptyAndOversizedNamesAndBuffers)
{
    EXPECT_EQ(attr_sprintf(nullptr, 0, 80, nullptr, 0, 1, 0), 0);
    char buf[8] = "xxxxxxx";
    EXPECT_EQ(attr_sprintf(buf, sizeof buf, 80, nullptr, 0, 0, 0), 0);
    EXPECT_STREQ(buf, "");
    AttrList empty_name(Attrs{{"", {"v"}}});
    EXPECT_EQ(form(empty_name.head), "");
    std::string n508(508, 'n'), n509(509, 'n');
    AttrList ok(Attrs{{n508, {"v"}}}), too_long(Attrs{{n509, {"v"}}});
    EXPECT_EQ(form(ok.head), n508 + ": v;\n");
    EXPECT_EQ(form(too_long.head), "");
    // A short buffer holds the beginning, terminated; the length is whole.
    AttrList l(Attrs{{"Name", {"a", "b"}}});
    char small[10];
    EXPECT_EQ(attr_sprintf(small, sizeof small, 80, l.head, 0, 0, 0), 36);
    EXPECT_STREQ(small, "         ");
}

TEST(AttrForm, PrintingToStreamsAndTheDebugLog)
{
    AttrList l(Attrs{{"nopadding", {}}, {"port", {"a", "b"}}, {"z", {"1"}}});
    AttrList named(Attrs{{"Name", {"a", "b"}}});
    attr_t *name = named.head;
    {
        CaptureFd out(1);
        attr_print(stdout, name, 0);
        EXPECT_EQ(out.text(), "                        Name: a, b;\n");
    }
    {
        CaptureFd err(2);
        attr_print(stderr, name, ATTR_NO_PADDING);
        EXPECT_EQ(err.text(), "Name: a, b;\n");
    }
    EXPECT_EQ(stream_text([&](FILE *f) { attr_print(f, name, 0); }),
              "                        Name: a, b;\n");
    // A form of 17408 bytes or more is written directly.
    AttrList big(Attrs{{"big", Texts(2000, kTen)}});
    int len = attr_sprintf(nullptr, 0, 80, big.head, 0, 1, 0);
    ASSERT_GE(len, 17408);
    {
        CaptureFd out(1);
        attr_print(stdout, big.head, 0);
        EXPECT_EQ(static_cast<int>(out.text().size()), len);
    }

    DebugScope scope(0, 0);
    CaptureFd err(2);
    attrlist_dprint("resource", l.head);
    std::string text = err.text();
    EXPECT_NE(text.find("resource\n"), std::string::npos) << text;
    EXPECT_NE(text.find("port: a, b;\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("          "), std::string::npos) << "unpadded after nopadding";
    EXPECT_EQ(text.find("nopadding"), std::string::npos);
    EXPECT_NE(text.find("z: 1;\n"), std::string::npos);

    CaptureFd one(2);
    attr_dprint("single: ", name, ATTR_NO_PADDING);
    text = one.text();
    EXPECT_NE(text.find("single: "), std::string::npos) << text;
    EXPECT_NE(text.find("Name: a, b;\n"), std::string::npos) << text;
}

TEST(AttrForm, BuildString)
{
    AttrList l(Attrs{{"a", {"1"}}, {"b", {}}});
    std::string expect = "                           a: 1;\n                           b: ;\n";
    int size = 0;
    EXPECT_EQ(attrlist_build_str(l.head, nullptr, &size), static_cast<int>(expect.size()));
    EXPECT_EQ(size, static_cast<int>(expect.size()));
    char buf[200] = "head:";
    size = sizeof buf;
    EXPECT_EQ(attrlist_build_str(l.head, buf, &size), static_cast<int>(expect.size()));
    EXPECT_EQ(std::string(buf), "head:" + expect);
    char small[20] = "";
    size = sizeof small;
    attrlist_build_str(l.head, small, &size);
    EXPECT_EQ(std::string(small), expect.substr(0, 19));
    EXPECT_EQ(attrlist_build_str(nullptr, buf, nullptr), 0);
}

TEST(AttrForm, ParsesNameValueSections)
{
    struct Row {
        const char *text;
        Attrs result;
        const char *warnings;
    };
    const Row rows[] = {
        {"a=1,b=2", {{"a", {"1"}}, {"b", {"2"}}}, ""},
        {"  a= x ,b=", {{"a", {" x "}}, {"b", {}}}, ""},
        {"a=1=2", {{"a", {"1=2"}}}, ""},
        {"\"a=1,b=2\",c=3", {{"a", {"1"}}, {"b", {"2"}}}, ""},
        {"\t\"a=1", {{"a", {"1"}}}, ""},
        {"a=1 \t", {{"a", {"1"}}}, ""},
        {"a=1,bad,,c=3",
         {{"a", {"1"}}, {"c", {"3"}}},
         "ignoring bad section bad\nignoring bad section ?\n"},
        {"A=1,a=2", {{"A", {"2"}}}, ""},
        {"", {}, ""},
    };
    for (const Row &row : rows) {
        CaptureFd err(2);
        AttrList l;
        snmp_str_to_attrs(row.text, &l.head);
        EXPECT_EQ(l.get(), row.result) << row.text;
        EXPECT_EQ(err.text(), row.warnings) << row.text;
    }
    AttrList l(Attrs{{"keep", {"k"}}, {"a", {"old", "older"}}});
    EXPECT_EQ(snmp_str_to_attrs("a=new", &l.head), 1);
    EXPECT_EQ(l.get(), (Attrs{{"a", {"new"}}, {"keep", {"k"}}}));
    EXPECT_EQ(snmp_str_to_attrs(nullptr, &l.head), 0);
}

}  // namespace
