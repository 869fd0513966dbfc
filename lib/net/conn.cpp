// Client connections. Keeps no state besides the routine names; the status codes are a table
// from system error numbers. Every wait is a poll or a socket time-out with a bound, and every
// send passes MSG_NOSIGNAL, so a closed peer is an error, never a signal.
#include "net/conn.h"

#include <cerrno>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "err/err.h"
#include "net/host.h"
#include "net/sck.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"
#include "time/clock.h"

// System error number to status code, for every call of this file.
static const struct {
    int number;
    uint8_t status;
} status_codes[] = {
    {ECONNREFUSED, sck_st_refused}, {EHOSTUNREACH, sck_st_unreach}, {ENETUNREACH, sck_st_nonet},
    {ETIMEDOUT, sck_st_tmo},        {ECONNRESET, sck_st_reset},     {ECONNABORTED, sck_st_aborted},
    {ENOTCONN, sck_st_notconn},     {EPIPE, sck_st_pipe},
};

static void set_status(uint8_t* st, uint8_t code) {
    if (st) *st = code;
}

static void status_of(uint8_t* st, int number) {
    for (const auto& c : status_codes)
        if (c.number == number) set_status(st, c.status);
}

// Raises "<rtn>:<what> timed out after N s" with the status code (the caller appends its details).
static void raise_tmo(const char* rtn, const char* what, uint16_t tmo, uint8_t* st, uint8_t code) {
    SM_ERR(rtn, what, " timed out after ", V_S10(tmo, nullptr, 0), " s", nullptr);
    set_status(st, code);
}

// Waits up to ms milliseconds for events on sd, through signals. 1 when they came, 0 when the
// time ran out, -1 with errno set when poll failed.
static int wait_for(int32_t sd, short events, int ms) {
    pollfd p = {sd, events, 0};
    int rc;
    while ((rc = poll(&p, 1, ms)) < 0 && errno == EINTR) {}
    return rc;
}

// The outcome of a non-blocking connect in progress: 0 when connected, else an error number
// (ETIMEDOUT when tmo seconds passed first).
static int connected(int32_t sd, uint16_t tmo) {
    int rc = wait_for(sd, POLLOUT, tmo ? tmo * 1000 : -1);
    if (rc < 0) return errno;
    if (rc == 0) return ETIMEDOUT;
    int number = 0;
    socklen_t len = sizeof number;
    if (getsockopt(sd, SOL_SOCKET, SO_ERROR, &number, &len) != 0) return errno;
    return number;
}

// Keep-alive probes on sd: after 15 s without traffic, every 5 s, 4 unanswered end it.
static void keep_alive(int32_t sd) {
    static const int settings[][3] = {
        {SOL_SOCKET, SO_KEEPALIVE, 1},
        {IPPROTO_TCP, TCP_KEEPIDLE, 15},
        {IPPROTO_TCP, TCP_KEEPINTVL, 5},
        {IPPROTO_TCP, TCP_KEEPCNT, 4},
    };
    for (const auto& s : settings)
        if (!err_ && setsockopt(sd, s[0], s[1], &s[2], sizeof s[2]) != 0)
            OS_ERR("SAI_CONN", ":setsockopt", 0);
}

int32_t SAI_CONN(const sockaddr_in* sai, uint16_t tmo, uint8_t* st) {
    static const char* const rtn = "SAI_CONN";
    if (err_) return -1;
    set_status(st, sck_st_ok);
    int32_t sd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sd < 0) {
        OS_ERR(rtn, ":socket", 0);
        return -1;
    }
    SCK_BLOCK(sd, 0);  // so that connecting waits only as long as we say
    int number = 0;
    if (!err_ && connect(sd, reinterpret_cast<const sockaddr*>(sai), sizeof *sai) != 0)
        number = errno == EINPROGRESS ? connected(sd, tmo) : errno;
    SCK_BLOCK(sd, 1);
    if (!number && !err_) keep_alive(sd);
    if (number) {
        const char* at = UT_S_CP(SAI_IP(sai, 1, 0));  // SAI_IP says "?" once an error is raised
        status_of(st, number);
        if (number == ETIMEDOUT && tmo)
            raise_tmo(rtn, ":connect", tmo, st, sck_st_tmo);
        else
            OS_ERR(rtn, ":connect", number);
        SM_ERRA(" (", at, ")", nullptr);
    }
    if (RTN_ERR(rtn)) {
        SCK_CL(sd);
        return -1;
    }
    return sd;
}

