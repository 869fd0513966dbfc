// Checked allocation and the allocation trace. Owns mem_al_dbg, mem_al_cnt and the failure text.
// The trace counts blocks and, at level 2, logs each one through the debug log, with the number
// formatters; the failure message prints its numbers itself, so that only it needs memory.
#include "text/mem.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/sysinfo.h>

#include "err/dbg.h"
#include "err/err.h"
#include "text/num.h"

char mem_al_dbg = 0;
int32_t mem_al_cnt = 0;
const char* mem_alloc_fail = "Mem alloc failure";

// Counts a block in (+1) or out (-1) and, at level 2, logs it: "MEM_AL:pt=<hex> cnt=<n>". It
// runs in the middle of other routines' updates (the error routines' above all), so the error
// state is held aside for the log call, which runs with tracing and echo off so that it does
// not trace itself; a pending error comes back exactly. A log that cannot be written raises its
// failure once (when none was pending) and drops tracing to counting, so that the allocations
// made to report it do not log, fail and report again. Nothing is logged from inside a log
// write, whose own blocks would otherwise be refused as recursion.
static void trace(const char* what, const void* p, int step) {
    mem_al_cnt += step;
    if (mem_al_dbg != 2 || dbg_active) return;
    char echo = dbg_vd;
    ERRSDF held;
    HOLD_ERR(&held);
    mem_al_dbg = 0;
    dbg_vd = 0;
    SM_DBG(what, ":pt=", V_S16(reinterpret_cast<uintptr_t>(p), nullptr, nullptr),
           " cnt=", V_S10(mem_al_cnt, nullptr, 0), nullptr);
    mem_al_dbg = err_ ? 1 : 2;
    dbg_vd = echo;
    BACK_ERR(&held);
}

char* MEM_AL(unsigned long n) {
    if (err_) return nullptr;
    char* p = n ? static_cast<char*>(malloc(n)) : nullptr;
    if (!p) {
        MEM_ERR(n);
        return nullptr;
    }
    if (mem_al_dbg) trace("MEM_AL", p, +1);
    if (err_) MEM_FR(&p);  // the trace could not be logged: that is this call's failure
    return p;
}

void MEM_FR(char** pp) {
    if (!pp || !*pp) return;
    char* p = *pp;
    *pp = nullptr;  // detached first: the trace may look at, or free, what pp lives in
    if (mem_al_dbg) trace("MEM_FR", p, -1);
    free(p);
}

char* MEM_REAL(char* p, unsigned long n) {
    if (err_) return p;
    if (!p) return n ? MEM_AL(n) : nullptr;
    if (n == 0) {
        MEM_FR(&p);
        return nullptr;
    }
    char* q = static_cast<char*>(realloc(p, n));
    if (!q) {
        MEM_ERR(n);
        return p;
    }
    return q;
}

void MEM_ERR(unsigned long n) {
    static char building = 0;  // 1 while the message is built; a failure then has no message
    if (building) {
        NOMEM_ERR();
        return;
    }
    // The numbers are printed here, not into scratch strings: only the message needs memory.
    char req[24], avail[24];
    snprintf(req, sizeof req, "%lu", n);
    snprintf(avail, sizeof avail, "%lu", AVAIL_MEM());
    building = 1;
    SM_ERR(mem_alloc_fail, " (req=", req, " free=", avail, ")", nullptr);
    building = 0;
}

void B_B(const void* src, uint16_t n, void* dst) {
    if (err_ || !dst) return;
    if (src)
        memmove(dst, src, n);
    else
        memset(dst, 0, n);
}

char* BF_CP(const char* bf, unsigned long n) {
    if (err_ || !bf || n == 0) return nullptr;
    char* p = MEM_AL(n);
    if (p) memcpy(p, bf, n);
    return p;
}

// Reads the system's memory figures; total selects totalram over freeram.
static unsigned long memory(char total) {
    struct sysinfo si;
    if (sysinfo(&si) != 0) {
        OS_ERR("sysinfo", "", 0);
        return 268435455;
    }
    return total ? si.totalram : si.freeram;
}

unsigned long AVAIL_MEM() {
    return memory(0);
}

unsigned long TOTAL_MEM() {
    return memory(1);
}
