// The check of a received path under --root: the directory field and the name are read as
// relative to the root, and what could leave it, or could not be a file name, is refused before
// anything is written. Owns the table of refusals. Links are not judged here: the placing opens
// the directory component by component without following any (DIR_AT, lib/file/at.h).
#ifndef ZIMB_ROOTPATH_H
#define ZIMB_ROOTPATH_H

// The directory field relative to the root, leading "/" dropped ("/opt/app" gives "opt/app",
// "" and "/" give ""), as a new string (caller frees with MEM_FR). Refused, with null and the
// error "Refused \"dir/name\": why" (control bytes shown as \xNN): an empty name, a name "." or
// "..", a name holding "/", a control byte (below 32, or 127) in either field, a ".." component
// in the directory.
char* ROOT_REL(const char* destdir, const char* fnam);

#endif
