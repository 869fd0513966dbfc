// Client connections: a reply is read up to its 0x0D, within its time-out and its length; a peer
// that closes first is told from one that says nothing.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <tuple>
#include <unistd.h>

#include "support/ut_test.h"

// What the peer sent, whether it then closed, the reply or the start of the error, the status.
TEST(Conn, ReplyIsReadUpToItsCarriageReturn) {
    const std::tuple<const char*, bool, const char*, uint8_t> rows[] = {
        {"OK\rmore", 0, "OK", sck_st_ok},
        {"No \"x\"\r", 1, "No \"x\"", sck_st_ok},
        {"OK", 1, "SCK_RECV_CR:recv (err #107:", sck_st_notconn},
        {"OK", 0, "SCK_RECV_CR:recv timed out after 1 s", sck_st_tmo},
        {"0123456789\r", 0, "SCK_RECV_CR:reply longer than 8 bytes", sck_st_ok}};
    for (const auto& [sent, closed, want, want_st] : rows) {
        SCOPED_TRACE(sent);
        ERR_S();
        int sv[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
        ASSERT_EQ(write(sv[1], sent, strlen(sent)), static_cast<ssize_t>(strlen(sent)));
        if (closed) close(sv[1]);
        uint8_t st = 99;
        char* reply = SCK_RECV_CR(sv[0], 8, &st, 1);
        EXPECT_EQ(err_ ? std::string(ERR_S()).substr(0, strlen(want)) : take(reply), want);
        EXPECT_EQ(st, want_st);
        close(sv[0]);
        if (!closed) close(sv[1]);
    }
}
