// Running shell commands: what counts as a failure, how the error and the command line read, and
// the files the runner leaves behind, for dash and bash as /bin/sh. Capture files are shared with
// other processes, so their number is written "N" before comparing.
#include "file/file_test.h"

static const std::string cap = " 2>/var/tmp/s_exe_stderrN.tmp";

// t with the capture file's number made N; the file named there must be gone.
static std::string norm(std::string t) {
    std::smatch m;
    if (!std::regex_search(t, m, std::regex("/var/tmp/s_exe_stderr[0-9]+\\.tmp"))) return t;
    EXPECT_NE(access(m.str().c_str(), F_OK), 0) << m.str() << " left behind";
    return m.prefix().str() + "/var/tmp/s_exe_stderrN.tmp" + m.suffix().str();
}

// S_EXE (dsp, cmd): the error it raised, normalised, or "" for none.
static std::string run(const char* cmd, char dsp = 0) {
    ERR_S();
    S_EXE(dsp, cmd);
    return ERR_S() ? norm(err_msg) : "";
}

// A command has failed exactly when it left error text, its own or a child's report in s_exe.err;
// the text becomes one line, of at most 8,192 bytes.
TEST(Exe, OnlyErrorTextIsAFailure) {
    const std::string flood(8192, 'x');
    const std::pair<const char*, const char*> rows[] = {
        {"sh -c \"head -c 70000 /dev/zero | tr '\\\\0' x >&2\"", flood.c_str()},
        {"false", nullptr},
        {"ls /nonexistent", nullptr},               // silent failure; listing of nothing
        {"cat /nonexistent 2>/dev/null", nullptr},  // redirected by itself: not captured
        {"sh -c \"printf 'sh: line 1: boom\\r\\nnext\\rlast\\n\\n' >&2\"", "boom next last"},
        {"printf 'child failed\\r\\n' > s_exe.err", "child failed"}};  // a child's report
    for (const auto& [cmd, text] : rows) {
        SCOPED_TRACE(cmd);
        EXPECT_EQ(run(cmd), text ? "S_EXE:" + std::string(text) + " (cmd=" + cmd + cap + ")" : "");
        EXPECT_NE(access("s_exe.err", F_OK), 0);
    }
    daemon_op = 1;  // a child reports even while its error is pending; the report is no failure
    S_ERR("boom");  // of the parent when it was there before the run
    S_EXE_ERR(err_msg);
    S_EXE_ERR("second");
    EXPECT_STREQ(ERR_S(), "boom");
    EXPECT_TRUE(std::regex_match(slurp("s_exe.err"), std::regex("boom\r?\nsecond\r?\n")));
    EXPECT_EQ(run("true"), "");
}

// The command as run, printed with dsp and named in the error: trimmed, "wine " in front of a
// Windows program, the capture behind unless it runs in the background.
TEST(Exe, CommandLineAsRun) {
    const std::pair<const char*, std::string> rows[] = {{"true  ", "true" + cap},
                                                        {"true &", "true &"},
                                                        {"setup.EXE /q", "wine setup.EXE /q" + cap},
                                                        {"Setup.exe", "wine Setup.exe" + cap},
                                                        {"x.EXEC", "x.EXEC" + cap}};
    for (const auto& [cmd, line] : rows) {
        SCOPED_TRACE(cmd);
        testing::internal::CaptureStdout();
        std::string e = run(cmd, 1);
        EXPECT_EQ(norm(testing::internal::GetCapturedStdout()), line + "\r\n");
        EXPECT_TRUE(e.empty() || e.substr(e.find(" (cmd=")) == " (cmd=" + line + ")") << e;
    }
    s_exe_tst = 1;  // test mode: printed as given, not run
    testing::internal::CaptureStdout();
    SM_EXE_HIDE("touch ", "ran", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout() + std::to_string(access("ran", F_OK)),
              "touch ran\n-1");
}
