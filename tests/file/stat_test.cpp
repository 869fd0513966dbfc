// File status, modes and names: the answer of each test for each kind of file with the exact
// negative messages, deleting and renaming with their refusals, the search path, name cutting.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include "file/file_test.h"
#include "support/ut_test.h"
#include "ut.h"

// Sets fnam's access and modification times to t.
static void touch_at(const char* fnam, time_t t) {
    struct utimbuf u = {t, t};
    utime(fnam, &u);
}

// Links are followed except by LINK_OK: a link to a file is a file, a dangling link nothing.
// FILE_OK's column holds its must message; "1" is a yes.
TEST(Stat, KindsOfFiles) {
    spit("f.txt", "12345");
    mkdir("d", 0755);
    symlink("f.txt", "lf");
    symlink("gone", "ld");
    mkfifo("p", 0644);
    struct Row {
        const char* name;
        const char* file_ok;
        int dir, link, any;
    } rows[] = {
        {"f.txt", "1", 0, 0, 1},
        {"d", "\"d\" is a dir", 1, 0, 1},
        {"lf", "1", 0, 1, 1},
        {"ld", "\"ld\" not found", 0, 1, 0},
        {"p", "\"p\" is a pipe", 0, 0, 1},
        {"/dev/null", "\"/dev/null\" is a character dvc", 0, 0, 1},
        {nullptr, "\"\" not found", 0, 0, 0},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.name));
        ERR_S();
        EXPECT_EQ(FILE_OK(r.name, 0) + DIR_OK(r.name, 0) * 2 + LINK_OK(r.name, 0) * 4 +
                      ANY_FILE_OK(r.name, 0) * 8,
                  (r.file_ok[0] == '1') + r.dir * 2 + r.link * 4 + r.any * 8);
        EXPECT_EQ(err_, 0);
        EXPECT_EQ(FILE_OK(r.name, 1) ? "1" : show(ERR_S()), r.file_ok);
    }
    DIR_OK("f.txt", 1);
    EXPECT_STREQ(ERR_S(), "\"f.txt\" is not dir");
    DIR_OK("m", 1);
    EXPECT_STREQ(ERR_S(), "Dir \"m\" not found");
    LINK_OK("f.txt", 1);
    EXPECT_STREQ(ERR_S(), "Link \"f.txt\" not found");
    EXPECT_EQ(FILE_SZ("f.txt", 1) + FILE_SZ("m", 0), 5u);
    EXPECT_EQ(FILE_SZ("m", 1), 0u);
    EXPECT_STREQ(ERR_S(), "\"m\" not found");
}

TEST(Stat, ModesAndTimes) {
    spit("f.txt", "x");
    MODE_FILE(0600, "f.txt");
    EXPECT_EQ(FILE_MODE("f.txt"), S_IFREG | 0600u);
    MODE_FILE(0x1ED, "missing");
    EXPECT_STREQ(ERR_S(), "chmod failure (file=\"missing\", mode=1ed)");
    EXPECT_EQ(FILE_MODE("missing"), 0u);
    EXPECT_STREQ(ERR_S(), "\"missing\" not found [FILE_MODE]");

    struct tm when = {};  // 2006-03-05 14:07:09, a Sunday: weekday 1
    when.tm_year = 106, when.tm_mon = 2, when.tm_mday = 5, when.tm_hour = 14, when.tm_min = 7;
    when.tm_sec = 9, when.tm_isdst = -1;
    time_t t = mktime(&when);
    touch_at("f.txt", t);
    UTMDF u;
    FILE_UTM("f.txt", &u, 0);
    char got[40];
    snprintf(got, sizeof got, "%d-%d-%d %d %d:%d:%d.%d", u.year, u.month, u.day, u.wday, u.hour,
             u.minute, u.second, u.ms);
    EXPECT_STREQ(got, "2006-3-5 1 14:7:9.0");
    FILE_UTM("m", &u, 0);
    EXPECT_STREQ(ERR_S(), "Open error on \"m\" [FILE_UTM]");

    spit("g.txt", "y");
    touch_at("g.txt", t);
    EXPECT_EQ(FILE_NEWER("f.txt", "g.txt"), 0);  // the same second
    touch_at("g.txt", t - 1);
    EXPECT_EQ(FILE_NEWER("f.txt", "g.txt") * 2 + FILE_NEWER("g.txt", "f.txt"), 2);
    EXPECT_EQ(FILE_NEWER("f.txt", "m"), 0);
    EXPECT_STREQ(ERR_S(), "\"m\" not found [FILE_NEWER]");
}

