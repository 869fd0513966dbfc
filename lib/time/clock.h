// The time record UTMDF and the two ways of measuring time: the millisecond tick (TIC_C, EL_MS)
// for short intervals and polls, and calendar arithmetic on records (TM_ADD, the EL_*_UTM walks)
// for dates and long spans. Owns utm, utm_decade, the time constants, the month and weekday name
// lists and the Sunday globals. Formatting and parsing of records are left to lib/time's text
// files. No start-up: utm is valid after the first TM_RD, the Sunday globals after TM_SUNDAYS.
// While an error is pending the calendar operations do nothing (the elapsed ones return
// 0x7fffffff); the tick, sleep and leap-year helpers run regardless.
#ifndef UT_CLOCK_H
#define UT_CLOCK_H

#include <cstdint>

// A calendar time. Copied whole (sizeof(UTMDF) bytes) with B_B.
struct UTMDF {
    uint16_t year;   // full year, 2006
    uint8_t month;   // 1-12
    uint8_t day;     // 1-31
    uint8_t wday;    // 1-7, 1 = Sunday
    uint8_t hour;    // 0-23
    uint8_t minute;  // 0-59
    uint8_t second;  // 0-59
    uint16_t ms;     // 0-999
};
static_assert(sizeof(UTMDF) == 10, "UTMDF is ten bytes, copied whole");

extern UTMDF utm;            // time of the last TM_RD; the record used for null arguments
extern uint16_t utm_decade;  // century of utm's year, (year / 100) * 100; refreshed by TM_RD
extern const uint32_t year_secs, min_secs, min_ms, hour_secs, hour_ms, day_secs, day_ms;

// Text lists (null-terminated): element 0 is "NUL", then the names, so that index n of cl_wday
// names wday n and index n of cl_month names month n.
extern const char* const cl_month[];       // "January" .. "December"
extern const char* const cl_wday[];        // "Sunday" .. "Saturday"
extern const char* const cl_wday_short[];  // "Sun" .. "Sat"

// Days of the month of the 1st to 5th and the last Sunday of the current month, 0 where there is
// none; filled by TM_SUNDAYS.
extern uint16_t sunday_1, sunday_2, sunday_3, sunday_4, sunday_5, sunday_last;

extern const char* cur_uns_lnx;  // " is currently unsupported under LINUX"

// Reads the local calendar clock into utm (and into *t when t is not null), sets utm_decade.
// ms is the millisecond of the second modulo 256 (0-255), or 999 when the second changed between
// the two clock readings. Nothing, not even *t, is written while an error is pending.
void TM_RD(UTMDF* t);

// Millisecond tick: (epoch seconds modulo 10000000) * 1000 + milliseconds, in unsigned 32-bit
// arithmetic, so it wraps within each ten-million-second cycle. Runs while an error is pending.
uint32_t TIC_C();

// Busy-waits until the tick changes, to start a measurement on a millisecond boundary.
void TIC_TRANS();

// end - start in unsigned 32-bit arithmetic (a wrap of the tick is absorbed; an end before the
// start gives a huge value). An end of 0xFFFFFFFF means now. 0x7fffffff while an error is
// pending. The others divide EL_MS (truncating): the error value reads 2147483, 35791 and 596.
uint32_t EL_MS(uint32_t start, uint32_t end);
uint32_t EL_SECS(uint32_t start, uint32_t end);
uint32_t EL_MINS(uint32_t start, uint32_t end);
uint32_t EL_HOURS(uint32_t start, uint32_t end);

// Sleeps ms milliseconds (ms * 1000 microseconds in 32 bits: above 4294967 it wraps). 0 returns
// at once. Runs while an error is pending.
void SLEEP_MS(uint32_t ms);

// 1 for a Gregorian leap year, else 0. 65535 means the current year (read with TM_RD).
char LEAP_YEAR(uint16_t year);

// Days in month of year, February by LEAP_YEAR. 65535 means the current month or year. A month
// outside 1-12 gives 0. Runs while an error is pending.
uint16_t MONTH_DAYS(uint16_t month, uint16_t year);

// Moves *t (null: utm as it stands, the clock is not read) by ms milliseconds, largest whole
// unit first. Going forward a day step sets the hour to 0 and an hour step the minute to 0.
// Going back a day borrows the days of the month the record is in, so 1 March less one day is
// 31 February. Nothing for 0 or while an error is pending.
void TM_ADD(int32_t ms, UTMDF* t);

// Elapsed time from one record to another in the function's unit, fields finer than the unit
// ignored (wday never looked at); negative when to is earlier. A null record means now (TM_RD);
// two nulls give 0. Counted by walking the calendar one unit step at a time. A count beyond
// 2147483647 gives 0x7fffffff (0x80000001 when negative), as does a to-record the walk cannot
// reach because a field is out of range (day 40). 0x7fffffff while an error is pending.
int32_t EL_MS_UTM(UTMDF* from, UTMDF* to);
int32_t EL_SECS_UTM(UTMDF* from, UTMDF* to);
int32_t EL_MINS_UTM(UTMDF* from, UTMDF* to);
int32_t EL_HOURS_UTM(UTMDF* from, UTMDF* to);
int32_t EL_DAYS_UTM(UTMDF* from, UTMDF* to);

// Fills the six Sunday globals for the current month. Nothing while an error is pending.
void TM_SUNDAYS();

// 1 while daylight-saving time is in force now by the fixed rule: from 02:00 of April's first
// Sunday to 02:00 of October's last Sunday. 0 when the environment variable "DST" is false (see
// ENV_VAR_TF; unset counts as true) or while an error is pending.
char TM_DST();

// Setting the system date or clock is not supported: each raises "TM_DATE_WT is currently
// unsupported under LINUX" (or "TM_CLOCK_WT ..."). t is not read.
void TM_DATE_WT(UTMDF* t);
void TM_CLOCK_WT(UTMDF* t);

#endif
