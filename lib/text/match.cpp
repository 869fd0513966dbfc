// Text matching and search. Every comparison goes through one byte rule, same(); every search
// through one gapped finder, find_gapped(), which treats a pattern without a gap byte as a single
// piece. The word forms share the search and replace workers with a flag. Ranges are cut with
// strnlen before any index is used and the walks stop at a zero, so nothing past a terminating
// zero is ever read; BF_MT alone compares buffers, exactly n bytes.
#include "text/match.h"

#include <cstring>
#include <strings.h>

#include "err/err.h"
#include "text/bytes.h"
#include "text/mem.h"
#include "text/str.h"

static const uint16_t none = 65535;

static unsigned char ub(char c) {
    return static_cast<unsigned char>(c);
}

// 1 when byte x (of the first text, or the pattern) matches byte y under the flags.
static char same(char x, char y, char cs, char exact, char wild) {
    if (wild && x == wild) return 1;
    if (!exact && c_v[ub(x)] == 255 && c_v[ub(y)] == 255) return 1;
    return cs ? x == y : ch_upper[ub(x)] == ch_upper[ub(y)];
}

// Walks a and b together over at most n bytes; a zero ends both walks, and matches only a zero.
static char walk(const char* a, const char* b, size_t n, char cs, char exact, char wild) {
    for (size_t i = 0; i < n; i++) {
        if (!a[i] || !b[i]) return a[i] == b[i];
        if (!same(a[i], b[i], cs, exact, wild)) return 0;
    }
    return 1;
}

// First position at or after from where the n bytes at p match s, the match ending by to.
static uint16_t find_piece(const char* p, uint16_t n, const char* s, uint16_t from, uint16_t to,
                           char cs, char wild) {
    for (uint32_t at = from; at + n <= to; at++) {
        uint16_t i = 0;
        while (i < n && same(p[i], s[at + i], cs, 1, wild)) i++;
        if (i == n) return static_cast<uint16_t>(at);
    }
    return none;
}

// The pattern p (pn bytes, no zero among them) in s[from, to), to within s: its pieces between
// runs of gap, each at its first occurrence after the previous one.
static uint16_t find_gapped(const char* p, uint16_t pn, const char* s, uint16_t from, uint16_t to,
                            char gap, char cs, char wild, uint16_t* end) {
    uint16_t first = none, at = from;
    for (uint16_t i = 0; i < pn;) {
        if (p[i] == gap) {
            i++;
            continue;
        }
        uint16_t n = 0;
        while (i + n < pn && p[i + n] != gap) n++;
        uint16_t pos = find_piece(p + i, n, s, at, to, cs, wild);
        if (pos == none) return none;
        if (first == none) first = pos;
        at = static_cast<uint16_t>(pos + n);
        i = static_cast<uint16_t>(i + n);
    }
    if (first == none || p[0] == gap) first = from;
    *end = pn > 0 && p[pn - 1] == gap ? to : at;
    return first;
}

// 1 when index i of s falls between two word bytes.
static char joined(const char* s, uint16_t i) {
    return i > 0 && s[i] && (ch_dm[ub(s[i - 1])] & ch_word) && (ch_dm[ub(s[i])] & ch_word);
}

// The FND_TXT / FND_WD worker: word set rejects matches joined to the text around them.
static uint16_t find(const char* pat, uint16_t pfrom, uint16_t pto, const char* s, uint16_t from,
                     uint16_t to, char gap, char cs, char wild, uint16_t* end, char word) {
    if (err_ || !pat || !s) return none;
    pto = static_cast<uint16_t>(strnlen(pat, pto));
    if (pfrom > pto) pfrom = pto;
    to = static_cast<uint16_t>(strnlen(s, to));
    uint16_t pn = static_cast<uint16_t>(pto - pfrom), e = 0;
    for (uint32_t at = from; at <= to; at++) {
        uint16_t pos =
            find_gapped(pat + pfrom, pn, s, static_cast<uint16_t>(at), to, gap, cs, wild, &e);
        if (pos == none) return none;
        if (!word || (!joined(s, pos) && !joined(s, e))) {
            if (end) *end = e;
            return pos;
        }
        at = pos;
    }
    return none;
}

// s with [pos, end) replaced by repl (null: nothing); s is freed. On failure s comes back.
static char* splice(char* s, uint16_t pos, uint16_t end, const char* repl) {
    char* head = S_X(s, 0, pos);
    char* out = SM_CP(head, repl ? repl : "", s + end, nullptr);
    MEM_FR(&head);
    if (err_) return s;
    MEM_FR(&s);
    return out;
}

// The C_TXT / C_WD worker, without the error trail (its callers add their names).
static char* change(char* s, const char* pat, const char* repl, char all, char gap, char word) {
    if (err_) return s;
    if (!s) return pat ? nullptr : S_CP(repl);
    if (!pat || !*pat) {
        if (!repl || !*repl) return s;
        char* out = SM_CP(repl, s, nullptr);
        if (err_) return s;
        MEM_FR(&s);
        return out;
    }
    uint32_t from = 0;
    do {
        uint16_t end = 0;
        uint16_t pos =
            find(pat, 0, none, s, static_cast<uint16_t>(from), none, gap, 0, 0, &end, word);
        if (pos == none) break;
        s = splice(s, pos, end, repl);
        if (err_) break;
        from = pos + S_SZ(repl);
    } while (all && from < S_SZ(s));
    return s;
}

