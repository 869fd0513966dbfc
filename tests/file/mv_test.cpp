// Moving, copying and backing up files: people's data must survive every failure, keep its mode
// and time across file systems, and names must reach the shell fallbacks whole.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include "file/file_test.h"
#include "support/ut_test.h"

static bool there(const std::string& f) {
    struct stat st;
    return lstat(f.c_str(), &st) == 0;
}
static bool ends(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

static const std::pair<void (*)(const char*, const char*), std::string> ops[] = {
    {FILE_MV, "FILE_MV"}, {FILE_CP, "FILE_CP"}};

// Bad names stand alone (null before empty); later failures name the pair. One file under two
// spellings is left alone.
TEST(Mv, NamesAndSourceAreCheckedFirst) {
    spit("a", "A");
    const char* rows[][3] = {{nullptr, nullptr, "%:fnam0=NULL"},
                             {"", nullptr, "%:fnam1=NULL"},
                             {"", "b", "%:fnam0=(empty)"},
                             {"a", "", "%:fnam1=(empty)"},
                             {"a", "a", ""},
                             {"a", "./a", ""},
                             {"missing", "b", "\"missing\" not found (missing -> b) [%]"}};
    for (const auto& op : ops)
        for (const auto& r : rows) {
            SCOPED_TRACE(op.second + " " + show(r[0]) + " " + show(r[1]));
            std::string want = r[2];
            if (want.find('%') != std::string::npos) want.replace(want.find('%'), 1, op.second);
            op.first(r[0], r[1]);
            EXPECT_EQ(ERR_S() ? err_msg : "", want);
            EXPECT_EQ(slurp("a"), "A");
        }
}

// Across file systems a copy or move replaces the destination with the source's mode and time,
// and a move removes the source; a write that fails for want of room leaves the source whole.
TEST(Mv, AcrossAndOntoAFullFileSystem) {
    if (unshare(CLONE_NEWNS) || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        mkdir("small", 0777) || mount("tmpfs", "small", "tmpfs", 0, "size=64k"))
        GTEST_SKIP() << "a private tmpfs needs root: " << strerror(errno);
    spit("small/dst", "old");
    std::string big(200000, 'x');
    spit("big", big);
    for (const auto& op : ops) {
        SCOPED_TRACE(op.second);
        spit("src", op.second);
        struct utimbuf t = {1000000000, 1000000000};
        ASSERT_EQ(chmod("src", 0755) | utime("src", &t), 0);
        op.first("src", "small/dst");
        struct stat st = {};
        stat("small/dst", &st);
        EXPECT_EQ(show(ERR_S()) + slurp("small/dst") + std::to_string(st.st_mode & 07777) + "@" +
                      std::to_string(st.st_mtime),
                  "<null>" + op.second + "493@1000000000");  // 493 is 0755
        EXPECT_EQ(there("src"), op.second == "FILE_CP");
        op.first("big", "small/dst");
        std::string e = show(ERR_S());
        EXPECT_TRUE(e.find("Write error on \"small/dst\"") == 0 &&
                    ends(e, " (big -> small/dst) [" + op.second + "]"))
            << e;
        EXPECT_EQ(slurp("big"), big);
    }
    umount2("small", MNT_DETACH);
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
    EXPECT_EQ(err_, 0) << err_msg;
    EXPECT_TRUE(LINK_OK("c & touch pwned", 0) && LINK_OK("m | touch pwned", 0) && !there("pwned"));
    FILE_MV("d$none", "e");
    EXPECT_TRUE(ends(show(ERR_S()), " (d$none -> e) [FILE_MV]"));
    EXPECT_TRUE(there("d$none") && !there("e"));
}

// FILE_CPD makes the missing directories, except a first relative one.
TEST(Mv, CopyMakesDirectoriesButNotTheFirstRelativeOne) {
    spit("a", "A");
    const std::pair<std::string, bool> rows[] = {
        {"d/x", false}, {"./d/e/x", true}, {"d/f/x", true}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.first);
        FILE_CPD("a", r.first.c_str());
        std::string e = ERR_S() ? err_msg : "";
        EXPECT_TRUE(r.second ? e.empty() && slurp(r.first.c_str()) == "A"
                             : !there("d") && ends(e, " (a -> d/x) [FILE_CP] [FILE_CPD]"))
            << e;
    }
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
    const char* after[] = {"0--", "01-", "-12", "0-2"};
    for (int i = 0; i < 4; i++) {
        spit("sub/x", std::to_string(i));
        std::string name = take(FILE_BK("sub/x", 3));
        EXPECT_EQ(name, "./bk/x." + std::to_string(i % 3));
        EXPECT_EQ(slurp(name.c_str()) + ring(), std::to_string(i) + after[i]);
    }
    FILE_BK_DL("x");  // stops at the gap
    EXPECT_EQ(ring(), "--2");
    EXPECT_EQ(take(FILE_BK("sub/x", 1)), "./bk/x.0");  // made and deleted at once
    EXPECT_EQ(ring(), "--2");
    bk_dir = "bkfile";
    spit("bkfile", "");
    EXPECT_EQ(FILE_BK("sub/x", 3), nullptr);
    EXPECT_STREQ(ERR_S(), "mkdir (err #17:File exists) [FILE_BK]");
}
