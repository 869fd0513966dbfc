// Numeric text conversion. Owns sprintf_bf, the one buffer the formatters print into before the
// result is copied to the scratch ring. The parsers of all bases share one worker driven by a
// table of what differs per base; the narrower members check a range table on the 32-bit result.
// Byte names and digit values come from lib/text/bytes.h, the "\x" test from lib/text/match.h.
// The formatters take the caller's printf format as data, so the non-literal-format warning is
// switched off for this file.
#include "text/num.h"

#include <cassert>
#include <cstdio>
#include <cstring>

#include "err/err.h"
#include "text/bytes.h"
#include "text/match.h"
#include "text/ring.h"
#include "text/str.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

static char sprintf_bf[512];

static const uint16_t no_pos = 65535;

// ---- shared helpers ----

static unsigned char byte(char c) {
    return static_cast<unsigned char>(c);
}

// The neutral text of the scratch results: a fresh "?" each time, so that a caller who writes
// into one cannot spoil the next.
static char* unknown() {
    static char q[2];
    q[0] = '?';
    q[1] = 0;
    return q;
}

// Scratch copy of prefix, zeros "0"s and text. A pending error is held aside for the block and
// comes back exactly, so that a formatter works inside the message of an error being raised;
// with none pending the error state, and its stack, are not touched. "?" if the ring cannot
// give the block.
static char* keep(const char* prefix, size_t zeros, const char* text) {
    if (!prefix) prefix = "";
    size_t plen = strlen(prefix);
    size_t tlen = strlen(text);
    ERRSDF held;
    HOLD_ERR(&held);
    char* p = UT_AL(plen + zeros + tlen);
    BACK_ERR(&held);
    if (!p) return unknown();
    memcpy(p, prefix, plen);
    memset(p + plen, '0', zeros);
    memcpy(p + plen + zeros, text, tlen + 1);
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

// ---- parsing ----

// What the parsers of one base differ in.
struct Kind {
    uint8_t base;
    const char* unexp;   // head of the bad-digit message
    const char* over;    // head of the overflow message
    uint8_t max_digits;  // significant digits allowed
    uint64_t limit;      // largest value allowed; bases other than 10 wrap at 32 bits instead
    char sign;           // a "-" or "+" may lead
};

enum { k_dec, k_hex, k_oct, k_bin };
static const Kind kinds[] = {
    {10, "Unexp dec digit \"", "Dec overflow (", 10, 2147483647, 1},
    {16, "Unexp hex digit \"", "Hex overflow (", 8, UINT64_MAX, 0},
    {8, "Unexp oct digit \"", "Oct overflow (", 11, UINT64_MAX, 0},
    {2, "Unexp bin digit \"", "Bin overflow (", 32, UINT64_MAX, 0},
};

// Where a narrower member puts *pos on a range error.
enum { at_zero, at_first_digit, at_last_hex_digit };

// The range a narrower member checks on its 32-bit member's result, and its messages: the head,
// the limit in decimal unless quiet, " (", the input, ")".
struct Range {
    int kind;
    int64_t lo, hi;
    const char* under;  // head below lo; null where the 32-bit result cannot be below
    const char* over;   // head above hi
    char quiet;         // 1: the head alone, no limit after it
    int at;             // where *pos goes
};

enum {
    r_s10_u4,
    r_s10_i2,
    r_s10_u2,
    r_s10_u1,
    r_s16_u2,
    r_s16_u1,
    r_s8_u2,
    r_s8_u1,
    r_s2_u2,
    r_s2_u1
};
static const Range ranges[] = {
    {k_dec, 0, 2147483647, "Integer < ", "Integer > ", 0, at_first_digit},  // S10_U4
    {k_dec, -32768, 32767, "Integer < ", "Integer > ", 0, at_zero},         // S10_I2
    {k_dec, 0, 65535, "Integer < ", "Integer > ", 0, at_zero},              // S10_U2
    {k_dec, 0, 255, "Integer < ", "Integer > ", 0, at_zero},                // S10_U1
    {k_hex, 0, 65535, nullptr, "Hex overflow", 1, at_last_hex_digit},       // S16_U2
    {k_hex, 0, 255, nullptr, "Hex overflow", 1, at_last_hex_digit},         // S16_U1
    {k_oct, 0, 65535, nullptr, "Octal > ", 0, at_zero},                     // S8_U2
    {k_oct, 0, 255, nullptr, "Octal > ", 0, at_zero},                       // S8_U1
    {k_bin, 0, 65535, nullptr, "Binary > ", 0, at_zero},                    // S2_U2
    {k_bin, 0, 255, nullptr, "Binary > ", 0, at_zero},                      // S2_U1
};

// Puts the index of a fault into *pos; 65535 stays reserved for success.
static void set_pos(uint16_t* pos, size_t at) {
    if (pos) *pos = static_cast<uint16_t>(at < no_pos ? at : no_pos - 1);
}

static size_t skip_blanks(const char* s, size_t i) {
    while (s[i] == ' ' || s[i] == '\t') i++;
    return i;
}

static char is_digit(const Kind& k, char c) {
    return c_v[byte(c)] < k.base;
}

// Raises head, the name of byte b, "\" in \"", s, "\"" with *pos at; returns 0 for the caller
// to pass on.
static int64_t unexp(const char* head, char b, const char* s, size_t at, uint16_t* pos) {
    SM_ERR(head, ch_ech[byte(b)], "\" in \"", s, "\"", nullptr);
    set_pos(pos, at);
    return 0;
}

// Raises text with *pos at; returns 0 for the caller to pass on.
static int64_t fail(const char* text, size_t at, uint16_t* pos) {
    S_ERR(text);
    set_pos(pos, at);
    return 0;
}

// Index of the first byte after the blanks, the sign (and its blanks) or the lead of s.
static size_t digits_at(const char* s, char sign, char lead) {
    size_t i = skip_blanks(s, 0);
    if (sign && (s[i] == '-' || s[i] == '+')) i = skip_blanks(s, i + 1);
    return lead ? i + 1 : i;
}

// Checks what follows the digits, at s[i]; 0 with the error raised when the mode refuses it.
static char tail_ok(const Kind& k, const char* s, size_t i, unsigned char mode, uint16_t* pos) {
    if (!s[i]) return 1;
    if (c_v[byte(s[i])] != 255) {
        if (mode >= 2) return 1;
        unexp(k.unexp, s[i], s, i, pos);
        return 0;
    }
    if (mode >= 1) return 1;
    i = skip_blanks(s, i);
    if (!s[i]) return 1;
    unexp("Unexp trailing char \"", s[i], s, i, pos);
    return 0;
}

// Reads the digits from s[*i] on (leading zeros skipped) into *v, leaving *i past them. 0 with
// "... overflow (s)" raised at the digit that passes the limits.
static char digits(const Kind& k, const char* s, size_t* i, char neg, uint64_t* v, uint16_t* pos) {
    while (s[*i] == '0') ++*i;
    *v = 0;
    for (int sig = 1; is_digit(k, s[*i]); sig++, ++*i) {
        uint64_t next = *v * k.base + c_v[byte(s[*i])];
        if (k.sign && neg && next == k.limit + 1) {  // the one value only a "-" allows
            *v = next;
            ++*i;
            return 1;
        }
        if (sig > k.max_digits || next > k.limit) {
            SM_ERR(k.over, s, ")", nullptr);
            set_pos(pos, *i);
            return 0;
        }
        *v = next;
    }
    return 1;
}

// The steps every base shares, on a text that is not null.
static int64_t parse(const Kind& k, const char* s, uint16_t* pos, unsigned char mode, char lead) {
    size_t i = skip_blanks(s, 0);
    if (!s[i]) return fail("No digits found", 0, pos);
    char neg = 0;
    if (k.sign && (s[i] == '-' || s[i] == '+')) {
        neg = s[i] == '-';
        i = skip_blanks(s, i + 1);
        if (!s[i]) return fail("No digits found", 0, pos);
    }
    if (lead) {
        if (ch_upper[byte(s[i])] != byte(lead)) return unexp("No leading \"", lead, s, i, pos);
        i++;
    }
    if (!is_digit(k, s[i])) return unexp(k.unexp, s[i], s, i, pos);
    uint64_t v;
    if (!digits(k, s, &i, neg, &v, pos) || !tail_ok(k, s, i, mode, pos)) return 0;
    if (neg) return -static_cast<int64_t>(v);
    return k.sign ? static_cast<int64_t>(v) : static_cast<uint32_t>(v);
}

// A 32-bit member named rtn: the guard, the null text, then the parse.
static int64_t member(const char* rtn, int kind, const char* s, uint16_t* pos, char mode,
                      char lead) {
    if (err_) return 0;
    if (pos) *pos = no_pos;
    if (!s) {
        SM_ERR(rtn, ":Null str", nullptr);
        set_pos(pos, 0);
        return 0;
    }
    return parse(kinds[kind], s, pos, static_cast<unsigned char>(mode), lead);
}

// Where a narrower member reports a range error in s (known to parse).
static size_t range_pos(const Range& r, const char* s, char lead) {
    if (r.at == at_zero) return 0;
    const Kind& k = kinds[r.kind];
    size_t i = digits_at(s, k.sign, lead);
    if (r.at == at_first_digit) return i;
    size_t n = 0;
    while (is_digit(k, s[i + n])) n++;
    assert(n > 0);
    return n - 1;
}

// A narrower member named rtn: its own guard and null text, the 32-bit parse, then the range.
static int64_t narrow(const char* rtn, int range, const char* s, uint16_t* pos, char mode,
                      char lead) {
    if (err_) return 0;
    const Range& r = ranges[range];
    if (!s) {
        set_pos(pos, 0);
        SM_ERR(rtn, ":Null str", nullptr);
        return 0;
    }
    int64_t v = member(rtn, r.kind, s, pos, mode, lead);
    if (RTN_ERR(rtn)) return 0;
    if (v >= r.lo && v <= r.hi) return v;
    const char* head = v < r.lo ? r.under : r.over;
    assert(head);
    const char* limit = r.quiet ? "" : V_S10(v < r.lo ? r.lo : r.hi, nullptr, 0);
    SM_ERR(head, limit, " (", s, ")", nullptr);
    set_pos(pos, range_pos(r, s, lead));
    return 0;
}

int32_t S10_I4(const char* s, uint16_t* pos, char mode) {
    static const char* const rtn = "S10_I4";
    return static_cast<int32_t>(member(rtn, k_dec, s, pos, mode, 0));
}

uint32_t S10_U4(const char* s, uint16_t* pos, char mode) {
    static const char* const rtn = "S10_U4";
    return static_cast<uint32_t>(narrow(rtn, r_s10_u4, s, pos, mode, 0));
}

int16_t S10_I2(const char* s, uint16_t* pos, char mode) {
    static const char* const rtn = "S10_I2";
    return static_cast<int16_t>(narrow(rtn, r_s10_i2, s, pos, mode, 0));
}

uint16_t S10_U2(const char* s, uint16_t* pos, char mode) {
    static const char* const rtn = "S10_U2";
    return static_cast<uint16_t>(narrow(rtn, r_s10_u2, s, pos, mode, 0));
}

uint8_t S10_U1(const char* s, uint16_t* pos, char mode) {
    static const char* const rtn = "S10_U1";
    return static_cast<uint8_t>(narrow(rtn, r_s10_u1, s, pos, mode, 0));
}

uint32_t S16_U4(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S16_U4";
    return static_cast<uint32_t>(member(rtn, k_hex, s, pos, mode, lead));
}

uint16_t S16_U2(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S16_U2";
    return static_cast<uint16_t>(narrow(rtn, r_s16_u2, s, pos, mode, lead));
}

uint8_t S16_U1(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S16_U1";
    return static_cast<uint8_t>(narrow(rtn, r_s16_u1, s, pos, mode, lead));
}

uint32_t S8_U4(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S8_U4";
    return static_cast<uint32_t>(member(rtn, k_oct, s, pos, mode, lead));
}

uint16_t S8_U2(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S8_U2";
    return static_cast<uint16_t>(narrow(rtn, r_s8_u2, s, pos, mode, lead));
}

uint8_t S8_U1(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S8_U1";
    return static_cast<uint8_t>(narrow(rtn, r_s8_u1, s, pos, mode, lead));
}

uint32_t S2_U4(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S2_U4";
    return static_cast<uint32_t>(member(rtn, k_bin, s, pos, mode, lead));
}

uint16_t S2_U2(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S2_U2";
    return static_cast<uint16_t>(narrow(rtn, r_s2_u2, s, pos, mode, lead));
}

uint8_t S2_U1(const char* s, uint16_t* pos, char mode, char lead) {
    static const char* const rtn = "S2_U1";
    return static_cast<uint8_t>(narrow(rtn, r_s2_u1, s, pos, mode, lead));
}

// ---- floating point ----

// S_F8 and S_F4: the byte check, then sscanf into the width asked for.
static double parse_float(const char* rtn, const char* s, uint16_t* pos, char single) {
    if (err_) return 0;
    if (pos) *pos = no_pos;
    if (!s) {
        SM_ERR(rtn, ":Null str", nullptr);
        set_pos(pos, 0);
        return 0;
    }
    size_t bad = strspn(s, "0123456789+-.Ee");
    if (s[bad]) return static_cast<double>(unexp("Unexp float char \"", s[bad], s, bad, pos));
    double d = 0;
    float f = 0;
    int got = single ? sscanf(s, "%f", &f) : sscanf(s, "%lf", &d);
    if (got != 1) {
        SM_ERR("Float conv err on \"", s, "\"", nullptr);
        set_pos(pos, 0);
        return 0;
    }
    return single ? f : d;
}

double S_F8(const char* s, uint16_t* pos) {
    return parse_float("S_F8", s, pos, 0);
}

float S_F4(const char* s, uint16_t* pos) {
    return static_cast<float>(parse_float("S_F4", s, pos, 1));
}

// ---- predicates ----

// 1 when parsing went through; otherwise the parse's error is cleared.
static char passed() {
    return ERR_S() ? 0 : 1;
}

char S10_U1_OK(const char* s) {
    if (err_) return 0;
    S10_U1(s, nullptr, 0);
    return passed();
}

char S10_U2_OK(const char* s) {
    if (err_) return 0;
    S10_U2(s, nullptr, 0);
    return passed();
}

char S10_I2_OK(const char* s) {
    if (err_) return 0;
    S10_I2(s, nullptr, 0);
    return passed();
}

char S10_U4_OK(const char* s) {
    if (err_) return 0;
    S10_U4(s, nullptr, 0);
    return passed();
}

char S10_I4_OK(const char* s) {
    if (err_) return 0;
    S10_I4(s, nullptr, 0);
    return passed();
}

char S_F8_OK(const char* s) {
    if (err_) return 0;
    S_F8(s, nullptr);
    return passed();
}

// ---- formatting ----

char* V_S10(long n, const char* fmt, char commas) {
    snprintf(sprintf_bf, sizeof sprintf_bf, fmt ? fmt : "%ld", n);
    if (commas) group_digits(sprintf_bf);
    return keep(nullptr, 0, sprintf_bf);
}

char* V_S16(unsigned long n, const char* fmt, const char* prefix) {
    snprintf(sprintf_bf, sizeof sprintf_bf, fmt ? fmt : "%lx", n);
    return keep(prefix, 0, sprintf_bf);
}

char* V_S8(unsigned long n, const char* fmt, const char* prefix) {
    snprintf(sprintf_bf, sizeof sprintf_bf, fmt ? fmt : "%lo", n);
    return keep(prefix, 0, sprintf_bf);
}

char* V_S2(unsigned long n, uint16_t width, const char* prefix) {
    char bits[sizeof n * 8 + 1];
    char* p = bits + sizeof bits - 1;
    *p = 0;
    do *--p = static_cast<char>('0' + (n & 1));
    while (n >>= 1);
    size_t have = (prefix ? strlen(prefix) : 0) + strlen(p);
    return keep(prefix, width > have ? width - have : 0, p);
}

// Cuts the zeros at the end of a "%f" text, keeping one digit after the point.
static void cut_zeros(char* s) {
    char* point = strchr(s, '.');
    if (!point) return;
    char* end = s + strlen(s);
    while (end > point + 2 && end[-1] == '0') end--;
    *end = 0;
}

char* V_S(double x, const char* fmt) {
    if (err_) return unknown();
    snprintf(sprintf_bf, sizeof sprintf_bf, fmt ? fmt : "%f", x);
    if (!fmt) cut_zeros(sprintf_bf);
    return keep(nullptr, 0, sprintf_bf);
}

// ---- bytes and their texts ----

char* ASC_HEX(const char* s, char strip) {
    static const char* const rtn = "ASC_HEX";
    if (err_) return unknown();
    size_t n = s ? strlen(s) : 0;
    char* out = UT_AL(n / 2 + 1);
    if (RTN_ERR(rtn)) return unknown();
    size_t j = 0;
    for (size_t i = 0; i < n; i += 2) {
        const char pair[] = {s[i], i + 1 < n ? s[i + 1] : '\0', '\0'};
        uint8_t b = S16_U1(pair, nullptr, 1, 0);
        if (RTN_ERR(rtn)) return unknown();
        out[j++] = static_cast<char>(strip ? b & 0x7F : b);
        if (strip && b & 0x80) break;
    }
    out[j] = 0;
    return out;
}

// Value of the two hex digits at s, or -1 when s does not start with two.
static int hex_pair(const char* s) {
    unsigned char hi = c_v[byte(s[0])];
    if (hi >= 16) return -1;
    unsigned char lo = c_v[byte(s[1])];
    return lo < 16 ? hi * 16 + lo : -1;
}

char* BACKSLASH_X_BF(const char* s, uint16_t* len) {
    static const char* const rtn = "BACKSLASH_X_BF";
    if (len) *len = 0;
    if (err_) return unknown();
    if (!s) s = "";
    char* out = UT_AL(strlen(s));
    if (RTN_ERR(rtn)) return unknown();
    size_t j = 0;
    for (size_t i = 0; s[i];) {
        int v = s[i] == '\\' && BF_MT(s + i, "\\x", 2, 0, 1, 0) ? hex_pair(s + i + 2) : -1;
        if (v < 0) {
            out[j++] = s[i++];
            continue;
        }
        out[j++] = static_cast<char>(v);
        i += 4;
    }
    out[j] = 0;
    if (len) *len = static_cast<uint16_t>(j);
    return out;
}

char* BF_BACKSLASH_X(const char* bf, uint16_t n) {
    static const char* const rtn = "BF_BACKSLASH_X";
    if (err_) return unknown();
    if (!bf) {
        bf = "";
        n = 0;
    }
    size_t count = n == no_pos ? strlen(bf) : n;
    char* out = UT_AL(count * 4);
    if (RTN_ERR(rtn)) return unknown();
    char* to = out;
    for (size_t i = 0; i < count; i++) {
        unsigned char b = byte(bf[i]);
        if (b >= 32 && b <= 126) {
            *to++ = static_cast<char>(b);
            continue;
        }
        *to++ = '\\';
        *to++ = 'x';
        *to++ = v_c[b >> 4];
        *to++ = v_c[b & 15];
    }
    *to = 0;
    return out;
}
