// Text matching and search: whole-text and prefix comparison, suffix tests, ordering, finding a
// pattern, a byte or a class of bytes, and replacing text. Owns no state; the byte tables come
// from lib/text/bytes.h, the strings from lib/text/str.h. Positions are 16-bit: 65535 is "not
// found" in results and "to the end" in range arguments. A null text matches only another null
// text, and nothing is ever found in it. Nothing here raises an error of its own; while one is
// pending each function returns its neutral value (0, 65535, or its input).
// Flags, always in this order: cs (non-zero: bytes compare exactly; 0: letters without regard to
// case), exact (0: the loose rule, any two bytes that are neither letter nor digit are equal),
// wild (a byte matching any one byte), gap (a pattern byte matching any run, the empty one too).
#ifndef UT_MATCH_H
#define UT_MATCH_H

#include <cstdint>

// 1 when the whole of a matches the whole of b. The wild byte counts only where it stands in a.
// With a gap byte, b is the pattern instead: it must match from the start to the end of a, its
// pieces taken at their first occurrence (no backtracking), without the loose rule, and the wild
// byte counts in b. Two empty texts match.
char S_MT(const char* a, const char* b, char cs, char exact, char wild, char gap);

// The rules of S_MT over exactly n bytes of two buffers (n = 65535: the length of b); n = 0
// matches. Both must hold n bytes: a zero byte is compared like any other, except that exact
// without case and without wild (strncasecmp) stops at a zero both texts hold there.
char BF_MT(const char* a, const char* b, uint16_t n, char cs, char exact, char wild);

// 1 when s ends with e (S_MT of the tail, no gap). Null s matches only null e; an e longer than
// s never matches.
char S_END_MT(const char* s, const char* e, char cs, char exact, char wild);

// 1 when a sorts before b or equals it. cs set: plain byte order. cs 0: order without regard to
// case, and byte order between texts that differ only in case. Null sorts as the empty text. An
// error pending gives 1.
char S_ORD(const char* a, const char* b, char cs);

// Position of the first match of the pattern pat[pfrom, pto) in s[from, to), 65535 if none (or
// null pat or s); *end gets the position just past the match, and is left as it was when nothing
// is found. Both ranges are cut at the end of their text; pfrom past pto gives the empty pattern,
// which matches at from; from past the end of s finds nothing. The wild byte counts in the
// pattern; no loose rule. With a gap byte the pattern's pieces between gap runs are found in
// order, each at its first occurrence after the last: a leading gap makes the result from, a
// trailing one makes *end the end of the range.
uint16_t FND_TXT(const char* pat, uint16_t pfrom, uint16_t pto, const char* s, uint16_t from,
                 uint16_t to, char gap, char cs, char wild, uint16_t* end);
// The same on the whole pattern.
uint16_t FND_TXT(const char* pat, const char* s, uint16_t from, uint16_t to, char gap, char cs,
                 char wild, uint16_t* end);

// FND_TXT, except that a match counts only where it stands apart as a word: neither of its two
// edges may fall between two word bytes (class ch_word: any byte but blank, tab and controls) of
// s. The edges are judged on the whole of s, even outside [from, to). Since punctuation is a word
// byte, words are the runs between blanks: "cat" is not found in "a cat." but is in "a cat ".
// A rejected match is retried one byte further on.
uint16_t FND_WD(const char* pat, uint16_t pfrom, uint16_t pto, const char* s, uint16_t from,
                uint16_t to, char gap, char cs, char wild, uint16_t* end);
uint16_t FND_WD(const char* pat, const char* s, uint16_t from, uint16_t to, char gap, char cs,
                char wild, uint16_t* end);

// Index of the first c in s[from, to) (stopping at the end of s), 65535 if none or null s.
uint16_t FND_B(char c, const char* s, uint16_t from, uint16_t to, char cs);

// Start of the first run, within s[from, to), of bytes whose ch_dm class shares a bit with
// mask; *end gets the index just past the run. 65535 (and *end untouched) if there is none.
uint16_t FND_CHDM(char mask, const char* s, uint16_t from, uint16_t to, uint16_t* end);

// Replaces the first match of find in s (all matches when all is set) by repl, found without
// regard to case and with no wild byte; gap as given. With all, the search goes on from just
// past each replacement while text remains there. s is taken over: write s = C_TXT(s, ...); the
// old pointer is gone once a change is made. Null s: a copy of repl when find is null, else
// null. Null or empty find: repl put in front of s. While an error is pending s comes back
// unchanged; if building a result fails, the text as changed so far comes back with the error.
char* C_TXT(char* s, const char* find, const char* repl, char all, char gap);

// C_TXT on a copy of s, which stays the caller's. Scratch result (null on failure): valid for
// the next 2047 scratch allocations, never freed.
char* UT_C_TXT(const char* s, const char* find, const char* repl, char all, char gap);

// C_TXT and UT_C_TXT counting only matches that stand apart as words (the rule of FND_WD).
char* C_WD(char* s, const char* find, const char* repl, char all, char gap);
char* UT_C_WD(const char* s, const char* find, const char* repl, char all, char gap);

// Replaces old_c by new_c in s in place: the first only, or every one with all set. Nothing for
// null s or when old_c equals new_c.
void RPL_CH(char old_c, char new_c, char* s, char all);

#endif
