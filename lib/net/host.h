// Socket system start-up and the host's own IPv4 addresses. Owns the socket layer's settings
// (sck_host_mxc, sck_tx_tmo, sck_dbg, the null and loopback addresses) and the host-name buffer.
// Calling order: SCK_SYS_OP (also done by SCK_HOST_INFO) ... SCK_SYS_CL at exit. Address texts
// come back as scratch strings, or the constant "?" when there is no address to show.
#ifndef UT_HOST_H
#define UT_HOST_H

#include <cstdint>
#include <netdb.h>
#include <netinet/in.h>

extern uint16_t sck_host_mxc;     // slots in every host-address array (5)
extern const char* sck_null_ip;   // "0.0.0.0"
extern const char* sck_lcl_ip;    // "127.0.0.1"
extern uint16_t sck_tx_tmo;       // default send time-out in seconds (15)
extern const char* host_ip_fl;    // "host_ip.txt"
extern char sck_dbg;              // 1: debug lines of the socket layer at any debug level
extern char sck_sys_op;           // 1 while the socket system is open
extern char* sck_host_nam;        // the host name; allocated by SCK_HOST_INFO, freed at close
extern in_addr sck_null_in_addr;  // numeric sck_null_ip, set by SCK_SYS_OP
extern in_addr sck_lcl_in_addr;   // numeric sck_lcl_ip, set by SCK_SYS_OP

// Opens the socket system once: SIGPIPE ignored (a send to a closed peer then fails with EPIPE
// instead of ending the process), the numeric null and loopback addresses set.
void SCK_SYS_OP();

// Closes it: frees the host name. Sockets are not closed here.
void SCK_SYS_CL();

// The address text in network order; 0 for an invalid text (255.255.255.255 included), raising
// "<text> is invalid" when report is set.
uint32_t IP_UL(const char* ip, char report);

// Fill *sai with the socket's local, resp. peer, address (null sai: nothing). On failure raise
// "SD_SAI:getsockname (err #..)", resp. "SD_PEER_SAI:getpeername (..)". Run while an error is
// pending.
void SD_SAI(int32_t sd, sockaddr_in* sai);
void SD_PEER_SAI(int32_t sd, sockaddr_in* sai);

// "a.b.c.d", or "a.b.c.d:port" with port set, as scratch text; "?" for a null address (raising
// "SAI_IP:saip=NULL" when report is set) and while an error is pending.
const char* SAI_IP(const sockaddr_in* sai, char port, char report);

// The socket's local, resp. peer, address text ("?" for a negative sd or on failure). Any error
// they raise is discarded unless keep is set; an error pending on entry is left exactly as it
// was, so both can be used in the text of an error being reported.
const char* SD_IP(int32_t sd, char port, char keep);
const char* SD_PEER_IP(int32_t sd, char port, char keep);

// Fills hsa (sck_host_mxc slots of 16 bytes; family 0 marks an empty slot; ports 0) with the
// host's IPv4 addresses: those the host name (or ip's reverse lookup) resolves to, in the
// resolver's order, then loopback if absent, then every interface address of /proc/net/dev not
// yet listed. What does not fit is dropped. he, hostname and ip may be null; with he, the
// resolver's record (not its lists) is copied there. Errors: "SCK_HOST_INFO:hsa0p=NULL",
// ":gethostname", ":gethostbyname", ":gethostbyaddr", ":socket", "<ip> is invalid".
void SCK_HOST_INFO(hostent* he, sockaddr_in* hsa, const char* hostname, const char* ip);

// Writes the host name, record and address array to the debug log under the two labels.
void SCK_HOST_INFO_DMP(const char* label1, const char* label2, const hostent* he,
                       const sockaddr_in* hsa);

#endif
