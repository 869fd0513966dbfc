// Running shell commands: S_EXE and its piece-list and hidden forms, and S_EXE_ERR, the channel by
// which a child program built on this library reports an error to the parent that ran it. Owns
// the globals below. A command has failed exactly when it left error text behind (its standard
// error, caught in "/var/tmp/s_exe_stderr" N ".tmp", or the file s_exe_err_fl); its exit status is
// not looked at, so a command that fails silently counts as a success.
// The shell is /bin/sh. Only bash's "sh: line 1: " head is cut from its messages; dash (Debian's
// /bin/sh) writes an unknown command as "sh: 1: nonexistent-command: not found", which stays whole.
#ifndef UT_EXE_H
#define UT_EXE_H

extern const char* s_exe_err_fl;  // "s_exe.err": error reports of child programs, in the cwd
extern char s_exe_tst;            // 1: commands are printed with puts, not run
extern char s_exe_log;            // 1: a debug line for each command even while dbg_ is 0
extern char s_exe_hide;           // 1 during S_EXE_HIDE; S_EXE itself does not look at it

// Runs cmd (trailing blanks cut) through system(). A first word of four or more characters ending
// in ".EXE" (any case) gets "wine " in front. Unless cmd ends in "&" or holds " 2>", its standard
// error goes to the first capture file that can be deleted beforehand (at most 10,000 tried, then
// none). dsp prints the command as run, with "\r\n", unless daemon_op. Any error text raises
// "S_EXE:" text " (cmd=" command as run ")", its line ends turned into blanks, the text cut to
// its first 8,192 bytes (so the message always fits in a string); an "ls " command's
// "No such file or directory" is no failure. s_exe.err is deleted before and after. Null cmd:
// nothing.
void S_EXE(char dsp, const char* cmd);

// S_EXE of the pieces joined (at most 49, ended by a null pointer); an empty list runs nothing.
void SM_EXE(char dsp, const char* s1, ...) __attribute__((sentinel));

// S_EXE (0, cmd) with s_exe_hide set to 1 for the run (its old value is put back after).
void S_EXE_HIDE(const char* cmd);

// S_EXE_HIDE of the pieces joined (at most 49, ended by a null pointer).
void SM_EXE_HIDE(const char* s1, ...) __attribute__((sentinel));

// For a child program: prints s and "\n" on standard error and a bell (7) on standard output
// unless daemon_op, then appends s and a line end to s_exe_err_fl. Runs while an error is
// pending, which stays pending (the usual call passes err_msg); a failed write raises only when
// none was pending.
void S_EXE_ERR(const char* s);

#endif
