// Placing through a held directory: openat, renameat and unlinkat on the record's dfd, so that
// the name written, renamed and removed is always in the directory that was checked. The journal
// is written before the new file exists and removed after it is gone or placed; a failure to
// write the journal costs only the clean-up at the next start, so it is dropped.
#include "place.h"

#include <cerrno>
#include <fcntl.h>  // and sync_file_range
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "ut.h"

const char* place_journal = "zimb.part";
const char* place_prefix = ".zimb-part-";
static const uint64_t flush_step = 8 << 20;  // bytes between starts of the write-back

// Raises "<head>"dir/name" (err #N:text)" from errno.
static void raise_on(const char* head, const PLACEDF* p) {
    OS_ERR(UT_SM_CP(head, p->shown, qt_, nullptr), "", 0);
}

static uint32_t final_mode(const char* name) {
    mode_t mask = umask(0);
    umask(mask);
    uint32_t mode = 0666 & ~mask;
    if (S_END_MT(name, ".sh", 0, 1, 0) || S_END_MT(name, ".bin", 0, 1, 0)) mode |= 0111;
    return mode;
}

void PLACE_OP(PLACEDF* p, int32_t root_fd, const char* dir, const char* name) {
    static const char* const rtn = "PLACE_OP";
    *p = PLACEDF{-1, -1, nullptr, nullptr, nullptr, 0, 0, 0};
    if (err_) return;
    p->shown = *dir ? SM_CP(dir, dir_dlms, name, nullptr) : S_CP(name);
    p->name = S_CP(name);
    p->part = SM_CP(place_prefix, V_S10(getpid(), nullptr, 0), nullptr);
    p->mode = final_mode(name);
    p->dfd = DIR_AT(root_fd < 0 ? AT_FDCWD : root_fd, dir, root_fd < 0);
    if (err_ && root_fd >= 0) {
        ERR_S();
        SM_ERR("Refused \"", BF_BACKSLASH_X(p->shown, 65535),
               "\": a directory on the way is missing, a link or no directory", nullptr);
    }
    if (RTN_ERR(rtn)) return;
    BF_FILE(place_journal, *dir ? UT_SM_CP(dir, dir_dlms, p->part, nullptr) : p->part, 0xFFFFFFFF,
            1);
    ERR_S();
    p->fd = openat(p->dfd, p->part, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (p->fd < 0) raise_on(open_err_on, p);
    RTN_ERR(rtn);
}

void PLACE_BF(PLACEDF* p, const char* bf, uint32_t n) {
    if (err_) return;
    while (n > 0) {
        ssize_t w = write(p->fd, bf, n);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) {
            if (w == 0) errno = ENOSPC;
            raise_on(write_err_on, p);
            return;
        }
        bf += w;
        n -= static_cast<uint32_t>(w);
        p->written += static_cast<uint64_t>(w);
    }
    if (p->written - p->flushed < flush_step) return;
    sync_file_range(p->fd, static_cast<off_t>(p->flushed),
                    static_cast<off_t>(p->written - p->flushed), SYNC_FILE_RANGE_WRITE);
    p->flushed = p->written;  // a failure here shows at the sync that places the file
}

// Syncs, sets the mode, closes and renames; the first failure raises and stops.
static void place(PLACEDF* p) {
    if (fsync(p->fd) != 0) {
        raise_on(write_err_on, p);
    } else if (fchmod(p->fd, p->mode) != 0) {
        raise_on("fchmod \"", p);
    } else {
        int rc = close(p->fd);
        p->fd = -1;
        if (rc != 0)
            raise_on(write_err_on, p);
        else if (renameat(p->dfd, p->part, p->dfd, p->name) != 0)
            raise_on("Rename error on \"", p);
        else
            fsync(p->dfd);  // the new name survives a crash too
    }
}

void PLACE_CL(PLACEDF* p, char place_it) {
    static const char* const rtn = "PLACE_CL";
    char pending = err_;
    if (p->fd >= 0 && place_it && !err_) place(p);
    if (p->fd >= 0) close(p->fd);
    if (p->dfd >= 0 && (p->fd >= 0 || err_ || !place_it)) unlinkat(p->dfd, p->part, 0);
    if (p->dfd >= 0) close(p->dfd);
    if (p->dfd >= 0) {
        PSH_ERR();
        FILE_DL(place_journal, 0);
        ERR_S();
        POP_ERR();
    }
    if (!pending) RTN_ERR(rtn);
    MEM_FR(&p->shown);
    MEM_FR(&p->name);
    MEM_FR(&p->part);
    *p = PLACEDF{-1, -1, nullptr, nullptr, nullptr, 0, 0, 0};
}

void PLACE_CLEAN(int32_t root_fd) {
    if (err_ || !FILE_OK(place_journal, 0)) return;
    char* path = FILE_BF(place_journal, nullptr);
    char* dir = FSPEC_DIR(path, 0);
    char* base = FSPEC_FNAM(path);
    char ours = base && BF_MT(base, place_prefix, 65535, 1, 1, 0);
    pid_t pid = ours ? static_cast<pid_t>(atol(base + strlen(place_prefix))) : 0;
    char writing = pid > 0 && pid != getpid() && kill(pid, 0) == 0;  // another zimb, still busy
    if (ours && !writing) {
        int32_t dfd = DIR_AT(root_fd < 0 ? AT_FDCWD : root_fd, dir, root_fd < 0);
        if (dfd >= 0) unlinkat(dfd, base, 0);
        if (dfd >= 0) close(dfd);
    }
    ERR_S();
    if (!writing) FILE_DL(place_journal, 0);
    ERR_S();
    MEM_FR(&path);
    MEM_FR(&dir);
    MEM_FR(&base);
}
