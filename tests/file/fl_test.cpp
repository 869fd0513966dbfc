// The file record: lines and blocks read back exactly whatever the cache size, writes land on
// disk byte for byte, positions and backward reads agree, and every failure reads as documented.
// Caches of 1 to 3 bytes put every line end and block edge across a refill.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "file/file_test.h"
#include "support/ut_test.h"
#include "ut.h"

static const uint16_t caches[] = {1, 2, 3, 65280};

// A read record on fnam, which now holds text, with caches of at most cache bytes.
static FLDF* open_with(const char* fnam, const std::string& text, uint16_t cache) {
    ERR_S();
    fl_cache_mxs = cache;
    spit(fnam, text);
    return FL_OP(fnam, 0, 0, 0, nullptr);
}

// LF, CR LF and a lone CR each end a line, mixed freely; CR LF sets crlf; a last line without its
// end is a line; the cache is the file's size, 16 for an empty file.
TEST(Fl, LinesEndAtLfCrLfOrCr) {
    struct Row {
        const char* text;
        const char* lines;
        int crlf, ln;
    } rows[] = {
        {"a\r\nb\n", "a|b|", 1, 2}, {"a\rb", "a|b|", 0, 2},
        {"a\n\nb", "a||b|", 0, 3},  {"", "", 0, 0},
        {"\r\r\n", "||", 1, 2},     {"a\nb\r\nc\rd", "a|b|c|d|", 1, 4},
    };
    for (const Row& r : rows) {
        for (uint16_t cache : caches) {
            SCOPED_TRACE(testing::PrintToString(r.text) + " cache " + std::to_string(cache));
            FLDF* fd = open_with("f.txt", r.text, cache);
            std::string got;
            char rc[300];
            while (FL_S(fd, rc, 65535, 0) != 65535) {
                got += std::string(rc) + "|";
                EXPECT_RECORD_OK(fd);
            }
            EXPECT_EQ(got, r.lines);
            EXPECT_EQ(fd->crlf, r.crlf);
            EXPECT_EQ(fd->ln, static_cast<uint32_t>(r.ln));
            EXPECT_EQ(fd->cache_sz, std::min<uint32_t>(cache, r.text[0] ? strlen(r.text) : 16));
            EXPECT_EQ(err_, 0);
            FL_CL(fd, 1);
        }
    }
}

// A line may hold exactly the limit; one more character is an overflow naming the lines read
// before it. The end of the file is an error only with must.
TEST(Fl, LineLimitAndEndOfFile) {
    for (uint16_t cache : caches) {
        SCOPED_TRACE(cache);
        FLDF* fd = open_with("f.txt", "ok\n12345\n123456\n", cache);
        char rc[7];
        EXPECT_EQ(FL_S(fd, rc, 5, 0) + FL_S(fd, rc, 5, 0), 7);
        EXPECT_EQ(FL_S(fd, rc, 5, 0), 65535);
        EXPECT_STREQ(ERR_S(), "Read error on \"f.txt\" (rec overflow on line 2)");
        EXPECT_EQ(fl_overflow_rdsz, 5u);
        EXPECT_RECORD_OK(fd);
        FL_CL(fd, 1);
    }
    fl_s_rcsz = 3;  // the record's own buffer has its own limit
    FLDF* fd = open_with("f.txt", "abc\nabcd", 65280);
    EXPECT_EQ(show(FL_S(fd, 1)), "abc");
    EXPECT_EQ(FL_S(fd, 1), nullptr);
    EXPECT_STREQ(ERR_S(), "Read error on \"f.txt\" (rec overflow on line 1)");
    EXPECT_EQ(FL_S(fd, 0), nullptr);
    EXPECT_EQ(err_, 0);
    EXPECT_EQ(FL_S(fd, 1), nullptr);
    EXPECT_STREQ(ERR_S(), "Read error on \"f.txt\" (EOF)");
    FL_CL(fd, 1);
}

