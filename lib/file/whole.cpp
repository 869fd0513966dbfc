// Whole-file operations. BF_FILE works on the stream directly (one fwrite, no cache); the others
// stand on the record layer of lib/file/fl.h. FILE_CRLF keeps the last name pointer and answer.
#include "file/whole.h"

#include <cstring>

#include "err/err.h"
#include "file/stat.h"
#include "text/match.h"
#include "text/mem.h"
#include "text/num.h"

// Looks at the first 512 bytes of fnam: 1 when a CR comes before any LF, 0 when an LF comes
// first, 2 when there is neither or the file cannot be read.
static char crlf_of_text(const char* fnam) {
    FILE* fp = fnam ? fopen(fnam, "rb") : nullptr;
    if (!fp) return 2;
    char head[512];
    size_t n = fread(head, 1, sizeof head, fp);
    fclose(fp);
    const char* lf = static_cast<const char*>(memchr(head, '\n', n));
    if (memchr(head, '\r', lf ? static_cast<size_t>(lf - head) : n)) return 1;
    return lf ? 0 : 2;
}

// The line end a name suggests: shell scripts LF, names with an extension CR LF, others LF.
static char crlf_of_name(const char* fnam) {
    if (!fnam || S_END_MT(fnam, ".sh", 0, 1, 0)) return 0;
    return fnam[0] && strchr(fnam + 1, '.') ? 1 : 0;
}

// Reads size bytes of fnam into bf through a record of its own; returns the count read.
static uint32_t read_all(const char* fnam, char* bf, uint32_t size) {
    if (err_) return 0;
    FLDF* fd = FL_OP(fnam, 0, 2, 0, nullptr);
    uint32_t got = FL_BF(fd, bf, static_cast<unsigned long>(size), 0);
    FL_CL(fd, 1);
    return got == 0xFFFFFFFF ? 0 : got;
}

void BF_FILE(const char* fnam, const char* bf, unsigned long n, char wtc) {
    static const char* const rtn = "BF_FILE";
    if (err_ || !bf) return;
    if (!fnam) fnam = "";
    if (n == 0xFFFFFFFF) n = strlen(bf);
    FILE* fp = fopen(fnam, wtc == 2 ? "ab" : "wb");
    if (!fp) {
        FL_OP_ERR(fnam, nullptr, nullptr, nullptr);
        RTN_ERR(rtn);
        return;
    }
    setvbuf(fp, nullptr, _IONBF, 0);  // so a full disk shows here, not at some later fclose
    size_t put = n ? fwrite(bf, 1, n, fp) : 0;
    if (put != n)
        SM_ERR(write_err_on, fnam, qt_, " (cnt=", V_S10(static_cast<long>(n), nullptr, 0),
               " cnt1=", V_S10(static_cast<long>(put), nullptr, 0), ")", nullptr);
    if (fclose(fp) != 0) SM_ERR(write_err_on, fnam, qt_, nullptr);
    RTN_ERR(rtn);
}

char* FILE_BF(const char* fnam, unsigned long* sz) {
    static const char* const rtn = "FILE_BF";
    if (sz) *sz = 0;
    if (err_) return nullptr;
    uint32_t size = FILE_SZ(fnam, 1);
    char* bf = err_ ? nullptr : MEM_AL(size + 1UL);
    uint32_t got = size ? read_all(fnam, bf, size) : 0;
    if (RTN_ERR(rtn)) {
        MEM_FR(&bf);
        return nullptr;
    }
    bf[got] = 0;  // fewer than size only when the file shrank meanwhile
    if (sz) *sz = got;
    return bf;
}

void FILE_CLR(const char* fnam, char create) {
    static const char* const rtn = "FILE_CLR";
    if (err_ || (!create && !FILE_OK(fnam, 0))) return;
    FL_CL(FL_OP(fnam, 1, 2, 0, nullptr), 1);
    RTN_ERR(rtn);
}

char FILE_CRLF(const char* fnam) {
    static const char* last_fnam = nullptr;  // compared by pointer, on purpose
    static char last = 0;                    // what a null name answers anyway
    if (err_) return 1;
    if (fnam == last_fnam) return last;
    last_fnam = fnam;
    last = crlf_of_text(fnam);
    if (last == 2) last = crlf_of_name(fnam);
    return last;
}

void FILE_WFP(const char* fnam, FLDF* fd) {
    static const char* const rtn = "FILE_WFP";
    if (err_) return;
    FLDF* in = FL_OP(fnam, 0, 2, 0, nullptr);
    for (char* line = FL_S(in, 0); line && !err_; line = FL_S(in, 0)) S_FL(fd, line);
    FL_CL(in, 1);
    RTN_ERR(rtn);
}
