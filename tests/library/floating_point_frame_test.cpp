#define KORVAN_COPY testing
#include "distributions/shared/law_frame-inl.h"

#include <fenv.h>

#include <cmath>

#include "support.h"

namespace korvan::testing {
namespace {

struct Registers {
    std::uint16_t x87;
    std::uint32_t sse;
};
Registers registers() {
    Registers now{0, _mm_getcsr()};
    asm volatile("fnstcw %0" : "=m"(now.x87));
    return now;
}

// A trap inside would end the program.
TEST(LawFrame, MasksInsideAndGivesBackTheCallersRegisters) {
    volatile double zero = 0, one = 1;
    volatile long double longZero = 0;
    feclearexcept(FE_ALL_EXCEPT);
    ASSERT_NE(feenableexcept(FE_DIVBYZERO | FE_INVALID), -1);
    const Registers before = registers();
    {
        const LawFrame frame(nullptr);
        EXPECT_TRUE(std::isinf(one / zero));
        EXPECT_TRUE(std::isnan(longZero / longZero));
        EXPECT_EQ(registers().sse & 0x1F80, 0x1F80u);
        EXPECT_EQ(registers().x87 & 0x3F, 0x3F);
    }
    const Registers after = registers();
    const int raised = fetestexcept(FE_DIVBYZERO | FE_INVALID);
    fedisableexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(after.sse, before.sse);
    EXPECT_EQ(after.x87, before.x87);
    EXPECT_EQ(raised, 0);
}

}  // namespace
}  // namespace korvan::testing
