// Console keyboard: noticing a key press without blocking (kbhit) and consuming it (getch), on
// the terminal of standard input. Owns no state: each call switches the terminal to a raw mode
// (no line editing, no echo; Ctrl-C still interrupts), does its one job and puts back the
// settings it found before returning. Neither looks at nor sets the error state, and neither
// prints anything, so both work while an error is pending.
#ifndef UT_KBD_H
#define UT_KBD_H

// 1 when at least one byte waits on standard input; never reads it. 0 when none waits and on any
// failure, such as standard input being a file or a pipe rather than a terminal. Counts only the
// terminal's queue: bytes getch has already pulled into stdin's buffer are not seen.
unsigned kbhit();

// The next byte of standard input (0-255), read through stdin's buffer, waiting for one to come;
// a line feed (10) comes back as a carriage return (13); -1 at end of input.
int getch();

#endif
