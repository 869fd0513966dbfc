// Shell command execution and the child-to-parent error file. Owns s_exe_err_fl and the S_EXE
// flags. The command line is built in steps (trim, "wine " prefix, capture redirection), run with
// system(), and whatever error text it left is gathered from errno, the capture file or
// s_exe_err_fl, in that order. File work goes through lib/file/stat.h and lib/file/fl.h.
#include "file/exe.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "err/dbg.h"
#include "err/err.h"
#include "file/fl.h"
#include "file/stat.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"

const char* s_exe_err_fl = "s_exe.err";
char s_exe_tst = 0;
char s_exe_log = 0;
char s_exe_hide = 0;

static const long max_capture = 10000;  // a bound only a broken /var/tmp could reach
static const char* const capture_head = "/var/tmp/s_exe_stderr";
static const char* const bash_head = "sh: line 1: ";
static const uint16_t max_text = 8192;  // error text kept of a command; the rest is dropped
// Line ends, longest first, so that "\r\n" becomes one blank and not two.
static const char* const line_ends[] = {"\r\n", "\r", "\n"};

// 1 when the first word of line (up to the first blank) is a Windows program: longer than three
// characters and ending in ".EXE", in any case. A line starting with a blank has none.
static char windows_program(const char* line) {
    uint16_t len = FND_B(' ', line, 0, 65535, 1);
    if (len == 65535) len = S_SZ(line);
    if (line[0] == ' ' || len <= 3) return 0;
    return BF_MT(line + len - 4, ".EXE", 4, 0, 1, 0);
}

// New name of the first capture file that could be deleted or was not there; null when none of
// max_capture could (the command then runs without one).
static char* capture_file() {
    for (long n = 0; n < max_capture; n++) {
        char* name = SM_CP(capture_head, V_S10(n, nullptr, 0), ".tmp", nullptr);
        if (err_) return nullptr;
        FILE_DL(name, 0);
        if (!err_) return name;
        ERR_S();  // someone else's file: try the next number
        MEM_FR(&name);
    }
    return nullptr;
}

// The command as it will run: cmd trimmed, with "wine " in front for a Windows program and the
// capture redirection behind. *cap gets the capture file (heap) or null. Null on failure.
static char* command_line(const char* cmd, char** cap) {
    *cap = nullptr;
    char* line = S_CP(cmd);
    if (err_) return nullptr;
    RM_TRL(line);
    if (windows_program(line)) {
        char* wine = SM_CP("wine ", line, nullptr);
        MEM_FR(&line);
        if (err_) return nullptr;
        line = wine;
    }
    uint16_t end;
    if (!S_END_MT(line, "&", 0, 1, 0) && FND_TXT(" 2>", cmd, 0, 65535, 0, 1, 0, &end) == 65535)
        *cap = capture_file();
    if (*cap) line = S_A(S_A(line, " 2>"), *cap);
    if (err_) {
        MEM_FR(&line);
        MEM_FR(cap);
    }
    return line;
}

// The first max_text bytes of fnam as a new text (heap; null for none): an error message
// needs no more, and however much a command wrote, the message must still fit in a string.
static char* text_head(const char* fnam) {
    if (FILE_SZ(fnam, 0) == 0) return nullptr;
    char* text = MEM_AL(max_text + 1UL);
    FLDF* fd = FL_OP(fnam, 0, 0, 0, nullptr);
    uint32_t got = FL_BF(fd, text, static_cast<unsigned long>(max_text), 0);
    FL_CL(fd, 1);
    if (text) text[got == 0xFFFFFFFF ? 0 : got] = 0;
    if (err_) MEM_FR(&text);
    return text;
}

// What the finished command left behind as error text (heap), or null for none.
static char* error_text(const char* cmd, const char* cap, int no) {
    if (no != 0) return S_CP(strerror(no));
    if (!cap || FILE_SZ(cap, 0) == 0) return text_head(s_exe_err_fl);
    char* text = text_head(cap);
    uint16_t end;
    if (text && strncmp(cmd, "ls ", 3) == 0 &&
        FND_TXT("No such file or directory", text, 0, 65535, 0, 1, 0, &end) != 65535)
        MEM_FR(&text);  // a listing of nothing is no failure
    if (text && strncmp(text, bash_head, 12) == 0) memmove(text, text + 12, strlen(text + 12) + 1);
    return text;
}

// Raises "S_EXE:" text " (cmd=" line ")" with text on one line; text is freed.
static void raise_text(const char* rtn, char* text, const char* line) {
    for (const char* e : line_ends) text = C_TXT(text, e, " ", 1, 0);
    RM_TRL(text);
    SM_ERR(rtn, ":", text ? text : "", " (cmd=", line, ")", nullptr);
    MEM_FR(&text);
}

void S_EXE(char dsp, const char* cmd) {
    static const char* const rtn = "S_EXE";
    if (err_ || !cmd) return;
    if (s_exe_tst) {
        if (!daemon_op) puts(cmd);
        return;
    }
    char* cap;
    char* line = command_line(cmd, &cap);
    if (RTN_ERR(rtn)) return;
    char* text = nullptr;
    FILE_DL(s_exe_err_fl, 0);
    if (!err_) {
        if (dbg_ || s_exe_log) SM_DBG(rtn, ":cmd=", line, " dsp=", V_S10(dsp, nullptr, 0), nullptr);
        if (dsp && !daemon_op) printf("%s\r\n", line);
        fflush(nullptr);  // what was printed before must not come after the command's output
        errno = 0;
        int status = system(line);  // the status says nothing: only error text counts
        int no = errno;
        (void)status;
        text = error_text(cmd, cap, no);
    }
    if (cap) FILE_DL(cap, 0);
    RTN_ERR(rtn);
    FILE_DL(s_exe_err_fl, 0);
    const char* why = ERR_S();
    if (why && !text) text = S_CP(why);
    if (text) raise_text(rtn, text, line);
    MEM_FR(&cap);
    MEM_FR(&line);
}

void SM_EXE(char dsp, const char* s1, ...) {
    if (err_) return;
    va_list ap;
    va_start(ap, s1);  // on the first piece: va_start on a promoted char is undefined
    char* cmd = SM_CP_VA(s1, ap);
    va_end(ap);
    S_EXE(dsp, cmd);
    MEM_FR(&cmd);
}

void S_EXE_HIDE(const char* cmd) {
    if (err_) return;
    char old = s_exe_hide;
    s_exe_hide = 1;
    S_EXE(0, cmd);
    s_exe_hide = old;
}

void SM_EXE_HIDE(const char* s1, ...) {
    if (err_) return;
    va_list ap;
    va_start(ap, s1);
    char* cmd = SM_CP_VA(s1, ap);
    va_end(ap);
    S_EXE_HIDE(cmd);
    MEM_FR(&cmd);
}

void S_EXE_ERR(const char* s) {
    if (!daemon_op) {
        fprintf(stderr, "%s\n", s ? s : "");
        putchar(7);
        fflush(stdout);
    }
    PSH_ERR();  // the report is written even while (usually because) an error is pending
    S_FILE(s_exe_err_fl, s, 2);
    POP_ERR();
}
