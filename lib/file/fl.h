// The file record FLDF and buffered file I/O on it: opening and closing, block, byte and line
// reading and writing through the record's own cache, positioning, and backward reading. Owns the
// limits (fl_cache_mxs, fl_s_rcsz, fl_overflow_rdsz) and the message heads. The stream is
// unbuffered: the cache is its only buffer, so a write failure shows at the flush that meets it.
// Calling order: FL_OP -> reads or writes -> FL_CL. After a failure the error is pending, the
// record stays open and consistent (a short write keeps its unwritten bytes in the cache), and
// FL_CL still closes and frees it. Whole-file helpers: lib/file/whole.h; fixed slots:
// lib/file/slot.h.
#ifndef UT_FL_H
#define UT_FL_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "time/clock.h"

// One open (or closed: fp null) file. A record of the caller's own starts zeroed ({}).
// Invariants: ix <= cnt <= cache_sz <= 65,280. FL_P is p + cnt when writing, p - cnt + ix when
// reading.
struct FLDF {
    FILE* fp;           // the stream; null while closed
    char* fnam;         // copy of the name given to FL_OP, used in every message
    uint8_t wtc;        // 0 read, 1 write (create or truncate), 2 append
    uint8_t crlf;       // 1: lines end in CR LF; 0: in LF
    uint32_t sz;        // size at opening, read mode only (0 when writing)
    uint32_t mode;      // type and permission bits at opening (with the stat flag)
    UTMDF mtm;          // modification time at opening, local, ms 0 (with the stat flag)
    char* rc;           // line buffer of the buffer-less FL_S, made on first use
    char* cache;        // the cache
    uint32_t cache_sz;  // its capacity
    uint16_t cnt;       // read: bytes held; write: bytes waiting to be written
    uint16_t ix;        // read: index of the next byte to hand out
    uint32_t p;         // bytes moved between stream and cache (read: offset of the cache's end)
    uint32_t ln;        // lines read or written so far
};
static_assert(sizeof(UTMDF) == 10, "UTMDF is the ten-byte time record");
static_assert(
    offsetof(FLDF, fp) < offsetof(FLDF, fnam) && offsetof(FLDF, fnam) < offsetof(FLDF, wtc) &&
        offsetof(FLDF, wtc) < offsetof(FLDF, crlf) && offsetof(FLDF, crlf) < offsetof(FLDF, sz) &&
        offsetof(FLDF, sz) < offsetof(FLDF, mode) && offsetof(FLDF, mode) < offsetof(FLDF, mtm) &&
        offsetof(FLDF, mtm) < offsetof(FLDF, rc) && offsetof(FLDF, rc) < offsetof(FLDF, cache) &&
        offsetof(FLDF, cache) < offsetof(FLDF, cache_sz) &&
        offsetof(FLDF, cache_sz) < offsetof(FLDF, cnt) &&
        offsetof(FLDF, cnt) < offsetof(FLDF, ix) && offsetof(FLDF, ix) < offsetof(FLDF, p) &&
        offsetof(FLDF, p) < offsetof(FLDF, ln),
    "FLDF fields stay in their documented order");

extern uint16_t fl_cache_mxs;          // largest cache (65,280), the size of every write cache
extern uint16_t fl_s_rcsz;             // line limit of FL_S (fd, must) (65,520); do not raise it
                                       // while a record holds its rc buffer
extern uint32_t fl_overflow_rdsz;      // 0xFFFFFFFF on entry to FL_BF and FL_S; after a line
                                       // overflow, the characters read before it was found
extern const char* read_err_on;        // "Read error on \""
extern const char* write_err_on;       // "Write error on \""
extern const char* open_err_on;        // "Open error on \""
extern const char* read_err_no_file;   // "Read error (no file opened)"
extern const char* write_err_no_file;  // "Write error (no file opened)"
extern const char* qt_;                // "\""
extern const char* cr_lf;              // "\r\n"

// Opens fnam: wtc 0 read, 1 write (create or truncate), 2 append; crlf 0 LF, 1 CR LF, above 1
// FILE_CRLF decides; stat fills mode and mtm. fd null: a record is allocated (free it with
// FL_CL (fd, 1)); else fd (closed) is filled. A failed fopen is retried once after 10 ms.
// An append record starts with p 0: its FL_P counts what it wrote, not the file offset.
// Returns the record, or null with the error ("Open error on \"x\"", "... (invalid wtc)",
// "... (stat)", "FL_OP:fnam=NULL") and nothing left open.
FLDF* FL_OP(const char* fnam, char wtc, char crlf, char stat, FLDF* fd);

// Raises "Open error on \"fnam\"" followed by s1, s2, s3 (a null piece ends the list).
void FL_OP_ERR(const char* fnam, const char* s1, const char* s2, const char* s3);

