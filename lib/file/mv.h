// Moving, copying and backing up files by name. Owns bk_dir and bk_dir1. A regular file is never
// renamed: it is read whole into memory, written to the destination, and (for a move) the source
// is deleted; the destination then gets the source's times (to the second) and mode. This works
// the same across file systems. Anything else (a directory, a link, a device, or a destination
// that is not a regular file) goes to the shell ("mv -f", "cp -p -f -d") through lib/file/exe.h.
// The shell commands put each name in double quotes, with a backslash before each $ ` " \ (the
// four bytes the shell still reads there), so every name reaches the shell exactly as it is.
// The copy holds a file in one 32-bit count: a larger source is refused and stays.
#ifndef UT_MV_H
#define UT_MV_H

#include <cstdint>

extern const char* bk_dir;   // "./bk": the backup directory
extern const char* bk_dir1;  // "./bk/": the same with its separator, to build backup names

// Moves fnam0 onto fnam1, replacing it; the same text twice, or two names of one file ("a" and
// "./a", or a hard link) does nothing. Errors: a null or empty name alone ("FILE_MV:fnam0=NULL",
// "...=(empty)"); else "\"x\" not found", "\"x\" is too large to copy (N bytes)" (4 GiB and
// more), an OS error "stat", "utime", "chmod", a copy or shell error, each followed by
// " (fnam0 -> fnam1) [FILE_MV]". A failed or refused copy leaves the source in place (the
// destination may be partly written); once written, the source is gone even if times or mode
// fail. A directory moved, or moved onto, ends in the error "\"fnam1\" is a dir" although the
// shell did the move.
void FILE_MV(const char* fnam0, const char* fnam1);

// Copies fnam0 onto fnam1 as FILE_MV moves (messages with "FILE_CP"); the source is never touched.
// A destination ending in ":" (a device) gets no times or mode. A shell copy must leave fnam1 as
// something or a link, else "Link \"fnam1\" not found". Links are copied as links.
void FILE_CP(const char* fnam0, const char* fnam1);

// FILE_CP; when that fails, "mkdir" for each directory prefix of fnam1 holding a "/" and one more
// FILE_CP, whose error stands (with " [FILE_CPD]"). A first relative component ("a" of "a/b/c")
// is never created, so "a/b/c" needs "a" to exist; "./a/b/c" creates "./a" and "./a/b".
void FILE_CPD(const char* fnam0, const char* fnam1);

// Copies the regular file fnam into the next of gens backup generations, bk_dir1 + its name
// without directory + "." + n, and deletes generation n + 1 (0 after the last), so that the ring
// always has one gap marking the oldest place: gens 10 keeps up to nine. gens 0 or 1 deletes the
// backup just made. Returns the backup's name (caller frees with MEM_FR); null when fnam is no
// regular file (no error) or on failure (bk_dir not made: "mkdir (err #N:text) [FILE_BK]").
char* FILE_BK(const char* fnam, uint16_t gens);

// Deletes the backups of fnam from generation 0 up to the first one missing; later generations
// beyond a gap of the ring stay.
void FILE_BK_DL(const char* fnam);

#endif
