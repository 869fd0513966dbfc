// Opening directories relative to a directory held open, one component at a time, so that a
// path taken from outside cannot be steered elsewhere by a symbolic link, even one swapped in
// while it is in use. Owns no state; the descriptors it returns are the caller's to close.
// Every function returns its negative value at once while an error is pending.
#ifndef UT_AT_H
#define UT_AT_H

#include <cstdint>

// Opens the directory path below the directory dfd (AT_FDCWD for the working directory); an
// empty or null path opens dfd's own directory again. follow 1 opens it as the system would
// (links followed, ".." allowed); follow 0 walks it component by component with O_NOFOLLOW
// and O_DIRECTORY: a link, a ".." component or a component that is no directory fails. Empty
// and "." components are skipped, so a leading "/" stays below dfd too. Returns the descriptor
// (caller closes it), or -1 with "Dir \"path\" not found" or "DIR_AT:\"path\" (err #N:text)";
// nothing stays open then.
int32_t DIR_AT(int32_t dfd, const char* path, char follow);

#endif
