// zimb: the receiving half of a LAN file-transfer pair. Owns the receiver's whole state, all of
// it static in main: the port, the work file, the listening sockets, the connection and its
// header. One connection at a time: header fields (name, directory, count), each ended by 0x0D,
// then the bytes into the work file, which is moved into place; the reply "OK" or the error
// text, then the next connection, until a key is pressed or a stop signal comes (receiver/stop.h).
// The work file's name and its safety are receiver/wrkfl.h's; everything else is the ut library's.
// The options (receiver/opts.h) are short branches of that story: --safe and --root place the
// file through receiver/place.h, --root checks the path with receiver/rootpath.h, --allow asks
// receiver/allow.h, --listen and --timeout change where zimb listens and how long it waits.
#include <cstdio>
#include <sys/socket.h>

#include "allow.h"
#include "opts.h"
#include "place.h"
#include "rootpath.h"
#include "stop.h"
#include "ut.h"
#include "wrkfl.h"

static const char* const usage =
    "ZAST (transmit) and ZIMB (receive) transfer files btw PCs via an ethernet socket.\n"
    "Usage on destination (receiving) PC:\n"
    "\tzimb {port}\n"
    "Usage on source (sending) PC:\n"
    "\tzast {file-spec} {ip} {port}\n"
    "where:\n"
    "\tfile-spec = File(s) to send (use quotes if using wild-cards under Linux)\n"
    "\tip        = IP address (default = 192.168.0.1)\n"
    "\tport      = Socket port (default = 9500)\n"
    "\n"
    "Help: README.md of the zimb sources (sending with nc, the replies, stopping zimb)";

static const uint16_t field_max = 256;      // characters of one header field
static const uint32_t chunk = 0x8000;       // bytes received and appended at a time
static const uint32_t placed_bf = 1 << 18;  // --safe: the one receive buffer of every transfer

// The usage text, and with options also their list and what was wrong. --help alone exits 0.
static int usage_exit(const ZOPTS* o) {
    char* why = S_CP(ERR_S());
    puts(usage);
    if (o->given) fputs(zopts_help, stdout);
    if (why && o->given) fprintf(stderr, "zimb: %s\n", why);
    int rc = o->help && !why ? 0 : 1;
    MEM_FR(&why);
    return rc;
}

// --timeout: raises when the sender has sent nothing since the tick since.
static void silence(const ZOPTS* o, uint32_t since) {
    if (err_ || !o->timeout_s || EL_MS(since, 0xFFFFFFFF) < 1000ULL * o->timeout_s) return;
    SM_ERR("Sender silent for ", V_S10(static_cast<long>(o->timeout_s), nullptr, 0), " s: dropped",
           nullptr);
}

// --safe, --root: sz bytes into the placed file, waiting on the socket rather than spinning;
// bytes past the count are not written. A failed write (a full disk) is set aside in *failed
// and the rest is read and dropped, as it is with drop set, so that the sender still gets the
// reply. 1 when the count was reached; a key, an error or a silent sender stop it.
static char receive_placed(int32_t sd, PLACEDF* pl, char* bf, uint32_t sz, char drop,
                           const ZOPTS* o, char** failed) {
    uint32_t got = 0, since = TIC_C();
    while (got < sz && !STOP_HIT() && !err_) {
        if (!SCK_WAIT(sd, 10)) {
            silence(o, since);
            continue;
        }
        int32_t n = SCK_RECV(sd, bf, placed_bf, 0, nullptr);
        if (n <= 0) continue;
        since = TIC_C();
        uint32_t take = static_cast<uint32_t>(n) < sz - got ? static_cast<uint32_t>(n) : sz - got;
        if (!drop && !*failed) PLACE_BF(pl, bf, take);
        if (err_) *failed = S_CP(ERR_S());
        got += take;
    }
    return got >= sz && !err_;
}

