// The error state: what a caller sees after raising, extending, clearing, saving and restoring.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "support/ut_test.h"
#include "ut.h"

// Raising: the first error wins; null and empty texts read "(null)" for S_ERR, "" for SM_ERR.
TEST(Err, RaiseKeepsTheFirstErrorAndItsExactText) {
    struct Row {
        const char* first;
        const char* second;
        const char* want;
    } rows[] = {
        {"x", nullptr, "x"},
        {nullptr, nullptr, "(null)"},
        {"", nullptr, "(null)"},
        {"first", "second", "first"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.want);
        ERR_S();
        S_ERR(r.first);
        if (r.second) S_ERR(r.second);
        ASSERT_EQ(err_, 1);
        EXPECT_STREQ(ERR_S(), r.want);
        EXPECT_EQ(err_, 0);
        EXPECT_EQ(ERR_S(), nullptr);  // nothing pending any more
    }
    SM_ERR(nullptr, nullptr);
    EXPECT_STREQ(ERR_S(), "");
    SM_ERR("a", nullptr, "b", nullptr);
    EXPECT_STREQ(ERR_S(), "a");
}

TEST(Err, JoinedRaisesTakeAtMostFortyNinePieces) {
    std::string want;
    for (int i = 0; i < 49; i++) want += static_cast<char>('0' + i % 10);
    // 60 pieces: the list goes on past the 49th, and those pieces must not be read.
    const char* d[10] = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};
    SM_ERR(d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7], d[8], d[9], d[0], d[1], d[2], d[3], d[4],
           d[5], d[6], d[7], d[8], d[9], d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7], d[8], d[9],
           d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7], d[8], d[9], d[0], d[1], d[2], d[3], d[4],
           d[5], d[6], d[7], d[8], d[9], d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7], d[8], d[9],
           nullptr);
    EXPECT_EQ(ERR_S(), want);
}

// The trail: each level adds " [name]" behind the innermost failure.
TEST(Err, TrailAppendsCallerNamesInOrder) {
    EXPECT_EQ(RTN_ERR("S_CP"), 0);
    S_ERR("x");
    EXPECT_EQ(RTN_ERR("S_CP"), 1);
    EXPECT_EQ(RTN_ERR("S_RP"), 1);
    EXPECT_STREQ(ERR_S(), "x [S_CP] [S_RP]");
    EXPECT_EQ(RTN_ERR("MAIN"), 0);
    EXPECT_STREQ(err_msg, "x [S_CP] [S_RP]");  // the cleared text stays readable, unchanged
}

TEST(Err, AppendRevivesTheLastClearedText) {
    S_ERR("x");
    ERR_S();
    S_ERRA(" more");
    EXPECT_STREQ(ERR_S(), "x more");
    S_ERRA(nullptr);  // no text: only the flag
    EXPECT_STREQ(ERR_S(), "x more");
    SM_ERRA(nullptr, "ignored", nullptr);
    EXPECT_EQ(err_, 0);
    SM_ERRA(" (", "sd=3", ")", nullptr);
    EXPECT_STREQ(ERR_S(), "x more (sd=3)");
}

// The stack: a saved error replaces what was raised since the push; nothing saved keeps it.
TEST(Err, PushAndPopRestoreTheSavedError) {
    struct Row {
        const char* before;  // pending at the push, or null
        const char* inside;  // raised between push and pop, or null
        const char* after;   // pending after the pop, or null
    } rows[] = {
        {"x", "y", "x"},
        {nullptr, "y", "y"},
        {"x", nullptr, "x"},
        {nullptr, nullptr, nullptr},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.before ? r.before : "-") + "/" + (r.inside ? r.inside : "-"));
        ERR_S();
        if (r.before) S_ERR(r.before);
        PSH_ERR();
        EXPECT_EQ(err_, 0);
        if (r.inside) S_ERR(r.inside);
        POP_ERR();
        EXPECT_EQ(psh_err_cnt, 0);
        if (r.after)
            EXPECT_STREQ(ERR_S(), r.after);
        else
            EXPECT_EQ(err_, 0);
    }
}

TEST(Err, PushBeyondTenIsIgnoredAndLeavesTheErrorPending) {
    for (int i = 0; i < 10; i++) PSH_ERR();
    S_ERR("deep");
    PSH_ERR();
    EXPECT_EQ(psh_err_cnt, 10);
    EXPECT_EQ(err_, 1);
    for (int i = 0; i < 10; i++) POP_ERR();
    EXPECT_STREQ(ERR_S(), "deep");
    POP_ERR();  // below zero: nothing
    EXPECT_EQ(psh_err_cnt, 0);
}

// System errors: "NAME:detail (err #N:text)", the null-name form, and the number returned.
TEST(Err, OsErrorTextForms) {
    const std::string enoent = strerror(ENOENT);
    struct Row {
        const char* name;
        const char* detail;
        long code;
        int errno_before;
        long ret;
        const char* want;  // null: nothing raised
    } rows[] = {
        {"AVAIL_DRV", ":statfs", ENOENT, 0, ENOENT, "AVAIL_DRV:statfs (err #2:"},
        {"AVAIL_DRV", ":statfs", 0, ENOENT, ENOENT, "AVAIL_DRV:statfs (err #2:"},
        {nullptr, nullptr, ENOENT, 0, ENOENT, "err #2:"},
        {"NAME", ":detail", 0, 0, 0, "NAME:detail"},
        {nullptr, nullptr, 0, 0, 0, nullptr},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.want ? r.want : "nothing");
        ERR_S();
        errno = r.errno_before;
        EXPECT_EQ(OS_ERR(r.name, r.detail, r.code), r.ret);
        if (!r.want) {
            EXPECT_EQ(err_, 0);
            continue;
        }
        std::string want = r.want;
        if (r.ret) want += enoent + (r.name ? ")" : "");
        EXPECT_EQ(ERR_S(), want);
    }
    S_ERR("first");
    EXPECT_EQ(OS_ERR("X", ":y", EPERM), 1);
    EXPECT_STREQ(ERR_S(), "first");
    EXPECT_EQ(os_err, ENOENT);  // the pending error kept OS_ERR from recording EPERM
}

TEST(Err, PresenceTestLooksOnlyAtThePointer) {
    EXPECT_EQ(ST_OK(nullptr), 0);
    EXPECT_EQ(ST_OK(""), 1);
}
