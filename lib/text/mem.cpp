// Checked allocation and the allocation trace. Owns mem_al_dbg, mem_al_cnt and the failure text.
// The trace counts blocks and, at level 2, logs each one through the debug log. Error texts are
// built with lib/err and the number formatter.
#include "text/mem.h"

#include <cstdlib>
#include <cstring>
#include <sys/sysinfo.h>

#include "err/dbg.h"
#include "err/err.h"
#include "text/num.h"

char mem_al_dbg = 0;
int32_t mem_al_cnt = 0;
const char* mem_alloc_fail = "Mem alloc failure";

static int mem_depth = 0;  // MEM_AL calls under way; only the outermost one is traced
static int err_depth = 0;  // MEM_ERR calls under way; building the message may itself run dry

// Counts a block in (+1) or out (-1) and, at level 2, logs it: "MEM_AL:pt=<hex> cnt=<n>". The
// log call runs with tracing and echo off, so that it does not trace itself; nothing is logged
// from inside a log write, whose own blocks would otherwise be refused as recursion.
static void trace(const char* what, const void* p, int step) {
    mem_al_cnt += step;
    if (mem_al_dbg != 2 || dbg_active) return;
    char echo = dbg_vd;
    mem_al_dbg = 0;
    dbg_vd = 0;
    SM_DBG(what, ":pt=", V_S16(reinterpret_cast<uintptr_t>(p), nullptr, nullptr),
           " cnt=", V_S10(mem_al_cnt, nullptr, 0), nullptr);
    mem_al_dbg = 2;
    dbg_vd = echo;
}

char* MEM_AL(unsigned long n) {
    if (err_) return nullptr;
    char* p = n ? static_cast<char*>(malloc(n)) : nullptr;
    if (!p) {
        MEM_ERR(n);
        return nullptr;
    }
    if (mem_al_dbg && mem_depth == 0) {
        mem_depth++;
        trace("MEM_AL", p, +1);
        mem_depth--;
    }
    return p;
}

void MEM_FR(char** pp) {
    if (!pp || !*pp) return;
    if (mem_al_dbg && mem_depth == 0) {
        mem_depth++;
        trace("MEM_FR", *pp, -1);
        mem_depth--;
    }
    free(*pp);
    *pp = nullptr;
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
    if (err_depth > 0) {  // no memory even for the message: flag the failure, keep the old text
        err_ = 1;
        return;
    }
    err_depth++;
    SM_ERR(mem_alloc_fail, " (req=", V_S10(static_cast<long>(n), nullptr, 0),
           " free=", V_S10(static_cast<long>(AVAIL_MEM()), nullptr, 0), ")", nullptr);
    err_depth--;
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
