// Socket system start-up and host addresses. Owns the socket layer's globals and sck_host_nam.
// The interface scan reads /proc/net/dev through the file layer and asks the kernel for each
// interface's address with SIOCGIFADDR; name resolution is the C library's.
#include "net/host.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "err/dbg.h"
#include "err/err.h"
#include "file/fl.h"
#include "net/sck.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"

uint16_t sck_host_mxc = 5;
const char* sck_null_ip = "0.0.0.0";
const char* sck_lcl_ip = "127.0.0.1";
uint16_t sck_tx_tmo = 15;
const char* host_ip_fl = "host_ip.txt";
char sck_dbg = 0;
char sck_sys_op = 0;
char* sck_host_nam = nullptr;
in_addr sck_null_in_addr = {};
in_addr sck_lcl_in_addr = {};

static const uint16_t sai_len = sizeof(sockaddr_in);  // 16

// The numeric form of an address text, into a cleared 4-byte field.
static void set_in_addr(const char* ip, in_addr* a) {
    uint32_t v = inet_addr(ip);
    B_B(nullptr, 4, a);
    B_B(&v, 4, a);
}

void SCK_SYS_OP() {
    if (sck_sys_op || err_) return;
    signal(SIGPIPE, SIG_IGN);
    sck_sys_op = 1;
    set_in_addr(sck_lcl_ip, &sck_lcl_in_addr);
    set_in_addr(sck_null_ip, &sck_null_in_addr);
}

void SCK_SYS_CL() {
    if (!sck_sys_op) return;
    MEM_FR(&sck_host_nam);
    if (!err_) sck_sys_op = 0;
}

uint32_t IP_UL(const char* ip, char report) {
    static const char* const rtn = "IP_UL";
    if (err_) return 0;
    if (!ip) {
        if (report) SM_ERR(rtn, ":ip=NULL", nullptr);
        return 0;
    }
    uint32_t v = inet_addr(ip);
    if (v != INADDR_NONE) return v;
    if (report) SM_ERR(ip, " is invalid", nullptr);
    return 0;
}

// getsockname or getpeername into *sai, raising under the caller's name.
static void sock_name(int32_t sd, sockaddr_in* sai, char peer) {
    if (!sai) return;
    socklen_t len = sai_len;
    sockaddr* sa = reinterpret_cast<sockaddr*>(sai);
    int rc = peer ? getpeername(sd, sa, &len) : getsockname(sd, sa, &len);
    if (rc != 0) OS_ERR(peer ? "SD_PEER_SAI" : "SD_SAI", peer ? ":getpeername" : ":getsockname", 0);
}

void SD_SAI(int32_t sd, sockaddr_in* sai) {
    sock_name(sd, sai, 0);
}

void SD_PEER_SAI(int32_t sd, sockaddr_in* sai) {
    sock_name(sd, sai, 1);
}

const char* SAI_IP(const sockaddr_in* sai, char port, char report) {
    if (err_) return "?";
    if (!sai) {
        if (report) SM_ERR("SAI_IP", ":saip=NULL", nullptr);
        return "?";
    }
    const char* dotted = inet_ntoa(sai->sin_addr);
    if (!dotted) {
        if (report) S_ERR("inet_ntoa err");
        return "?";
    }
    const char* text = port
                           ? UT_SM_CP(dotted, ":", V_S10(ntohs(sai->sin_port), nullptr, 0), nullptr)
                           : UT_S_CP(dotted);
    return text ? text : "?";
}

// The address text of a socket's local or peer end, leaving a pending error untouched.
static const char* sock_ip(int32_t sd, char port, char keep, char peer) {
    if (sd < 0) return "?";
    char saved = err_;
    if (saved) PSH_ERR();
    sockaddr_in sai = {};  // a socket of another family fills less than this, or nothing
    const char* text = "?";
    sock_name(sd, &sai, peer);
    if (!err_ && sai.sin_family == AF_INET) text = SAI_IP(&sai, port, keep);
    if (!keep || saved) ERR_S();
    if (saved) POP_ERR();
    return text;
}

