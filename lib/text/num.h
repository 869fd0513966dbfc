// Numbers to text and text to numbers. Owns the shared formatting buffer sprintf_bf. The V_
// formatters return scratch strings (lib/text/ring.h) and work while an error is pending, leaving
// it pending, exactly as it was, because error messages are built with them; with none pending
// they leave the error state and its stack alone. The parsers are strict and raise an
// error that names the offending byte (by its ch_ech name, lib/text/bytes.h) and quotes the input.
//
// Parsers, all bases: pos (may be null) is set to 65535 on entry and stays so on success; on a
// failure the result is 0 and *pos is the index of the byte at fault (0 for "No digits found" and
// for a null text). While an error is pending a parser returns 0 at once and leaves *pos alone.
// Positions past 65534 (texts beyond the library's 16-bit lengths) are given as 65534.
// The mode says what may follow the digits:
//   0: only blanks and tabs up to the end ("Unexp trailing char ..." otherwise);
//   1: any byte that is neither letter nor digit ends the number; a letter, or a digit that is
//      not one of the base, is an error;
//   2 and above: any byte that is not a digit of the base ends the number.
#ifndef UT_NUM_H
#define UT_NUM_H

#include <cstdint>

// Decimal, signed 32-bit: blanks and tabs, an optional sign (blanks may follow it), digits.
// Leading zeros do not count; an 11th significant digit or a value past the range is
// "Dec overflow (text)" with *pos at the digit reached. "-2147483648" is taken, and its last
// digit ends the number, so in mode 2 "-21474836480" reads -2147483648.
int32_t S10_I4(const char* s, uint16_t* pos, char mode);

// S10_I4 limited to 0..2147483647: a negative value is "Integer < 0 (text)" with *pos at the
// first digit. Errors of the parse get " [S10_U4]" added to their text.
uint32_t S10_U4(const char* s, uint16_t* pos, char mode);

// S10_I4 limited to the narrower ranges: "Integer < -32768 (text)", "Integer > 32767 (text)",
// "Integer < 0 (text)", "Integer > 65535 (text)", "Integer > 255 (text)", with *pos 0. Errors of
// the parse get the member's name added to their text, as " [S10_U2]".
int16_t S10_I2(const char* s, uint16_t* pos, char mode);
uint16_t S10_U2(const char* s, uint16_t* pos, char mode);
uint8_t S10_U1(const char* s, uint16_t* pos, char mode);

// Hexadecimal (either case), octal and binary, unsigned and without a sign. A lead that is not 0
// must equal the upper-cased first non-blank byte, which is then skipped ('X' takes "x1F" and
// "X1F"; give the lead in upper case), else "No leading "X" in "text"" at that byte; the digits
// must follow the lead at once. At most 8, 11 and 32 significant digits, else "Hex overflow
// (text)", "Oct overflow (text)", "Bin overflow (text)" at the first digit too many. An 11-digit
// octal text above 32 bits wraps.
uint32_t S16_U4(const char* s, uint16_t* pos, char mode, char lead);
uint32_t S8_U4(const char* s, uint16_t* pos, char mode, char lead);
uint32_t S2_U4(const char* s, uint16_t* pos, char mode, char lead);

// The 16- and 8-bit forms: "Hex overflow (text)" with *pos one less than the number of digits
// (leading zeros included); "Octal > 65535 (text)", "Binary > 255 (text)" and so on with *pos 0.
// Errors of the 32-bit parse get the member's name added to their text, as " [S16_U1]".
uint16_t S16_U2(const char* s, uint16_t* pos, char mode, char lead);
uint8_t S16_U1(const char* s, uint16_t* pos, char mode, char lead);
uint16_t S8_U2(const char* s, uint16_t* pos, char mode, char lead);
uint8_t S8_U1(const char* s, uint16_t* pos, char mode, char lead);
uint16_t S2_U2(const char* s, uint16_t* pos, char mode, char lead);
uint8_t S2_U1(const char* s, uint16_t* pos, char mode, char lead);

// Floating point: every byte must be a digit, "+", "-", "." or "E"/"e" (no blanks), else
// "Unexp float char "c" in "text"" at it; then sscanf decides, and a text it cannot read (the
// empty text too) is "Float conv err on "text"" with *pos 0. 0.0 on failure.
double S_F8(const char* s, uint16_t* pos);
float S_F4(const char* s, uint16_t* pos);

// 1 when the text parses in mode 0; any error of the parse is cleared. 0 while an error is
// pending (which is left pending).
char S10_U1_OK(const char* s);
char S10_U2_OK(const char* s);
char S10_I2_OK(const char* s);
char S10_U4_OK(const char* s);
char S10_I4_OK(const char* s);
char S_F8_OK(const char* s);

// n in decimal by fmt (null: "%ld"); with commas set, a "," between groups of three digits
// counted from the right of the first run of digits ("-1234567" gives "-1,234,567").
// Scratch: valid for the next 2047 scratch allocations, never freed.
char* V_S10(long n, const char* fmt, char commas);

// prefix (null: none) followed by n printed by fmt (null: "%lx", "%lo": lower-case digits).
// Scratch, never freed.
char* V_S16(unsigned long n, const char* fmt, const char* prefix);
char* V_S8(unsigned long n, const char* fmt, const char* prefix);

// prefix and the binary digits of n ("0" for 0), with zeros put after the prefix until the whole
// text, prefix included, is width long. Scratch, never freed.
char* V_S2(unsigned long n, uint16_t width, const char* prefix);

// x printed by fmt; with a null fmt "%f" with the trailing zeros cut, one digit kept after the
// point ("1.5", "2.0"). Unlike the other V_ formatters, "?" while an error is pending.
// Scratch, never freed.
char* V_S(double x, const char* fmt);

// The bytes written as pairs of hex digits in s ("4142" gives "AB"; a last single digit is a
// byte of its own), each pair read by S16_U1 in mode 1. With strip set, the first byte with its
// top bit set is stored without it and ends the text. A "00" pair ends the text as callers see
// it. Null s is the empty text. "?" on a bad pair (error raised, with " [ASC_HEX]") and while an
// error is pending. Scratch, never freed.
char* ASC_HEX(const char* s, char strip);

// Copy of s with every "\x" or "\X" followed by two hex digits replaced by the byte they encode;
// other backslashes stay as they are. *len (may be null) gets the byte count, since the result
// may hold zero bytes; it is zero-ended as well. Null s is the empty text. "?" with *len 0 while
// an error is pending. Scratch, never freed.
char* BACKSLASH_X_BF(const char* s, uint16_t* len);

// The n bytes of bf (65535: up to its terminating zero) as text: bytes 32..126 as themselves,
// every other byte as "\x" and two upper-case hex digits ("a\tb" gives "a\x09b"). Null bf is
// empty. "?" while an error is pending. Scratch, never freed.
char* BF_BACKSLASH_X(const char* bf, uint16_t n);

#endif
