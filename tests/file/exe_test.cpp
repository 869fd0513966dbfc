// Running shell commands: what counts as a failure, how the error and the command line read, and
// the files the runner leaves behind, for dash and bash as /bin/sh. Capture files are shared with
// other processes, so their number is written "N" before comparing.
#include "support/ut_test.h"

// t with the capture file's number made N; the file named there must be gone.
static std::string norm(std::string t) {
    std::smatch m;
    if (!std::regex_search(t, m, std::regex("/var/tmp/s_exe_stderr[0-9]+\\.tmp"))) return t;
    EXPECT_NE(access(m.str().c_str(), F_OK), 0) << m.str() << " left behind";
    return m.prefix().str() + "/var/tmp/s_exe_stderrN.tmp" + m.suffix().str();
}

// A command has failed exactly when it left error text, its own or a child's report in s_exe.err;
// the text becomes one line, of at most 8,192 bytes ("*": whatever the shell said). The command
// as run is printed with dsp and named in the error: trimmed, "wine " in front of a Windows
// program, the capture behind unless it runs in the background or redirects by itself.
TEST(Exe, OnlyErrorTextIsAFailure) {
    const std::string flood(8192, 'x'), cap = " 2>/var/tmp/s_exe_stderrN.tmp";
    const std::tuple<const char*, std::string, const char*> rows[] = {
        {"sh -c \"head -c 70000 /dev/zero | tr '\\\\0' x >&2\"", "", flood.c_str()},
        {"false", "", nullptr},
        {"ls /nonexistent", "", nullptr},  // silent failure; listing of nothing
        {"cat /nonexistent 2>/dev/null", "cat /nonexistent 2>/dev/null", nullptr},
        {"sh -c \"printf 'sh: line 1: boom\\r\\nnext\\rlast\\n\\n' >&2\"", "", "boom next last"},
        {"printf 'child failed\\r\\n' > s_exe.err", "", "child failed"},  // a child's report
        {"true  ", "true" + cap, nullptr},
        {"true &", "true &", nullptr},
        {"setup.Exe /q", "wine setup.Exe /q" + cap, "*"}};
    for (const auto& [cmd, as_run, text] : rows) {
        SCOPED_TRACE(cmd);
        const std::string line = as_run.empty() ? cmd + cap : as_run;
        testing::internal::CaptureStdout();
        S_EXE(1, cmd);
        std::string e = ERR_S() ? norm(err_msg) : "";
        EXPECT_EQ(norm(testing::internal::GetCapturedStdout()), line + "\r\n");
        if (text && *text == '*' && !e.empty())
            e = e.substr(0, 6) + "*" + e.substr(e.find(" (cmd="));
        EXPECT_EQ(e, text ? "S_EXE:" + std::string(text) + " (cmd=" + line + ")" : "");
        EXPECT_NE(access("s_exe.err", F_OK), 0);
    }
    daemon_op = 1;  // a child reports even while its error is pending; the report is no failure
    S_ERR("boom");  // of the parent when it was there before the run
    S_EXE_ERR(err_msg);
    S_EXE_ERR("second");
    EXPECT_STREQ(ERR_S(), "boom");
    EXPECT_TRUE(std::regex_match(slurp("s_exe.err"), std::regex("boom\r?\nsecond\r?\n")));
    S_EXE(0, "true");
    EXPECT_FALSE(ERR_S());
    daemon_op = 0;
    s_exe_tst = 1;  // test mode: printed as given, not run
    testing::internal::CaptureStdout();
    SM_EXE_HIDE("touch ", "ran", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout() + std::to_string(access("ran", F_OK)),
              "touch ran\n-1");
}
