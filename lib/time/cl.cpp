// Text list lookup. Owns cl_any_txt, qt and the static working values of range entries: the
// records of a time range (lo, hi and the walking one) and the numbers of a decimal-point range.
// Each entry is one function that answers found, next (the position moved past the entry) or
// over (the position no longer fits); a range that turns out to be none falls back to plain text.
#include "time/cl.h"

#include <cmath>
#include <cstring>

#include "err/dbg.h"
#include "err/err.h"
#include "file/fl.h"
#include "text/bytes.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"
#include "time/clock.h"
#include "time/tmtext.h"

const char* cl_any_txt = "[ANY]";
const char* qt = "\"";

static const uint32_t miss = 0xFFFFFFFF;
static const uint16_t unset = 65535;
static const int n_fields = 8;  // year, month, day, wday, hour, minute, second, ms
// Longest time range walked: a day in seconds, or 270 years in days, fits; a walk this long
// that has not met hi is taken as one that never will.
static const uint32_t max_walk = 100000;

static UTMDF utm0, utm1, utm_w;  // a time range's lo, hi and walking record
static double f8v0, f8v1, f8vt, mlt, delta;

enum { e_next, e_found, e_over, e_none };  // e_none: not a range of this kind
enum { k_bin, k_hex, k_dec };

// Moves the position on by n; e_over when it would pass 32 bits (or n is negative: a reversed
// range has no size that fits).
static int advance(uint32_t* pos, int64_t n) {
    if (n < 0 || *pos + static_cast<uint64_t>(n) > miss) return e_over;
    *pos += static_cast<uint32_t>(n);
    return e_next;
}

// The position of a value n places into the current entry.
static int found_at(uint32_t* pos, int64_t n) {
    int r = advance(pos, n);
    return r == e_next ? e_found : r;
}

static char matches(const char* a, const char* txt, char mt) {
    return S_MT(a, txt, mt, 1, 0, 0) || (cl_any_txt && strcmp(a, cl_any_txt) == 0);
}

// A "FILE:" entry: its lines in order. A file that cannot be read is dropped with its error.
static int file_entry(const char* rtn, const char* fnam, const char* txt, char mt, uint32_t* pos) {
    FLDF* fd = FL_OP(fnam, 0, 0, 0, nullptr);
    int r = e_next;
    for (char* line; r == e_next && (line = FL_S(fd, 0));)
        r = matches(line, txt, mt) ? e_found : advance(pos, 1);
    FL_CL(fd, 1);
    if (!err_) return r;
    const char* e = ERR_S();
    if (dbg_) SM_DBG(rtn, ":", e, nullptr);
    return r;
}

// s as a whole number of the kind; 0 (its error cleared) when it is none.
static char whole(int kind, const char* s, char lead, int64_t* v) {
    if (kind == k_bin)
        *v = S2_U4(s, nullptr, 0, lead);
    else if (kind == k_hex)
        *v = S16_U4(s, nullptr, 0, lead);
    else
        *v = S10_I4(s, nullptr, 0);
    if (!err_) return 1;
    ERR_S();
    return 0;
}

// A binary, hexadecimal or decimal range. A binary or hex lo that does not convert is no
// decimal either (it begins with a letter), so the next kind to try is the decimal point.
static int whole_range(const char* lo, const char* hi, const char* txt, uint32_t* pos) {
    int kind = lo[0] == 'B' || lo[0] == 'b' ? k_bin : lo[0] == 'X' || lo[0] == 'x' ? k_hex : k_dec;
    char lead = lo[0] == 'B' || lo[0] == 'X' ? lo[0] : 0;  // the small letters get no lead
    int64_t v0, v1 = kind == k_dec ? 2147483647 : 0xFFFFFFFF, vt;
    if (!whole(kind, lo, lead, &v0) || (*hi && !whole(kind, hi, lead, &v1))) return e_none;
    if (whole(kind, txt, lead, &vt) && v0 <= vt && vt <= v1) return found_at(pos, vt - v0);
    return advance(pos, v1 - v0 + 1);
}

// Digits after the first "." of s.
static int decimals(const char* s) {
    const char* p = strchr(s, '.');
    int d = 0;
    while (p && c_v[static_cast<unsigned char>(p[d + 1])] < 10) d++;
    return d;
}

// A decimal-point range, in steps of lo's last decimal place; only for a text with a "." too.
static int point_range(const char* lo, const char* hi, const char* txt, uint32_t* pos) {
    if (!strchr(lo, '.') || !strchr(hi, '.') || !strchr(txt, '.')) return e_none;
    f8v0 = S_F8(lo, nullptr);
    f8v1 = S_F8(hi, nullptr);
    if (err_) {
        ERR_S();
        return e_none;
    }
    f8vt = S_F8(txt, nullptr);
    char in = !err_ && f8v0 <= f8vt && f8vt <= f8v1;
    ERR_S();
    int d = decimals(lo);
    mlt = pow(10.0, d);
    delta = pow(10.0, -d);
    double count = round((f8v1 - f8v0 + delta) * mlt);
    if (in) return found_at(pos, llround((f8vt - f8v0) * mlt));
    if (count > miss) return e_over;
    return advance(pos, static_cast<int64_t>(count));
}

