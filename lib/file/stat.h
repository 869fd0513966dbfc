// Small operations on named files: existence tests by kind, size, mode bits and modification time,
// changing the mode, deleting, renaming, finding a program on the search path, writing a one-line
// file, and cutting names into directory, name and extension. No state of its own; status comes
// from stat (links followed) except where lstat is named. Buffered record I/O is lib/file/fl.h,
// whole-file reads and writes lib/file/whole.h. Every function returns its negative value at once
// while an error is pending. Names returned are heap strings: the caller frees them with MEM_FR.
#ifndef UT_STAT_H
#define UT_STAT_H

#include <cstdint>

#include "time/clock.h"

// 1 when fnam is a regular file (links followed); a null fnam counts as "". Else 0, and with must
// the error naming the kind found: "\"x\" is a dir" (" is a character dvc", " is a pipe",
// " is a block dvc", " is a link", " is a socket", " is not a regular file") or "\"x\" not found".
char FILE_OK(const char* fnam, char must);

// 1 when fnam is a directory. Else 0; with must "\"x\" is not dir" when something else of that name
// exists, "Dir \"x\" not found" when nothing does.
char DIR_OK(const char* fnam, char must);

// 1 when lstat shows a symbolic link. Else 0; with must "Link \"x\" not found" (also for a name
// that exists but is no link).
char LINK_OK(const char* fnam, char must);

// 1 when anything of that name exists (links followed: a dangling link does not). Else 0; with
// must "\"x\" not found".
char ANY_FILE_OK(const char* fnam, char must);

// Size in bytes of any kind of file (cut to 32 bits). On failure 0, and with must the error that
// FILE_OK (fnam, 1) gives, with no trail of its own.
uint32_t FILE_SZ(const char* fnam, char must);

// The whole mode word (type and permission bits). Failure: "\"x\" not found [FILE_MODE]" and 0.
uint32_t FILE_MODE(const char* fnam);

// chmod of fnam to mode. Failure: "chmod failure (file=\"x\", mode=1ed)", the mode in hexadecimal.
void MODE_FILE(unsigned long mode, const char* fnam);

// Deletes fnam (a file or an empty directory); 1 on success, else 0. A missing file with must 0
// answers 0 quietly; every other failure is "Delete error on \"x\"" plus " (file not found)" or
// " (readonly)" for a permission refusal. A null fnam is "FILE_DL:fnam=NULL".
char FILE_DL(const char* fnam, char must);

// 1 when f1 was modified in a later second than f2; equal seconds answer 0. Both must exist:
// else the error of ANY_FILE_OK (.., 1) with " [FILE_NEWER]", and 0.
char FILE_NEWER(const char* f1, const char* f2);

// Fills *t (when t is not null) with fnam's modification time in local time, ms 0; link 1 takes
// the link itself (lstat). Failure: "Open error on \"x\" [FILE_UTM]", *t untouched.
void FILE_UTM(const char* fnam, UTMDF* t, char link);

// Breaks a file time in seconds of the epoch down into *t in local time: year, month 1-12, day,
// weekday 1-7 (1 = Sunday), hour, minute, second, ms 0. Shared by FILE_UTM and FL_OP.
void MTM_UTM(long secs, UTMDF* t);

// Renames the regular file f0 to f1 on the same file system; the same text twice does nothing.
// Failures: "FILE_REN:fnam0=NULL" (fnam1, and "=(empty)") alone; then the error of FILE_OK (f0, 1),
// "\"f1\" already exists" when f1 is a regular file, or "rename failure", each followed by
// " (f0 -> f1) [FILE_REN]". Neither file is touched on failure.
void FILE_REN(const char* f0, const char* f1);

// Copy of the first "dir/fnam" over the directories of PATH, in order, that is a regular file.
// A name holding a "/" is not searched: it is tried as given. None found: null, and with must
// "\"x\" not found in path". Caller frees with MEM_FR.
char* FIND_FILE(const char* fnam, char must);

// Writes s (null: nothing) and a line end to fnam with BF_FILE (wtc 2 appends, else truncates);
// the line end is "\r\n" when FILE_CRLF (fnam) answers 1, else "\n".
void S_FILE(const char* fnam, const char* s, char wtc);

// The part of fspec before its last "/", with that "/" when keep is 1. Null when there is no "/"
// or fspec is null or empty. Caller frees with MEM_FR.
char* FSPEC_DIR(const char* fspec, char keep);

// The part of fspec after its last "/"; a copy of all of it when there is none; null for null.
// Caller frees with MEM_FR.
char* FSPEC_FNAM(const char* fspec);

// The part after the last "." anywhere in fnam, a directory part included ("a.b.c" gives "c",
// "d.d/f" gives "d/f"); null when there is none.
// Caller frees with MEM_FR.
char* FILE_EXT(const char* fnam);

// The part before the last "." as a new string (caller frees with MEM_FR). With no "." (or an
// empty fnam) fnam itself comes back, not a copy: the caller must then NOT free the result.
// Compare the result with fnam to know which. Null for null.
char* FILE_LESS_EXT(char* fnam);

// fnam cut at its first "." and followed by ext (which carries its own "."); with no "." simply
// fnam + ext. Null for a null fnam. Caller frees with MEM_FR.
char* EXT_FL(const char* fnam, const char* ext);

// Available (AVAIL_DRV), total (TOTAL_DRV) blocks of the file system of "/", ANDed with
// 0xFFFFFC00; drv is ignored. Failure: "AVAIL_DRV:statfs (err #N:text)" and 0.
uint32_t AVAIL_DRV(char drv);
uint32_t TOTAL_DRV(char drv);

#endif
