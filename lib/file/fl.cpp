// The file record's operations. Owns the limits and message heads of the record layer. The hot
// paths (line reading and writing) move bytes with memchr and memcpy over the cache, never a
// function call per byte; the stream underneath is unbuffered, so each refill or flush is one
// read or write of the system. File status comes from lib/file/stat.h, line-end guessing from
// FILE_CRLF (lib/file/whole.h).
#include "file/fl.h"

#include <cstring>
#include <sys/stat.h>

#include "err/err.h"
#include "file/stat.h"
#include "file/whole.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"

uint16_t fl_cache_mxs = 65280;
uint16_t fl_s_rcsz = 65520;
uint32_t fl_overflow_rdsz = 0xFFFFFFFF;
const char* read_err_on = "Read error on \"";
const char* write_err_on = "Write error on \"";
const char* open_err_on = "Open error on \"";
const char* read_err_no_file = "Read error (no file opened)";
const char* write_err_no_file = "Write error (no file opened)";
const char* qt_ = "\"";
const char* cr_lf = "\r\n";

static const uint32_t cache_max = 65280;  // cnt and ix are 16-bit: the cache never grows past it
static const char* const open_modes[] = {"rb", "wb", "ab"};

// The checks every reading operation starts with: 1 when fd is an open read record.
static char can_read(const char* rtn, FLDF* fd) {
    if (!fd)
        SM_ERR(rtn, ":NULL fd", nullptr);
    else if (!fd->fp)
        S_ERR(read_err_no_file);
    else if (fd->wtc != 0)
        SM_ERR(read_err_on, fd->fnam, qt_, " (write mode)", nullptr);
    return !err_;
}

// The same for writing: 1 when fd is an open write or append record.
static char can_write(const char* rtn, FLDF* fd) {
    if (!fd)
        SM_ERR(rtn, ":NULL fd", nullptr);
    else if (!fd->fp)
        S_ERR(write_err_no_file);
    else if (fd->wtc == 0)
        SM_ERR(write_err_on, fd->fnam, qt_, " (read mode)", nullptr);
    return !err_;
}

// fopen with one retry after 10 ms; the stream is made unbuffered (the cache does the buffering).
static FILE* open_stream(const char* fnam, const char* how) {
    FILE* fp = fopen(fnam, how);
    if (!fp) {
        SLEEP_MS(10);
        fp = fopen(fnam, how);
    }
    if (!fp) {
        FL_OP_ERR(fnam, nullptr, nullptr, nullptr);
        return nullptr;
    }
    setvbuf(fp, nullptr, _IONBF, 0);
    return fp;
}

// Read: the file's size (16 for an empty file); write: the largest; never over fl_cache_mxs.
static uint32_t cache_size(char wtc, uint32_t sz) {
    uint32_t mx = fl_cache_mxs < cache_max ? fl_cache_mxs : cache_max;
    if (mx == 0) mx = 1;
    uint32_t want = wtc != 0 ? mx : sz ? sz : 16;
    return want < mx ? want : mx;
}

// A cache of n bytes; a failure reads "Open error on \"x\"(Mem alloc failure ...)".
static char* new_cache(const char* fnam, uint32_t n) {
    char* cache = MEM_AL(n);
    if (cache) return cache;
    const char* why = ERR_S();  // still readable: SM_ERR joins before it replaces the old text
    SM_ERR(open_err_on, fnam, qt_, "(", why, ")", nullptr);
    return nullptr;
}

// Undoes a half-done FL_OP: closes the stream, frees the cache and a record made for it.
static FLDF* give_up(FILE* fp, char* cache, FLDF* made) {
    fclose(fp);
    MEM_FR(&cache);
    char* block = static_cast<char*>(static_cast<void*>(made));
    MEM_FR(&block);
    return nullptr;
}

