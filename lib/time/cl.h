// Text lists: null-terminated arrays of texts that stand for sets of allowed values, and CL_X,
// the position of a text in such a set. Owns the wildcard text cl_any_txt and the one-character
// text qt, and the static working records of time ranges (CL_X is not re-entrant). Matching
// comes from lib/text/match.h, files from lib/file/fl.h, time text from lib/time/tmtext.h.
//
// Entries, taken in order, each counting as many positions as the values it stands for:
//   "FILE:name" (prefix in any case)  every line of the file, one position each
//   the text of cl_any_txt            any text at all
//   "B0...B111"  (binary)             whole numbers lo to hi, as the conversions read them; the
//   "X00...X1F"  (hex)                lead letter is required only when lo begins with the
//   "-5...5"     (decimal)            capital (with a small "b" or "x" the range never converts)
//   "0.5...1.5"  (decimal point)      lo to hi in steps of lo's last decimal place; only a text
//                                     that holds a "." is looked up in such a range
//   "10:00...10:30", "Monday...Friday"  dates and times from lo to hi, in steps of the finest
//                                     unit lo names, each written as lo is written
//   anything else                     that one text
// An empty hi has no upper bound. A number range whose lo and hi convert holds only the texts
// that convert too; any other text lies outside it.
#ifndef UT_CL_H
#define UT_CL_H

#include <cstdint>

extern const char* cl_any_txt;  // the wildcard entry, "[ANY]"; null switches the wildcard off
extern const char* qt;          // "\"", for quoting texts in messages

// Position, counted from 0 over every value of the list cl, of the first value that txt matches;
// plain entries and file lines compare with S_MT, whole texts, with mt as the case flag (0 blind
// to case, non-zero exact). 0xFFFFFFFF when txt is in none of them, when the position would not
// fit in 32 bits, while an error is pending, and for a null cl or txt. With report set a miss
// raises "\"txt\" is undefined selection" and a null argument "CL_X:txt=NULL" or "CL_X:cl=NULL";
// failures inside an entry (an unreadable file, a range that does not convert) are cleared and
// the entry is skipped or read as plain text. A time range that cannot reach hi (hi leaves out a
// unit that lo names) is a plain entry. A walk is at most 100,000 values long: one that has not
// met hi by then ("Jun...13", "1/1...2/30": hi is never met) has no size that fits, so a text
// met on the way keeps its position and any other gives 0xFFFFFFFF.
uint32_t CL_X(const char* const* cl, const char* txt, char report, char mt);

// Frees a text list built on the heap (every text and the array from MEM_AL) and sets *cl to
// null; a null list: nothing. Runs while an error is pending.
void CL_FR(char*** cl);

#endif
