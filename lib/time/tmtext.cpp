// Formatting and parsing of time records. Owns S_TM's static piece array and consumed flags;
// TM_S keeps its pieces on its own stack, because the debug log stamps its lines with TM_S from
// inside an allocation trace that an outer TM_S may have started. Both directions cut their text
// into runs of one byte class and recognise the same shapes (shape_at), so a template TM_S fills is
// a text S_TM reads back. Every piece is an owned heap string, freed before the operation returns,
// errors included.
#include "time/tmtext.h"

#include <cstring>

#include "err/err.h"
#include "text/bytes.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"
#include "time/cl.h"

static const int max_pieces = 30;    // the last piece takes the rest of the text
static char* stm_pc[max_pieces];     // S_TM's pieces
static char stm_used[max_pieces];    // S_TM: pieces already consumed
static const uint16_t none = 65535;  // no month, an unset 16-bit field, a bad number
static const char* const no_time = "No time found";

enum { k_digit, k_letter, k_other };

// The shapes, in the order they are tried: how many numbers, and the separators that may join
// them (one separator for the whole shape: "1/2-3" is no date).
enum { sh_date3, sh_date2, sh_time4, sh_time3, sh_time2, sh_none };
static const struct {
    int nums;
    const char* seps;
} shapes[sh_none] = {{3, "/-"}, {2, "/-"}, {4, ":"}, {3, ":"}, {2, ":"}};

// The half-day markers; an odd index is the afternoon's.
static const char* const markers[] = {"A", "P", "AM", "PM"};

// Record fields by number, for S_TM's findings.
enum { f_year, f_month, f_day, f_wday, f_hour, f_minute, f_second, f_ms, f_count };

// What S_TM has found so far: a value and a flag per field.
struct Found {
    uint16_t v[f_count];
    char has[f_count];
};

static int kind(char c) {
    unsigned char v = c_v[static_cast<unsigned char>(c)];
    return v < 10 ? k_digit : v == 255 ? k_other : k_letter;
}

static char word(const char* p, const char* w) {
    return S_MT(p, w, 0, 1, 0, 0);
}

static void free_pieces(char** pc) {
    for (int i = 0; i < max_pieces; i++) MEM_FR(&pc[i]);
}

// Cuts s into runs of one byte class in pc and returns their count; 0 on an allocation failure
// (error pending, nothing left allocated).
static int cut(const char* s, char** pc) {
    size_t len = strlen(s), i = 0;
    int n = 0;
    while (i < len && !err_) {
        size_t j = i + 1;
        if (n == max_pieces - 1)
            j = len;
        else
            while (j < len && kind(s[j]) == kind(s[i])) j++;
        pc[n++] = S_X(s, i, j);
        i = j;
    }
    if (!err_) return n;
    free_pieces(pc);
    return 0;
}

static char is_num(char** pc, int n, int i) {
    return i < n && kind(pc[i][0]) == k_digit;
}

// The first shape that the pieces from i (a number) fit, or sh_none.
static int shape_at(char** pc, int n, int i) {
    for (int sh = 0; sh < sh_none; sh++) {
        for (const char* sep = shapes[sh].seps; *sep; sep++) {
            const char one[] = {*sep, 0};
            int k = 1;
            while (k < shapes[sh].nums && is_num(pc, n, i + 2 * k) &&
                   S_MT(pc[i + 2 * k - 1], one, 1, 1, 0, 0))
                k++;
            if (k == shapes[sh].nums) return sh;
        }
    }
    return sh_none;
}

// Index of the marker piece right behind a time ending at piece last (or behind a blank piece
// there), -1 if there is none; *pm gets 1 for an afternoon marker.
static int marker_at(char** pc, int n, int last, const char* blank, char* pm) {
    int j = last + 1;
    if (j < n && strcmp(pc[j], blank) == 0) j++;
    if (j >= n) return -1;
    for (int m = 0; m < 4; m++) {
        if (!word(pc[j], markers[m])) continue;
        *pm = m % 2;
        return j;
    }
    return -1;
}

