// Console keyboard polling: the raw mode that kbhit and getch switch standard input into for the
// length of one call. What the terminal does between calls is left to its owner.
#include "console/kbd.h"

#include <cstdio>
#include <cstring>
#include <sys/ioctl.h>
#include <termios.h>

// Local modes cleared while polling: ICANON, ECHO, TOSTOP and PENDIN. ISIG stays set, so that
// Ctrl-C still ends the program.
static const tcflag_t raw_off = 0x410a;
static_assert(raw_off == (ICANON | ECHO | TOSTOP | PENDIN), "local-mode mask");

// Saves standard input's terminal settings in *saved and switches to the raw mode, a read then
// waiting for vmin bytes with no timer. Returns tcsetattr's result: negative when nothing changed.
static int go_raw(termios* saved, cc_t vmin) {
    memset(saved, 0, sizeof *saved);
    tcgetattr(fileno(stdin), saved);
    termios raw = *saved;
    raw.c_lflag &= ~raw_off;
    raw.c_cc[VMIN] = vmin;
    raw.c_cc[VTIME] = 0;
    return tcsetattr(fileno(stdin), TCSANOW, &raw);
}

unsigned kbhit() {
    termios saved;
    if (go_raw(&saved, 0) < 0) return 0;
    int waiting = 0;
    int rc = ioctl(fileno(stdin), FIONREAD, &waiting);
    tcsetattr(fileno(stdin), TCSANOW, &saved);
    return rc >= 0 && waiting > 0;
}

int getch() {
    termios saved;
    go_raw(&saved, 1);  // not checked: without a terminal the read goes ahead all the same
    int c = getc(stdin);
    tcsetattr(fileno(stdin), TCSANOW, &saved);
    return c == '\n' ? '\r' : c;
}
