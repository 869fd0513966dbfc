// The debug log: one append-only text file, "dbg.log" in the working directory, of time-stamped
// lines, optionally echoed to the console through a replaceable callback; and UT_ERR_DMP, the
// standard way to report a pending error to the user. Owns the log's settings and state.
// Writing never disturbs the caller's error state and never recurses; the first write of a
// process empties the file; a file grown past dbg_log_mxsz is backed up into ./bk/ and restarted.
#ifndef UT_DBG_H
#define UT_DBG_H

#include <cstdint>

typedef char (*dbg_callback_fn)(char start, char end, char* text);

extern char dbg_;                   // debug level: 0 off; subsystems log more at higher levels
extern char dbg_vd;                 // 1: log lines are echoed through the callback too
extern const char* dbg_log;         // log file name, "dbg.log"
extern uint32_t dbg_log_mxsz;       // size that starts a new file (5000000); 0 never
extern uint16_t s_dbg_spacer_secs;  // a pause this long (2 s) puts a blank line first; 0 never
extern const char* dbg_tm_fmt;      // time-stamp template for TM_S, "00:00:00 "; null: none
extern const char* dbg_pgm;         // put after the time stamp, with ":", when set
extern char dbg_fst;                // 1 until the first write, which empties the log
extern char s_dbg_ut_callback_def;  // 1: the first write installs S_DBG_UT_CALLBACK
extern dbg_callback_fn s_dbg_ut_callback;  // console echo, or null
extern char dbg_active;       // 1 while a write is in progress (a nested write is refused)
extern char S_DBG_UT_lstend;  // 1 when the last write ended its line
extern uint32_t s_dbg_tic;    // tick of the last write, 4294967295 before the first

// The one writer. start: the text begins a line (gets the time stamp and dbg_pgm); end: it ends
// the line. Nothing while an error is pending; a nested call prints "S_DBG_UT RECURSION:" and
// writes nothing. A failed write leaves its error pending with " txt=" and the line appended.
void S_DBG_UT(char start, char end, const char* text);

// The pieces (at most 49, ended by a null pointer) joined, then S_DBG_UT.
void SM_DBG_UT(char start, char end, const char* piece, ...) __attribute__((sentinel));

// One whole line (null counts as ""). A pending error is logged first as "DBGERR:" + its text,
// and is still pending, unchanged, afterwards.
void S_DBG(const char* text);

// The pieces (at most 49) joined as one line, as S_DBG.
void SM_DBG(const char* piece, ...) __attribute__((sentinel));

// The one character c, with no time stamp and no line end.
void B_DBG(char c);

// The default console echo: prints text (null as "") to standard output, ending an open line
// first when start is set and ending its own line when end is set. Prints nothing while an
// error is pending or with daemon_op. Returns end (start when it printed nothing).
char S_DBG_UT_CALLBACK(char start, char end, char* text);

// Reports the pending error: logs its text (with " [name]" appended when name is given), and
// when the console has not seen it through the echo, rings the bell and prints "err=<line>" on
// standard error. Returns 1 with the error cleared; 0 when none was pending.
char UT_ERR_DMP(const char* name);

#endif
