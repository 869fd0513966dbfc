// The byte tables of the text layer, 256 entries each, indexed by the unsigned byte: digit value
// (c_v), value to digit (v_c), upper case (ch_upper), printable names for messages (ch_ech) and
// character classes (ch_dm). Constant data, shared by number conversion and matching.
#ifndef UT_BYTES_H
#define UT_BYTES_H

extern const unsigned char c_v[256];       // '0'-'9' 0-9, letters 10-35, other bytes 255
extern const char v_c[];                   // "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
extern const unsigned char ch_upper[256];  // upper case; only a-z change
extern const char* const ch_ech[256];      // "<NUL>", "<BELL>", tab as 8 blanks, "<?>" for 255
extern const unsigned char ch_dm[256];     // class bits below

// Class bits of ch_dm.
enum : unsigned char {
    ch_word = 2,  // any byte of a word: not blank, tab or control
    ch_text = 4,  // word bytes, blank and tab
    ch_letter = 8,
    ch_bin = 16,
    ch_dec = 32,
    ch_oct = 64,
    ch_hex = 128,  // either case
};

#endif
