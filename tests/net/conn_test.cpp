// Client connections: a refused connect names the address, a reply is read up to its 0x0D
// within the time-out, and bytes go out exactly, zero bytes included.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include "support/ut_test.h"

TEST(Conn, ConnectRefusedNamesTheAddress) {
    sockaddr_in sai = {};
    sai.sin_family = AF_INET;
    sai.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int probe = socket(AF_INET, SOCK_STREAM, 0);  // a port just free: nothing listens there
    socklen_t len = sizeof sai;
    bind(probe, reinterpret_cast<sockaddr*>(&sai), len);
    getsockname(probe, reinterpret_cast<sockaddr*>(&sai), &len);
    close(probe);
    uint8_t st = 99;
    EXPECT_EQ(SAI_CONN(&sai, 5, &st), -1);
    EXPECT_EQ(st, sck_st_refused);
    std::string want = "(127.0.0.1:" + std::to_string(ntohs(sai.sin_port)) + ") [SAI_CONN]";
    std::string got = ERR_S();
    EXPECT_EQ(got.rfind("SAI_CONN:connect (err #111:", 0), 0u) << got;
    EXPECT_EQ(got.substr(got.size() - want.size()), want);
}

TEST(Conn, ReplyIsReadUpToItsCarriageReturn) {
    const struct {
        const char* sent;
        char close;        // the peer closes after sending
        const char* want;  // the reply, or the start of the error
        uint8_t st;
    } cases[] = {
        {"OK\rmore", 0, "OK", sck_st_ok},
        {"\r", 0, "", sck_st_ok},
        {"No \"x\"\r", 1, "No \"x\"", sck_st_ok},
        {"OK", 1, "SCK_RECV_CR:recv (err #107:", sck_st_notconn},
        {"OK", 0, "SCK_RECV_CR:recv timed out after 1 s", sck_st_tmo},
        {"0123456789\r", 0, "SCK_RECV_CR:reply longer than 8 bytes", sck_st_ok},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sent);
        ERR_S();
        int sv[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
        ASSERT_EQ(write(sv[1], c.sent, strlen(c.sent)), static_cast<ssize_t>(strlen(c.sent)));
        if (c.close) close(sv[1]);
        uint8_t st = 99;
        char* reply = SCK_RECV_CR(sv[0], 8, &st, 1);
        EXPECT_EQ(err_ ? std::string(ERR_S()).substr(0, strlen(c.want)) : take(reply), c.want);
        EXPECT_EQ(st, c.st);
        close(sv[0]);
        if (!c.close) close(sv[1]);
    }
}

TEST(Conn, SendsExactlyTheBytesZeroBytesToo) {
    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
    EXPECT_EQ(BF_SCK_N(sv[0], "\0a\0", 3, nullptr, 5), 1);
    char bf[8];
    EXPECT_EQ(std::string(bf, static_cast<size_t>(read(sv[1], bf, sizeof bf))),
              std::string("\0a\0", 3));
    close(sv[0]);
    close(sv[1]);
}
