// Heap and scratch string builders. Owns fl_rc_mxs and the shared one-character texts. Every
// builder ends in one of two workers, copy() and join(), which take the pool (heap or scratch)
// as a flag, so the UT_ forms cannot drift from the heap forms.
#include "text/str.h"

#include <cassert>
#include <cstdarg>
#include <cstring>

#include "err/err.h"
#include "text/mem.h"
#include "text/ring.h"

uint16_t fl_rc_mxs = 256;
const char* cr_ = "\r";
char dir_dlm = '/';
const char* dir_dlms = "/";

static const int max_pieces = 49;
static const size_t max_len = 65534;

// Takes n + 1 bytes from the heap or the scratch ring; null (error raised) on failure.
static char* take(size_t n, char scratch) {
    return scratch ? UT_AL(n) : MEM_AL(n + 1);
}

// New string of the n bytes at s, terminated. rtn names the caller for the error trail.
static char* copy(const char* rtn, const char* s, size_t n, char scratch) {
    char* p = take(n, scratch);
    if (RTN_ERR(rtn)) return nullptr;
    memcpy(p, s, n);
    p[n] = 0;
    return p;
}

// New string of the pieces joined (null pieces add nothing), or null with "String overflow"
// when the result would pass max_len characters.
static char* join(const char* rtn, const char* const* pieces, int n, char scratch) {
    size_t sum = 0;
    for (int i = 0; i < n; i++) sum += pieces[i] ? strlen(pieces[i]) : 0;
    if (sum > max_len) {
        S_ERR("String overflow");
        return nullptr;
    }
    char* p = take(sum, scratch);
    if (RTN_ERR(rtn)) return nullptr;
    char* end = p;
    for (int i = 0; i < n; i++) {
        if (!pieces[i]) continue;
        size_t len = strlen(pieces[i]);
        memcpy(end, pieces[i], len);
        end += len;
    }
    *end = 0;
    return p;
}

// Gathers the pieces of a variadic list, first included, into out (at most max_pieces) and
// returns how many there are.
static int gather(const char* first, va_list ap, const char** out) {
    int n = 0;
    for (const char* piece = first; piece && n < max_pieces; piece = va_arg(ap, const char*))
        out[n++] = piece;
    return n;
}

// The SM_CP family's worker: the listed pieces, first included, joined into the chosen pool.
static char* join_list(const char* rtn, const char* first, va_list ap, char scratch) {
    const char* pieces[max_pieces];
    int n = gather(first, ap, pieces);
    return join(rtn, pieces, n, scratch);
}

// The SM_A family's worker: base (taken over, may be null) with the listed pieces appended.
// No pieces: base itself. Joined: base freed. Failed: null, base still the caller's.
static char* append(const char* rtn, char* base, va_list ap) {
    const char* pieces[max_pieces + 1];
    pieces[0] = base;
    int n = 1 + gather(va_arg(ap, const char*), ap, pieces + 1);
    if (n == 1) return base;
    char* joined = join(rtn, pieces, n, 0);
    if (joined) MEM_FR(&base);
    return joined;
}

// Bounds of s[from, to) after the cuts; 0 when the range is empty of meaning (null result).
static int range(const char* s, unsigned long from, unsigned long* to) {
    unsigned long len = S_SZ(s);
    if (*to > len) *to = len;
    return from <= len && from <= *to;
}

uint16_t S_SZ(const char* s) {
    return s ? static_cast<uint16_t>(strlen(s)) : 0;
}

char* S_CP(const char* s) {
    static const char* const rtn = "S_CP";
    if (err_ || !s) return nullptr;
    return copy(rtn, s, S_SZ(s), 0);
}

char* S_RP(char* old, const char* src) {
    static const char* const rtn = "S_RP";
    if (err_) return old;
    char* c = S_CP(src);
    if (RTN_ERR(rtn)) return old;
    MEM_FR(&old);
    return c;
}

char* SM_CP(const char* piece, ...) {
    va_list ap;
    va_start(ap, piece);
    char* joined = SM_CP_VA(piece, ap);
    va_end(ap);
    return joined;
}

char* SM_CP_VA(const char* piece, va_list ap) {
    static const char* const rtn = "SM_CP";
    if (err_ || !piece) return nullptr;
    return join_list(rtn, piece, ap, 0);
}

