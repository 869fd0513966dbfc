// Whole files by name: a buffer written in one call and read back whole, emptying, the line-end
// guess with its memory by pointer, and copying lines into a record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "file/file_test.h"
#include "support/ut_test.h"
#include "ut.h"

// Truncating, appending, text length, zero bytes, a file larger than any cache: read back whole,
// byte for byte, zero-ended.
TEST(Whole, WriteThenReadBack) {
    std::string big;
    for (int i = 0; i < 200000; i++) big += static_cast<char>(i * 7 % 251);
    struct Row {
        std::string bf;
        unsigned long n;
        char wtc;
        std::string want;
    } rows[] = {
        {"abc", 3, 1, "abc"}, {"de", 2, 2, "abcde"},     {"xy", 0xFFFFFFFF, 0, "xy"},
        {"zz", 0, 1, ""},     {big, big.size(), 1, big},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.want.substr(0, 8));
        BF_FILE("f.bin", r.bf.c_str(), r.n, r.wtc);
        unsigned long sz = 99;
        char* bf = FILE_BF("f.bin", &sz);
        ASSERT_NE(bf, nullptr);
        EXPECT_EQ(std::string(bf, sz + 1), r.want + '\0');
        MEM_FR(&bf);
    }
    BF_FILE("none.bin", nullptr, 5, 1);
    EXPECT_EQ(access("none.bin", F_OK), -1);
    EXPECT_EQ(err_, 0);
}

// Missing names, directories where files are expected, a full device.
TEST(Whole, Failures) {
    mkdir("d", 0755);
    ASSERT_EQ(symlink("/dev/full", "full.txt"), 0);
    unsigned long sz = 99;
    EXPECT_EQ(FILE_BF("m.txt", &sz), nullptr);
    EXPECT_STREQ(ERR_S(), "\"m.txt\" not found [FILE_BF]");
    EXPECT_EQ(sz, 0u);
    EXPECT_EQ(FILE_BF("d", &sz), nullptr);
    EXPECT_STREQ(ERR_S(), "Read error on \"d\" (err #21:Is a directory) [FL_BF] [FILE_BF]");
    BF_FILE("d", "x", 1, 1);
    EXPECT_STREQ(ERR_S(), "Open error on \"d\" [BF_FILE]");
    BF_FILE("full.txt", "abc", 3, 1);
    EXPECT_STREQ(ERR_S(), "Write error on \"full.txt\" (cnt=3 cnt1=0) [BF_FILE]");
}

// create 1 makes a missing file; create 0 never creates and leaves what is no file alone.
TEST(Whole, ClearEmptiesOnlyWhatItShould) {
    spit("f.txt", "data");
    mkdir("d", 0755);
    FILE_CLR("f.txt", 0);
    FILE_CLR("m.txt", 0);
    FILE_CLR("d", 0);
    FILE_CLR("n.txt", 1);
    EXPECT_EQ(FILE_SZ("f.txt", 1), 0u);
    EXPECT_EQ(err_, 0);
    EXPECT_EQ(access("m.txt", F_OK) * 10 + access("n.txt", F_OK), -10);
}

// The first CR or LF of the first 512 bytes decides; without either, the name does: ".sh" LF, a
// "." after the first character CR LF, else LF. The answer is remembered by pointer.
TEST(Whole, LineEndGuess) {
    struct Row {
        const char* name;
        const char* text;  // null: no such file
        char want;
    } rows[] = {
        {"a.sh", "x\r\ny\n", 1}, {"b.txt", "x\ny\r\n", 0}, {"c.txt", "\n", 0},
        {"d.txt", "xyz", 1},     {"e", nullptr, 0},        {"x.txt", nullptr, 1},
        {"X.SH", nullptr, 0},    {".profile", nullptr, 0}, {"late", nullptr, 0},
    };
    spit("late", std::string(600, 'x') + "\r\n");  // past the first 512 bytes: not seen
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        if (r.text) spit(r.name, r.text);
        EXPECT_EQ(FILE_CRLF(r.name), r.want);
    }
    char name[] = "y.txt";
    EXPECT_EQ(FILE_CRLF(name), 1);
    memcpy(name, "y.sh", 5);
    EXPECT_EQ(FILE_CRLF(name), 1);  // the same buffer: the old answer
    EXPECT_EQ(FILE_CRLF(std::string(name).c_str()), 0);
}

// FILE_WFP writes the lines in the record's own line end, whatever the source used.
TEST(Whole, CopyLinesIntoARecord) {
    spit("in.txt", "a\r\nb\nc");
    FLDF* fd = FL_OP("out.txt", 1, 0, 0, nullptr);
    FILE_WFP("in.txt", fd);
    FILE_WFP("m.txt", fd);
    EXPECT_STREQ(ERR_S(), "Open error on \"m.txt\" [FILE_WFP]");
    FL_CL(fd, 1);
    EXPECT_EQ(slurp("out.txt"), "a\nb\nc\n");
}
