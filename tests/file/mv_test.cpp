// Moving, copying and backing up files: people's data must survive every failure, keep its mode
// and time across file systems, and names must reach the shell fallbacks whole.
#include <cerrno>

#include "file/file_test.h"

static bool there(const std::string& f) {
    return access(f.c_str(), F_OK) == 0;
}

static const std::pair<void (*)(const char*, const char*), std::string> ops[] = {
    {FILE_MV, "FILE_MV"}, {FILE_CP, "FILE_CP"}};

// Bad names stand alone; later failures, a missing source first, name the pair. One file under
// two spellings is left alone.
TEST(Mv, NamesAndSourceAreCheckedFirst) {
    spit("a", "A");
    const char* missing = "\"m\" not found (m -> b) [%]";
    const char* rows[][3] = {{nullptr, nullptr, "%:fnam0=NULL"},
                             {"a", "", "%:fnam1=(empty)"},
                             {"a", "a", "<null>"},
                             {"a", "./a", "<null>"},
                             {"m", "b", missing}};
    for (const auto& [op, name] : ops)
        for (const auto& r : rows) {
            SCOPED_TRACE(name + " " + show(r[0]) + " " + show(r[1]));
            op(r[0], r[1]);
            EXPECT_EQ(show(ERR_S()) + slurp("a"),
                      std::regex_replace(r[2], std::regex("%"), name) + "A");
        }
}

// Across file systems a copy or move replaces the destination with the source's mode and time,
// and a move removes the source; a write that fails for want of room leaves the source whole.
TEST(Mv, AcrossAndOntoAFullFileSystem) {
    if (!private_tmpfs("s", "size=64k")) GTEST_SKIP() << "no tmpfs: " << strerror(errno);
    spit("s/d", "old");
    std::string big(99999, 'x');
    spit("b", big);
    struct utimbuf t = {1000000000, 1000000000};
    for (const auto& [op, fn] : ops) {
        SCOPED_TRACE(fn);
        spit("src", fn);
        ASSERT_EQ(chmod("src", 0755) | utime("src", &t), 0);
        op("src", "s/d");
        struct stat st = {};
        stat("s/d", &st);
        EXPECT_EQ(show(ERR_S()) + slurp("s/d"), "<null>" + fn);
        EXPECT_TRUE((st.st_mode & 07777) == 0755 && st.st_mtime == 1000000000) << st.st_mode;
        EXPECT_EQ(there("src"), fn == "FILE_CP");
        op("b", "s/d");
        std::string e = std::regex_replace(show(ERR_S()), std::regex("cnt1=[0-9]+"), "cnt1=N");
        EXPECT_EQ(e, "Write error on \"s/d\" (cnt=99999 cnt1=N) [BF_FILE] (b -> s/d) [" + fn + "]");
        EXPECT_EQ(slurp("b"), big);
    }
    umount2("s", MNT_DETACH);
}

// Directories and links go to the shell. Blanks and ; & | stay inside its double quotes; a "$" is
// expanded there, and the move it spoils must fail and touch nothing.
TEST(Mv, ShellFallbacksKeepNamesWhole) {
    ASSERT_EQ(mkdir("my dir", 0777) | mkdir("d$none", 0777) | symlink("t", "l; touch pwned"), 0);
    spit("t", "T");
    FILE_MV("my dir", "your dir");  // moved, yet judged as no regular file: kept so
    EXPECT_STREQ(ERR_S(), "\"your dir\" is a dir (my dir -> your dir) [FILE_MV]");
    EXPECT_TRUE(there("your dir") && !there("my dir"));
    FILE_CP("l; touch pwned", "c & touch pwned");
    FILE_MV("l; touch pwned", "m | touch pwned");
    EXPECT_TRUE(LINK_OK("c & touch pwned", 0) && LINK_OK("m | touch pwned", 0) && !there("pwned"));
    FILE_MV("d$none", "e");
    std::string e = show(ERR_S());
    EXPECT_EQ(e.substr(e.rfind(" (")), " (d$none -> e) [FILE_MV]");
    EXPECT_TRUE(there("d$none") && !there("e"));
}

// FILE_CPD makes the missing directories, except a first relative one.
TEST(Mv, CopyMakesDirectoriesButNotTheFirstRelativeOne) {
    spit("a", "A");
    FILE_CPD("a", "d/x");
    EXPECT_EQ(show(ERR_S()) + std::to_string(there("d")),
              "Open error on \"d/x\" [BF_FILE] (a -> d/x) [FILE_CP] [FILE_CPD]0");
    FILE_CPD("a", "./d/e/x");
    EXPECT_EQ(show(ERR_S()) + slurp("d/e/x"), "<null>A");
}

// Backups form a ring with one gap, which marks the oldest place.
TEST(Mv, BackupsFormARingWithOneGap) {
    EXPECT_FALSE(FILE_BK("missing", 3) || err_ || there("bk"));
    ASSERT_EQ(mkdir("sub", 0777), 0);
    auto ring = [] {
        std::string have;
        for (char n : {'0', '1', '2'}) have += there(std::string("bk/x.") + n) ? n : '-';
        return have;
    };
    // The name made, what it holds, then which generations are there.
    const char* after[] = {"./bk/x.0 0 0--", "./bk/x.1 1 01-", "./bk/x.2 2 -12", "./bk/x.0 3 0-2"};
    for (int i = 0; i < 4; i++) {
        spit("sub/x", std::to_string(i));
        std::string name = take(FILE_BK("sub/x", 3));
        EXPECT_EQ(name + " " + slurp(name.c_str()) + " " + ring(), after[i]);
    }
    FILE_BK_DL("x");  // stops at the gap
    EXPECT_EQ(ring(), "--2");
    EXPECT_EQ(take(FILE_BK("sub/x", 1)), "./bk/x.0");  // made and deleted at once
    EXPECT_EQ(ring(), "--2");
}
