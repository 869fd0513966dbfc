// What every unit test includes: GoogleTest, the library, the standard and system headers the
// tests share, and the helpers that turn library texts, files and errors into std::string
// for comparisons.
#ifndef UT_TEST_H
#define UT_TEST_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utime.h>
#include <vector>

#include "ut.h"

// The text, or "<null>" for a null pointer, so that null and "" compare differently.
inline std::string show(const char* p) {
    return p ? p : "<null>";
}

// show() of a heap string that the test owns, which is freed.
inline std::string take(char* p) {
    std::string s = show(p);
    MEM_FR(&p);
    return s;
}

// "result error-text" ("<null>" for none), clearing the error: one compare per call.
inline std::string with_err(const std::string& result) {
    return result + " " + show(ERR_S());
}
inline std::string with_err(long long v) {
    return with_err(std::to_string(v));
}

inline std::string slurp(const char* fnam) {
    std::ifstream in(fnam, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline const char* spit(const char* fnam, const std::string& s) {
    std::ofstream(fnam, std::ios::binary) << s;
    return fnam;
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

// The time tests' clock (defined in tests/time): from now on, with TZ=UTC, time() answers the
// moment when ("2026-04-05 02:00") and gettimeofday() usec microseconds past it, so that usec of
// a second or more puts gettimeofday in a later second than time().
void set_clock(const char* when, long usec);

#endif
