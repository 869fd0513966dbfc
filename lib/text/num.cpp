// Numeric text conversion. Owns sprintf_bf, the one buffer the formatters print into before the
// result is copied to the scratch ring. The formatters take the caller's printf format as data,
// so the non-literal-format warning is switched off for this file.
#include "text/num.h"

#include <cstdio>
#include <cstring>

#include "err/err.h"
#include "text/str.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

static char sprintf_bf[512];

// Scratch copy of text made with any pending error saved around it, so that a formatter works
// inside the message of an error being raised and leaves that error as it was.
static char* keep(const char* text) {
    PSH_ERR();
    char* p = UT_S_CP(text);
    POP_ERR();
    return p;
}

// Puts "," between groups of three digits of the first run of digits in s (room: sizeof
// sprintf_bf).
static void group_digits(char* s) {
    char* first = s + strcspn(s, "0123456789");
    size_t digits = strspn(first, "0123456789");
    size_t commas = digits ? (digits - 1) / 3 : 0;
    if (commas == 0 || strlen(s) + commas >= sizeof sprintf_bf) return;
    char* tail = first + digits;
    memmove(tail + commas, tail, strlen(tail) + 1);
    char* to = tail + commas - 1;
    for (size_t i = 0; i < digits; i++) {
        if (i > 0 && i % 3 == 0) *to-- = ',';
        *to-- = tail[-1 - static_cast<long>(i)];
    }
}

char* V_S10(long n, const char* fmt, char commas) {
    snprintf(sprintf_bf, sizeof sprintf_bf, fmt ? fmt : "%ld", n);
    if (commas) group_digits(sprintf_bf);
    return keep(sprintf_bf);
}
