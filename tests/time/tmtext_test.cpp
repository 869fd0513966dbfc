// Time records as text and back: templates filled from records, texts read into records, month
// names. Every record is built here, so no row depends on the time of day it runs at.
#include "support/ut_test.h"

// "2007-3-5 w2 14:5:9.7", with "?" for an unset field.
static std::string fields(const UTMDF& t) {
    const unsigned v[] = {t.year, t.month, t.day, t.wday, t.hour, t.minute, t.second, t.ms};
    const char* sep[] = {"-", "-", " w", " ", ":", ":", ".", ""};
    std::string s;
    for (int i = 0; i < 8; i++)
        s += (v[i] == (i == 0 || i == 7 ? 65535u : 255u) ? "?" : std::to_string(v[i])) + sep[i];
    return s;
}

static const UTMDF mon_14 = {2007, 3, 5, 2, 14, 5, 9, 7};  // Monday 5 March 2007, 14:05:09.007

// Every number, name and marker that looks like part of a date or time is filled; the template
// hour chooses the clock (1-12: twelve hours) and the padding; out-of-range shapes stay. In
// y-m-d the day piece is bounded by 13 and the month piece by 32; mixed separators are no date.
// At most 30 pieces: the 30th takes the rest, so a time that starts there is no longer seen.
TEST(TmText, TemplatesAreFilledFromTheRecord) {
    const std::tuple<UTMDF, const char*, const char*> rows[] = {
        {{2007, 3, 5, 2, 0, 30, 0, 0}, nullptr, "12:30:00"},
        {mon_14, "13:00:00", "14:05:09"},
        {mon_14, "1:00:00 PM", "2:05:09 PM"},
        {{2007, 3, 5, 2, 9, 5, 0, 0}, "01:00:00 PM", "09:05:00 AM"},
        {{2007, 3, 5, 2, 12, 30, 0, 0}, "1:00 am", "12:30 PM"},
        {{2007, 3, 5, 2, 0, 30, 0, 0}, "1:00a", "12:30A"},
        {{2007, 3, 5, 2, 0, 7, 3, 0}, "00:00:00", "00:07:03"},
        {mon_14, "00:00:00 ", "14:05:09 "},
        {mon_14, "0:00:00:000", "14:05:09:007"},
        {mon_14, "12:60:00 PM 0:00:00:1000", "12:60:00 PM 0:00:00:1000"},
        {mon_14, "12/31/2006", "3/5/2007"},
        {mon_14, "12/31/06", "3/5/07"},
        {mon_14, "2006-01-01", "2007-03-05"},
        {mon_14, "2006-01-13 2006-32-12", "2006-01-13 2006-32-12"},
        {mon_14, "2006-31-12", "2007-3-5"},
        {mon_14, "12/31-2006", "3/5-2006"},
        {mon_14, "01/01 at 1/1/10000", "03/05 at 1/1/10000"},
        {mon_14, "13/1 1/32 13/1/1 1/32/1", "13/1 1/32 13/1/1 1/32/1"},
        {mon_14, "32/1/1 10000/1/1 1/1/100", "07/3/5 10000/1/1 3/5/2007"},
        {{2007, 3, 5, 2, 9, 5, 0, 0},
         "13:00 12:00 24:00 PM 0:00:60",
         "09:05 9:05 24:00 PM 0:00:60"},
        {mon_14, "Weekday, Month dd, Year", "Monday, March 05, 2007"},
        {mon_14, "friday Date jan", "Monday 5 March"},
        {{2007, 13, 5, 8, 14, 5, 9, 7}, "Weekday Month", "? ?"},
        {{2007, 12, 2, 1, 14, 5, 9, 7}, "Weekday Month", "Sunday December"},
        {mon_14, "x x x x x x x x x x x x x 1:00", "x x x x x x x x x x x x x 2:05"},
        {mon_14, "x x x x x x x x x x x x x x 1:00", "x x x x x x x x x x x x x x 1:00"}};
    for (const auto& [t, tmpl, want] : rows) {
        SCOPED_TRACE(show(tmpl));
        ERR_S();
        EXPECT_EQ(show(TM_S(&t, tmpl)), want);
        EXPECT_EQ(err_, 0);
    }
}

