// Text matching and search. Under AddressSanitizer string literals carry red zones, so a read
// past a terminating zero fails these tests.
#include "support/ut_test.h"

static const uint16_t none = 65535;

// Comparing: n 0 is S_MT, n 1 is S_END_MT, a larger n is BF_MT over n bytes. The rule's flags:
// c case, e exact, ? the wild byte (it counts in a), ~ the gap byte (each piece is taken at its
// first occurrence: "a~b" does not cover "abXb").
TEST(Match, CompareUnderEachRule) {
    // clang-format off
    struct Row { const char *a, *b; uint16_t n; const char* rule; char want; } rows[] = {
        {"abc", "ABC", 0, "e", 1}, {"abc", "ABC", 0, "ce", 0}, {"a-b", "a b", 0, "c", 1},
        {"a-b", "a b", 0, "ce", 0}, {"a?c", "abc", 0, "ce?", 1}, {"abc", "a?c", 0, "ce?", 0},
        {"a?", "a", 0, "ce?", 0}, {"ab", "abc", 0, "ce", 0}, {nullptr, nullptr, 0, "", 1},
        {nullptr, "", 0, "", 0}, {nullptr, nullptr, 1, "", 1}, {"a", nullptr, 2, "", 0},
        {"file.BIN", ".bin", 1, "e", 1}, {"bin", ".bin", 1, "e", 0}, {"\\Xab", "\\x", 2, "e", 1},
        {"abcd", "abc", none, "ce", 1}, {"abXb", "a~b", 0, "ce~", 0}, {"bin", "bin", 1, "e", 1},
        {"a\0x", "A\0y", 3, "", 0}, {"a\0?", "a\0y", 3, "ce?", 1},  // bytes past a zero count
        {"xx1 Received, 0 lost", "~1 Received~", 0, "e~", 1}, {nullptr, nullptr, 2, "", 1},
        {"x404 Not Found", "404~Not Found", 0, "ce~", 0}};
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.a) + " / " + show(r.b) + " n=" + std::to_string(r.n) + " " + r.rule);
        char cs = strchr(r.rule, 'c') != nullptr, exact = strchr(r.rule, 'e') != nullptr;
        char wild = strchr(r.rule, '?') ? '?' : 0, gap = strchr(r.rule, '~') ? '~' : 0;
        EXPECT_EQ(r.n == 0   ? S_MT(r.a, r.b, cs, exact, wild, gap)
                  : r.n == 1 ? S_END_MT(r.a, r.b, cs, exact, wild)
                             : BF_MT(r.a, r.b, r.n, cs, exact, wild),
                  r.want);
    }
    // Ordering: without case, case only breaks ties, and then in plain byte order.
    EXPECT_EQ(S_ORD("abc", "ABD", 0) + S_ORD("B", "a", 1) + S_ORD("A", "a", 0), 3);
    EXPECT_EQ(S_ORD("B", "a", 0) + S_ORD("a", "A", 0) + S_ORD("a", "B", 1), 0);
}

// Searching, gap '~': the first match in [from, to) and its end, which a miss leaves untouched.
// Kinds: T is FND_TXT, W its word form FND_WD, B is FND_B on the pattern's first byte, and C is
// FND_CHDM with the class mask in place of the wild byte (a run of the class, never past to).
TEST(Match, FindInRange) {
    // clang-format off
    struct Row { char kind; const char *pat, *s; uint16_t from, to; char cs, wild;
                 uint16_t want, end; } rows[] = {
        {'T', "b", "abcb", 2, none, 1, 0, 3, 4},      {'T', "cb", "abcb", 0, 3, 1, 0, none, 0},
        {'T', "B", "abc", 0, none, 0, 0, 1, 2},       {'T', "b?", "abc", 0, none, 1, '?', 1, 3},
        {'T', "", "abc", 2, none, 1, 0, 2, 2},        {'T', "", "ab", 3, none, 1, 0, none, 0},
        {'T', "a~b", "abXb", 0, none, 1, 0, 0, 2},    {'T', "a~~c", "xaybc", 0, none, 1, 0, 1, 5},
        {'T', "404~Not Found", "HTTP 404 x Not Found!", 0, none, 1, 0, 5, 20},
        {'T', "~b", "abc", 1, 2, 1, 0, 1, 2}, {'W', "cat", "concat cat", 0, none, 1, 0, 7, 10},
        {'W', "cat", "a cat.", 0, none, 1, 0, none, 0},  // punctuation joins words
        {'W', "cat", "cats catcat cat ", 0, none, 1, 0, 12, 15},
        {'W', "at", "cat", 1, none, 1, 0, none, 0},   // edges are judged on the whole text
        {'W', "cat", "catx", 0, none, 1, 0, none, 0}, {'W', "cat", "cat1", 0, 3, 1, 0, none, 0},
        {'B', "B", "abcb", 2, none, 0, 0, 3, 0},      {'B', "B", "abcb", 0, none, 1, 0, none, 0},
        {'B', "c", "abc", 0, 2, 1, 0, none, 0},       {'C', "", "ab12cd345", 4, 8, 0, ch_dec, 6, 8},
        {'C', "", "\tzz Fa", 0, none, 0, static_cast<char>(ch_hex), 4, 6}};
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(1, r.kind) + " " + r.pat + " in " + r.s);
        uint16_t end = 0;
        EXPECT_EQ(r.kind == 'B'   ? FND_B(r.pat[0], r.s, r.from, r.to, r.cs)
                  : r.kind == 'C' ? FND_CHDM(r.wild, r.s, r.from, r.to, &end)
                  : r.kind == 'W' ? FND_WD(r.pat, r.s, r.from, r.to, '~', r.cs, r.wild, &end)
                                  : FND_TXT(r.pat, r.s, r.from, r.to, '~', r.cs, r.wild, &end),
                  r.want);
        EXPECT_EQ(end, r.end);
    }
    EXPECT_EQ(FND_TXT("a", nullptr, 0, none, 0, 1, 0, nullptr), none);
    // A pattern segment is cut at the pattern's end; one that starts past it is empty.
    EXPECT_EQ(FND_TXT("xbcx", 1, 3, "abcd", 0, none, 0, 1, 0, nullptr), 1);
    EXPECT_EQ(FND_TXT("abc", 5, none, "xyz", 1, none, 0, 1, 0, nullptr), 1);
    EXPECT_EQ(FND_WD("xcatx", 1, 4, "concat cat", 0, none, 0, 1, 0, nullptr), 7);
}

