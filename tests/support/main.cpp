// Test runner shared by every unit test executable. It owns one thing: the fresh temporary
// working directory that each test process runs in. ctest starts one process per test, so
// every test sees an empty current directory, and the library's process-wide state is new.
// The directory is removed after a passing run and kept (its path printed) after a failure.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    char dir[] = "/tmp/ut-test-XXXXXX";
    if (!mkdtemp(dir) || chdir(dir) != 0) {
        perror("test runner: temporary directory");
        return 2;
    }
    int rc = RUN_ALL_TESTS();
    std::error_code ec;  // what cannot be removed stays behind
    if (chdir("/") != 0) return 2;
    if (rc == 0)
        std::filesystem::remove_all(dir, ec);
    else
        fprintf(stderr, "test runner: kept %s\n", dir);
    return rc;
}
