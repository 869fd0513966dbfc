// Text to numbers and back: the values, the exact messages and fault positions of the parsers at
// every limit, and the scratch texts of the formatters, including while an error is pending.
#include "support/ut_test.h"

namespace {

// Every parser as one call shape (text, pos, mode, lead), with its strict predicate if it has one.
// clang-format off
struct Member { std::string name; double (*call)(const char*, uint16_t*, char, char);
                char (*ok)(const char*); };
#define P3(f, ok) {#f, [](const char* s, uint16_t* p, char m, char) -> double { return f(s, p, m); }, ok}
#define P4(f) {#f, [](const char* s, uint16_t* p, char m, char l) -> double { return f(s, p, m, l); }, nullptr}
#define PF(f, ok) {#f, [](const char* s, uint16_t* p, char, char) -> double { return f(s, p); }, ok}
const Member members[] = {
    P3(S10_I4, S10_I4_OK), P3(S10_U4, S10_U4_OK), P3(S10_I2, S10_I2_OK), P3(S10_U2, S10_U2_OK),
    P3(S10_U1, S10_U1_OK), P4(S16_U4), P4(S16_U2), P4(S16_U1), P4(S8_U4), P4(S8_U2), P4(S8_U1),
    P4(S2_U4), P4(S2_U2), P4(S2_U1), PF(S_F8, S_F8_OK), PF(S_F4, nullptr)};
// clang-format on

}  // namespace

