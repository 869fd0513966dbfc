// The debug log. Owns dbg_, dbg_vd and dbg_active. The log file needs the file and time layers,
// which stand above this one; until it is written on them, lines are accepted and dropped, so
// call sites are final.
#include "err/dbg.h"

char dbg_ = 0;
char dbg_vd = 1;
char dbg_active = 0;

void S_DBG(const char* text) {
    (void)text;
}

void SM_DBG(const char* piece, ...) {
    (void)piece;
}