// Blocks and bytes: full counts, a short count at the end, then the end marker (65,535 from the
// 16-bit twin), an error only with must.
TEST(Fl, BlocksAndBytesCrossTheCache) {
    std::string text;
    for (int i = 0; i < 100; i++) text += static_cast<char>('!' + i % 90);
    for (uint16_t cache : caches) {
        SCOPED_TRACE(cache);
        FLDF* fd = open_with("f.bin", text, cache);
        char bf[64];
        std::string got(1, static_cast<char>(FL_B(fd)));
        for (uint32_t n = FL_BF(fd, bf, 30UL, 0); n != 0xFFFFFFFF; n = FL_BF(fd, bf, 30UL, 0)) {
            EXPECT_EQ(n, std::min<size_t>(30, text.size() - got.size()));
            got.append(bf, n);
            EXPECT_RECORD_OK(fd);
        }
        EXPECT_EQ(got, text);
        EXPECT_EQ(FL_BF(fd, bf, static_cast<uint16_t>(5), 0) + FL_B(fd), 2 * 65535);
        EXPECT_EQ(FL_BF(fd, bf, 5UL, 1), 0xFFFFFFFF);
        EXPECT_STREQ(ERR_S(), "Read error on \"f.bin\" (EOF)");
        FL_CL(fd, 1);
    }
}

// Misuse and faults, each with its own text; none of them changes the file.
TEST(Fl, BadRecordsAndOpenFailures) {
    mkdir("d", 0755);
    FLDF closed = {};
    FLDF* rd = open_with("f.txt", "x\n", 65280);
    struct Row {
        std::function<void()> call;
        const char* want;
    } rows[] = {
        {[] { FL_OP("m.txt", 0, 0, 0, nullptr); }, "Open error on \"m.txt\""},
        {[] { FL_OP("x", 3, 0, 0, nullptr); }, "Open error on \"x\" (invalid wtc)"},
        {[] { FL_OP("d", 1, 0, 0, nullptr); }, "Open error on \"d\""},
        {[] { FL_OP("/proc/version", 2, 0, 0, nullptr); }, "Open error on \"/proc/version\""},
        {[] { FL_OP(nullptr, 0, 0, 0, nullptr); }, "FL_OP:fnam=NULL"},
        {[] { FL_B(nullptr); }, "FL_B:NULL fd"},
        {[&] { FL_S(&closed, 0); }, "Read error (no file opened)"},
        {[&] { S_FL(&closed, "x"); }, "Write error (no file opened)"},
        {[&] { FL_S(rd, nullptr, 5, 0); }, "Read error on \"f.txt\" (NULL rc)"},
        {[&] { FL_BF(rd, nullptr, 5UL, 0); }, "Read error on \"f.txt\" (NULL bf)"},
        {[&] { B_FL(rd, 'x'); }, "Write error on \"f.txt\" (read mode)"},
        {[&] { P_FL(rd, 3); }, "fseek failure:3/2 [P_FL]"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.want);
        ERR_S();
        r.call();
        EXPECT_EQ(show(ERR_S()), r.want);
    }
    FL_CL(rd, 1);
    EXPECT_EQ(slurp("f.txt"), "x\n");
}

// Text, blocks, bytes and lists land on disk byte for byte through any cache; FL_P counts what
// was written, ln the lines; an append record counts from 0 and keeps what was there.
TEST(Fl, WritesLandExactly) {
    for (uint16_t cache : caches) {
        for (char crlf : {0, 1}) {
            SCOPED_TRACE(std::to_string(cache) + (crlf ? " crlf" : " lf"));
            fl_cache_mxs = cache;
            spit("w.txt", "old\n");
            FLDF* fd = FL_OP("w.txt", 2, crlf, 0, nullptr);
            EXPECT_EQ(FL_P(fd), 0u);
            S_FL(fd, "one");
            BF_FL(fd, "two-xx", 3);
            BF_FL(fd, "!", 0xFFFFFFFFUL);
            B_FL(fd, '?');
            S_FL(fd, nullptr);
            SM_FL(fd, "a", "", "bc", nullptr);
            EXPECT_RECORD_OK(fd);
            EXPECT_EQ(FL_P(fd), crlf ? 17u : 14u);
            EXPECT_EQ(fd->ln, 3u);
            FL_CL(fd, 1);
            std::string end = crlf ? "\r\n" : "\n";
            EXPECT_EQ(slurp("w.txt"), "old\none" + end + "two!?" + end + "abc" + end);
            EXPECT_EQ(err_, 0);
        }
    }
}

