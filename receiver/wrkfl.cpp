// The receiver's work file: the lock that gives one receiver a name at a time, and the checks
// that keep a link, a FIFO or another user's file planted at the name from being written. The
// file's content is left to the file layer, which writes it by name; these checks make that safe
// because /var/tmp is sticky: a file of ours there cannot be renamed or replaced by anyone else.
#include "wrkfl.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ut.h"

namespace {

// What a name holds when it is no regular file, by its type bits.
struct Kind {
    mode_t type;
    const char* says;
};
const Kind kinds[] = {
    {S_IFLNK, "a symbolic link"}, {S_IFIFO, "a FIFO"},   {S_IFDIR, "a directory"},
    {S_IFCHR, "a device"},        {S_IFBLK, "a device"}, {S_IFSOCK, "a socket"},
};

int held = -1;          // the descriptor whose lock holds the name taken, -1 for none
char* own_name;         // this process's second name; made once, kept
const int retries = 3;  // opens of one name that another receiver's delete may undo

}  // namespace

static const char* second_name(const char* wrkfl) {
    if (!own_name) own_name = SM_CP(wrkfl, ".", V_S10(getpid(), nullptr, 0), nullptr);
    return own_name;
}

// Why st cannot be the work file; null when it is a regular file of ours with no other link.
static const char* unfit(const struct stat* st) {
    for (const Kind& k : kinds)
        if ((st->st_mode & S_IFMT) == k.type) return k.says;
    if (!S_ISREG(st->st_mode)) return "no regular file";
    if (st->st_uid != geteuid()) return "another user's file";
    if (st->st_nlink != 1) return "a file with other links";
    return nullptr;
}

static void refuse(const char* rtn, const char* name, const char* why) {
    SM_ERR(rtn, ":\"", name, "\" is ", why, ", not a file of zimb's own: not used as work file",
           nullptr);
}

// Opens name without following a link or waiting on a FIFO, creating it with create, and locks
// it. The descriptor; -1 when it is missing (without create) or another receiver holds it, or
// with the error raised.
static int open_locked(const char* rtn, const char* name, char create) {
    int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (create ? O_CREAT : 0);
    int fd = open(name, flags, 0666);
    if (fd < 0) {
        if (errno != ENOENT || create) OS_ERR(rtn, UT_SM_CP(":open \"", name, "\"", nullptr), 0);
        return -1;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return fd;
    int number = errno;
    close(fd);
    if (number != EWOULDBLOCK) OS_ERR(rtn, UT_SM_CP(":flock \"", name, "\"", nullptr), number);
    return -1;
}

// open_locked for a name that is, before and after the open, a file fit to be the work file;
// an unfit one is refused with the error raised, and never opened when it was unfit before.
static int take(const char* rtn, const char* name, char create) {
    struct stat st, now;
    for (int i = 0; i < retries; i++) {
        const char* why = lstat(name, &st) == 0 ? unfit(&st) : nullptr;
        int fd = why ? -1 : open_locked(rtn, name, create);
        if (fd >= 0 && !why) why = fstat(fd, &st) == 0 ? unfit(&st) : "unreadable";
        if (why) {
            if (fd >= 0) close(fd);
            refuse(rtn, name, why);
            return -1;
        }
        if (fd < 0) return -1;
        // The holder before us may have deleted the name after we opened it: then ours is a
        // lock on a file no longer there.
        if (lstat(name, &now) == 0 && now.st_dev == st.st_dev && now.st_ino == st.st_ino) return fd;
        close(fd);
    }
    SM_ERR(rtn, ":\"", name, "\" keeps being replaced", nullptr);
    return -1;
}

const char* WRKFL_CLAIM(const char* wrkfl) {
    static const char* const rtn = "WRKFL_CLAIM";
    if (err_) return nullptr;
    WRKFL_FREE();
    const char* names[] = {wrkfl, second_name(wrkfl)};
    for (const char* name : names) {
        held = take(rtn, name, 1);
        if (held >= 0) return name;
        if (err_) return nullptr;
    }
    SM_ERR(rtn, ":\"", wrkfl, "\" and \"", own_name, "\" are in use by other receivers", nullptr);
    return nullptr;
}

void WRKFL_FREE() {
    if (held >= 0) close(held);
    held = -1;
}

void WRKFL_DL(const char* wrkfl) {
    static const char* const rtn = "WRKFL_DL";
    WRKFL_FREE();
    PSH_ERR();
    const char* names[] = {wrkfl, second_name(wrkfl)};
    for (const char* name : names) {
        int fd = take(rtn, name, 0);
        if (fd >= 0) unlink(name);  // while locked: no other receiver is writing it
        if (fd >= 0) close(fd);
        ERR_S();
    }
    POP_ERR();
}
