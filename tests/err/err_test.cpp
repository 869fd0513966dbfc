// The error state: what a caller sees after raising, extending, clearing, saving and restoring.
#include "support/ut_test.h"

// Ten one-digit pieces, to build a list longer than 49 pieces.
#define TEN "0", "1", "2", "3", "4", "5", "6", "7", "8", "9"

// OS_ERR(name, detail, code) with errno set first; the number it returns is appended as "=N".
#define OS(name, detail, code, eno)                                                                \
    [] { errno = eno, SM_ERRA("=", V_S10(OS_ERR(name, detail, code), nullptr, 0), nullptr); }

// Each row starts from a clear state whose last, cleared text is "old" and gives the text ERR_S
// then returns ("<null>": nothing pending). The rows run at every tracing level: the allocation
// trace logs through the formatters and the debug log in the middle of these routines' updates.
// A raise after each row shows a text freed twice.
TEST(Err, EveryChangeOfTheStateLeavesItsExactText) {
    const std::string enoent = std::string("err #2:") + strerror(ENOENT);
    // clang-format off
    const std::pair<void (*)(), std::string> rows[] = {
        // The first error wins; null and empty texts; a list stops at a null or the 49th piece;
        // appending revives the cleared text.
        {[] { S_ERR(nullptr); }, "(null)"}, {[] { S_ERR(""); }, "(null)"},
        {[] { SM_ERR(nullptr, nullptr); }, ""}, {[] { SM_ERR("a", nullptr, "b", nullptr); }, "a"},
        {[] { SM_ERR(TEN, TEN, TEN, TEN, TEN, TEN, nullptr); },
         "0123456789012345678901234567890123456789012345678"},
        {[] { SM_ERRA(TEN, TEN, TEN, TEN, TEN, TEN, nullptr); },
         "old0123456789012345678901234567890123456789012345678"},
        // The trail, and what RTN_ERR answers.
        {[] { S_ERR("x"), S_ERRA(RTN_ERR("S_CP") + RTN_ERR("S_RP") == 2 ? "=1" : "=0"); },
         "x [S_CP] [S_RP]=1"},
        {[] { S_ERRA(RTN_ERR("MAIN") ? "=1" : nullptr); }, "old"},
        // The stack: a saved error replaces what was raised since the push; nothing saved keeps
        // it. Logging saves and restores a pending error.
        {[] { S_ERR("x"), PSH_ERR(), S_ERR("y"), POP_ERR(); }, "x"},
        {[] { PSH_ERR(), S_ERR("y"), POP_ERR(); }, "y"},
        {[] { S_ERR("x"), PSH_ERR(), POP_ERR(); }, "x"}, {[] { PSH_ERR(), POP_ERR(); }, "<null>"},
        {[] { S_ERR("A"), S_DBG("line"); }, "A"},
        // System errors: "NAME:detail (err #N:text)" and the null-name form; a code wins over
        // errno; a pending error makes OS_ERR return 1 and record nothing.
        {OS("AVAIL_DRV", ":statfs", ENOENT, EPERM), "AVAIL_DRV:statfs (" + enoent + ")=2"},
        {OS("AVAIL_DRV", ":statfs", 0, ENOENT), "AVAIL_DRV:statfs (" + enoent + ")=2"},
        {OS(nullptr, nullptr, ENOENT, 0), enoent + "=2"}, {OS(nullptr, nullptr, 0, 0), "old=0"},
        {OS("NAME", ":detail", 0, 0), "NAME:detail=0"},
        {[] { S_ERR("first"), os_err = 0, OS("X", ":y", EPERM, 0)(), S_ERRA(os_err ? "!" : ""); },
         "first=1"},
        // At full depth a formatter leaves the stack alone and an eleventh push is ignored,
        // leaving the error pending (the text as it was then follows); the pop of level 10
        // restores its saved text.
        {[] {
             for (int i = 0; i < 9; i++) PSH_ERR();
             S_ERR("saved"), PSH_ERR(), SM_ERR("deep", V_S10(42, nullptr, 0), nullptr), PSH_ERR();
             static std::string then;
             then = std::string(err_ ? err_msg : "none") + V_S10(psh_err_cnt, nullptr, 0);
             for (int i = 0; i < 11; i++) POP_ERR();
             S_ERRA(then.c_str());
         }, "saveddeep4210"}};
    // clang-format on
    dbg_vd = 0;
    for (char level : {0, 1, 2})
        for (const auto& [run, want] : rows) {
            SCOPED_TRACE(std::to_string(level) + ": " + want);
            S_ERR("old"), ERR_S();
            mem_al_dbg = level, run(), mem_al_dbg = 0;
            EXPECT_EQ(show(ERR_S()) + " at depth " + std::to_string(psh_err_cnt),
                      want + " at depth 0");
            S_ERR("later");  // reading cleared the error
            EXPECT_STREQ(ERR_S(), "later");
        }
    EXPECT_TRUE(!ST_OK(nullptr) && ST_OK(""));  // presence looks only at the pointer
}