FLDF* FL_OP(const char* fnam, char wtc, char crlf, char stat, FLDF* fd) {
    static const char* const rtn = "FL_OP";
    if (!fnam) SM_ERR(rtn, ":fnam=NULL", nullptr);
    if (err_) return nullptr;
    uint8_t how = static_cast<uint8_t>(wtc);
    if (how > 2) {
        FL_OP_ERR(fnam, " (invalid wtc)", nullptr, nullptr);
        return nullptr;
    }
    FILE* fp = open_stream(fnam, open_modes[how]);
    if (!fp) return nullptr;
    uint32_t sz = how == 0 ? FILE_SZ(fnam, 1) : 0;
    if (RTN_ERR(rtn)) return give_up(fp, nullptr, nullptr);
    struct stat st = {};
    if (stat && ::stat(fnam, &st) != 0) {
        FL_OP_ERR(fnam, " (stat)", nullptr, nullptr);
        return give_up(fp, nullptr, nullptr);
    }
    uint32_t cache_sz = cache_size(wtc, sz);
    char* cache = new_cache(fnam, cache_sz);
    if (!cache) return give_up(fp, nullptr, nullptr);
    FLDF* made = fd ? nullptr : static_cast<FLDF*>(static_cast<void*>(MEM_AL(sizeof(FLDF))));
    char* name = S_CP(fnam);
    if (RTN_ERR(rtn)) {
        MEM_FR(&name);
        return give_up(fp, cache, made);
    }
    if (!fd) fd = made;
    *fd = FLDF{};
    fd->fp = fp;
    fd->fnam = name;
    fd->wtc = how;
    fd->crlf = static_cast<uint8_t>(static_cast<uint8_t>(crlf) > 1 ? FILE_CRLF(fnam) : crlf);
    fd->sz = sz;
    fd->cache = cache;
    fd->cache_sz = cache_sz;
    if (stat) {
        fd->mode = st.st_mode;
        MTM_UTM(st.st_mtime, &fd->mtm);
    }
    return fd;
}

void FL_OP_ERR(const char* fnam, const char* s1, const char* s2, const char* s3) {
    SM_ERR(open_err_on, fnam, qt_, s1, s2, s3, nullptr);
}

// Adds the execute bits to a written script or extension-less file. The error state is saved
// around it and whatever fails here is dropped: closing must not fail because of a chmod.
static void add_exec(const char* fnam) {
    PSH_ERR();
    if (S_END_MT(fnam, ".sh", 0, 1, 0) || FND_B('.', fnam, 0, 65535, 1) == 65535)
        MODE_FILE(FILE_MODE(fnam) | 0111, fnam);
    ERR_S();
    POP_ERR();
}

FLDF* FL_CL(FLDF* fd, char free_record) {
    static const char* const rtn = "FL_CL";
    if (!fd) return nullptr;
    // An error pending on entry is the caller's: only this close's own failures get our name.
    char pending = err_;
    if (fd->fp) {
        if (fd->wtc != 0) FL_FLUSH(fd, 0);
        if (fclose(fd->fp) != 0 && fd->wtc != 0) SM_ERR(write_err_on, fd->fnam, qt_, nullptr);
        fd->fp = nullptr;
        if (fd->wtc != 0) add_exec(fd->fnam);
        if (!pending) RTN_ERR(rtn);
    }
    MEM_FR(&fd->rc);
    MEM_FR(&fd->cache);
    MEM_FR(&fd->fnam);
    if (!free_record) return fd;
    char* block = static_cast<char*>(static_cast<void*>(fd));
    MEM_FR(&block);
    return nullptr;
}

uint16_t READ_(FLDF* fd) {
    static const char* const rtn = "READ_";
    if (err_ || !can_read(rtn, fd)) return 0;
    size_t n = fread(fd->cache, 1, fd->cache_sz, fd->fp);
    fd->ix = 0;
    fd->cnt = static_cast<uint16_t>(n);
    fd->p += static_cast<uint32_t>(n);
    if (n == 0 && ferror(fd->fp)) OS_ERR(UT_SM_CP(read_err_on, fd->fnam, qt_, nullptr), "", 0);
    return fd->cnt;
}