// The eight fields of a record, an unset one (all bits 1) as 65535 whatever its width.
static void fields(const UTMDF* t, uint16_t* v) {
    const uint8_t b[] = {t->month, t->day, t->wday, t->hour, t->minute, t->second};
    v[0] = t->year;
    for (int i = 0; i < 6; i++) v[i + 1] = b[i] == 255 ? unset : b[i];
    v[7] = t->ms;
}

// 1 when a agrees with b in every field that lo sets; with need_set, only whether b sets them.
static char agree(const UTMDF* a, const UTMDF* b, char need_set) {
    uint16_t v0[n_fields], va[n_fields], vb[n_fields];
    fields(&utm0, v0);
    fields(a, va);
    fields(b, vb);
    for (int i = 0; i < n_fields; i++) {
        if (v0[i] == unset) continue;
        if (need_set ? vb[i] == unset : va[i] != vb[i]) return 0;
    }
    return 1;
}

// The walk's step: the finest unit lo names. The month and year steps are 32-bit products
// taken as signed, as the walk has always made them: every month step and most year steps
// come out negative, so those walks run backwards.
static int32_t step_ms() {
    uint16_t v[n_fields];
    fields(&utm0, v);
    const uint32_t units[n_fields] = {0, 0, day_ms, day_ms, hour_ms, min_ms, 1000, 1};
    for (int i = n_fields - 1; i >= 2; i--)
        if (v[i] != unset) return static_cast<int32_t>(units[i]);
    uint32_t month = MONTH_DAYS(utm_w.month, 65535) * day_ms;
    if (v[1] != unset) return static_cast<int32_t>(month);
    if (utm0.year != 255) return static_cast<int32_t>(month * 365u);
    return 0;
}

// Walks from lo to hi, each value written as lo is written. A walk that has not met hi within
// max_walk steps never will (hi names a value the walk cannot take, or it runs away from hi):
// the range has no size that fits.
static int walk(const char* lo, const char* txt, char mt, char parsed, uint32_t* pos) {
    for (uint32_t steps = 0; steps < max_walk; steps++) {
        if (parsed && S_MT(TM_S(&utm_w, lo), txt, mt, 1, 0, 0)) return e_found;
        if (advance(pos, 1) == e_over) return e_over;
        if (agree(&utm_w, &utm1, 0)) return e_next;
        TM_ADD(step_ms(), &utm_w);
    }
    return e_over;
}

// A date or time range. One that does not parse, or whose hi leaves out a unit lo names (the
// walk could never end), is no range.
static int time_range(const char* lo, const char* hi, const char* txt, char mt, uint32_t* pos) {
    S_TM(lo, &utm0, 0, 1);
    S_TM(hi, &utm1, 0, 1);
    S_TM(lo, &utm_w, 1, 1);
    if (err_ || !agree(&utm_w, &utm1, 1)) {
        ERR_S();
        return e_none;
    }
    UTMDF t;
    S_TM(txt, &t, 0, 1);
    char parsed = !err_;
    ERR_S();
    return walk(lo, txt, mt, parsed, pos);
}

// An entry holding "...": the kinds of range in their order; e_none when it is none of them.
static int range_entry(const char* rtn, const char* e, const char* txt, char mt, uint32_t* pos) {
    const char* dots = strstr(e, "...");
    char* lo = S_X(e, 0, static_cast<unsigned long>(dots - e));
    if (RTN_ERR(rtn)) return e_over;
    const char* hi = dots + 3;
    int r = whole_range(lo, hi, txt, pos);
    if (r == e_none) r = point_range(lo, hi, txt, pos);
    if (r == e_none) r = time_range(lo, hi, txt, mt, pos);
    MEM_FR(&lo);
    return r;
}

static int entry(const char* rtn, const char* e, const char* txt, char mt, uint32_t* pos) {
    if (BF_MT(e, "FILE:", 5, 0, 1, 0)) return file_entry(rtn, e + 5, txt, mt, pos);
    if (cl_any_txt && strcmp(e, cl_any_txt) == 0) return e_found;
    int r = strstr(e, "...") ? range_entry(rtn, e, txt, mt, pos) : e_none;
    if (r != e_none) return r;
    return S_MT(e, txt, mt, 1, 0, 0) ? e_found : advance(pos, 1);
}

uint32_t CL_X(const char* const* cl, const char* txt, char report, char mt) {
    static const char* const rtn = "CL_X";
    if (err_) return miss;
    if (!txt || !cl) {
        if (report) SM_ERR(rtn, txt ? ":cl=NULL" : ":txt=NULL", nullptr);
        return miss;
    }
    uint32_t pos = 0;
    for (; *cl && !err_; cl++) {
        int r = entry(rtn, *cl, txt, mt, &pos);
        if (r == e_found) return pos;
        if (r == e_over) return miss;
    }
    if (report) SM_ERR(qt, txt, qt, " is undefined selection", nullptr);
    return miss;
}

void CL_FR(char*** cl) {
    if (!cl || !*cl) return;
    for (char** e = *cl; *e; e++) MEM_FR(e);
    char* block = reinterpret_cast<char*>(*cl);
    MEM_FR(&block);
    *cl = nullptr;
}
