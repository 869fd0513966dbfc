// The six fixed file slots, static records for code that wants a file without keeping a record
// of its own: flr_fd, flr1_fd, flr2_fd for reading, flw_fd, flw1_fd, flw2_fd for writing, and
// one-line wrappers that run a record operation of lib/file/fl.h on one slot. Only the openers
// have logic: they refuse a busy slot. A slot is busy from its opener to its close; after an
// error it stays open until closed, like any record.
#ifndef UT_SLOT_H
#define UT_SLOT_H

#include "file/fl.h"

extern FLDF flr_fd, flr1_fd, flr2_fd;  // reading slots
extern FLDF flw_fd, flw1_fd, flw2_fd;  // writing slots

// FL_OP (fnam, wtc, crlf, stat) on the slot. A busy slot is refused with
// "Open error on \"x\" (FLW used)" (FLW1, FLW2) and null, and stays as it was.
FLDF* FLW_OP(const char* fnam, char wtc, char crlf, char stat);
FLDF* FLW1_OP(const char* fnam, char wtc, char crlf, char stat);
FLDF* FLW2_OP(const char* fnam, char wtc, char crlf, char stat);

// FL_OP (fnam, 0, 2, stat) on the slot; a busy slot: "Open error on \"x\" (FLR used)" etc.
FLDF* FLR_OP(const char* fnam, char stat);
FLDF* FLR1_OP(const char* fnam, char stat);
FLDF* FLR2_OP(const char* fnam, char stat);

// FL_CL (slot, 0).
void FLW_CL();
void FLW1_CL();
void FLW2_CL();
void FLR_CL();
void FLR1_CL();
void FLR2_CL();

// Writing on flw_fd, flw1_fd, flw2_fd: BF_FL, S_FL, SM_FL, B_FL, FL_FLUSH.
void BF_FLW(const char* bf, unsigned long n);
void BF_FLW1(const char* bf, unsigned long n);
void BF_FLW2(const char* bf, unsigned long n);
void S_FLW(const char* s);
void S_FLW1(const char* s);
void S_FLW2(const char* s);
void SM_FLW(const char* s, ...) __attribute__((sentinel));
void SM_FLW1(const char* s, ...) __attribute__((sentinel));
void SM_FLW2(const char* s, ...) __attribute__((sentinel));
void B_FLW(char c);
void B_FLW1(char c);
void B_FLW2(char c);
void FLW_FLUSH(char sync);
void FLW1_FLUSH(char sync);
void FLW2_FLUSH(char sync);

// Reading on flr_fd, flr1_fd, flr2_fd: both forms of FL_S, both widths of FL_BF and FL_BF_RV
// (n's type picks the width, as for FL_BF), FL_B, FL_S_RV, FL_B_RV. Results as those.
uint16_t FLR_S(char* rc, uint16_t mx, char must);
uint16_t FLR1_S(char* rc, uint16_t mx, char must);
uint16_t FLR2_S(char* rc, uint16_t mx, char must);
char* FLR_S(char must);
char* FLR1_S(char must);
char* FLR2_S(char must);
uint32_t FLR_BF(char* bf, unsigned long n, char must);
uint32_t FLR1_BF(char* bf, unsigned long n, char must);
uint32_t FLR2_BF(char* bf, unsigned long n, char must);
uint16_t FLR_BF(char* bf, uint16_t n, char must);
uint16_t FLR1_BF(char* bf, uint16_t n, char must);
uint16_t FLR2_BF(char* bf, uint16_t n, char must);
uint16_t FLR_B();
uint16_t FLR1_B();
uint16_t FLR2_B();
uint16_t FLR_S_RV(char* rc, uint16_t mx, char must);
uint16_t FLR1_S_RV(char* rc, uint16_t mx, char must);
uint16_t FLR2_S_RV(char* rc, uint16_t mx, char must);
uint32_t FLR_BF_RV(char* bf, unsigned long n, char must);
uint32_t FLR1_BF_RV(char* bf, unsigned long n, char must);
uint32_t FLR2_BF_RV(char* bf, unsigned long n, char must);
uint16_t FLR_BF_RV(char* bf, uint16_t n, char must);
uint16_t FLR1_BF_RV(char* bf, uint16_t n, char must);
uint16_t FLR2_BF_RV(char* bf, uint16_t n, char must);
uint16_t FLR_B_RV();
uint16_t FLR1_B_RV();
uint16_t FLR2_B_RV();

// Positions: FL_P and P_FL on the slot of the same name and number.
uint32_t FLR_P();
uint32_t FLR1_P();
uint32_t FLR2_P();
uint32_t FLW_P();
uint32_t FLW1_P();
uint32_t FLW2_P();
void P_FLR(unsigned long pos);
void P_FLR1(unsigned long pos);
void P_FLR2(unsigned long pos);
void P_FLW(unsigned long pos);
void P_FLW1(unsigned long pos);
void P_FLW2(unsigned long pos);

// The reading slot's sz (size at opening) and ln (lines read); with no file open the error
// "Read error (no file opened)" and 0.
uint32_t FLR_SZ();
uint32_t FLR1_SZ();
uint32_t FLR2_SZ();
uint32_t FLR_LN();
uint32_t FLR1_LN();
uint32_t FLR2_LN();

#endif
