// Helpers shared by the file-layer and socket tests: whole files as std::string, a result read
// together with the error it left, a private small file system, and the record invariants.
#ifndef FILE_TEST_H
#define FILE_TEST_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utime.h>

#include "support/ut_test.h"  // and ut.h

inline std::string slurp(const char* fnam) {
    std::ifstream in(fnam, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline const char* spit(const char* fnam, const std::string& s) {
    std::ofstream(fnam, std::ios::binary) << s;
    return fnam;
}

// "result error-text" ("<null>" for none), clearing the error: one compare per call.
inline std::string with_err(const std::string& result) {
    return result + " " + show(ERR_S());
}
inline std::string with_err(long long v) {
    return with_err(std::to_string(v));
}

// A size-limited tmpfs mounted on a new directory dir, in a mount namespace of this process
// alone, so that nothing outside sees it; false where that is not allowed.
inline bool private_tmpfs(const char* dir, const char* size) {
    return !unshare(CLONE_NEWNS) && !mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) &&
           !mkdir(dir, 0777) && !mount("tmpfs", dir, "tmpfs", 0, size);
}

// ix <= cnt <= cache_sz <= 65,280, after every operation.
#define EXPECT_RECORD_OK(fd)                                                                       \
    EXPECT_TRUE((fd)->ix <= (fd)->cnt && (fd)->cnt <= (fd)->cache_sz && (fd)->cache_sz <= 65280)   \
        << "ix=" << (fd)->ix << " cnt=" << (fd)->cnt << " cache_sz=" << (fd)->cache_sz

#endif
