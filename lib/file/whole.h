// Whole-file operations by name: write a buffer to a file in one call, read a file into one
// buffer, empty a file, guess a file's line end, and copy a file's lines into an open record.
// Owns FILE_CRLF's remembered last answer. Records and the cache are lib/file/fl.h's; these open
// and close their own within each call, so nothing stays open after an error.
#ifndef UT_WHOLE_H
#define UT_WHOLE_H

#include "file/fl.h"

// Writes n bytes of bf (n 0xFFFFFFFF: the length of the text bf) to fnam with one fwrite: wtc 2
// appends, any other value creates or truncates (n 0 leaves an empty file). A null bf does
// nothing. Never adds execute bits. Failures: "Open error on \"x\" [BF_FILE]",
// "Write error on \"x\" (cnt=N cnt1=M) [BF_FILE]" (M bytes were written).
void BF_FILE(const char* fnam, const char* bf, unsigned long n, char wtc);

// The whole file in a new buffer of its size + 1 bytes, zero-ended (an empty file: one zero
// byte); the size goes to *sz when sz is not null. Null, and *sz 0, on error (the errors of
// FILE_SZ, FL_OP and FL_BF, then " [FILE_BF]"). Caller frees with MEM_FR.
char* FILE_BF(const char* fnam, unsigned long* sz);

// Empties fnam by opening it for writing and closing it (so FL_CL's execute-bit rule applies).
// create 1 makes it when absent; with create 0 a name that is not a regular file is left alone.
void FILE_CLR(const char* fnam, char create);

// 1 when fnam's lines end in CR LF: a CR before the first LF in its first 512 bytes. A missing,
// empty or line-less file is judged by name: ".sh" (any case) 0, a "." after the first character
// 1, else 0. The answer is remembered by POINTER: the very same fnam pointer as at the last call
// gets the last answer without looking, even if the text behind it has changed. 1 while an
// error is pending.
char FILE_CRLF(const char* fnam);

// Writes every line of the file fnam (read with FL_S, limit fl_s_rcsz) into the open record fd
// with S_FL, so in fd's line end. Errors of either side get " [FILE_WFP]".
void FILE_WFP(const char* fnam, FLDF* fd);

#endif