// The UT_C_TXT / UT_C_WD worker: change() on a heap copy, handed back as scratch.
static char* change_copy(const char* rtn, const char* s, const char* pat, const char* repl,
                         char all, char gap, char word) {
    char* c = change(S_CP(s), pat, repl, all, gap, word);  // a failed copy leaves change idle
    char* out = UT_S_CP(c);
    MEM_FR(&c);
    RTN_ERR(rtn);
    return out;
}

char S_MT(const char* a, const char* b, char cs, char exact, char wild, char gap) {
    if (err_) return 0;
    if (!a || !b) return !a && !b;
    if (!gap) return walk(a, b, SIZE_MAX, cs, exact, wild);
    uint16_t end = 0;
    return FND_TXT(b, a, 0, none, gap, cs, wild, &end) == 0 && end == strnlen(a, none);
}

char BF_MT(const char* a, const char* b, uint16_t n, char cs, char exact, char wild) {
    if (err_) return 0;
    if (!a || !b) return !a && !b;
    size_t len = n == none ? strlen(b) : n;
    if (exact && !wild) return (cs ? memcmp(a, b, len) : strncasecmp(a, b, len)) == 0;
    for (size_t i = 0; i < len; i++)  // buffers: a zero byte is a byte like any other
        if (!same(a[i], b[i], cs, exact, wild)) return 0;
    return 1;
}

char S_END_MT(const char* s, const char* e, char cs, char exact, char wild) {
    if (err_) return 0;
    if (!s || !e) return !s && !e;
    size_t ls = strlen(s), le = strlen(e);
    return le <= ls && S_MT(s + ls - le, e, cs, exact, wild, 0);
}

char S_ORD(const char* a, const char* b, char cs) {
    if (err_) return 1;
    if (!a) a = "";
    if (!b) b = "";
    int c = cs ? 0 : strcasecmp(a, b);
    if (c == 0) c = strcmp(a, b);
    return c <= 0;
}

uint16_t FND_TXT(const char* pat, uint16_t pfrom, uint16_t pto, const char* s, uint16_t from,
                 uint16_t to, char gap, char cs, char wild, uint16_t* end) {
    return find(pat, pfrom, pto, s, from, to, gap, cs, wild, end, 0);
}

uint16_t FND_TXT(const char* pat, const char* s, uint16_t from, uint16_t to, char gap, char cs,
                 char wild, uint16_t* end) {
    return find(pat, 0, none, s, from, to, gap, cs, wild, end, 0);
}

uint16_t FND_WD(const char* pat, uint16_t pfrom, uint16_t pto, const char* s, uint16_t from,
                uint16_t to, char gap, char cs, char wild, uint16_t* end) {
    return find(pat, pfrom, pto, s, from, to, gap, cs, wild, end, 1);
}

uint16_t FND_WD(const char* pat, const char* s, uint16_t from, uint16_t to, char gap, char cs,
                char wild, uint16_t* end) {
    return find(pat, 0, none, s, from, to, gap, cs, wild, end, 1);
}

uint16_t FND_B(char c, const char* s, uint16_t from, uint16_t to, char cs) {
    if (err_ || !s) return none;
    size_t len = strnlen(s, to);
    for (size_t i = from; i < len; i++)
        if (cs ? s[i] == c : ch_upper[ub(s[i])] == ch_upper[ub(c)]) return static_cast<uint16_t>(i);
    return none;
}

uint16_t FND_CHDM(char mask, const char* s, uint16_t from, uint16_t to, uint16_t* end) {
    if (err_ || !s) return none;
    size_t len = strnlen(s, to), i = from;
    while (i < len && !(ch_dm[ub(s[i])] & ub(mask))) i++;
    if (i >= len) return none;
    size_t start = i;
    while (i < len && (ch_dm[ub(s[i])] & ub(mask))) i++;
    if (end) *end = static_cast<uint16_t>(i);
    return static_cast<uint16_t>(start);
}

char* C_TXT(char* s, const char* find, const char* repl, char all, char gap) {
    static const char* const rtn = "C_TXT";
    if (err_) return s;
    s = change(s, find, repl, all, gap, 0);
    RTN_ERR(rtn);
    return s;
}

char* UT_C_TXT(const char* s, const char* find, const char* repl, char all, char gap) {
    static const char* const rtn = "UT_C_TXT";
    if (err_) return nullptr;
    return change_copy(rtn, s, find, repl, all, gap, 0);
}

char* C_WD(char* s, const char* find, const char* repl, char all, char gap) {
    static const char* const rtn = "C_WD";
    if (err_) return s;
    s = change(s, find, repl, all, gap, 1);
    RTN_ERR(rtn);
    return s;
}

char* UT_C_WD(const char* s, const char* find, const char* repl, char all, char gap) {
    static const char* const rtn = "UT_C_WD";
    if (err_) return nullptr;
    return change_copy(rtn, s, find, repl, all, gap, 1);
}

void RPL_CH(char old_c, char new_c, char* s, char all) {
    if (err_ || !s || old_c == new_c) return;
    for (char* p = s; *p; p++) {
        if (*p != old_c) continue;
        *p = new_c;
        if (!all) return;
    }
}
