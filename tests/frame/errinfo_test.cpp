// Errinfo records: the error-type registry as data, the accrued error
// chain and its limit.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <thread>
#include <string>

#include "cairn/frame.h"
#include "cairn/messages.h"
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
        {1, "SYSTEM", 1, "Unknown error"},
        {2, "RPC", 29, nullptr},
        {3, "RAP", 33, nullptr},
        {5, "BXR", 1, "Unknown error"},
        {8, "MDB", 1, "Unknown error"},
        {9, "JOBS", 4, nullptr},
        {12, "GSS", 18, "The provided name was not a mechanism name"},
        {13, "SSL", 9, nullptr},
        {14, "OpenSSL", 1, "Unknown error"},
        {15, "BSAFE", 1, "Unknown error"},
        {16, "SSNCHNL", 29, nullptr},
        {18, "SYSTEM", 1, "Unknown error"},
        {19, "SYSTEM_VSS", 1, "Unknown error"},
        {24, "AUTHC", 9, nullptr},
        {25, "MSGBUS", 5, "System error"},
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
        if (blow_err(0) != nullptr)
            std::exit(2);
        cairn::ErrinfoState *state = cairn::errinfo_state();
        err_accrue("a");
        err_accrue(nullptr);
        err_accrue("b");
        msg_t *kept = blow_err(0);
        msg_t *taken = blow_err(1);
        std::printf("%s %d %s %d|", kept->text, kept->err.number, taken->text,
                    blow_err(1) == nullptr);
        err_accrue("a");
        err_accrue("b");
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
        blow_err(1);
        err_accrue("a");
        cairn::testing::alloc_fail_at(1);
        err_accrue("z");  // no memory: the chain is kept
        cairn::testing::alloc_fail_at(0);
        std::printf("%s", blow_err(1)->text);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "b->(a) -10001 b->(a) 1|19446 19451 19451|a");
    EXPECT_NE(child.err.find("Dropping error string z\n"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("Unable to allocate memory for storing error string: "),
              std::string::npos);
}

struct SevenRow {
    int type, severity, code;
    int setall;  // err_setall's number
    int setsev;  // err_setsev's number
    const char *text;
};

TEST(Errinfo, ComposedNumbersAndTextsAsData)
{
    char busy[1024];
    std::snprintf(busy, sizeof busy, "%s", ox_strerror(16));
    const SevenRow rows[] = {
        {1, 0, 16, 13016, 15016, busy},  // EBUSY: the two differ on purpose
        {1, 0, 0, 11000, 11000, nullptr},
        {1, 0, 4, 13004, 13004, nullptr},
        {1, 0, 138, 13138, 13138, nullptr},
        {1, 0, 2, 15002, 15002, nullptr},
        {1, 2, 2, 12002, 12002, nullptr},
        {9, 0, 2, 93002, 93002, "Unable to find job record"},
        {25, 0, 0, 251000, 251000, "Success"},
        {4, 0, 7, 40007, 40007, "Unknown error"},   // unregistered: severity 0
        {2, 0, 30, 20030, 20030, "Unknown error"},  // past the last code
    };
    for (const SevenRow &row : rows) {
        msg_t *rec = err_setall(row.type, row.severity, row.code, nullptr);
        ASSERT_NE(rec, nullptr);
        EXPECT_EQ(rec->err.number, row.setall) << row.type << "/" << row.code;
        EXPECT_EQ(rec->err.type, row.setall / 10000);
        EXPECT_EQ(rec->err.severity, row.setall / 1000 % 10);
        EXPECT_EQ(rec->err.code, row.setall % 1000);
        EXPECT_EQ(err_setsev(row.type, row.severity, row.code), row.setsev);
        if (row.text != nullptr) {
            EXPECT_STREQ(rec->text, row.text);
        }
    }
    msg_t *given = err_setall(3, 4, 5, "own text");
    EXPECT_EQ(given->err.number, 34005);
    EXPECT_STREQ(given->text, "own text");
}

