// The last step from words to reals, bit for bit: scale and offset in their told precision, one
// rounding in the copies with fused multiply-add, two in the others.
#include <cfenv>
#include <cmath>
#include <cstring>

#include "frame/hardware.h"
#include "support.h"

namespace korvan::testing {
namespace {

struct Generator {
    GeneratorId id;
    bool isSigned;
    double scale;  // of the interval's length
};
constexpr Generator generators[] = {{GEN_MCG31, false, 1.0 / 2147483647.0},
                                    {GEN_R250, false, 0x1p-32},
                                    {GEN_MRG32K3A, false, 1.0 / 4294967087.0},
                                    {GEN_MT19937, false, 0x1p-32},
                                    {GEN_MT2203 + 17, false, 0x1p-32},
                                    {GEN_SFMT19937, true, 0x1p-32},
                                    {GEN_ARS5, true, 0x1p-32},
                                    {GEN_PHILOX4X32X10, true, 0x1p-32}};

constexpr std::int32_t n = 5000;

double numberOf(std::uint32_t word, bool isSigned) {
    return isSigned ? static_cast<double>(static_cast<std::int32_t>(word)) : word;
}

TEST(RealMaps, DoublesAreScaledInDouble) {
    for (const auto& [id, isSigned, unit] : generators) {
        if (id == GEN_ARS5 && !hasAesGenerator()) continue;
        for (const auto& [a, b] : {std::pair{0.1, 0.7}, {-3.3, 1e3}, {1e9, 1e9 + 1}}) {
            const Words words = drawWords(Stream(id, 8), n);
            std::vector<double> r(n);
            ASSERT_EQ(vdRngUniform(0, Stream(id, 8), n, r.data(), a, b), RNG_OK);
            const double scale = (b - a) * unit, offset = isSigned ? (a + b) * 0.5 : a;
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_EQ(r[i], multiplyAdd(numberOf(words[i], isSigned), scale, offset))
                    << std::hex << id << ", element " << i;
            }
        }
    }
}

// The counter-based ones stay in single throughout; SFMT19937 rounds its scale and centre from
// double; the others compute in double and round at the store.
TEST(RealMaps, SinglesKeepTheirOwnPrecision) {
    for (const auto& [id, isSigned, unit] : generators) {
        if (id == GEN_ARS5 && !hasAesGenerator()) continue;
        for (const auto& [a, b] :
             {std::pair{0.1F, 0.7F}, {-3.3F, 1e3F}, {16777216.0F, 16777219.0F}}) {
            const Words words = drawWords(Stream(id, 8), n);
            std::vector<float> r(n);
            ASSERT_EQ(vsRngUniform(0, Stream(id, 8), n, r.data(), a, b), RNG_OK);
            const double low = a, high = b;
            float scale = static_cast<float>((high - low) * unit);
            float centre = static_cast<float>((high + low) * 0.5);
            if (id == GEN_ARS5 || id == GEN_PHILOX4X32X10) {
                scale = (b - a) * 0x1p-32F;
                centre = (a + b) * 0.5F;
            }
            for (std::size_t i = 0; i < n; ++i) {
                const double number = numberOf(words[i], isSigned);
                const float expected =
                    isSigned ? multiplyAdd(static_cast<float>(number), scale, centre)
                             : static_cast<float>(multiplyAdd(number, (high - low) * unit, low));
                ASSERT_EQ(r[i], expected) << std::hex << id << ", element " << i;
            }
        }
    }
}

// Those that compute in doubles keep to their own rounding in every copy.
TEST(RealMaps, CallersRoundingModeDoesNotReachFillsInDoubles) {
    for (const GeneratorId id : {GEN_MRG32K3A, GEN_WH}) {
        std::vector<double> expected(n), r(n);
        ASSERT_EQ(vdRngUniform(0, Stream(id, 8), n, expected.data(), 0, 1), RNG_OK);
        for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
            const Stream stream(id, 8);
            std::fesetround(mode);
            const std::int32_t status = vdRngUniform(0, stream, n, r.data(), 0, 1);
            std::fesetround(FE_TONEAREST);
            ASSERT_EQ(status, RNG_OK);
            EXPECT_EQ(r, expected) << std::hex << id << ", mode " << mode;
        }
    }
}

}  // namespace
}  // namespace korvan::testing