char BF_SCK_N(int32_t sd, const char* bf, uint32_t n, uint8_t* st, uint16_t tmo) {
    static const char* const rtn = "BF_SCK_N";
    if (err_) return 0;
    set_status(st, sck_st_ok);
    // A blocking send with a send time-out comes back with what it sent when it stalls, or
    // with EAGAIN when it could send nothing at all for tmo seconds.
    timeval tv = {tmo, 0};
    if (setsockopt(sd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv) != 0) OS_ERR(rtn, ":setsockopt", 0);
    uint32_t sent = 0;
    while (sent < n && !err_) {
        ssize_t got = send(sd, bf + sent, n - sent, MSG_NOSIGNAL);
        if (got > 0) {
            sent += static_cast<uint32_t>(got);
        } else if (got < 0 && errno == EAGAIN) {
            raise_tmo(rtn, ":send", tmo, st, sck_st_blocked);
            SM_ERRA(" (sent ", V_S10(static_cast<long>(sent), nullptr, 0), " of ",
                    V_S10(static_cast<long>(n), nullptr, 0), ")", nullptr);
        } else if (got < 0 && errno != EINTR) {
            status_of(st, errno);
            OS_ERR(rtn, ":send", 0);
        }
    }
    return !err_;
}

char FL_SCK(int32_t sd, FLDF* fd, uint32_t n, uint8_t* st, uint16_t tmo, sck_step_fn step) {
    static const char* const rtn = "FL_SCK";
    if (err_) return 0;
    set_status(st, sck_st_ok);
    char* bf = MEM_AL(fl_cache_mxs);
    uint32_t sent = 0;
    while (sent < n && !err_) {
        unsigned long want = n - sent < fl_cache_mxs ? n - sent : fl_cache_mxs;
        uint32_t got = FL_BF(fd, bf, want, 1);
        if (err_) break;
        BF_SCK_N(sd, bf, got, st, tmo);
        sent += got;
        if (step && !err_) step(sent, n);
    }
    MEM_FR(&bf);
    return !RTN_ERR(rtn);
}

char* SCK_RECV_CR(int32_t sd, uint16_t mx, uint8_t* st, uint16_t tmo) {
    static const char* const rtn = "SCK_RECV_CR";
    if (err_) return nullptr;
    set_status(st, sck_st_ok);
    char* text = MEM_AL(mx + 1UL);
    uint16_t len = 0;
    uint32_t t0 = TIC_C();
    char c = 0;
    while (text && !err_ && c != 0x0D) {
        uint32_t waited = EL_MS(t0, 0xFFFFFFFF);
        int rc = waited >= tmo * 1000UL
                     ? 0
                     : wait_for(sd, POLLIN, static_cast<int>(tmo * 1000UL - waited));
        ssize_t got = rc > 0 ? recv(sd, &c, 1, 0) : rc;
        if (rc == 0) {
            raise_tmo(rtn, ":recv", tmo, st, sck_st_tmo);
        } else if (got <= 0 && (got == 0 || errno != EINTR)) {
            int number = got == 0 ? ENOTCONN : errno;  // a peer that closed reads as ENOTCONN
            status_of(st, number);
            OS_ERR(rtn, ":recv", number);
        } else if (got == 1 && c != 0x0D) {
            if (len == mx)
                SM_ERR(rtn, ":reply longer than ", V_S10(mx, nullptr, 0), " bytes", nullptr);
            else
                text[len++] = c;
        }
    }
    if (RTN_ERR(rtn)) {
        MEM_FR(&text);
        return nullptr;
    }
    text[len] = 0;
    return text;
}