uint16_t FL_B(FLDF* fd) {
    static const char* const rtn = "FL_B";
    if (err_ || !can_read(rtn, fd)) return 65535;
    if (fd->ix >= fd->cnt && READ_(fd) == 0) {
        RTN_ERR(rtn);
        return 65535;
    }
    return static_cast<unsigned char>(fd->cache[fd->ix++]);
}

// FL_BF's worker, for both widths.
static uint32_t read_block(const char* rtn, FLDF* fd, char* bf, unsigned long n, char must) {
    fl_overflow_rdsz = 0xFFFFFFFF;
    if (bf && n) bf[0] = 0;
    if (err_ || !can_read(rtn, fd)) return 0xFFFFFFFF;
    if (!bf) SM_ERR(read_err_on, fd->fnam, qt_, " (NULL bf)", nullptr);
    if (err_ || n == 0) return 0xFFFFFFFF;
    unsigned long got = 0;
    while (got < n && (fd->ix < fd->cnt || READ_(fd) != 0)) {
        unsigned long take = fd->cnt - fd->ix;
        if (take > n - got) take = n - got;
        memcpy(bf + got, fd->cache + fd->ix, take);
        fd->ix = static_cast<uint16_t>(fd->ix + take);
        got += take;
    }
    if (RTN_ERR(rtn)) return 0xFFFFFFFF;
    if (got) return static_cast<uint32_t>(got);
    if (must) SM_ERR(read_err_on, fd->fnam, qt_, " (EOF)", nullptr);
    return 0xFFFFFFFF;
}

uint32_t FL_BF(FLDF* fd, char* bf, unsigned long n, char must) {
    static const char* const rtn = "FL_BF";
    return read_block(rtn, fd, bf, n, must);
}

uint16_t FL_BF(FLDF* fd, char* bf, uint16_t n, char must) {
    static const char* const rtn = "FL_BF";
    uint32_t got = read_block(rtn, fd, bf, n, must);
    return got == 0xFFFFFFFF ? 65535 : static_cast<uint16_t>(got);
}

// After a line's CR: swallows an LF that follows it (refilling if need be) and notes CR LF.
static void skip_lf(FLDF* fd) {
    if (fd->ix >= fd->cnt) READ_(fd);
    if (fd->ix < fd->cnt && fd->cache[fd->ix] == '\n') {
        fd->ix++;
        fd->crlf = 1;
    }
}

// The line reader of both FL_S forms. Each round takes the cache's next stretch up to a line end
// or to one byte past rc's room (that byte being an overflow), found with memchr: LF first, then
// a CR before it.
static uint16_t read_line(const char* rtn, FLDF* fd, char* rc, uint16_t mx, char must) {
    size_t len = 0;
    while (fd->ix < fd->cnt || READ_(fd) != 0) {
        const char* from = fd->cache + fd->ix;
        size_t look = fd->cnt - fd->ix;
        if (look > mx - len + 1) look = mx - len + 1;
        const char* end = static_cast<const char*>(memchr(from, '\n', look));
        const void* cr = memchr(from, '\r', end ? static_cast<size_t>(end - from) : look);
        if (cr) end = static_cast<const char*>(cr);
        size_t k = end ? static_cast<size_t>(end - from) : look;
        if (len + k > mx) {
            memcpy(rc + len, from, mx - len);
            rc[mx] = 0;
            fd->ix = static_cast<uint16_t>(fd->ix + (mx - len) + 1);
            fl_overflow_rdsz = mx;
            SM_ERR(read_err_on, fd->fnam, qt_, " (rec overflow on line ",
                   V_S10(static_cast<long>(fd->ln), nullptr, 0), ")", nullptr);
            return 65535;
        }
        memcpy(rc + len, from, k);
        len += k;
        fd->ix = static_cast<uint16_t>(fd->ix + k);
        if (!end) continue;
        rc[len] = 0;
        fd->ln++;
        fd->ix++;
        if (*end == '\r') skip_lf(fd);
        return RTN_ERR(rtn) ? 65535 : static_cast<uint16_t>(len);
    }
    rc[len] = 0;
    if (RTN_ERR(rtn)) return 65535;
    if (len) {  // a last line without its end
        fd->ln++;
        return static_cast<uint16_t>(len);
    }
    if (must) SM_ERR(read_err_on, fd->fnam, qt_, " (EOF)", nullptr);
    return 65535;
}

