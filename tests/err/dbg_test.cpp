// The debug log as its reader sees dbg.log: stamped lines, blank lines after pauses, pending
// errors left alone, failed writes, rotation and the error report. Lines end in CR LF: the file
// layer's rule for a new file whose name has an extension. Tests that compare the file whole log
// quietly and without time stamps (dbg_vd 0, dbg_tm_fmt null).
#include "support/ut_test.h"

// The first write empties the log; lines are stamped with the time read then; how pieces of
// lines join (characters, and a line started after them), where blank lines fall, that a pending
// error is logged and left pending, that a nested write is refused with the recursion message
// and writes nothing, and what the echo shows (nothing with daemon_op).
TEST(Dbg, LinesStampsPausesPendingErrorRecursionAndEcho) {
    std::ofstream("dbg.log") << "old run\n";
    utm.hour = 25;  // no clock reads that: each stamp must come from a fresh reading
    testing::internal::CaptureStdout();
    S_DBG("first");
    SM_DBG("a", "b", nullptr, "ignored", nullptr);
    dbg_tm_fmt = nullptr;
    B_DBG('x'), B_DBG('y'), SM_DBG_UT(1, 1, "w", nullptr);
    s_dbg_tic = TIC_C() - 1000;  // a pause shorter than s_dbg_spacer_secs: no blank line
    S_DBG("z");
    s_dbg_tic = TIC_C() - 3000;  // longer: a blank line first
    dbg_pgm = "zimb", S_DBG(nullptr), dbg_pgm = nullptr;
    dbg_active = 1, S_DBG("inner"), dbg_active = 0;
    S_ERR("disk on fire");
    daemon_op = 1;
    S_DBG("line");
    SM_DBG("pie", "ces", nullptr);
    std::regex stamp("([01]\\d|2[0-3]):[0-5]\\d:[0-5]\\d ");
    EXPECT_EQ(std::regex_replace(testing::internal::GetCapturedStdout(), stamp, "T "),
              "T first\nT ab\nxy\nw\nz\n\nzimb:\n\a\a\aS_DBG_UT RECURSION:inner\n");
    EXPECT_EQ(std::regex_replace(slurp("dbg.log"), stamp, "T "),
              "T first\r\nT ab\r\nxy\r\nw\r\nz\r\n\r\nzimb:\r\nDBGERR:disk on fire\r\nline\r\n"
              "DBGERR:disk on fire\r\npieces\r\n");
    EXPECT_STREQ(ERR_S(), "disk on fire");
}

// An error report with the caller's name, on standard error only when the echo has not shown
// it (on the console when the log cannot be written); the error is cleared. The log is backed up
// and restarted after the write that passes its limit.
TEST(Dbg, ErrorDumpAndRotation) {
    dbg_vd = 0, dbg_tm_fmt = nullptr;
    EXPECT_EQ(UT_ERR_DMP("main"), 0);
    dbg_vd = 1;
    const std::tuple<dbg_callback_fn, const char*, const char*> dumps[] = {
        {S_DBG_UT_CALLBACK, "x [main]\n", ""}, {nullptr, "\a", "err=x [main]\n"}};
    for (const auto& [echo, out, err] : dumps) {
        S_ERR("x"), s_dbg_ut_callback = echo;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(UT_ERR_DMP("main"), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), err);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), out);
        EXPECT_EQ(err_, 0);
    }
    EXPECT_EQ(slurp("dbg.log"), "x [main]\r\nx [main]\r\n");  // 20 bytes
    dbg_log_mxsz = 22;
    S_DBG(""), S_DBG("new");  // 22 bytes stay; 27 pass the limit: backed up, then deleted
    S_DBG("z");
    EXPECT_EQ(slurp("bk/dbg.log.0") + "|" + slurp("dbg.log"),
              "x [main]\r\nx [main]\r\n\r\nnew\r\n|z\r\n");
    // A log that cannot be written: the report falls back on the console and is cleared.
    dbg_log = ".", s_dbg_ut_callback = nullptr, S_ERR("y");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(UT_ERR_DMP(nullptr) == 1 && err_ == 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Open error on \".\" [BF_FILE] [S_FILE] txt=y [UT_ERR_DMP]\n\a");
}
