// Text lists: positions counted over every value a list stands for (words, number ranges, time
// ranges, file lines, the wildcard), the 32-bit limit, and the errors a reporting caller sees.
#include "support/ut_test.h"

static const uint32_t miss = 0xFFFFFFFF;

// One list and the positions of several texts in it, looked up with mt 0 unless given. Nothing
// is reported: every row ends with no error pending.
struct Row {
    std::vector<const char*> list;  // without the closing null
    std::vector<std::pair<const char*, uint32_t>> probes;
    char mt = 0;
};

static void run(std::vector<Row> rows) {
    for (Row& r : rows) {
        r.list.push_back(nullptr);
        for (const auto& [txt, want] : r.probes) {
            SCOPED_TRACE(std::string(r.list[0]) + " / " + txt);
            EXPECT_EQ(CL_X(r.list.data(), txt, 0, r.mt), want);
            EXPECT_EQ(show(ERR_S()), "<null>");
        }
    }
}

// Plain words, "FILE:" entries (their lines; a line "[ANY]" takes any text; an unreadable file
// is skipped and its error dropped) and number ranges: a range counts hi - lo + 1 positions; a
// text that does not convert lies outside a range whose lo and hi do; the lead letter counts only
// as a capital; only a text with a "." is looked up in a decimal-point range. The position never
// wraps: behind a count past 32 bits every text is a miss; so too behind a reversed range, which
// has no size that fits. Time ranges walk from lo in its finest unit, each value written as lo is
// written; a range whose hi lacks a unit lo names, or that does not parse, is a plain entry; one
// whose hi is never met has no size that fits (and the lookup still returns promptly).
TEST(Cl, WordsFilesAndRanges) {
    std::ofstream("colours.txt") << "red\r\ngreen\n[ANY]\n";
    // clang-format off
    run({{{"Sun", "Mon", "Tue"}, {{"Mon", 1}, {"mon", 1}, {"Xyz", miss}}},
         {{"a", "file:colours.txt", "z"}, {{"GREEN", 2}, {"blue", 3}}},
         {{"a", "FILE:missing.txt", "z"}, {{"z", 1}}}, {{"a", "[ANY]", "b"}, {{"b", 1}}},
         {{"Sun", "Mon", "Tue"}, {{"mon", miss}, {"Tue", 2}}, 1},
         {{"a", "1...10", "b"}, {{"a", 0}, {"5", 5}, {"10", 10}, {"b", 11}, {"11", miss}}},
         {{"-5...5", "z"}, {{"-5", 0}, {"z", 11}}}, {{"5...", "z"}, {{"z", 2147483643}}},
         {{"X00...X0F", "z"}, {{"z", 16}, {"x0a", 10}}}, {{"x00...x0F", "z"}, {{"z", 1}}},
         {{"B000...B111", "z"}, {{"B101", 5}, {"z", 8}, {"101", miss}}},
         {{"0.5...1.5", "2.5"}, {{"1.0", 5}, {"1.5", 10}, {"2.5", 11}}},
         {{"0.5...1.5", "2"}, {{"2", 1}}}, {{"1...", "2...", "z"}, {{"z", 4294967293u}}},
         {{"0...", "0...", "z"}, {{"z", miss}}}, {{"B0...", "z"}, {{"z", miss}}},
         {{"10...1", "z"}, {{"z", miss}}},
         {{"10:00...10:05", "x"}, {{"10:00", 0}, {"10:03", 3}, {"x", 6}, {"10:06", miss}}},
         {{"Monday...Friday", "x"}, {{"Wednesday", 2}, {"x", 5}}},
         {{"3/5/2007 10:00...11:00", "x"}, {{"x", 1}}}, {{"25:00...26:00", "x"}, {{"x", 1}}},
         {{"00:00:00...23:59:59", "x"}, {{"x", 86400}}},   // long, but hi is met
         {{"Jun...13", "x"}, {{"June", 0}, {"x", miss}}},  // hi is never met
         {{"1/1...2/30", "x"}, {{"1/2", 1}, {"x", miss}}}});
    // clang-format on
    // A month walk steps backwards (its step is negative in 32 bits), passing April on its way
    // from January to March; where it ends depends on today's day of the month.
    const char* months[] = {"January...March", "x", nullptr};
    uint32_t march = CL_X(months, "March", 0, 0);
    EXPECT_GT(march, 10u);
    EXPECT_LT(CL_X(months, "April", 0, 0), march);
    EXPECT_EQ(CL_X(months, "x", 0, 0), march + 1);
    // A null wildcard text switches the wildcard off.
    cl_any_txt = nullptr;
    run({{{"a", "[ANY]"}, {{"q", miss}, {"[ANY]", 1}}}});
    EXPECT_EQ(CL_X(nullptr, "Mon", 1, 0), miss);  // a reporting caller hears why
    EXPECT_STREQ(ERR_S(), "CL_X:cl=NULL");
}