// Closing a written script or extension-less file makes it executable, even with an error
// pending, which stays as it was; other names, and files only read, keep their mode.
TEST(Fl, CloseMakesScriptsExecutable) {
    struct Row {
        const char* name;
        char wtc;
        mode_t want;
    } rows[] = {{"run.sh", 1, 0755},
                {"RUN.SH", 2, 0755},
                {"run", 1, 0755},
                {"run.txt", 1, 0644},
                {"prog", 0, 0644}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        spit(r.name, "x");
        chmod(r.name, 0644);
        FLDF* fd = FL_OP(r.name, r.wtc, 0, 0, nullptr);
        S_ERR("earlier");
        FL_CL(fd, 1);
        EXPECT_STREQ(ERR_S(), "earlier");
        EXPECT_EQ(FILE_MODE(r.name) & 0777, r.want);
    }
}

// A short write names the file, keeps the unwritten bytes in the cache and sets p to the real
// offset. /dev/full refuses everything; a tiny tmpfs takes a part.
TEST(Fl, ShortWriteKeepsTheCache) {
    ASSERT_EQ(symlink("/dev/full", "full.txt"), 0);  // an extension: closing must not chmod it
    FLDF* fd = FL_OP("full.txt", 1, 0, 0, nullptr);
    S_FL(fd, "abc");
    FL_FLUSH(fd, 1);
    EXPECT_STREQ(ERR_S(), "Write error on \"full.txt\" [FL_FLUSH]");
    EXPECT_EQ(fd->cnt, 4);
    FL_CL(fd, 1);
    EXPECT_STREQ(ERR_S(), "Write error on \"full.txt\" [FL_FLUSH] [FL_CL]");

    mkdir("small", 0755);
    if (mount("tmpfs", "small", "tmpfs", 0, "size=16k") != 0)
        GTEST_SKIP() << "cannot mount a small tmpfs here; /dev/full above covers the refusal";
    fl_cache_mxs = 4096;
    fd = FL_OP("small/f.txt", 1, 0, 0, nullptr);
    std::string big(40000, 'x');
    BF_FL(fd, big.c_str(), big.size());
    EXPECT_EQ(show(ERR_S()), "Write error on \"small/f.txt\" [FL_FLUSH] [BF_FL]");
    EXPECT_EQ(fd->p, slurp("small/f.txt").size());
    EXPECT_EQ(fd->cnt, 4096);
    FL_CL(fd, 1);
    ERR_S();
    umount2("small", MNT_DETACH);
}

