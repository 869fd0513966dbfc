// The socket layer: what a caller sees of a connection that has nothing yet, that is over, that
// will not take more; the exact error texts; addresses as text; a client's reply read up to its
// 0x0D.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include "support/ut_test.h"

// A connected pair, the first end non-blocking, as the receiver makes its connections; the
// test's process closes both at its end.
static void pair_up(int* sd) {
    socketpair(AF_UNIX, SOCK_STREAM, 0, sd);
    SCK_BLOCK(sd[0], 0);
}

// Receiving tells nothing yet (0, no error) from a connection that is over (0, the error);
// a peek leaves the bytes queued. Sending: texts joined exactly, a leading zero byte sends
// nothing, the 65,534-byte limit; no send routine sends or adds its name while an error is
// pending; closing runs then too; a whole file goes as it is. A send that cannot proceed fails: a
// peer that reads nothing blocks it (time-out 0: at the first EAGAIN), one that closed ends it,
// without ending the process. A socket that has no IP address shows "?" for its addresses.
TEST(Sck, ReceiveAndSendExactBytes) {
    int sd[2];
    pair_up(sd);
    char bf[16] = {};
    uint8_t st = 99;
    EXPECT_EQ(SCK_RECV(sd[0], bf, sizeof bf, 0, &st), 0);
    EXPECT_EQ(with_err(st), "0 <null>");  // nothing yet
    EXPECT_EQ(SM_SCK(sd[0], &st, 0xffff, "OK", cr_, nullptr), 1);
    EXPECT_EQ(BF_SCK(sd[0], "\0xyz", 4, &st, 0xffff) + BF_SCK(sd[0], "O", 1, &st, 0), 2);
    EXPECT_EQ(B_SCK(sd[0], 0, &st) + S_SCK(sd[0], "!", &st, 0xffff), 2);
    EXPECT_EQ(FILE_SCK(sd[0], spit("f", "?"), &st, 0xffff), 1);
    EXPECT_EQ(SM_SCK(sd[0], &st, 0xffff, nullptr, nullptr), 1);
    std::string half(32767, 'a'), more(32768, 'b');
    EXPECT_EQ(with_err(SM_SCK(sd[0], &st, 0xffff, half.c_str(), more.c_str(), nullptr)),
              "0 String overflow [SM_SCK]");
    S_ERR("pending");
    EXPECT_EQ(BF_SCK(sd[0], "x", 1, &st, 0) + S_SCK(sd[0], "x", &st, 0) +
                  SM_SCK(sd[0], &st, 0, "x", nullptr) + B_SCK(sd[0], 'x', &st),
              0);
    int spare = dup(0);
    SCK_CL(spare);
    EXPECT_EQ(with_err(fcntl(spare, F_GETFD)), "-1 pending");
    EXPECT_EQ(read(sd[1], bf, sizeof bf), 6);
    EXPECT_STREQ(bf, "OK\rO!?");  // "\0xyz": a first byte 0 sends nothing
    ASSERT_EQ(write(sd[1], "abc", 3), 3);
    // No room asked for reads nothing, even with bytes there; peeked bytes stay queued.
    EXPECT_EQ(SCK_RECV(sd[0], bf, 0, 0, &st) + SCK_RECV(sd[0], bf, sizeof bf, 1, &st), 3);
    EXPECT_EQ(SCK_RECV(sd[0], bf, 2, 0, &st), 2);
    EXPECT_EQ(SCK_RECV(sd[0], bf + 2, 9, 0, &st), 1);
    EXPECT_EQ(std::string(bf, 3), "abc");
    std::vector<char> big(8 << 20, 'x');
    EXPECT_EQ(BF_SCK(sd[0], big.data(), big.size(), &st, 0), 0);
    EXPECT_TRUE(
        std::regex_match(with_err(st), std::regex("10 send BLOCKED \\(txtmo=0, bfsz=8388608 "
                                                  "txsz=[0-9]+\\) \\[BF_SCK\\]")));
    EXPECT_EQ(with_err(BF_SCK_N(sd[0], "x", 1, &st, 1)),  // the client's send, on the full queue
              "0 BF_SCK_N:send timed out after 1 s (sent 0 of 1)");
    EXPECT_EQ(st, sck_st_blocked);
    shutdown(sd[1], SHUT_WR);
    EXPECT_EQ(SCK_RECV(sd[0], bf, sizeof bf, 0, &st) + st, sck_st_notconn);
    std::string want = "SCK_RECV:recv (err #107:" + std::string(strerror(ENOTCONN)) +
                       ") (sd=" + std::to_string(sd[0]) + " sai=";
    EXPECT_EQ(std::string(ERR_S()).rfind(want, 0), 0u) << want;
    close(sd[1]);
    EXPECT_EQ(BF_SCK(sd[0], "x", 1, &st, 0xffff), 0);
    EXPECT_TRUE(std::regex_match(with_err(st), std::regex("6 send \\(err #32:.*\\) \\[BF_SCK\\]")));
    EXPECT_EQ(show(SD_PEER_IP(sd[0], 1, 0)) + SD_IP(sd[0], 1, 0), "??");  // no IP address
}

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
        int sd[2];
        pair_up(sd);
        ASSERT_EQ(write(sd[1], sent, strlen(sent)), static_cast<ssize_t>(strlen(sent)));
        if (closed) shutdown(sd[1], SHUT_WR);
        uint8_t st = 99;
        char* reply = SCK_RECV_CR(sd[0], 8, &st, 1);
        EXPECT_EQ(err_ ? std::string(ERR_S()).substr(0, strlen(want)) : take(reply), want);
        EXPECT_EQ(st, want_st);
    }
}

