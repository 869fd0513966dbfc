// Listening sockets and connection I/O. Keeps no state besides the routine names; the status
// codes are a table from system error numbers. Debug lines are written when sck_dbg is set or
// the debug level is above 1.
#include "net/sck.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "err/dbg.h"
#include "err/err.h"
#include "file/whole.h"
#include "net/host.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"
#include "time/clock.h"

// System error number to status code, with the routines that report it.
static const struct {
    int number;
    uint8_t status;
    char recv;  // reported by SCK_RECV
    char send;  // reported by BF_SCK
} status_codes[] = {
    {ECONNRESET, sck_st_reset, 1, 1},     {ECONNABORTED, sck_st_aborted, 1, 1},
    {ECONNREFUSED, sck_st_refused, 1, 0}, {ENOTCONN, sck_st_notconn, 1, 1},
    {EPIPE, sck_st_pipe, 1, 1},           {EINVAL, sck_st_inval, 0, 1},
    {EHOSTUNREACH, sck_st_unreach, 1, 0},
};

static void set_status(uint8_t* st, uint8_t code) {
    if (st) *st = code;
}

// Writes the status code of a system error number, for a receive or a send.
static void status_of(uint8_t* st, int number, char send) {
    for (const auto& c : status_codes)
        if (c.number == number && (send ? c.send : c.recv)) set_status(st, c.status);
}

static char dbg_on() {
    return sck_dbg || dbg_ > 1;
}