// Moving inside the cache and outside it; LN_FL finds a line by number (or not). A
// write record drops cached bytes past the new position and cannot move outside its cache.
TEST(Fl, PositionsAgreeWithWhatIsRead) {
    for (uint16_t cache : caches) {
        SCOPED_TRACE(cache);
        FLDF* fd = open_with("p.txt", "0123456789", cache);
        for (unsigned long pos : {7UL, 2UL, 9UL, 0UL, 5UL}) {
            P_FL(fd, pos);
            EXPECT_EQ(FL_P(fd), pos);
            EXPECT_EQ(FL_B(fd), '0' + pos);
            EXPECT_RECORD_OK(fd);
        }
        FL_CL(fd, 1);
    }
    FLDF* fd = open_with("l.txt", "a\nb\nc\n", 65280);
    EXPECT_EQ(LN_FL(fd, 2, 1), 1);
    EXPECT_EQ(show(FL_S(fd, 0)), "c");
    EXPECT_EQ(LN_FL(fd, 4, 1), 0);
    EXPECT_STREQ(ERR_S(), "Line 4 not found");
    FL_CL(fd, 1);

    fd = FL_OP("w.txt", 1, 0, 0, nullptr);
    BF_FL(fd, "abcdef", 6);
    P_FL(fd, 2);
    BF_FL(fd, "X", 1);
    EXPECT_EQ(FL_P(fd), 3u);
    FL_FLUSH(fd, 0);
    P_FL(fd, 1);
    EXPECT_STREQ(ERR_S(), "fseek failure:1/0 [P_FL]");
    FL_CL(fd, 1);
    EXPECT_EQ(slurp("w.txt"), "abX");
}

// Backward reading walks from the end to the start: bytes, blocks and lines in reverse order,
// each call leaving the position at the start of what it read and ln one lower.
TEST(Fl, BackwardReadingWalksToTheStart) {
    const std::string text = "a\nbb\n\nccc\n";
    for (uint16_t cache : caches) {
        SCOPED_TRACE(cache);
        FLDF* fd = open_with("b.txt", text, cache);
        P_FL(fd, text.size());
        std::string back;
        for (uint16_t c = FL_B_RV(fd); c != 65535; c = FL_B_RV(fd)) back.insert(0, 1, char(c));
        EXPECT_EQ(back, text);
        P_FL(fd, text.size());
        char bf[8];
        EXPECT_EQ(FL_BF_RV(fd, bf, 4UL, 1), 4u);
        EXPECT_EQ(std::string(bf, 4) + std::to_string(FL_P(fd)), "ccc\n6");
        EXPECT_EQ(FL_BF_RV(fd, bf, 7UL, 0), 6u);  // fewer lie before: those there are
        EXPECT_EQ(FL_BF_RV(fd, bf, static_cast<uint16_t>(1), 1), 65535);
        EXPECT_STREQ(ERR_S(), "Read error on \"b.txt\" (BOF) [FL_BF_RV]");

        P_FL(fd, text.size());
        fd->ln = 4;
        std::string lines;
        for (uint16_t n = FL_S_RV(fd, bf, 7, 0); n != 65535; n = FL_S_RV(fd, bf, 7, 0)) {
            lines += std::string(bf) + "@" + std::to_string(fd->ln) + "|";
            EXPECT_RECORD_OK(fd);
        }
        EXPECT_EQ(lines, "ccc@3|@2|bb@1|a@0|");
        EXPECT_EQ(FL_S_RV(fd, bf, 7, 1), 65535);
        EXPECT_STREQ(ERR_S(), "Read error on \"b.txt\" (BOF)");
        FL_CL(fd, 1);
    }
}

// Fixed slots: an opener refuses a busy slot and leaves it as it was; the counters need an open
// file; the stat flag fills the mode.
TEST(Fl, FixedSlots) {
    spit("a.txt", "a1\na2\n");
    FLR_OP("a.txt", 1);
    EXPECT_EQ(FLR_OP("b.txt", 0), nullptr);
    EXPECT_STREQ(ERR_S(), "Open error on \"b.txt\" (FLR used)");
    EXPECT_EQ(show(FLR_S(0)), "a1");
    EXPECT_EQ(FLR_LN() * 100 + FLR_SZ(), 106u);
    EXPECT_EQ(flr_fd.mode, FILE_MODE("a.txt"));
    FLR_CL();
    EXPECT_EQ(FLR_SZ(), 0u);
    EXPECT_STREQ(ERR_S(), "Read error (no file opened)");
    FLW2_OP("w.txt", 1, 1, 0);
    SM_FLW2("a", "b", nullptr);
    FLW2_CL();
    EXPECT_EQ(slurp("w.txt"), "ab\r\n");
}
