// Numbers to text and text to numbers. Owns the shared formatting buffer sprintf_bf. The V_
// formatters return scratch strings (lib/text/ring.h) and work while an error is pending, leaving
// it pending, because error messages are built with them.
#ifndef UT_NUM_H
#define UT_NUM_H

#include <cstdint>

// n in decimal by fmt (null: "%ld"); with commas set, a "," between groups of three digits
// counted from the right of the first run of digits ("-1234567" gives "-1,234,567").
// Scratch: valid for the next 2047 scratch allocations, never freed.
char* V_S10(long n, const char* fmt, char commas);

#endif
