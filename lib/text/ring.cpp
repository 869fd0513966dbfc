// The scratch ring: owns ut_pt and ut_x. Allocation tracing is switched off inside, so that the
// ring's own recycling does not show up as leaks or frees in the trace.
#include "text/ring.h"

#include "err/err.h"
#include "text/mem.h"

char** ut_pt = nullptr;
uint16_t ut_x = 0;

static const uint16_t ring_slots = 2048;

char* UT_AL(unsigned long n) {
    static const char* const rtn = "UT_AL";
    if (err_) return nullptr;
    char trace = mem_al_dbg;
    mem_al_dbg = 0;
    if (!ut_pt) {
        ut_pt = reinterpret_cast<char**>(MEM_AL(ring_slots * sizeof(char*)));
        if (ut_pt)
            for (uint16_t i = 0; i < ring_slots; i++) ut_pt[i] = nullptr;
        ut_x = ring_slots;
    }
    char* p = nullptr;
    if (ut_pt) {
        ut_x = ut_x + 1 >= ring_slots ? 0 : ut_x + 1;
        MEM_FR(&ut_pt[ut_x]);
        p = ut_pt[ut_x] = MEM_AL(n + 1);
    }
    mem_al_dbg = trace;
    RTN_ERR(rtn);
    return p;
}

void UT_FREE() {
    char trace = mem_al_dbg;
    mem_al_dbg = 0;
    if (ut_pt) {
        for (uint16_t i = 0; i < ring_slots; i++) MEM_FR(&ut_pt[i]);
        char* table = reinterpret_cast<char*>(ut_pt);
        MEM_FR(&table);
        ut_pt = nullptr;
    }
    ut_x = 0;
    mem_al_dbg = trace;
}
