// Running shell commands: what counts as a failure, how the error and the command line read, and
// the files the runner leaves behind, for dash and bash as /bin/sh. Capture files are shared with
// other processes, so their number is written "N" before comparing.
#include <gtest/gtest.h>

#include <regex>
#include <sys/stat.h>
#include <unistd.h>

#include "file/file_test.h"
#include "support/ut_test.h"

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

// A command has failed exactly when it left error text; the text becomes one line.
TEST(Exe, OnlyErrorTextIsAFailure) {
    const std::pair<const char*, const char*> rows[] = {
        {"false", nullptr},
        {"ls /nonexistent", nullptr},  // silent failure; listing of nothing
        {"cat /nonexistent", "cat: /nonexistent: No such file or directory"},
        {"cat /nonexistent 2>/dev/null", nullptr},  // redirected by itself: not captured
        {"sh -c \"printf 'sh: line 1: boom\\r\\nnext\\rlast\\n\\n' >&2\"", "boom next last"},
        {"printf 'child failed\\r\\n' > s_exe.err", "child failed"},  // a child's report
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.first);
        std::string want = r.second ? "S_EXE:" + std::string(r.second) + " (cmd=" + r.first : "";
        EXPECT_EQ(run(r.first), want + (r.second ? cap + ")" : ""));
        EXPECT_NE(access("s_exe.err", F_OK), 0);
    }
    // dash says "sh: 1: x: not found", bash "sh: line 1: x: command not found": that head goes.
    std::string e = run("nonexistent-command");
    EXPECT_TRUE(std::regex_match(e, std::regex("S_EXE:(sh: 1: )?nonexistent-command: (command )?"
                                               "not found \\(cmd=nonexistent-command" +
                                               cap + "\\)")))
        << e;
}

// The command as run, printed with dsp and named in the error: trimmed, "wine " in front of a
// Windows program, the capture behind unless it runs in the background or redirects itself.
TEST(Exe, CommandLineAsRun) {
    const std::pair<const char*, std::string> rows[] = {
        {"true  ", "true" + cap},
        {"true &", "true &"},
        {"true 2>/dev/null", "true 2>/dev/null"},
        {"setup.EXE /q", "wine setup.EXE /q" + cap},
        {"Setup.exe", "wine Setup.exe" + cap},
        {" setup.EXE", " setup.EXE" + cap},
        {"x.EXEC", "x.EXEC" + cap},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.first);
        testing::internal::CaptureStdout();
        std::string e = run(r.first, 1);
        EXPECT_EQ(norm(testing::internal::GetCapturedStdout()), r.second + "\r\n");
        EXPECT_TRUE(e.empty() || e.substr(e.find(" (cmd=")) == " (cmd=" + r.second + ")") << e;
    }
    testing::internal::CaptureStdout();
    s_exe_tst = 1;  // test mode: printed as given, not run
    SM_EXE_HIDE("touch ", "ran", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "touch ran\n");
    EXPECT_NE(access("ran", F_OK), 0);
}

// A child reports even while its error is pending; a report left from before is not the
// parent's failure; an error file that cannot be deleted stops the run and is the error.
TEST(Exe, ErrorFileChannel) {
    daemon_op = 1;
    S_ERR("boom");
    S_EXE_ERR(err_msg);
    S_EXE_ERR("second");
    EXPECT_STREQ(ERR_S(), "boom");
    EXPECT_TRUE(std::regex_match(slurp("s_exe.err"), std::regex("boom\r?\nsecond\r?\n")));
    EXPECT_EQ(run("true"), "");
    ASSERT_EQ(mkdir("s_exe.err", 0777) | mkdir("s_exe.err/x", 0777), 0);
    EXPECT_EQ(run("touch ran"),
              "S_EXE:Delete error on \"s_exe.err\" [S_EXE] (cmd=touch ran" + cap + ")");
    EXPECT_NE(access("ran", F_OK), 0);
}
