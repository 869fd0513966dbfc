// File status, modes and names: the answer of each test for each kind of file with the exact
// negative messages, deleting and renaming with their refusals, the search path, name cutting.
#include "support/ut_test.h"

// Each answer beside the error it left, in the function's own words, with the routine name
// where it adds one. Links are followed except by LINK_OK: a dangling link is no file. A file of
// the same second is not newer; links count by their target. FILE_DL is quiet about a missing file
// without must; procfs refuses even root ("readonly"); a full directory gets no reason. Refused
// renames leave both files and show the pair. S_FILE ends its line (a null text is an empty one) as
// FILE_CRLF guesses for the name.
TEST(Stat, AnswersAndRefusals) {
    setenv("TZ", "UTC", 1);
    const time_t t = 1141567629;  // 2006-03-05 14:07:09, a Sunday: weekday 1
    struct utimbuf same = {t, t}, older = {t - 1, t - 1};
    for (const char* f : {"f", "g", "h", "a", "x"}) spit(f, f);
    ASSERT_EQ(utime("f", &same) | utime("g", &same) | utime("h", &older) | symlink("h", "lh") |
                  symlink("m", "lm"),
              0);
    ASSERT_EQ(mkdir("d", 0755), 0);
    spit("d/in", "x");
    UTMDF ut;
    const std::pair<std::function<long long()>, const char*> rows[] = {
        {[] { return FILE_OK("f", 1) + DIR_OK("d", 1) + LINK_OK("lm", 1) + ANY_FILE_OK("d", 1); },
         "4 <null>"},  // each answers exactly 1
        {[] { return DIR_OK("f", 1); }, "0 \"f\" is not dir"},
        {[] { return DIR_OK("m", 1); }, "0 Dir \"m\" not found"},
        {[] { return LINK_OK("f", 1); }, "0 Link \"f\" not found"},
        {[] { return FILE_MODE("m"); }, "0 \"m\" not found [FILE_MODE]"},
        {[] { return MODE_FILE(0x1ED, "m"), 0; }, "0 chmod failure (file=\"m\", mode=1ed)"},
        {[&] { return FILE_UTM("m", &ut, 0), 0; }, "0 Open error on \"m\" [FILE_UTM]"},
        {[&] { return FILE_UTM("f", &ut, 0), ut.year * 10000 + ut.month * 100 + ut.day; },
         "20060305 <null>"},
        {[] { return FILE_NEWER("f", "g"); }, "0 <null>"},
        {[] { return FILE_NEWER("f", "lh") * 10 + FILE_NEWER("lh", "f"); }, "10 <null>"},
        {[] { return FILE_NEWER("m", "f"); }, "0 \"m\" not found [FILE_NEWER]"},
        {[] { return FILE_NEWER("f", "m"); }, "0 \"m\" not found [FILE_NEWER]"},
        {[] { return ANY_FILE_OK("lm", 0) + ANY_FILE_OK("m", 1); }, "0 \"m\" not found"},
        {[] { return FILE_DL("g", 1); }, "1 <null>"},
        {[] { return FILE_DL("g", 0); }, "0 <null>"},
        {[] { return FILE_DL("g", 1); }, "0 Delete error on \"g\" (file not found)"},
        {[] { return FILE_DL("/proc/stat", 0); }, "0 Delete error on \"/proc/stat\" (readonly)"},
        {[] { return FILE_DL("d", 0); }, "0 Delete error on \"d\""},
        {[] { return FILE_REN("a", "x"), 0; }, "0 \"x\" already exists (a -> x) [FILE_REN]"},
        {[] { return FILE_REN("m", "y"), 0; }, "0 \"m\" not found (m -> y) [FILE_REN]"},
        {[] { return FILE_REN("a", "a"), 0; }, "0 <null>"},
        {[] { return FILE_REN("a", "b"), FILE_OK("a", 0); }, "0 <null>"},
        {[] { return S_FILE("n.txt", nullptr, 2), FILE_SZ("n.txt", 1); }, "2 <null>"},  // CR LF
        {[] { return S_FILE("n.sh", "hi", 1), FILE_SZ("n.sh", 1); }, "3 <null>"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.second);
        ERR_S();
        EXPECT_EQ(with_err(r.first()), r.second);
    }
    EXPECT_EQ(slurp("b") + slurp("x"), "ax");
    EXPECT_EQ(ut.wday * 1000000 + ut.hour * 10000 + ut.minute * 100 + ut.second + ut.ms, 1140709);
}

