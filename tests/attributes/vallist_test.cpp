// Value records and lists: every operation, the comma form both ways, the
// printed and numbered forms, on lists of 0, 1, 21, 22 and 1,000 values;
// and the file form: contents byte for byte, empty lines, a missing last
// newline, long lines, unreadable and unwritable paths, and a full disk (a
// file size limit in a forked child).  Also the never-null allocators
// (exhaustion seen from a forked child), integer text and the two pattern
// matchers.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>

#include "../messages/log_dir.hpp"
#include "attr_test_util.hpp"
#include "cairn/attributes.h"
#include "cairn/frame.h"
#include "cairn/utilities.h"
#include "capture_fd.hpp"
#include "child_process.hpp"
#include "fault_injection.hpp"
#include "platform/alloc_testing.hpp"
#include "../diagnostics/debug_capture.hpp"

namespace {

using namespace cairn::testing;

const int kSizes[] = {0, 1, 21, 22, 1000};

Texts numbered(int n, const char *prefix = "v")
{
    Texts t;
    for (int i = 0; i < n; ++i)
        t.push_back(prefix + std::to_string(i));
    return t;
}

TEST(Values, SingleRecordsBuildingListsAndAdd2RefusingBadInput)
{
    val_t *v = val_new(nullptr);
    EXPECT_STREQ(v->value, "");
    EXPECT_EQ(v->next, nullptr);
    val_update(&v, "replaced");
    EXPECT_STREQ(v->value, "replaced");
    vallist_free(v);

    EXPECT_EQ(val_new_nosp(nullptr), nullptr);
    EXPECT_EQ(val_new_nosp(""), nullptr);
    EXPECT_EQ(val_new_nosp(" \t\n "), nullptr);
    Vals trimmed(val_new_nosp("  a b\t\n"));
    EXPECT_STREQ(trimmed.head->value, "a b");

    // val_update keeps the record's place in a list.
    Vals list(Texts{"a", "b", "c"});
    val_update(&list.head->next, nullptr);
    EXPECT_EQ(list.get(), (Texts{"a", "", "c"}));
    Vals copy(val_dup(list.head->next->next));
    EXPECT_STREQ(copy.head->value, "c");
    EXPECT_EQ(copy.head->next, nullptr);

    Vals a(Texts{"Beta"}), b(Texts{"beta"}), c(Texts{"\xc3\xa9"}), d(Texts{"z"});
    EXPECT_EQ(val_cmp(a.head, b.head), 0);
    EXPECT_EQ(val_cmp_exact(a.head, b.head), -1);
    EXPECT_EQ(val_cmp_exact(b.head, a.head), 1);
    EXPECT_EQ(val_cmp_exact(c.head, d.head), 1) << "bytes compare unsigned";
    EXPECT_EQ(stream_text([&](FILE *f) { val_print(f, a.head); }), "Beta ");

    // Building lists.
    Vals l;
    vallist_add(&l.head, "b");
    vallist_insert(&l.head, "a");
    EXPECT_EQ(vallist_add_tail(&l.head, nullptr)->value[0], '\0');
    EXPECT_EQ(l.get(), (Texts{"a", "b", ""}));
    EXPECT_EQ(vallist_add_tail(nullptr, "x"), nullptr);
    EXPECT_EQ(ox_error_get_last(), ox_error_from_errno(EINVAL));

    Vals m;
    val_t *tail = nullptr;
    vallist_append(&m.head, &tail, "1");
    vallist_append(&m.head, &tail, "2");
    EXPECT_STREQ(tail->value, "2");
    // A lagging tail is walked forward first.
    val_t *lag = m.head;
    EXPECT_STREQ(vallist_add2(&m.head, &lag, "3")->value, "3");
    EXPECT_EQ(lag, m.head->next->next);
    EXPECT_EQ(m.get(), (Texts{"1", "2", "3"}));

    Vals built(vallist_build("x", "", "y", static_cast<char *>(nullptr)));
    EXPECT_EQ(built.get(), (Texts{"x", "", "y"}));
    Vals dup(vallist_dup(built.head));
    EXPECT_EQ(dup.get(), built.get());
    EXPECT_NE(dup.head, built.head);
    EXPECT_EQ(vallist_build(nullptr), nullptr);

    // vallist_add2 refuses bad input with a debug line.
    Vals empty;
    tail = reinterpret_cast<val_t *>(&empty);
    std::string text = debug_output(9, 0, [&] {
        EXPECT_EQ(vallist_add2(&empty.head, &tail, "x"), nullptr);
        EXPECT_EQ(vallist_add2(nullptr, &tail, "x"), nullptr);
    });
    EXPECT_EQ(empty.head, nullptr);
    EXPECT_NE(text.find("vallist_add2(): invalid input\n"), std::string::npos) << text;
    EXPECT_EQ(debug_output(0, 0, [&] { EXPECT_EQ(vallist_add2(nullptr, &tail, "x"), nullptr); }),
              "");
}

TEST(Values, SortedInsertionByEachComparison)
{
    Vals l(Texts{"beta"});
    EXPECT_EQ(vallist_addsort(&l.head, "Beta"), 0);
    EXPECT_EQ(l.get(), (Texts{"beta"}));
    EXPECT_EQ(vallist_addsort(&l.head, "Alpha"), 1);
    EXPECT_EQ(vallist_addsort(&l.head, "gamma"), 1);
    EXPECT_EQ(l.get(), (Texts{"Alpha", "beta", "gamma"}));
    EXPECT_EQ(vallist_addsort_exact(&l.head, "Beta"), 1);
    EXPECT_EQ(vallist_addsort_exact(&l.head, "Beta"), 0);
    EXPECT_EQ(l.get(), (Texts{"Alpha", "Beta", "beta", "gamma"}));

    for (int n : kSizes) {
        Vals s;
        Texts model;
        for (int i = n - 1; i >= 0; --i) {
            std::string t = "k" + std::to_string((i * 7919) % (n ? n : 1));
            bool fresh = std::find(model.begin(), model.end(), t) == model.end();
            EXPECT_EQ(vallist_addsort_exact(&s.head, t.c_str()), fresh ? 1 : 0);
            if (fresh)
                model.push_back(t);
        }
        std::sort(model.begin(), model.end());
        EXPECT_EQ(s.get(), model) << n;
    }

    Vals c;
    const char *old = std::setlocale(LC_COLLATE, nullptr);
    std::string saved = old ? old : "C";
    std::setlocale(LC_COLLATE, "C");
    EXPECT_EQ(i18n_vallist_addsort(&c.head, "b"), 1);
    EXPECT_EQ(i18n_vallist_addsort(&c.head, "B"), 1);
    EXPECT_EQ(i18n_vallist_addsort(&c.head, "a"), 1);
    EXPECT_EQ(i18n_vallist_addsort(&c.head, "b"), 0);
    EXPECT_EQ(c.get(), (Texts{"B", "a", "b"})) << "the C locale collates by byte";
    // Texts equal in their first 19456 bytes collate equal.
    std::string long1(19456, 'x'), long2 = long1 + "1";
    EXPECT_EQ(i18n_vallist_addsort(&c.head, long1.c_str()), 1);
    EXPECT_EQ(i18n_vallist_addsort(&c.head, long2.c_str()), 0);
    std::setlocale(LC_COLLATE, saved.c_str());
}

TEST(Values, SearchingTrimmedSearchUniqueAndPatterns)
{
    Vals l(Texts{"alpha", "Beta", "gamma", "beta", "delta"});
    EXPECT_EQ(vallist_find(l.head, "BETA"), l.head->next);
    EXPECT_EQ(vallist_find_exact(l.head, "beta"), l.head->next->next->next);
    EXPECT_EQ(vallist_find_exact(l.head, "BETA"), nullptr);
    EXPECT_EQ(vallist_find_pos(l.head, "beta"), 2);
    EXPECT_EQ(vallist_find_pos(l.head, "none"), -1);
    EXPECT_STREQ(vallist_pos_value(l.head, 1), "alpha");
    EXPECT_STREQ(vallist_pos_value(l.head, 5), "delta");
    EXPECT_EQ(vallist_pos_value(l.head, 0), nullptr);
    EXPECT_EQ(vallist_pos_value(l.head, 6), nullptr);
    EXPECT_EQ(vallist_count_val(l.head, "BETA"), 2);
    EXPECT_STREQ(vallist_has_dup_values(l.head), "Beta");
    Vals other(Texts{"x", "DELTA", "GAMMA"});
    EXPECT_STREQ(vallist_find_list(l.head, other.head), "gamma");
    EXPECT_EQ(vallist_match(l.head, other.head), 1);
    Vals none(Texts{"x"});
    EXPECT_EQ(vallist_match(l.head, none.head), 0);
    EXPECT_EQ(vallist_match(nullptr, none.head), 1);
    EXPECT_EQ(vallist_match(l.head, nullptr), 1);
    EXPECT_EQ(vallist_search_substr(l.head, "elt"), l.head->next->next->next->next);
    EXPECT_EQ(vallist_search_substr(l.head, "ELT"), nullptr);
    EXPECT_EQ(vallist_has_dup_values(other.head), nullptr);

    for (int n : kSizes) {
        Vals big(numbered(n));
        std::string last = "V" + std::to_string(n - 1);
        EXPECT_EQ(vallist_find_pos(big.head, last.c_str()), n ? n : -1);
        EXPECT_EQ(vallist_count_val(big.head, "v0"), n ? 1 : 0);
        EXPECT_EQ(vallist_has_dup_values(big.head), nullptr);
    }
    Vals spaced(Texts{"  two\t\twords ", "a\nb", "x"});
    EXPECT_EQ(vallist_find_trim(spaced.head, "TWO WORDS"), spaced.head);
    EXPECT_EQ(spaced.get(), (Texts{"two words", "a\nb", "x"})) << "stops at the match";
    EXPECT_EQ(vallist_find_trim(spaced.head, "nothing"), nullptr);
    EXPECT_EQ(spaced.get(), (Texts{"two words", "a b", "x"}));

    // Values of one list missing from another, and pattern matching.
    Vals a(Texts{"c", "b", "a"}), b(Texts{"a", "c"});
    EXPECT_EQ(vallist_find_unique(a.head, b.head), a.head->next);
    Vals same(Texts{"a", "b", "c", "c"});
    EXPECT_EQ(vallist_find_unique(a.head, same.head), nullptr);
    EXPECT_EQ(vallist_find_unique(nullptr, b.head), nullptr);
    EXPECT_EQ(vallist_find_unique(a.head, nullptr), nullptr);

    Vals star(Texts{"*"}), values(Texts{"Host1.Example", "other"});
    Vals empty;
    EXPECT_EQ(vallist_patmatch(star.head, empty.head), 1);
    EXPECT_EQ(vallist_patmatch(nullptr, values.head), 1);
    Vals p1(Texts{"^host[0-9]"});
    EXPECT_EQ(vallist_patmatch(p1.head, values.head), 1) << "both sides fold to lower case";
    Vals p2(Texts{"^HOST9", "OTH"});
    EXPECT_EQ(vallist_patmatch(p2.head, values.head), 1);
    Vals p3(Texts{"nomatch", "^x$"});
    EXPECT_EQ(vallist_patmatch(p3.head, values.head), 0);
    Vals bad(Texts{"(unclosed", "other"});
    EXPECT_EQ(vallist_patmatch(bad.head, values.head), 0) << "a bad pattern ends the test";
    Vals later_star(Texts{"zzz", "*"});
    EXPECT_EQ(vallist_patmatch(later_star.head, values.head), 0) << "only a first \"*\" is special";
}

TEST(Values, Removing)
{
    Vals l(Texts{"beta", "Beta", "beta", "prefix-1", "prefix-2"});
    EXPECT_EQ(vallist_delete(&l.head, "BETA"), 0);
    EXPECT_NE(vallist_find(l.head, "BETA"), nullptr);
    EXPECT_EQ(vallist_delete(&l.head, "Beta"), 1);
    EXPECT_EQ(vallist_remove(&l.head, "beta"), 1);
    EXPECT_EQ(l.get(), (Texts{"beta", "prefix-1", "prefix-2"}));
    EXPECT_EQ(vallist_strstart_delete(&l.head, "prefix-"), 1);
    EXPECT_EQ(vallist_strstart_delete(&l.head, "nope"), 0);
    EXPECT_EQ(l.get(), (Texts{"beta", "prefix-2"}));
    Vals r(Texts{"prefix-2", "prefix-2", "beta"});
    vallist_remove_values(r.head, &l.head);
    EXPECT_EQ(l.get(), Texts{});
    EXPECT_EQ(vallist_delete(nullptr, "x"), 0);

    Vals p(Texts{"a", "b", "c"});
    EXPECT_EQ(vallist_pos_remove(&p.head, "B", 2), 1);
    EXPECT_EQ(vallist_pos_remove(&p.head, "x", 2), 0);
    EXPECT_EQ(vallist_pos_remove(&p.head, nullptr, 3), 0);
    EXPECT_EQ(vallist_pos_remove(&p.head, nullptr, 0), 0);
    EXPECT_EQ(vallist_pos_remove(&p.head, nullptr, 1), 1);
    EXPECT_EQ(p.get(), (Texts{"c"}));
    vallist_pos_insert(&p.head, "first", 1);
    vallist_pos_insert(&p.head, "second", 2);
    vallist_pos_insert(&p.head, "end", 99);
    vallist_pos_insert(&p.head, "head", -5);
    EXPECT_EQ(p.get(), (Texts{"head", "first", "second", "c", "end"}));

    for (int n : kSizes) {
        Vals big(numbered(n));
        Texts model = numbered(n);
        for (int pos : {1, n / 2, n}) {
            if (pos < 1 || pos > static_cast<int>(model.size()))
                continue;
            EXPECT_EQ(vallist_pos_remove(&big.head, nullptr, pos), 1);
            model.erase(model.begin() + pos - 1);
        }
        EXPECT_EQ(big.get(), model) << n;
    }
}

TEST(Values, MergeIntersectCollideSubset)
{
    Vals dest(Texts{"a", "b"});
    Vals src(Texts{"B", "b", "c", "c"});
    vallist_merge(src.head, &dest.head);
    EXPECT_EQ(dest.get(), (Texts{"a", "b", "B", "c"}));
    val_t *empty = nullptr;
    val_t *given = make_list({"x"});
    vallist_merge(given, &empty);
    EXPECT_EQ(empty, given) << "an empty destination takes the source itself";
    vallist_free(empty);

    Vals b(Texts{"C", "a", "z"});
    Vals a(Texts{"a", "b", "c"});
    vallist_intersect(a.head, &b.head);
    EXPECT_EQ(b.get(), (Texts{"c", "a"}));

    Vals x(Texts{"a", "b", "b", "c"}), y(Texts{"b", "d", "c", "B"});
    Vals both, only_a, only_b(Texts{"kept"});
    vallist_collide(x.head, y.head, &both.head, &only_a.head, &only_b.head);
    EXPECT_EQ(both.get(), (Texts{"b", "c"}));
    EXPECT_EQ(only_a.get(), (Texts{"a", "b"}));
    EXPECT_EQ(only_b.get(), (Texts{"kept", "d", "B"}));
    EXPECT_EQ(y.get(), (Texts{"b", "d", "c", "B"})) << "inputs unchanged";
    Vals just_both;
    vallist_collide(x.head, y.head, &just_both.head, nullptr, nullptr);
    EXPECT_EQ(just_both.get(), (Texts{"b", "c"}));

    EXPECT_EQ(vallist_subset(x.head, nullptr), 1);
    Vals sub(Texts{"b", "b"}), sub3(Texts{"b", "b", "b"}), sub_case(Texts{"A"});
    EXPECT_EQ(vallist_subset(x.head, sub.head), 1);
    EXPECT_EQ(vallist_subset(x.head, sub3.head), 0) << "matches are used up one for one";
    EXPECT_EQ(vallist_subset(x.head, sub_case.head), 0);
}

TEST(Values, SortingDuplicatesComparingAndDiffApply)
{
    for (int n : kSizes) {
        Texts t;
        for (int i = 0; i < n; ++i)
            t.push_back("k" + std::to_string((i * 31) % 17));
        Vals l(t);
        Texts model = t;
        std::stable_sort(model.begin(), model.end());
        EXPECT_EQ(vallist_sort(&l.head, val_cmp_exact, 0), n);
        EXPECT_EQ(l.get(), model);
        model.erase(std::unique(model.begin(), model.end()), model.end());
        EXPECT_EQ(vallist_sort(&l.head, nullptr, 1), static_cast<int>(model.size()));
        EXPECT_EQ(l.get(), model);
    }
    Vals l(Texts{"b", "A", "a", "B", "c", "a"});
    Vals dups;
    EXPECT_EQ(vallist_remove_get_dups(&l.head, nullptr, &dups.head), 3);
    EXPECT_EQ(l.get(), (Texts{"A", "b", "c"})) << "the first of each run stays";
    EXPECT_EQ(dups.get(), (Texts{"a", "B"}));
    Vals s(Texts{"z", "y"});
    val_t *out = nullptr;
    EXPECT_EQ(vallist_sort2(s.head, &out, nullptr, 0), 2);
    s.head = out;
    EXPECT_EQ(s.get(), (Texts{"y", "z"}));

    Vals p(Texts{"a"}), q(Texts{"a", "b"}), r(Texts{"A", "B"});
    EXPECT_EQ(vallist_cmp(p.head, q.head), -1);
    EXPECT_EQ(vallist_cmp(q.head, p.head), 1);
    EXPECT_EQ(vallist_cmp(q.head, r.head), 0);
    EXPECT_NE(vallist_cmp_exact(q.head, r.head), 0);
    EXPECT_EQ(vallist_cmp(nullptr, nullptr), 0);

    // Applying the difference of two lists to a third.
    struct Row {
        Texts old_v, new_v, target;
        int mode;
        Texts expect;
    };
    const Row rows[] = {
        {{"a", "b"}, {"b", "c"}, {"a", "b", "x"}, 0, {"b", "x", "c"}},
        {{"a", "b"}, {"b", "c"}, {"a", "b", "x"}, 1, {"a", "b", "x", "c"}},
        {{"a", "b"}, {"b", "c"}, {"a", "b", "x"}, 2, {"b", "x"}},
        {{"A"}, {"c"}, {"a", "C"}, 3, {"C"}},
        {{}, {"n"}, {}, 0, {"n"}},
    };
    for (const Row &row : rows) {
        Vals o(row.old_v), n(row.new_v), t(row.target);
        EXPECT_EQ(vallist_diff_apply(o.head, n.head, &t.head, row.mode), 1);
        EXPECT_EQ(t.get(), row.expect);
    }
    EXPECT_EQ(vallist_diff_apply(nullptr, nullptr, nullptr, 0), 0);
}

TEST(Values, CommaFormBothWaysAndPrintedForms)
{
    Vals parsed(vallist_new_from_csv(" a , b c ,, d "));
    EXPECT_EQ(parsed.get(), (Texts{"a", "b c", "d"}));
    EXPECT_EQ(vallist_new_from_csv(nullptr), nullptr);
    EXPECT_EQ(vallist_new_from_csv(""), nullptr);
    EXPECT_EQ(vallist_new_from_csv(" , ,\t"), nullptr);
    Vals tabs(vallist_new_from_csv("\tx\t,y\n"));
    EXPECT_EQ(tabs.get(), (Texts{"x", "y"}));

    const std::tuple<Texts, int, const char *> rows[] = {
        {{}, 0, "<empty>"},
        {{"a", "b", "c"}, 0, "a, b, c"},
        {{"a", "b", "c"}, 6, "a, b, ..."},
        {{"a", "b", "c"}, 4, "a, ..."},
        {{"a", "b", "c"}, 7, "a, b, c"},
        {{"abcdef", "x"}, 1, "abcdef, ..."},
        {{"abcdef"}, 1, "abcdef"},
        {{"", ""}, 0, ", "},
    };
    for (const auto &[values, limit, want] : rows) {
        Vals l(values);
        char *text = vallist_to_csv(l.head, limit);
        EXPECT_STREQ(text, want);
        free(text);
    }
    for (int n : kSizes) {
        Vals l(numbered(n));
        char *text = vallist_to_csv(l.head, 0);
        Vals back(vallist_new_from_csv(n ? text : ""));
        EXPECT_EQ(back.get(), l.get()) << n;
        free(text);
    }

    // The printed forms.
    Vals l(Texts{"a", "b"});
    EXPECT_EQ(stream_text([&](FILE *f) { vallist_print(f, l.head); }), "a b \n");
    EXPECT_EQ(stream_text([&](FILE *f) { vallist_print(f, nullptr); }), "\n");

    EXPECT_EQ(stream_text([&](FILE *f) { vallist_display(f, l.head); }), "\t 1) a\n\t 2) b\n");
    Vals twelve(numbered(12));
    std::string two = stream_text([&](FILE *f) { vallist_display(f, twelve.head); });
    std::string expect2;
    for (int r = 0; r < 6; ++r) {
        char line[128];
        std::snprintf(line, sizeof line, "\t%2d) %-24s\t%2d) %-24s\n", r + 1,
                      ("v" + std::to_string(r)).c_str(), r + 7,
                      ("v" + std::to_string(r + 6)).c_str());
        expect2 += line;
    }
    EXPECT_EQ(two, expect2);
    Vals many(numbered(22));
    std::string three = stream_text([&](FILE *f) { vallist_display(f, many.head); });
    std::string expect3;
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 3; ++c) {
            int i = c * 8 + r;
            if (i >= 22)
                break;
            char item[64];
            std::snprintf(item, sizeof item, " %2d) %-21s", i + 1,
                          ("v" + std::to_string(i)).c_str());
            expect3 += item;
        }
        expect3 += "\n";
    }
    EXPECT_EQ(three, expect3);
    Vals wide(Texts{std::string(30, 'w'), "a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"});
    std::string one = stream_text([&](FILE *f) { vallist_display(f, wide.head); });
    EXPECT_EQ(one.rfind("\t12) k\n"), one.size() - 7)
        << "values too wide for columns take one column";

    std::string text = debug_output(0, 0, [&] {  // each line may start with a time stamp
        vallist_dprint("hosts", l.head);
        vallist_dprint(nullptr, nullptr);
    });
    EXPECT_NE(text.find("hosts: a, b\n"), std::string::npos) << text;
    EXPECT_NE(text.find("<empty>\n"), std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST(Values, ConvertsToTheLocalFormAndAnArgumentVector)
{
    const char *old = std::setlocale(LC_CTYPE, nullptr);
    std::string saved = old ? old : "C";
    std::setlocale(LC_CTYPE, "C");
    Vals local(Texts{"plain", "", "caf\xc3\xa9", "\xef\xa3\xbf"});  // U+F8FF: the raw byte 0xFF
    val_t *third = local.head->next->next;
    vlist_utf8_to_mbts(&local.head);
    EXPECT_EQ(local.get(), (Texts{"plain", "", "caf?", "\xff"}));
    EXPECT_NE(local.head->next->next, third) << "records are replaced in place";
    vlist_utf8_to_mbts(nullptr);
    std::setlocale(LC_CTYPE, saved.c_str());

    // The argument-vector form.
    for (int n : kSizes) {
        Vals l(numbered(n));
        int count = -1;
        char **vec = nullptr;
        ASSERT_EQ(vallist_to_argv(l.head, &count, &vec), 0);
        ASSERT_EQ(count, n);
        for (int i = 0; i < n; ++i) {
            EXPECT_EQ(vec[i], "v" + std::to_string(i));
            free(vec[i]);
        }
        EXPECT_EQ(vec[n], nullptr);
        free(vec);
    }
    EXPECT_EQ(vallist_to_argv(local.head, nullptr, nullptr), -1);
}

int32_t number_of(const msg_t *m) { return m != nullptr ? m->err.number : 0; }

class ValueFiles : public ::testing::Test {
protected:
    std::string path(const char *name) const { return dir_.file(name); }
    static void put(const std::string &p, const std::string &content)
    {
        std::ofstream(p, std::ios::binary) << content;
    }
    static std::string get(const std::string &p)
    {
        std::ifstream in(p, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    int entries() const
    {
        int n = 0;
        DIR *d = opendir(dir_.path());
        while (dirent *e = readdir(d))
            n += e->d_name[0] != '.';
        closedir(d);
        return n;
    }
    LogDir dir_;
};

TEST_F(ValueFiles, ReadsLinesAsTheyStandWritesEachValueOnItsLine)
{
    const std::pair<std::string, Texts> rows[] = {
        {"", {}},
        {"a\nb\n", {"a", "b"}},
        {"a\nb", {"a", "b"}},
        {"\n\na\n\n", {"", "", "a", ""}},
        {" spaced \n", {" spaced "}},
        {"dos\r\nline\r\n", {"dos", "line"}},
        {"x\ry\n", {"x\ry"}},
    };
    for (const auto &[content, values] : rows) {
        put(path("in"), content);
        Vals l;
        EXPECT_EQ(vallist_from_file(&l.head, path("in").c_str()), nullptr);
        EXPECT_EQ(l.get(), values) << content;
    }
    // Lines are appended to a list that has values already.
    put(path("in"), "c\n");
    Vals has(Texts{"a"});
    EXPECT_EQ(vallist_from_file(&has.head, path("in").c_str()), nullptr);
    EXPECT_EQ(has.get(), (Texts{"a", "c"}));
    std::string exact(13311, 'x'), longer(13312, 'y');
    put(path("in"), exact + "\n" + longer + "\nend");
    Vals pieces;
    ASSERT_EQ(vallist_from_file(&pieces.head, path("in").c_str()), nullptr);
    EXPECT_EQ(pieces.get(), (Texts{exact, std::string(13311, 'y'), "y", "end"}));

    // Writing: each value on its line.
    unlink(path("in").c_str());
    for (int n : kSizes) {
        Texts t;
        std::string expect;
        for (int i = 0; i < n; ++i) {
            t.push_back(i % 5 == 0 ? "" : "value " + std::to_string(i));
            expect += t.back() + "\n";
        }
        Vals l(t);
        ASSERT_EQ(vallist_write_file(l.head, path("out").c_str()), nullptr);
        EXPECT_EQ(get(path("out")), expect);
        Vals back;
        ASSERT_EQ(vallist_from_file(&back.head, path("out").c_str()), nullptr);
        EXPECT_EQ(back.get(), t);
    }
    EXPECT_EQ(entries(), 1) << "no temporary file is left behind";
    // An existing file keeps its permissions.
    chmod(path("out").c_str(), 0640);
    Vals x(Texts{"x"});
    ASSERT_EQ(vallist_write_file(x.head, path("out").c_str()), nullptr);
    struct stat st;
    ASSERT_EQ(stat(path("out").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
}

TEST_F(ValueFiles, UnreadableAndUnwritablePathsGiveTheirMessages)
{
    CaptureFd err(2);
    Vals l(Texts{"kept"});
    std::string missing = path("missing");
    msg_t *m = vallist_from_file(&l.head, missing.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, VALLIST_MSG_OPEN_READ);
    EXPECT_EQ(m->err.type * 10000 + m->err.severity * 1000 + m->err.code, 55000);
    EXPECT_EQ(std::string(m->text), "Unable to open file '" + missing + "' for reading\n");
    EXPECT_STREQ(m->stext.args[0].text, missing.c_str());
    EXPECT_EQ(number_of(vallist_from_file(&l.head, dir_.path())), VALLIST_MSG_OPEN_READ)
        << "a directory cannot be read";
    EXPECT_EQ(number_of(vallist_from_file(&l.head, nullptr)), VALLIST_MSG_OPEN_READ);
    EXPECT_EQ(number_of(vallist_from_file(nullptr, missing.c_str())), VALLIST_MSG_OPEN_READ);
    if (geteuid() != 0) {
        put(path("secret"), "x\n");
        chmod(path("secret").c_str(), 0);
        EXPECT_EQ(number_of(vallist_from_file(&l.head, path("secret").c_str())),
                  VALLIST_MSG_OPEN_READ);
    }
    EXPECT_EQ(l.get(), (Texts{"kept"}));
    EXPECT_EQ(err.text(), "") << "the message is returned, not printed";

    // Unwritable paths give the write message.
    Vals one(Texts{"a"});
    std::string nowhere = path("no/such/dir");
    m = vallist_write_file(one.head, nowhere.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, VALLIST_MSG_OPEN_WRITE);
    EXPECT_EQ(std::string(m->text), "Unable to open file '" + nowhere + "' for writing\n");
    EXPECT_EQ(number_of(vallist_write_file(one.head, nullptr)), VALLIST_MSG_OPEN_WRITE);
    EXPECT_EQ(number_of(vallist_write_file(one.head, "")), VALLIST_MSG_OPEN_WRITE);
    // A directory in the way: the temporary is written, the rename fails,
    // and nothing is left behind.
    mkdir(path("adir").c_str(), 0700);
    put(path("adir/inner"), "");
    EXPECT_EQ(number_of(vallist_write_file(one.head, path("adir").c_str())),
              VALLIST_MSG_OPEN_WRITE);
    EXPECT_EQ(entries(), 1);
    if (geteuid() != 0) {
        put(path("old"), "old\n");
        chmod(dir_.path(), 0500);
        EXPECT_EQ(number_of(vallist_write_file(one.head, path("old").c_str())),
                  VALLIST_MSG_OPEN_WRITE);
        chmod(dir_.path(), 0700);
        EXPECT_EQ(get(path("old")), "old\n");
    }
}

TEST_F(ValueFiles, AFullDiskLeavesTheOldFileWhole)
{
    std::string target = path("list");
    put(target, "old 1\nold 2\n");
    auto r = run_in_child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit lim = {64, 64};
        if (setrlimit(RLIMIT_FSIZE, &lim) != 0)
            std::_Exit(10);
        Texts t;
        for (int i = 0; i < 20; ++i)
            t.push_back("value number " + std::to_string(i));
        Vals l(t);
        msg_t *m = vallist_write_file(l.head, target.c_str());
        std::printf("%s", m != nullptr ? m->text : "none");
        std::fflush(stdout);
        std::_Exit(number_of(m) == VALLIST_MSG_WRITE_VALUE ? 0 : 11);
    });
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.exit_code, 0) << r.err;
    // Writing went on to the last value, whose message is the one returned.
    EXPECT_EQ(r.out, "Unable to write value #19 'value number 19' to file (rc=-1)");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(get(target), "old 1\nold 2\n");
    EXPECT_EQ(entries(), 1) << "the temporary file is removed";
}

TEST(Xalloc, UsableMemoryOrTheProcessEndsWithALastLine)
{
    auto *p = static_cast<char *>(xmalloc(0));
    ASSERT_NE(p, nullptr);
    std::free(p);
    auto *z = static_cast<unsigned char *>(xcalloc(64, 4));
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(z[i], 0);
    std::free(z);
    char *s = xstrdup("text");
    EXPECT_STREQ(s, "text");
    std::free(s);
    EXPECT_EQ(xstrdup(nullptr), nullptr);
    struct Case {
        const char *caller;
        void (*call)();
    };
    const Case cases[] = {
        {"xmalloc", [] { xmalloc(100); }},
        {"xcalloc", [] { xcalloc(10, 10); }},
        {"xstrdup", [] { xstrdup("0123456789"); }},
    };
    for (const Case &c : cases) {
        auto r = run_in_child([&] {
            cairn::testing::AllocFaultGuard guard;
            cairn::testing::alloc_fail_at(1);
            c.call();
            std::exit(7);  // not reached when the call ends the process
        });
        EXPECT_TRUE(r.exited) << c.caller;
        EXPECT_EQ(r.exit_code, 1) << c.caller;
        EXPECT_EQ(r.err, std::string(c.caller) + ": out of memory (" +
                             (std::strcmp(c.caller, "xstrdup") == 0 ? "11" : "100") + " bytes)\n");
    }
}

TEST(Xalloc, AHugeRequestEndsTheProcess)
{
    // A request no allocator can meet, without injection.  The address
    // sanitizer's allocator stops the process itself on such a request.
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "huge requests are the sanitizer's to report";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "huge requests are the sanitizer's to report";
#endif
#endif
    auto r = run_in_child([] { xmalloc(SIZE_MAX - 64); });
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("xmalloc: out of memory ("), std::string::npos);
    r = run_in_child([] { xcalloc(SIZE_MAX / 2, 4); });
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("xcalloc: out of memory"), std::string::npos);
}

