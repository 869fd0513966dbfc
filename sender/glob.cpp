// File-spec expansion. The matcher is the classic one-star backtracking walk: on a mismatch it
// returns to the last "*" and lets it take one byte more, which is enough for any number of
// stars and never recurses. The list grows by doubling through MEM_REAL.
#include "glob.h"

#include <cstdlib>
#include <cstring>
#include <dirent.h>

#include "ut.h"

char GLOB_MT(const char* name, const char* pat) {
    if (!name) name = "";
    if (!pat) pat = "";
    if (name[0] == '.' && pat[0] != '.') return 0;  // hidden names only by a written "."
    const char* star = nullptr;                     // the pattern just past the last "*" met
    const char* retry = nullptr;                    // where in name that "*" ends for now
    while (*name) {
        if (*pat == '*') {
            star = ++pat;
            retry = name;
        } else if (*pat && (*pat == '?' || *pat == *name)) {
            pat++;
            name++;
        } else if (star) {
            pat = star;
            name = ++retry;
        } else {
            return 0;
        }
    }
    while (*pat == '*') pat++;
    return *pat == 0;
}

char GLOB_OK(const char* s) {
    return s && strpbrk(s, "*?") != nullptr;
}

// Appends path (taken over) to the list of *n paths with room for *room; the list stays
// null-ended. Returns the list to keep; on failure path is freed and the old list returned.
static char** add_path(char** list, uint32_t* n, uint32_t* room, char* path) {
    if (err_) {
        MEM_FR(&path);
        return list;
    }
    if (*n + 1 >= *room) {
        uint32_t more = *room * 2;
        char* grown = MEM_REAL(reinterpret_cast<char*>(list), more * sizeof(char*));
        if (err_) {
            MEM_FR(&path);
            return list;
        }
        list = reinterpret_cast<char**>(grown);
        *room = more;
    }
    list[(*n)++] = path;
    list[*n] = nullptr;
    return list;
}

static int by_name(const void* a, const void* b) {
    return strcmp(*static_cast<char* const*>(a), *static_cast<char* const*>(b));
}

// The entries of dir (null: the working directory) whose names match pat and that are regular
// files, appended to the list as dir + name.
static char** scan(char** list, uint32_t* n, uint32_t* room, const char* dir, const char* pat) {
    DIR* d = opendir(dir ? dir : ".");
    if (!d) return list;
    for (dirent* e; !err_ && (e = readdir(d));) {
        if (!GLOB_MT(e->d_name, pat)) continue;
        char* path = SM_CP(dir ? dir : "", e->d_name, nullptr);
        if (FILE_OK(path, 0))
            list = add_path(list, n, room, path);
        else
            MEM_FR(&path);
    }
    closedir(d);
    return list;
}

char** FSPEC_GLOB(const char* fspec, uint32_t* n) {
    static const char* const rtn = "FSPEC_GLOB";
    uint32_t count = 0, room = 16;
    if (n) *n = 0;
    if (err_) return nullptr;
    char** list = reinterpret_cast<char**>(MEM_AL(room * sizeof(char*)));
    if (!list) {
        RTN_ERR(rtn);
        return nullptr;
    }
    list[0] = nullptr;
    char* pat = FSPEC_FNAM(fspec);
    if (!GLOB_OK(pat)) {
        if (FILE_OK(fspec, 0)) list = add_path(list, &count, &room, S_CP(fspec));
    } else {
        char* dir = FSPEC_DIR(fspec, 1);
        list = scan(list, &count, &room, dir, pat);
        MEM_FR(&dir);
        qsort(list, count, sizeof(char*), by_name);
    }
    MEM_FR(&pat);
    if (RTN_ERR(rtn)) CL_FR(&list);
    if (n && list) *n = count;
    return list;
}