uint16_t FL_S(FLDF* fd, char* rc, uint16_t mx, char must) {
    static const char* const rtn = "FL_S";
    fl_overflow_rdsz = 0xFFFFFFFF;
    if (err_) return 65535;
    if (mx == 65535) mx = fl_rc_mxs;
    if (rc) rc[0] = 0;
    if (!can_read(rtn, fd)) return 65535;
    if (!rc) {
        SM_ERR(read_err_on, fd->fnam, qt_, " (NULL rc)", nullptr);
        return 65535;
    }
    return read_line(rtn, fd, rc, mx, must);
}

char* FL_S(FLDF* fd, char must) {
    static const char* const rtn = "FL_S";
    fl_overflow_rdsz = 0xFFFFFFFF;
    if (err_ || !can_read(rtn, fd)) return nullptr;
    if (!fd->rc) fd->rc = MEM_AL(fl_s_rcsz + 1UL);
    if (RTN_ERR(rtn)) return nullptr;
    return read_line(rtn, fd, fd->rc, fl_s_rcsz, must) == 65535 ? nullptr : fd->rc;
}

// Copies n bytes into the cache, writing it out each time it fills and more is to come.
static void put(const char* rtn, FLDF* fd, const char* bf, size_t n) {
    while (!err_ && n > fd->cache_sz - fd->cnt) {
        size_t room = fd->cache_sz - fd->cnt;
        memcpy(fd->cache + fd->cnt, bf, room);
        fd->cnt = static_cast<uint16_t>(fd->cache_sz);
        bf += room;
        n -= room;
        FL_FLUSH(fd, 0);
    }
    if (RTN_ERR(rtn)) return;
    memcpy(fd->cache + fd->cnt, bf, n);
    fd->cnt = static_cast<uint16_t>(fd->cnt + n);
}

void BF_FL(FLDF* fd, const char* bf, unsigned long n) {
    static const char* const rtn = "BF_FL";
    if (err_ || (fd && !bf) || !can_write(rtn, fd)) return;
    if (n == 0xFFFFFFFF) n = strlen(bf);
    put(rtn, fd, bf, n);
}

void S_FL(FLDF* fd, const char* s) {
    static const char* const rtn = "S_FL";
    if (err_ || !can_write(rtn, fd)) return;
    if (s) put(rtn, fd, s, strlen(s));
    put(rtn, fd, fd->crlf ? cr_lf : cr_lf + 1, fd->crlf ? 2 : 1);
    if (!err_) fd->ln++;
}

void SM_FL(FLDF* fd, ...) {
    va_list ap;
    va_start(ap, fd);
    const char* s = va_arg(ap, const char*);
    SM_FL_VA(fd, s, ap);
    va_end(ap);
}

void SM_FL_VA(FLDF* fd, const char* s, va_list ap) {
    static const char* const rtn = "SM_FL";
    if (err_) return;
    for (; s && !err_; s = va_arg(ap, const char*)) BF_FL(fd, s, 0xFFFFFFFFUL);
    S_FL(fd, nullptr);
    RTN_ERR(rtn);
}

void B_FL(FLDF* fd, char c) {
    static const char* const rtn = "B_FL";
    if (err_ || !can_write(rtn, fd)) return;
    put(rtn, fd, &c, 1);
}