// The path is walked in order, passing over missing entries and directories of the same name; a
// name with a "/" is looked at where it says, and a directory there is no find either.
TEST(Stat, FindFileWalksThePath) {
    ASSERT_EQ(mkdir("p1", 0755) | mkdir("p2", 0755) | mkdir("p1/tool", 0755), 0);
    spit("p2/tool", "x");
    setenv("PATH", "none:p1:p2/", 1);
    EXPECT_EQ(take(FIND_FILE("tool", 1)), "p2/tool");
    EXPECT_EQ(with_err(take(FIND_FILE("nope", 1))), "<null> \"nope\" not found in path");
    EXPECT_EQ(with_err(take(FIND_FILE("p1/tool", 1))), "<null> \"p1/tool\" not found in path");
}

// Directory (without, with its "/"), name, extension, name with ".bak", name less extension.
TEST(Stat, NamePieces) {
    const char* rows[][2] = {{"a/b/c.txt", "a/b,a/b/,c.txt,txt,a/b/c.bak,a/b/c"},
                             {"a.b.c", "<null>,<null>,a.b.c,c,a.bak,a.b"},
                             {"/x", ",/,x,<null>,/x.bak,/x"},
                             {"d.d/f", "d.d,d.d/,f,d/f,d.bak,d"},
                             {".a.b", "<null>,<null>,.a.b,b,.bak,.a"},
                             {"", "<null>,<null>,,<null>,.bak,"},
                             {nullptr, "<null>,<null>,<null>,<null>,<null>,<null>"}};
    auto cut = [](char* piece) { return take(piece) + ","; };
    for (const auto& r : rows) {
        SCOPED_TRACE(show(r[0]));
        std::string in = show(r[0]);
        char* p = r[0] ? &in[0] : nullptr;
        char* less = FILE_LESS_EXT(p);
        EXPECT_EQ(cut(FSPEC_DIR(r[0], 0)) + cut(FSPEC_DIR(r[0], 1)) + cut(FSPEC_FNAM(r[0])) +
                      cut(FILE_EXT(r[0])) + cut(EXT_FL(r[0], ".bak")) + show(less),
                  r[1]);
        if (less != p) MEM_FR(&less);  // the same pointer back is not ours to free
    }
    EXPECT_EQ(err_, 0);
}

// While an error is pending every call answers its neutral value (a name: null) and keeps the
// error.
TEST(Stat, PendingErrorAnswersNeutrally) {
    spit("f", "12345");
    ASSERT_EQ(mkdir("d", 0755) | symlink("f", "l"), 0);
    ASSERT_NE(FLR_OP("f", 0), nullptr);
    S_ERR("pending");
    const long long answers[] = {
        FILE_OK("f", 0), DIR_OK("d", 0), LINK_OK("l", 0), ANY_FILE_OK("f", 0),
        FILE_SZ("f", 0), FILE_MODE("f"), FILE_DL("f", 0), FILE_NEWER("f", "d"),
        AVAIL_DRV(0),    TOTAL_DRV(0),   FLR_SZ(),        FILE_CRLF("x.sh") - 1};
    for (long long a : answers) EXPECT_EQ(a, 0);
    EXPECT_EQ(with_err(show(FILE_BF("f", nullptr))), "<null> pending");
}
