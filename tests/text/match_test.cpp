// Text matching and search. Under AddressSanitizer string literals carry red zones, so a read
// past a terminating zero fails these tests.
#include <gtest/gtest.h>

#include <string>

#include "support/ut_test.h"
#include "ut.h"

static const uint16_t none = 65535;

// Comparing: n 0 is S_MT, n 1 is S_END_MT, a larger n is BF_MT over n bytes. Wild counts in a.
TEST(Match, CompareUnderEachRule) {
    // clang-format off
    struct Row { const char *a, *b; uint16_t n; char cs, exact, wild, gap, want; } rows[] = {
        {"abc", "ABC", 0, 0, 1, 0, 0, 1}, {"abc", "ABC", 0, 1, 1, 0, 0, 0},
        {"a-b", "a b", 0, 1, 0, 0, 0, 1}, {"a-b", "a b", 0, 1, 1, 0, 0, 0},
        {"a?c", "abc", 0, 1, 1, '?', 0, 1}, {"abc", "a?c", 0, 1, 1, '?', 0, 0},
        {"a-", "a", 0, 1, 0, 0, 0, 0}, {"a?", "a", 0, 1, 1, '?', 0, 0},
        {"ab", "abc", 0, 1, 1, 0, 0, 0},
        {nullptr, nullptr, 0, 1, 1, 0, 0, 1}, {nullptr, "", 0, 1, 1, 0, 0, 0},
        {"xx1 Received, 0 lost", "~1 Received~", 0, 0, 1, 0, '~', 1},
        {"abXb", "a~b", 0, 1, 1, 0, '~', 0},  // "b" is taken at its first occurrence
        {"x404 Not Found", "404~Not Found", 0, 1, 1, 0, '~', 0},
        {"file.BIN", ".bin", 1, 0, 1, 0, 0, 1}, {"bin", ".bin", 1, 0, 1, 0, 0, 0},
        {"\\Xab", "\\x", 2, 0, 1, 0, 0, 1}, {"abc", "abd", 3, 1, 1, 0, 0, 0},
        {"ab", "abc", none, 1, 1, 0, 0, 0},
        {"abcd", "abc", none, 1, 1, 0, 0, 1}, {"ab", "ab", 9, 1, 1, 0, 0, 1},
        {"a", "a-", 9, 1, 0, 0, 0, 0}, {"x?", "x", 9, 1, 1, '?', 0, 0},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.a) + " / " + show(r.b) + " n=" + std::to_string(r.n));
        EXPECT_EQ(r.n == 0   ? S_MT(r.a, r.b, r.cs, r.exact, r.wild, r.gap)
                  : r.n == 1 ? S_END_MT(r.a, r.b, r.cs, r.exact, r.wild)
                             : BF_MT(r.a, r.b, r.n, r.cs, r.exact, r.wild),
                  r.want);
    }
    // Ordering: without case, case only breaks ties, and then in plain byte order.
    EXPECT_EQ(S_ORD("abc", "ABD", 0) + S_ORD("B", "a", 1) + S_ORD("A", "a", 0), 3);
    EXPECT_EQ(S_ORD("B", "a", 0) + S_ORD("a", "A", 0) + S_ORD("a", "B", 1), 0);
}

