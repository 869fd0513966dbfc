// Moving, copying and backing up files. Owns bk_dir and bk_dir1. FILE_MV and FILE_CP are one
// worker with a move flag: regular files are copied through memory (lib/file/whole.h), everything
// else goes to the shell (lib/file/exe.h) and is judged by the existence tests of
// lib/file/stat.h afterwards.
#include "file/mv.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <utime.h>

#include "err/dbg.h"
#include "err/err.h"
#include "file/exe.h"
#include "file/stat.h"
#include "file/whole.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"

const char* bk_dir = "./bk";
const char* bk_dir1 = "./bk/";

static const unsigned long long max_copy = 0xFFFFFFFF;  // FILE_BF and BF_FILE count in 32 bits
static const char shell_active[] = "$`\"\\";            // what still acts inside double quotes

// New copy of name for the inside of a double-quoted shell word: each of $ ` " \ gets a
// backslash, so that the shell reads the name exactly as it is. Caller frees.
static char* quoted(const char* name) {
    char* q = nullptr;
    for (const char* c = name; *c && !err_; c++) {
        if (strchr(shell_active, *c)) q = B_A(q, '\\');
        q = B_A(q, *c);
    }
    return q;
}

// Debug line and name checks of a move or copy. 0 (error raised, no pair added: there is no pair
// to show) when a name is null or empty.
static char names_ok(const char* rtn, const char* f0, const char* f1) {
    if (dbg_ > 1) SM_DBG(rtn, ":", f0, " -> ", f1, nullptr);
    if (!f0) SM_ERR(rtn, ":fnam0=NULL", nullptr);
    if (!f1) SM_ERR(rtn, ":fnam1=NULL", nullptr);
    if (f0 && !*f0) SM_ERR(rtn, ":fnam0=(empty)", nullptr);
    if (f1 && !*f1) SM_ERR(rtn, ":fnam1=(empty)", nullptr);
    return !err_;
}

// lstat of the source into *st; 0 with "\"x\" not found" or the OS error "stat" on failure.
static char source_stat(const char* f0, struct stat* st) {
    if (lstat(f0, st) == 0) return 1;
    if (errno == ENOENT)
        SM_ERR("\"", f0, "\" not found", nullptr);
    else
        OS_ERR("stat", nullptr, 0);
    return 0;
}

// 1 when f1 is missing or a regular file itself (a link is not followed): a destination that
// the copy through memory may write. *same: f1 is the source's own inode (a hard link, or "a"
// and "./a"); writing it would truncate the source before reading it.
static char plain_target(const char* f1, const struct stat* src, char* same) {
    struct stat st;
    if (lstat(f1, &st) != 0) return 1;
    *same = st.st_dev == src->st_dev && st.st_ino == src->st_ino;
    return S_ISREG(st.st_mode);
}

// Gives f1 the access and modification times and the permission bits recorded in *st.
static void take_times_mode(const char* f1, const struct stat* st) {
    struct utimbuf times = {st->st_atime, st->st_mtime};
    if (utime(f1, &times) != 0) OS_ERR("utime", nullptr, 0);
    if (chmod(f1, st->st_mode & 07777) != 0) OS_ERR("chmod", nullptr, 0);
}

// Writes the whole of the regular file f0 (status *st) over f1; with move, deletes f0 once the
// write succeeded. Times and mode follow unless f1 names a device ("...:") for a copy.
static void copy_regular(const char* f0, const char* f1, const struct stat* st, char move) {
    if (static_cast<unsigned long long>(st->st_size) > max_copy) {
        SM_ERR("\"", f0, "\" is too large to copy (",
               V_S10(static_cast<long>(st->st_size), nullptr, 0), " bytes)", nullptr);
        return;  // the copy would be cut to 32 bits: the source must stay
    }
    unsigned long sz;
    char* bf = FILE_BF(f0, &sz);
    BF_FILE(f1, bf, sz, 1);
    MEM_FR(&bf);
    if (err_) return;  // the source stays where it is
    if (move) FILE_DL(f0, 0);
    if (move || !S_END_MT(f1, ":", 1, 1, 0)) take_times_mode(f1, st);
}

// The shell's move or copy, judged afterwards by what stands at f1: a move needs a regular file
// there, a copy anything or a link (a copied dangling link counts).
static void shell_transfer(const char* f0, const char* f1, char move) {
    const char* how = move ? "mv -f \"" : "cp -p -f -d \"";
    char* q0 = quoted(f0);
    char* q1 = quoted(f1);
    SM_EXE_HIDE(how, q0, "\" \"", q1, "\" > /dev/null", nullptr);
    MEM_FR(&q0);
    MEM_FR(&q1);
    if (move)
        FILE_OK(f1, 1);
    else if (!ANY_FILE_OK(f1, 0))
        LINK_OK(f1, 1);
}

