// zast's pattern expansion: the shell's meaning of * and ? (with backtracking), hidden names,
// and which directory entries a file-spec names, in which order.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <sys/stat.h>

#include "glob.h"
#include "support/ut_test.h"

TEST(Glob, MatchesAsTheShellDoes) {
    const struct {
        const char *name, *pat;
        char want;
    } cases[] = {
        {"banana", "*a", 1},    {"a.txt.txt", "*.txt", 1},
        {"abcbcd", "a*bcd", 1}, {"", "*", 1},
        {".h", ".*", 1},        {"a.tx", "*.txt", 0},
        {"ac", "a?c", 0},       {".h", "*", 0},
        {".h", "?h", 0},        {"abc", "ab", 0},
        {"ab", "abc", 0},       {"A.TXT", "*.txt", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " ~ " + c.pat);
        EXPECT_EQ(GLOB_MT(c.name, c.pat), c.want);
    }
}

// Regular files only, links followed, sorted by name, the directory part kept as written.
TEST(Glob, ListsTheRegularFilesASpecNames) {
    mkdir("d", 0755);
    mkdir("d/dir.txt", 0755);
    for (const char* f : {"d/b.txt", "d/a.txt", "d/.h.txt", "d/c.dat", "top.txt"})
        BF_FILE(f, "x", 1, 1);
    symlink("b.txt", "d/l.txt");
    const struct {
        const char *spec, *want;
    } cases[] = {
        {"d/*.txt", "d/a.txt d/b.txt d/l.txt "},
        {"*.txt", "top.txt "},
        {"d/c.dat", "d/c.dat "},
        {"d/none*", ""},
        {"d/dir.txt", ""},
        {"nowhere/*", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.spec);
        uint32_t n = 99;
        char** list = FSPEC_GLOB(c.spec, &n);
        ASSERT_NE(list, nullptr);
        std::string got;
        for (char** p = list; *p; p++) got += std::string(*p) + " ";
        EXPECT_EQ(got, c.want);
        EXPECT_EQ(n, static_cast<uint32_t>(std::count(got.begin(), got.end(), ' ')));
        GLOB_FR(&list);
    }
}
