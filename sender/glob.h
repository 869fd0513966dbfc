// zast's file-spec expansion: the shell's "*" (any run) and "?" (any one byte) in the last
// component of a path, matched with backtracking against the entries of the file-spec's directory.
// Only regular files count (links followed), listed in byte order of their names. Owns nothing:
// the list it returns is the caller's, freed with CL_FR (a text list). The directory part is taken
// as written, wild bytes and all.
#ifndef ZAST_GLOB_H
#define ZAST_GLOB_H

#include <cstdint>

// 1 when the whole of name matches the whole of pat: "*" any run (the empty one too), "?" any
// one byte, every other byte itself, case counted. As in the shell, a name's leading "." is
// matched only by a "." written in pat. Null counts as "".
char GLOB_MT(const char* name, const char* pat);

// 1 when s holds "*" or "?".
char GLOB_OK(const char* s);

// The regular files fspec names, as a null-ended list of paths (the directory part as written,
// then the name), sorted by name; *n (may be null) gets their count. A spec without wild bytes
// names itself. Nothing found, or a directory that cannot be read: a list holding only the end
// null, and no error. Null on an allocation failure (raised). Caller frees with CL_FR.
char** FSPEC_GLOB(const char* fspec, uint32_t* n);

#endif
