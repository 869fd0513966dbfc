// Console keyboard, with a pseudo-terminal, a pipe and a file as standard input. Each test puts
// its own standard input back at the end; a call that blocks is ended by the alarm, failing the
// test instead of hanging the run.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include "ut.h"

// Makes fd standard input, in place of the descriptor and of stdin's state at end of input.
static void use(int fd) {
    dup2(fd, 0);
    close(fd);
    clearerr(stdin);
}

// A typed key is seen (bytes written to the master arrive a little later), stays until getch
// reads it, and each call leaves the terminal's settings as it found them, whatever they were.
TEST(Kbd, TerminalKeyIsSeenThenReadAndTheModeIsRestored) {
    int saved = dup(0), master = -1, slave = -1;
    alarm(10);
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    use(slave);
    termios modes[2], now;
    tcgetattr(0, &modes[0]);  // line editing and echo on
    modes[1] = modes[0];
    modes[1].c_lflag &= ~static_cast<tcflag_t>(ECHO);
    modes[1].c_cc[VMIN] = 5;
    const char keys[] = {'a', '\r', '\n', '\xe9'};
    const int want[] = {'a', 13, 13, 0xe9};
    for (const termios& mode : modes) {
        ASSERT_EQ(tcsetattr(0, TCSANOW, &mode), 0);
        for (int i = 0; i < 4; i++) {
            SCOPED_TRACE(want[i]);
            EXPECT_EQ(kbhit(), 0u);
            ASSERT_EQ(write(master, &keys[i], 1), 1);
            for (int wait = 0; wait < 100 && !kbhit(); wait++) usleep(10000);
            EXPECT_EQ(kbhit(), 1u);  // seen twice: kbhit does not read it
            EXPECT_EQ(getch(), want[i]);
        }
        // Each call puts back what it found, so a call that did not would still show here.
        tcgetattr(0, &now);
        EXPECT_TRUE(now.c_lflag == mode.c_lflag && !memcmp(now.c_cc, mode.c_cc, NCCS));
    }
    close(master);
    use(saved);
}

// Without a terminal kbhit answers 0 at once, even with bytes waiting; getch reads them all.
TEST(Kbd, PipeOrFileInputNeverShowsAKey) {
    int saved = dup(0), p[2], fd = open("keys", O_RDWR | O_CREAT, 0600);
    alarm(10);
    ASSERT_TRUE(pipe(p) == 0 && write(p[1], "x\n", 2) == 2 && pwrite(fd, "x\n", 2, 0) == 2);
    close(p[1]);
    for (int source : {p[0], fd}) {
        use(source);
        EXPECT_EQ(kbhit(), 0u);
        for (int want : {int{'x'}, 13, -1}) EXPECT_EQ(getch(), want);
    }
    use(saved);
}
