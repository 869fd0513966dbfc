// zast: the sending half of the LAN file-transfer pair. Owns the command line, parsed once into
// one small record, the receiver's address and the run's tally. The story: options; the
// file-spec expanded; each file checked, sent over a connection of its own and reported on a
// line, failures or not; a summary when more than one file matched; the exit status (0 every
// file "OK", 1 any not, 2 a usage error). The transfer is sender/send.h's, the pattern
// sender/glob.h's, the texts sender/report.h's; everything else is the ut library's.
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "glob.h"
#include "report.h"
#include "send.h"

static const char* const usage =
    "Usage: zast [-d DIR] [-q] [-h] {file-spec} [ip] [port]\n"
    "Sends files to zimb, the receiving program, one connection per file.\n"
    "\tfile-spec = File(s) to send; its last part may hold * and ? (quote them)\n"
    "\tip        = IP address of the receiving PC (default = 192.168.0.1)\n"
    "\tport      = zimb's port (default = 9500)\n"
    "\t-d DIR    = Directory on the receiving PC (default: the file-spec's own directory\n"
    "\t            part, so that a file lands at the same path; -d \"\" for zimb's own)\n"
    "\t-q        = No progress line\n"
    "\t-h        = This help\n"
    "Exit status: 0 when every file was answered OK, 1 when any was not, 2 for a usage error.";

// The command line.
struct ZOPT {
    const char* fspec;
    const char* ip;    // dotted IPv4 address
    const char* port;  // as given
    const char* ddir;  // -d DIR, null without
    char quiet;        // -q
};

// Fills o from the command line and the receiver's address into *sai. Returns null when the
// line can be used, else why not ("" when getopt has said it already, "-h" for the help).
static const char* parse_args(int argc, char** argv, ZOPT* o, sockaddr_in* sai) {
    *o = {nullptr, "192.168.0.1", "9500", nullptr, 0};
    for (int c; (c = getopt(argc, argv, "+d:qh")) != -1;) {
        if (c == 'h') return "-h";
        if (c == 'd') o->ddir = optarg;
        if (c == 'q') o->quiet = 1;
        if (c == '?') return "";
    }
    char** arg = argv + optind;
    int args = argc - optind;
    if (args < 1) return "no file-spec";
    if (args > 3) return "too many arguments";
    o->fspec = arg[0];
    if (args > 1) o->ip = arg[1];
    if (args > 2) o->port = arg[2];
    *sai = {};
    sai->sin_family = AF_INET;
    if (inet_pton(AF_INET, o->ip, &sai->sin_addr) != 1)
        return UT_SM_CP("bad ip address \"", o->ip, "\" (four numbers 0-255 with dots)", nullptr);
    uint16_t port = S10_U2(o->port, nullptr, 0);
    if (err_ || port == 0) {
        ERR_S();
        return UT_SM_CP("bad port \"", o->port, "\" (a number 1-65535)", nullptr);
    }
    sai->sin_port = htons(port);
    return nullptr;
}

// The usage after why, on standard error with exit status 2; for -h alone on standard output.
static int usage_exit(const char* why) {
    if (strcmp(why, "-h") == 0) {
        puts(usage);
        return 0;
    }
    if (why[0]) fprintf(stderr, "zast: %s\n", why);
    fprintf(stderr, "%s\n", usage);
    return 2;
}

int main(int argc, char** argv) {
    static ZOPT opt;
    static sockaddr_in sai;
    const char* why = parse_args(argc, argv, &opt, &sai);
    if (why) return usage_exit(why);
    setvbuf(stdout, nullptr, _IOLBF, 0);  // each file's line as it is done, also into a pipe
    zast_prog = !opt.quiet && isatty(STDERR_FILENO);
    SCK_SYS_OP();

    uint32_t n = 0;
    char** files = FSPEC_GLOB(opt.fspec, &n);
    if (err_) {
        fprintf(stderr, "zast: %s\n", ERR_S());
        return 1;
    }
    if (n == 0) {
        CL_FR(&files);
        return usage_exit(UT_SM_CP("no regular file matches \"", opt.fspec, "\"", nullptr));
    }

    // One connection per file; a failure is reported and the next file goes all the same.
    char* dir = ZAST_DIR(opt.fspec, opt.ddir);
    char* where = SM_CP(opt.ip, ":", V_S10(ntohs(sai.sin_port), nullptr, 0), nullptr);
    uint32_t ok = 0, t0 = TIC_C();
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < n; i++) {
        ZSTDF zs;
        ZAST_OP(&zs, files[i], dir);
        PROG_OP(files[i], zs.size);
        ZAST_SEND(&zs, &sai, PROG_STEP);
        PROG_CL();
        ZAST_LINE(&zs, where);
        if (zs.what == zast_ok) {
            ok++;
            bytes += zs.size;
        }
        ZAST_CL(&zs);
    }
    if (n > 1) ZAST_SUM(n, ok, bytes, EL_MS(t0, 0xFFFFFFFF));

    MEM_FR(&where);
    MEM_FR(&dir);
    CL_FR(&files);
    SCK_SYS_CL();
    return ok == n ? 0 : 1;
}
