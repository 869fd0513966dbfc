// The socket layer on loopback: what a caller sees of a connection that has nothing yet, that
// is over, that will not take more; the exact error texts; addresses as text.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "net/host.h"
#include "net/sck.h"
#include "support/ut_test.h"
#include "ut.h"

namespace {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in sai = {};
    sai.sin_family = AF_INET;
    sai.sin_port = htons(port);
    sai.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return sai;
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
    ~Pair() {
        SCK_CL(client);
        SCK_CL(server);
        SCK_CL(lsd);
    }
};

}  // namespace

TEST(Sck, ReceiveTellsNothingYetFromConnectionOver) {
    Pair p;
    ASSERT_EQ(err_, 0) << err_msg;
    char bf[16];
    uint8_t st = 99;
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 0, &st), 0);
    EXPECT_EQ(err_, 0);  // nothing yet
    EXPECT_EQ(st, sck_st_ok);
    ASSERT_EQ(write(p.client, "abc", 3), 3);
    usleep(20000);
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 1, &st), 3);  // peeked: still queued
    EXPECT_EQ(SCK_RECV(p.server, bf, 2, 0, &st), 2);
    EXPECT_EQ(std::string(bf, 2), "ab");
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 0, &st), 1);
    close(p.client);
    p.client = -1;
    usleep(20000);
    EXPECT_EQ(SCK_RECV(p.server, bf, sizeof bf, 0, &st), 0);
    EXPECT_EQ(st, sck_st_notconn);
    std::string want = "SCK_RECV:recv (err #107:" + std::string(strerror(ENOTCONN)) +
                       ") (sd=" + std::to_string(p.server) + " sai=127.0.0.1:";
    EXPECT_EQ(std::string(ERR_S()).rfind(want, 0), 0u) << want;
}

// Sending: texts joined exactly, a leading zero byte sends nothing, the 65,534-byte limit.
TEST(Sck, SendWritesExactlyTheGivenBytes) {
    Pair p;
    uint8_t st = 99;
    EXPECT_EQ(SM_SCK(p.server, &st, 0xffff, "OK", cr_, nullptr), 1);
    EXPECT_EQ(BF_SCK(p.server, "\0xyz", 4, &st, 0xffff), 1);  // first byte 0: nothing sent
    EXPECT_EQ(B_SCK(p.server, 0, &st), 1);
    EXPECT_EQ(S_SCK(p.server, "!", &st, 0xffff), 1);
    EXPECT_EQ(SM_SCK(p.server, &st, 0xffff, nullptr, nullptr), 1);
    char bf[16] = {};
    usleep(20000);
    EXPECT_EQ(read(p.client, bf, sizeof bf), 4);
    EXPECT_STREQ(bf, "OK\r!");
    std::string half(32767, 'a'), more(32768, 'b');
    EXPECT_EQ(SM_SCK(p.server, &st, 0xffff, half.c_str(), more.c_str(), nullptr), 0);
    EXPECT_STREQ(ERR_S(), "String overflow [SM_SCK]");
}

// A peer that reads nothing: with time-out 0 the first EAGAIN fails at once.
TEST(Sck, SendThatCannotProceedFailsWithTheBlockedText) {
    Pair p;
    std::vector<char> big(8 << 20, 'x');
    uint8_t st = 0;
    EXPECT_EQ(BF_SCK(p.server, big.data(), static_cast<uint32_t>(big.size()), &st, 0), 0);
    EXPECT_EQ(st, sck_st_blocked);
    std::string e = ERR_S();
    EXPECT_EQ(e.rfind("send BLOCKED (txtmo=0, bfsz=8388608 txsz=", 0), 0u) << e;
    EXPECT_EQ(e.substr(e.size() - 10), ") [BF_SCK]");
}

TEST(Sck, SendToAClosedPeerFailsWithoutEndingTheProcess) {
    Pair p;
    close(p.client);
    p.client = -1;
    usleep(20000);
    std::vector<char> big(1 << 20, 'x');
    uint8_t st = 0;
    for (int i = 0; i < 4 && !err_; i++)
        BF_SCK(p.server, big.data(), static_cast<uint32_t>(big.size()), &st, 0xffff);
    std::string e = show(ERR_S());
    EXPECT_EQ(e.rfind("send (err #", 0), 0u) << e;
    EXPECT_TRUE(st == sck_st_pipe || st == sck_st_reset) << int(st);
}

// A taken port: -1 and the address in the text; the socket is closed, also while an error is
// pending.
TEST(Sck, ListeningOnATakenPortNamesTheAddress) {
    Pair p;
    sockaddr_in sai = loopback(p.port);
    EXPECT_EQ(HOST_SAI_SD(&sai, 0), -1);
    std::string want = "HOST_SAI_SD:bind (err #98:" + std::string(strerror(EADDRINUSE)) +
                       ") (127.0.0.1:" + std::to_string(p.port) + ")";
    EXPECT_EQ(show(ERR_S()), want);
    int32_t sd = socket(AF_INET, SOCK_STREAM, 0);
    S_ERR("pending");
    SCK_CL(-1);
    SCK_CL(sd);
    EXPECT_EQ(fcntl(sd, F_GETFD), -1);
    EXPECT_STREQ(ERR_S(), "pending");
}