const char* SD_IP(int32_t sd, char port, char keep) {
    return sock_ip(sd, port, keep, 0);
}

const char* SD_PEER_IP(int32_t sd, char port, char keep) {
    return sock_ip(sd, port, keep, 1);
}

// Resolves the host name (given, or the machine's own) into a resolver record. A name that
// does not resolve falls back on the local names; only when all fail is the first error raised.
static hostent* resolve_name(const char* rtn, const char* hostname) {
    size_t room = fl_rc_mxs < 256 ? fl_rc_mxs : 256;  // the buffer holds fl_rc_mxs + 1 bytes
    if (hostname)
        S_S(hostname, sck_host_nam, 0);
    else if (gethostname(sck_host_nam, room) != 0) {
        OS_ERR(rtn, ":gethostname", 0);  // the text names the routine: no trail as well
        return nullptr;
    }
    if (RTN_ERR(rtn)) return nullptr;
    sck_host_nam[room] = 0;
    if (sck_dbg || dbg_ > 2) SM_DBG(rtn, ":sck_host_nam=", sck_host_nam, nullptr);
    hostent* he = gethostbyname(sck_host_nam);
    if (he) return he;
    int first = errno;
    if (sck_dbg || dbg_ > 2) {
        OS_ERR(rtn, ":gethostbyname", first);
        SM_DBG(rtn, ":", ERR_S(), " (OK)", nullptr);
    }
    static const char* const local_names[] = {"localhost.localdomain", "localhost"};
    for (const char* name : local_names)
        if ((he = gethostbyname(name))) return he;
    OS_ERR(rtn, ":gethostbyname", first);
    return nullptr;
}

// The resolver record of an address text, by reverse lookup.
static hostent* resolve_ip(const char* rtn, const char* ip) {
    uint32_t a = IP_UL(ip, 1);
    if (RTN_ERR(rtn)) return nullptr;
    hostent* he = gethostbyaddr(&a, 4, AF_INET);
    if (!he) OS_ERR(rtn, ":gethostbyaddr", 0);
    return he;
}

// Index of the first empty slot (family 0), or sck_host_mxc when all are taken.
static uint16_t free_slot(const sockaddr_in* hsa) {
    uint16_t i = 0;
    while (i < sck_host_mxc && hsa[i].sin_family != 0) i++;
    return i;
}

static void put_slot(sockaddr_in* slot, in_addr a) {
    slot->sin_family = AF_INET;
    slot->sin_port = 0;
    slot->sin_addr = a;
}

// The resolved addresses keep their list index; a null address leaves its slot empty. Returns
// 1 when the loopback address was among them.
static char take_resolved(const hostent* he, sockaddr_in* hsa) {
    char have_lcl = 0;
    uint16_t len = he->h_length < 4 ? static_cast<uint16_t>(he->h_length) : 4;
    for (uint16_t i = 0; i < sck_host_mxc && he->h_addr_list[i]; i++) {
        in_addr a;
        B_B(nullptr, 4, &a);
        B_B(he->h_addr_list[i], len, &a);
        if (a.s_addr == sck_null_in_addr.s_addr) continue;
        put_slot(&hsa[i], a);
        if (a.s_addr == sck_lcl_in_addr.s_addr) have_lcl = 1;
    }
    return have_lcl;
}

