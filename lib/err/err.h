// The process-wide error state: the flag err_, its text err_msg, the last operating-system error
// number os_err, and the 10-deep error stack. Nothing in the library returns an error code: a
// failing function raises here and returns a neutral value; callers test err_ once at the end of a
// sequence and clear it with ERR_S. Only this file's functions touch the state directly.
// Calling order: raise (S_ERR, SM_ERR, OS_ERR) -> extend (RTN_ERR, S_ERRA) -> read and clear
// (ERR_S). The first error wins: while one is pending, further raises are ignored.
#ifndef UT_ERR_H
#define UT_ERR_H

#include <cstdint>

extern char err_;               // 1 while an error is pending, else 0
extern char* err_msg;           // text of the pending or the last error; owned here, never freed
                                // by callers; stays readable after ERR_S until the next raise
extern int32_t os_err;          // last system error number worked into a text by OS_ERR
extern char* psh_err_msgs[10];  // saved texts of the error stack, one slot per depth
extern uint16_t psh_err_cnt;    // pushes not yet popped, 0..10
extern char daemon_op;          // 1: no console; the library then prints nothing

// Raises "Mem alloc failure" from a static text, without allocating: for when memory ran out
// even for the message. Nothing while an error is pending.
void NOMEM_ERR();

// Raises text as the error unless one is pending. A null or empty text raises "(null)".
void S_ERR(const char* text);

// Raises the pieces joined (at most 49; a null piece ends the list) unless an error is pending.
// A null first piece raises the empty text.
void SM_ERR(const char* piece, ...) __attribute__((sentinel));

// Appends text to err_msg and sets the flag, whether or not an error was pending: called with
// none pending it revives the last, cleared text with the addition. Null or empty text only sets
// the flag.
void S_ERRA(const char* text);

// S_ERRA for each piece in turn (at most 49). A null first piece does nothing at all.
void SM_ERRA(const char* piece, ...) __attribute__((sentinel));

// If an error is pending: appends " [" name "]" to its text and returns 1. Else returns 0.
// Every function with a name of its own calls it after each call that can fail.
char RTN_ERR(const char* name);

// Clears the pending error and returns its text; null when none was pending. The text belongs to
// the error state: do not free or keep it, it is valid until the next error is raised.
char* ERR_S();

// Saves and clears the pending error (one level, at most 10 deep; an 11th push does nothing and
// leaves the error pending); err_msg stays readable as a copy. POP_ERR restores what the matching
// push saved: a saved error replaces anything raised since; with nothing saved, the state is
// left as it is. A push whose copy fails leaves that failure pending; its pop still restores.
void PSH_ERR();
void POP_ERR();

// The error state set aside, for work that runs in the middle of another routine's update (the
// allocation trace, a number formatted for a message) and must leave the state as it found it.
// HOLD_ERR detaches flag and text: the state is clear, with no text. BACK_ERR puts them back:
// a held pending error returns exactly, the same pointer, and what was raised in between is
// dropped; with none held, an error raised in between stays pending (it is the newer) and the
// held old text is freed. Neither allocates, and nothing runs in between but the caller's work.
struct ERRSDF {
    char err;
    char* msg;
};
void HOLD_ERR(ERRSDF* held);
void BACK_ERR(const ERRSDF* held);

// Raises "name detail (err #N:system text)", or "err #N:system text" with a null name, from
// code, or from errno (read first) when code is 0. A null name with no error number raises
// nothing and returns 0; with a name and no number it raises just name+detail and returns 0.
// Returns the error number, or 1 without changing anything when an error is already pending.
long OS_ERR(const char* name, const char* detail, long code);

// 1 when the pointer is not null (the text is not looked at).
char ST_OK(const char* s);

#endif
