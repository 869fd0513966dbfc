// zimb: the receiving half of a LAN file-transfer pair. Owns the receiver's whole state, all of
// it static in main: the port, the work file, the listening sockets, the connection and its
// header. One connection at a time: header fields (name, directory, count), each ended by 0x0D,
// then the bytes into the work file, which is moved into place; the reply "OK" or the error
// text, then the next connection, until a key is pressed or a stop signal comes (receiver/stop.h).
// The work file's name and its safety are receiver/wrkfl.h's; everything else is the ut library's.
#include <cstdio>
#include <sys/socket.h>

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

static const uint16_t field_max = 256;  // characters of one header field
static const uint32_t chunk = 0x8000;   // bytes received and appended at a time

int main(int argc, char** argv) {
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

    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a log file or pipe gets each line as it is printed
    if (argc > 1) port = S10_U2(argv[1], nullptr, 1);
    if (err_) {
        ERR_S();
        puts(usage);
        return 1;
    }

    STOP_OP();

    // Listen on every address of the host but loopback; a failed address is reported and
    // left without a socket.
    SCK_SYS_OP();
    my_host_sai = reinterpret_cast<sockaddr_in*>(MEM_AL(sck_host_mxc * sizeof(sockaddr_in)));
    my_host_sd = reinterpret_cast<int32_t*>(MEM_AL(sck_host_mxc * sizeof(int32_t)));
    for (hsdx = 0; my_host_sd && hsdx < sck_host_mxc; hsdx++) my_host_sd[hsdx] = -1;
    B_B(nullptr, static_cast<uint16_t>(sck_host_mxc * sizeof(sockaddr_in)), my_host_sai);
    SCK_HOST_INFO(nullptr, my_host_sai, nullptr, nullptr);
    for (hsdx = 0; my_host_sai && hsdx < sck_host_mxc; hsdx++) {
        if (my_host_sai[hsdx].sin_family == 0) continue;
        my_host_sai[hsdx].sin_port = htons(port);
        ip = S_RP(ip, SAI_IP(&my_host_sai[hsdx], 0, 0));
        if (S_MT(ip, sck_lcl_ip, 0, 1, 0, 0)) continue;
        printf("Listen at %s:%d\n", ip ? ip : "", port);
        my_host_sd[hsdx] = HOST_SAI_SD(&my_host_sai[hsdx], 0);
        if (err_) {
            printf("ERROR: %s\n", ERR_S());
            my_host_sd[hsdx] = -1;
        }
    }

    for (;;) {
        // Wait for a connection; slot 0 first, a key or an error ends the wait.
        sd = -1;
        while (sd < 0 && !STOP_HIT() && !err_) {
            SLEEP_MS(10);
            alen = sizeof(sockaddr_in);
            for (hsdx = 0; my_host_sd && hsdx < sck_host_mxc && sd < 0; hsdx++) {
                if (my_host_sd[hsdx] < 0) continue;
                sd = accept(my_host_sd[hsdx], reinterpret_cast<sockaddr*>(&sai), &alen);
            }
        }
        if (sd >= 0) {
            ip = S_RP(ip, SAI_IP(&sai, 1, 0));
            SCK_BLOCK(sd, 0);
        }

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
                } else if (ch == 0x0D) {
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

        if (!STOP_HIT() && !err_) {
            // The data: appended chunk by chunk; the last chunk is written whole. The buffer
            // is taken anew for each transfer and kept.
            bf = MEM_AL(chunk + 1);
            sz1 = 0;
            wrkfl1 = WRKFL_CLAIM(wrkfl);
            FILE_CLR(wrkfl1, 0);
            char received = 0;
            while (!received) {
                rdcnt = 0;
                while (!STOP_HIT() && !err_ && rdcnt == 0)
                    rdcnt = SCK_RECV(sd, bf, chunk, 0, nullptr);
                if (rdcnt == 0) break;  // a key or an error: no move, no reply
                BF_FILE(wrkfl1, bf, static_cast<unsigned long>(rdcnt), 2);
                sz1 += static_cast<uint32_t>(rdcnt);
                received = sz1 >= sz;
            }

            // Into place; the reply carries the error text when the write, the move or the
            // mode change failed.
            if (received) {
                fnam1 = destdir[0] ? UT_SM_CP(destdir, dir_dlms, fnam, nullptr) : fnam;
                FILE_MV(wrkfl1, fnam1);
                if (S_END_MT(fnam1, ".bin", 0, 1, 0) || S_END_MT(fnam1, ".sh", 0, 1, 0))
                    MODE_FILE(FILE_MODE(fnam1) | 0x49, fnam1);
                if (!err_) {
                    SM_SCK(sd, nullptr, 0xffff, "OK", cr_, nullptr);
                } else {
                    char* text = S_CP(ERR_S());
                    SM_SCK(sd, nullptr, 0xffff, text, cr_, nullptr);
                    S_ERR(text);
                    MEM_FR(&text);
                }
            }
            WRKFL_FREE();
        }

        if (err_) printf("ERROR: %s\a\n", ERR_S());
        SCK_CL(sd);
        sd = -1;
        if (err_) printf("ERROR: %s\a\n", ERR_S());
        if (STOP_HIT()) {
            STOP_KEY();
            SCK_SYS_CL();
            if (err_) printf("ERROR: %s\a\n", ERR_S());
            WRKFL_DL(wrkfl);
            return 1;
        }
    }
}
