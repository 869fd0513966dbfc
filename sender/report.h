// What zast tells its user: one line per file on standard output, the summary line, and the
// progress line on standard error. Owns the progress line's state (one transfer at a time) and
// its switch zast_prog. Calling order for a file: PROG_OP -> PROG_STEP per block -> PROG_CL
// (which clears a drawn line) -> ZAST_LINE. Standard output is line-buffered by main, so each
// file's line shows when it is done, also in a pipe.
#ifndef ZAST_REPORT_H
#define ZAST_REPORT_H

#include <cstdint>

#include "send.h"

extern char zast_prog;           // 1: progress lines may be drawn (a terminal, no -q)
extern uint16_t zast_prog_ms;    // a transfer shows progress once it has taken this long (500)
extern uint16_t zast_redraw_ms;  // least time between two draws (200)

// n bytes in the largest binary unit that keeps the number at 1 or more, one decimal for
// units above bytes: "512 B", "1.5 KiB", "2.0 GiB". Scratch, never freed.
const char* UT_SZ_S(uint64_t n);

// n bytes over ms milliseconds as a rate, "12.3 MiB/s" (ms 0 counts as 1). Scratch.
const char* UT_RATE_S(uint64_t n, uint32_t ms);

// Prints the line of a finished file: its path, the receiver (ip:port, the file's path there),
// its size in bytes, then "OK" with the rate, "FAILED, the receiver replied: <text>", "FAILED,
// <text>" or "NOT SENT, <text>".
void ZAST_LINE(const ZSTDF* zs, const char* where);

// Prints the summary line: files matched, how many got "OK", and the bytes sent in ms.
void ZAST_SUM(uint32_t files, uint32_t ok, uint64_t bytes, uint32_t ms);

// Starts the progress of the file name of total bytes (nothing is drawn yet).
void PROG_OP(const char* name, uint64_t total);

// Redraws the progress line in place, once zast_prog_ms have passed since PROG_OP and at most
// every zast_redraw_ms; when all is sent, it says that the reply is awaited. A sck_step_fn.
void PROG_STEP(uint32_t sent, uint32_t total);

// Clears the progress line if one was drawn.
void PROG_CL();

#endif