// 1-7 for a weekday name of the list (entry 0 "NUL" left out), else 0.
static uint16_t weekday_in(const char* const* cl, const char* p) {
    uint32_t pos = CL_X(cl + 1, p, 0, 0);
    return pos < 7 ? static_cast<uint16_t>(pos + 1) : 0;
}

uint16_t S_MONTH(const char* s) {
    if (err_ || S_SZ(s) < 3) return none;
    for (uint16_t m = 1; cl_month[m]; m++)
        if (BF_MT(cl_month[m], s, S_SZ(s), 0, 1, 0)) return m;
    return none;
}

// ---- TM_S ----

// The value of a template number; 65535, out of every range, for one too large for 16 bits.
static uint16_t tmpl_value(const char* p) {
    return S10_U2_OK(p) ? S10_U2(p, nullptr, 0) : none;
}

static void put(char** p, long v, const char* fmt) {
    *p = S_RP(*p, V_S10(v, fmt, 0));
}

// Month or day: two digits when the template's piece begins with "0".
static void put_md(char** p, long v) {
    put(p, v, (*p)[0] == '0' ? "%02ld" : "%ld");
}

// Year: two digits for a two-digit template year, else four.
static void put_year(char** p, uint16_t tv, long year) {
    if (tv < 100)
        put(p, year % 100, "%02ld");
    else
        put(p, year, "%04ld");
}

// A date shape at i with template values v; pieces stay when a value is out of range.
static void fill_date(char** pc, int i, int sh, const uint16_t* v, const UTMDF* t) {
    if (sh == sh_date2) {
        if (v[0] >= 13 || v[1] >= 32) return;
        put_md(&pc[i], t->month);
        put_md(&pc[i + 2], t->day);
    } else if (v[0] < 32) {
        if (v[0] >= 13 || v[1] >= 32 || v[2] >= 10000) return;
        put_md(&pc[i], t->month);
        put_md(&pc[i + 2], t->day);
        put_year(&pc[i + 4], v[2], t->year);
    } else {
        // The middle piece takes the month and the last the day, yet they are bounded the
        // other way round; templates have always been read so.
        if (v[0] >= 10000 || v[1] >= 32 || v[2] >= 13) return;
        put_year(&pc[i], v[0], t->year);
        put_md(&pc[i + 2], t->month);
        put_md(&pc[i + 4], t->day);
    }
}

// A time shape of nums numbers at i; 1 when filled. A template hour of 1 to 12 asks for a
// twelve-hour clock.
static char fill_time(char** pc, int i, int nums, const uint16_t* v, const UTMDF* t) {
    static const uint16_t top[] = {24, 60, 60, 1000};
    for (int k = 0; k < nums; k++)
        if (v[k] >= top[k]) return 0;
    long h = t->hour;
    if (v[0] >= 1 && v[0] <= 12) h = h == 0 ? 12 : h > 12 ? h - 12 : h;
    put(&pc[i], h, pc[i][0] == '0' || v[0] > 12 ? "%02ld" : "%ld");
    put(&pc[i + 2], t->minute, "%02ld");
    if (nums > 2) put(&pc[i + 4], t->second, "%02ld");
    if (nums > 3) put(&pc[i + 6], t->ms, "%03ld");
    return 1;
}

// The name of entry v of a name list of top entries, or "?" outside 1 to top.
static const char* name_of(const char* const* cl, unsigned v, unsigned top) {
    return v >= 1 && v <= top ? cl[v] : "?";
}

// A word of the template: the date words and names are replaced, any other word is kept.
static void fill_word(char** p, const UTMDF* t) {
    static const struct {
        const char* w;
        const char* fmt;
        char year;
    } numbers[] = {{"Year", "%ld", 1}, {"Date", "%ld", 0}, {"dd", "%02ld", 0}};
    for (const auto& nw : numbers) {
        if (!word(*p, nw.w)) continue;
        put(p, nw.year ? t->year : t->day, nw.fmt);
        return;
    }
    if (word(*p, "Weekday") || weekday_in(cl_wday, *p))
        *p = S_RP(*p, name_of(cl_wday, t->wday, 7));
    else if (word(*p, "Month") || S_MONTH(*p) != none)
        *p = S_RP(*p, name_of(cl_month, t->month, 12));
}