// The one listener behind HOST_SAI_SD and SAI_LSN: SO_REUSEADDR after bind and listen, as the
// receiver has always had it, or (reuse_first) before bind, so that a restarted program can listen
// again at once while old connections of its port linger.
static int32_t listener(const char* rtn, const sockaddr_in* sai, char block, char reuse_first) {
    if (err_) return -1;
    int32_t sd = socket(AF_INET, SOCK_STREAM, 0);
    if (sd < 0) {
        OS_ERR(rtn, ":socket", 0);
        return -1;
    }
    if (!block) SCK_BLOCK(sd, 0);
    if (RTN_ERR(rtn)) {
        SCK_CL(sd);
        return -1;
    }
    int one = 1;
    if (reuse_first && setsockopt(sd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0)
        OS_ERR(rtn, ":setsockopt", 0);
    else if (bind(sd, reinterpret_cast<const sockaddr*>(sai), sizeof(sockaddr_in)) != 0)
        OS_ERR(rtn, ":bind", 0);
    else if (listen(sd, 128) != 0)
        OS_ERR(rtn, ":listen", 0);
    else if (!reuse_first && setsockopt(sd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0)
        OS_ERR(rtn, ":setsockopt", 0);
    if (!err_) return sd;
    char* text = S_CP(ERR_S());
    SCK_CL(sd);
    ERR_S();
    SM_ERR(text, " (", SAI_IP(sai, 1, 0), ")", nullptr);
    MEM_FR(&text);
    return -1;
}

int32_t HOST_SAI_SD(const sockaddr_in* sai, char block) {
    return listener("HOST_SAI_SD", sai, block, 0);
}

int32_t SAI_LSN(const sockaddr_in* sai, char block) {
    return listener("SAI_LSN", sai, block, 1);
}

void SCK_BLOCK(int32_t sd, char block) {
    static const char* const rtn = "SCK_BLOCK";
    if (err_ || sd < 0) return;
    int flags = fcntl(sd, F_GETFL);
    if (flags < 0 || fcntl(sd, F_SETFL, block ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) < 0) {
        OS_ERR(rtn, ":fcntl", 0);
        return;
    }
    if (dbg_on())
        SM_DBG(rtn, ":sd=", V_S10(sd, nullptr, 0), "/", SD_IP(sd, 1, 0),
               " block=", V_S10(block, nullptr, 0), nullptr);
}

int32_t SCK_RECV(int32_t sd, char* bf, uint32_t len, char peek, uint8_t* st) {
    static const char* const rtn = "SCK_RECV";
    if (err_) return 0;
    set_status(st, sck_st_ok);
    if (!bf || len == 0) return 0;
    bf[0] = 0;
    ssize_t got = recv(sd, bf, len, peek ? MSG_PEEK : 0);
    if (got > 0) return static_cast<int32_t>(got);
    int number = got == 0 ? ENOTCONN : errno;
    if (got < 0 && (number == EAGAIN || number == 0)) return 0;  // nothing has arrived yet
    status_of(st, number, 0);
    OS_ERR(rtn, ":recv", number);
    SM_ERRA(" (sd=", V_S10(sd, nullptr, 0), " sai=", SD_PEER_IP(sd, 1, 0), ")", nullptr);
    return 0;
}

char SCK_WAIT(int32_t sd, uint32_t ms) {
    static const char* const rtn = "SCK_WAIT";
    if (err_ || sd < 0) return 0;
    pollfd p = {sd, POLLIN, 0};
    int n = poll(&p, 1, static_cast<int>(ms));
    if (n < 0 && errno != EINTR) OS_ERR(rtn, ":poll", 0);
    return n > 0;
}

// The first bytes of a buffer as escaped text for a debug line: all of it below limit bytes,
// else limit bytes and " ...".
static void dbg_bytes(const char* rtn, const char* head, int32_t sd, const char* bf, uint32_t len,
                      uint16_t limit) {
    uint16_t n = len < limit ? static_cast<uint16_t>(len) : limit;
    SM_DBG(rtn, head, V_S10(sd, nullptr, 0), "/", SD_PEER_IP(sd, 1, 0), ":", BF_BACKSLASH_X(bf, n),
           len < limit ? "" : " ...", nullptr);
}

// The failure text of a stalled send: "<head> (<tmo_word>=T, bfsz=N txsz=M)".
static void raise_stall(const char* head, uint16_t tmo, uint32_t len, uint32_t sent) {
    SM_ERR(head, V_S10(tmo, nullptr, 0), ", bfsz=", V_S10(static_cast<long>(len), nullptr, 0),
           " txsz=", V_S10(static_cast<long>(sent), nullptr, 0), ")", nullptr);
}

// One pass of the send loop after send() accepted nothing: decides whether to give up (raise)
// or to wait 5 ms and try again. waited_ms counts from the start of the call.
static void stalled(ssize_t got, int number, uint16_t tmo, uint32_t len, uint32_t sent, uint32_t t0,
                    uint8_t* st) {
    uint32_t secs = EL_SECS(t0, 0xFFFFFFFF);
    if (got < 0 && number == EAGAIN) {
        if (secs >= tmo) {
            raise_stall("send BLOCKED (txtmo=", tmo, len, sent);
            set_status(st, sck_st_blocked);
        }
    } else if (got < 0) {
        status_of(st, number, 1);
        OS_ERR("send", "", number);
    } else if (tmo == 0 && sent == 0) {
        S_ERR("send BLOCKED?");
        set_status(st, sck_st_blocked);
    } else if (tmo == 0 ? EL_MS(t0, 0xFFFFFFFF) > 9000 : secs >= tmo) {
        raise_stall("txtmo (tmo=", tmo, len, sent);
    }
    if (!err_) SLEEP_MS(5);
}

char BF_SCK(int32_t sd, const char* bf, uint32_t len, uint8_t* st, uint16_t tmo) {
    static const char* const rtn = "BF_SCK";
    uint32_t t0 = TIC_C();
    if (err_) return 0;
    set_status(st, sck_st_ok);
    if (!bf || !bf[0]) return 1;
    if (len == 0xFFFFFFFF) len = S_SZ(bf);
    if (tmo == 0xffff) tmo = sck_tx_tmo;
    if (dbg_on()) dbg_bytes(rtn, ":sd=", sd, bf, len, 256);
    uint32_t sent = 0;
    int number = 0;
    while (sent < len && !err_) {
        // MSG_NOSIGNAL: a closed peer fails with EPIPE even before SCK_SYS_OP ignored SIGPIPE.
        ssize_t got = send(sd, bf + sent, len - sent, MSG_NOSIGNAL);
        number = got < 0 ? errno : 0;
        if (got <= 0) {
            stalled(got, number, tmo, len, sent, t0, st);
            continue;
        }
        sent += static_cast<uint32_t>(got);
        if (dbg_ > 2 || (tmo && EL_SECS(t0, 0xFFFFFFFF) >= tmo))
            SM_DBG(rtn, ": sendcnt=", V_S10(got, nullptr, 0),
                   " txsz=", V_S10(static_cast<long>(sent), nullptr, 0),
                   " bfsz=", V_S10(static_cast<long>(len), nullptr, 0), nullptr);
    }
    if (!err_) return 1;
    if (!sck_dbg && number == EAGAIN) {
        RTN_ERR(rtn);
        return 0;
    }
    char* text = UT_S_CP(ERR_S());
    char echo = dbg_vd;
    dbg_vd = 0;
    dbg_bytes(rtn, ":ERROR: sd=", sd, bf, len, 80);
    dbg_vd = echo;
    S_ERR(text);
    RTN_ERR(rtn);
    return 0;
}

char S_SCK(int32_t sd, const char* s, uint8_t* st, uint16_t tmo) {
    static const char* const rtn = "S_SCK";
    if (err_) return 0;
    BF_SCK(sd, s, 0xFFFFFFFF, st, tmo);
    return !RTN_ERR(rtn);
}

char SM_SCK(int32_t sd, uint8_t* st, uint16_t tmo, const char* s1, ...) {
    static const char* const rtn = "SM_SCK";
    if (err_) return 0;
    set_status(st, sck_st_ok);
    if (!s1) return 1;
    va_list ap, count;
    va_start(ap, s1);
    va_copy(count, ap);
    size_t sum = strlen(s1);
    for (const char* s; (s = va_arg(count, const char*));) sum += strlen(s);
    va_end(count);
    char* bf = nullptr;
    if (sum > 0xfffe)
        S_ERR("String overflow");
    else if ((bf = MEM_AL(sum + 1))) {
        char* end = stpcpy(bf, s1);
        for (const char* s; (s = va_arg(ap, const char*));) end = stpcpy(end, s);
    }
    va_end(ap);
    if (bf) BF_SCK(sd, bf, static_cast<uint32_t>(sum), st, tmo);
    MEM_FR(&bf);
    return !RTN_ERR(rtn);
}

char B_SCK(int32_t sd, char c, uint8_t* st) {
    static const char* const rtn = "B_SCK";
    if (err_) return 0;
    const char one[2] = {c, 0};
    BF_SCK(sd, one, 1, st, 0xffff);
    return !RTN_ERR(rtn);
}

char FILE_SCK(int32_t sd, const char* fnam, uint8_t* st, uint16_t tmo) {
    static const char* const rtn = "FILE_SCK";
    if (err_) return 0;
    if (dbg_on()) SM_DBG(rtn, ":sd=", SD_PEER_IP(sd, 1, 0), " fnam=", fnam, nullptr);
    unsigned long sz = 0;
    char* bf = FILE_BF(fnam, &sz);
    if (RTN_ERR(rtn)) return 0;
    BF_SCK(sd, bf, static_cast<uint32_t>(sz), st, tmo);
    MEM_FR(&bf);
    RTN_ERR(rtn);
    return 1;  // the caller tests err_: a failed send still answers 1
}

void SCK_LINGER(int32_t sd, uint16_t secs) {
    static const char* const rtn = "SCK_LINGER";
    if (err_ || sd < 0) return;
    linger l = {secs != 0, secs};
    if (setsockopt(sd, SOL_SOCKET, SO_LINGER, &l, sizeof l) != 0) {
        OS_ERR(rtn, ":setsockopt", 0);
        return;
    }
    if (dbg_on())
        SM_DBG(rtn, ":sd=", V_S10(sd, nullptr, 0), "/", SD_IP(sd, 1, 0),
               " tmo=", V_S10(secs, nullptr, 0), nullptr);
}

void SCK_CL(int32_t sd) {
    if (sd < 0) return;
    if (dbg_on()) SM_DBG("SCK_CL", ":sd=", V_S10(sd, nullptr, 0), "/", SD_IP(sd, 1, 0), nullptr);
    close(sd);
}
