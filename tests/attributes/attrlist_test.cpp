// Attribute records and lists: every operation, ordering by name without
// regard to case, merging, queries; lists of 0, 1, 21, 22 and 1,000.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "attr_test_util.hpp"
#include "cairn/attributes.h"

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

TEST(Attributes, SettingReplacingDefaulting)
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

TEST(Attributes, DeletingRemovingIntersecting)
{
    AttrList l(Attrs{{"a", {"1"}}, {"b", {"2"}}, {"c", {"3"}}, {"d", {}}});
    EXPECT_EQ(attr_delete(&l.head, "B"), 1);
    EXPECT_EQ(attr_delete(&l.head, "B"), 0);
    AttrList keys(Attrs{{"A", {"key's own"}}, {"d", {}}, {"z", {}}});
    attrlist_remove(&keys.head, &l.head);
    EXPECT_EQ(keys.get(), (Attrs{{"a", {"1"}}, {"d", {}}}));
    EXPECT_EQ(l.get(), (Attrs{{"c", {"3"}}}));

    AttrList b(Attrs{{"x", {"1"}}, {"y", {"2"}}, {"z", {}}});
    AttrList a(Attrs{{"X", {}}, {"z", {"9"}}});
    attrlist_intersect(&a.head, &b.head);
    EXPECT_EQ(b.get(), (Attrs{{"x", {"1"}}, {"z", {}}}));
    AttrList nothing;
    attrlist_intersect(&nothing.head, &b.head);
    EXPECT_EQ(b.head, nullptr);
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

TEST(Attributes, Queries)
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
}

TEST(Attributes, LocalisableCompanions)
{
    AttrList l(Attrs{{"msg", {"Hello", "World"}}, {"novalue", {}}});
    const char *name = attrlist_add_I18Nattr(&l.head, "MSG", 0);
    ASSERT_NE(name, nullptr);
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

}  // namespace
