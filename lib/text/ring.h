// The scratch ring: 2048 slots of short-lived strings that free themselves. A scratch string is
// never freed by its user and must not be kept: its slot is reused, and the string freed, 2048
// scratch allocations later. Owns ut_pt and ut_x. UT_FREE releases the whole ring; the next
// scratch allocation makes a new one.
#ifndef UT_RING_H
#define UT_RING_H

#include <cstdint>

extern char** ut_pt;   // the 2048 slots, null until the first scratch allocation
extern uint16_t ut_x;  // index of the slot used last (2048 right after the table is made)

// Scratch block of n + 1 bytes, not cleared. Null on failure or while an error is pending.
// Scratch: valid for the next 2047 scratch allocations, never freed by the caller.
char* UT_AL(unsigned long n);

// Frees every slot and the table. Runs while an error is pending.
void UT_FREE();

#endif