// Replacing: heap and scratch forms agree; "all" goes on after each replacement.
TEST(Match, ReplaceText) {
    // clang-format off
    struct Row { const char *s, *find, *repl; char all, gap, word; const char* want; } rows[] = {
        {"aXbxc", "x", "-", 1, 0, 0, "a-b-c"},       {"aXbxc", "x", "-", 0, 0, 0, "a-bxc"},
        {"abc", "", "<", 0, 0, 0, "<abc"},           {"abc", nullptr, "", 1, 0, 0, "abc"},
        {nullptr, nullptr, "r", 0, 0, 0, "r"},       {nullptr, "x", "r", 0, 0, 0, "<null>"},
        {"aaa", "a", "aa", 1, 0, 0, "aaaaaa"},       {"abab", "b", nullptr, 1, 0, 0, "aa"},
        {"abc", "~", "X", 1, '~', 0, "X"},           {"a<b>c<d>e", "<~>", "", 1, '~', 0, "ace"},
        {"a a aa a.", "a", "b", 1, 0, 1, "b b aa a."},
        {"cat concat", "CAT", "dog", 0, 0, 1, "dog concat"}};
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.s) + " " + show(r.find) + " " + show(r.repl));
        char* s = S_CP(r.s);
        EXPECT_EQ(show((r.word ? UT_C_WD : UT_C_TXT)(s, r.find, r.repl, r.all, r.gap)), r.want);
        EXPECT_EQ(show(s), show(r.s));  // the scratch form leaves its input alone
        EXPECT_EQ(take((r.word ? C_WD : C_TXT)(s, r.find, r.repl, r.all, r.gap)), r.want);
    }
    char *p = S_CP("a.b.c"), *q = S_CP("a.b.c");
    RPL_CH('.', '/', p, 0), RPL_CH('.', '/', q, 1);
    EXPECT_EQ(C_TXT(p, "z", "y", 1, 0), p);  // nothing found: the same block back
    EXPECT_EQ(take(p) + take(q), "a/b.ca/b/c");
}

// A failed build raises the error with the trail and keeps the text; a pending error is left
// alone and makes every function return its neutral value.
TEST(Match, FailureAndPendingErrorKeepTheText) {
    std::string big(40000, 'x'), repl(30000, 'r');
    char* s = S_CP((big + "a").c_str());
    EXPECT_EQ(C_TXT(s, "a", repl.c_str(), 0, 0), s);
    EXPECT_STREQ(ERR_S(), "String overflow [C_TXT]");
    EXPECT_EQ(UT_C_TXT(s, "a", repl.c_str(), 0, 0), nullptr);
    EXPECT_STREQ(ERR_S(), "String overflow [UT_C_TXT]");
    S_ERR("pending");
    EXPECT_EQ(S_MT(s, s, 1, 1, 0, 0) + BF_MT(s, s, 1, 1, 1, 0) + S_END_MT(s, s, 1, 1, 0), 0);
    EXPECT_EQ(FND_TXT("a", s, 0, none, 0, 1, 0, nullptr) & FND_B('a', s, 0, none, 1) &
                  FND_CHDM(ch_word, s, 0, none, nullptr),
              none);
    EXPECT_TRUE(C_WD(s, "a", "-", 1, 0) == s && !UT_C_TXT(s, "a", "-", 1, 0) && S_ORD("b", "a", 1));
    RPL_CH('a', 'b', s, 1);
    EXPECT_EQ(show(ERR_S()) + take(s), "pending" + big + "a");
}
