// The socket layer on loopback: what a caller sees of a connection that has nothing yet, that
// is over, that will not take more; the exact error texts; addresses as text.
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <vector>

#include "file/file_test.h"  // with_err, spit, and ut.h

static sockaddr_in loopback(uint16_t port) {
    return sockaddr_in{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
}

// A connected pair on loopback: a listening socket from HOST_SAI_SD, a client, the accepted end
// (non-blocking, as the receiver makes it).
struct Pair {
    int32_t lsd = -1, client = -1, server = -1;
    uint16_t port = 0;
    Pair() {
        SCK_SYS_OP();
        sockaddr_in sai = loopback(0);
        lsd = HOST_SAI_SD(&sai, 1);
        SD_SAI(lsd, &sai);
        port = ntohs(sai.sin_port);
        client = socket(AF_INET, SOCK_STREAM, 0);
        connect(client, reinterpret_cast<sockaddr*>(&sai), sizeof sai);
        server = accept(lsd, nullptr, nullptr);
        SCK_BLOCK(server, 0);
    }
    void hang_up() {
        close(client);
        client = -1;
        usleep(20000);
    }
    ~Pair() {
        for (int32_t sd : {client, server, lsd}) SCK_CL(sd);
    }
};

TEST(Sck, ReceiveTellsNothingYetFromConnectionOver) {
    Pair p;
    char bf[16];
    uint8_t st = 99;
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 0, &st) + err_ + st, 0);  // nothing yet
    ASSERT_EQ(write(p.client, "abc", 3), 3);
    usleep(20000);
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 1, &st), 3);  // peeked: still queued
    EXPECT_EQ(SCK_RECV(p.server, bf, 2, 0, &st) + SCK_RECV(p.server, bf + 2, 9, 0, &st), 3);
    EXPECT_EQ(std::string(bf, 3), "abc");
    p.hang_up();
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 0, &st) + st, sck_st_notconn);
    std::string want = "SCK_RECV:recv (err #107:" + std::string(strerror(ENOTCONN)) +
                       ") (sd=" + std::to_string(p.server) + " sai=127.0.0.1:";
    EXPECT_EQ(std::string(ERR_S()).rfind(want, 0), 0u) << want;
}

// Sending: texts joined exactly, a leading zero byte sends nothing, the 65,534-byte limit; no
// send routine sends or adds its name while an error is pending.
TEST(Sck, SendWritesExactlyTheGivenBytes) {
    Pair p;
    uint8_t st = 99;
    EXPECT_EQ(SM_SCK(p.server, &st, 0xffff, "OK", cr_, nullptr), 1);
    EXPECT_EQ(BF_SCK(p.server, "\0xyz", 4, &st, 0xffff), 1);  // first byte 0: nothing sent
    EXPECT_EQ(B_SCK(p.server, 0, &st) + S_SCK(p.server, "!", &st, 0xffff), 2);
    EXPECT_EQ(SM_SCK(p.server, &st, 0xffff, nullptr, nullptr), 1);
    std::string half(32767, 'a'), more(32768, 'b');
    EXPECT_EQ(with_err(SM_SCK(p.server, &st, 0xffff, half.c_str(), more.c_str(), nullptr)),
              "0 String overflow [SM_SCK]");
    S_ERR("pending");
    EXPECT_EQ(BF_SCK(p.server, "x", 1, &st, 0) + S_SCK(p.server, "x", &st, 0) +
                  SM_SCK(p.server, &st, 0, "x", nullptr) + B_SCK(p.server, 'x', &st),
              0);
    EXPECT_STREQ(ERR_S(), "pending");
    char bf[16] = {};
    usleep(20000);
    EXPECT_EQ(read(p.client, bf, sizeof bf), 4);
    EXPECT_STREQ(bf, "OK\r!");
}

// A send that cannot proceed fails: a peer that reads nothing blocks it (time-out 0: at the
// first EAGAIN), one that closed ends it, without ending the process.
TEST(Sck, SendThatCannotProceedFails) {
    std::vector<char> big(8 << 20, 'x');
    for (bool closed : {false, true}) {
        Pair p;
        if (closed) p.hang_up();
        uint8_t st = 0;
        EXPECT_EQ(BF_SCK(p.server, big.data(), big.size(), &st, closed ? 0xffff : 0), 0);
        std::string e = show(ERR_S());
        EXPECT_EQ(e.rfind(closed ? "send (err #" : "send BLOCKED (txtmo=0, bfsz=8388608 txsz=", 0),
                  0u)
            << e;
        EXPECT_EQ(e.substr(e.size() - 10), ") [BF_SCK]");
        EXPECT_TRUE(closed ? st == sck_st_pipe || st == sck_st_reset : st == sck_st_blocked) << +st;
    }
}