char* SM_RP(char* old, ...) {
    static const char* const rtn = "SM_RP";
    if (err_) return old;
    const char* pieces[max_pieces];
    va_list ap;
    va_start(ap, old);
    int n = gather(va_arg(ap, const char*), ap, pieces);
    va_end(ap);
    if (n == 0) {
        MEM_FR(&old);
        return nullptr;
    }
    char* joined = join(rtn, pieces, n, 0);
    if (joined) MEM_FR(&old);
    return joined;
}

char* S_A(char* s, const char* t) {
    static const char* const rtn = "S_A";
    if (err_ || !t || !*t) return s;
    if (!s) {
        char* c = S_CP(t);
        RTN_ERR(rtn);
        return c;
    }
    const char* pieces[] = {s, t};
    char* joined = join(rtn, pieces, 2, 0);
    if (!joined) return s;
    MEM_FR(&s);
    return joined;
}

char* B_A(char* s, char c) {
    const char one[] = {c, 0};
    return S_A(s, one);
}

char* SM_A(char* s, ...) {
    static const char* const rtn = "SM_A";
    if (err_) return nullptr;
    va_list ap;
    va_start(ap, s);
    char* joined = append(rtn, s, ap);
    va_end(ap);
    return joined;
}

char* UT_SM_A(char* s, ...) {
    static const char* const rtn = "UT_SM_A";
    if (err_) return nullptr;
    va_list ap;
    va_start(ap, s);
    char* joined = append(rtn, s, ap);
    va_end(ap);
    return joined;
}

char* S_X(const char* s, unsigned long from, unsigned long to) {
    static const char* const rtn = "S_X";
    if (err_ || !s || !range(s, from, &to)) return nullptr;
    return copy(rtn, s + from, to - from, 0);
}

char* PAD_RP(char* s, uint16_t w) {
    static const char* const rtn = "PAD_RP";
    if (err_ || !s) return s;
    uint16_t len = S_SZ(s);
    if (len >= w) return s;
    char* p = MEM_AL(w + 1UL);
    if (RTN_ERR(rtn)) return s;
    memcpy(p, s, len);
    memset(p + len, ' ', w - len);
    p[w] = 0;
    MEM_FR(&s);
    return p;
}

uint16_t RM_TRL(char* s) {
    if (err_ || !s) return 0;
    size_t len = strlen(s);
    while (len > 0 && (s[len - 1] == ' ' || s[len - 1] == '\t')) len--;
    s[len] = 0;
    return static_cast<uint16_t>(len);
}

void RM_LEAD(char* s) {
    if (err_ || !s) return;
    size_t lead = strspn(s, " \t");
    if (lead == 0 || s[lead] == 0) return;  // nothing to remove, or only blanks: left as it is
    memmove(s, s + lead, strlen(s + lead) + 1);
}

void REMOVE_CH(char* s, char c) {
    if (err_ || !s) return;
    char* to = s;
    for (const char* from = s; *from; from++)
        if (*from != c) *to++ = *from;
    *to = 0;
}

void S_S(const char* src, char* dst, char trunc) {
    if (err_) return;
    assert(dst);
    if (!src) {
        dst[0] = 0;
        return;
    }
    size_t len = strlen(src);
    if (len > fl_rc_mxs) {
        if (!trunc) {
            S_ERR("S_S:Record overflow");
            return;
        }
        len = fl_rc_mxs;
    }
    memcpy(dst, src, len);
    dst[len] = 0;
}

char* RCDF_AL() {
    return MEM_AL(fl_rc_mxs + 1UL);
}

char* UT_S_CP(const char* s) {
    static const char* const rtn = "UT_S_CP";
    if (err_ || !s) return nullptr;
    return copy(rtn, s, S_SZ(s), 1);
}

char* UT_SM_CP(const char* piece, ...) {
    static const char* const rtn = "UT_SM_CP";
    if (err_ || !piece) return nullptr;
    va_list ap;
    va_start(ap, piece);
    char* joined = join_list(rtn, piece, ap, 1);
    va_end(ap);
    return joined;
}

char* UT_S_X(const char* s, unsigned long from, unsigned long to) {
    static const char* const rtn = "UT_S_X";
    if (err_ || !s || !range(s, from, &to)) return nullptr;
    return copy(rtn, s + from, to - from, 1);
}
