// Console keyboard, with a pseudo-terminal and then a pipe as standard input. A call that blocks
// is ended by the alarm, failing the test instead of hanging the run.
#include <pty.h>

#include "support/ut_test.h"

// A typed key is seen (bytes written to the master arrive a little later), stays until getch
// reads it, and the calls leave the terminal's settings as they found them. Without a terminal
// kbhit answers 0 at once, even with bytes waiting, and getch reads them all.
TEST(Kbd, KeysAreSeenOnATerminalOnly) {
    int master = -1, slave = -1, p[2];
    alarm(10);
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(dup2(slave, 0), 0);
    termios before, after;
    tcgetattr(0, &before);
    const char keys[] = {'a', '\r', '\n', '\xe9'};
    const int want[] = {'a', 13, 13, 0xe9};
    for (int i = 0; i < 4; i++) {
        SCOPED_TRACE(want[i]);
        EXPECT_EQ(kbhit(), 0u);
        ASSERT_EQ(write(master, &keys[i], 1), 1);
        for (int wait = 0; wait < 100 && !kbhit(); wait++) usleep(10000);
        EXPECT_EQ(kbhit(), 1u);  // seen twice: kbhit does not read it
        EXPECT_EQ(getch(), want[i]);
    }
    tcgetattr(0, &after);
    EXPECT_TRUE(after.c_lflag == before.c_lflag && !memcmp(after.c_cc, before.c_cc, NCCS));
    ASSERT_TRUE(pipe(p) == 0 && write(p[1], "x\n", 2) == 2 && close(p[1]) == 0);
    ASSERT_EQ(dup2(p[0], 0), 0);
    EXPECT_EQ(kbhit(), 0u);
    for (int w : {int{'x'}, 13, -1}) EXPECT_EQ(getch(), w);
}
