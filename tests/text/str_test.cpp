// Heap and scratch strings: results, limits, and above all who owns what after each call. Run
// under AddressSanitizer, a wrong free or a lost block fails these tests.
#include "support/ut_test.h"

// Cutting, padding and trimming, on their own texts.
TEST(Str, CutPadAndTrim) {
    // clang-format off
    const struct { const char* in; unsigned long from, to; std::string want; } cuts[] = {
        {"abcdef", 2, 4, "cd"}, {"abc", 1, 4294967295UL, "bc"}, {"abc", 0, 99, "abc"},
        {"abc", 3, 3, ""}, {"abc", 4, 4294967295UL, "<null>"}, {"abc", 2, 1, "<null>"},
        {nullptr, 0, 1, "<null>"}};
    // Input, then RM_TRL, RM_LEAD and REMOVE_CH(.., 'x') of it; only blanks: RM_TRL empties,
    // RM_LEAD leaves it.
    const char* trims[][4] = {{"  a b \t", "  a b", "a b \t", "  a b \t"},
        {"   ", "", "   ", "   "}, {"\txax", "\txax", "xax", "\ta"}, {"", "", "", ""}};
    // clang-format on
    for (const auto& r : cuts) {
        SCOPED_TRACE(show(r.in) + " " + std::to_string(r.from) + ".." + std::to_string(r.to));
        EXPECT_EQ(take(S_X(r.in, r.from, r.to)), r.want);
        EXPECT_EQ(show(UT_S_X(r.in, r.from, r.to)), r.want);
        EXPECT_EQ(err_, 0);
    }
    for (const auto& [in, trl, lead, no_x] : trims) {
        SCOPED_TRACE(in);
        std::string a = in, c = in;
        char* b = S_CP(in);  // a block of its exact size: a byte moved too many shows under ASan
        EXPECT_EQ(RM_TRL(&a[0]), strlen(trl));
        RM_LEAD(b), REMOVE_CH(&c[0], 'x');
        EXPECT_EQ(std::string(a.c_str()) + "|" + take(b) + "|" + c.c_str(),
                  std::string(trl) + "|" + lead + "|" + no_x);
    }
    char* p = S_CP("abcde");
    EXPECT_EQ(PAD_RP(p, 5), p);  // long enough: the same block back
    EXPECT_EQ(take(PAD_RP(p, 7)), "abcde  ");
}

// Appending and replacing hand back the string to keep: the same block when nothing changes,
// null (the old one freed) when there is nothing to copy; "" is something.
TEST(Str, AppendAndReplaceHandOverOwnership) {
    char* p = UT_SM_A(S_A(nullptr, "a"), "b", nullptr);  // a heap result despite the prefix
    EXPECT_TRUE(S_A(p, "") == p && S_A(p, nullptr) == p && SM_A(p, nullptr) == p);
    EXPECT_STREQ(p = SM_A(B_A(p, 'c'), "d", nullptr, "ignored", nullptr), "abcd");
    EXPECT_STREQ(p = SM_RP(S_RP(p, "new"), "x", "y", nullptr), "xy");
    EXPECT_TRUE(!SM_RP(p, nullptr) && !S_RP(S_CP("z"), nullptr) && !SM_CP(nullptr, "a", nullptr));
    EXPECT_EQ(take(SM_CP("", nullptr)) + show(ERR_S()), "<null>");
    UT_FREE();  // a heap result taken from the scratch ring would now be freed twice
}

// The 65,534-character limit of joins, exactly at the edge, and what a failure leaves; then
// trimming while an error is pending.
TEST(Str, JoinsOverTheLimitAndPendingErrorsLeaveStringsAlone) {
    std::string half(32767, 'a'), more(32768, 'b');
    const char *h = half.c_str(), *m = more.c_str();
    EXPECT_EQ(take(SM_CP(h, h, nullptr)).size(), 65534u);
    EXPECT_EQ(with_err(show(SM_CP(h, m, nullptr))), "<null> String overflow");
    char* base = S_CP(h);
    EXPECT_EQ(with_err(S_A(base, m) == base), "1 String overflow");  // base is given back
    MEM_FR(&base);
    // While an error is pending the builders do nothing (their neutral answers: the other
    // text tests), nor does trimming.
    char buf[] = "x ";
    S_ERR("pending");
    EXPECT_EQ(RM_TRL(buf), 0);
    EXPECT_EQ(buf + show(ERR_S()), "x pending");
}

// Record buffers: fl_rc_mxs characters fit (256 unless a program sets it), one more is an
// overflow or a cut.
TEST(Str, RecordCopyStopsAtTheRecordLimit) {
    char* rec = RCDF_AL();
    std::string fits(256, 'f'), over(257, 'o');
    S_S(fits.c_str(), rec, 0), S_S(over.c_str(), rec, 0);  // the second writes nothing
    EXPECT_EQ(show(ERR_S()) + " " + rec, "S_S:Record overflow " + fits);
    S_S(over.c_str(), rec, 1);
    EXPECT_EQ(rec, over.substr(0, 256));
    S_S(nullptr, rec, 0);
    EXPECT_EQ(take(rec), "");
}
