// zimb's command line: `zimb [options] [port]`, parsed in one place into one small record. Owns
// the option table and the help text. With no option given the record holds only the port and
// zimb runs exactly as it always has; every option is additive. The --root directory is opened
// here and the --allow list built here, so that a bad value is found before zimb listens.
#ifndef ZIMB_OPTS_H
#define ZIMB_OPTS_H

#include <cstdint>

static const uint16_t zopts_listen_mxc = 16;  // --listen addresses kept

struct ZOPTS {
    uint16_t port;                         // 9500 unless given
    char given;                            // 1 when any option was given
    char help;                             // --help
    char safe;                             // --safe: placed beside the destination, renamed
    const char* root;                      // --root DIR as given (points into argv), or null
    int32_t root_fd;                       // DIR held open, -1 without --root
    char** allow;                          // --allow as built by ALLOW_CL, or null
    const char* listen[zopts_listen_mxc];  // --listen addresses (point into argv)
    uint16_t nlisten;
    uint32_t timeout_s;  // --timeout, 0: wait for ever
};

extern const char* const zopts_help;  // the options, as --help lists them

// Fills *o from the arguments. Options (words beginning with "--") come before the port; the
// first other word is the port, read as S10_U2 reads it in mode 1, and later words are ignored,
// except an option, which is refused. Failure: the error names what was wrong ("unknown option
// \"--x\"", "--timeout needs a value", "--timeout \"0\": ...") and *o holds what was read before
// it. The caller closes root_fd and frees allow with ZOPTS_FR.
void ZOPTS_RD(int argc, char** argv, ZOPTS* o);

// Closes and frees what ZOPTS_RD opened and built; runs while an error is pending.
void ZOPTS_FR(ZOPTS* o);

#endif
