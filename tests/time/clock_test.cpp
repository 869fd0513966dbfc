// The time layer: records moved and measured with the calendar's carries and its kept quirks,
// ticks and sleeping, and the clock readings checked against the C library's own.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "support/ut_test.h"
#include "ut.h"

// "2024-03-01 00:00:00.000 w6" to a record and back; w is the weekday field (1 = Sunday).
static UTMDF rec(const char* s) {
    UTMDF t = {};
    sscanf(s, "%hu-%hhu-%hhu %hhu:%hhu:%hhu.%hu w%hhu", &t.year, &t.month, &t.day, &t.hour,
           &t.minute, &t.second, &t.ms, &t.wday);
    return t;
}

static std::string txt(const UTMDF& t) {
    char b[64];
    snprintf(b, sizeof b, "%04u-%02u-%02u %02u:%02u:%02u.%03u w%u", t.year, t.month, t.day, t.hour,
             t.minute, t.second, t.ms, t.wday);
    return b;
}

// Gregorian leap years; month lengths by them; months outside 1-12 have no days.
TEST(Clock, LeapYearsAndMonthLengths) {
    struct Row {
        uint16_t month, year, days;
    } rows[] = {{2, 1900, 28}, {2, 2000, 29}, {2, 2004, 29},  {2, 2023, 28}, {2, 2100, 28},
                {1, 2023, 31}, {4, 2023, 30}, {12, 2023, 31}, {0, 2023, 0},  {13, 2023, 0}};
    for (const Row& r : rows) EXPECT_EQ(MONTH_DAYS(r.month, r.year), r.days) << r.month << r.year;
}

// Moving a record: largest whole unit first. Forward day and hour steps zero the next finer
// field; going back takes a unit only for more than its size, and day 1 borrows the length of
// its own month (1 March less 1 ms is 31 February).
TEST(Clock, AddMovesRecordsWithCarriesAndKeptQuirks) {
    struct Row {
        const char* from;
        int32_t ms;
        const char* want;
    } rows[] = {
        {"2024-05-11 10:30:15.000 w7", 86400000, "2024-05-12 00:30:15.000 w1"},
        {"2024-05-11 10:30:15.000 w7", 3600000, "2024-05-11 11:00:15.000 w7"},
        {"2024-05-11 10:30:15.000 w7", 90000000, "2024-05-12 01:00:15.000 w1"},
        {"2024-05-11 10:30:15.700 w7", 1500, "2024-05-11 10:30:17.200 w7"},
        {"2023-12-31 23:59:59.999 w1", 1, "2024-01-01 00:00:00.000 w2"},
        {"2024-02-28 12:00:00.000 w4", 86400000, "2024-02-29 00:00:00.000 w5"},
        {"2024-05-01 00:00:00.000 w4", 2147483647, "2024-05-25 20:31:23.647 w7"},
        {"2024-05-10 10:30:15.000 w6", -86400000, "2024-05-09 10:30:15.000 w5"},
        {"2024-05-10 10:30:15.000 w6", -86400001, "2024-05-09 10:30:14.999 w5"},
        {"2024-03-01 00:00:00.000 w6", -1, "2024-02-31 23:59:59.999 w5"},
        {"2024-01-01 00:00:00.000 w2", -1, "2023-12-31 23:59:59.999 w1"},
        {"2024-03-03 00:00:01.000 w1", -2000, "2024-03-02 23:59:59.000 w7"},
        {"2024-05-30 00:00:00.000 w5", INT32_MIN, "2024-05-05 03:28:36.352 w1"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.from) + " + " + std::to_string(r.ms));
        ERR_S();
        UTMDF t = rec(r.from);
        TM_ADD(r.ms, &t);
        EXPECT_EQ(txt(t), r.want);
    }
    utm = rec("2024-05-11 10:30:15.000 w7");  // a null record is utm as it stands
    TM_ADD(60000, nullptr);
    EXPECT_EQ(txt(utm), "2024-05-11 10:31:15.000 w7");
}

