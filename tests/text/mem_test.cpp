// Allocation, its failure message and trace, and the scratch ring.
#include "support/ut_test.h"

#ifndef __SANITIZE_ADDRESS__
// Every malloc fails while this is set (the sanitizer build keeps its own allocator).
static bool malloc_fails = false;
extern "C" void* __libc_malloc(size_t n);
extern "C" void* malloc(size_t n) noexcept {
    return malloc_fails ? nullptr : __libc_malloc(n);
}
#endif

// Copies and clears of bytes. A refused allocation names the request, as the unsigned number it is,
// and the free memory, and gives nothing back; a refused resize gives the old block back. With no
// memory even for that message, the fixed text stands, never an older one.
TEST(Mem, BlocksCopiesAndFailedAllocations) {
    char* p = MEM_AL(8);
    const std::pair<unsigned long, bool> rows[] = {{0, false}, {~0UL, false}, {1UL << 62, true}};
    for (const auto& [n, resize] : rows) {
        EXPECT_EQ(resize ? MEM_REAL(p, n) : MEM_AL(n), resize ? p : nullptr);
        std::regex want("Mem alloc failure \\(req=" + std::to_string(n) + " free=\\d+\\)");
        EXPECT_TRUE(std::regex_match(show(ERR_S()), want)) << err_msg;
    }
    EXPECT_EQ(p = MEM_REAL(MEM_REAL(p, 16), 0), nullptr);  // grows, then frees
    char dst[4] = {'w', 'x', 'y', 'z'}, *c = BF_CP("a\0b", 3);
    B_B("ab", 2, dst), B_B(nullptr, 1, dst + 3);
    EXPECT_EQ(std::string(dst, 4) + std::string(c, 3), std::string("aby\0a\0b", 7));
    MEM_FR(&c);
    EXPECT_EQ(BF_CP("a", 0), nullptr);
    EXPECT_GT(TOTAL_MEM(), AVAIL_MEM());
#ifndef __SANITIZE_ADDRESS__
    S_ERR("File not found: x"), ERR_S();
    malloc_fails = true;
    p = MEM_AL(16), RTN_ERR("S_CP");  // no memory for the trail either
    malloc_fails = false;
    EXPECT_TRUE(p == nullptr && !strcmp(ERR_S(), "Mem alloc failure")) << err_msg;
    S_ERR("later");  // the fixed text is not freed as the next one replaces it
    EXPECT_STREQ(ERR_S(), "later");
#endif
}

// A scratch string lives through 2047 further scratch allocations; the 2048th reuses its slot.
// The ring's blocks are not counted by the trace, which counts every other live block.
TEST(Ring, ScratchStringLivesForTwoThousandFortySevenAllocations) {
    mem_al_dbg = 1;
    char *a = MEM_AL(4), *b = S_CP("x"), *s = UT_S_CP("kept");
    uint16_t slot = ut_x;
    for (int i = 0; i < 2047; i++) UT_AL(1);
    EXPECT_TRUE(ut_pt[slot] == s && !strcmp(s, "kept"));
    UT_AL(100000);  // too big to land where s was: the slot must now hold another block
    EXPECT_TRUE(ut_x == slot && ut_pt[slot] != s);
    EXPECT_EQ(mem_al_cnt, 2);
    MEM_FR(&a), MEM_FR(&b), MEM_FR(&b);  // a second free of the nulled pointer is harmless
    UT_FREE();
    EXPECT_TRUE(mem_al_cnt == 0 && ut_pt == nullptr && ut_x == 0);
    EXPECT_STREQ(UT_SM_CP("a", "b", nullptr), "ab");  // a new ring after UT_FREE
    EXPECT_EQ(ut_x, 0);
}
