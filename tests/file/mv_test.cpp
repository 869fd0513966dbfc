// Moving, copying and backing up files: people's data must survive every failure, keep its mode
// and time across file systems, and names must reach the shell fallbacks whole.
#include "support/ut_test.h"

static bool there(const std::string& f) {
    return access(f.c_str(), F_OK) == 0;
}

static const std::pair<void (*)(const char*, const char*), std::string> ops[] = {
    {FILE_MV, "FILE_MV"}, {FILE_CP, "FILE_CP"}};

// Bad names stand alone; later failures, a missing source first, name the pair. One file under
// two names (two spellings, a hard link) is left alone; a source past 32 bits (sparse here) is
// refused and stays. Nothing at all happens while an error is pending.
TEST(Mv, NamesAndSourceAreCheckedFirst) {
    spit("a", "A");
    ASSERT_EQ(link("a", "h") | truncate(spit("big", ""), 4294967296), 0);
    const char* rows[][3] = {
        {nullptr, nullptr, "%:fnam0=NULL"},
        {"a", "", "%:fnam1=(empty)"},
        {"a", "a", "<null>"},
        {"a", "./a", "<null>"},
        {"a", "h", "<null>"},
        {"big", "d", "\"big\" is too large to copy (4294967296 bytes) (big -> d) [%]"},
        {"m", "b", "\"m\" not found (m -> b) [%]"},
        {"a", "n", "pending"}};
    for (const auto& [op, name] : ops)
        for (const auto& r : rows) {
            SCOPED_TRACE(name + " " + show(r[0]) + " " + show(r[1]));
            if (!strcmp(r[2], "pending")) S_ERR("pending");
            op(r[0], r[1]);
            EXPECT_EQ(show(ERR_S()) + slurp("a") + slurp("h") + std::to_string(there("big")) +
                          std::to_string(there("n")),
                      std::regex_replace(r[2], std::regex("%"), name) + "AA10");
        }
}

// Across file systems a copy or move replaces the destination with the source's mode and time,
// and a move removes the source; a write that fails for want of room leaves the source whole.
TEST(Mv, AcrossAndOntoAFullFileSystem) {
    if (!private_tmpfs("s", "size=64k")) GTEST_SKIP() << "no tmpfs: " << strerror(errno);
    std::string big(99999, 'x');
    struct utimbuf t = {1000000000, 1000000000};
    for (const auto& [op, fn] : ops) {
        SCOPED_TRACE(fn);
        spit("s/d", "old");
        ASSERT_EQ(chmod(spit("src", fn), 0755) | utime("src", &t), 0);
        op("src", "s/d");
        struct stat st = {};
        stat("s/d", &st);
        EXPECT_EQ(show(ERR_S()) + slurp("s/d") + std::to_string(there("src")),
                  "<null>" + fn + (fn == "FILE_CP" ? "1" : "0"));
        EXPECT_TRUE((st.st_mode & 07777) == 0755 && st.st_mtime == 1000000000) << st.st_mode;
        op(spit("b", big), "s/d");
        std::string e = std::regex_replace(show(ERR_S()), std::regex("cnt1=[0-9]+"), "cnt1=N");
        EXPECT_EQ(e, "Write error on \"s/d\" (cnt=99999 cnt1=N) [BF_FILE] (b -> s/d) [" + fn + "]");
        EXPECT_EQ(slurp("b"), big);
    }
    umount2("s", MNT_DETACH);
}

// Directories and links go to the shell, which gets every name exactly as it is: blanks, ; & |
// and the four bytes that still act inside its double quotes, $ ` " and the backslash; so does
// each directory FILE_CPD makes for a copy.
TEST(Mv, ShellFallbacksKeepNamesWhole) {
    spit("t", "T");
    for (std::string m :
         {" ", "; touch pwned;", "$(touch pwned)", "`touch pwned`", "\"", "\\", "$HOME"}) {
        SCOPED_TRACE(m);
        std::string d0 = "d" + m, d1 = "e" + m, l = "l" + m, deep = "./n" + m + "/n" + m + "/t";
        ASSERT_EQ(mkdir(d0.c_str(), 0777) | symlink("t", l.c_str()), 0);
        FILE_MV(d0.c_str(), d1.c_str());  // moved, yet judged as no regular file: kept so
        EXPECT_EQ(show(ERR_S()), "\"" + d1 + "\" is a dir (" + d0 + " -> " + d1 + ") [FILE_MV]");
        FILE_CP(l.c_str(), (l + "c").c_str());
        FILE_MV(l.c_str(), (l + "m").c_str());
        FILE_CPD("t", deep.c_str());
        EXPECT_TRUE(there(d1) && !there(d0) && there(deep) && LINK_OK((l + "c").c_str(), 0) &&
                    LINK_OK((l + "m").c_str(), 0) && !there("pwned"))
            << show(ERR_S());
    }
    FILE_CPD("t", "a/b/t");  // a first relative component is never made
    EXPECT_EQ(show(ERR_S()), "Open error on \"a/b/t\" [BF_FILE] (t -> a/b/t) [FILE_CP] [FILE_CPD]");
}

// Backups form a ring with one gap, which marks the oldest place: after each backup, its name,
// what it holds, and which generations are there. Deleting them stops at the gap.
TEST(Mv, BackupsFormARingWithOneGap) {
    ASSERT_EQ(mkdir("sub", 0777), 0);
    std::string got;
    for (int i = 0; i < 4; i++) {
        std::string name = take(FILE_BK(spit("sub/x", std::to_string(i)), 3));
        got += " " + name + "=" + slurp(name.c_str()) + " ";
        for (char n : {'0', '1', '2'}) got += there(std::string("bk/x.") + n) ? n : '-';
    }
    FILE_BK_DL(nullptr);
    FILE_BK_DL("x");
    got += " " + show(ERR_S()) + std::to_string(there("bk/x.0")) + std::to_string(there("bk/x.2"));
    EXPECT_EQ(got, " ./bk/x.0=0 0-- ./bk/x.1=1 01- ./bk/x.2=2 -12 ./bk/x.0=3 0-2 <null>01");
}