// Searching, gap '~': the first match in [from, to) and its end, which a miss leaves untouched.
TEST(Match, FindPatternInRange) {
    // clang-format off
    struct Row { const char *pat, *s; uint16_t from, to; char cs, wild, word; uint16_t want, end; }
    rows[] = {
        {"b", "abcb", 2, none, 1, 0, 0, 3, 4},       {"cb", "abcb", 0, 3, 1, 0, 0, none, 0},
        {"B", "abc", 0, none, 0, 0, 0, 1, 2},        {"B", "abc", 0, none, 1, 0, 0, none, 0},
        {"b?", "abc", 0, none, 1, '?', 0, 1, 3},     {"", "abc", 2, none, 1, 0, 0, 2, 2},
        {"", "ab", 3, none, 1, 0, 0, none, 0},       {"a~b", "abXb", 0, none, 1, 0, 0, 0, 2},
        {"~1 Received~", "xx1 Received, 0 lost", 0, none, 0, 0, 0, 0, 20},
        {"404~Not Found", "HTTP 404 x Not Found!", 0, none, 1, 0, 0, 5, 20},
        {"a~~c", "xaybc", 0, none, 1, 0, 0, 1, 5},   {"a~z", "abc", 0, none, 1, 0, 0, none, 0},
        {"~b", "abc", 1, 2, 1, 0, 0, 1, 2},          {"cat", "concat cat", 0, none, 1, 0, 1, 7, 10},
        {"cat", "a cat.", 0, none, 1, 0, 1, none, 0},  // punctuation joins words
        {"cat", "cats catcat cat ", 0, none, 1, 0, 1, 12, 15},
        {"at", "cat", 1, none, 1, 0, 1, none, 0},    // edges are judged on the whole text
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.pat) + " in " + r.s);
        uint16_t end = 0;
        EXPECT_EQ(r.word ? FND_WD(r.pat, 0, none, r.s, r.from, r.to, '~', r.cs, r.wild, &end)
                         : FND_TXT(r.pat, 0, none, r.s, r.from, r.to, '~', r.cs, r.wild, &end),
                  r.want);
        EXPECT_EQ(end, r.end);
    }
    // A pattern segment is cut at the pattern's end; one that starts past it is empty.
    EXPECT_EQ(FND_TXT("xbcx", 1, 3, "abcd", 0, none, 0, 1, 0, nullptr), 1);
    EXPECT_EQ(FND_TXT("abc", 5, none, "xyz", 1, none, 0, 1, 0, nullptr), 1);
    EXPECT_EQ(FND_TXT("b", "abcb", 2, none, 0, 1, 0, nullptr), 3);
    EXPECT_EQ(FND_WD("cat", "concat cat", 0, none, 0, 1, 0, nullptr), 7);
}

// One byte, or the first run of bytes of a class, in [from, to) and never past the end.
TEST(Match, FindByteAndClassRun) {
    EXPECT_EQ(FND_B('B', "abcb", 2, none, 0), 3);
    EXPECT_EQ(FND_B('B', "abcb", 0, none, 1), none);
    EXPECT_EQ(FND_B('c', "abc", 0, 2, 1), none);
    EXPECT_EQ(FND_B('a', "abc", 9, none, 1), none);
    uint16_t end = 0;
    EXPECT_EQ(FND_CHDM(ch_dec, "ab12cd345", 4, 8, &end), 6);
    EXPECT_EQ(end, 8);
    EXPECT_EQ(FND_CHDM(static_cast<char>(ch_hex), "\tzz Fa", 0, none, &end), 4);
    EXPECT_EQ(end, 6);
    EXPECT_EQ(FND_CHDM(ch_dec, "12", 5, none, &end), none);
    EXPECT_EQ(end, 6);
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
        {"cat concat", "CAT", "dog", 0, 0, 1, "dog concat"},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.s) + " " + show(r.find) + " " + show(r.repl));
        char* s = S_CP(r.s);
        EXPECT_EQ(show((r.word ? UT_C_WD : UT_C_TXT)(s, r.find, r.repl, r.all, r.gap)), r.want);
        EXPECT_EQ(show(s), show(r.s));  // the scratch form leaves its input alone
        EXPECT_EQ(take((r.word ? C_WD : C_TXT)(s, r.find, r.repl, r.all, r.gap)), r.want);
    }
    char* p = S_CP("a.b.c");
    EXPECT_EQ(C_TXT(p, "z", "y", 1, 0), p);  // nothing found: the same block back
    RPL_CH('.', '/', p, 0);
    EXPECT_STREQ(p, "a/b.c");
    RPL_CH('.', '/', p, 1);
    EXPECT_STREQ(p, "a/b/c");
    MEM_FR(&p);
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
    EXPECT_EQ(FND_WD("a", s, 0, none, 0, 1, 0, nullptr) & FND_B('a', s, 0, none, 1), none);
    EXPECT_EQ(C_WD(s, "a", "-", 1, 0), s);
    EXPECT_EQ(UT_C_TXT(s, "a", "-", 1, 0), nullptr);
    RPL_CH('a', 'b', s, 1);
    EXPECT_EQ(s, big + "a");
    EXPECT_EQ(S_ORD("b", "a", 1), 1);
    EXPECT_STREQ(ERR_S(), "pending");
    MEM_FR(&s);
}
