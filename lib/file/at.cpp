// Link-safe directory walking with openat. Each component is opened from the one before it, so
// the walk never looks at a name twice; the descriptor of the step before is closed at once.
#include "file/at.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "err/err.h"
#include "text/mem.h"
#include "text/str.h"

static const int dir_flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// The failure of opening path: a missing component reads as a missing directory.
static void raise_at(const char* rtn, const char* path, int number) {
    if (number == ENOENT)
        SM_ERR("Dir \"", path, "\" not found", nullptr);
    else
        OS_ERR(rtn, UT_SM_CP(":\"", path, "\"", nullptr), number);
}

// One component below dfd without following a link; ".." is refused like a link would be.
static int32_t step(int32_t dfd, const char* name) {
    if (strcmp(name, "..") == 0) {
        errno = EPERM;
        return -1;
    }
    return openat(dfd, name, dir_flags | O_NOFOLLOW);
}

int32_t DIR_AT(int32_t dfd, const char* path, char follow) {
    static const char* const rtn = "DIR_AT";
    if (err_) return -1;
    const char* p = path && *path ? path : ".";
    if (follow) {
        int32_t fd = openat(dfd, p, dir_flags);
        if (fd < 0) raise_at(rtn, p, errno);
        return fd;
    }
    char* copy = S_CP(p);
    if (RTN_ERR(rtn)) return -1;
    int32_t fd = openat(dfd, ".", dir_flags);
    char* save = nullptr;
    for (char* c = strtok_r(copy, "/", &save); fd >= 0 && c; c = strtok_r(nullptr, "/", &save)) {
        if (strcmp(c, ".") == 0) continue;
        int32_t next = step(fd, c);
        int number = errno;
        close(fd);
        fd = next;
        errno = number;
    }
    if (fd < 0) raise_at(rtn, p, errno == ELOOP || errno == ENOTDIR ? ENOTDIR : errno);
    MEM_FR(&copy);
    return fd;
}