TEST(Errinfo, SetKindsAndKeepingRecords)
{
    const char *texts[] = {"ok", "4711:Tape jammed"};
    const int sev[] = {1, 4};
    ASSERT_EQ(err_settype(7, 1, "TAPE", texts, sev), 0);
    msg_t *m = err_set(7, 1);  // severity digit 0: the table's 4
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->err.number, 74001);
    EXPECT_STREQ(m->text, "Tape jammed");  // a catalog literal prints its text
    ASSERT_EQ(m->stext.argcount, 1);
    EXPECT_EQ(m->stext.args[0].desc, 11);
    m = err_set(7, 2000);
    EXPECT_EQ(m->err.number, 72000);
    EXPECT_EQ(m->stext.args[0].desc, MSG_ARG_ERRTEXT);
    m = err_setstr(2, 3017, "remote down");
    EXPECT_EQ(m->err.number, 23017);
    EXPECT_STREQ(m->text, "remote down");
    EXPECT_EQ(m->stext.args[0].desc, MSG_ARG_ERRTEXT);
    EXPECT_EQ(err_setstr(2, 1, nullptr), nullptr);

    err_varp pair{42005, strdup("moved")};
    m = err_move_to_varp(&pair);
    EXPECT_EQ(pair.text, nullptr);
    EXPECT_EQ(m->err.number, 42005);
    EXPECT_STREQ(m->text, "moved");
    EXPECT_EQ(err_move_to_varp(nullptr), nullptr);

    // Copies outlive the thread's record; restore frees what it is given.
    msg_t *own = err_setall(1, 0, 2, nullptr);
    msg_t *dup = err_dup(own);
    err_setall(1, 0, 0, nullptr);
    EXPECT_EQ(dup->err.number, 15002);
    msg_t *back = err_restore(dup);
    EXPECT_EQ(back->err.number, 15002);
    EXPECT_NE(back->text, nullptr);
    err_free(back);
    EXPECT_EQ(err_restore(nullptr), nullptr);
    EXPECT_EQ(err_dup(nullptr), nullptr);
    err_free(err_setall(1, 0, 0, nullptr));  // the thread's own record: forgotten first
    EXPECT_EQ(err_setall(1, 0, 4, nullptr)->err.number, 13004);
}

TEST(Errinfo, SaveOverwritesWithADebugLineAndPrintWarns)
{
    auto child = run_in_child([] {
        ox_set_progname("prog");
        msg_t *first = err_setstr(1, 3001, "first");
        msg_t *slot = err_save(first);
        {
            cairn::testing::DebugScope debug(1, 0);
            slot = err_save(err_setstr(1, 3002, "second"));
        }
        std::printf("%d %s %d|", slot->err.number, slot->text, err_save(nullptr) == nullptr);
        std::printf("%d", err_print(slot) > 0);
        err_free(slot);  // the slot is then empty: a new save writes no line
        cairn::testing::DebugScope debug(1, 0);
        err_save(first);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(child.out, "13002 second 1|1");
    EXPECT_NE(child.err.find("err_save: overwriting old tmperr <first>\n"), std::string::npos)
        << child.err;
    EXPECT_EQ(child.err.find("tmperr <second>"), std::string::npos);
    EXPECT_NE(child.err.find("13002:prog: second"), std::string::npos);
}

TEST(Errinfo, ThreadStateEndsWithTheThread)
{
    // Under the sanitizers a leak of a thread's records fails the run.
    std::thread([] {
        err_setall(1, 0, 2, nullptr);
        err_save(err_setstr(1, 1, "kept"));
        blow_err(0);
        err_accrue("a");
        err_accrue("b");
        EXPECT_STREQ(blow_err(0)->text, "b->(a)");
    }).join();
    EXPECT_EQ(blow_err(1), nullptr) << "accrual state is per thread";
}

}  // namespace