// FILE_MV (move 1) and FILE_CP (move 0).
static void transfer(const char* rtn, const char* f0, const char* f1, char move) {
    if (!names_ok(rtn, f0, f1) || S_MT(f0, f1, 1, 1, 0, 0)) return;
    struct stat st;
    char same = 0;
    if (source_stat(f0, &st)) {
        if (!S_ISREG(st.st_mode) || !plain_target(f1, &st, &same))
            shell_transfer(f0, f1, move);
        else if (!same)
            copy_regular(f0, f1, &st, move);
    }
    if (err_) SM_ERRA(" (", f0, " -> ", f1, ")", nullptr);
    RTN_ERR(rtn);
}

// Creates, with the shell, each directory prefix of fnam that holds a "/" itself; failures (an
// existing directory, mostly) are cleared.
static void make_dirs(const char* fnam) {
    uint16_t len = S_SZ(fnam);
    for (uint16_t i = 1; i < len; i++) {
        if (fnam[i] != dir_dlm) continue;
        char* prefix = S_X(fnam, 0, i);
        if (FND_B(dir_dlm, prefix, 0, 65535, 1) != 65535) {
            if (dbg_ > 1) SM_DBG("mkdir ", prefix, nullptr);
            char* q = quoted(prefix);
            SM_EXE_HIDE("mkdir \"", q, "\"", nullptr);
            MEM_FR(&q);
        }
        ERR_S();
        MEM_FR(&prefix);
    }
}

// New name of backup generation n of the file named base (no directory). Caller frees.
static char* backup_name(const char* base, long n) {
    return SM_CP(bk_dir1, base, ".", V_S10(n, nullptr, 0), nullptr);
}

// 1 when backup generation n of base exists as a regular file.
static char backup_exists(const char* base, long n) {
    char* name = backup_name(base, n);
    char ok = FILE_OK(name, 0);
    MEM_FR(&name);
    return ok;
}

void FILE_MV(const char* fnam0, const char* fnam1) {
    static const char* const rtn = "FILE_MV";
    if (err_) return;
    transfer(rtn, fnam0, fnam1, 1);
}

void FILE_CP(const char* fnam0, const char* fnam1) {
    static const char* const rtn = "FILE_CP";
    if (err_) return;
    transfer(rtn, fnam0, fnam1, 0);
}

void FILE_CPD(const char* fnam0, const char* fnam1) {
    static const char* const rtn = "FILE_CPD";
    if (err_) return;
    if (dbg_ > 1) SM_DBG(fnam0, " -> ", fnam1, nullptr);
    FILE_CP(fnam0, fnam1);
    if (!err_) return;
    ERR_S();
    make_dirs(fnam1);
    if (dbg_ > 1) SM_DBG(fnam0, " -> ", fnam1, " (RETRY)", nullptr);
    FILE_CP(fnam0, fnam1);
    RTN_ERR(rtn);
}

char* FILE_BK(const char* fnam, uint16_t gens) {
    static const char* const rtn = "FILE_BK";
    if (err_ || !FILE_OK(fnam, 0)) return nullptr;
    if (!DIR_OK(bk_dir, 0) && mkdir(bk_dir, 0777) != 0) {
        OS_ERR("mkdir", nullptr, 0);
        RTN_ERR(rtn);
        return nullptr;
    }
    char* base = FSPEC_FNAM(fnam);
    long n = 0;
    while (n < gens && backup_exists(base, n)) n++;
    if (n == gens) n = 0;  // all there (or no generations): the ring starts over
    char* bk = backup_name(base, n);
    FILE_CP(fnam, bk);
    char* next = backup_name(base, n + 1 < gens ? n + 1 : 0);
    FILE_DL(next, 0);  // the gap the next call will fill
    MEM_FR(&next);
    MEM_FR(&base);
    if (RTN_ERR(rtn)) MEM_FR(&bk);
    return bk;
}

void FILE_BK_DL(const char* fnam) {
    static const char* const rtn = "FILE_BK_DL";
    if (err_ || !fnam) return;
    char* base = FSPEC_FNAM(fnam);
    char gone = 1;
    for (long n = 0; gone && !err_; n++) {
        char* bk = backup_name(base, n);
        gone = FILE_DL(bk, 0);
        MEM_FR(&bk);
    }
    MEM_FR(&base);
    RTN_ERR(rtn);
}