// Missing files are quiet without must; procfs refuses even root ("readonly"); a directory that
// is not empty gets no reason.
TEST(Stat, DeleteAnswersAndRefusals) {
    spit("f.txt", "x");
    mkdir("d", 0755);
    spit("d/in", "x");
    struct Row {
        const char* name;
        char must, want;
        const char* err;
    } rows[] = {
        {"f.txt", 1, 1, "<null>"},
        {"f.txt", 0, 0, "<null>"},
        {"f.txt", 1, 0, "Delete error on \"f.txt\" (file not found)"},
        {"/proc/version", 0, 0, "Delete error on \"/proc/version\" (readonly)"},
        {"d", 0, 0, "Delete error on \"d\""},
        {nullptr, 0, 0, "FILE_DL:fnam=NULL"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.name) + (r.must ? " must" : ""));
        EXPECT_EQ(FILE_DL(r.name, r.must), r.want);
        EXPECT_EQ(show(ERR_S()), r.err);
    }
}

// Refused renames leave both files as they were and show the pair.
TEST(Stat, RenameAndItsRefusals) {
    spit("a", "A");
    spit("x", "X");
    struct Row {
        const char *f0, *f1, *err;
    } rows[] = {
        {"a", "x", "\"x\" already exists (a -> x) [FILE_REN]"},
        {"m", "y", "\"m\" not found (m -> y) [FILE_REN]"},
        {"a", "no/b", "rename failure (a -> no/b) [FILE_REN]"},
        {"a", "a", "<null>"},
        {nullptr, "b", "FILE_REN:fnam0=NULL"},
        {"a", "", "FILE_REN:fnam1=(empty)"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.err);
        FILE_REN(r.f0, r.f1);
        EXPECT_EQ(show(ERR_S()), r.err);
        EXPECT_EQ(slurp("a") + slurp("x"), "AX");
    }
    FILE_REN("a", "b");
    EXPECT_EQ(slurp("b") + std::to_string(FILE_OK("a", 0)), "A0");
}

// The path is walked in order, passing over missing entries and directories of the same name;
// an empty entry is the current directory; a name with a "/" is taken as it is.
TEST(Stat, FindFileWalksThePath) {
    mkdir("p1", 0755);
    mkdir("p2", 0755);
    mkdir("p1/tool", 0755);  // a directory in the first entry: passed over
    spit("p2/tool", "x");
    spit("here", "x");
    setenv("PATH", "none:p1:p2/:", 1);
    EXPECT_EQ(take(FIND_FILE("tool", 1)), "p2/tool");
    EXPECT_EQ(take(FIND_FILE("here", 1)), "./here");
    EXPECT_EQ(take(FIND_FILE("p2/tool", 1)), "p2/tool");
    EXPECT_EQ(take(FIND_FILE("nope", 0)), "<null>");
    EXPECT_EQ(err_, 0);
    EXPECT_EQ(take(FIND_FILE("nope", 1)), "<null>");
    EXPECT_STREQ(ERR_S(), "\"nope\" not found in path");
}

// Directory (without, with its "/"), name, extension, name less extension, name with ".bak".
TEST(Stat, NamePieces) {
    struct Row {
        const char *in, *dir, *dir_kept, *fnam, *ext, *less_ext, *ext_fl;
    } rows[] = {
        {"a/b/c.txt", "a/b", "a/b/", "c.txt", "txt", "a/b/c", "a/b/c.bak"},
        {"a.b.c", "<null>", "<null>", "a.b.c", "c", "a.b", "a.bak"},
        {"/x", "", "/", "x", "<null>", "/x", "/x.bak"},
        {"d.d/f", "d.d", "d.d/", "f", "d/f", "d", "d.bak"},
        {"", "<null>", "<null>", "", "<null>", "", ".bak"},
        {nullptr, "<null>", "<null>", "<null>", "<null>", "<null>", "<null>"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.in));
        EXPECT_EQ(take(FSPEC_DIR(r.in, 0)) + "," + take(FSPEC_DIR(r.in, 1)) + "," +
                      take(FSPEC_FNAM(r.in)) + "," + take(FILE_EXT(r.in)) + "," +
                      take(EXT_FL(r.in, ".bak")),
                  std::string(r.dir) + "," + r.dir_kept + "," + r.fnam + "," + r.ext + "," +
                      r.ext_fl);
        std::string in = show(r.in);
        char* p = r.in ? &in[0] : nullptr;
        char* less = FILE_LESS_EXT(p);
        EXPECT_EQ(show(less), r.less_ext);
        if (less != p) MEM_FR(&less);  // the same pointer back is not ours to free
    }
    EXPECT_EQ(err_, 0);
}

// S_FILE ends its line as FILE_CRLF says for the name; drive figures have their low bits clear.
TEST(Stat, OneLineFilesAndDriveFigures) {
    S_FILE("n.txt", "hi", 1);
    S_FILE("n.txt", nullptr, 2);
    S_FILE("run.sh", "hi", 1);
    EXPECT_EQ(slurp("n.txt") + slurp("run.sh"), "hi\r\n\r\nhi\n");
    EXPECT_EQ((AVAIL_DRV('c') | TOTAL_DRV('c')) & 0x3FF, 0u);
}
