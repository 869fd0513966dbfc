// Listening sockets for long-running use and waiting on a connection without spinning. Owns no
// state. Unlike HOST_SAI_SD (lib/net/sck.h), SAI_LSN sets SO_REUSEADDR before bind, so that a
// restarted program can listen again at once while old connections of its port linger.
#ifndef UT_LSN_H
#define UT_LSN_H

#include <cstdint>
#include <netinet/in.h>

// A listening socket (backlog 128) bound to sai with SO_REUSEADDR set first, non-blocking unless
// block is set; -1 on failure with "SAI_LSN:socket (..)", ":setsockopt", ":bind" or ":listen",
// the last three followed by " (address:port)"; the socket is closed then.
int32_t SAI_LSN(const sockaddr_in* sai, char block);

// Waits up to ms milliseconds for sd to become readable (data, a connection or its end): 1 when
// it is, 0 when the time ran out or a signal came. A failing poll raises "SCK_WAIT:poll (..)".
char SCK_WAIT(int32_t sd, uint32_t ms);

#endif