// Flushes a write record, closes the stream and frees the record's buffers; a written name that
// ends in ".sh" (any case) or holds no "." at all gets the execute bits (0111) added, and a
// failure of that is dropped. Runs while an error is pending (then nothing is flushed).
// free_record also frees the record. Returns fd, or null when freed or for a null fd.
FLDF* FL_CL(FLDF* fd, char free_record);

// Refills the cache from the stream (ix 0, cnt the bytes read, p grows by them). Returns the
// bytes read, 0 at end of file; a failing stream raises "Read error on \"x\" (err #N:text)".
uint16_t READ_(FLDF* fd);

// The next byte, or 65,535 at end of file or on error.
uint16_t FL_B(FLDF* fd);

// Reads up to n bytes into bf (bf[0] is cleared first). Returns the count, fewer than n when the
// file ends first; 0xFFFFFFFF when nothing is left, on error, or for n 0; must makes end of file
// the error "Read error on \"x\" (EOF)". The twin takes and returns 16 bits (65,535 for
// 0xFFFFFFFF). n picks the form: unsigned long (10UL, size_t) the 32-bit one, uint16_t the twin;
// any other type (an int literal, a uint32_t) is ambiguous and must be cast.
uint32_t FL_BF(FLDF* fd, char* bf, unsigned long n, char must);
uint16_t FL_BF(FLDF* fd, char* bf, uint16_t n, char must);

// Reads one line without its end (LF, CR LF, or a lone CR; meeting CR LF sets crlf to 1) into rc,
// which holds mx + 1 bytes (mx 65,535: fl_rc_mxs). Returns its length, or 65,535 at end of file or
// on error. A last line without an end is a line. A line over mx raises
// "Read error on \"x\" (rec overflow on line N)" (N lines completed before it); rc then holds its
// first mx characters. must makes end of file the error "Read error on \"x\" (EOF)".
uint16_t FL_S(FLDF* fd, char* rc, uint16_t mx, char must);

// FL_S into the record's own buffer (fl_s_rcsz + 1 bytes, made on first use), limit fl_s_rcsz.
// Returns rc (points into the record: valid until the next read or FL_CL), or null at end of
// file or on error.
char* FL_S(FLDF* fd, char must);

// Writes n bytes of bf (n 0xFFFFFFFF: the length of the text bf); null bf writes nothing.
void BF_FL(FLDF* fd, const char* bf, unsigned long n);

// Writes the text s (null: nothing) and the line end (CR LF or LF by crlf); ln grows by one.
void S_FL(FLDF* fd, const char* s);

// Writes each text of the null-ended list, then the line end; stops at the first error.
void SM_FL(FLDF* fd, ...) __attribute__((sentinel));

// SM_FL over a list already started (for wrappers): s is the first piece, ap the rest.
void SM_FL_VA(FLDF* fd, const char* s, va_list ap);

// Writes the byte c.
void B_FL(FLDF* fd, char c);

// Writes the waiting bytes with one fwrite (sync: fflush too). A short write raises
// "Write error on \"x\" [FL_FLUSH]", keeps only the unwritten bytes in the cache (cnt counts
// them; a later flush writes just those) and sets p to the stream offset. Nothing for a read
// record.
void FL_FLUSH(FLDF* fd, char sync);

// The logical position: p + cnt writing, p - cnt + ix reading. 0 for a null record (raised).
uint32_t FL_P(FLDF* fd);

// Moves to pos; pos 0 also sets ln to 0. Inside the cache only the cache index moves (a write
// record drops its cached bytes from pos on); else the cache is flushed or emptied and FSEEK_
// moves the stream, so a write record cannot move beyond 0 outside its cache (its cached bytes
// are written all the same).
void P_FL(FLDF* fd, unsigned long pos);

// Seeks the stream to pos (p = pos) after flushing (write) or emptying (read) the cache. pos above
// sz, or a failing seek (then p = the stream offset): "fseek failure:pos/sz".
void FSEEK_(FLDF* fd, unsigned long pos);

// Rewinds and reads lines until ln is n: 1 when reached. The file ending first gives 0, with must
// the error "Line n not found".
char LN_FL(FLDF* fd, unsigned long n, char must);

// The byte before the position, moving the position onto it; 65,535 at the start of the file.
uint16_t FL_B_RV(FLDF* fd);

// The n bytes before the position, read forward into bf; the position moves to their start.
// Fewer before it: with must "Read error on \"x\" (BOF) [FL_BF_RV]" and 0xFFFFFFFF, without it
// those there are (at the start of the file: 0xFFFFFFFF). The twin as for FL_BF.
uint32_t FL_BF_RV(FLDF* fd, char* bf, unsigned long n, char must);
uint16_t FL_BF_RV(FLDF* fd, char* bf, uint16_t n, char must);

// The LF-ended line before the position (which must stand at a line start), as FL_S reads it;
// the position moves to its start and ln goes down by one. At the start of the file: ln 0 and
// 65,535, with must also "Read error on \"x\" (BOF)".
uint16_t FL_S_RV(FLDF* fd, char* rc, uint16_t mx, char must);

#endif
