// The reuse-first listener and the readiness wait. Errors follow HOST_SAI_SD's shape, so that a
// console shows either one the same way.
#include "net/lsn.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

#include "err/err.h"
#include "net/host.h"
#include "net/sck.h"
#include "text/mem.h"
#include "text/str.h"

int32_t SAI_LSN(const sockaddr_in* sai, char block) {
    static const char* const rtn = "SAI_LSN";
    if (err_) return -1;
    int32_t sd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sd < 0) {
        OS_ERR(rtn, ":socket", 0);
        return -1;
    }
    int one = 1;
    if (setsockopt(sd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0)
        OS_ERR(rtn, ":setsockopt", 0);
    else if (bind(sd, reinterpret_cast<const sockaddr*>(sai), sizeof(sockaddr_in)) != 0)
        OS_ERR(rtn, ":bind", 0);
    else if (listen(sd, 128) != 0)
        OS_ERR(rtn, ":listen", 0);
    if (!err_ && !block) SCK_BLOCK(sd, 0);
    if (!err_) return sd;
    char* text = S_CP(ERR_S());
    SCK_CL(sd);
    ERR_S();
    SM_ERR(text, " (", SAI_IP(sai, 1, 0), ")", nullptr);
    MEM_FR(&text);
    return -1;
}

char SCK_WAIT(int32_t sd, uint32_t ms) {
    static const char* const rtn = "SCK_WAIT";
    if (err_ || sd < 0) return 0;
    pollfd p = {sd, POLLIN, 0};
    int n = poll(&p, 1, static_cast<int>(ms));
    if (n < 0 && errno != EINTR) OS_ERR(rtn, ":poll", 0);
    return n > 0;
}