// Fills the piece at i and the shape it starts; returns the index of the last piece used.
static int fill_at(char** pc, int n, int i, const UTMDF* t) {
    int cls = kind(pc[i][0]);
    if (cls == k_letter) fill_word(&pc[i], t);
    if (cls != k_digit) return i;
    int sh = shape_at(pc, n, i);
    if (sh == sh_none) return i;
    uint16_t v[4];
    for (int k = 0; k < shapes[sh].nums; k++) v[k] = tmpl_value(pc[i + 2 * k]);
    int last = i + 2 * shapes[sh].nums - 2;
    if (sh <= sh_date2) {
        fill_date(pc, i, sh, v, t);
        return last;
    }
    char pm = 0;
    int m = fill_time(pc, i, shapes[sh].nums, v, t) ? marker_at(pc, n, last, " ", &pm) : -1;
    if (m < 0) return last;
    const char* const* pair = strlen(pc[m]) == 1 ? markers : markers + 2;
    pc[m] = S_RP(pc[m], pair[t->hour >= 12]);
    return m;
}

// The pieces joined as a scratch text, or "?" on an allocation failure.
static const char* joined(const char* rtn, char** pc, int n) {
    char* all = nullptr;
    for (int i = 0; i < n; i++) all = S_A(all, pc[i]);
    const char* out = UT_S_CP(all);
    MEM_FR(&all);
    if (RTN_ERR(rtn)) return "?";
    return out;
}

const char* TM_S(const UTMDF* t, const char* tmpl) {
    static const char* const rtn = "TM_S";
    if (err_) return "?";
    if (!t) t = &utm;
    if (!tmpl) tmpl = "12:00:00";
    if (!*tmpl) return tmpl;
    char* pc[max_pieces] = {};
    int n = cut(tmpl, pc);
    if (RTN_ERR(rtn)) return "?";
    for (int i = 0; i < n && !err_; i++) i = fill_at(pc, n, i, t);
    const char* out = joined(rtn, pc, n);
    free_pieces(pc);
    return out;
}

// ---- S_TM ----

static void take(Found* f, int field, uint16_t v) {
    f->v[field] = v;
    f->has[field] = 1;
}

// The value of the number piece i; on a failed conversion the error stays, with the trail.
static uint16_t number(const char* rtn, int i) {
    uint16_t v = S10_U2(stm_pc[i], nullptr, 0);
    RTN_ERR(rtn);
    return v;
}

static void unexpected(const char* p, char strict) {
    if (strict) SM_ERR("Unexp time text ", qt, p, qt, nullptr);
}

// Unset fields, then the clock's date (start 1: with the time of day 0) or date and time.
static void set_start(UTMDF* t, char start) {
    memset(t, 0xFF, sizeof *t);
    if (!start) return;
    TM_RD(t == &utm ? nullptr : t);  // TM_RD fills utm itself; a copy onto itself is not wanted
    if (start != 1) return;
    t->hour = t->minute = t->second = 0;
    t->ms = 0;
}

// First pass: the first weekday name and the first month name, with a day right behind the
// month ("January 15", "Jan. 15").
static void read_names(const char* rtn, Found* f, int n) {
    for (int i = 0; i < n && !err_; i++) {
        if (kind(stm_pc[i][0]) != k_letter) continue;
        uint16_t wd = weekday_in(cl_wday, stm_pc[i]);
        if (!wd) wd = weekday_in(cl_wday_short, stm_pc[i]);
        uint16_t m = S_MONTH(stm_pc[i]);
        if (wd && !f->has[f_wday]) {
            take(f, f_wday, wd);
            stm_used[i] = 1;
        } else if (m != none && !f->has[f_month]) {
            take(f, f_month, m);
            stm_used[i] = 1;
            if (!is_num(stm_pc, n, i + 2)) continue;
            if (stm_pc[i + 1][0] && strcmp(stm_pc[i + 1], ".") != 0) continue;
            uint16_t d = number(rtn, i + 2);
            if (err_ || d >= 32) continue;
            take(f, f_day, d);
            stm_used[i + 1] = stm_used[i + 2] = 1;
        }
    }
}