// Adds the IPv4 address of the named interface to the first empty slot, unless a slot
// holds it already. An interface without an address is skipped quietly. 0 when no socket could
// be made (raised as "SCK_HOST_INFO:socket ...", which names the routine already).
static char take_interface(const char* rtn, const char* name, sockaddr_in* hsa) {
    ifreq ifr;
    memset(&ifr, 0, sizeof ifr);
    if (strlen(name) >= sizeof ifr.ifr_name) return 1;  // no interface has such a name
    memcpy(ifr.ifr_name, name, strlen(name));
    int sd = socket(AF_INET, SOCK_STREAM, 0);
    if (sd < 0) {
        OS_ERR(rtn, ":socket", 0);
        return 0;
    }
    ifr.ifr_addr.sa_family = AF_INET;
    if (ioctl(sd, SIOCGIFADDR, &ifr) == 0) {
        char known = 0;
        for (uint16_t i = 0; i < sck_host_mxc && !known; i++)
            known = memcmp(&hsa[i], &ifr.ifr_addr, sai_len) == 0;
        uint16_t i = free_slot(hsa);
        if (!known && i < sck_host_mxc) memcpy(&hsa[i], &ifr.ifr_addr, sai_len);
    }
    SCK_CL(sd);
    return 1;
}

// Walks /proc/net/dev: every line "name: counters..." names an interface; the headings have
// no ':' and are skipped.
static void scan_interfaces(const char* rtn, sockaddr_in* hsa) {
    FLDF* fd = FL_OP("/proc/net/dev", 0, 2, 0, nullptr);
    char* rec = RCDF_AL();
    char named = 0;  // the error raised names the routine already
    for (char* line; !err_ && (line = FL_S(fd, 0));) {
        line += strspn(line, " \t");
        char* colon = strchr(line, ':');
        if (!*line || !colon) continue;
        *colon = 0;
        S_S(line, rec, 0);
        if (!err_) named = !take_interface(rtn, rec, hsa);
    }
    MEM_FR(&rec);
    FL_CL(fd, 1);
    if (!named) RTN_ERR(rtn);
}

void SCK_HOST_INFO(hostent* he, sockaddr_in* hsa, const char* hostname, const char* ip) {
    static const char* const rtn = "SCK_HOST_INFO";
    if (!hsa) SM_ERR(rtn, ":hsa0p=NULL", nullptr);
    SCK_SYS_OP();
    if (err_) return;
    if (!sck_host_nam) sck_host_nam = RCDF_AL();
    if (RTN_ERR(rtn)) return;
    hostent* found = ip ? resolve_ip(rtn, ip) : resolve_name(rtn, hostname);
    if (err_) return;
    if (he) *he = *found;
    for (uint16_t i = 0; i < sck_host_mxc; i++) B_B(nullptr, sai_len, &hsa[i]);
    if (!take_resolved(found, hsa)) {
        uint16_t i = free_slot(hsa);
        if (i < sck_host_mxc) put_slot(&hsa[i], sck_lcl_in_addr);
    }
    scan_interfaces(rtn, hsa);
    if (err_) return;
    if (sck_dbg || dbg_ > 2) SCK_HOST_INFO_DMP(rtn, "", found, hsa);
}

void SCK_HOST_INFO_DMP(const char* label1, const char* label2, const hostent* he,
                       const sockaddr_in* hsa) {
    if (err_) return;
    SM_DBG("SCK_HOST_INFO_DMP", ":", label1, label2, nullptr);
    SM_DBG("\tsck_host_nam=", sck_host_nam ? sck_host_nam : "", nullptr);
    if (he) {
        SM_DBG("\th_name=", he->h_name, " addrtype=0x", V_S16(he->h_addrtype, nullptr, nullptr),
               " length=", V_S10(he->h_length, nullptr, 0), nullptr);
        SM_DBG("\th_aliases:", nullptr);
        for (char** alias = he->h_aliases; alias && *alias; alias++)
            SM_DBG("\t\t", *alias, nullptr);
        SM_DBG("\th_addr_list:", nullptr);
        for (uint16_t i = 0; i < sck_host_mxc && he->h_addr_list[i]; i++)
            SM_DBG("\t\t", inet_ntoa(*reinterpret_cast<in_addr*>(he->h_addr_list[i])), nullptr);
    }
    if (hsa) {
        SM_DBG("\tlisten addresses:", nullptr);
        for (uint16_t i = 0; i < sck_host_mxc; i++)
            if (hsa[i].sin_family) SM_DBG("\t\t", SAI_IP(&hsa[i], 1, 0), nullptr);
    }
}
