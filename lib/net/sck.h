// Listening sockets and connection I/O on plain descriptors (int32_t, negative = none). Nothing
// here waits but SCK_WAIT: receiving returns at once, sending retries every 5 ms until its
// time-out, callers poll. Life of a connection: HOST_SAI_SD (listen) -> accept (caller) ->
// SCK_BLOCK(sd, 0) -> SCK_RECV / SM_SCK ... -> SCK_CL, which runs even while an error is pending.
// The optional status output receives one of the codes below (0 on entry). Time-outs are seconds
// from the start of the call; 0xffff means sck_tx_tmo.
#ifndef UT_SCK_H
#define UT_SCK_H

#include <cstdint>
#include <netinet/in.h>

// Status codes written through the optional status output.
enum : uint8_t {
    sck_st_ok = 0,
    sck_st_reset = 2,     // ECONNRESET
    sck_st_aborted = 3,   // ECONNABORTED
    sck_st_refused = 4,   // ECONNREFUSED
    sck_st_notconn = 5,   // ENOTCONN, and a peer that closed the connection
    sck_st_pipe = 6,      // EPIPE
    sck_st_inval = 7,     // EINVAL
    sck_st_unreach = 8,   // EHOSTUNREACH
    sck_st_blocked = 10,  // sending blocked past the time-out
};

// A listening socket (backlog 128) bound to sai, non-blocking unless block is set; -1 on
// failure with "HOST_SAI_SD:socket (..)" or ":bind", ":listen", ":setsockopt" followed by
// " (address:port)"; the socket is closed then. SO_REUSEADDR is set after bind and listen.
int32_t HOST_SAI_SD(const sockaddr_in* sai, char block);

// HOST_SAI_SD for long-running use: SO_REUSEADDR is set before bind, so that a restarted program
// can listen again at once while old connections of its port linger. Errors read "SAI_LSN:...".
int32_t SAI_LSN(const sockaddr_in* sai, char block);

// Blocking (block set) or non-blocking mode; "SCK_BLOCK:fcntl (..)" on failure.
void SCK_BLOCK(int32_t sd, char block);

// What has arrived, at most len bytes, without waiting; with peek set the bytes stay queued.
// 0 with err_ clear: nothing yet. 0 with err_ set: the connection is over or failed, raised as
// "SCK_RECV:recv (err #N:text) (sd=N sai=peer)"; a peer that closed reads as ENOTCONN.
int32_t SCK_RECV(int32_t sd, char* bf, uint32_t len, char peek, uint8_t* st);

// Waits up to ms milliseconds for sd to become readable (data, a connection or its end): 1 when
// it is, 0 when the time ran out or a signal came. A failing poll raises "SCK_WAIT:poll (..)".
char SCK_WAIT(int32_t sd, uint32_t ms);

// Sends len bytes of bf (0xFFFFFFFF: bf is a text, its length is taken). A null bf, or one whose
// first byte is 0, sends nothing and succeeds. Returns 1 on success, 0 on failure (raised).
char BF_SCK(int32_t sd, const char* bf, uint32_t len, uint8_t* st, uint16_t tmo);

// BF_SCK of a text.
char S_SCK(int32_t sd, const char* s, uint8_t* st, uint16_t tmo);

// Sends the texts (ended by a null pointer) joined, as one buffer; a null first text sends
// nothing. "String overflow" when they pass 65,534 bytes.
char SM_SCK(int32_t sd, uint8_t* st, uint16_t tmo, const char* s1, ...) __attribute__((sentinel));

// Sends one byte (a zero byte is not sent, and that counts as success).
char B_SCK(int32_t sd, char c, uint8_t* st);

// Sends the whole file fnam. Returns 0 only when the file cannot be read; after a failed send
// it still returns 1 with the error pending: test err_, not the result.
char FILE_SCK(int32_t sd, const char* fnam, uint8_t* st, uint16_t tmo);

// SO_LINGER on for secs seconds (0: off); "SCK_LINGER:setsockopt (..)" on failure.
void SCK_LINGER(int32_t sd, uint16_t secs);

// Closes sd (negative: nothing), also while an error is pending; never raises.
void SCK_CL(int32_t sd);

#endif