// A taken port: -1 and the address in the text; the socket is closed, also while an error is
// pending.
TEST(Sck, ListeningOnATakenPortNamesTheAddress) {
    Pair p;
    sockaddr_in sai = loopback(p.port);
    EXPECT_EQ(with_err(HOST_SAI_SD(&sai, 0)),
              "-1 HOST_SAI_SD:bind (err #98:" + std::string(strerror(EADDRINUSE)) +
                  ") (127.0.0.1:" + std::to_string(p.port) + ")");
    int32_t sd = socket(AF_INET, SOCK_STREAM, 0);
    S_ERR("pending");
    SCK_CL(-1);
    SCK_CL(sd);
    EXPECT_EQ(fcntl(sd, F_GETFD), -1);
    EXPECT_STREQ(ERR_S(), "pending");
}

// Address texts: the report flag decides whether a bad address raises; a socket without a peer
// reads "?", raised only when asked, a pending error left as it was.
TEST(Host, AddressTexts) {
    EXPECT_EQ(IP_UL("1.2.3.4", 1) + IP_UL("255.255.255.255", 0) + err_, inet_addr("1.2.3.4"));
    EXPECT_EQ(with_err(IP_UL("255.255.255.255", 1)), "0 255.255.255.255 is invalid");
    sockaddr_in sai = loopback(9500);
    EXPECT_EQ(std::string(SAI_IP(&sai, 1, 0)) + SAI_IP(&sai, 0, 0), "127.0.0.1:9500127.0.0.1");
    EXPECT_EQ(with_err(SAI_IP(nullptr, 0, 1)), "? SAI_IP:saip=NULL");
    int32_t lone = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(show(SD_PEER_IP(lone, 1, 0)) + std::to_string(err_), "?0");
    S_ERR("reporting");
    EXPECT_EQ(with_err(SD_PEER_IP(lone, 1, 1)), "? reporting");
    SCK_CL(lone);
}

// A failing system call is named once, by the routine and the call, with no trail after it.
TEST(Host, SystemCallFailuresNameTheRoutineOnce) {
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
}

// The resolved addresses come first, loopback is added once when they lack it, and an interface
// address already held (loopback's own) is not added again. The process gets a host of its own:
// its own name, a hosts file bound over /etc/hosts, and loopback alone, up.
TEST(Host, HostAddressesHoldLoopbackOnce) {
    if (unshare(CLONE_NEWUTS | CLONE_NEWNS | CLONE_NEWNET) != 0) GTEST_SKIP() << "needs root";
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) |
                  mount(spit("hosts", ""), "/etc/hosts", nullptr, MS_BIND, nullptr) |
                  system("ip link set lo up"),
              0);
    const char* rows[][3] = {
        {"zimbhost", "127.0.0.1 localhost zimbhost\n", "127.0.0.1 "},
        {"zimbhost", "127.0.0.1 localhost\n10.1.2.3 zimbhost\n", "10.1.2.3 127.0.0.1 "},
        {"zimbhost", "10.1.2.3 zimbhost\n10.1.2.4 zimbhost\n", "10.1.2.3 10.1.2.4 127.0.0.1 "},
        {"unnamed", "127.0.0.1 localhost\n", "127.0.0.1 "}};  // falls back on localhost
    std::vector<sockaddr_in> hsa(sck_host_mxc);
    for (const auto& r : rows) {
        SCOPED_TRACE(r[1]);
        ERR_S();
        ASSERT_EQ(sethostname(r[0], strlen(r[0])), 0);
        std::ofstream("hosts") << r[1];  // in place: the bind mount holds this file
        SCK_HOST_INFO(nullptr, hsa.data(), nullptr, nullptr);
        std::string got = show(ERR_S()) + " ";
        for (const sockaddr_in& a : hsa)
            if (a.sin_family || a.sin_port)
                got += SAI_IP(&a, a.sin_port != 0, 0) +
                       std::string(a.sin_family == AF_INET ? " " : "? ");
        EXPECT_EQ(got, "<null> " + std::string(r[2]));
    }
    SCK_HOST_INFO(nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(ERR_S(), "SCK_HOST_INFO:hsa0p=NULL");
    SCK_HOST_INFO(nullptr, hsa.data(), nullptr, "999.1.1.1");
    EXPECT_STREQ(ERR_S(), "999.1.1.1 is invalid [SCK_HOST_INFO]");
    SCK_SYS_CL();
    EXPECT_EQ(sck_host_nam, nullptr);
    EXPECT_EQ(sck_sys_op, 0);
}