// Each row: the value, the position (65535 on success) and the whole error text, trail included.
// The predicates are strict and clear what they raise.
TEST(Num, ParsersValuesMessagesAndPositions) {
    // clang-format off
    struct Row { const char* fn; std::string in; char mode, lead; double want;
                 uint16_t pos = 65535; const char* err = nullptr; };
    const Row rows[] = {
        // Blanks and sign; what each mode lets follow the digits; nothing to read.
        {"S10_I4", "\t-12  ", 0, 0, -12}, {"S10_I4", " + \t7", 0, 0, 7},
        {"S10_I4", "12x", 2, 0, 12}, {"S10_I4", " \t ", 0, 0, 0, 0, "No digits found"},
        {"S10_I4", "12x", 1, 0, 0, 2, "Unexp dec digit \"x\" in \"12x\""},
        {"S10_I4", "12 \t 3", 0, 0, 0, 5, "Unexp trailing char \"3\" in \"12 \t 3\""},
        // Bytes that are no digit, by their printable names.
        {"S10_I4", "1\x07", 0, 0, 0, 1, "Unexp trailing char \"<BELL>\" in \"1\x07\""},
        {"S10_I4", "\xFF", 0, 0, 0, 0, "Unexp dec digit \"<?>\" in \"\xFF\""},
        {"S_F8", "1\t", 0, 0, 0, 1, "Unexp float char \"        \" in \"1\t\""},
        // 32-bit limits; an 11th significant digit; the digit making -2147483648 ends the number.
        {"S10_I4", "2147483647", 0, 0, 2147483647}, {"S10_I4", "-2147483648", 0, 0, -2147483648.0},
        {"S10_I4", "2147483648", 0, 0, 0, 9, "Dec overflow (2147483648)"},
        {"S10_I4", "-2147483649", 0, 0, 0, 10, "Dec overflow (-2147483649)"},
        {"S10_I4", "0012345678901", 0, 0, 0, 12, "Dec overflow (0012345678901)"},
        {"S10_I4", "-21474836480", 2, 0, -2147483648.0},
        {"S10_I4", "-21474836480", 0, 0, 0, 11, "Unexp dec digit \"0\" in \"-21474836480\""},
        {"S16_U4", "00000000DeadBeef", 0, 0, 0xDEADBEEF},
        {"S16_U4", "1ffffffff", 0, 0, 0, 8, "Hex overflow (1ffffffff)"},
        {"S8_U4", "77777777777", 0, 0, 4294967295.0},  // 33 bits wrap
        {"S8_U4", "100000000000", 0, 0, 0, 11, "Oct overflow (100000000000)"},
        {"S2_U4", std::string(32, '1'), 0, 0, 4294967295.0},
        {"S2_U4", "1" + std::string(32, '0'), 0, 0, 0, 32,
         "Bin overflow (100000000000000000000000000000000)"},
        // Digits of the base, and the lead byte: upper-cased, then no blank before the digits.
        {"S16_U4", " x1F ", 0, 'X', 31},
        {"S16_U4", "X 1F", 0, 'X', 0, 1, "Unexp hex digit \" \" in \"X 1F\""},
        {"S16_U4", "X", 0, 'X', 0, 1, "Unexp hex digit \"<NUL>\" in \"X\""},
        {"S16_U4", "\t1F", 0, 'X', 0, 1, "No leading \"X\" in \"\t1F\""},
        {"S16_U4", "-1", 0, 0, 0, 0, "Unexp hex digit \"-\" in \"-1\""},
        {"S8_U4", "+1", 0, 0, 0, 0, "Unexp oct digit \"+\" in \"+1\""},
        {"S2_U4", "-1", 0, 0, 0, 0, "Unexp bin digit \"-\" in \"-1\""},
        {"S8_U4", "18", 1, 0, 0, 1, "Unexp oct digit \"8\" in \"18\""},
        // Narrower members: each limit and one past it, where a range fault points, the trail.
        {"S10_U4", "0", 0, 0, 0}, {"S10_U2", "0", 0, 0, 0}, {"S10_U1", "0", 0, 0, 0},
        {"S16_U2", "0", 0, 0, 0}, {"S16_U1", "0", 0, 0, 0}, {"S8_U2", "0", 0, 0, 0},
        {"S8_U1", "0", 0, 0, 0}, {"S2_U2", "0", 0, 0, 0}, {"S2_U1", "0", 0, 0, 0},
        {"S10_I2", "32767", 0, 0, 32767}, {"S16_U2", "FFFF", 0, 0, 65535},
        {"S8_U2", "177777", 0, 0, 65535}, {"S8_U1", "377", 0, 0, 255},
        {"S2_U2", std::string(16, '1'), 0, 0, 65535}, {"S10_U4", "2147483647", 0, 0, 2147483647},
        {"S10_U2", "65535", 0, 0, 65535}, {"S10_U4", " - 005", 0, 0, 0, 3, "Integer < 0 ( - 005)"},
        {"S10_U4", "2147483648", 0, 0, 0, 9, "Dec overflow (2147483648) [S10_U4]"},
        {"S10_I2", "-32768", 0, 0, -32768}, {"S10_U1", "+", 0, 0, 0, 0, "No digits found [S10_U1]"},
        {"S10_I2", " -32769", 0, 0, 0, 0, "Integer < -32768 ( -32769)"},
        {"S10_I2", "32768", 0, 0, 0, 0, "Integer > 32767 (32768)"},
        {"S10_U2", "65536", 0, 0, 0, 0, "Integer > 65535 (65536)"},
        {"S10_U2", "9500 x", 1, 0, 9500}, {"S10_U1", "-1", 0, 0, 0, 0, "Integer < 0 (-1)"},
        {"S10_U1", "255", 0, 0, 255}, {"S10_U1", "256", 0, 0, 0, 0, "Integer > 255 (256)"},
        {"S16_U2", "  X0010000", 0, 'X', 0, 6, "Hex overflow (  X0010000)"},
        {"S16_U1", "FF", 0, 0, 255}, {"S16_U1", "100g", 2, 0, 0, 2, "Hex overflow (100g)"},
        {"S8_U2", " 200000", 0, 0, 0, 0, "Octal > 65535 ( 200000)"},
        {"S2_U1", "b11111111", 0, 'B', 255}, {"S8_U1", "400", 0, 0, 0, 0, "Octal > 255 (400)"},
        {"S2_U2", "1" + std::string(16, '0'), 0, 0, 0, 0, "Binary > 65535 (10000000000000000)"},
        {"S2_U1", "100000000", 0, 0, 0, 0, "Binary > 255 (100000000)"},
        // Floating point: no blanks, only digits, signs, points and exponents; sscanf decides.
        {"S_F8", "-2.5e3", 0, 0, -2500}, {"S_F4", "+-.", 0, 0, 0, 0, "Float conv err on \"+-.\""},
        {"S_F8", " 1.5", 0, 0, 0, 0, "Unexp float char \" \" in \" 1.5\""},
        {"S_F4", "1.5", 0, 0, 1.5}, {"S_F8", "", 0, 0, 0, 0, "Float conv err on \"\""}};
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.fn) + "(\"" + r.in + "\", mode " + std::to_string(r.mode) + ")");
        ERR_S();
        uint16_t pos = 1234;
        const Member* m = members;
        while (m->name != r.fn) m++;
        EXPECT_EQ(m->call(r.in.c_str(), &pos, r.mode, r.lead), r.want);
        EXPECT_EQ(pos, r.pos);
        EXPECT_EQ(show(ERR_S()), show(r.err));
    }
    // A null text names the member itself, with no trail; with that error pending, every parser
    // and predicate gives 0 and leaves the position alone.
    for (const Member& m : members) {  // each ends with the error cleared
        SCOPED_TRACE(m.name);
        EXPECT_TRUE(!m.ok || (!m.ok("1 x") && m.ok("1") && !err_));  // strict; error cleared
        uint16_t pos = 1, kept = 7;
        EXPECT_EQ(m.call(nullptr, &pos, 0, 0), 0);
        EXPECT_EQ(m.call("12", &kept, 0, 0) + (m.ok ? m.ok("12") : 0), 0);
        EXPECT_TRUE(pos == 0 && kept == 7) << pos << " " << kept;
        EXPECT_EQ(show(ERR_S()), m.name + ":Null str");
    }
}

