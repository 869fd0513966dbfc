// Allocation, the scratch ring and the decimal formatter used inside error messages.
#include <gtest/gtest.h>

#include <string>

#include "support/ut_test.h"
#include "ut.h"

#ifndef __SANITIZE_ADDRESS__
// Every malloc fails while this is set (the sanitizer build keeps its own allocator, so there
// the test that needs it is skipped).
static bool malloc_fails = false;
extern "C" void* __libc_malloc(size_t n);
extern "C" void* malloc(size_t n) noexcept {
    return malloc_fails ? nullptr : __libc_malloc(n);
}
#endif

// A refused allocation names the request and the free memory, and gives nothing back.
TEST(Mem, FailedAllocationRaisesItsMessage) {
    EXPECT_EQ(MEM_AL(0), nullptr);
    std::string e = ERR_S();
    EXPECT_EQ(e.rfind("Mem alloc failure (req=0 free=", 0), 0u) << e;
    EXPECT_EQ(e.back(), ')');
    EXPECT_EQ(MEM_AL(~0UL), nullptr);
    e = ERR_S();
    EXPECT_EQ(e.rfind("Mem alloc failure (req=18446744073709551615 free=", 0), 0u) << e;

    char* p = MEM_AL(8);
    const unsigned long huge = 1UL << 62;
    EXPECT_EQ(MEM_REAL(p, huge), p);  // the old block survives a refused resize
    e = ERR_S();
    EXPECT_EQ(e.rfind("Mem alloc failure (req=" + std::to_string(huge) + " free=", 0), 0u) << e;
    p = MEM_REAL(p, 16);
    p = MEM_REAL(p, 0);  // frees
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(err_, 0);
}

TEST(Mem, TracingCountsLiveBlocksButNotScratch) {
    mem_al_dbg = 1;
    char* a = MEM_AL(4);
    char* b = S_CP("x");
    EXPECT_EQ(mem_al_cnt, 2);
    UT_S_CP("scratch");
    V_S10(5, nullptr, 0);
    EXPECT_EQ(mem_al_cnt, 2);
    MEM_FR(&a);
    MEM_FR(&b);
    MEM_FR(&b);
    EXPECT_EQ(mem_al_cnt, 0);
    UT_FREE();
    EXPECT_EQ(mem_al_cnt, 0);
}

TEST(Mem, ByteCopyAndClear) {
    char dst[4] = {'w', 'x', 'y', 'z'};
    B_B("ab", 2, dst);
    B_B(nullptr, 1, dst + 3);
    EXPECT_EQ(std::string(dst, 4), std::string("abyz", 3) + '\0');
    char* c = BF_CP("a\0b", 3);
    EXPECT_EQ(std::string(c, 3), std::string("a\0b", 3));
    MEM_FR(&c);
    EXPECT_EQ(BF_CP("a", 0), nullptr);
    EXPECT_GT(TOTAL_MEM(), AVAIL_MEM());
}

// A scratch string lives through 2047 further scratch allocations; the 2048th reuses its slot.
TEST(Ring, ScratchStringLivesForTwoThousandFortySevenAllocations) {
    char* s = UT_S_CP("kept");
    uint16_t slot = ut_x;
    EXPECT_EQ(ut_pt[slot], s);
    for (int i = 0; i < 2047; i++) UT_AL(1);
    EXPECT_STREQ(s, "kept");
    EXPECT_EQ(ut_pt[slot], s);
    UT_AL(100000);  // too big to land where s was: the slot must now hold another block
    EXPECT_EQ(ut_x, slot);
    EXPECT_NE(ut_pt[slot], s);
    UT_FREE();
    EXPECT_EQ(ut_pt, nullptr);
    EXPECT_EQ(ut_x, 0);
    EXPECT_STREQ(UT_SM_CP("a", "b", nullptr), "ab");  // a new ring after UT_FREE
    EXPECT_EQ(ut_x, 0);
}

TEST(Mem, NoMemoryEvenForTheMessage) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "needs the C library's malloc";
#else
    S_ERR("File not found: x");
    ERR_S();
    malloc_fails = true;
    char* p = MEM_AL(16);
    RTN_ERR("S_CP");
    malloc_fails = false;
    EXPECT_EQ(p, nullptr);
    EXPECT_STREQ(ERR_S(), "Mem alloc failure");
    S_ERR("later");
    EXPECT_STREQ(ERR_S(), "later");
#endif
}
