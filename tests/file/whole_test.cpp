// Whole files by name: reading and writing failures that name the file, emptying, the line-end
// guess with its memory by pointer.
#include "support/ut_test.h"

// Missing names and directories where files are expected fail, naming the file. Emptying with
// create 1 makes a missing file; create 0 never creates and leaves what is no file alone. A
// file's lines copied into an open record take its line end; an append record counts what it
// wrote from 0.
TEST(Whole, FailuresAndEmptying) {
    ASSERT_EQ(mkdir("d", 0755), 0);
    unsigned long sz = 99;
    EXPECT_EQ(with_err(show(FILE_BF("m.txt", &sz))), "<null> \"m.txt\" not found [FILE_BF]");
    EXPECT_EQ(sz, 0u);
    EXPECT_EQ(with_err(show(FILE_BF("d", &sz))),
              "<null> Read error on \"d\" (err #21:Is a directory) [FL_BF] [FILE_BF]");
    BF_FILE("d", "x", 1, 1);
    EXPECT_STREQ(ERR_S(), "Open error on \"d\" [BF_FILE]");
    spit("f.txt", "data");
    for (const char* f : {"f.txt", "m.txt", "d"}) FILE_CLR(f, 0);
    FILE_CLR("n.txt", 1);
    EXPECT_EQ(with_err(FILE_SZ("f.txt", 1)), "0 <null>");
    EXPECT_EQ(access("m.txt", F_OK) * 10 + access("n.txt", F_OK), -10);
    fl_cache_mxs = 1;  // every write crosses the cache's end
    FLDF* out = FL_OP(spit("o.txt", "old\n"), 2, 1, 0, nullptr);  // appending CR LF lines
    FILE_WFP(spit("l.txt", "a\nb\r\n\nc"), out);
    B_FL(out, '?'), SM_FL(out, "x", "", "yz", nullptr);
    EXPECT_EQ(FL_P(out) * 100 + out->ln, 1705u);
    FILE_WFP("m.txt", out);
    EXPECT_STREQ(ERR_S(), "Open error on \"m.txt\" [FILE_WFP]");
    FL_CL(out, 1);
    EXPECT_EQ(slurp("o.txt"), "old\na\r\nb\r\n\r\nc\r\n?xyz\r\n");
}

// The first CR or LF of the first 512 bytes decides; without either, the name does: ".sh" LF, a
// "." after the first character CR LF, else LF. The answer is remembered by pointer.
TEST(Whole, LineEndGuess) {
    // A null text: no such file. A null name first: the remembered pointer is null already.
    const std::tuple<const char*, const char*, char> rows[] = {
        {nullptr, nullptr, 0}, {"a.sh", "x\r\ny\n", 1}, {"b.txt", "x\ny\r\n", 0},
        {"c.txt", "\n", 0},    {"d.txt", "xyz", 1},     {"e", nullptr, 0},
        {"x.txt", nullptr, 1}, {"X.SH", nullptr, 0},    {".profile", nullptr, 0},
        {"late", nullptr, 0}};
    spit("late", std::string(600, 'x') + "\r\n");  // past the first 512 bytes: not seen
    for (const auto& [name, text, want] : rows) {
        SCOPED_TRACE(show(name));
        if (text) spit(name, text);
        EXPECT_EQ(FILE_CRLF(name), want);
    }
    char name[] = "y.txt";
    EXPECT_EQ(FILE_CRLF(name), 1);
    strcpy(name, "y.sh");
    EXPECT_EQ(FILE_CRLF(name), 1);  // the same buffer: the old answer
}