void FL_FLUSH(FLDF* fd, char sync) {
    static const char* const rtn = "FL_FLUSH";
    if (err_ || (fd && fd->fp && fd->wtc == 0) || !can_write(rtn, fd) || fd->cnt == 0) return;
    size_t n = fwrite(fd->cache, 1, fd->cnt, fd->fp);
    if (n == fd->cnt && (!sync || fflush(fd->fp) == 0)) {
        fd->p += fd->cnt;
        fd->cnt = 0;
        return;
    }
    // Only what did not reach the file stays, so that a later flush does not write it twice.
    memmove(fd->cache, fd->cache + n, fd->cnt - n);
    fd->cnt = static_cast<uint16_t>(fd->cnt - n);
    long at = ftell(fd->fp);
    fd->p = at >= 0 ? static_cast<uint32_t>(at) : fd->p + static_cast<uint32_t>(n);
    SM_ERR(write_err_on, fd->fnam, qt_, nullptr);
    RTN_ERR(rtn);
}

uint32_t FL_P(FLDF* fd) {
    static const char* const rtn = "FL_P";
    if (err_) return 0;
    if (!fd) {
        SM_ERR(rtn, ":NULL fd", nullptr);
        return 0;
    }
    return fd->wtc != 0 ? fd->p + fd->cnt : fd->p - fd->cnt + fd->ix;
}

// Moves to pos when it lies in the cache (a write record drops its bytes from pos on): 1 if so.
static char move_in_cache(FLDF* fd, unsigned long pos) {
    unsigned long start = fd->wtc != 0 ? fd->p : fd->p - fd->cnt;
    unsigned long end = fd->wtc != 0 ? fd->p + fd->cnt : fd->p;
    if (pos < start || pos >= end) return 0;
    if (fd->wtc != 0)
        fd->cnt = static_cast<uint16_t>(pos - start);
    else
        fd->ix = static_cast<uint16_t>(pos - start);
    return 1;
}

void P_FL(FLDF* fd, unsigned long pos) {
    static const char* const rtn = "P_FL";
    if (err_) return;
    if (!fd) SM_ERR(rtn, ":NULL fd", nullptr);
    if (fd && !fd->fp) S_ERR(write_err_no_file);
    if (err_) return;
    if (pos == 0) fd->ln = 0;
    if (move_in_cache(fd, pos)) return;
    FL_FLUSH(fd, 0);  // before the seek can fail: what was written must not be lost
    FSEEK_(fd, pos);
    RTN_ERR(rtn);
}

void FSEEK_(FLDF* fd, unsigned long pos) {
    static const char* const rtn = "FSEEK_";
    if (err_) return;
    if (!fd) SM_ERR(rtn, ":NULL fd", nullptr);
    if (fd && !fd->fp) S_ERR(write_err_no_file);
    if (err_) return;
    if (pos <= fd->sz) {
        FL_FLUSH(fd, 0);  // nothing written may be left behind the move
        if (RTN_ERR(rtn)) return;
        fd->cnt = fd->ix = 0;
        if (fseek(fd->fp, static_cast<long>(pos), SEEK_SET) == 0) {
            fd->p = static_cast<uint32_t>(pos);
            return;
        }
        long at = ftell(fd->fp);
        if (at >= 0) fd->p = static_cast<uint32_t>(at);
    }
    SM_ERR("fseek failure:", V_S10(static_cast<long>(pos), nullptr, 0), "/",
           V_S10(static_cast<long>(fd->sz), nullptr, 0), nullptr);
}

char LN_FL(FLDF* fd, unsigned long n, char must) {
    static const char* const rtn = "LN_FL";
    if (err_) return 0;
    P_FL(fd, 0);
    while (!err_ && fd->ln < n && FL_S(fd, 0)) {}
    if (RTN_ERR(rtn)) return 0;
    if (fd->ln == n) return 1;
    if (must) SM_ERR("Line ", V_S10(static_cast<long>(n), nullptr, 0), " not found", nullptr);
    return 0;
}

