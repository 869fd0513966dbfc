// Console keyboard on a pseudo-terminal: getch takes a key at once, without waiting for a line,
// and gives a line end as 13. kbhit, and that both leave the terminal as they found it, the
// receiver's stop tests show end to end (a key press, with and without a console).
#include <pty.h>

#include "support/ut_test.h"

TEST(Kbd, GetchTakesAKeyAtOnce) {
    int master = -1, slave = -1;
    alarm(10);  // a read that waits for a whole line ends the test instead of hanging the run
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(dup2(slave, 0), 0);
    for (const auto& [key, want] : {std::pair<char, int>{'a', 'a'}, {'\n', 13}, {'\xe9', 0xe9}}) {
        ASSERT_EQ(write(master, &key, 1), 1);
        EXPECT_EQ(getch(), want) << want;
    }
}
