// The error state: what a caller sees after raising, extending, clearing, saving and restoring.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

#include "support/ut_test.h"
#include "ut.h"

// Ten one-digit pieces, to build a list longer than 49 pieces.
#define TEN "0", "1", "2", "3", "4", "5", "6", "7", "8", "9"

// Raising: the first error wins; null and empty texts read "(null)" for S_ERR, "" for SM_ERR; a
// joined raise takes at most 49 pieces (those past them must not be read). Reading clears.
TEST(Err, RaiseKeepsTheFirstErrorAndItsExactText) {
    const std::tuple<void (*)(), const char*> rows[] = {
        {[] { S_ERR(nullptr); }, "(null)"},
        {[] { S_ERR(""); }, "(null)"},
        {[] { S_ERR("first"), S_ERR("second"); }, "first"},
        {[] { S_ERR("first"), SM_ERR("second", nullptr); }, "first"},
        {[] { SM_ERR(nullptr, nullptr); }, ""},
        {[] { SM_ERR("a", nullptr, "b", nullptr); }, "a"},
        {[] { SM_ERR(TEN, TEN, TEN, TEN, TEN, TEN, nullptr); },
         "0123456789012345678901234567890123456789012345678"},
    };
    for (const auto& [raise, want] : rows) {
        SCOPED_TRACE(want);
        ERR_S();
        raise();
        ASSERT_EQ(err_, 1);
        EXPECT_STREQ(ERR_S(), want);
        EXPECT_EQ(ERR_S(), nullptr);  // nothing pending any more
    }
}

// The trail: each level adds " [name]" behind the innermost failure, and the cleared text stays
// readable. Appending revives that last cleared text; SM_ERRA without a first piece does nothing.
TEST(Err, TrailAndAppendExtendTheText) {
    S_ERR("x");
    EXPECT_EQ(RTN_ERR("S_CP"), 1);
    EXPECT_EQ(RTN_ERR("S_RP"), 1);
    EXPECT_STREQ(ERR_S(), "x [S_CP] [S_RP]");
    EXPECT_EQ(RTN_ERR("MAIN"), 0);  // nothing pending: the text stays as it is
    EXPECT_STREQ(err_msg, "x [S_CP] [S_RP]");
    S_ERRA(" more");
    EXPECT_STREQ(ERR_S(), "x [S_CP] [S_RP] more");
    S_ERRA(nullptr);  // no text: only the flag
    EXPECT_STREQ(ERR_S(), "x [S_CP] [S_RP] more");
    SM_ERRA(nullptr, "ignored", nullptr);
    EXPECT_EQ(err_, 0);
    SM_ERRA(" (", "sd=3", ")", nullptr);
    EXPECT_STREQ(ERR_S(), "x [S_CP] [S_RP] more (sd=3)");
    EXPECT_EQ(ST_OK(nullptr), 0);  // presence looks only at the pointer
    EXPECT_EQ(ST_OK(""), 1);
}

// The stack: a saved error replaces what was raised since the push; nothing saved keeps it.
TEST(Err, PushAndPopRestoreTheSavedError) {
    // Pending at the push, raised inside, pending after the pop; null: none.
    const char* rows[][3] = {{"x", "y", "x"}, {nullptr, "y", "y"}, {"x", nullptr, "x"}, {}};
    for (const auto& [before, inside, after] : rows) {
        SCOPED_TRACE(show(before) + "/" + show(inside));
        ERR_S();
        if (before) S_ERR(before);
        PSH_ERR();
        EXPECT_EQ(err_, 0);
        if (inside) S_ERR(inside);
        POP_ERR();
        EXPECT_EQ(psh_err_cnt, 0);
        EXPECT_EQ(show(ERR_S()), show(after));
    }
    // At full depth a formatter leaves the stack alone; an eleventh push is ignored and leaves
    // the error pending; the pop of level 10 restores its saved text; below zero nothing.
    for (int i = 0; i < 9; i++) PSH_ERR();
    S_ERR("saved");
    PSH_ERR();
    EXPECT_STREQ(V_S10(42, nullptr, 0), "42");
    EXPECT_EQ(err_, 0);
    S_ERR("deep");
    PSH_ERR();
    EXPECT_EQ(psh_err_cnt, 10);
    EXPECT_STREQ(V_S10(43, nullptr, 0), "43");
    EXPECT_EQ(err_, 1);
    for (int i = 0; i < 11; i++) POP_ERR();
    EXPECT_EQ(psh_err_cnt, 0);
    EXPECT_STREQ(ERR_S(), "saved");
}

// The allocation trace logs through the formatters and the debug log, which run in the middle
// of the error routines' own updates: at every tracing level the error comes out as it went
// in. Each row ends with a new raise, where a text freed twice would show.
TEST(Err, TracingLeavesThePendingErrorAsFound) {
    const std::pair<void (*)(), const char*> rows[] = {
        {[] { S_ERR("A"), PSH_ERR(), POP_ERR(); }, "A"},
        {[] { S_ERR("A"), PSH_ERR(), S_ERR("B"), POP_ERR(); }, "A"},
        {[] { S_ERR("A"), S_DBG("line"); }, "A"},
        {[] { S_ERR("A"), SM_ERRA(" n=", V_S10(255, nullptr, 0), nullptr); }, "A n=255"},
        {[] { S_ERR("A"), RTN_ERR("S_CP"); }, "A [S_CP]"},
    };
    dbg_vd = 0;
    for (char level : {0, 1, 2})
        for (const auto& [run, want] : rows) {
            SCOPED_TRACE(std::to_string(level) + ": " + want);
            ERR_S();
            mem_al_dbg = level;
            run();
            mem_al_dbg = 0;
            EXPECT_EQ(psh_err_cnt, 0);
            EXPECT_EQ(show(ERR_S()), want);
            S_ERR("later");
            EXPECT_STREQ(ERR_S(), "later");
        }
}

// System errors: "NAME:detail (err #N:text)", the null-name form, and the number returned; a
// non-zero code wins over errno. A pending error makes OS_ERR return 1 and record nothing.
TEST(Err, OsErrorTextForms) {
    const std::string enoent = strerror(ENOENT);
    // Name, detail, code, errno before the call, result, text ("<null>": nothing raised).
    const std::tuple<const char*, const char*, long, int, long, std::string> rows[] = {
        {"AVAIL_DRV", ":statfs", ENOENT, EPERM, ENOENT, "AVAIL_DRV:statfs (err #2:" + enoent + ")"},
        {"AVAIL_DRV", ":statfs", 0, ENOENT, ENOENT, "AVAIL_DRV:statfs (err #2:" + enoent + ")"},
        {nullptr, nullptr, ENOENT, 0, ENOENT, "err #2:" + enoent},
        {"NAME", ":detail", 0, 0, 0, "NAME:detail"},
        {nullptr, nullptr, 0, 0, 0, "<null>"},
    };
    for (const auto& [name, detail, code, errno_before, ret, want] : rows) {
        SCOPED_TRACE(want);
        ERR_S();
        errno = errno_before;
        EXPECT_EQ(OS_ERR(name, detail, code), ret);
        EXPECT_EQ(show(ERR_S()), want);
    }
    S_ERR("first");
    EXPECT_EQ(OS_ERR("X", ":y", EPERM), 1);
    EXPECT_STREQ(ERR_S(), "first");
    EXPECT_EQ(os_err, ENOENT);  // the pending error kept OS_ERR from recording EPERM
}
