// The clock and the calendar: owns utm, utm_decade, the time constants, the month table, the
// name lists and the Sunday globals. Reads the system clock (time, localtime, gettimeofday) and
// sleeps with usleep; text forms of records are left to the formatting and parsing files.
// Records move by whole-unit steps with carries; elapsed time between records is counted by
// walking those steps, never by subtracting, so both agree on every odd calendar corner.
#include "time/clock.h"

#include <cstdint>
#include <ctime>
#include <sys/time.h>
#include <unistd.h>

#include "err/err.h"
#include "text/mem.h"
#include "time/env.h"

UTMDF utm = {};
uint16_t utm_decade = 0;
const uint32_t year_secs = 31536000;
const uint32_t min_secs = 60;
const uint32_t min_ms = 60000;
const uint32_t hour_secs = 3600;
const uint32_t hour_ms = 3600000;
const uint32_t day_secs = 86400;
const uint32_t day_ms = 86400000;

const char* const cl_month[] = {"NUL",     "January",  "February", "March",  "April",
                                "May",     "June",     "July",     "August", "September",
                                "October", "November", "December", nullptr};
const char* const cl_wday[] = {"NUL",      "Sunday", "Monday",   "Tuesday", "Wednesday",
                               "Thursday", "Friday", "Saturday", nullptr};
const char* const cl_wday_short[] = {"NUL", "Sun", "Mon", "Tue",  "Wed",
                                     "Thu", "Fri", "Sat", nullptr};

uint16_t sunday_1 = 0, sunday_2 = 0, sunday_3 = 0, sunday_4 = 0, sunday_5 = 0, sunday_last = 0;

const char* cur_uns_lnx = " is currently unsupported under LINUX";

