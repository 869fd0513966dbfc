// The time layer: records moved and measured with the calendar's carries and its kept quirks,
// ticks and sleeping, and the clock readings checked against the C library's own.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <tuple>

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

// Gregorian leap years; month lengths by them; months outside 1-12 have no days (rows: month,
// year, days). Moving a record: largest whole unit first. Forward day and hour steps zero the next
// finer field; going back takes a unit only for more than its size, and day 1 borrows the length
// of its own month (1 March less 1 ms is 31 February). A null record is utm as it stands.
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
        {"2024-03-01 00:00:00.000 w6", -1, "2024-02-31 23:59:59.999 w5"},
        {"2024-01-01 00:00:00.000 w2", -1, "2023-12-31 23:59:59.999 w1"},
        {"2024-03-03 00:00:01.000 w1", -2000, "2024-03-02 23:59:59.000 w7"},
        {"2024-05-30 00:00:00.000 w5", INT32_MIN, "2024-05-05 03:28:36.352 w1"},
    };
    for (const auto& [from, ms, want] : moves) {
        SCOPED_TRACE(std::string(from) + " + " + std::to_string(ms));
        ERR_S();
        UTMDF t = rec(from);
        TM_ADD(ms, &t);
        EXPECT_EQ(txt(t), want);
    }
    utm = rec("2024-05-11 10:30:15.000 w7");
    TM_ADD(60000, nullptr);
    EXPECT_EQ(txt(utm), "2024-05-11 10:31:15.000 w7");
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
        ERR_S();
        UTMDF a = rec(from), b = rec(to);
        EXPECT_EQ(el(&a, &b), want);
        EXPECT_EQ(el(&b, &a), -want);  // 0x7fffffff exchanged is 0x80000001
    }
}

// Switches: unset or empty gives the default, a first character 0, F or N (either case) off,
// anything else on (rows: value, null for unset; default; result). "DST" off turns daylight-saving
// time off; on, today's rule holds: from the first Sunday of April at 2:00 to the last of October
// at 2:00, the Sundays lying 7 days apart.
TEST(Clock, SwitchesAndDaylightSaving) {
    const std::tuple<const char*, char, char> rows[] = {
        {nullptr, 0, 0}, {nullptr, 1, 1}, {"", 1, 1},  {"", 0, 0},  {"0", 1, 0},
        {"false", 1, 0}, {"No", 1, 0},    {"n", 1, 0}, {"F", 1, 0}, {"off", 0, 1}};
    for (const auto& [value, dflt, want] : rows) {
        SCOPED_TRACE(show(value));
        value ? setenv("DST", value, 1) : unsetenv("DST");
        EXPECT_EQ(ENV_VAR_TF("DST", dflt), want);
        EXPECT_EQ(dflt && !want ? TM_DST() : 0, 0);  // switched off: no daylight saving
    }
    unsetenv("DST");
    char dst = TM_DST();
    UTMDF t;
    TM_RD(&t);
    std::array<uint16_t, 6> sun = {};  // first to fifth, last
    for (int i = 0, d = (t.day - t.wday + 35) % 7 + 1; d <= MONTH_DAYS(t.month, t.year); d += 7)
        sun[i++] = static_cast<uint16_t>(d);
    sun[5] = sun[4] ? sun[4] : sun[3];
    EXPECT_EQ((decltype(sun){sunday_1, sunday_2, sunday_3, sunday_4, sunday_5, sunday_last}), sun);
    char want = t.month > 4 && t.month < 10;
    if (t.month == 4) want = t.day > sun[0] || (t.day == sun[0] && t.hour >= 2);
    if (t.month == 10) want = t.day < sun[5] || (t.day == sun[5] && t.hour < 2);
    EXPECT_EQ(dst, want);
}

// Ticks: intervals absorb the 32-bit wrap and truncate in each coarser unit; an end of
// 0xFFFFFFFF measures up to now. The clock record is localtime's (weekday named by cl_wday); its
// millisecond is only ever 0-255, or 999 across a second boundary. Setting the clock always
// fails with the routine's name; a pending error turns the calendar operations into no-ops and
// the elapsed ones into 0x7fffffff and its quotients.
TEST(Clock, TicksTheClockRecordAndPendingErrors) {
    EXPECT_EQ((std::array<uint32_t, 3>{EL_MS(0xFFFFFFF0, 0x10), EL_MS(5, 3), EL_HOURS(0, 7199999)}),
              (std::array<uint32_t, 3>{0x20, 0xFFFFFFFE, 1}));
    TIC_TRANS();
    uint32_t start = TIC_C();
    SLEEP_MS(30);
    EXPECT_GE(EL_MS(start, 0xFFFFFFFF), 30u);
    EXPECT_LT(EL_MS(start, 0xFFFFFFFF), 500u);
    TM_RD(nullptr);
    UTMDF t = {};
    char want[64];
    // Sampled over 300 ms, an untruncated millisecond would show values from 256 to 998.
    for (start = TIC_C(); EL_MS(start, 0xFFFFFFFF) < 300; SLEEP_MS(3)) {
        time_t now = time(nullptr);
        TM_RD(&t);
        ASSERT_TRUE(t.ms <= 255 || t.ms == 999) << t.ms;
        if (time(nullptr) != now) continue;  // localtime may be a second off
        strftime(want, sizeof want, "%Y-%m-%d %H:%M:%S %A", localtime(&now));
        ASSERT_EQ(txt(t).substr(0, 19) + " " + cl_wday[t.wday], want);
        ASSERT_EQ(memcmp(&t, &utm, sizeof t), 0);
    }
    EXPECT_EQ(utm_decade, t.year / 100 * 100);
    UTMDF u = t = rec("2024-05-10 10:30:15.000 w6");
    TM_DATE_WT(&t);
    EXPECT_STREQ(ERR_S(), "TM_DATE_WT is currently unsupported under LINUX");
    TM_CLOCK_WT(&t);
    EXPECT_STREQ(ERR_S(), "TM_CLOCK_WT is currently unsupported under LINUX");
    S_ERR("pending");
    EXPECT_EQ((std::array<uint32_t, 4>{EL_MS(0, 5), EL_SECS(0, 5), EL_MINS(0, 5), EL_HOURS(0, 5)}),
              (std::array<uint32_t, 4>{0x7fffffff, 2147483, 35791, 596}));
    EXPECT_EQ(EL_DAYS_UTM(&t, &u), 0x7fffffff);
    TM_ADD(1000, &t);
    TM_RD(&t);
    EXPECT_EQ(txt(t), txt(u));
    EXPECT_STREQ(ERR_S(), "pending");
}
