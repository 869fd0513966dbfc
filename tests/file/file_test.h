// Helpers shared by the file-layer tests: whole files as std::string, and the record invariants.
#ifndef FILE_TEST_H
#define FILE_TEST_H

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "ut.h"

inline std::string slurp(const char* fnam) {
    std::ifstream in(fnam, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void spit(const char* fnam, const std::string& s) {
    std::ofstream(fnam, std::ios::binary) << s;
}

// ix <= cnt <= cache_sz <= 65,280, after every operation.
#define EXPECT_RECORD_OK(fd)                                                                       \
    EXPECT_TRUE((fd)->ix <= (fd)->cnt && (fd)->cnt <= (fd)->cache_sz && (fd)->cache_sz <= 65280)   \
        << "ix=" << (fd)->ix << " cnt=" << (fd)->cnt << " cache_sz=" << (fd)->cache_sz

#endif