// Month names by a leading part of three letters or more, in any case. Texts read with start 0:
// only the fields the text names are set; a lone number is a month (up to 30) before a year; a
// piece of a date that is not taken is read again as the walk goes on; a second name is no error.
// Start 1 takes the clock's date at midnight, 2 its date and time, and the text's fields replace
// theirs.
TEST(TmText, MonthNamesAndTextsReadIntoRecords) {
    const std::tuple<const char*, uint16_t> months[] = {
        {"jan", 1},  {"January", 1}, {"JANU", 1}, {"Ja", 65535},    {"may", 5},
        {"Dec", 12}, {"Mon", 65535}, {"", 65535}, {nullptr, 65535}, {"Januaryx", 65535}};
    for (const auto& [s, want] : months) EXPECT_EQ(S_MONTH(s), want) << show(s);
    set_clock("2026-07-15 12:34", 300000);
    const std::tuple<const char*, char, char, const char*> rows[] = {
        // text, start, strict, fields or error
        {"3:15 PM", 0, 1, "?-?-? w? 15:15:?.?"},
        {"12:05 AM", 0, 1, "?-?-? w? 0:5:?.?"},
        {"12:05 PM", 0, 1, "?-?-? w? 12:5:?.?"},
        {"10:20:30:400", 0, 1, "?-?-? w? 10:20:30.400"},
        {"2006-12-31", 0, 1, "?-12-31 w? ?:?:?.?"},
        {"12/31/2006 23:59:58", 0, 1, "2006-12-31 w? 23:59:58.?"},
        {"3/5/07", 0, 1, "2007-3-5 w? ?:?:?.?"},
        {"13/5/2007", 0, 1, "2007-?-? w? ?:?:?.?"},
        {"5 2006", 0, 1, "2006-5-? w? ?:?:?.?"},
        {"30 2999", 0, 1, "2999-30-? w? ?:?:?.?"},
        {"1 1980", 0, 1, "1980-1-? w? ?:?:?.?"},
        {"1/1/100", 0, 1, "100-1-1 w? ?:?:?.?"},
        {"1/32", 0, 0, "No time found"},
        {"January-15", 0, 1, "Unexp time text \"15\""},
        {"1:60", 0, 0, "No time found"},
        {"1:00:60", 0, 0, "No time found"},
        {"1:00:00:1000", 0, 0, "No time found"},
        {"Monday, January 15", 0, 1, "?-1-15 w2 ?:?:?.?"},
        {"Jan. 15 sat sun", 0, 1, "?-1-15 w7 ?:?:?.?"},
        {"15:30", 1, 1, "2026-7-15 w4 15:30:0.0"},
        {"Monday", 2, 1, "2026-7-15 w2 12:34:0.44"},
        {"31", 0, 1, "Unexp time text \"31\""},
        {"May 32", 0, 1, "Unexp time text \"32\""},
        {"31 3000", 0, 0, "No time found"},
        {"24:00", 0, 1, "Unexp time text \"00\""},
        {"10:00 x", 0, 1, "Unexp time text \"x\""},
        {nullptr, 0, 0, "No time found"},
        {"10:00 70000", 0, 0, "Integer > 65535 (70000) [S_TM]"},
    };
    for (const auto& [s, start, strict, want] : rows) {
        SCOPED_TRACE(show(s));
        ERR_S();
        UTMDF t = mon_14;
        S_TM(s, &t, start, strict);
        char failed = err_;
        EXPECT_EQ(failed ? show(ERR_S()) : fields(t), want);
        EXPECT_EQ(fields(t), failed ? "?-?-? w? ?:?:?.?" : want);  // on an error nothing is stored
    }
}
