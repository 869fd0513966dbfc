// Heap and scratch strings: results, limits, and above all who owns what after each call. Run
// under AddressSanitizer, a wrong free or a lost block fails these tests.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/ut_test.h"
#include "ut.h"

// Cutting, padding and trimming, on their own texts.
TEST(Str, CutPadAndTrim) {
    struct Row {
        const char* in;
        unsigned long from, to;
        const char* want;
    } cuts[] = {
        {"abcdef", 2, 4, "cd"},    {"abc", 1, 4294967295UL, "bc"},     {"abc", 0, 99, "abc"},
        {"abc", 3, 3, ""},         {"abc", 4, 4294967295UL, "<null>"}, {"abc", 2, 1, "<null>"},
        {nullptr, 0, 1, "<null>"},
    };
    for (const Row& r : cuts) {
        SCOPED_TRACE(show(r.in) + " " + std::to_string(r.from) + ".." + std::to_string(r.to));
        EXPECT_EQ(take(S_X(r.in, r.from, r.to)), r.want);
        EXPECT_EQ(show(UT_S_X(r.in, r.from, r.to)), r.want);
        EXPECT_EQ(err_, 0);
    }
    struct Trim {
        const char* in;
        const char* trl;
        const char* lead;
        const char* no_x;
    } trims[] = {
        {"  a b \t", "  a b", "a b \t", "  a b \t"},
        {"   ", "", "   ", "   "},  // only blanks: RM_TRL empties, RM_LEAD leaves it
        {"\txax", "\txax", "xax", "\ta"},
        {"", "", "", ""},
    };
    for (const Trim& t : trims) {
        SCOPED_TRACE(t.in);
        std::string a = t.in, b = t.in, c = t.in;
        EXPECT_EQ(RM_TRL(&a[0]), strlen(t.trl));
        EXPECT_STREQ(a.c_str(), t.trl);
        RM_LEAD(&b[0]);
        EXPECT_STREQ(b.c_str(), t.lead);
        REMOVE_CH(&c[0], 'x');
        EXPECT_STREQ(c.c_str(), t.no_x);
    }
    EXPECT_EQ(take(PAD_RP(S_CP("ab"), 5)), "ab   ");
    char* p = S_CP("abcdef");
    EXPECT_EQ(PAD_RP(p, 5), p);  // long enough: the same block back
    MEM_FR(&p);
}

// Appending and replacing: the result is the string to keep and the old block is freed, except
// where nothing changes (then the same pointer comes back).
TEST(Str, AppendAndReplaceHandOverOwnership) {
    EXPECT_EQ(take(S_A(nullptr, "x")), "x");
    char* p = S_CP("ab");
    EXPECT_EQ(S_A(p, ""), p);
    EXPECT_EQ(S_A(p, nullptr), p);
    p = B_A(S_A(p, "cd"), 'e');
    EXPECT_STREQ(p, "abcde");
    p = SM_A(p, "f", nullptr, "ignored", nullptr);
    EXPECT_STREQ(p, "abcdef");
    EXPECT_EQ(SM_A(p, nullptr), p);
    p = UT_SM_A(p, "g", nullptr);  // a heap result despite the prefix: freed below
    p = S_RP(p, "new");
    EXPECT_STREQ(p, "new");
    p = SM_RP(p, "x", "y", nullptr);
    EXPECT_STREQ(p, "xy");
    EXPECT_EQ(SM_RP(p, nullptr), nullptr);  // frees p
    p = S_CP("z");
    EXPECT_EQ(S_RP(p, nullptr), nullptr);  // frees p
    EXPECT_EQ(SM_CP(nullptr, "a", nullptr), nullptr);
    EXPECT_EQ(take(SM_CP("", nullptr)), "");
    EXPECT_EQ(err_, 0);
}

// The 65,534-character limit of joins, exactly at the edge, and what a failure leaves.
TEST(Str, JoinsRefuseResultsOverTheLimit) {
    std::string half(32767, 'a');
    std::string more(32768, 'b');
    EXPECT_EQ(take(SM_CP(half.c_str(), half.c_str(), nullptr)).size(), 65534u);
    EXPECT_EQ(err_, 0);
    EXPECT_EQ(SM_CP(half.c_str(), more.c_str(), nullptr), nullptr);
    EXPECT_STREQ(ERR_S(), "String overflow");
    EXPECT_EQ(UT_SM_CP(more.c_str(), half.c_str(), nullptr), nullptr);
    EXPECT_STREQ(ERR_S(), "String overflow");

    char* base = S_CP(half.c_str());
    EXPECT_EQ(S_A(base, more.c_str()), base);  // failed: base comes back, still ours
    EXPECT_STREQ(ERR_S(), "String overflow");
    EXPECT_EQ(SM_A(base, more.c_str(), nullptr), nullptr);  // failed: null, base not freed
    ERR_S();
    EXPECT_EQ(SM_RP(base, half.c_str(), more.c_str(), nullptr), nullptr);  // base not freed
    ERR_S();
    EXPECT_EQ(base[0], 'a');
    MEM_FR(&base);
}

// While an error is pending every builder does nothing and returns its neutral value.
TEST(Str, PendingErrorMakesBuildersReturnNeutralValues) {
    char* p = S_CP("keep");
    char buf[300] = "untouched";
    S_ERR("pending");
    EXPECT_EQ(S_CP("x"), nullptr);
    EXPECT_EQ(SM_CP("x", nullptr), nullptr);
    EXPECT_EQ(S_X("abc", 0, 1), nullptr);
    EXPECT_EQ(UT_S_CP("x"), nullptr);
    EXPECT_EQ(UT_AL(4), nullptr);
    EXPECT_EQ(MEM_AL(4), nullptr);
    EXPECT_EQ(S_RP(p, "x"), p);
    EXPECT_EQ(SM_RP(p, "x", nullptr), p);
    EXPECT_EQ(S_A(p, "x"), p);
    EXPECT_EQ(PAD_RP(p, 10), p);
    EXPECT_EQ(SM_A(p, "x", nullptr), nullptr);
    EXPECT_EQ(UT_SM_A(p, "x", nullptr), nullptr);
    EXPECT_EQ(RM_TRL(buf), 0);
    S_S("new", buf, 0);
    EXPECT_STREQ(buf, "untouched");
    EXPECT_STREQ(p, "keep");
    EXPECT_STREQ(ERR_S(), "pending");  // and none of them touched the error
    MEM_FR(&p);
    MEM_FR(&p);  // a second free of the nulled pointer is harmless
}

// Record buffers: fl_rc_mxs characters fit, one more is an overflow or a cut.
TEST(Str, RecordCopyStopsAtTheRecordLimit) {
    char* rec = RCDF_AL();
    std::string fits(fl_rc_mxs, 'f'), over(fl_rc_mxs + 1u, 'o');
    S_S(fits.c_str(), rec, 0);
    EXPECT_EQ(rec, fits);
    S_S(over.c_str(), rec, 0);
    EXPECT_STREQ(ERR_S(), "S_S:Record overflow");
    EXPECT_EQ(rec, fits);  // not written
    S_S(over.c_str(), rec, 1);
    EXPECT_EQ(rec, over.substr(0, fl_rc_mxs));
    S_S(nullptr, rec, 0);
    EXPECT_STREQ(rec, "");
    MEM_FR(&rec);
}
