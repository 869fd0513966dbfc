// Allowed senders. CL_X reads a dotted address range as a decimal-point range ("192.168" to
// "192.168"), which would let in a whole /16, and compares plain entries without gaps; so
// addresses and range ends are written here as the hexadecimal numbers CL_X ranges take
// ("XC0A80107"), the peer the same way, and "~" entries are matched on their own with S_MT's
// gap, which anchors both ends. Each entry is looked up alone, so that the positions of wide
// ranges never add up past 32 bits (which would make CL_X miss a later entry).
#include "allow.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

#include "ut.h"

static const char gap = '~';

// An address as CL_X's hexadecimal form, scratch; null (raised) when the text is no address.
static char* hex_of(const char* ip, uint32_t* v) {
    *v = ntohl(IP_UL(ip, 1));
    if (err_) return nullptr;
    char* s = UT_AL(9);
    if (s) snprintf(s, 10, "X%08X", *v);
    return s;
}

// One entry as CL_X will read it; scratch, or null with the error.
static const char* entry_of(const char* e) {
    if (!*e) {
        S_ERR("empty entry");
        return nullptr;
    }
    if (strchr(e, gap)) {
        if (strspn(e, "0123456789.~") != strlen(e) || strstr(e, ".."))
            SM_ERR("\"", e, "\": a gap entry holds only digits, \".\" and \"~\"", nullptr);
        return err_ ? nullptr : e;
    }
    const char* dots = strstr(e, "...");
    uint32_t lo, hi;
    if (!dots) return hex_of(e, &lo);
    char* lo_text = UT_S_X(e, 0, static_cast<unsigned long>(dots - e));
    char* a = hex_of(lo_text, &lo);
    char* b = a ? hex_of(dots + 3, &hi) : nullptr;
    if (b && lo > hi) SM_ERR("range \"", e, "\" runs backwards", nullptr);
    return err_ ? nullptr : UT_SM_CP(a, "...", b, nullptr);
}

char** ALLOW_CL(const char* list) {
    static const char* const rtn = "ALLOW_CL";
    if (err_ || !list) return nullptr;
    size_t n = 1;
    for (const char* p = list; *p; p++) n += *p == ',';
    char** cl = reinterpret_cast<char**>(MEM_AL((n + 1) * sizeof(char*)));
    if (RTN_ERR(rtn)) return nullptr;
    memset(cl, 0, (n + 1) * sizeof(char*));
    const char* p = list;
    for (size_t i = 0; i < n && !err_; i++) {
        const char* comma = strchr(p, ',');
        char* e = UT_S_X(p, 0, comma ? static_cast<unsigned long>(comma - p) : 4294967295UL);
        cl[i] = S_CP(entry_of(e ? e : ""));
        p = comma ? comma + 1 : p + strlen(p);
    }
    if (err_) CL_FR(&cl);
    return cl;
}

char ALLOW_OK(char* const* cl, const sockaddr_in* sai) {
    if (!cl || !sai) return 0;
    PSH_ERR();
    char hex[10];
    snprintf(hex, sizeof hex, "X%08X", ntohl(sai->sin_addr.s_addr));
    const char* ip = SAI_IP(sai, 0, 0);
    char ok = 0;
    for (char* const* e = cl; !ok && *e; e++) {
        const char* const one[] = {*e, nullptr};  // one entry a time: positions never overflow
        ok = strchr(*e, gap) ? S_MT(ip, *e, 1, 1, 0, gap) : CL_X(one, hex, 0, 1) != 0xFFFFFFFF;
    }
    ERR_S();
    POP_ERR();
    return ok;
}
