// The fixed slots: each wrapper works on its own static record, and the openers refuse a busy one.
#include "support/ut_test.h"

// Each slot writes a line with the piece-list writer and reads it back; an opener names its busy
// slot; closing frees nothing (the records are static) and leaves the counters without a file.
TEST(Slot, EachSlotIsItsOwnRecord) {
    auto check = [](auto wop, auto sm, auto wcl, auto rop, auto sz, auto b, auto rcl,
                    std::string n) {
        SCOPED_TRACE(n);
        const std::string f = "f" + n;
        wop(f.c_str(), 1, 0, 0);
        sm("a", n.c_str(), nullptr);
        std::string got = with_err(show(wop("x", 1, 0, 0) ? "open" : nullptr));
        wcl();
        rop(f.c_str(), 0);
        got += "|" + with_err(show(rop("x", 0) ? "open" : nullptr));
        got += "|" + std::to_string(sz()) + static_cast<char>(b());
        rcl();
        EXPECT_EQ(got + "|" + with_err(sz()) + "|" + slurp(f.c_str()),
                  "<null> Open error on \"x\" (FLW" + n + " used)|<null> Open error on \"x\" (FLR" +
                      n + " used)|" + std::to_string(2 + n.size()) +
                      "a|0 Read error (no file opened)|a" + n + "\n");
    };
    check(FLW_OP, SM_FLW, FLW_CL, FLR_OP, FLR_SZ, FLR_B, FLR_CL, "");
    check(FLW1_OP, SM_FLW1, FLW1_CL, FLR1_OP, FLR1_SZ, FLR1_B, FLR1_CL, "1");
    check(FLW2_OP, SM_FLW2, FLW2_CL, FLR2_OP, FLR2_SZ, FLR2_B, FLR2_CL, "2");
}