// Address texts: the report flag decides whether a bad address raises.
TEST(Host, AddressTexts) {
    struct Row {
        const char* ip;
        char report;
        uint32_t want;
        const char* err;
    } rows[] = {{"1.2.3.4", 1, inet_addr("1.2.3.4"), nullptr},
                {"255.255.255.255", 1, 0, "255.255.255.255 is invalid"},
                {"255.255.255.255", 0, 0, nullptr}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.ip);
        EXPECT_EQ(IP_UL(r.ip, r.report), r.want);
        EXPECT_EQ(show(ERR_S()), show(r.err));
    }
    sockaddr_in sai = loopback(9500);
    EXPECT_STREQ(SAI_IP(&sai, 1, 0), "127.0.0.1:9500");
    EXPECT_STREQ(SAI_IP(&sai, 0, 0), "127.0.0.1");
    EXPECT_STREQ(SAI_IP(nullptr, 0, 1), "?");
    EXPECT_STREQ(ERR_S(), "SAI_IP:saip=NULL");
    int32_t lone = socket(AF_INET, SOCK_STREAM, 0);  // no peer: "?" and no error left behind
    EXPECT_STREQ(SD_PEER_IP(lone, 1, 0), "?");
    EXPECT_EQ(err_, 0);
    S_ERR("reporting");
    EXPECT_STREQ(SD_PEER_IP(lone, 1, 1), "?");
    EXPECT_STREQ(ERR_S(), "reporting");
    SCK_CL(lone);
}

// Puts this test process in a host of its own: its own host name and hosts file (bound over
// /etc/hosts), and a network with loopback alone, up. Empty on success, else why it cannot.
static std::string own_host() {
    if (unshare(CLONE_NEWUTS | CLONE_NEWNS | CLONE_NEWNET) != 0)
        return std::string("unshare (needs root): ") + strerror(errno);
    FILE* f = fopen("hosts", "w");
    if (f) fclose(f);
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("hosts", "/etc/hosts", nullptr, MS_BIND, nullptr) != 0)
        return std::string("mount of a hosts file: ") + strerror(errno);
    ifreq ifr = {};
    strcpy(ifr.ifr_name, "lo");
    int s = socket(AF_INET, SOCK_DGRAM, 0);
    ioctl(s, SIOCGIFFLAGS, &ifr);
    ifr.ifr_flags = static_cast<short>(ifr.ifr_flags | IFF_UP);
    int rc = ioctl(s, SIOCSIFFLAGS, &ifr);
    close(s);
    return rc == 0 ? "" : std::string("loopback up: ") + strerror(errno);
}

// The resolved addresses come first, loopback is added once when they lack it, and an interface
// address already held (loopback's own) is not added again.
TEST(Host, HostAddressesHoldLoopbackOnce) {
    std::string why = own_host();
    if (!why.empty()) GTEST_SKIP() << why;
    struct {
        const char* name;
        const char* hosts;
        std::vector<std::string> want;
    } cases[] = {
        {"zimbhost", "127.0.0.1 localhost zimbhost\n", {"127.0.0.1"}},
        {"zimbhost", "127.0.0.1 localhost\n10.1.2.3 zimbhost\n", {"10.1.2.3", "127.0.0.1"}},
        {"zimbhost",
         "10.1.2.3 zimbhost\n10.1.2.4 zimbhost\n",
         {"10.1.2.3", "10.1.2.4", "127.0.0.1"}},
        {"unnamed", "127.0.0.1 localhost\n", {"127.0.0.1"}},  // falls back on localhost
    };
    std::vector<sockaddr_in> hsa(sck_host_mxc);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hosts);
        ERR_S();
        ASSERT_EQ(sethostname(c.name, strlen(c.name)), 0);
        FILE* f = fopen("hosts", "w");  // in place: the bind mount holds this file
        fputs(c.hosts, f);
        fclose(f);
        SCK_HOST_INFO(nullptr, hsa.data(), nullptr, nullptr);
        ASSERT_EQ(err_, 0) << err_msg;
        std::vector<std::string> got;
        for (const sockaddr_in& a : hsa) {
            if (a.sin_family == 0) continue;
            EXPECT_EQ(a.sin_family, AF_INET);
            EXPECT_EQ(a.sin_port, 0);
            got.push_back(SAI_IP(&a, 0, 0));
        }
        EXPECT_EQ(got, c.want);
    }
    SCK_HOST_INFO(nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(ERR_S(), "SCK_HOST_INFO:hsa0p=NULL");
    SCK_HOST_INFO(nullptr, hsa.data(), nullptr, "999.1.1.1");
    EXPECT_STREQ(ERR_S(), "999.1.1.1 is invalid [SCK_HOST_INFO]");
    SCK_SYS_CL();
    EXPECT_EQ(sck_host_nam, nullptr);
    EXPECT_EQ(sck_sys_op, 0);
}
