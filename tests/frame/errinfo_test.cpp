// Errinfo records: the error-type registry as data, the accrued error
// chain and its limit.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "child_process.hpp"
#include "debug_scope.hpp"
#include "frame/errinfo_state.hpp"
#include "frame/error_types.hpp"
#include "platform/alloc_testing.hpp"

using cairn::testing::run_in_child;

namespace {

struct TypeRow {
    int type;
    const char *name;
    int max_code;
    const char *last_text;  // nullptr: not checked
};

TEST(Errinfo, BuiltInTypesAsData)
{
    const TypeRow rows[] = {
        {1, "SYSTEM", 1, "Unknown error"},     {2, "RPC", 29, nullptr},
        {3, "RAP", 33, nullptr},               {5, "BXR", 1, "Unknown error"},
        {8, "MDB", 1, "Unknown error"},        {9, "JOBS", 4, nullptr},
        {12, "GSS", 18, "The provided name was not a mechanism name"},
        {13, "SSL", 9, nullptr},               {14, "OpenSSL", 1, "Unknown error"},
        {15, "BSAFE", 1, "Unknown error"},     {16, "SSNCHNL", 29, nullptr},
        {18, "SYSTEM", 1, "Unknown error"},    {19, "SYSTEM_VSS", 1, "Unknown error"},
        {24, "AUTHC", 9, nullptr},             {25, "MSGBUS", 5, "System error"},
        {27, "SQLITE", 1, "Unknown error"},
    };
    for (const TypeRow &row : rows) {
        EXPECT_STREQ(err_type_name(row.type), row.name);
        auto last = cairn::err_type_lookup(row.type, row.max_code);
        EXPECT_STRNE(last.text, "") << row.name;
        EXPECT_NE(last.severity, 0) << row.name << ": a registered code";
        if (row.last_text != nullptr) {
            EXPECT_STREQ(last.text, row.last_text);
        }
        auto past = cairn::err_type_lookup(row.type, row.max_code + 1);
        EXPECT_STREQ(past.text, "Unknown error") << row.name;
        EXPECT_EQ(past.severity, 0);
    }
    EXPECT_STREQ(cairn::err_type_lookup(2, 0).text, cairn::err_type_lookup(16, 0).text);
    EXPECT_STREQ(cairn::err_type_lookup(9, 2).text, "Unable to find job record");
    EXPECT_STREQ(cairn::err_type_lookup(25, 1).text, "Invalid or NULL session channel");
    EXPECT_STREQ(cairn::err_type_lookup(12, 1).text, "An unsupported mechanism was requested");
    EXPECT_STREQ(cairn::err_type_lookup(12, 2).text, "An invalid name was supplied");
    for (int type : {0, 4, 34, 35, 36, -1})
        EXPECT_STREQ(err_type_name(type), "BXR") << type;
    EXPECT_STREQ(cairn::err_type_lookup(4, 0).text, "Unknown error");
    EXPECT_STREQ(cairn::err_severity_name(5), "critical");
    EXPECT_STREQ(cairn::err_severity_name(6), "info");
}

TEST(Errinfo, SetTypeCopiesCutsAndReplaces)
{
    std::string long_name(200, 'n');
    char first[] = "1234:Disk full";
    const char *texts[] = {"Fine", first, nullptr};
    const int sev[] = {1, 4, 2};
    EXPECT_EQ(err_settype(4, 2, long_name.c_str(), texts, sev), 0);
    const char *before = cairn::err_type_lookup(4, 1).text;
    std::strcpy(first, "9:changed");
    EXPECT_EQ(std::strlen(err_type_name(4)), 127u);
    auto disk = cairn::err_type_lookup(4, 1);
    EXPECT_STREQ(disk.text, "1234:Disk full");
    EXPECT_EQ(disk.severity, 4);
    EXPECT_EQ(disk.catalog, 1234);
    EXPECT_STREQ(cairn::err_type_lookup(4, 2).text, "");
    // Replacing keeps the texts handed out before.
    EXPECT_EQ(err_settype(4, 0, "FOUR", texts, nullptr), 0);
    EXPECT_STREQ(err_type_name(4), "FOUR");
    EXPECT_EQ(cairn::err_type_lookup(4, 0).severity, 0);
    EXPECT_STREQ(before, "1234:Disk full");
    EXPECT_STREQ(cairn::err_type_lookup(4, 1).text, "Unknown error");
    // Bad calls.
    EXPECT_EQ(err_settype(36, 0, "X", texts, sev), 0);
    EXPECT_STREQ(err_type_name(35), "BXR");
    EXPECT_EQ(err_settype(0, 0, "X", texts, sev), OX_EINVAL);
    EXPECT_EQ(err_settype(6, 1000, "X", texts, sev), OX_EINVAL);
    EXPECT_EQ(err_settype(6, 0, nullptr, texts, sev), OX_ENULL);
    EXPECT_EQ(err_settype(6, 0, "X", nullptr, sev), OX_ENULL);
    EXPECT_STREQ(err_type_name(6), "BXR");
}

TEST(Errinfo, AccruedChainNewestFirstWithItsLimit)
{
    auto child = run_in_child([] {
        err_accrue("off");  // accrual is off for a new thread
        cairn::ErrinfoState *state = cairn::errinfo_state();
        if (state->chain != nullptr)
            std::exit(2);
        state->accrual_on = true;
        err_accrue("a");
        err_accrue(nullptr);
        err_accrue("b");
        std::printf("%s|", state->chain);
        // Old length + new length + 9 may reach 19456, not exceed it.
        std::string big(cairn::kAccruedChainMax - 9 - state->chain_len - 5, 'x');
        err_accrue(big.c_str());
        std::printf("%zu ", state->chain_len);
        {
            cairn::testing::DebugScope debug(0, 0x100);
            err_accrue("y");
            std::printf("%zu ", state->chain_len);
            err_accrue("z");
        }
        std::printf("%zu|", state->chain_len);
        cairn::testing::alloc_fail_at(1);
        state->chain_len = 10;  // room again, but no memory
        err_accrue("z");
        cairn::testing::alloc_fail_at(0);
        std::printf("%d", std::strncmp(state->chain, "y->(", 4));
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "b->(a)|19446 19451 19451|0");
    EXPECT_NE(child.err.find("Dropping error string z\n"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("Unable to allocate memory for storing error string: "),
              std::string::npos);
}

}  // namespace
