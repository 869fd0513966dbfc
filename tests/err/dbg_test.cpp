// The debug log as its reader sees dbg.log: stamped lines, blank lines after pauses, pending
// errors left alone, rotation, and the lines the socket and file layers write when asked. Lines
// end in CR LF: the file layer's rule for a new file whose name has an extension.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>

#include "support/ut_test.h"
#include "ut.h"

namespace {

std::string log_text(const char* name = "dbg.log") {
    std::ifstream f(name, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

// Quiet logging with no time stamp, so that the file can be compared whole.
void plain_log() {
    dbg_vd = 0;
    dbg_tm_fmt = nullptr;
}

}  // namespace

TEST(Dbg, LinesAreStampedAndTheFirstWriteEmptiesTheLog) {
    std::ofstream("dbg.log") << "old run\n";
    dbg_vd = 0;
    S_DBG("first");
    SM_DBG("a", "b", nullptr, "ignored", nullptr);
    EXPECT_TRUE(std::regex_match(log_text(), std::regex("\\d\\d:\\d\\d:\\d\\d first\r\n"
                                                        "\\d\\d:\\d\\d:\\d\\d ab\r\n")))
        << log_text();
}

// How pieces of lines join, and where blank lines fall.
TEST(Dbg, PartialLinesPausesAndProgramName) {
    plain_log();
    B_DBG('x');
    S_DBG("y");
    s_dbg_tic = TIC_C() - 1000;  // a pause shorter than s_dbg_spacer_secs: no blank line
    S_DBG("z");
    s_dbg_tic = TIC_C() - 3000;  // longer: a blank line first
    dbg_pgm = "zimb";
    S_DBG(nullptr);
    EXPECT_EQ(log_text(), "x\r\ny\r\nz\r\n\r\nzimb:\r\n");
}

TEST(Dbg, PendingErrorIsLoggedAndLeftPending) {
    plain_log();
    S_ERR("disk on fire");
    S_DBG("line");
    SM_DBG("pie", "ces", nullptr);
    EXPECT_EQ(log_text(), "DBGERR:disk on fire\r\nline\r\nDBGERR:disk on fire\r\npieces\r\n");
    EXPECT_EQ(psh_err_cnt, 0);
    EXPECT_STREQ(ERR_S(), "disk on fire");
}

TEST(Dbg, FailedWriteLeavesItsErrorPendingWithTheLine) {
    plain_log();
    mkdir("logdir", 0755);
    dbg_log = "logdir";  // a directory cannot be appended to
    S_DBG_UT(1, 1, "lost");
    std::string e = show(ERR_S());
    EXPECT_NE(e.find("logdir"), std::string::npos) << e;
    EXPECT_EQ(e.substr(e.size() - 9), " txt=lost") << e;
}

TEST(Dbg, TracedAllocationReportsALogThatCannotBeWritten) {
    plain_log();
    dbg_log = "missing/dbg.log";
    mem_al_dbg = 2;
    EXPECT_EQ(S_CP("abc"), nullptr);
    mem_al_dbg = 0;
    EXPECT_TRUE(std::regex_match(
        show(ERR_S()), std::regex("Open error on \"missing/dbg.log\" \\[BF_FILE\\] "
                                  "\\[S_FILE\\] txt=MEM_AL:pt=[0-9a-f]+ cnt=1 \\[S_CP\\]")))
        << err_msg;
    EXPECT_EQ(take(S_CP("again")), "again");  // reported once: tracing goes on counting only
    EXPECT_EQ(err_, 0);
}

TEST(Dbg, NestedWriteIsRefusedWithTheRecursionMessage) {
    plain_log();
    testing::internal::CaptureStdout();
    dbg_active = 1;
    S_DBG("inner");
    dbg_active = 0;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\a\a\aS_DBG_UT RECURSION:inner\n");
    EXPECT_EQ(log_text(), "");
}

TEST(Dbg, LogPastItsLimitIsBackedUpAndRestarted) {
    plain_log();
    dbg_log_mxsz = 20;
    S_DBG("0123456789");
    EXPECT_EQ(log_text(), "0123456789\r\n");
    S_DBG("abcdefghij");  // passes 20 bytes: backed up, then deleted
    EXPECT_EQ(log_text("bk/dbg.log.0"), "0123456789\r\nabcdefghij\r\n");
    EXPECT_FALSE(FILE_OK("dbg.log", 0));
    S_DBG("new");
    EXPECT_EQ(log_text(), "new\r\n");
}

// Reporting an error: logged with the caller's name; on the console only when the echo has
// not shown it.
TEST(Dbg, ErrorDumpLogsAndReportsTheError) {
    plain_log();
    s_dbg_ut_callback_def = 0;
    EXPECT_EQ(UT_ERR_DMP("main"), 0);
    S_ERR("x");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(UT_ERR_DMP("main"), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "err=x [main]\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\a");
    EXPECT_EQ(err_, 0);
    EXPECT_EQ(log_text(), "x [main]\r\n");
}

TEST(Dbg, EchoPrintsWholeLinesToTheConsole) {
    dbg_tm_fmt = nullptr;
    testing::internal::CaptureStdout();
    B_DBG('a');
    S_DBG("b");
    daemon_op = 1;
    S_DBG("quiet");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\nb\n");
}

// A receiver run with the debug level set: what the socket and file layers log.
TEST(Dbg, SocketAndFileLayersLogTheirSteps) {
    plain_log();
    dbg_ = 2;
    sockaddr_in sai = {};
    sai.sin_family = AF_INET;
    sai.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int32_t sd = HOST_SAI_SD(&sai, 0);
    BF_FILE("work.tmp", "data", 4, 1);
    FILE_MV("work.tmp", "placed.sh");
    FILE_DL("placed.sh", 0);
    SCK_CL(sd);
    ASSERT_EQ(err_, 0) << err_msg;
    std::string log = log_text();
    for (const char* want : {"SCK_BLOCK:sd=", " block=0\r\n", "FILE_MV:work.tmp -> placed.sh\r\n",
                             "FILE_DL:placed.sh\r\n", "SCK_CL:sd="})
        EXPECT_NE(log.find(want), std::string::npos) << want << " in\n" << log;
    EXPECT_EQ(dbg_, 2);
}
