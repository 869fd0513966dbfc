// File status, modes and names. The kind messages of FILE_OK and the delete-error suffixes are
// tables scanned by one loop. Writing goes through BF_FILE (lib/file/whole.h) and the search path
// through the walker of lib/file/path.h; everything else is a thin layer over stat, lstat, chmod,
// remove, rename and statfs.
#include "file/stat.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/stat.h>
#include <sys/statfs.h>

#include "err/dbg.h"
#include "err/err.h"
#include "file/path.h"
#include "file/whole.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"

namespace {

// What FILE_OK says about a name that is there but is no regular file, by its type bits.
struct Kind {
    mode_t type;
    const char* says;
};
const Kind kinds[] = {
    {S_IFDIR, "\" is a dir"},  {S_IFCHR, "\" is a character dvc"},
    {S_IFIFO, "\" is a pipe"}, {S_IFBLK, "\" is a block dvc"},
    {S_IFLNK, "\" is a link"}, {S_IFSOCK, "\" is a socket"},
};

// The suffix of "Delete error on" by the cause of the failed remove.
struct Cause {
    int no;
    const char* says;
};
const Cause causes[] = {
    {ENOENT, " (file not found)"},
    {EACCES, " (readonly)"},
    {EPERM, " (readonly)"},
    {EROFS, " (readonly)"},
};

}  // namespace

// The name as messages and the system see it: a null name is the empty one.
static const char* named(const char* fnam) {
    return fnam ? fnam : "";
}

// 1 when stat (or lstat, with link) of fnam succeeds.
static char status(const char* fnam, struct stat* st, char link) {
    return (link ? lstat(fnam, st) : stat(fnam, st)) == 0;
}

// The text FILE_OK raises for a name that is not a regular file: found 0 means not there at all.
static const char* kind_says(const struct stat* st, char found) {
    if (!found) return "\" not found";
    for (const Kind& k : kinds)
        if ((st->st_mode & S_IFMT) == k.type) return k.says;
    return "\" is not a regular file";
}

// The free (avail 1) or total block count of "/"'s file system, low ten bits cleared.
static uint32_t drive_blocks(const char* rtn, char avail) {
    if (err_) return 0;
    struct statfs fs;
    if (statfs("/", &fs) != 0) {
        OS_ERR(rtn, ":statfs", 0);
        return 0;
    }
    unsigned long blocks = avail ? fs.f_bavail : fs.f_blocks;
    return static_cast<uint32_t>(blocks & 0xFFFFFC00UL);
}

char FILE_OK(const char* fnam, char must) {
    if (err_) return 0;
    fnam = named(fnam);
    struct stat st;
    char found = status(fnam, &st, 0);
    if (found && S_ISREG(st.st_mode)) return 1;
    if (must) SM_ERR("\"", fnam, kind_says(&st, found), nullptr);
    return 0;
}

char DIR_OK(const char* fnam, char must) {
    if (err_) return 0;
    fnam = named(fnam);
    struct stat st;
    char found = status(fnam, &st, 0);
    if (found && S_ISDIR(st.st_mode)) return 1;
    if (must && found) SM_ERR("\"", fnam, "\" is not dir", nullptr);
    if (must && !found) SM_ERR("Dir \"", fnam, "\" not found", nullptr);
    return 0;
}

char LINK_OK(const char* fnam, char must) {
    if (err_) return 0;
    fnam = named(fnam);
    struct stat st;
    if (status(fnam, &st, 1) && S_ISLNK(st.st_mode)) return 1;
    if (must) SM_ERR("Link \"", fnam, "\" not found", nullptr);
    return 0;
}

char ANY_FILE_OK(const char* fnam, char must) {
    if (err_) return 0;
    fnam = named(fnam);
    struct stat st;
    if (status(fnam, &st, 0)) return 1;
    if (must) SM_ERR("\"", fnam, "\" not found", nullptr);
    return 0;
}

uint32_t FILE_SZ(const char* fnam, char must) {
    if (err_) return 0;
    fnam = named(fnam);
    struct stat st;
    if (status(fnam, &st, 0)) return static_cast<uint32_t>(st.st_size);
    FILE_OK(fnam, must);
    return 0;
}

uint32_t FILE_MODE(const char* fnam) {
    static const char* const rtn = "FILE_MODE";
    if (err_) return 0;
    struct stat st;
    fnam = named(fnam);
    if (status(fnam, &st, 0)) return st.st_mode;
    SM_ERR("\"", fnam, "\" not found", nullptr);
    RTN_ERR(rtn);
    return 0;
}

void MODE_FILE(unsigned long mode, const char* fnam) {
    if (err_) return;
    fnam = named(fnam);
    if (chmod(fnam, static_cast<mode_t>(mode)) == 0) return;
    SM_ERR("chmod failure (file=\"", fnam, "\", mode=", V_S16(mode, nullptr, nullptr), ")",
           nullptr);
}

char FILE_DL(const char* fnam, char must) {
    static const char* const rtn = "FILE_DL";
    if (err_) return 0;
    if (!fnam) {
        SM_ERR(rtn, ":fnam=NULL", nullptr);
        return 0;
    }
    if (dbg_ > 1) SM_DBG(rtn, ":", fnam, nullptr);
    if (remove(fnam) == 0) return 1;
    int no = errno;
    if (no == ENOENT && !must) return 0;
    const char* says = "";
    for (const Cause& c : causes)
        if (c.no == no) says = c.says;
    SM_ERR("Delete error on \"", fnam, "\"", says, nullptr);
    return 0;
}

