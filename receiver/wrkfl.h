// The receiver's work file: which name a transfer writes to, and that nobody else steers it.
// Owns the descriptor whose lock marks the name as taken, and this process's second name (the
// work file's name followed by "." and the process id) for when another receiver holds the first.
// Calling order: WRKFL_CLAIM before each data phase -> FILE_CLR, BF_FILE, FILE_MV by the name it
// returned -> WRKFL_FREE; WRKFL_DL at exit. After a failed claim nothing is held.
#ifndef ZIMB_WRKFL_H
#define ZIMB_WRKFL_H

// Takes wrkfl, or when another receiver holds it this process's second name, for one transfer
// and returns the name taken (valid for the life of the process). The name must be missing (it
// is then created) or a regular file of this user with no other link: anything else is refused
// unopened, and what was opened is checked again, so that later writes by name reach it alone.
// Null with the error "WRKFL_CLAIM:\"name\" is a symbolic link, not a file of zimb's own ..." (or
// another kind), an OS error, or "... in use by other receivers"; nothing while err_ is set.
const char* WRKFL_CLAIM(const char* wrkfl);

// Lets go of the name taken by WRKFL_CLAIM, if any; its file stays as it is. Never fails.
void WRKFL_FREE();

// Lets go, then deletes wrkfl and this process's second name where each is a file of this user
// that no other receiver holds; anything else at those names is left alone. Runs, and leaves
// the error state as it was, while an error is pending.
void WRKFL_DL(const char* wrkfl);

#endif
