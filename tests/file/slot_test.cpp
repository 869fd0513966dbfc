// The fixed slots: each wrapper works on its own static record, and the openers refuse a busy one.
#include "file/file_test.h"

// Each slot writes a line with the piece-list writer and reads it back; an opener names its busy
// slot; closing frees nothing (the records are static) and leaves the counters without a file.
TEST(Slot, EachSlotIsItsOwnRecord) {
    const struct {
        FLDF* (*wop)(const char*, char, char, char);
        void (*sm)(const char*, ...);
        void (*wcl)();
        FLDF* (*rop)(const char*, char);
        uint32_t (*sz)();
        uint16_t (*b)();
        void (*rcl)();
        std::string n;
    } slots[] = {{FLW_OP, SM_FLW, FLW_CL, FLR_OP, FLR_SZ, FLR_B, FLR_CL, ""},
                 {FLW1_OP, SM_FLW1, FLW1_CL, FLR1_OP, FLR1_SZ, FLR1_B, FLR1_CL, "1"},
                 {FLW2_OP, SM_FLW2, FLW2_CL, FLR2_OP, FLR2_SZ, FLR2_B, FLR2_CL, "2"}};
    for (const auto& s : slots) {
        SCOPED_TRACE(s.n);
        const std::string f = "f" + s.n;
        s.wop(f.c_str(), 1, 0, 0);
        s.sm("a", s.n.c_str(), nullptr);
        std::string got = with_err(show(s.wop("x", 1, 0, 0) ? "open" : nullptr));
        s.wcl();
        s.rop(f.c_str(), 0);
        got += "|" + with_err(show(s.rop("x", 0) ? "open" : nullptr));
        got += "|" + std::to_string(s.sz()) + static_cast<char>(s.b());
        s.rcl();
        EXPECT_EQ(got + "|" + with_err(s.sz()) + "|" + slurp(f.c_str()),
                  "<null> Open error on \"x\" (FLW" + s.n +
                      " used)|<null> Open error on \"x\" (FLR" + s.n + " used)|" +
                      std::to_string(2 + s.n.size()) + "a|0 Read error (no file opened)|a" + s.n +
                      "\n");
    }
}
