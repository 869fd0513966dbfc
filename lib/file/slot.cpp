// The fixed slots and their wrappers. Owns the six static records. Each wrapper is one call of
// the record operation on its slot; the openers share the busy test and the counters share the
// open test.
#include "file/slot.h"

#include "err/err.h"

FLDF flr_fd, flr1_fd, flr2_fd;
FLDF flw_fd, flw1_fd, flw2_fd;

// FL_OP on slot, unless it is busy: then "Open error on \"x\"" + used, and FL_OP refuses too.
static FLDF* open_slot(FLDF* slot, const char* used, const char* fnam, char wtc, char crlf,
                       char stat) {
    if (!err_ && slot->fp) FL_OP_ERR(fnam, used, nullptr, nullptr);
    return FL_OP(fnam, wtc, crlf, stat, slot);
}

// field of slot if it is open; else "Read error (no file opened)" and 0.
static uint32_t slot_count(const FLDF* slot, const uint32_t* field) {
    if (err_) return 0;
    if (!slot->fp) {
        S_ERR(read_err_no_file);
        return 0;
    }
    return *field;
}

FLDF* FLW_OP(const char* fnam, char wtc, char crlf, char stat) {
    return open_slot(&flw_fd, " (FLW used)", fnam, wtc, crlf, stat);
}
FLDF* FLW1_OP(const char* fnam, char wtc, char crlf, char stat) {
    return open_slot(&flw1_fd, " (FLW1 used)", fnam, wtc, crlf, stat);
}
FLDF* FLW2_OP(const char* fnam, char wtc, char crlf, char stat) {
    return open_slot(&flw2_fd, " (FLW2 used)", fnam, wtc, crlf, stat);
}
FLDF* FLR_OP(const char* fnam, char stat) {
    return open_slot(&flr_fd, " (FLR used)", fnam, 0, 2, stat);
}
FLDF* FLR1_OP(const char* fnam, char stat) {
    return open_slot(&flr1_fd, " (FLR1 used)", fnam, 0, 2, stat);
}
FLDF* FLR2_OP(const char* fnam, char stat) {
    return open_slot(&flr2_fd, " (FLR2 used)", fnam, 0, 2, stat);
}

// One line each: the wrapper is the call.
// clang-format off
void FLW_CL() { FL_CL(&flw_fd, 0); }
void FLW1_CL() { FL_CL(&flw1_fd, 0); }
void FLW2_CL() { FL_CL(&flw2_fd, 0); }
void FLR_CL() { FL_CL(&flr_fd, 0); }
void FLR1_CL() { FL_CL(&flr1_fd, 0); }
void FLR2_CL() { FL_CL(&flr2_fd, 0); }

void BF_FLW(const char* bf, unsigned long n) { BF_FL(&flw_fd, bf, n); }
void BF_FLW1(const char* bf, unsigned long n) { BF_FL(&flw1_fd, bf, n); }
void BF_FLW2(const char* bf, unsigned long n) { BF_FL(&flw2_fd, bf, n); }
void S_FLW(const char* s) { S_FL(&flw_fd, s); }
void S_FLW1(const char* s) { S_FL(&flw1_fd, s); }
void S_FLW2(const char* s) { S_FL(&flw2_fd, s); }
// clang-format on
void SM_FLW(const char* s, ...) {
    va_list ap;
    va_start(ap, s);
    SM_FL_VA(&flw_fd, s, ap);
    va_end(ap);
}

void SM_FLW1(const char* s, ...) {
    va_list ap;
    va_start(ap, s);
    SM_FL_VA(&flw1_fd, s, ap);
    va_end(ap);
}

void SM_FLW2(const char* s, ...) {
    va_list ap;
    va_start(ap, s);
    SM_FL_VA(&flw2_fd, s, ap);
    va_end(ap);
}

// clang-format off
void B_FLW(char c) { B_FL(&flw_fd, c); }
void B_FLW1(char c) { B_FL(&flw1_fd, c); }
void B_FLW2(char c) { B_FL(&flw2_fd, c); }
void FLW_FLUSH(char sync) { FL_FLUSH(&flw_fd, sync); }
void FLW1_FLUSH(char sync) { FL_FLUSH(&flw1_fd, sync); }
void FLW2_FLUSH(char sync) { FL_FLUSH(&flw2_fd, sync); }

