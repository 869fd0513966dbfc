// Stopping the receiver: the signal flag, the handler that sets it, and the key test that reads
// it first. The terminal's modes are left to kbhit and getch, which restore them in their own
// normal path because the handler never leaves it.
#include "stop.h"

#include <csignal>

#include "ut.h"

static volatile sig_atomic_t stop_sig;  // the signal that asked the receiver to stop, 0 for none
static const int stop_sigs[] = {SIGINT, SIGTERM, SIGHUP};

static void on_stop(int sig) {
    stop_sig = sig;
}

void STOP_OP() {
    struct sigaction act = {}, old = {};
    act.sa_handler = on_stop;
    act.sa_flags = SA_RESTART;
    sigemptyset(&act.sa_mask);
    for (int sig : stop_sigs) {
        sigaction(sig, nullptr, &old);
        if (old.sa_handler != SIG_IGN) sigaction(sig, &act, nullptr);
    }
}

unsigned STOP_HIT() {
    return stop_sig || kbhit();
}

void STOP_KEY() {
    if (!stop_sig) getch();
}
