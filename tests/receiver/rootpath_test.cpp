// Paths under --root: what may land below the root, what is refused and why; and which senders
// --allow lets in.
#include "support/ut_test.h"
#include "allow.h"
#include "rootpath.h"

// The directory relative to the root, or the refusal: leading "/" dropped, every way out or
// every name that is no file name refused, control bytes shown escaped.
TEST(RootPath, KeptInsideOrRefusedWithTheReason) {
    const char* rows[][3] = {
        {"/opt/app", "f", "opt/app"},
        {"", "f", ""},
        {"/", "f", ""},
        {"a/.../b", "..x", "a/.../b"},
        {"a", "", "Refused \"a/\": empty name"},
        {"", ".", "Refused \".\": the name is \".\" or \"..\""},
        {"a", "..", "Refused \"a/..\": the name is \".\" or \"..\""},
        {"a", "b/c", "Refused \"a/b/c\": the name holds \"/\""},
        {"a", "x\ny", "Refused \"a/x\\x0Ay\": a control byte in the name or directory"},
        {"a\x7f", "x", "Refused \"a\\x7F/x\": a control byte in the name or directory"},
        {"..", "x", "Refused \"../x\": a \"..\" component would leave the root"},
        {"a/..", "x", "Refused \"a/../x\": a \"..\" component would leave the root"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(std::string(r[0]) + " | " + r[1]);
        std::string got = take(ROOT_REL(r[0], r[1]));
        EXPECT_EQ(err_ ? show(ERR_S()) : got, r[2]);
    }
}

// Allowed senders: exact addresses, gaps anchored at both ends, ranges compared as numbers (not
// as the decimal-point numbers "192.168" that the dotted texts also are).
TEST(Allow, ExactGapsAndRanges) {
    char** cl = ALLOW_CL("10.0.0.7,192.168.1.~,172.16.0.10...172.16.1.20");
    ASSERT_TRUE(cl) << show(ERR_S());
    const std::pair<const char*, char> rows[] = {
        {"10.0.0.7", 1},    {"10.0.0.70", 0},    {"192.168.1.5", 1}, {"192.168.10.5", 0},
        {"172.16.0.10", 1}, {"172.16.0.255", 1}, {"172.16.1.20", 1}, {"172.16.1.21", 0},
        {"172.16.0.9", 0},  {"172.16.99.99", 0}, {"10.0.0.8", 0}};
    for (const auto& [ip, ok] : rows) {
        SCOPED_TRACE(ip);
        sockaddr_in sai = {AF_INET, 0, {IP_UL(ip, 1)}, {}};
        EXPECT_EQ(ALLOW_OK(cl, &sai) + ALLOW_OK(nullptr, &sai), ok);  // no list lets in no one
        EXPECT_FALSE(err_);
    }
    CL_FR(&cl);
    for (const char* bad : {"10.0.0.300", "10.0.0.9...10.0.0.1", "10.0.~x", "a,", "10...~"}) {
        EXPECT_TRUE(!ALLOW_CL(bad) && ERR_S()) << bad;
    }
}