// Elapsed time between records, in each unit: finer fields and wday ignored, negative when
// exchanged, across year ends and leap days; counts past 2147483647 and unreachable records
// saturate at +-0x7fffffff.
TEST(Clock, ElapsedBetweenRecordsWalksTheCalendar) {
    typedef int32_t (*El)(UTMDF*, UTMDF*);
    struct Row {
        const char* from;
        const char* to;
        El el;
        int32_t want;
    } rows[] = {
        {"2024-05-10 10:00:00.500 w6", "2024-05-10 10:00:00.500 w3", EL_MS_UTM, 0},
        {"2024-05-10 10:00:00.500 w6", "2024-05-10 10:00:01.200 w6", EL_MS_UTM, 700},
        {"2024-05-10 10:50:30.000 w6", "2024-05-10 11:20:10.000 w6", EL_SECS_UTM, 1780},
        {"2024-05-10 10:59:59.000 w6", "2024-05-10 11:00:00.000 w6", EL_MINS_UTM, 1},
        {"2024-12-31 23:59:00.000 w3", "2025-01-01 01:00:00.000 w4", EL_HOURS_UTM, 2},
        {"2023-12-31 23:00:00.000 w1", "2024-01-01 01:00:00.000 w2", EL_DAYS_UTM, 1},
        {"2024-02-28 00:00:00.000 w4", "2024-03-01 00:00:00.000 w6", EL_DAYS_UTM, 2},
        {"1900-01-01 00:00:00.000 w2", "2100-01-01 00:00:00.000 w6", EL_DAYS_UTM, 73049},
        {"2024-01-01 00:00:00.000 w2", "2024-01-25 20:31:23.646 w5", EL_MS_UTM, 2147483646},
        {"2024-01-01 00:00:00.000 w2", "2024-01-25 20:31:23.648 w5", EL_MS_UTM, 0x7fffffff},
        {"2000-01-01 00:00:00.000 w7", "2100-01-01 00:00:00.000 w6", EL_SECS_UTM, 0x7fffffff},
        {"2024-01-01 00:00:00.000 w2", "2024-01-40 00:00:00.000 w2", EL_DAYS_UTM, 0x7fffffff},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.from) + " -> " + r.to);
        ERR_S();
        UTMDF a = rec(r.from), b = rec(r.to);
        EXPECT_EQ(r.el(&a, &b), r.want);
        EXPECT_EQ(r.el(&b, &a), -r.want);  // 0x7fffffff exchanged is 0x80000001
    }
}

// Ticks: intervals absorb the 32-bit wrap and truncate in each coarser unit; an end of
// 0xFFFFFFFF measures up to now.
TEST(Clock, TicksMeasureIntervalsAndSleep) {
    struct Row {
        uint32_t (*el)(uint32_t, uint32_t);
        uint32_t start, end, want;
    } rows[] = {{EL_MS, 0xFFFFFFF0, 0x10, 0x20},
                {EL_MS, 5, 3, 0xFFFFFFFE},
                {EL_SECS, 0, 59999, 59},
                {EL_HOURS, 0, 7199999, 1}};
    for (const Row& r : rows) EXPECT_EQ(r.el(r.start, r.end), r.want) << r.start << " " << r.end;
    TIC_TRANS();
    uint32_t start = TIC_C();
    SLEEP_MS(30);
    EXPECT_GE(EL_MS(start, 0xFFFFFFFF), 30u);
    EXPECT_LT(EL_MS(start, 0xFFFFFFFF), 500u);
}