static const uint8_t month_days[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// The units a record is stepped by, finest first; u_day also carries months and years.
enum { u_ms, u_sec, u_min, u_hour, u_day, u_count };
static const int64_t unit_ms[u_count] = {1, 1000, min_ms, hour_ms, day_ms};

static const int32_t el_max = 0x7fffffff;  // an elapsed count that cannot be given

void TM_RD(UTMDF* t) {
    if (err_) return;
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    utm.year = static_cast<uint16_t>(lt.tm_year + 1900);
    utm.month = static_cast<uint8_t>(lt.tm_mon + 1);
    utm.day = static_cast<uint8_t>(lt.tm_mday);
    utm.wday = static_cast<uint8_t>(lt.tm_wday + 1);
    utm.hour = static_cast<uint8_t>(lt.tm_hour);
    utm.minute = static_cast<uint8_t>(lt.tm_min);
    utm.second = static_cast<uint8_t>(lt.tm_sec);
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    // Only the low byte of the millisecond is kept; callers have always lived with 0-255 here.
    if (tv.tv_sec % 60 == utm.second)
        utm.ms = static_cast<uint16_t>((tv.tv_usec / 1000) & 0xff);
    else
        utm.ms = 999;
    if (t) B_B(&utm, sizeof utm, t);
    utm_decade = static_cast<uint16_t>(utm.year / 100 * 100);
}

uint32_t TIC_C() {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return static_cast<uint32_t>(tv.tv_sec % 10000000) * 1000u +
           static_cast<uint32_t>(tv.tv_usec / 1000);
}

void TIC_TRANS() {
    uint32_t first = TIC_C();
    while (TIC_C() == first) {}
}

uint32_t EL_MS(uint32_t start, uint32_t end) {
    if (err_) return el_max;
    if (end == 0xFFFFFFFF) end = TIC_C();
    return end - start;
}

uint32_t EL_SECS(uint32_t start, uint32_t end) {
    return EL_MS(start, end) / 1000;
}

uint32_t EL_MINS(uint32_t start, uint32_t end) {
    return EL_SECS(start, end) / 60;
}

uint32_t EL_HOURS(uint32_t start, uint32_t end) {
    return EL_MINS(start, end) / 60;
}

void SLEEP_MS(uint32_t ms) {
    if (ms) usleep(ms * 1000u);
}

char LEAP_YEAR(uint16_t year) {
    if (year == 65535) {
        TM_RD(nullptr);
        year = utm.year;
    }
    if (year % 4) return 0;
    return year % 100 || year % 400 == 0;
}

uint16_t MONTH_DAYS(uint16_t month, uint16_t year) {
    if (month == 65535) {
        TM_RD(nullptr);
        month = utm.month;
    }
    if (month > 12) return 0;
    return static_cast<uint16_t>(month_days[month] + (month == 2 && LEAP_YEAR(year)));
}

// --- Stepping a record by one unit ---

// The hour-and-finer fields that wrap at a fixed limit, by unit (u_sec to u_hour).
static uint8_t* clock_field(UTMDF* t, int unit) {
    uint8_t* fields[] = {nullptr, &t->second, &t->minute, &t->hour};
    return fields[unit];
}
static const uint8_t clock_max[] = {0, 59, 59, 23};

static void day_up(UTMDF* t) {
    t->wday = static_cast<uint8_t>(t->wday >= 7 ? 1 : t->wday + 1);
    if (++t->day <= MONTH_DAYS(t->month, t->year)) return;
    t->day = 1;
    if (++t->month <= 12) return;
    t->month = 1;
    t->year++;
}

// The day before; day 1 borrows the length of its own month, not of the one before.
static void day_down(UTMDF* t) {
    t->wday = static_cast<uint8_t>(t->wday <= 1 ? 7 : t->wday - 1);
    if (t->day >= 2) {
        t->day--;
        return;
    }
    t->day = static_cast<uint8_t>(MONTH_DAYS(t->month, t->year));
    if (t->month > 1) {
        t->month--;
        return;
    }
    t->month = 12;
    t->year--;
}

// One unit later, carrying into the coarser fields.
static void step_up(UTMDF* t, int unit) {
    if (unit == u_ms) {
        if (++t->ms <= 999) return;
        t->ms = 0;
        unit = u_sec;
    }
    for (; unit < u_day; unit++) {
        uint8_t* f = clock_field(t, unit);
        if (++*f <= clock_max[unit]) return;
        *f = 0;
    }
    day_up(t);
}

// One unit earlier (u_sec and coarser), borrowing from the coarser fields.
static void step_down(UTMDF* t, int unit) {
    for (; unit < u_day; unit++) {
        uint8_t* f = clock_field(t, unit);
        if (*f > 0) {
            --*f;
            return;
        }
        *f = clock_max[unit];
    }
    day_down(t);
}

// --- Moving a record ---

// The coarsest unit a positive amount of milliseconds covers: at least its size, or with strict
// more than its size; the second is always taken at its size. u_ms when under a second.
static int unit_of(int64_t amount, char strict) {
    int unit = u_day;
    while (unit > u_sec && (strict ? amount <= unit_ms[unit] : amount < unit_ms[unit])) unit--;
    return amount >= unit_ms[u_sec] ? unit : u_ms;
}

// Adds -999..999 to the millisecond, carrying or borrowing one second.
static void add_ms(int64_t delta, UTMDF* t) {
    int64_t ms = t->ms + delta;
    if (ms > 999) {
        ms -= 1000;
        step_up(t, u_sec);
    } else if (ms < 0) {
        ms += 1000;
        step_down(t, u_sec);
    }
    t->ms = static_cast<uint16_t>(ms);
}

void TM_ADD(int32_t ms, UTMDF* t) {
    if (err_ || ms == 0) return;
    if (!t) t = &utm;
    int64_t rem = ms;
    while (rem != 0) {
        char back = rem < 0;
        // Going back takes a unit only for more than its size: exactly one day back is walked
        // in hours, minutes and seconds.
        int unit = unit_of(back ? -rem : rem, back);
        if (unit == u_ms) {
            add_ms(rem, t);
            return;
        }
        rem += back ? unit_ms[unit] : -unit_ms[unit];
        if (back) {
            step_down(t, unit);
            continue;
        }
        // A forward day step zeroes the hour, an hour step the minute: the next finer field.
        if (unit >= u_hour) *clock_field(t, unit - 1) = 0;
        step_up(t, unit);
    }
}

// --- Elapsed time between records ---

// The fields from ms (index u_ms) up to year, in one array for comparing.
static void field_list(const UTMDF* t, uint32_t* v) {
    v[0] = t->ms;
    v[1] = t->second;
    v[2] = t->minute;
    v[3] = t->hour;
    v[4] = t->day;
    v[5] = t->month;
    v[6] = t->year;
}
static const int field_count = 7;

// -1, 0 or 1 as a is before, equal to or after b, comparing from the year down to unit. With a
// non-null finest, the finest differing unit (months and years counting as u_day) goes there.
static int compare(const UTMDF* a, const UTMDF* b, int unit, int* finest) {
    uint32_t va[field_count], vb[field_count];
    field_list(a, va);
    field_list(b, vb);
    int sign = 0;
    for (int i = field_count - 1; i >= unit; i--) {
        if (va[i] == vb[i]) continue;
        if (!sign) sign = va[i] < vb[i] ? -1 : 1;
        if (finest) *finest = i < u_day ? i : u_day;
    }
    return sign;
}

// Counts unit steps from a up to the later b; the finest differing unit is stepped first.
// el_max when the count passes it, or when a step overshoots b (b has a field out of range) or
// the year wraps.
static int32_t walk(const UTMDF* a, const UTMDF* b, int unit) {
    UTMDF w;
    B_B(a, sizeof w, &w);
    int64_t total = 0;
    int finest = unit;
    while (compare(&w, b, unit, &finest) < 0) {
        step_up(&w, finest);
        total += unit_ms[finest] / unit_ms[unit];
        if (total > el_max || w.year < a->year) return el_max;
    }
    return compare(&w, b, unit, nullptr) == 0 ? static_cast<int32_t>(total) : el_max;
}

// The elapsed-time family's worker: null records read the clock, and an earlier to-record swaps
// the two and negates the count.
static int32_t el_utm(UTMDF* from, UTMDF* to, int unit) {
    if (err_) return el_max;
    if (!from || !to) TM_RD(nullptr);
    const UTMDF* a = from ? from : &utm;
    const UTMDF* b = to ? to : &utm;
    if (compare(a, b, unit, nullptr) <= 0) return walk(a, b, unit);
    return -walk(b, a, unit);
}

int32_t EL_MS_UTM(UTMDF* from, UTMDF* to) {
    return el_utm(from, to, u_ms);
}

int32_t EL_SECS_UTM(UTMDF* from, UTMDF* to) {
    return el_utm(from, to, u_sec);
}

int32_t EL_MINS_UTM(UTMDF* from, UTMDF* to) {
    return el_utm(from, to, u_min);
}

int32_t EL_HOURS_UTM(UTMDF* from, UTMDF* to) {
    return el_utm(from, to, u_hour);
}

int32_t EL_DAYS_UTM(UTMDF* from, UTMDF* to) {
    return el_utm(from, to, u_day);
}

// --- Sundays and daylight-saving time ---

void TM_SUNDAYS() {
    if (err_) return;
    UTMDF t;
    TM_RD(&t);
    uint8_t wday = t.wday;  // walked back to the weekday of the 1st
    for (uint8_t d = t.day; d > 1; d--) wday = static_cast<uint8_t>(wday <= 1 ? 7 : wday - 1);
    uint16_t* found[] = {&sunday_1, &sunday_2, &sunday_3, &sunday_4, &sunday_5};
    for (uint16_t* s : found) *s = 0;
    uint16_t last_day = MONTH_DAYS(t.month, t.year);
    int n = 0;
    for (uint16_t d = 1; d <= last_day; d++, wday = static_cast<uint8_t>(wday % 7 + 1))
        if (wday == 1 && n < 5) *found[n++] = d;
    sunday_last = sunday_5 ? sunday_5 : sunday_4;
}

// The two months in which the clocks change, on which Sunday, and the state before 02:00.
struct DstChange {
    uint8_t month;
    const uint16_t* sunday;
    char before;
};
static const DstChange dst_changes[] = {{4, &sunday_1, 0}, {10, &sunday_last, 1}};
static const char dst_months[13] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0};  // by month, no change

char TM_DST() {
    if (err_ || !ENV_VAR_TF("DST", 1)) return 0;
    TM_SUNDAYS();
    UTMDF t;
    TM_RD(&t);
    for (const DstChange& c : dst_changes) {
        if (t.month != c.month) continue;
        if (t.day != *c.sunday) return t.day < *c.sunday ? c.before : !c.before;
        return t.hour < 2 ? c.before : !c.before;
    }
    return t.month <= 12 ? dst_months[t.month] : 0;
}

// --- Setting the clock ---

void TM_DATE_WT(UTMDF*) {
    static const char* const rtn = "TM_DATE_WT";
    if (err_) return;
    SM_ERR(rtn, cur_uns_lnx, nullptr);
}

void TM_CLOCK_WT(UTMDF*) {
    static const char* const rtn = "TM_CLOCK_WT";
    if (err_) return;
    SM_ERR(rtn, cur_uns_lnx, nullptr);
}
