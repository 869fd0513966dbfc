// Test runner shared by every unit test executable. It owns one thing: the fresh temporary
// working directory that each test process runs in. ctest starts one process per test, so
// every test sees an empty current directory, and the library's process-wide state is new.
// The directory is removed after a passing run and kept (its path printed) after a failure.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ftw.h>
#include <unistd.h>

static int remove_entry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    char dir[] = "/tmp/ut-test-XXXXXX";
    if (!mkdtemp(dir) || chdir(dir) != 0) {
        perror("test runner: temporary directory");
        return 2;
    }
    int rc = RUN_ALL_TESTS();
    if (chdir("/") != 0) return 2;
    if (rc == 0)
        nftw(dir, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    else
        fprintf(stderr, "test runner: kept %s\n", dir);
    return rc;
}
