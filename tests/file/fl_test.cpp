// The file record: lines and blocks read back exactly whatever the cache size, positions and
// backward reads agree, writes that fail lose and repeat nothing, and every failure reads as
// documented. Caches of 1 to 3 bytes put every line end and block edge across a refill.
#include <csignal>

#include "support/ut_test.h"

static const uint16_t caches[] = {1, 2, 3, 65280};

// A read record on fnam, which now holds text, with caches of at most cache bytes.
static FLDF* open_with(const char* fnam, const std::string& text, uint16_t cache) {
    ERR_S();
    fl_cache_mxs = cache;
    return FL_OP(spit(fnam, text), 0, 0, 0, nullptr);
}

// LF, CR LF and a lone CR each end a line, mixed freely; CR LF sets crlf (the digit); a last line
// without its end is a line; the cache is the file's size, 16 for an empty file. A line may hold
// exactly the limit; one more character is an overflow naming the lines read before it, with
// the line's first characters left in the buffer (here "12345", before crlf's digit).
TEST(Fl, LinesEndAtLfCrLfOrCr) {
    fl_rc_mxs = 5;  // the limit that 65,535 stands for
    const char* overflow = "ok|12345|123450 Read error on \"f.txt\" (rec overflow on line 2)";
    const char* rows[][2] = {{"a\r\nb\n", "a|b|1"},
                             {"", "0"},
                             {"\r\r\n", "||1"},
                             {"a\nb\r\nc\rd", "a|b|c|d|1"},
                             {"ok\n12345\n123456\n", overflow}};
    for (const auto& r : rows)
        for (uint16_t cache : caches) {
            SCOPED_TRACE(testing::PrintToString(r[0]) + " cache " + std::to_string(cache));
            FLDF* fd = open_with("f.txt", r[0], cache);
            std::string got;
            char rc[7];
            for (uint32_t ln = 1; FL_S(fd, rc, 65535, 0) != 65535; ln++) {
                got += std::string(rc) + "|";
                EXPECT_TRUE(fd->ln == ln && fd->ix <= fd->cnt && fd->cnt <= fd->cache_sz);
            }
            EXPECT_EQ(fl_overflow_rdsz, err_ ? 5u : 0xFFFFFFFFu);
            EXPECT_EQ(got + rc + std::to_string(fd->crlf) + (err_ ? " " + show(ERR_S()) : ""),
                      r[1]);
            EXPECT_EQ(fd->cache_sz, std::min<uint32_t>(cache, r[0][0] ? strlen(r[0]) : 16));
            FL_CL(fd, 1);
        }
}

// Through any cache: bytes and blocks come in full counts, a short count at the end, then the
// end marker (65,535 from the 16-bit forms), an error only with must; positions inside and
// outside the cache agree with what is read; backward reading, byte by byte over every refill,
// walks to the start, each call leaving the position at the start of what it read and ln one
// lower.
TEST(Fl, ReadingMovesThroughAnyCache) {
    const std::string text = "a\nbb\n\nccc\n";
    for (uint16_t cache : caches) {
        SCOPED_TRACE(cache);
        FLDF* fd = open_with("b.txt", text, cache);
        char bf[8];
        std::string got(1, static_cast<char>(FL_B(fd)));
        for (uint32_t n; (n = FL_BF(fd, bf, 4UL, 0)) != 0xFFFFFFFF; got.append(bf, n))
            EXPECT_EQ(n, std::min<size_t>(4, text.size() - got.size()));
        EXPECT_EQ(got, text);
        EXPECT_EQ(FL_BF(fd, bf, static_cast<uint16_t>(5), 0) + FL_B(fd), 2 * 65535);
        EXPECT_EQ(with_err(FL_BF(fd, bf, 5UL, 1)), "4294967295 Read error on \"b.txt\" (EOF)");
        EXPECT_EQ(with_err(show(FL_S(fd, 1))), "<null> Read error on \"b.txt\" (EOF)");
        for (unsigned long pos : {7UL, 2UL, 9UL, 0UL, 5UL}) {
            P_FL(fd, pos);
            EXPECT_EQ(FL_P(fd), pos);
            EXPECT_EQ(FL_B(fd), text[pos]);
        }
        EXPECT_EQ(LN_FL(fd, 2, 0), 1);  // rewinds and reads up to line 2
        EXPECT_EQ(with_err(LN_FL(fd, 9, 1)), "0 Line 9 not found");
        P_FL(fd, text.size());
        EXPECT_EQ(FL_BF_RV(fd, bf, 4UL, 1), 4u);
        EXPECT_EQ(std::string(bf, 4) + std::to_string(FL_P(fd)), "ccc\n6");
        fd->ln = 3;  // the lines before the position; FL_S_RV goes on from there
        std::string lines;
        while (FL_S_RV(fd, bf, 7, 0) != 65535) {
            lines += std::string(bf) + "@" + std::to_string(fd->ln) + "|";
            EXPECT_RECORD_OK(fd);  // backward reading refills most
        }
        EXPECT_EQ(lines, "@2|bb@1|a@0|");
        EXPECT_EQ(with_err(FL_S_RV(fd, bf, 7, 1)), "65535 Read error on \"b.txt\" (BOF)");
        FL_CL(fd, 1);
    }
}

