// Time records as text and text as time records. Formatting follows an example text: every
// number, name or half-day marker in a template that looks like part of a date or time is
// replaced by the record's value, everything else is copied. Parsing reads the same shapes plus
// month and weekday names. Owns the two static piece arrays (not re-entrant); the record, the
// clock and the name lists belong to lib/time/clock.h, list lookup to lib/time/cl.h.
// Word comparisons (names, "Year", "Date", "dd", "Weekday", "Month", the markers "A", "P", "AM",
// "PM") are whole-text and blind to case; separators ("/", "-", ":", ".") compare exactly.
#ifndef UT_TMTEXT_H
#define UT_TMTEXT_H

#include <cstdint>

#include "time/clock.h"

// Month 1-12 of a month name or of any leading part of one at least 3 characters long, in any
// case ("jan", "Sept"); 65535 for anything else, a null text, or while an error is pending.
uint16_t S_MONTH(const char* s);

// The template tmpl filled from *t (null: utm, the clock not read; null tmpl: "12:00:00", a
// twelve-hour clock). Shapes m/d/y, y-m-d, m/d, h:m:s:ms, h:m:s, h:m (with a marker behind), the
// words "Year", "Date", "dd", "Weekday", "Month" and any weekday or month name. A shape with an
// out-of-range value is passed over whole ("2006-12-31" stays), as is a number past 16 bits.
// Empty tmpl: tmpl itself. "?" (a constant) while an error is pending or when memory runs out
// (its error raised), else scratch: valid for 2047 further scratch allocations, never freed.
const char* TM_S(const UTMDF* t, const char* tmpl);

// Fills *t (null: utm) from the text s. Every field is first set unset (all bits 1), then start
// 0 leaves it so, 1 takes today's date from the clock with the time of day 0, any other value
// takes the clock's date and time; the fields the text names replace them. A lone number is a
// month (1-30) before it is a year (1980-2999). strict makes an unknown word the error
// "Unexp time text \"word\"" (else it is skipped). Nothing recognisable: "No time found". After
// an error the start values stay; while one is pending on entry *t is not touched.
void S_TM(const char* s, UTMDF* t, char start, char strict);

#endif
