// Stopping the receiver: a key on its console, or SIGINT, SIGTERM or SIGHUP. Owns the flag that
// the signal handler sets; the handler does nothing else, so a signal that lands inside kbhit's
// raw window cannot leave the terminal raw: the loops see the flag where they look for a key and
// leave by the key's path (connection closed, work file deleted, exit status 1).
// Calling order: STOP_OP once at start-up -> STOP_HIT in every wait -> STOP_KEY on the way out.
#ifndef ZIMB_STOP_H
#define ZIMB_STOP_H

// Catches SIGINT, SIGTERM and SIGHUP; one that the parent set to be ignored (nohup, a background
// job) stays ignored. Interrupted system calls are restarted.
void STOP_OP();

// 1 when a stop signal has come or a key waits on the console (kbhit); the key stays unread.
unsigned STOP_HIT();

// Swallows the key that stopped the receiver (getch); nothing when a signal stopped it, so that
// an input that is no terminal is never waited on.
void STOP_KEY();

#endif
