// The search-path walker: cuts a private copy of PATH at its ":" separators, one entry per call.
// Entries come out as heap strings held by the record, so the caller keeps no ownership.
#include "file/path.h"

#include <cstdlib>
#include <cstring>

#include "err/err.h"
#include "text/mem.h"
#include "text/str.h"

void PTH_OP(PTHDF* pd) {
    static const char* const rtn = "PTH_OP";
    pd->pth = nullptr;
    pd->dir = nullptr;
    pd->ix = 0;
    if (err_) return;
    const char* path = getenv("PATH");
    pd->pth = S_CP(path ? path : "");
    RTN_ERR(rtn);
}

char* PTH_S(PTHDF* pd) {
    static const char* const rtn = "PTH_S";
    if (err_ || !pd->pth || !*pd->pth) return nullptr;
    const char* from = pd->pth + pd->ix;
    size_t len = strcspn(from, ":");
    char* dir = len ? S_X(from, 0, len) : S_CP(".");
    if (RTN_ERR(rtn)) return nullptr;
    if (from[len])
        pd->ix = static_cast<uint16_t>(pd->ix + len + 1);
    else
        MEM_FR(&pd->pth);  // that was the last entry
    MEM_FR(&pd->dir);
    pd->dir = dir;
    return dir;
}

void PTH_CL(PTHDF* pd) {
    MEM_FR(&pd->pth);
    MEM_FR(&pd->dir);
    pd->ix = 0;
}