// A listening socket on a taken port: -1 and the address in the text. Address texts: the
// report flag decides whether a bad address raises; a socket without a peer reads "?", raised
// only when asked, a pending error left as it was.
TEST(Host, ListeningAndAddressTexts) {
    sockaddr_in sai = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    ASSERT_EQ(dup2(HOST_SAI_SD(&sai, 1), 0), 0);  // descriptor 0 is a socket like any other
    SD_SAI(0, &sai);
    const std::string at = "127.0.0.1:" + std::to_string(ntohs(sai.sin_port));
    EXPECT_EQ(with_err(HOST_SAI_SD(&sai, 0)),
              "-1 HOST_SAI_SD:bind (err #98:" + show(strerror(EADDRINUSE)) + ") (" + at + ")");
    EXPECT_EQ(std::string(SD_IP(0, 1, 0)) + " " + SAI_IP(&sai, 0, 0), at + " 127.0.0.1");
    EXPECT_EQ(IP_UL("1.2.3.4", 1) + IP_UL("255.255.255.255", 0) + err_, inet_addr("1.2.3.4"));
    EXPECT_EQ(with_err(IP_UL("255.255.255.255", 1)), "0 255.255.255.255 is invalid");
    EXPECT_EQ(with_err(SAI_IP(nullptr, 0, 1)), "? SAI_IP:saip=NULL");
    EXPECT_EQ(with_err(SD_PEER_IP(0, 1, 0)), "? <null>");
    S_ERR("reporting");
    EXPECT_EQ(with_err(SD_PEER_IP(0, 1, 1)), "? reporting");
}

// A failing system call is named once, by the routine and the call, with no trail after it.
TEST(Host, SystemCallFailuresNameTheRoutineOnce) {
    SCK_BLOCK(99, 0);
    EXPECT_EQ(show(ERR_S()), "SCK_BLOCK:fcntl (err #9:" + show(strerror(9)) + ")");
    SCK_LINGER(99, 0);
    EXPECT_EQ(show(ERR_S()), "SCK_LINGER:setsockopt (err #9:" + show(strerror(9)) + ")");
    fl_rc_mxs = 1;  // no host name fits
    std::vector<sockaddr_in> hsa(sck_host_mxc);
    SCK_HOST_INFO(nullptr, hsa.data(), nullptr, nullptr);
    EXPECT_EQ(show(ERR_S()), "SCK_HOST_INFO:gethostname (err #36:" + show(strerror(36)) + ")");
    SCK_SYS_CL();
    fl_rc_mxs = 256;
    int free_fd = dup(0);  // room for /proc/net/dev and nothing more: no socket for the scan
    close(free_fd);
    rlimit all, few;
    getrlimit(RLIMIT_NOFILE, &all);
    few = {static_cast<rlim_t>(free_fd + 1), all.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    SCK_HOST_INFO(nullptr, hsa.data(), "localhost", nullptr);
    setrlimit(RLIMIT_NOFILE, &all);  // the sanitizers' own reports need files
    EXPECT_EQ(show(ERR_S()), "SCK_HOST_INFO:socket (err #24:" + show(strerror(24)) + ")");
    SCK_HOST_INFO(nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(ERR_S(), "SCK_HOST_INFO:hsa0p=NULL");
    SCK_HOST_INFO(nullptr, hsa.data(), nullptr, "999.1.1.1");
    EXPECT_STREQ(ERR_S(), "999.1.1.1 is invalid [SCK_HOST_INFO]");
}

// The resolved addresses come first, loopback is added once when they lack it, and an interface
// address already held (loopback's own) is not added again; the debug lines list them. The
// process gets a host of its own: its own name, a hosts file bound over /etc/hosts, and
// loopback alone, up.
TEST(Host, HostAddressesHoldLoopbackOnce) {
    if (unshare(CLONE_NEWUTS | CLONE_NEWNS | CLONE_NEWNET) != 0) GTEST_SKIP() << "needs root";
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) |
                  mount(spit("hosts", ""), "/etc/hosts", nullptr, MS_BIND, nullptr) |
                  system("ip link set lo up"),
              0);
    const char* rows[][3] = {
        {"zimbhost", "127.0.0.1 localhost zimbhost\n", "127.0.0.1:0 "},
        {"zimbhost", "127.0.0.1 localhost\n10.1.2.3 zimbhost\n", "10.1.2.3:0 127.0.0.1:0 "},
        {"zimbhost", "10.1.2.3 zimbhost\n10.1.2.4 zimbhost\n",
         "10.1.2.3:0 10.1.2.4:0 127.0.0.1:0 "},
        {"unnamed", "127.0.0.1 localhost\n", "127.0.0.1:0 "}};  // falls back on localhost
    std::vector<sockaddr_in> hsa(sck_host_mxc);
    sck_dbg = 1;  // the debug lines go to standard output
    testing::internal::CaptureStdout();
    for (const auto& r : rows) {
        SCOPED_TRACE(r[1]);
        ERR_S();
        ASSERT_EQ(sethostname(r[0], strlen(r[0])), 0);
        std::ofstream("hosts") << r[1];  // in place: the bind mount holds this file
        SCK_HOST_INFO(nullptr, hsa.data(), nullptr, nullptr);
        std::string got = show(ERR_S()) + " ";
        for (const sockaddr_in& a : hsa)
            got += a.sin_family ? SAI_IP(&a, 1, 0) + std::string(" ") : "";
        EXPECT_EQ(got, "<null> " + std::string(r[2]));
    }
    EXPECT_NE(testing::internal::GetCapturedStdout().find("\t\t10.1.2.4\n"), std::string::npos);
    SCK_SYS_CL();
    EXPECT_TRUE(!sck_host_nam && !sck_sys_op);
}