uint16_t FLR_S(char* rc, uint16_t mx, char must) { return FL_S(&flr_fd, rc, mx, must); }
uint16_t FLR1_S(char* rc, uint16_t mx, char must) { return FL_S(&flr1_fd, rc, mx, must); }
uint16_t FLR2_S(char* rc, uint16_t mx, char must) { return FL_S(&flr2_fd, rc, mx, must); }
char* FLR_S(char must) { return FL_S(&flr_fd, must); }
char* FLR1_S(char must) { return FL_S(&flr1_fd, must); }
char* FLR2_S(char must) { return FL_S(&flr2_fd, must); }
uint32_t FLR_BF(char* bf, unsigned long n, char must) { return FL_BF(&flr_fd, bf, n, must); }
uint32_t FLR1_BF(char* bf, unsigned long n, char must) { return FL_BF(&flr1_fd, bf, n, must); }
uint32_t FLR2_BF(char* bf, unsigned long n, char must) { return FL_BF(&flr2_fd, bf, n, must); }
uint16_t FLR_BF(char* bf, uint16_t n, char must) { return FL_BF(&flr_fd, bf, n, must); }
uint16_t FLR1_BF(char* bf, uint16_t n, char must) { return FL_BF(&flr1_fd, bf, n, must); }
uint16_t FLR2_BF(char* bf, uint16_t n, char must) { return FL_BF(&flr2_fd, bf, n, must); }
uint16_t FLR_B() { return FL_B(&flr_fd); }
uint16_t FLR1_B() { return FL_B(&flr1_fd); }
uint16_t FLR2_B() { return FL_B(&flr2_fd); }
uint16_t FLR_S_RV(char* rc, uint16_t mx, char must) { return FL_S_RV(&flr_fd, rc, mx, must); }
uint16_t FLR1_S_RV(char* rc, uint16_t mx, char must) { return FL_S_RV(&flr1_fd, rc, mx, must); }
uint16_t FLR2_S_RV(char* rc, uint16_t mx, char must) { return FL_S_RV(&flr2_fd, rc, mx, must); }
uint32_t FLR_BF_RV(char* bf, unsigned long n, char must) { return FL_BF_RV(&flr_fd, bf, n, must); }
uint32_t FLR1_BF_RV(char* bf, unsigned long n, char must) { return FL_BF_RV(&flr1_fd, bf, n, must); }
uint32_t FLR2_BF_RV(char* bf, unsigned long n, char must) { return FL_BF_RV(&flr2_fd, bf, n, must); }
uint16_t FLR_BF_RV(char* bf, uint16_t n, char must) { return FL_BF_RV(&flr_fd, bf, n, must); }
uint16_t FLR1_BF_RV(char* bf, uint16_t n, char must) { return FL_BF_RV(&flr1_fd, bf, n, must); }
uint16_t FLR2_BF_RV(char* bf, uint16_t n, char must) { return FL_BF_RV(&flr2_fd, bf, n, must); }
uint16_t FLR_B_RV() { return FL_B_RV(&flr_fd); }
uint16_t FLR1_B_RV() { return FL_B_RV(&flr1_fd); }
uint16_t FLR2_B_RV() { return FL_B_RV(&flr2_fd); }

uint32_t FLR_P() { return FL_P(&flr_fd); }
uint32_t FLR1_P() { return FL_P(&flr1_fd); }
uint32_t FLR2_P() { return FL_P(&flr2_fd); }
uint32_t FLW_P() { return FL_P(&flw_fd); }
uint32_t FLW1_P() { return FL_P(&flw1_fd); }
uint32_t FLW2_P() { return FL_P(&flw2_fd); }
void P_FLR(unsigned long pos) { P_FL(&flr_fd, pos); }
void P_FLR1(unsigned long pos) { P_FL(&flr1_fd, pos); }
void P_FLR2(unsigned long pos) { P_FL(&flr2_fd, pos); }
void P_FLW(unsigned long pos) { P_FL(&flw_fd, pos); }
void P_FLW1(unsigned long pos) { P_FL(&flw1_fd, pos); }
void P_FLW2(unsigned long pos) { P_FL(&flw2_fd, pos); }

uint32_t FLR_SZ() { return slot_count(&flr_fd, &flr_fd.sz); }
uint32_t FLR1_SZ() { return slot_count(&flr1_fd, &flr1_fd.sz); }
uint32_t FLR2_SZ() { return slot_count(&flr2_fd, &flr2_fd.sz); }
uint32_t FLR_LN() { return slot_count(&flr_fd, &flr_fd.ln); }
uint32_t FLR1_LN() { return slot_count(&flr1_fd, &flr1_fd.ln); }
uint32_t FLR2_LN() { return slot_count(&flr2_fd, &flr2_fd.ln); }
// clang-format on
