// One file's transfer from zast to zimb: the destination directory, the checks made before
// connecting, the three-field header, and the connection (connect, header, bytes, reply). Owns
// the time-outs and the outcome record ZSTDF; the lines a user reads are sender/report.h's.
// Calling order: ZAST_OP (fills the record, refuses what cannot be sent) -> ZAST_SEND (only for
// zast_ready) -> ZAST_CL. No error stays pending after ZAST_OP or ZAST_SEND: a failure ends up
// in the record as zast_refused or zast_failed with its text.
#ifndef ZAST_SEND_H
#define ZAST_SEND_H

#include <cstdint>
#include <netinet/in.h>

#include "ut.h"

// The receiver serves one sender at a time and places a file before it replies, so a live
// receiver may keep a sender waiting for as long as it takes to place the largest file; the
// connection's keep-alive (lib/net/conn.h) notices a receiving PC that is gone much sooner.
extern uint16_t zast_conn_tmo;        // seconds to connect (10)
extern uint16_t zast_tx_tmo;          // seconds a send may go without progress (600: behind another
                                      // sender's largest file, queued)
extern uint16_t zast_reply_tmo;       // seconds to wait for the reply before the file's own share
                                      // (600, as zast_tx_tmo)
extern uint32_t zast_place_rate;      // bytes per second the receiver is granted to place a file
                                      // (4 MiB/s: a 2 GiB file adds 512 s to the reply wait)
extern const uint32_t zast_count_mx;  // largest count the receiver parses (2147483647)
extern const uint16_t zast_field_mx;  // longest header field the receiver takes (256)

// What became of one file.
enum : uint8_t {
    zast_ready,    // checked, not yet sent
    zast_ok,       // the receiver answered "OK"
    zast_replied,  // the receiver answered with an error text
    zast_refused,  // not sent: zast refused it before connecting
    zast_failed,   // zast's own failure: unreadable, refused, no route, time-out, closed
};

// One file to send. Start from {} and fill it with ZAST_OP; ZAST_CL frees its texts.
struct ZSTDF {
    const char* path;  // the local file as matched (the caller's)
    char* dest;        // the file's path on the receiving PC, as shown
    char* hdr;         // the header, all three fields
    uint64_t size;     // bytes, at ZAST_OP
    uint32_t ms;       // from the start of connecting to the reply
    uint8_t what;      // zast_ready .. zast_failed
    uint8_t st;        // socket status of a failure (lib/net/sck.h, lib/net/conn.h)
    char* text;        // the receiver's error reply, or why zast refused or failed
};

// The destination directory field: ddir when not null, else the directory part of fspec as
// written (null when it has none); trailing "/" cut except from "/" itself. "" when there is no
// directory: the receiver's working directory. Caller frees with MEM_FR.
char* ZAST_DIR(const char* fspec, const char* ddir);

// The header "name\rdir\rcount\r" for a file of size bytes, as a new string (caller frees with
// MEM_FR). Null with the reason raised, a sentence for the user with no routine trail, when
// the receiver could not take it: an empty name, a field holding 0x0D or longer than
// zast_field_mx, a size of 0 or above zast_count_mx.
char* ZAST_HDR(const char* name, const char* dir, uint64_t size);

// Fills zs for the file path going to the directory field dir: size, dest, hdr; what is
// zast_ready, or zast_refused with text when the header cannot be made or the file is gone.
void ZAST_OP(ZSTDF* zs, const char* path, const char* dir);

// Sends a zast_ready file to sai: opens it, connects, sends the header and the bytes (step is
// called after each block, may be null) and reads the reply. Sets what, st, ms and text.
void ZAST_SEND(ZSTDF* zs, const sockaddr_in* sai, sck_step_fn step);

// Frees the record's texts; path is left alone. Null: nothing.
void ZAST_CL(ZSTDF* zs);

#endif
