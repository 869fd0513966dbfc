// Client connections for a sender: connecting to an IPv4 address and port within a time-out,
// sending exact bytes (zero bytes too, unlike BF_SCK) and a file's bytes from its record, and
// receiving a reply up to 0x0D within a time-out. Owns no state besides the routine names and
// the two status codes below; the other codes are lib/net/sck.h's. Everything here blocks, each
// wait bounded by its time-out. Life of a connection: SAI_CONN -> BF_SCK_N / FL_SCK -> SCK_RECV_CR
// -> SCK_CL. Each does nothing while an error is pending, its status output untouched, so a
// sequence is tested once at its end; after a failure the error is pending and a descriptor from
// SAI_CONN is still the caller's to close with SCK_CL.
#ifndef UT_CONN_H
#define UT_CONN_H

#include <cstdint>
#include <netinet/in.h>

#include "file/fl.h"

// Status codes of the client calls, beside those of lib/net/sck.h.
enum : uint8_t {
    sck_st_nonet = 9,  // ENETUNREACH: no route to the address's network
    sck_st_tmo = 11,   // nothing came or went within the time-out (ETIMEDOUT too)
};

// Called after each block that FL_SCK has sent, with the bytes sent so far and the total.
typedef void (*sck_step_fn)(uint32_t sent, uint32_t total);

// A blocking descriptor connected to sai within tmo seconds (0: the system's own limit), with
// keep-alive probes (after 15 s idle, every 5 s, 4 unanswered: "... (err #110:...)" from the
// next receive or send), so that a peer machine that is gone is noticed while a live one that
// is slow to answer is not. -1 on failure with nothing left open: "SAI_CONN:connect (err #N:text)
// (a.b.c.d:port)", or "SAI_CONN:connect timed out after N s (a.b.c.d:port)"; status refused,
// unreach, nonet or tmo.
int32_t SAI_CONN(const sockaddr_in* sai, uint16_t tmo, uint8_t* st);

// Sends exactly n bytes of bf, zero bytes included (n 0: nothing). Fails when no byte can be
// sent for tmo seconds (0: no limit): "BF_SCK_N:send timed out after N s (sent M of n)", status
// blocked; a send error is "BF_SCK_N:send (err #N:text)" with the status of sck.h (reset, pipe,
// ...). Returns 1 on success, 0 on failure; how much went out before a failure is not told.
char BF_SCK_N(int32_t sd, const char* bf, uint32_t n, uint8_t* st, uint16_t tmo);

// Sends n bytes of the open read record fd from its position, a cache-full at a time, each
// block as BF_SCK_N sends it; step (may be null) is called after each block. A file that ends
// before n bytes is "Read error on \"x\" (EOF)". Returns 1 on success, 0 on failure.
char FL_SCK(int32_t sd, FLDF* fd, uint32_t n, uint8_t* st, uint16_t tmo, sck_step_fn step);

// Receives up to the first 0x0D within tmo seconds counted from the call, and returns the text
// before it as a new string (caller frees with MEM_FR; "" for a bare 0x0D). Null on failure:
// "SCK_RECV_CR:recv timed out after N s", a peer that closed before the 0x0D as
// "SCK_RECV_CR:recv (err #107:...)" with status notconn, "... longer than mx bytes" (the
// connection is then left unread).
char* SCK_RECV_CR(int32_t sd, uint16_t mx, uint8_t* st, uint16_t tmo);

#endif
