// Checked allocation: every heap block of the library comes from MEM_AL and goes back through
// MEM_FR. Owns the allocation-tracing switches (mem_al_dbg, mem_al_cnt) and the memory figures.
// A failed allocation raises "Mem alloc failure (req=N free=M)" and returns null; it never aborts.
#ifndef UT_MEM_H
#define UT_MEM_H

#include <cstdint>

extern char mem_al_dbg;             // tracing: 0 off, 1 count live blocks, 2 count and log each
                                    // (back to 1 when the log cannot be written)
extern int32_t mem_al_cnt;          // live blocks, kept while mem_al_dbg is not 0
extern const char* mem_alloc_fail;  // "Mem alloc failure"

// New block of n bytes, not cleared; caller frees with MEM_FR. n = 0 fails like a refused malloc.
// Null (and the allocation error raised) on failure or while an error is pending; null too when
// tracing could not log the block, with the log's failure raised. Tracing leaves a pending error
// exactly as it found it.
char* MEM_AL(unsigned long n);

// Frees *pp and sets it to null. Null pp or *pp: nothing. Works while an error is pending.
void MEM_FR(char** pp);

// Resizes p to n bytes and returns the block to keep. Null p allocates; n = 0 frees p and returns
// null. On failure raises the allocation error and returns p untouched (still the caller's).
char* MEM_REAL(char* p, unsigned long n);

// Raises the allocation failure for a request of n bytes, naming the free memory (both numbers
// unsigned decimal). With no memory even for that text, the static "Mem alloc failure".
void MEM_ERR(unsigned long n);

// Copies n bytes from src to dst; a null src clears n bytes of dst instead. Nothing while an
// error is pending.
void B_B(const void* src, uint16_t n, void* dst);

// New block holding a copy of n bytes of bf, no terminator added; caller frees with MEM_FR.
// Null, with no error, for a null bf or n = 0.
char* BF_CP(const char* bf, unsigned long n);

// Free and total main memory as sysinfo reports them (its memory units, not scaled). If sysinfo
// fails: the error "sysinfo (err #N:text)" and 268435455. They run while an error is pending.
unsigned long AVAIL_MEM();
unsigned long TOTAL_MEM();

#endif
