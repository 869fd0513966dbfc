// Safe placing of a received file: the bytes go straight into a new file beside the destination,
// created exclusively, never through a link, readable by zimb's user only; when complete it is
// synced, given its final mode and renamed over the destination, so the destination is always
// the old file or the new one, whole. Owns the record PLACEDF and the journal zimb.part, a
// one-line file in the working directory naming the file being written, so that a leftover of
// a killed zimb is removed at the next start (PLACE_CLEAN).
// Calling order: PLACE_OP -> PLACE_BF ... -> PLACE_CL (always, also after an error).
#ifndef ZIMB_PLACE_H
#define ZIMB_PLACE_H

#include <cstdint>

extern const char* place_journal;  // "zimb.part"
extern const char* place_prefix;   // ".zimb-part-": the name of every file being written

struct PLACEDF {
    int32_t dfd;       // the destination's directory, held open; -1 when none
    int32_t fd;        // the new file; -1 when none
    char* shown;       // "dir/name" for messages (heap)
    char* name;        // the destination's name in dfd (heap)
    char* part;        // the new file's name in dfd (heap)
    uint32_t mode;     // the mode the file gets when placed
    uint64_t written;  // bytes written so far
    uint64_t flushed;  // bytes whose write-back has been started
};

// Opens the directory dir (below root_fd without following links when root_fd is not -1,
// else as given, links followed, "" the working directory), notes the new file in the journal
// and creates it (mode 0600). The final mode is what a received file always got: 0666 under
// the umask, with 0111 added for names ending in ".sh" or ".bin" (any case). Failures:
// "Refused \"dir/name\": a directory on the way is missing, a link or no directory" under a
// root, the error of DIR_AT otherwise, "Open error on \"dir/name\" (err #N:text)"; PLACE_CL
// must still follow.
void PLACE_OP(PLACEDF* p, int32_t root_fd, const char* dir, const char* name);

// Writes n bytes to the new file; "Write error on \"dir/name\" (err #N:text)" on failure.
// Every few MiB it starts the write-back of what it wrote, so that the sync at the end has
// little left to do.
void PLACE_BF(PLACEDF* p, const char* bf, uint32_t n);

// With place set and no error pending: syncs the new file, gives it its mode and renames it over
// the destination (failures "Write error on", "fchmod", "Rename error on \"dir/name\"", each with
// the system text). In every other case, and after any failure, the new file is removed. Then
// closes everything, clears the journal and frees the record's texts. Runs while an error is
// pending, which stays.
void PLACE_CL(PLACEDF* p, char place);

// Removes the file named by a journal left by a killed zimb (only a name beginning with
// place_prefix), resolved the way PLACE_OP opened it, and the journal. A journal whose writer
// (the process id in the name) still runs is left alone: one journal serves one working
// directory, so zimbs that share one may miss a clean-up but never remove a live file. Errors
// are dropped.
void PLACE_CLEAN(int32_t root_fd);

#endif