char FILE_NEWER(const char* f1, const char* f2) {
    static const char* const rtn = "FILE_NEWER";
    if (err_) return 0;
    ANY_FILE_OK(f1, 1);
    ANY_FILE_OK(f2, 1);
    if (RTN_ERR(rtn)) return 0;
    struct stat s1, s2;
    status(f1, &s1, 0);
    status(f2, &s2, 0);
    return s1.st_mtime > s2.st_mtime;
}

void FILE_UTM(const char* fnam, UTMDF* t, char link) {
    static const char* const rtn = "FILE_UTM";
    if (err_) return;
    fnam = named(fnam);
    struct stat st;
    if (!status(fnam, &st, link)) {
        SM_ERR("Open error on \"", fnam, "\"", nullptr);
        RTN_ERR(rtn);
        return;
    }
    if (t) MTM_UTM(st.st_mtime, t);
}

void MTM_UTM(long secs, UTMDF* t) {
    time_t when = secs;
    struct tm tm;
    localtime_r(&when, &tm);
    t->year = static_cast<uint16_t>(tm.tm_year + 1900);
    t->month = static_cast<uint8_t>(tm.tm_mon + 1);
    t->day = static_cast<uint8_t>(tm.tm_mday);
    t->wday = static_cast<uint8_t>(tm.tm_wday + 1);
    t->hour = static_cast<uint8_t>(tm.tm_hour);
    t->minute = static_cast<uint8_t>(tm.tm_min);
    t->second = static_cast<uint8_t>(tm.tm_sec);
    t->ms = 0;
}

void FILE_REN(const char* f0, const char* f1) {
    static const char* const rtn = "FILE_REN";
    if (err_) return;
    // Bad names stand alone: there is no pair of names to show.
    if (!f0) SM_ERR(rtn, ":fnam0=NULL", nullptr);
    if (!f1) SM_ERR(rtn, ":fnam1=NULL", nullptr);
    if (f0 && !*f0) SM_ERR(rtn, ":fnam0=(empty)", nullptr);
    if (f1 && !*f1) SM_ERR(rtn, ":fnam1=(empty)", nullptr);
    if (err_) return;
    if (FILE_OK(f0, 1) && !S_MT(f0, f1, 1, 1, 0, 0)) {
        if (FILE_OK(f1, 0))
            SM_ERR("\"", f1, "\" already exists", nullptr);
        else if (rename(f0, f1) != 0)
            S_ERR("rename failure");
    }
    if (err_) SM_ERRA(" (", f0, " -> ", f1, ")", nullptr);
    RTN_ERR(rtn);
}

char* FIND_FILE(const char* fnam, char must) {
    static const char* const rtn = "FIND_FILE";
    if (err_) return nullptr;
    fnam = named(fnam);
    if (strchr(fnam, '/')) {  // a path, not a program name: as the shell does
        if (FILE_OK(fnam, 0)) return S_CP(fnam);
    } else if (*fnam) {
        PTHDF pd;
        PTH_OP(&pd);
        for (const char* dir = PTH_S(&pd); dir; dir = PTH_S(&pd)) {
            const char* sep = dir[strlen(dir) - 1] == '/' ? "" : dir_dlms;
            char* cand = SM_CP(dir, sep, fnam, nullptr);
            if (FILE_OK(cand, 0)) {
                PTH_CL(&pd);
                return cand;
            }
            MEM_FR(&cand);
        }
        PTH_CL(&pd);
        if (RTN_ERR(rtn)) return nullptr;
    }
    if (must) SM_ERR("\"", fnam, "\" not found in path", nullptr);
    return nullptr;
}

void S_FILE(const char* fnam, const char* s, char wtc) {
    static const char* const rtn = "S_FILE";
    if (err_) return;
    char* line = SM_CP(s ? s : "", FILE_CRLF(fnam) ? "\r\n" : "\n", nullptr);
    BF_FILE(fnam, line, 0xFFFFFFFFUL, wtc);
    MEM_FR(&line);
    RTN_ERR(rtn);
}

char* FSPEC_DIR(const char* fspec, char keep) {
    if (err_ || !fspec) return nullptr;
    const char* last = strrchr(fspec, dir_dlm);
    if (!last) return nullptr;
    return S_X(fspec, 0, static_cast<unsigned long>(last - fspec) + (keep ? 1 : 0));
}

char* FSPEC_FNAM(const char* fspec) {
    if (err_ || !fspec) return nullptr;
    const char* last = strrchr(fspec, dir_dlm);
    return S_CP(last ? last + 1 : fspec);
}

char* FILE_EXT(const char* fnam) {
    if (err_ || !fnam) return nullptr;
    const char* dot = strrchr(fnam, '.');
    return dot ? S_CP(dot + 1) : nullptr;
}

char* FILE_LESS_EXT(char* fnam) {
    if (err_ || !fnam) return nullptr;
    const char* dot = strrchr(fnam, '.');
    return dot ? S_X(fnam, 0, static_cast<unsigned long>(dot - fnam)) : fnam;
}

char* EXT_FL(const char* fnam, const char* ext) {
    static const char* const rtn = "EXT_FL";
    if (err_ || !fnam) return nullptr;
    uint16_t dot = FND_B('.', fnam, 0, 65535, 1);
    char* stem = dot == 65535 ? S_CP(fnam) : S_X(fnam, 0, dot);
    char* name = S_A(stem, ext);
    if (RTN_ERR(rtn)) MEM_FR(&name);
    return name;
}

uint32_t AVAIL_DRV(char drv) {
    static const char* const rtn = "AVAIL_DRV";
    (void)drv;
    return drive_blocks(rtn, 1);
}

uint32_t TOTAL_DRV(char drv) {
    static const char* const rtn = "TOTAL_DRV";
    (void)drv;
    return drive_blocks(rtn, 0);
}
