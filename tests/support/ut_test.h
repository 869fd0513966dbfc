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

// The time tests' clock (defined in tests/time): from now on, with TZ=UTC, time() answers the
// moment when ("2026-04-05 02:00") and gettimeofday() usec microseconds past it, so that usec of
// a second or more puts gettimeofday in a later second than time().
void set_clock(const char* when, long usec);

#endif