// Re-reads the cache from before its start, so that the old start lies inside it: a whole cache
// back when it was empty, half of one when it held data (what follows stays at hand), never
// before offset 0. 0 when already at offset 0 or on error.
static char refill_back(FLDF* fd) {
    uint32_t pos = fd->p - fd->cnt;
    if (pos == 0) return 0;
    uint32_t step = fd->cnt ? fd->cache_sz / 2 : fd->cache_sz;
    if (step == 0) step = 1;
    uint32_t start = pos > step ? pos - step : 0;
    FSEEK_(fd, start);
    READ_(fd);
    if (err_ || pos - start > fd->cnt) return 0;  // the file shrank under us
    fd->ix = static_cast<uint16_t>(pos - start);
    return 1;
}

uint16_t FL_B_RV(FLDF* fd) {
    static const char* const rtn = "FL_B_RV";
    if (err_ || !can_read(rtn, fd)) return 65535;
    if (fd->ix == 0 && !refill_back(fd)) {
        RTN_ERR(rtn);
        return 65535;
    }
    return static_cast<unsigned char>(fd->cache[--fd->ix]);
}

// FL_BF_RV's worker, for both widths.
static uint32_t read_block_back(const char* rtn, FLDF* fd, char* bf, unsigned long n, char must) {
    if (err_ || !can_read(rtn, fd)) return 0xFFFFFFFF;
    uint32_t pos = FL_P(fd);
    if (n > pos && must) {
        SM_ERR(read_err_on, fd->fnam, qt_, " (BOF)", nullptr);
        RTN_ERR(rtn);
        return 0xFFFFFFFF;
    }
    if (n > pos) n = pos;
    P_FL(fd, pos - n);
    uint32_t got = FL_BF(fd, bf, n, 0);
    P_FL(fd, pos - n);
    return RTN_ERR(rtn) ? 0xFFFFFFFF : got;
}

uint32_t FL_BF_RV(FLDF* fd, char* bf, unsigned long n, char must) {
    static const char* const rtn = "FL_BF_RV";
    return read_block_back(rtn, fd, bf, n, must);
}

uint16_t FL_BF_RV(FLDF* fd, char* bf, uint16_t n, char must) {
    static const char* const rtn = "FL_BF_RV";
    uint32_t got = read_block_back(rtn, fd, bf, n, must);
    return got == 0xFFFFFFFF ? 65535 : static_cast<uint16_t>(got);
}

// Steps back to the start of the line before the position: over one LF to the second one (and
// one byte forward again), or to the start of the file after exactly one. 1 when found.
static char back_to_line_start(FLDF* fd) {
    int lfs = 0;
    for (uint16_t c = FL_B_RV(fd); c != 65535; c = FL_B_RV(fd)) {
        if (c == '\n' && ++lfs == 2) {
            fd->ix++;  // the LF just read is in the cache: step over it again
            return 1;
        }
    }
    return !err_ && lfs == 1;
}

uint16_t FL_S_RV(FLDF* fd, char* rc, uint16_t mx, char must) {
    static const char* const rtn = "FL_S_RV";
    if (err_ || !can_read(rtn, fd)) return 65535;
    if (!back_to_line_start(fd)) {
        if (RTN_ERR(rtn)) return 65535;
        fd->ln = 0;
        if (must) SM_ERR(read_err_on, fd->fnam, qt_, " (BOF)", nullptr);
        return 65535;
    }
    uint32_t at = FL_P(fd);
    uint32_t ln = fd->ln ? fd->ln - 1 : 0;
    fd->ln = ln;
    uint16_t len = FL_S(fd, rc, mx, must);
    P_FL(fd, at);
    fd->ln = ln;  // P_FL to 0 has zeroed it
    return RTN_ERR(rtn) ? 65535 : len;
}