int main(int argc, char** argv) {
    static ZOPTS o;
    static uint16_t port = 9500;
    static const char* wrkfl = "/var/tmp/zimbxxxx.tmp";
    static sockaddr_in* my_host_sai;
    static int32_t* my_host_sd;
    static uint16_t hsdx;
    static int32_t sd = -1;
    static sockaddr_in sai;
    static socklen_t alen;
    static char* ip;
    static char ch;
    static uint16_t x;
    static char fnam[field_max + 1];
    static char destdir[field_max + 1];
    static char szs[field_max + 1];
    static uint32_t sz = 0;
    static uint32_t sz1;
    static int32_t rdcnt;
    static const char* fnam1;
    static const char* wrkfl1;  // the work file name this transfer took
    static char* bf;
    static uint16_t nslot;  // address slots: sck_host_mxc, or the --listen addresses
    static char placed;     // --safe or --root: the file is placed, not moved
    static PLACEDF pl;
    static char* failed;  // --safe: why placing failed, told once the data is in
    static char* rel;     // --root: the directory relative to the root
    static uint32_t since;

    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a log file or pipe gets each line as it is printed
    ZOPTS_RD(argc, argv, &o);
    if (err_ || o.help) return usage_exit(&o);
    port = o.port;
    placed = o.safe || o.root;
    if (placed) PLACE_CLEAN(o.root_fd);

    STOP_OP();

    // Listen on every address of the host but loopback (--listen: on those named, loopback
    // too); a failed address is reported and left without a socket.
    SCK_SYS_OP();
    nslot = o.nlisten ? o.nlisten : sck_host_mxc;
    my_host_sai = reinterpret_cast<sockaddr_in*>(MEM_AL(nslot * sizeof(sockaddr_in)));
    my_host_sd = reinterpret_cast<int32_t*>(MEM_AL(nslot * sizeof(int32_t)));
    for (hsdx = 0; my_host_sd && hsdx < nslot; hsdx++) my_host_sd[hsdx] = -1;
    B_B(nullptr, static_cast<uint16_t>(nslot * sizeof(sockaddr_in)), my_host_sai);
    if (!o.nlisten) SCK_HOST_INFO(nullptr, my_host_sai, nullptr, nullptr);
    for (hsdx = 0; my_host_sai && hsdx < o.nlisten; hsdx++) {  // --listen
        my_host_sai[hsdx].sin_family = AF_INET;
        my_host_sai[hsdx].sin_addr.s_addr = IP_UL(o.listen[hsdx], 1);
    }
    for (hsdx = 0; my_host_sai && hsdx < nslot; hsdx++) {
        if (my_host_sai[hsdx].sin_family == 0) continue;
        my_host_sai[hsdx].sin_port = htons(port);
        ip = S_RP(ip, SAI_IP(&my_host_sai[hsdx], 0, 0));
        if (!o.nlisten && S_MT(ip, sck_lcl_ip, 0, 1, 0, 0)) continue;
        printf("Listen at %s:%d\n", ip ? ip : "", port);
        my_host_sd[hsdx] =
            o.given ? SAI_LSN(&my_host_sai[hsdx], 0) : HOST_SAI_SD(&my_host_sai[hsdx], 0);
        if (err_) {
            printf("ERROR: %s\n", ERR_S());
            my_host_sd[hsdx] = -1;
        }
    }
    if (o.nlisten) {  // --listen: with no socket open, a service manager should restart zimb
        char open = 0;
        for (hsdx = 0; my_host_sd && hsdx < nslot; hsdx++) open |= my_host_sd[hsdx] >= 0;
        if (!open) {
            printf("ERROR: none of the --listen addresses could be opened\n");
            return 1;
        }
    }

    for (;;) {
        // Wait for a connection; slot 0 first, a key or an error ends the wait.
        sd = -1;
        while (sd < 0 && !STOP_HIT() && !err_) {
            SLEEP_MS(10);
            alen = sizeof(sockaddr_in);
            for (hsdx = 0; my_host_sd && hsdx < nslot && sd < 0; hsdx++) {
                if (my_host_sd[hsdx] < 0) continue;
                sd = accept(my_host_sd[hsdx], reinterpret_cast<sockaddr*>(&sai), &alen);
            }
        }
        if (sd >= 0) {
            ip = S_RP(ip, SAI_IP(&sai, 1, 0));
            SCK_BLOCK(sd, 0);
        }
        if (sd >= 0 && o.allow && !ALLOW_OK(o.allow, &sai)) {  // --allow: nothing read
            printf("Refused sender %s: not in --allow\n", ip ? ip : "");
            SCK_CL(sd);
            continue;
        }
        since = TIC_C();

        // The header, byte by byte, so that no data byte is read into it. After a stop (a key,
        // an error) the later fields are still emptied, but not read.
        char* fields[] = {fnam, destdir, szs};
        char complete = 0;
        for (char* field : fields) {
            x = 0;
            field[0] = 0;
            complete = 0;
            while (!complete && !STOP_HIT() && !err_) {
                if (SCK_RECV(sd, &ch, 1, 0, nullptr) != 1) {
                    if (!err_) SLEEP_MS(10);
                    silence(&o, since);  // --timeout
                } else if (since = TIC_C(), ch == 0x0D) {
                    complete = 1;
                } else if (x >= field_max) {
                    SM_ERR("Header field longer than ", V_S10(field_max, nullptr, 0), " characters",
                           nullptr);
                } else {
                    field[x++] = ch;
                    field[x] = 0;
                }
            }
        }
        if (complete) sz = S10_U4(szs, nullptr, 1);
        if (destdir[0])
            printf("%s:%d -> %s%c%s (%ld)\n", ip ? ip : "", port, destdir, dir_dlm, fnam,
                   static_cast<long>(sz));
        else
            printf("%s:%d -> %s (%ld)\n", ip ? ip : "", port, fnam, static_cast<long>(sz));

        char received = 0;
        if (!STOP_HIT() && !err_ && placed) {
            // --safe, --root: straight into a new file beside the destination, renamed over
            // it when complete. A refused path or a failed write is the reply, after the data.
            if (!bf) bf = MEM_AL(placed_bf);
            if (o.root) rel = ROOT_REL(destdir, fnam);
            if (!err_) PLACE_OP(&pl, o.root_fd, o.root ? rel : destdir, fnam);
            if (err_) failed = S_CP(ERR_S());
            received = receive_placed(sd, &pl, bf, sz, pl.fd < 0, &o, &failed);
            if (failed) S_ERR(failed);
            PLACE_CL(&pl, received);
            MEM_FR(&failed);
            MEM_FR(&rel);
        } else if (!STOP_HIT() && !err_) {
            // The data: appended chunk by chunk; the last chunk is written whole. The buffer
            // is taken anew for each transfer and kept.
            bf = MEM_AL(chunk + 1);
            sz1 = 0;
            wrkfl1 = WRKFL_CLAIM(wrkfl);
            FILE_CLR(wrkfl1, 0);
            while (!received) {
                rdcnt = 0;
                while (!STOP_HIT() && !err_ && rdcnt == 0) {
                    rdcnt = SCK_RECV(sd, bf, chunk, 0, nullptr);
                    if (o.timeout_s && rdcnt == 0) silence(&o, since);  // --timeout
                }
                if (rdcnt == 0) break;  // a key or an error: no move, no reply
                if (o.timeout_s) since = TIC_C();
                BF_FILE(wrkfl1, bf, static_cast<unsigned long>(rdcnt), 2);
                sz1 += static_cast<uint32_t>(rdcnt);
                received = sz1 >= sz;
            }

            // Into place; the reply below carries the error text when the write, the move or
            // the mode change failed.
            if (received) {
                fnam1 = destdir[0] ? UT_SM_CP(destdir, dir_dlms, fnam, nullptr) : fnam;
                FILE_MV(wrkfl1, fnam1);
                if (S_END_MT(fnam1, ".bin", 0, 1, 0) || S_END_MT(fnam1, ".sh", 0, 1, 0))
                    MODE_FILE(FILE_MODE(fnam1) | 0x49, fnam1);
            }
            WRKFL_FREE();
        }
        if (received && !err_) {
            SM_SCK(sd, nullptr, 0xffff, "OK", cr_, nullptr);
        } else if (received) {
            char* text = S_CP(ERR_S());
            SM_SCK(sd, nullptr, 0xffff, text, cr_, nullptr);
            S_ERR(text);
            MEM_FR(&text);
        }

        if (err_) printf("ERROR: %s\a\n", ERR_S());
        SCK_CL(sd);
        sd = -1;
        if (err_) printf("ERROR: %s\a\n", ERR_S());
        if (STOP_HIT()) {
            STOP_KEY();
            SCK_SYS_CL();
            if (err_) printf("ERROR: %s\a\n", ERR_S());
            if (!placed) WRKFL_DL(wrkfl);
            ZOPTS_FR(&o);
            return 1;
        }
    }
}
