// The texts zast shows. Units are a table; the progress line is drawn with a carriage return
// and erased to the end of the line, so a shorter line leaves nothing of a longer one behind.
#include "report.h"

#include <cassert>
#include <cinttypes>
#include <cstdio>

char zast_prog = 0;
uint16_t zast_prog_ms = 500;
uint16_t zast_redraw_ms = 200;

static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
static const char* const erase = "\033[K";  // to the end of the line

// The start of a file's outcome on its line, by ZSTDF's what; the text follows.
static const char* const heads[] = {
    "",                                // zast_ready: never shown
    "OK, ",                            // then the rate
    "FAILED, the receiver replied: ",  // then its text
    "NOT SENT, ",                      // then why
    "FAILED, ",                        // then why
};

// The progress line's state, for the one file being sent.
static struct {
    const char* name;
    uint64_t total;
    uint32_t t0;    // tick at PROG_OP
    uint32_t last;  // tick of the last draw
    char drawn;     // 1 once a line is on the screen
} prog;

const char* UT_SZ_S(uint64_t n) {
    double v = static_cast<double>(n);
    size_t u = 0;
    while (v >= 1024 && u + 1 < sizeof units / sizeof units[0]) {
        v /= 1024;
        u++;
    }
    if (u == 0) return UT_SM_CP(V_S10(static_cast<long>(n), nullptr, 0), " B", nullptr);
    return UT_SM_CP(V_S(v, "%.1f"), " ", units[u], nullptr);
}

const char* UT_RATE_S(uint64_t n, uint32_t ms) {
    uint64_t per_s = n * 1000 / (ms ? ms : 1);
    return UT_SM_CP(UT_SZ_S(per_s), "/s", nullptr);
}

void ZAST_LINE(const ZSTDF* zs, const char* where) {
    assert(zs->what < sizeof heads / sizeof heads[0]);
    const char* text = zs->what == zast_ok ? UT_RATE_S(zs->size, zs->ms) : zs->text;
    printf("%s -> %s %s (%" PRIu64 " bytes): %s%s\n", zs->path, where, zs->dest ? zs->dest : "",
           zs->size, heads[zs->what], text ? text : "");
}

void ZAST_SUM(uint32_t files, uint32_t ok, uint64_t bytes, uint32_t ms) {
    printf("%lu files: %lu OK, %lu not; %s sent in %s s\n", static_cast<unsigned long>(files),
           static_cast<unsigned long>(ok), static_cast<unsigned long>(files - ok), UT_SZ_S(bytes),
           V_S(ms / 1000.0, "%.1f"));
}

void PROG_OP(const char* name, uint64_t total) {
    prog.name = name;
    prog.total = total;
    prog.t0 = TIC_C();
    prog.last = prog.t0;
    prog.drawn = 0;
}

// "m:ss" or "h:mm:ss" for secs, as scratch text.
static const char* clock_text(uint64_t secs) {
    const size_t size = 32;
    char* bf = UT_AL(size);
    if (!bf) return "?";
    if (secs >= 3600)
        snprintf(bf, size, "%" PRIu64 ":%02" PRIu64 ":%02" PRIu64, secs / 3600, secs / 60 % 60,
                 secs % 60);
    else
        snprintf(bf, size, "%" PRIu64 ":%02" PRIu64, secs / 60, secs % 60);
    return bf;
}

void PROG_STEP(uint32_t sent, uint32_t total) {
    uint32_t now = TIC_C();
    uint32_t ms = EL_MS(prog.t0, now);
    if (!zast_prog || err_ || ms < zast_prog_ms) return;
    if (sent < total && prog.drawn && EL_MS(prog.last, now) < zast_redraw_ms) return;
    prog.last = now;
    prog.drawn = 1;
    uint64_t per_s = static_cast<uint64_t>(sent) * 1000 / (ms ? ms : 1);
    unsigned pct = total ? static_cast<unsigned>(static_cast<uint64_t>(sent) * 100 / total) : 100;
    fprintf(stderr, "\r%s %3u%% %s of %s, %s, ", prog.name, pct, UT_SZ_S(sent), UT_SZ_S(prog.total),
            UT_RATE_S(sent, ms));
    if (sent < total)
        fprintf(stderr, "%s left%s", clock_text(per_s ? (total - sent) / per_s : 0), erase);
    else
        fprintf(stderr, "waiting for the reply%s", erase);
    fflush(stderr);
}

void PROG_CL() {
    if (prog.drawn) fprintf(stderr, "\r%s", erase);
    fflush(stderr);
    prog.drawn = 0;
}
