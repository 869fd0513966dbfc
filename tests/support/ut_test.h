// Helpers shared by the unit tests: turning library texts into std::string for comparisons.
#ifndef UT_TEST_H
#define UT_TEST_H

#include <string>

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

// The time tests' clock: time() and gettimeofday() answer the UTC moment "2026-04-05 02:00" and
// usec microseconds past it (one second or more: gettimeofday ahead of time()) from now on.
void set_clock(const char* when, long usec);

#endif
