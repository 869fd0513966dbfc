// zast's pattern expansion: the shell's meaning of * and ? (with backtracking), hidden names,
// and which directory entries a file-spec names, in which order.
#include "support/ut_test.h"
#include "glob.h"

// Regular files only, links followed, sorted by name, the directory part kept as written; a "*"
// gives back what it took when the rest does not match ("a.txt.txt").
TEST(Glob, ListsTheRegularFilesASpecNames) {
    ASSERT_EQ(mkdir("d", 0755) | mkdir("d/dir.txt", 0755), 0);
    for (const char* f : {"d/b.txt", "d/a.txt.txt", "d/.h.txt", "d/c.dat", "top.txt"})
        BF_FILE(f, "x", 1, 1);
    symlink("b.txt", "d/l.txt");
    const char* rows[][2] = {{"d/*.txt", "d/a.txt.txt d/b.txt d/l.txt 3"},
                             {"d/c.dat", "d/c.dat 1"},
                             {"d/?.dat", "d/c.dat 1"},
                             {"d/dir.txt", "0"},
                             {"nowhere/*", "0"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r[0]);
        uint32_t n = 99;
        std::string got;
        char** list = FSPEC_GLOB(r[0], &n);
        for (char** p = list; p && *p; p++) got += std::string(*p) + " ";
        EXPECT_EQ(got + std::to_string(n) + (list ? "" : " (null)"), r[1]);
        CL_FR(&list);
    }
}