// Misuse and faults, each with its own text; none of them changes a file.
TEST(Fl, BadRecordsAndOpenFailures) {
    FLDF closed = {};
    FLDF* rd = open_with("f.txt", "x\n", 65280);
    FLDF* wr = FL_OP("w.txt", 1, 0, 0, nullptr);
    BF_FL(wr, "abcdef", 6);
    P_FL(wr, 2);  // moving a write record back drops what is cached behind
    BF_FL(wr, "X", 1);
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[] { FL_OP("m.txt", 0, 0, 0, nullptr); }, "Open error on \"m.txt\""},
        {[] { FL_OP("x", 3, 0, 0, nullptr); }, "Open error on \"x\" (invalid wtc)"},
        {[] { FL_OP(nullptr, 0, 0, 0, nullptr); }, "FL_OP:fnam=NULL"},
        {[&] { S_FL(&closed, "x"); }, "Write error (no file opened)"},
        {[&] { B_FL(rd, 'x'); }, "Write error on \"f.txt\" (read mode)"},
        {[&] { P_FL(rd, 3); }, "fseek failure:3/2 [P_FL]"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.second);
        ERR_S();
        r.first();
        EXPECT_EQ(show(ERR_S()), r.second);
    }
    FL_CL(rd, 1);
    FL_CL(wr, 1);
    EXPECT_EQ(slurp("f.txt") + slurp("w.txt"), "x\nabX");
}

// Closing a written script or extension-less file makes it executable, even with an error
// pending, which stays as it was; other names, and files only read ("prog"), keep their mode.
TEST(Fl, CloseMakesScriptsExecutable) {
    std::string got;
    for (const char* name : {"run.sh", "RUN.SH", "run", "run.txt", "run.shx", "prog"}) {
        chmod(spit(name, "x"), 0644);
        FLDF* fd = FL_OP(name, name[0] == 'p' ? 0 : name[0] == 'R' ? 2 : 1, 0, 0, nullptr);
        S_ERR("earlier");
        FL_CL(fd, 1);
        got += show(ERR_S());  // first: FILE_MODE answers 0 while an error is pending
        got += std::to_string(FILE_MODE(name) & 0777) + " ";
    }
    EXPECT_EQ(got,
              "earlier493 earlier493 earlier493 earlier420 earlier420 earlier420 ");  // 0755, 0644
}

// A flush that fails part way keeps only the unwritten bytes, so that the next flush writes
// just those; a move that fails writes the cache first; closing tries once more. The file size
// limit makes the short writes.
TEST(Fl, FailedWritesLoseAndRepeatNothing) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit lim;
    getrlimit(RLIMIT_FSIZE, &lim);
    auto limit = [&lim](rlim_t n) { lim.rlim_cur = n, setrlimit(RLIMIT_FSIZE, &lim); };
    fl_cache_mxs = 10;
    FLDF* fd = FL_OP("w.txt", 1, 0, 0, nullptr);
    BF_FL(fd, "0123456789", 10);
    limit(6);
    BF_FL(fd, "ab", 2);
    EXPECT_EQ(with_err(fd->cnt), "4 Write error on \"w.txt\" [FL_FLUSH] [BF_FL]");
    EXPECT_EQ(fd->p + 4, FL_P(fd));
    limit(lim.rlim_max);
    P_FL(fd, 20);
    EXPECT_EQ(with_err(fd->cnt), "0 fseek failure:20/0 [P_FL]");
    S_ERR("pending");  // nothing moves while an error is pending
    B_FL(fd, '!');
    P_FL(fd, 0);
    FL_FLUSH(fd, 1);
    EXPECT_EQ(with_err(std::to_string(fd->cnt) + "/" + std::to_string(FL_P(fd))), "0/0 pending");
    B_FL(fd, '!');
    limit(10);
    FL_CL(fd, 1);
    EXPECT_EQ(with_err(slurp("w.txt")), "0123456789 Write error on \"w.txt\" [FL_FLUSH] [FL_CL]");
}