// The formatters work while an error is pending and leave it pending, so every row is built with
// one; the other scratch results are "?" then.
TEST(Num, FormattersWorkWhileAnErrorIsPending) {
    S_ERR("pending");
    // clang-format off
    const std::pair<std::string, std::string> rows[] = {
        {V_S10(999, nullptr, 1), "999"},             {V_S10(123456, nullptr, 1), "123,456"},
        {V_S10(-1234567, nullptr, 1), "-1,234,567"}, {V_S10(42, "%05ld", 0), "00042"},
        {V_S16(255, nullptr, "0x"), "0xff"},         {V_S16(0xABC, "%04lX", nullptr), "0ABC"},
        {V_S8(8, nullptr, "0"), "010"},              {V_S2(5, 8, nullptr), "00000101"},
        {V_S2(5, 8, "0b"), "0b000101"}, {V_S2(1, 300, ""), std::string(299, '0') + "1"},
        {V_S2(0, 0, nullptr), "0"},                  {V_S2(~0UL, 0, nullptr), std::string(64, '1')},
    };
    // clang-format on
    for (const auto& r : rows) EXPECT_EQ(r.first, r.second);
    uint16_t len = 9;
    std::string q = std::string(V_S(1.5, nullptr)) + ASC_HEX("41", 0) + BACKSLASH_X_BF("a", &len) +
                    BF_BACKSLASH_X("a", 1);
    EXPECT_EQ(q + std::to_string(len + psh_err_cnt) + ERR_S(), "????0pending");
    // Without one, V_S cuts trailing zeros but keeps a digit after the point.
    EXPECT_EQ(std::string(V_S(1.5, nullptr)) + " " + V_S(2, nullptr) + " " + V_S(100, nullptr) +
                  " " + V_S(1e-7, nullptr) + " " + V_S(1.25, "%.1f"),
              "1.5 2.0 100.0 0.0 1.2");
}

// Hex pairs to bytes, and bytes to "\x" texts and back.
TEST(Num, ByteTexts) {
    // clang-format off
    struct Hex { const char* in; char strip; const char* want; } hex[] = {  // strip: 7 bits, ends
        {"6a6B7", 0, "jk\x07"}, {"", 0, ""}, {"41C142", 0, "A\xC1\x42"}, {"41C142", 1, "AA"},
        {"41zz", 0, "?"}};
    // clang-format on
    for (const Hex& h : hex) EXPECT_STREQ(ASC_HEX(h.in, h.strip), h.want) << h.in;
    EXPECT_STREQ(ERR_S(), "Unexp hex digit \"z\" in \"zz\" [S16_U1] [ASC_HEX]");
    // "\x" takes two hex digits in either case, after an "x" in either case; else it stays.
    const char* escs[][2] = {
        {"\\X4a\\x4A", "JJ"}, {"\\x4g\\x4", "\\x4g\\x4"}, {"\\xg1\\", "\\xg1\\"}};
    uint16_t len = 0;
    for (auto& e : escs) EXPECT_STREQ(BACKSLASH_X_BF(e[0], &len), e[1]) << e[0];
    char* bytes = BACKSLASH_X_BF("\\x00a\\x41", &len);
    EXPECT_EQ(std::string(bytes, len + 1), std::string("\0aA", 4));  // its terminating zero too
    // Only bytes 32..126 stay themselves; a count runs past a zero byte.
    EXPECT_STREQ(BF_BACKSLASH_X("a\t\xAB ~\x1F\x7F", 65535), "a\\x09\\xAB ~\\x1F\\x7F");
    EXPECT_EQ(std::string(BF_BACKSLASH_X("a\0b", 3)) + BF_BACKSLASH_X(nullptr, 5), "a\\x00b");
}