// The clock record is localtime's (weekday named by cl_wday); its millisecond is only ever
// 0-255, or 999 across a second boundary. The month's Sundays lie 7 days apart from the first,
// counted back from today's weekday; the last is the fifth or else the fourth.
TEST(Clock, ReadingTheClockAndTheSundaysOfThisMonth) {
    UTMDF t = {};
    char want[64];
    time_t now;
    do {  // until the record, the Sundays and localtime fall in the same second
        now = time(nullptr);
        TM_RD(&t);
        TM_SUNDAYS();
    } while (time(nullptr) != now);
    strftime(want, sizeof want, "%Y-%m-%d %H:%M:%S %A", localtime(&now));
    EXPECT_EQ(txt(t).substr(0, 19) + " " + cl_wday[t.wday], want);
    EXPECT_EQ(memcmp(&t, &utm, sizeof t), 0);
    EXPECT_EQ(utm_decade, t.year / 100 * 100);
    uint16_t sundays[6] = {};
    for (int i = 0, d = (t.day - t.wday + 35) % 7 + 1; d <= MONTH_DAYS(t.month, t.year); d += 7)
        sundays[i++] = static_cast<uint16_t>(d);
    sundays[5] = sundays[4] ? sundays[4] : sundays[3];
    uint16_t got[6] = {sunday_1, sunday_2, sunday_3, sunday_4, sunday_5, sunday_last};
    for (int i = 0; i < 6; i++) EXPECT_EQ(got[i], sundays[i]) << i;
    // Sampled over 300 ms, an untruncated millisecond would show values from 256 to 998.
    for (uint32_t start = TIC_C(); EL_MS(start, 0xFFFFFFFF) < 300; SLEEP_MS(3)) {
        TM_RD(nullptr);
        ASSERT_TRUE(utm.ms <= 255 || utm.ms == 999) << utm.ms;
    }
}

// Environment switches: unset or empty gives the default, a first character 0, F or N (either
// case) off, anything else on. "DST" off turns daylight-saving time off; on, today's rule holds.
TEST(Clock, SwitchesAndDaylightSaving) {
    struct Row {
        const char* value;  // null: unset
        char dflt, want;
    } rows[] = {{nullptr, 0, 0}, {nullptr, 1, 1}, {"", 1, 1},   {"", 0, 0},  {"0", 1, 0},
                {"false", 1, 0}, {"No", 1, 0},    {"n", 1, 0},  {"f", 1, 0}, {"1", 0, 1},
                {"yes", 0, 1},   {" 0", 0, 1},    {"off", 0, 1}};
    for (const Row& r : rows) {
        SCOPED_TRACE(show(r.value));
        r.value ? setenv("DST", r.value, 1) : unsetenv("DST");
        EXPECT_EQ(ENV_VAR_TF("DST", r.dflt), r.want);
        if (r.dflt && !r.want) {
            EXPECT_EQ(TM_DST(), 0);
        }
    }
    unsetenv("DST");
    char dst = TM_DST();
    UTMDF t;
    TM_RD(&t);
    char want = t.month > 4 && t.month < 10;
    if (t.month == 4) want = t.day > sunday_1 || (t.day == sunday_1 && t.hour >= 2);
    if (t.month == 10) want = t.day < sunday_last || (t.day == sunday_last && t.hour < 2);
    EXPECT_EQ(dst, want);
}

// Setting the clock always fails with the routine's name; a pending error turns the calendar
// operations into no-ops and the elapsed ones into 0x7fffffff and its quotients.
TEST(Clock, ClockWritesFailAndPendingErrorsGiveNeutralResults) {
    UTMDF t = rec("2024-05-10 10:30:15.000 w6"), u = t;
    TM_DATE_WT(&t);
    EXPECT_STREQ(ERR_S(), "TM_DATE_WT is currently unsupported under LINUX");
    TM_CLOCK_WT(&t);
    EXPECT_STREQ(ERR_S(), "TM_CLOCK_WT is currently unsupported under LINUX");
    S_ERR("pending");
    EXPECT_EQ(EL_MS(0, 5), 0x7fffffffu);
    EXPECT_EQ(EL_SECS(0, 5), 2147483u);
    EXPECT_EQ(EL_MINS(0, 5), 35791u);
    EXPECT_EQ(EL_HOURS(0, 5), 596u);
    EXPECT_EQ(EL_DAYS_UTM(&t, &u), 0x7fffffff);
    TM_ADD(1000, &t);
    TM_RD(&t);
    EXPECT_EQ(TM_DST(), 0);
    EXPECT_EQ(txt(t), txt(u));
    EXPECT_STREQ(ERR_S(), "pending");
}
