// The time layer: records moved and measured with the calendar's carries and its kept quirks,
// ticks and sleeping, and the clock readings at moments set by the test.
#include <ctime>
#include <sys/time.h>

#include "support/ut_test.h"

// The clock the library reads (time, gettimeofday): the real one until set_clock sets a moment.
static time_t fake_sec = 0;
static timeval fake_tv = {};
extern "C" int gettimeofday(timeval* __restrict tv, void* __restrict) noexcept {
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    *tv = fake_sec ? fake_tv : timeval{ts.tv_sec, ts.tv_nsec / 1000};
    return 0;
}
extern "C" time_t time(time_t* out) noexcept {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return *(out ? out : &tv.tv_sec) = fake_sec ? fake_sec : tv.tv_sec;
}

void set_clock(const char* when, long usec) {
    setenv("TZ", "UTC", 1);
    tm t = {};
    strptime(when, "%Y-%m-%d %H:%M", &t);
    fake_sec = timegm(&t);
    fake_tv = {fake_sec + usec / 1000000, usec % 1000000};
}

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

// Gregorian leap years; month lengths by them; months outside 1-12 have no days (rows: month,
// year, days). Moving a record: largest whole unit first. Forward day and hour steps zero the next
// finer field; going back takes a unit only for more than its size, and day 1 borrows the length
// of its own month (1 February less 1 ms is 29 January).
TEST(Clock, MonthLengthsAndMovingRecords) {
    const uint16_t rows[][3] = {{2, 1900, 28}, {2, 2000, 29},  {2, 2004, 29}, {2, 2023, 28},
                                {4, 2023, 30}, {12, 2023, 31}, {0, 2023, 0},  {13, 2023, 0}};
    for (const auto& r : rows) EXPECT_EQ(MONTH_DAYS(r[0], r[1]), r[2]) << r[0] << " " << r[1];
    const std::tuple<const char*, int32_t, const char*> moves[] = {
        {"2024-05-11 10:30:15.000 w7", 86400000, "2024-05-12 00:30:15.000 w1"},
        {"2024-05-11 10:30:15.000 w7", 3600000, "2024-05-11 11:00:15.000 w7"},
        {"2024-05-11 10:30:15.700 w7", 1500, "2024-05-11 10:30:17.200 w7"},
        {"2023-12-31 23:59:59.999 w1", 1, "2024-01-01 00:00:00.000 w2"},
        {"2024-02-28 12:00:00.000 w4", 86400000, "2024-02-29 00:00:00.000 w5"},
        {"2024-05-10 10:30:15.000 w6", -86400000, "2024-05-09 10:30:15.000 w5"},
        {"2024-02-01 00:00:00.000 w5", -1, "2024-01-29 23:59:59.999 w4"},
        {"2024-01-01 00:00:00.000 w2", -1, "2023-12-31 23:59:59.999 w1"},
        {"2024-03-02 00:00:01.000 w7", -2000, "2024-03-01 23:59:59.000 w6"},
        {"2024-05-30 00:00:00.000 w5", INT32_MIN, "2024-05-05 03:28:36.352 w1"},
    };
    for (const auto& [from, ms, want] : moves) {
        SCOPED_TRACE(std::string(from) + " + " + std::to_string(ms));
        UTMDF t = rec(from);
        TM_ADD(ms, &t);
        EXPECT_EQ(txt(t), want);
    }
}

// Elapsed time between records, in each unit: finer fields and wday ignored, negative when
// exchanged, across year ends and leap days; counts past 2147483647 and unreachable records
// saturate at +-0x7fffffff.
TEST(Clock, ElapsedBetweenRecordsWalksTheCalendar) {
    const std::tuple<const char*, const char*, int32_t (*)(UTMDF*, UTMDF*), int32_t> rows[] = {
        {"2024-05-10 10:00:00.500 w6", "2024-05-10 10:00:00.500 w3", EL_MS_UTM, 0},
        {"2024-05-10 10:00:00.500 w6", "2024-05-10 10:00:01.200 w6", EL_MS_UTM, 700},
        {"2024-05-10 10:50:30.000 w6", "2024-05-10 11:20:10.000 w6", EL_SECS_UTM, 1780},
        {"2024-05-10 10:59:59.000 w6", "2024-05-10 11:00:00.000 w6", EL_MINS_UTM, 1},
        {"2024-12-31 23:59:00.000 w3", "2025-01-01 01:00:00.000 w4", EL_HOURS_UTM, 2},
        {"2023-12-31 23:00:00.000 w1", "2024-01-01 01:00:00.000 w2", EL_DAYS_UTM, 1},
        {"1900-01-01 00:00:00.000 w2", "2100-01-01 00:00:00.000 w6", EL_DAYS_UTM, 73049},
        {"2024-01-01 00:00:00.000 w2", "2024-01-25 20:31:23.646 w5", EL_MS_UTM, 2147483646},
        {"2024-01-01 00:00:00.000 w2", "2024-01-25 20:31:23.648 w5", EL_MS_UTM, 0x7fffffff},
        {"2024-01-01 00:00:00.000 w2", "2024-01-40 00:00:00.000 w2", EL_DAYS_UTM, 0x7fffffff},
    };
    for (const auto& [from, to, el, want] : rows) {
        SCOPED_TRACE(std::string(from) + " -> " + to);
        UTMDF a = rec(from), b = rec(to);
        EXPECT_EQ(el(&a, &b), want);
        EXPECT_EQ(el(&b, &a), -want);  // 0x7fffffff exchanged is 0x80000001
    }
}

