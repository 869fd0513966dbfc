// One file's transfer. The header is checked against what the receiver accepts before any
// connection is made, so that a refusal costs the receiver nothing. The failure texts name
// what a user can act on first, then the library's own text in parentheses.
#include "send.h"

#include <cstring>
#include <sys/stat.h>

uint16_t zast_conn_tmo = 10;
uint16_t zast_tx_tmo = 600;
uint16_t zast_reply_tmo = 600;
uint32_t zast_place_rate = 4UL << 20;
const uint32_t zast_count_mx = 2147483647;
const uint16_t zast_field_mx = 256;

static const uint16_t reply_mx = 4096;  // the receiver's error texts name two paths at most

// What a user is told first about a failed connection, by its socket status.
static const char* const closed =
    "the receiver closed the connection without a reply (its console says why)";
static const struct {
    uint8_t st;
    const char* text;
} failures[] = {
    {sck_st_refused, "connection refused: is zimb running there, on that port?"},
    {sck_st_unreach, "no route to the receiving PC"},
    {sck_st_nonet, "no route to the receiving PC's network"},
    {sck_st_tmo, "timed out"},
    {sck_st_blocked, "timed out: the receiver stopped taking data"},
    {sck_st_reset, closed},
    {sck_st_aborted, closed},
    {sck_st_notconn, closed},
    {sck_st_pipe, closed},
};

static const char* failure_of(uint8_t st) {
    for (const auto& f : failures)
        if (f.st == st) return f.text;
    return "failed";
}

// Ends the record with the pending error, cleared: "head (error text)".
static void settle(ZSTDF* zs, uint8_t what, const char* head) {
    const char* why = ERR_S();
    zs->what = what;
    zs->text = head ? SM_CP(head, " (", why, ")", nullptr) : S_CP(why);
}

char* ZAST_DIR(const char* fspec, const char* ddir) {
    char* dir = ddir ? S_CP(ddir) : FSPEC_DIR(fspec, 1);  // with its "/", so "/x" keeps "/"
    if (!dir) return S_CP("");
    for (size_t n = strlen(dir); n > 1 && dir[n - 1] == dir_dlm; n--) dir[n - 1] = 0;
    return dir;
}

// Raises why a header field cannot be sent: it holds the field end 0x0D, or is too long.
static void check_field(const char* what, const char* field) {
    if (strchr(field, 0x0D))
        SM_ERR("the ", what, " holds a carriage return (0x0D), which ends a header field", nullptr);
    else if (strlen(field) > zast_field_mx)
        SM_ERR("the ", what, " is longer than ", V_S10(zast_field_mx, nullptr, 0),
               " characters, the receiver's limit", nullptr);
}

// The reasons are sentences for the user, so they get no routine trail.
char* ZAST_HDR(const char* name, const char* dir, uint64_t size) {
    if (err_) return nullptr;
    if (!name || !name[0]) S_ERR("the file name is empty");
    check_field("file name", name ? name : "");
    check_field("destination directory", dir ? dir : "");
    if (size == 0)
        S_ERR("the file is empty: the receiver waits for at least one data byte, so a count of 0 "
              "cannot complete");
    else if (size > zast_count_mx)
        SM_ERR("the file is too large: the receiver's count field takes at most ",
               V_S10(zast_count_mx, nullptr, 0), " bytes", nullptr);
    if (err_) return nullptr;
    return SM_CP(name, cr_, dir ? dir : "", cr_, V_S10(static_cast<long>(size), nullptr, 0), cr_,
                 nullptr);
}

void ZAST_OP(ZSTDF* zs, const char* path, const char* dir) {
    *zs = {};
    zs->path = path;
    char* name = FSPEC_FNAM(path);
    zs->dest = dir && dir[0]
                   ? SM_CP(dir, S_END_MT(dir, dir_dlms, 1, 1, 0) ? "" : dir_dlms, name, nullptr)
                   : S_CP(name);
    struct stat st;
    if (FILE_OK(path, 1) && stat(path, &st) == 0) zs->size = static_cast<uint64_t>(st.st_size);
    zs->hdr = err_ ? nullptr : ZAST_HDR(name, dir, zs->size);
    MEM_FR(&name);
    if (err_)
        settle(zs, zast_refused, nullptr);
    else
        zs->what = zast_ready;
}

// Seconds to wait for the reply: the receiver copies the whole file through memory first.
static uint16_t reply_tmo(uint64_t size) {
    uint64_t secs = zast_reply_tmo + size / (zast_place_rate ? zast_place_rate : 1);
    return secs > 65534 ? 65534 : static_cast<uint16_t>(secs);
}

void ZAST_SEND(ZSTDF* zs, const sockaddr_in* sai, sck_step_fn step) {
    static const char* const rtn = "ZAST_SEND";
    if (err_ || zs->what != zast_ready) return;
    FLDF* fd = FL_OP(zs->path, 0, 0, 0, nullptr);
    if (err_) {
        settle(zs, zast_failed, "the file cannot be read");
        return;
    }
    uint32_t t0 = TIC_C();
    int32_t sd = SAI_CONN(sai, zast_conn_tmo, &zs->st);
    BF_SCK_N(sd, zs->hdr, static_cast<uint32_t>(strlen(zs->hdr)), &zs->st, zast_tx_tmo);
    FL_SCK(sd, fd, static_cast<uint32_t>(zs->size), &zs->st, zast_tx_tmo, step);
    char* reply = SCK_RECV_CR(sd, reply_mx, &zs->st, reply_tmo(zs->size));
    zs->ms = EL_MS(t0, 0xFFFFFFFF);
    SCK_CL(sd);
    FL_CL(fd, 1);
    if (RTN_ERR(rtn)) {
        // A failure of the file itself (it shrank while being sent) leaves the status clear.
        settle(zs, zast_failed, zs->st ? failure_of(zs->st) : "the file could not be read whole");
    } else if (strcmp(reply, "OK") == 0) {
        zs->what = zast_ok;
    } else {
        zs->what = zast_replied;
        zs->text = S_CP(reply);
    }
    MEM_FR(&reply);
}

void ZAST_CL(ZSTDF* zs) {
    if (!zs) return;
    MEM_FR(&zs->dest);
    MEM_FR(&zs->hdr);
    MEM_FR(&zs->text);
}