static void mark_used(int from, int to) {
    for (int k = from; k <= to; k++) stm_used[k] = 1;
}

// A date shape at i: month and day first, a two-digit year in 2000 and on.
static void take_date(Found* f, int i, int sh, const uint16_t* v) {
    if (v[0] >= 13 || v[1] >= 32) return;
    take(f, f_month, v[0]);
    take(f, f_day, v[1]);
    if (sh == sh_date3) take(f, f_year, static_cast<uint16_t>(v[2] < 100 ? v[2] + 2000 : v[2]));
    mark_used(i, i + 2 * shapes[sh].nums - 2);
}

// A time shape of nums numbers at i, and the marker behind it.
static void take_time(Found* f, int n, int i, int nums, const uint16_t* v) {
    static const uint16_t top[] = {24, 60, 60, 1000};
    static const int field[] = {f_hour, f_minute, f_second, f_ms};
    for (int k = 0; k < nums; k++)
        if (v[k] >= top[k]) return;
    for (int k = 0; k < nums; k++) take(f, field[k], v[k]);
    int last = i + 2 * nums - 2;
    char pm = 0;
    int m = marker_at(stm_pc, n, last, "", &pm);
    mark_used(i, m < 0 ? last : m);
    if (m < 0) return;
    if (pm && v[0] < 12) f->v[f_hour] = static_cast<uint16_t>(v[0] + 12);
    if (!pm && v[0] == 12) f->v[f_hour] = 0;
}

// A number that starts no shape: a month before a year.
static void take_lone(Found* f, int i, uint16_t v, char strict) {
    if (!f->has[f_month] && v >= 1 && v <= 30)
        take(f, f_month, v);
    else if (!f->has[f_year] && v >= 1980 && v <= 2999)
        take(f, f_year, v);
    else
        unexpected(stm_pc[i], strict);
}

// Second pass: the piece at i, not consumed before.
static void read_piece(const char* rtn, Found* f, int n, int i, char strict) {
    const char* p = stm_pc[i];
    if (kind(p[0]) == k_other) return;
    if (kind(p[0]) == k_letter) {
        if (!weekday_in(cl_wday, p) && !weekday_in(cl_wday_short, p) && S_MONTH(p) == none)
            unexpected(p, strict);
        return;
    }
    int sh = shape_at(stm_pc, n, i);
    uint16_t v[4];
    int nums = sh == sh_none ? 1 : shapes[sh].nums;
    for (int k = 0; k < nums && !err_; k++) v[k] = number(rtn, i + 2 * k);
    if (err_) return;
    if (sh == sh_none)
        take_lone(f, i, v[0], strict);
    else if (sh <= sh_date2)
        take_date(f, i, sh, v);
    else
        take_time(f, n, i, nums, v);
}

// Stores the fields found into t.
static void store(const Found* f, UTMDF* t) {
    uint8_t* bytes[] = {nullptr, &t->month, &t->day, &t->wday, &t->hour, &t->minute, &t->second};
    for (int k = f_month; k < f_ms; k++)
        if (f->has[k]) *bytes[k] = static_cast<uint8_t>(f->v[k]);
    if (f->has[f_year]) t->year = f->v[f_year];
    if (f->has[f_ms]) t->ms = f->v[f_ms];
}

void S_TM(const char* s, UTMDF* t, char start, char strict) {
    static const char* const rtn = "S_TM";
    if (err_) return;
    if (!t) t = &utm;
    set_start(t, start);
    if (!s || !*s) {
        S_ERR(no_time);
        return;
    }
    int n = cut(s, stm_pc);
    if (RTN_ERR(rtn)) return;
    for (int i = 0; i < n; i++) RM_TRL(stm_pc[i]);
    memset(stm_used, 0, sizeof stm_used);
    Found f = {};
    read_names(rtn, &f, n);
    for (int i = 0; i < n && !err_; i++)
        if (!stm_used[i]) read_piece(rtn, &f, n, i, strict);
    free_pieces(stm_pc);
    if (err_) return;
    char any = 0;
    for (char h : f.has) any |= h;
    if (!any) {
        S_ERR(no_time);
        return;
    }
    store(&f, t);
}
