// The walker over the directories of the executable search path (the PATH environment variable),
// in the order they are listed. Owns the record PTHDF, which holds its own copy of PATH, so a
// change of the environment during a walk does not disturb it. FIND_FILE (lib/file/stat.h) is
// built on it. Calling order: PTH_OP, PTH_S until it returns null, PTH_CL; PTH_CL is safe on a
// zeroed, closed or failed record and must follow every PTH_OP.
#ifndef UT_PATH_H
#define UT_PATH_H

#include <cstdint>

struct PTHDF {
    char* pth;    // copy of PATH (heap); null when closed
    uint16_t ix;  // index in pth of the next entry
    char* dir;    // the entry handed out last (heap)
};

// Starts a walk: copies PATH; an unset or empty PATH walks nothing. Nothing while an error is
// pending; after a failed copy the record walks nothing.
void PTH_OP(PTHDF* pd);

// The next directory of the walk, an empty entry standing for "." as the shell reads it; null at
// the end, while an error is pending, or on failure. Points into the record: valid until the next
// PTH_S or PTH_CL.
char* PTH_S(PTHDF* pd);

// Ends the walk and frees the record's texts. Runs while an error is pending.
void PTH_CL(PTHDF* pd);

#endif