// Switches: unset or empty gives the default, a first character 0, F or N (either case) off,
// anything else on; "DST" off means no daylight-saving time even in July. On, it runs from the
// first Sunday of April at 2:00 to the last of October at 2:00 (rows: UTC moment, daylight
// saving, the month's first to fifth and last Sunday).
TEST(Clock, SwitchesAndDaylightSaving) {
    set_clock("2026-07-15 12:00", 0);
    const std::tuple<const char*, char, char> rows[] = {
        {nullptr, 0, 0}, {nullptr, 1, 1}, {"", 1, 1},  {"", 0, 0},  {"0", 1, 0},
        {"false", 1, 0}, {"No", 1, 0},    {"n", 1, 0}, {"F", 1, 0}, {"off", 0, 1}};
    for (const auto& [value, dflt, want] : rows) {
        SCOPED_TRACE(show(value));
        value ? setenv("DST", value, 1) : unsetenv("DST");
        EXPECT_EQ(ENV_VAR_TF("DST", dflt), want);
        EXPECT_EQ(TM_DST(), ENV_VAR_TF("DST", 1));
    }
    unsetenv("DST");
    const std::tuple<const char*, char, const char*> moments[] = {
        {"2026-03-31 23:59", 0, "1 8 15 22 29 29"}, {"2026-04-05 01:59", 0, "5 12 19 26 0 26"},
        {"2026-04-05 02:00", 1, "5 12 19 26 0 26"}, {"2026-04-04 23:00", 0, "5 12 19 26 0 26"},
        {"2026-04-30 23:00", 1, "5 12 19 26 0 26"}, {"2026-05-01 00:00", 1, "3 10 17 24 31 31"},
        {"2026-09-30 23:00", 1, "6 13 20 27 0 27"}, {"2026-10-24 23:00", 1, "4 11 18 25 0 25"},
        {"2026-10-25 01:59", 1, "4 11 18 25 0 25"}, {"2026-10-25 02:00", 0, "4 11 18 25 0 25"},
        {"2026-10-26 00:00", 0, "4 11 18 25 0 25"}, {"2026-11-01 00:00", 0, "1 8 15 22 29 29"},
        {"2026-12-31 12:00", 0, "6 13 20 27 0 27"}, {"2027-01-01 12:00", 0, "3 10 17 24 31 31"},
        {"2026-02-15 12:00", 0, "1 8 15 22 0 22"},  {"2026-06-15 12:00", 1, "7 14 21 28 0 28"},
        {"2026-08-15 12:00", 1, "2 9 16 23 30 30"}};
    for (const auto& [when, want, sundays] : moments) {
        SCOPED_TRACE(when);
        set_clock(when, 0);
        EXPECT_EQ(TM_DST(), want);
        char got[64];
        snprintf(got, sizeof got, "%u %u %u %u %u %u", sunday_1, sunday_2, sunday_3, sunday_4,
                 sunday_5, sunday_last);
        EXPECT_STREQ(got, sundays);
    }
}

// Ticks: intervals absorb the 32-bit wrap and truncate in each coarser unit; an end of 0xFFFFFFFF
// measures up to now. The clock record is localtime's, its millisecond only ever 0-255, or 999
// across a second boundary. Setting the clock always fails with the routine's name; a pending
// error turns the calendar operations into no-ops and the elapsed ones into 0x7fffffff and its
// quotients.
TEST(Clock, TicksTheClockRecordAndPendingErrors) {
    EXPECT_EQ((std::array<uint32_t, 3>{EL_MS(0xFFFFFFF0, 0x10), EL_MS(5, 3), EL_HOURS(0, 7199999)}),
              (std::array<uint32_t, 3>{0x20, 0xFFFFFFFE, 1}));
    TIC_TRANS();
    uint32_t start = TIC_C();
    SLEEP_MS(30);
    EXPECT_GE(EL_MS(start, 0xFFFFFFFF), 30u);
    EXPECT_LT(EL_MS(start, 0xFFFFFFFF), 500u);
    UTMDF t = {};
    set_clock("2199-12-31 23:59", 300000);  // no second crossed: only the low 8 bits of 300
    UTMDF u = rec("2199-12-31 22:59:00.000 w3");
    EXPECT_EQ(EL_MINS_UTM(&u, nullptr), 60);  // a null record reads the clock
    TM_RD(&t);
    EXPECT_EQ(txt(t), "2199-12-31 23:59:00.044 w3");
    set_clock("2199-12-31 23:59", 1000000);  // gettimeofday already in the next second
    TM_RD(&t);
    EXPECT_EQ(txt(t), "2199-12-31 23:59:00.999 w3");
    EXPECT_EQ(txt(utm), txt(t));
    EXPECT_EQ(utm_decade, 2100);
    u = t = rec("2024-05-10 10:30:15.000 w6");
    TM_DATE_WT(&t);
    EXPECT_STREQ(ERR_S(), "TM_DATE_WT is currently unsupported under LINUX");
    TM_CLOCK_WT(&t);
    EXPECT_STREQ(ERR_S(), "TM_CLOCK_WT is currently unsupported under LINUX");
    S_ERR("pending");
    EXPECT_EQ(EL_HOURS(0, 5), 596u);  // 0x7fffffff / 3600000
    EXPECT_EQ(EL_DAYS_UTM(&t, &u), 0x7fffffff);
    TM_ADD(1000, &t);
    TM_RD(&t);
    EXPECT_EQ(txt(t) + ERR_S(), txt(u) + "pending");
}
