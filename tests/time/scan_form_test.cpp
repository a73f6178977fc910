// The form matcher behind the ISO 8601 reader: scanf's number rules, whole
// text matching, widths and overflow.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "time/scan_form.hpp"

namespace {

struct Row {
    const char *text;
    const char *form;
    int stored;  // -1: no match
    std::vector<long long> values;
};

TEST(ScanForm, MatchesAsTable)
{
    const Row rows[] = {
        {"12-34", "%d-%d", 2, {12, 34}},
        {"  12-  34", "%d-%d", 2, {12, 34}},  // blanks before numbers
        {"\t\n12", "%d", 1, {12}},
        {"+12--34", "%d-%d", 2, {12, -34}},
        {"12 -34", "%d -%d", 2, {12, 34}},
        {"12  -34", "%d -%d", -1, {}},  // a blank in the form matches one blank
        {"12345", "%02d%d", 2, {12, 345}},
        {"-1234", "%04d%d", 2, {-123, 4}},  // the sign counts in the width
        {"-", "%d", -1, {}},
        {"+", "%1d", -1, {}},
        {"", "%d", -1, {}},
        {"", "", 0, {}},
        {"x", "", -1, {}},  // left-over text
        {"12x", "%d", -1, {}},
        {"12", "%dx", -1, {}},  // missing literal
        {"2147483647", "%d", 1, {INT_MAX}},
        {"-2147483648", "%d", 1, {INT_MIN}},
        {"2147483648", "%d", -1, {}},
        {"-2147483649", "%d", -1, {}},
        {"9223372036854775807", "%ld", 1, {LLONG_MAX}},
        {"-9223372036854775808", "%ld", 1, {LLONG_MIN}},
        {"9223372036854775808", "%ld", -1, {}},
        {"99999999999999999999999", "%ld", -1, {}},
        {"0000000000000000000000012", "%d", 1, {12}},  // leading zeros do not overflow
        {"1", "%x", -1, {}},                           // unknown conversions never match
        {"1", "%0d", -1, {}},
        {"1", "%", -1, {}},
    };
    for (const Row &r : rows) {
        long long values[cairn::kMaxFormValues] = {};
        int stored = cairn::scan_form(r.text, r.form, values);
        EXPECT_EQ(stored, r.stored) << '"' << r.text << "\" with \"" << r.form << '"';
        for (int i = 0; i < stored && i < static_cast<int>(r.values.size()); ++i)
            EXPECT_EQ(values[i], r.values[i]) << r.text << " value " << i;
    }
}

TEST(ScanForm, TooManyConversionsDoNotOverrun)
{
    long long values[cairn::kMaxFormValues] = {};
    std::string text, form;
    for (int i = 0; i <= cairn::kMaxFormValues; ++i) {
        text += "1,";
        form += "%d,";
    }
    EXPECT_EQ(cairn::scan_form(text.c_str(), form.c_str(), values), -1);
}

}  // namespace
