// Attribute records and lists: every operation, ordering by name without
// regard to case, merging, queries; lists of 0, 1, 21, 22 and 1,000; and
// their printed form byte for byte (28-column names, quoting, wrapping under
// column 30, hiding, the debug and list forms) and the name=value parser.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "attr_test_util.hpp"
#include "cairn/attributes.h"
#include "capture_fd.hpp"
#include "debug_scope.hpp"

namespace {

using namespace cairn::testing;

const int kSizes[] = {0, 1, 21, 22, 1000};

std::string key(int i)
{
    char b[16];
    std::snprintf(b, sizeof b, "k%05d", i);
    return b;
}

TEST(Attributes, SingleAttributes)
{
    AttrList one(attr_new("n", "v")), none(attr_new("n", "")), null_value(attr_new("n", nullptr));
    EXPECT_EQ(one.get(), (Attrs{{"n", {"v"}}}));
    EXPECT_EQ(none.get(), (Attrs{{"n", {}}}));
    EXPECT_EQ(null_value.get(), (Attrs{{"n", {}}}));
    EXPECT_EQ(attr_new(nullptr, "v"), nullptr);
    // One record of a list is freed alone: the one after it stays (LSan
    // checks that the values went with it).
    attr_t *pair = attr_new("a", "1");
    pair->next = attr_new("b", "2");
    attr_t *second = pair->next;
    attr_elem_free(pair);
    attr_elem_free(nullptr);
    AttrList kept(second);
    EXPECT_EQ(kept.get(), (Attrs{{"b", {"2"}}}));

    AttrList a(Attrs{{"Name", {"x", "Y"}}});
    AttrList copy(attr_dup(a.head));
    EXPECT_EQ(copy.get(), a.get());
    EXPECT_NE(copy.head->values, a.head->values);
    EXPECT_EQ(attr_cmp(a.head, copy.head), 0);
    AttrList lower(Attrs{{"name", {"X", "y"}}}), other(Attrs{{"name", {"x"}}});
    EXPECT_EQ(attr_cmp(a.head, lower.head), 0);
    EXPECT_GT(attr_cmp(a.head, other.head), 0);

    EXPECT_EQ(attr_hasval(a.head, "y"), 1);
    EXPECT_EQ(attr_hasval(a.head, "z"), 0);
    char *name = nullptr;
    EXPECT_EQ(attr_hasval_name(a.head, "X", &name), 1);
    EXPECT_STREQ(name, "Name");
    free(name);
    name = nullptr;
    EXPECT_EQ(attr_hasval_name(a.head, "z", &name), 0);
    EXPECT_EQ(name, nullptr);

    char *first = attr_extract_val(a.head);
    EXPECT_STREQ(first, "x");
    free(first);
    EXPECT_EQ(a.get(), (Attrs{{"Name", {"Y"}}}));
    int count = -1;
    char **rest = attr_extract_vallist(&count, copy.head);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(rest[0], "x");
    EXPECT_STREQ(rest[1], "Y");
    free(rest[0]);
    free(rest[1]);
    free(rest);
    EXPECT_EQ(copy.head->values, nullptr);
    EXPECT_EQ(attr_extract_val(copy.head), nullptr);
    EXPECT_EQ(attr_extract_vallist(&count, copy.head), nullptr);
    EXPECT_EQ(count, 0);
}

TEST(Attributes, AddingKeepsNameOrderAndMergesCase)
{
    AttrList l;
    attr_t *first = attrlist_add(&l.head, "Name", "a");
    EXPECT_EQ(attrlist_add(&l.head, "name", "b"), first);
    attrlist_add(&l.head, "beta", nullptr);
    attrlist_add(&l.head, "ALPHA", "");
    attrlist_add(&l.head, "beta", "");
    attrlist_add(&l.head, "Name", nullptr);
    EXPECT_EQ(l.get(), (Attrs{{"ALPHA", {}}, {"beta", {""}}, {"Name", {"a", "b"}}}));
    EXPECT_EQ(attr_count(l.head), 3);

    attrlist_addempty(&l.head, "empty", nullptr);
    attrlist_addempty(&l.head, "empty", nullptr);
    attrlist_addempty(&l.head, "e2", "v");
    Vals extra(Texts{"c", "d"});
    attrlist_addlist(&l.head, "name", extra.head);
    attrlist_addlist(&l.head, "list", extra.head);
    EXPECT_EQ(l.get(), (Attrs{{"ALPHA", {}},
                              {"beta", {""}},
                              {"e2", {"v"}},
                              {"empty", {""}},
                              {"list", {"c", "d"}},
                              {"Name", {"a", "b", "c", "d"}}}));

    for (int n : kSizes) {
        AttrList big;
        for (int i = n - 1; i >= 0; --i)
            attrlist_add(&big.head, key((i * 7919) % std::max(n, 1)).c_str(), "v");
        Attrs model;
        for (int i = 0; i < n; ++i)
            model.push_back({key(i), {"v"}});
        EXPECT_EQ(big.get(), model) << n;
        if (n > 0) {
            std::string upper = key(n - 1);
            upper[0] = 'K';
            attrlist_add(&big.head, upper.c_str(), "w");
            model.back().second.push_back("w");
            EXPECT_EQ(big.get(), model);
            EXPECT_STREQ(attrlist_getvalue(big.head, upper.c_str()), "v");
        }
    }
}

TEST(Attributes, SettingReplacingDefaultingDeletingAndIntersecting)
{
    AttrList l(Attrs{{"a", {"1", "2"}}});
    attrlist_set(&l.head, "A", nullptr);
    EXPECT_EQ(l.get(), (Attrs{{"a", {}}}));
    attrlist_set(&l.head, "b", "x");
    attrlist_set(&l.head, "b", "");
    EXPECT_EQ(l.get(), (Attrs{{"a", {}}, {"b", {}}}));

    Vals v(Texts{"p", "q"});
    attrlist_setlist(&l.head, "a", v.head);
    EXPECT_EQ(l.get()[0].second, (Texts{"p", "q"}));
    val_t *given = make_list({"r"});
    EXPECT_EQ(attrlist_setlist_nodup(&l.head, "c", given)->values, given);

    EXPECT_EQ(attrlist_replace(&l.head, "c", "r"), 0);
    EXPECT_EQ(attrlist_find(l.head, "c")->values, given) << "nothing changed";
    EXPECT_EQ(attrlist_replace(&l.head, "c", "R"), 1);
    EXPECT_EQ(attrlist_replace(&l.head, "b", nullptr), 0);
    EXPECT_EQ(attrlist_replace(&l.head, "b", ""), 1);
    EXPECT_EQ(attrlist_replace(&l.head, "a", "p"), 1) << "two values are not one";
    EXPECT_EQ(attrlist_replace(&l.head, "new", "n"), 1);
    EXPECT_EQ(l.get(), (Attrs{{"a", {"p"}}, {"b", {}}, {"c", {"R"}}, {"new", {"n"}}}));

    attr_t *a = attrlist_find(l.head, "a");
    EXPECT_EQ(attrlist_default(&l.head, "a", "other"), a);
    EXPECT_EQ(a->values->next, nullptr);
    attrlist_default(&l.head, "b", "filled");
    attrlist_default(&l.head, "d", "fresh");
    EXPECT_STREQ(attrlist_getvalue(l.head, "b"), "filled");
    EXPECT_STREQ(attrlist_getvalue(l.head, "d"), "fresh");

    // Deleting, removing and intersecting.
    AttrList m(Attrs{{"a", {"1"}}, {"b", {"2"}}, {"c", {"3"}}, {"d", {}}});
    EXPECT_EQ(attr_delete(&m.head, "B"), 1);
    EXPECT_EQ(attr_delete(&m.head, "B"), 0);
    AttrList keys(Attrs{{"A", {"key's own"}}, {"d", {}}, {"z", {}}});
    attrlist_remove(&keys.head, &m.head);
    EXPECT_EQ(keys.get(), (Attrs{{"a", {"1"}}, {"d", {}}}));
    EXPECT_EQ(m.get(), (Attrs{{"c", {"3"}}}));
    AttrList b(Attrs{{"x", {"1"}}, {"y", {"2"}}, {"z", {}}});
    AttrList x(Attrs{{"X", {}}, {"z", {"9"}}});
    attrlist_intersect(&x.head, &b.head);
    EXPECT_EQ(b.get(), (Attrs{{"x", {"1"}}, {"z", {}}}));
    AttrList nothing;
    attrlist_intersect(&nothing.head, &b.head);
    EXPECT_EQ(b.head, nullptr);
}

TEST(Attributes, FindingAndReading)
{
    AttrList l(Attrs{
        {"Count", {"42x"}}, {"big", {"18446744073709551615"}}, {"host", {"a", "B"}}, {"none", {}}});
    EXPECT_EQ(attrlist_case_find(l.head, "count", 1), nullptr);
    attr_t *count = attrlist_case_find(l.head, "Count", 1);
    ASSERT_NE(count, nullptr);
    EXPECT_STREQ(count->name, "Count");
    EXPECT_EQ(attrlist_find(l.head, "COUNT"), count);
    EXPECT_EQ(attrlist_getint(l.head, "count"), 42);
    EXPECT_EQ(attrlist_getint(l.head, "missing"), 0);
    EXPECT_EQ(attrlist_getuint64(l.head, "big"), UINT64_MAX);
    EXPECT_EQ(attrlist_getuint64(l.head, "none"), 0u);
    EXPECT_EQ(attrlist_getvalue(l.head, "none"), nullptr);
    EXPECT_EQ(attrlist_hasattr(l.head, "HOST", "b"), 1);
    EXPECT_EQ(attrlist_hasattr(l.head, "host", "c"), 0);
    EXPECT_EQ(attrlist_hasattr_eitherval(l.head, "host", "c", "A"), 1);
    EXPECT_EQ(attrlist_hasattr_eitherval(l.head, "host", "c", "d"), 0);
    Vals want(Texts{"x", "b"}), miss(Texts{"x"});
    EXPECT_EQ(attrlist_hasattr_valmatch(l.head, "host", want.head), 1);
    EXPECT_EQ(attrlist_hasattr_valmatch(l.head, "host", miss.head), 0);
    EXPECT_EQ(attrlist_regex_find(l.head, "H*"), attrlist_find(l.head, "host"));
    EXPECT_EQ(attrlist_regex_find(l.head, "?OUNT"), count);
    EXPECT_EQ(attrlist_regex_find(l.head, "z*"), nullptr);
    EXPECT_EQ(attrlist_find(nullptr, "x"), nullptr);
    EXPECT_EQ(attrlist_find(l.head, nullptr), nullptr);

    for (int n : kSizes) {
        AttrList big;
        for (int i = 0; i < n; ++i)
            attrlist_add(&big.head, key(i).c_str(), std::to_string(i).c_str());
        for (int i : {0, n / 2, n - 1}) {
            if (i < 0 || i >= n)
                continue;
            EXPECT_EQ(attrlist_getint(big.head, key(i).c_str()), i);
        }
        EXPECT_EQ(attrlist_find(big.head, "zzz"), nullptr);
        EXPECT_EQ(attr_count(big.head), n);
    }
}

TEST(Attributes, WholeListOperations)
{
    AttrList src(Attrs{{"a", {"1"}}, {"b", {"2", "3"}}, {"c", {}}});
    AttrList copy(attrlist_dup(src.head));
    EXPECT_EQ(copy.get(), src.get());
    EXPECT_EQ(attrlist_equal(src.head, copy.head), 1);
    AttrList sel(Attrs{{"C", {}}, {"a", {}}, {"q", {}}});
    AttrList picked(attrlist_copy(sel.head, src.head));
    EXPECT_EQ(picked.get(), (Attrs{{"a", {"1"}}, {"c", {}}}));
    EXPECT_EQ(attrlist_subset(picked.head, src.head), 1);
    EXPECT_EQ(attrlist_subset(src.head, picked.head), 0);

    AttrList dest(Attrs{{"B", {"3", "4"}}, {"d", {"5"}}, {"c", {"x"}}});
    attrlist_merge_or_add(src.head, &dest.head);
    EXPECT_EQ(dest.get(),
              (Attrs{{"a", {"1"}}, {"B", {"3", "4", "2"}}, {"c", {"x"}}, {"d", {"5"}}}));

    AttrList into(Attrs{{"b", {"old"}}, {"z", {"keep"}}});
    attrlist_merge(&src.head, &into.head);
    EXPECT_EQ(into.get(), (Attrs{{"a", {"1"}}, {"b", {"2", "3"}}, {"c", {}}, {"z", {"keep"}}}));
    EXPECT_EQ(src.get(), copy.get()) << "the source is unchanged";

    // A template in an order of its own, linked by hand.
    AttrList tmpl(attr_new("z", nullptr));
    tmpl.head->next = attr_new("missing", nullptr);
    tmpl.head->next->next = attr_new("B", nullptr);
    attrlist_order(tmpl.head, &into.head);
    EXPECT_EQ(into.get(), (Attrs{{"z", {"keep"}}, {"b", {"2", "3"}}, {"a", {"1"}}, {"c", {}}}));
    EXPECT_EQ(attrlist_exact_name_match(into.head, src.head), 0);
    attrlist_sort(&into.head);
    EXPECT_EQ(into.get(), (Attrs{{"a", {"1"}}, {"b", {"2", "3"}}, {"c", {}}, {"z", {"keep"}}}));
    AttrList names(Attrs{{"A", {"x"}}, {"B", {}}, {"C", {}}, {"Z", {}}});
    EXPECT_EQ(attrlist_exact_name_match(into.head, names.head), 1);
    EXPECT_EQ(attrlist_equal(into.head, names.head), 0);
    EXPECT_EQ(attrlist_exact_name_match(src.head, names.head), 0);

    AttrList built(
        attrlist_build("Host", "a", "b", nullptr, "flag", nullptr, "host", "c", nullptr, nullptr));
    EXPECT_EQ(built.get(), (Attrs{{"flag", {}}, {"Host", {"a", "b", "c"}}}));
    EXPECT_EQ(attrlist_build(nullptr), nullptr);

    for (int n : kSizes) {
        AttrList big, other;
        for (int i = 0; i < n; ++i) {
            attrlist_add(&big.head, key(i).c_str(), "v");
            if (i % 2 == 0)
                attrlist_add(&other.head, key(i).c_str(), "w");
        }
        attrlist_merge(&other.head, &big.head);
        EXPECT_EQ(attr_count(big.head), n);
        int replaced = 0;
        for (attr_t *a = big.head; a; a = a->next)
            replaced += std::strcmp(a->values->value, "w") == 0;
        EXPECT_EQ(replaced, (n + 1) / 2);
        attrlist_intersect(&other.head, &big.head);
        EXPECT_EQ(big.get(), other.get());
    }
}

TEST(Attributes, QueriesAndLocalisableCompanions)
{
    AttrList list(Attrs{{"a", {"1", "2"}}, {"empty", {}}, {"blank", {""}}});
    struct Row {
        Attrs query;
        int match, qmatch, qnull;
    };
    const Row rows[] = {
        {{}, 1, 1, 1},
        {{{"A", {"2"}}}, 1, 1, 1},
        {{{"a", {"3"}}}, 0, 0, 0},
        {{{"a", {}}}, 1, 1, 1},
        {{{"missing", {}}}, 0, 0, 0},
        {{{"empty", {"x"}}}, 1, 0, 0},
        {{{"empty", {}}}, 1, 1, 1},
        {{{"empty", {""}}}, 1, 0, 1},
        {{{"blank", {""}}}, 1, 1, 1},
        {{{"blank", {"x"}}}, 0, 0, 0},
        {{{"a", {"1"}}, {"empty", {"x"}}}, 1, 0, 0},
    };
    for (const Row &row : rows) {
        AttrList q(row.query);
        EXPECT_EQ(attrlist_match(q.head, list.head), row.match)
            << ::testing::PrintToString(row.query);
        EXPECT_EQ(query_match(q.head, list.head), row.qmatch)
            << ::testing::PrintToString(row.query);
        EXPECT_EQ(query_match_null(q.head, list.head), row.qnull)
            << ::testing::PrintToString(row.query);
    }

    // Localisable companions.
    AttrList l(Attrs{{"msg", {"Hello", "World"}}, {"novalue", {}}});
    const char *name = attrlist_add_I18Nattr(&l.head, "MSG", 0);
    EXPECT_STREQ(name, "MSG_I18N");
    EXPECT_EQ(attr_count(l.head), 3);
    EXPECT_EQ(attrlist_add_I18Nattr(&l.head, "novalue", 0), nullptr);
    EXPECT_EQ(attrlist_add_I18Nattr(&l.head, "absent", 0), nullptr);
    name = attrlist_add_I18Nattr(&l.head, "msg", 1);
    EXPECT_STREQ(name, "MSG_I18N") << "an existing companion is replaced, keeping its spelling";
    EXPECT_EQ(attrlist_find(l.head, "msg"), nullptr);
    EXPECT_EQ(l.get(), (Attrs{{"MSG_I18N", {"0 5 Hello", "0 5 World"}}, {"novalue", {}}}));

    std::string long_name(70, 'n');
    attrlist_add(&l.head, long_name.c_str(), "v");
    name = attrlist_add_I18Nattr(&l.head, long_name.c_str(), 1);
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(std::strlen(name), 63u);
    EXPECT_EQ(std::string(name), std::string(58, 'n') + "_I18N");
    EXPECT_EQ(attrlist_find(l.head, long_name.c_str()), nullptr);
}

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

// A name right-aligned in 28 columns and its separator.
std::string head(const std::string &name)
{
    return std::string(28 - std::min<size_t>(28, name.size()), ' ') + name + ": ";
}

TEST(AttrForm, TableOfForms)
{
    // `values` is the form after the padded name and before ";\n".
    struct Row {
        const char *name;
        Texts in;
        int options;
        bool force;
        std::string values;
    };
    const Row rows[] = {
        {"Name", {"a", "b"}, 0, false, "a, b"},
        {"n", {}, 0, false, ""},
        {"exactly_twenty_eight_columns", {"v"}, 0, false, "v"},
        {"a_name_longer_than_the_28_columns", {"v"}, 0, false, "v"},
        {"q", {""}, 0, false, "\"\""},
        {"q", {"a,b"}, 0, false, "\"a,b\""},
        {"q", {"x "}, 0, false, "\"x \""},
        {"q", {"\tx"}, 0, false, "\"\tx\""},
        {"q", {"a\\b"}, 0, false, "\"a\\\\b\""},
        {"q", {"say \"hi\""}, 0, false, "\"say \\\"hi\\\"\""},
        {"q", {"line\n"}, 0, false, "\"line\""},
        {"q", {"two\nlines"}, 0, false, "\"two\nlines\""},
        {"q", {"#", ":", ";"}, 0, false, "\"#\", \":\", \";\""},
        {"q", {"in side", "a-b"}, 0, false, "in side, a-b"},
        {"q", {"plain"}, 0, true, "\"plain\""},
        {"q", {"secret"}, ATTR_HIDE_VALUES, false, "*******"},
        {"q", {"x", "y"}, ATTR_HIDE_VALUES, true, "\"*******\", \"*******\""},
        {"user password", {"s1", "s2"}, 0, false, "*******, *******"},
        {"PassWordHint", {"s"}, 0, false, "*******"},
        // Companions show their structured text rendered; text that does not
        // parse shows as it is.
        {"m_I18N", {"0 5 Hello", "12 4 a %s 1 0 1 b", "plain"}, 0, false, "Hello, a b, plain"},
        {"m_I18N", {"0 5 Hello"}, ATTR_NO_RENDER, false, "0 5 Hello"},
        {"m", {"0 5 Hello"}, 0, false, "0 5 Hello"},
        {"m", {"0 5 Hello"}, ATTR_RENDER, false, "Hello"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(form_of(row.name, row.in, row.options, row.force),
                  head(row.name) + row.values + ";\n")
            << row.name;
    EXPECT_EQ(form_of("Name", {"a", "b"}, ATTR_NO_PADDING), "Name: a, b;\n");
}

TEST(AttrForm, WrapsUnderColumn30)
{
    // Values of 10 columns: four fit on the first line (column 30 + 4 * 12
    // = 78), the fifth starts a new line under column 30.
    std::string pad30(30, ' ');
    std::string expect = head("w") + kTen + ", " + kTen + ", " + kTen + ", " + kTen + ", \n" +
                         pad30 + kTen + ", " + kTen + ";\n";
    EXPECT_EQ(form_of("w", {kTen, kTen, kTen, kTen, kTen, kTen}), expect);

    // A value of 47 columns still fits a line (47 + 32 < 80); of 48 not.
    std::string v47(47, 'a'), v48(48, 'b');
    EXPECT_EQ(form_of("w", {"x", v47}), head("w") + "x, \n" + pad30 + v47 + ";\n");
    EXPECT_EQ(form_of("w", {v48}), head("w") + "\\\n" + v48 + ";\n");
    // After a continuation block the line counts as full.
    EXPECT_EQ(form_of("w", {"x", v48, "y"}), head("w") + "x, \n" + v48 + ", \n" + pad30 + "y;\n");

    // Too wide for one line: pieces of the line width.
    std::string v170(170, 'c');
    EXPECT_EQ(form_of("w", {v170}), head("w") + "\\\n" + v170.substr(0, 80) + "\n" +
                                        v170.substr(80, 80) + "\n" + v170.substr(160) + ";\n");
    // A quoted value that starts with a line feed needs no backslash.
    std::string nl = "\n" + std::string(60, 'd');
    EXPECT_EQ(form_of("w", {nl}), head("w") + "\"\n" + std::string(60, 'd') + "\";\n");
    // Pieces are counted in cells: wide characters take two.
    std::string wide;
    for (int i = 0; i < 41; ++i)
        wide += "\xe4\xb8\x80";  // U+4E00, two cells
    std::string f = form_of("w", {wide});
    size_t first_break = f.find('\n', f.find("\\\n") + 2);
    EXPECT_EQ(first_break - (f.find("\\\n") + 2), 40u * 3)
        << "40 characters of two cells on the first line";
}

TEST(AttrForm, PasswordSwitchSpecialNamesAndBounds)
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

    // Empty and oversized names, and short buffers.
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

TEST(AttrForm, PrintingToStreamsTheDebugLogAndAString)
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

    // Building a string of the whole list.
    AttrList ab(Attrs{{"a", {"1"}}, {"b", {}}});
    std::string expect = "                           a: 1;\n                           b: ;\n";
    int size = 0;
    EXPECT_EQ(attrlist_build_str(ab.head, nullptr, &size), static_cast<int>(expect.size()));
    EXPECT_EQ(size, static_cast<int>(expect.size()));
    char buf[200] = "head:";
    size = sizeof buf;
    EXPECT_EQ(attrlist_build_str(ab.head, buf, &size), static_cast<int>(expect.size()));
    EXPECT_EQ(std::string(buf), "head:" + expect);
    char small[20] = "";
    size = sizeof small;
    attrlist_build_str(ab.head, small, &size);
    EXPECT_EQ(std::string(small), expect.substr(0, 19));
    EXPECT_EQ(attrlist_build_str(nullptr, buf, nullptr), 0);
}

TEST(AttrForm, ParsesNameValueSections)
{
    const std::tuple<const char *, Attrs, const char *> rows[] = {
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
    for (const auto &[text, result, warnings] : rows) {
        CaptureFd err(2);
        AttrList l;
        snmp_str_to_attrs(text, &l.head);
        EXPECT_EQ(l.get(), result) << text;
        EXPECT_EQ(err.text(), warnings) << text;
    }
    AttrList l(Attrs{{"keep", {"k"}}, {"a", {"old", "older"}}});
    EXPECT_EQ(snmp_str_to_attrs("a=new", &l.head), 1);
    EXPECT_EQ(l.get(), (Attrs{{"a", {"new"}}, {"keep", {"k"}}}));
    EXPECT_EQ(snmp_str_to_attrs(nullptr, &l.head), 0);
}

}  // namespace
