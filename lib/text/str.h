// Heap and scratch strings: zero-ended byte strings with 16-bit lengths. Owns the builders (copy,
// replace, append, join, cut, pad, trim), the record limit fl_rc_mxs and the shared one-character
// texts. Ownership, the same for every builder:
//   - a new string (S_CP, SM_CP, S_X, RCDF_AL) is the caller's: free it with MEM_FR;
//   - a replacing or appending call takes its first argument and returns the string to keep:
//     write p = S_RP(p, ...), p = S_A(p, ...); the old pointer is gone when a new one comes back;
//   - a UT_ result is scratch (lib/text/ring.h): never freed, valid for 2047 further scratch
//     allocations.
// Joins take at most 49 pieces ended by a null pointer and refuse results over 65,534 characters
// with "String overflow". While an error is pending each builder returns its neutral value.
#ifndef UT_STR_H
#define UT_STR_H

#include <cstdarg>
#include <cstdint>

extern uint16_t fl_rc_mxs;    // longest record text (256): RCDF_AL and S_S size by it
extern const char* cr_;       // "\r"
extern char dir_dlm;          // '/'
extern const char* dir_dlms;  // "/"

// Length modulo 65,536; 0 for null. Runs while an error is pending.
uint16_t S_SZ(const char* s);

// New copy of s (length modulo 65,536); null for null s, with no error. Caller frees.
char* S_CP(const char* s);

// Replaces old with a copy of src and returns it; old is freed (S_RP(p, null) frees p and returns
// null). On failure, or while an error is pending, returns old untouched.
char* S_RP(char* old, const char* src);

// New string of the pieces joined; null when the first piece is null. Caller frees.
char* SM_CP(const char* piece, ...) __attribute__((sentinel));

// SM_CP for a variadic function's own piece list: piece is its first piece, ap the rest.
char* SM_CP_VA(const char* piece, va_list ap);

// Replaces old with the pieces joined; old is freed on success and when the first piece is null
// (the result is then null). On a failed join returns null and old is NOT freed: the caller still
// owns it. While an error is pending returns old.
char* SM_RP(char* old, ...) __attribute__((sentinel));

// s with t appended; s is taken over. Null or empty t: s itself. Null s: a copy of t. On failure
// (or an error pending) returns s untouched.
char* S_A(char* s, const char* t);

// S_A with the one character c.
char* B_A(char* s, char c);

// s with the pieces appended; s is taken over and freed on success. A null first piece returns s.
// On failure, and while an error is pending, returns null and s is NOT freed: the caller keeps it.
char* SM_A(char* s, ...) __attribute__((sentinel));

// New copy of s[from, to); to beyond the end (4294967295 meaning the end) is cut to the end.
// from beyond the end, from > to, or null s: null with no error. Caller frees.
char* S_X(const char* s, unsigned long from, unsigned long to);

// s padded with blanks on the right to w characters, in a new block (s freed); s itself when it
// is already w or longer, and for null s.
char* PAD_RP(char* s, uint16_t w);

// Cuts trailing blanks and tabs in place (an all-blank s becomes empty); returns the new length.
// 0 for null s or while an error is pending.
uint16_t RM_TRL(char* s);

// Removes leading blanks and tabs in place. An s made only of blanks and tabs is left as it is.
void RM_LEAD(char* s);

// Removes every c from s in place, keeping the order of the rest.
void REMOVE_CH(char* s, char c);

// Copies src into dst, a record buffer of fl_rc_mxs + 1 bytes; null src makes dst empty. A src
// longer than fl_rc_mxs: with trunc 0 the error "S_S:Record overflow" and dst untouched; with
// trunc set its first fl_rc_mxs characters.
void S_S(const char* src, char* dst, char trunc);

// New record buffer of fl_rc_mxs + 1 bytes (at least 257 with the default). Caller frees.
char* RCDF_AL();

// Scratch forms of S_CP, SM_CP and S_X: same results, from the scratch ring; never freed.
char* UT_S_CP(const char* s);
char* UT_SM_CP(const char* piece, ...) __attribute__((sentinel));
char* UT_S_X(const char* s, unsigned long from, unsigned long to);

// Despite its prefix, exactly SM_A: a heap result, s taken over and freed on success.
char* UT_SM_A(char* s, ...) __attribute__((sentinel));

#endif
