// The debug log. Owns the log's settings, its state and the console echo's own line state. The
// file is written through the file layer by name (nothing is held open between writes), the
// time stamp comes from the time layer, rotation from the backup of the file layer. dbg_ is
// cleared while a line is written, so that the layers below do not log into the log.
#include "err/dbg.h"

#include <cstdarg>
#include <cstdio>

#include "err/err.h"
#include "file/mv.h"
#include "file/stat.h"
#include "file/whole.h"
#include "text/mem.h"
#include "text/str.h"
#include "time/clock.h"
#include "time/tmtext.h"

char dbg_ = 0;
char dbg_vd = 1;
const char* dbg_log = "dbg.log";
uint32_t dbg_log_mxsz = 5000000;
uint16_t s_dbg_spacer_secs = 2;
const char* dbg_tm_fmt = "00:00:00 ";
const char* dbg_pgm = nullptr;
char dbg_fst = 1;
char s_dbg_ut_callback_def = 1;
dbg_callback_fn s_dbg_ut_callback = nullptr;
char dbg_active = 0;
char S_DBG_UT_lstend = 1;
uint32_t s_dbg_tic = 0xFFFFFFFF;

static const uint16_t backups = 10;

static void echo(char start, char end, char* text) {
    if (dbg_vd && s_dbg_ut_callback) s_dbg_ut_callback(start, end, text);
}

// The first write of a process: an empty log, and the default echo if wanted.
static void first_write() {
    FILE_CLR(dbg_log, 0);
    if (s_dbg_ut_callback_def) s_dbg_ut_callback = S_DBG_UT_CALLBACK;
    dbg_fst = 0;
}

// What goes before the text of a new line: the end of an open line, a blank line after a
// pause, and the line's own prefix (time stamp, program). Returns the prefix (caller frees).
static char* start_line() {
    if (!S_DBG_UT_lstend) {
        S_FILE(dbg_log, "", 2);
        echo(0, 1, nullptr);
    }
    if (s_dbg_spacer_secs && s_dbg_tic != 0xFFFFFFFF &&
        EL_SECS(s_dbg_tic, 0xFFFFFFFF) >= s_dbg_spacer_secs) {
        S_FILE(dbg_log, "", 2);
        echo(1, 1, nullptr);
    }
    char* line = nullptr;
    if (dbg_tm_fmt) {
        TM_RD(nullptr);
        line = S_CP(TM_S(nullptr, dbg_tm_fmt));
    }
    if (dbg_pgm) line = SM_A(line, dbg_pgm, ":", nullptr);
    return line;
}

// Backs a log grown past its limit up and deletes it; failures here are swallowed.
static void rotate() {
    if (err_ || !dbg_log_mxsz || FILE_SZ(dbg_log, 0) <= dbg_log_mxsz) return;
    char* backup = FILE_BK(dbg_log, backups);
    MEM_FR(&backup);
    FILE_DL(dbg_log, 0);
    ERR_S();
}

void S_DBG_UT(char start, char end, const char* text) {
    if (err_) return;
    if (dbg_active) {
        if (!daemon_op) printf("\a\a\aS_DBG_UT RECURSION:%s\n", text ? text : "");
        return;
    }
    dbg_active = 1;
    char level = dbg_;
    dbg_ = 0;
    if (dbg_fst) first_write();
    char* line = start ? start_line() : nullptr;
    line = S_A(line, text);
    if (end)
        S_FILE(dbg_log, line, 2);
    else
        BF_FILE(dbg_log, line, 0xFFFFFFFF, 2);
    if (err_) SM_ERRA(" txt=", line ? line : "", nullptr);
    echo(start, end, line);
    rotate();
    MEM_FR(&line);
    s_dbg_tic = TIC_C();
    S_DBG_UT_lstend = end;
    dbg_active = 0;
    dbg_ = level;
}

void SM_DBG_UT(char start, char end, const char* piece, ...) {
    if (err_) return;
    va_list ap;
    va_start(ap, piece);
    char* joined = SM_CP_VA(piece, ap);
    va_end(ap);
    S_DBG_UT(start, end, joined);
    MEM_FR(&joined);
}

// Saves a pending error for the length of a log call and logs it as "DBGERR:" + its text.
// Returns 1 when an error was saved and must be restored with POP_ERR.
static char save_error() {
    if (!err_) return 0;
    uint16_t depth = psh_err_cnt;
    PSH_ERR();
    if (psh_err_cnt == depth) return 0;  // the stack is full: the error stays pending
    char* line = SM_CP("DBGERR:", err_msg, nullptr);
    S_DBG_UT(1, 1, line);
    MEM_FR(&line);
    return 1;
}

void S_DBG(const char* text) {
    char saved = save_error();
    S_DBG_UT(1, 1, text ? text : "");
    if (saved) POP_ERR();
}

void SM_DBG(const char* piece, ...) {
    char saved = save_error();
    va_list ap;
    va_start(ap, piece);
    char* joined = SM_CP_VA(piece, ap);
    va_end(ap);
    S_DBG_UT(1, 1, joined ? joined : "");
    MEM_FR(&joined);
    if (saved) POP_ERR();
}

void B_DBG(char c) {
    static char one[2];
    one[0] = c;
    S_DBG_UT(0, 0, one);
}

char S_DBG_UT_CALLBACK(char start, char end, char* text) {
    static char lstend = 1;
    if (err_ || daemon_op) return start;
    if (start && !lstend) printf("\n");
    printf("%s", text ? text : "");
    if (end) printf("\n");
    fflush(stdout);
    lstend = end;
    return end;
}

char UT_ERR_DMP(const char* name) {
    if (!err_) return 0;
    const char* text = ERR_S();
    char* line = name ? SM_CP(text, " [", name, "]", nullptr) : S_CP(text);
    S_DBG(line);
    if (err_) {
        if (!daemon_op) printf("%s [%s]\n", err_msg, "UT_ERR_DMP");
        ERR_S();
    }
    if (!daemon_op && !(dbg_vd && s_dbg_ut_callback)) {
        putchar(7);
        fflush(stdout);
        fprintf(stderr, "err=%s\n", line ? line : "");
    }
    MEM_FR(&line);
    return 1;
}
