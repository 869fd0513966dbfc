// The option table and its parser. Each option is one row: its name, whether it takes a value,
// and the setter that checks the value and stores it. Setters raise the error that the usage
// line shows; the parser adds the option's name in front.
#include "opts.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "allow.h"
#include "ut.h"

const char* const zopts_help =
    "Options (before the port), for exposed and long-running use:\n"
    "\t--safe          write straight into a new file beside the destination; sync and rename\n"
    "\t                it over the destination only when complete (no work file in /var/tmp)\n"
    "\t--root DIR      every file lands under DIR; paths leaving DIR are refused (implies\n"
    "\t                the placing of --safe)\n"
    "\t--allow LIST    only these senders, comma-separated: 192.168.1.7, 192.168.1.~,\n"
    "\t                192.168.1.10...192.168.1.20\n"
    "\t--listen ADDR   listen on ADDR only (may be repeated; 127.0.0.1 allowed)\n"
    "\t--timeout SECS  drop a sender that sends nothing for SECS seconds\n"
    "\t--help          this text\n";

static void set_help(ZOPTS* o, const char*) {
    o->help = 1;
}

static void set_safe(ZOPTS* o, const char*) {
    o->safe = 1;
}

static void set_root(ZOPTS* o, const char* v) {
    if (o->root_fd >= 0) close(o->root_fd);
    o->root = v;
    o->root_fd = DIR_AT(AT_FDCWD, v, 1);
}

static void set_allow(ZOPTS* o, const char* v) {
    CL_FR(&o->allow);
    o->allow = ALLOW_CL(v);
}

static void set_listen(ZOPTS* o, const char* v) {
    if (o->nlisten >= zopts_listen_mxc)
        SM_ERR("more than ", V_S10(zopts_listen_mxc, nullptr, 0), " addresses", nullptr);
    else if (IP_UL(v, 1) || !err_)  // 0.0.0.0 reads as 0 too: every address
        o->listen[o->nlisten++] = v;
}

static void set_timeout(ZOPTS* o, const char* v) {
    o->timeout_s = S10_U4(v, nullptr, 0);
    if (!err_ && o->timeout_s == 0) S_ERR("0 seconds would drop every sender");
}

static const struct {
    const char* name;
    char takes_value;
    void (*set)(ZOPTS*, const char*);
} options[] = {
    {"--help", 0, set_help},   {"--safe", 0, set_safe},     {"--root", 1, set_root},
    {"--allow", 1, set_allow}, {"--listen", 1, set_listen}, {"--timeout", 1, set_timeout},
};

// The option named arg at argv[*i], its value taken from the next word; *i moves past both.
static void one_option(int argc, char** argv, int* i, ZOPTS* o) {
    const char* arg = argv[*i];
    for (const auto& opt : options) {
        if (strcmp(arg, opt.name) != 0) continue;
        const char* v = nullptr;
        if (opt.takes_value && ++*i >= argc) {
            SM_ERR(arg, " needs a value", nullptr);
            return;
        }
        if (opt.takes_value) v = argv[*i];
        opt.set(o, v);
        if (err_) {
            char* text = S_CP(ERR_S());
            SM_ERR(arg, v ? " \"" : "", v ? v : "", v ? "\": " : ": ", text, nullptr);
            MEM_FR(&text);
        }
        return;
    }
    SM_ERR("unknown option \"", arg, "\"", nullptr);
}

void ZOPTS_RD(int argc, char** argv, ZOPTS* o) {
    *o = ZOPTS{};
    o->port = 9500;
    o->root_fd = -1;
    int i = 1;
    for (; i < argc && !err_ && strncmp(argv[i], "--", 2) == 0; i++) {
        o->given = 1;
        one_option(argc, argv, &i, o);
    }
    if (err_ || o->help || i >= argc) return;
    o->port = S10_U2(argv[i], nullptr, 1);
    if (err_ && o->given) {
        char* text = S_CP(ERR_S());
        SM_ERR("port \"", argv[i], "\": ", text, nullptr);
        MEM_FR(&text);
    }
    for (i++; i < argc && !err_; i++) {
        if (strncmp(argv[i], "--", 2) != 0) continue;  // other words after the port: ignored
        o->given = 1;
        SM_ERR("option \"", argv[i], "\" after the port: options come first", nullptr);
    }
}

void ZOPTS_FR(ZOPTS* o) {
    if (o->root_fd >= 0) close(o->root_fd);
    o->root_fd = -1;
    CL_FR(&o->allow);
}