TEST(TextUtilities, InttostrWithinTheBufferRegexAndFmatch)
{
    const std::pair<int64_t, const char *> rows[] = {{0, "0"},
                                                     {7, "7"},
                                                     {-7, "-7"},
                                                     {1234567890, "1234567890"},
                                                     {INT64_MAX, "9223372036854775807"},
                                                     {INT64_MIN, "-9223372036854775808"}};
    for (auto [value, text] : rows) {
        char buf[OX_INTTOSTR_SIZE];
        EXPECT_EQ(inttostr(value, buf, sizeof buf), buf);
        EXPECT_STREQ(buf, text);
        size_t need = std::strlen(text) + 1;
        char exact[OX_INTTOSTR_SIZE];
        EXPECT_EQ(inttostr(value, exact, need), exact);
        char small[OX_INTTOSTR_SIZE] = "xx";
        EXPECT_EQ(inttostr(value, small, need - 1), nullptr);
        EXPECT_EQ(ox_error_get_last(), ox_error_from_errno(ERANGE));
        EXPECT_STREQ(small, "") << "a short buffer holds no partial number";
    }
    EXPECT_EQ(inttostr(1, nullptr, 5), nullptr);
    EXPECT_EQ(inttostr(1, nullptr, 0), nullptr);

    // The two pattern matchers.
    const std::tuple<const char *, const char *, int> regexes[] = {
        {"abc", "xxabcxx", 1},  {"^abc$", "xabc", 0},    {"a.c", "abc", 1},
        {"a+b", "aaab", 1},     {"(x|y)z", "yz", 1},     {"ABC", "abc", 0},
        {"[0-9]{3}", "a12", 0}, {"[0-9]{3}", "a123", 1}, {"", "", 1}};
    for (auto [pattern, text, match] : regexes) {
        ox_regex *re = regex_cmp(pattern);
        ASSERT_NE(re, nullptr) << pattern;
        EXPECT_EQ(regex_exec(re, text), match) << pattern << " ~ " << text;
        regex_done(re);
    }
    EXPECT_EQ(regex_cmp("a(b"), nullptr);
    EXPECT_EQ(ox_error_get_last(), ox_error_from_errno(EINVAL));
    EXPECT_EQ(regex_cmp("[z-a]"), nullptr);
    EXPECT_EQ(regex_cmp(nullptr), nullptr);
    EXPECT_EQ(regex_exec(nullptr, "x"), -1);
    regex_done(nullptr);

    // File-name patterns match whole names.
    const std::tuple<const char *, const char *, int> names[] = {
        {"*", "", 1},          {"*", "any/thing", 1},  {"a?c", "abc", 1},  {"a?c", "ac", 0},
        {"*.txt", "x.txt", 1}, {"*.txt", "x.txt2", 0}, {"[ab]x", "bx", 1}, {"[!ab]x", "bx", 0},
        {"\\*", "*", 1},       {"\\*", "x", 0},        {"A*", "abc", 0},   {"*", ".hidden", 1}};
    for (auto [pattern, name, match] : names)
        EXPECT_EQ(fmatch(pattern, name), match) << pattern << " ~ " << name;
    EXPECT_EQ(fmatch(nullptr, "x"), 0);
    EXPECT_EQ(fmatch("x", nullptr), 0);
}

}  // namespace
