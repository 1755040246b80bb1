// Normal variates in pairs: the partner that waits on the stream.
#include <cfenv>

#include "recording_generator.h"
#include "streams/attachments.h"
#include "support.h"
#include "vectormath/error_path.h"
#include "vectormath/mode_word.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

constexpr std::int32_t paired = METHOD_GAUSSIAN_BOX_MULLER_PAIRED;

// The precisions under one name.
std::int32_t gaussian(std::int32_t method, StreamHandle stream, std::size_t n, double* r,
                      double a = 0, double sigma = 1) {
    return vdRngGaussian(method, stream, static_cast<std::int32_t>(n), r, a, sigma);
}
std::int32_t gaussian(std::int32_t method, StreamHandle stream, std::size_t n, float* r,
                      float a = 0, float sigma = 1) {
    return vsRngGaussian(method, stream, static_cast<std::int32_t>(n), r, a, sigma);
}

template <class Real>
class GaussianPairs : public ::testing::Test {
  protected:
    static std::vector<Real> draw(StreamHandle stream, std::size_t n, Real a = 0, Real sigma = 1) {
        std::vector<Real> r(n + 1, Real{77});
        EXPECT_EQ(gaussian(paired, stream, n, r.data(), a, sigma), RNG_OK);
        EXPECT_EQ(r[n], 77);
        r.pop_back();
        return r;
    }
    static constexpr std::uint32_t tag = sizeof(Real) == 8 ? tagDoubleGaussian : tagSingleGaussian;
};
using Precisions = ::testing::Types<double, float>;
TYPED_TEST_SUITE(GaussianPairs, Precisions);

// The sine's variate first, of the same pair as method 0 has it.
TYPED_TEST(GaussianPairs, SinesAreThoseOfMethod0) {
    using Real = TypeParam;
    Stream stream(GEN_SFMT19937, 4), twin(stream);
    const std::vector<Real> pairs = this->draw(stream, 5000);
    std::vector<Real> sines(2500);
    ASSERT_EQ(gaussian(0, twin, 2500, sines.data()), RNG_OK);
    for (std::size_t i = 0; i < 2500; ++i) {
        const Real unit = std::numeric_limits<Real>::epsilon() * (sizeof(Real) == 8 ? 0x1p28F : 32);
        ASSERT_NEAR(pairs[2 * i], sines[i], unit * std::abs(sines[i])) << i;
    }
    // Partners: the radius is a logarithm of the even uniform.
    Stream again(GEN_SFMT19937, 4);
    std::vector<Real> u(5000);
    if constexpr (sizeof(Real) == 8) {
        ASSERT_EQ(vdRngUniform(0, again, 5000, u.data(), 0, 1), RNG_OK);
    } else {
        ASSERT_EQ(vsRngUniform(0, again, 5000, u.data(), 0, 1), RNG_OK);
    }
    for (std::size_t i = 0; i < 5000; i += 2) {
        const double square = double{pairs[i]} * pairs[i] + double{pairs[i + 1]} * pairs[i + 1];
        const double radius = -2 * std::log(double{u[i]});
        ASSERT_NEAR(square, radius, 3e-6 * radius) << i;
    }
}

TYPED_TEST(GaussianPairs, OddCallsGiveTheSameVariates) {
    using Real = TypeParam;
    Stream whole(GEN_MT19937, 8);
    const std::vector<Real> expected = this->draw(whole, 4000);
    for (const std::vector<std::size_t>& lengths :
         {std::vector<std::size_t>{3, 5}, {1, 1, 1}, {1023, 2}, {1025, 1024, 1}, {1, 2048, 7}}) {
        Stream stream(GEN_MT19937, 8);
        std::size_t done = 0;
        for (const std::size_t n : lengths) {
            const std::vector<Real> part = this->draw(stream, n);
            for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(part[i], expected[done + i]) << done + i;
            done += n;
        }
        // Two words a pair, and both partners of the last one are paid for.
        Stream twin(GEN_MT19937, 8);
        drawWords(twin, (done + 1) / 2 * 2);
        EXPECT_EQ(drawWords(stream, 4), drawWords(twin, 4)) << done;
    }
}

TYPED_TEST(GaussianPairs, PartnerWaitsForItsMethod) {
    using Real = TypeParam;
    Stream stream(GEN_PHILOX4X32X10, 6), twin(stream);
    const std::vector<Real> both = this->draw(twin, 2);
    EXPECT_EQ(this->draw(stream, 1)[0], both[0]);
    Real other[3];
    ASSERT_EQ(gaussian(0, stream, 3, other), RNG_OK);
    ASSERT_EQ(gaussian(2, stream, 3, other), RNG_OK);
    const Stream copy(stream);
    std::vector<char> image = imageOf(stream);
    StreamHandle loaded = nullptr;
    ASSERT_EQ(vslLoadStreamM(&loaded, image.data()), RNG_OK);
    const Words before = drawWords(Stream(stream), 3);
    for (const StreamHandle holder : {stream.handle, copy.handle, loaded}) {
        const Real x = this->draw(holder, 1, 10, 3)[0];  // scaled as this call says
        EXPECT_NEAR(x, 10 + 3 * both[1], 1e-5);
        EXPECT_EQ(drawWords(holder, 3), before);
    }
    vslDeleteStream(&loaded);
}

// A loaded key must not tie streams together that write to what they keep.
TYPED_TEST(GaussianPairs, AreNeverShared) {
    using Real = TypeParam;
    Stream stream(GEN_MCG31, 6);
    this->draw(stream, 1);
    std::vector<char> image = imageOf(stream);
    image[24 + 8 + 4] = 1;  // the key
    StreamHandle x = nullptr, y = nullptr;
    ASSERT_EQ(vslLoadStreamM(&x, image.data()), RNG_OK);
    ASSERT_EQ(vslLoadStreamM(&y, image.data()), RNG_OK);
    const Real waiting = this->draw(x, 1)[0];
    EXPECT_NE(findAttachment(x, this->tag), findAttachment(y, this->tag));
    EXPECT_EQ(this->draw(y, 1)[0], waiting);
    vslDeleteStream(&x);
    vslDeleteStream(&y);
    EXPECT_EQ(sharedBlocks().count(), 0u);
    // Another size can't be the law's.
    image[24 + 8 + 20] = 4;
    EXPECT_EQ(vslLoadStreamM(&x, image.data()), RNG_BAD_MEMORY_FORMAT);
}

TYPED_TEST(GaussianPairs, FailuresLeaveNothingHalfDone) {
    using Real = TypeParam;
    {
        WatchedHeap heap;
        for (const int allocations : {0, 1}) {
            Stream stream(GEN_PHILOX4X32X10, 6);
            heap.failAfter(allocations);
            Real r[3];
            EXPECT_EQ(gaussian(paired, stream, 3, r), RNG_NO_MEMORY);
            heap.failNever();
            EXPECT_EQ(drawWords(stream, 3), drawWords(Stream(GEN_PHILOX4X32X10, 6), 3));
        }
        EXPECT_EQ(heap.blocksHeld(), 0);
    }
    // A drawing that fails behind the waiting partner: the partner is gone, and nothing else is in
    // its place.
    RecordingGenerator recording;
    this->draw(recording.stream(), 1);
    RecordingGenerator::failingCall = 2;
    Real r[5];
    EXPECT_EQ(gaussian(paired, recording.stream(), 5, r), RecordingGenerator::failure);
    const auto* pair = static_cast<const Real*>(findAttachment(recording.stream(), this->tag));
    EXPECT_EQ(pair[0], -1);
    EXPECT_EQ(pair[1], -1);
    RecordingGenerator::counts.clear();
    this->draw(recording.stream(), 2);
    EXPECT_EQ(RecordingGenerator::counts, std::vector<std::int32_t>{2});
}

// ---- The frame ----

std::int32_t ownCallback(VmlErrorContext*) {
    return 0;
}

// However a law ends, the caller's registers, mode and callback are as they were.
TEST(RealLawFrames, GiveBackWhatIsTheCallers) {
    setErrorCallback(ownCallback);
    const ModeWord own = VML_LA | VML_ERRMODE_ERRNO | VML_ERRMODE_CALLBACK | DENORMAL_KEEP;
    const ModeWord before = setModeWord(own);
    const ModeWord mode = getModeWord();
    std::feclearexcept(FE_ALL_EXCEPT);
    ASSERT_NE(feenableexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW), -1);
    const int enabled = fegetexcept();
    std::vector<double> r(3000);
    const auto check = [&](std::int32_t status, std::int32_t expected) {
        const int now = fegetexcept();
        EXPECT_EQ(status, expected);
        EXPECT_EQ(now, enabled);
        EXPECT_EQ(getModeWord(), mode);
        EXPECT_EQ(vectorMathThread().callback, ownCallback);
    };
    for (const int failing : {0, 1, 2}) {
        const std::int32_t expected = failing ? RecordingGenerator::failure : RNG_OK;
        const std::int32_t once = failing == 1 ? RecordingGenerator::failure : RNG_OK;
        const auto drawn = [&](auto law) {
            RecordingGenerator recording;
            RecordingGenerator::failingCall = failing;
            return law(recording.stream(), 3000, r.data());
        };
        using S = StreamHandle;
        check(drawn([](S s, std::int32_t m, double* x) { return vdRngGaussian(0, s, m, x, 0, 1); }),
              expected);
        check(drawn([](S s, std::int32_t m, double* x) { return vdRngGaussian(1, s, m, x, 0, 1); }),
              expected);
        check(drawn([](S s, std::int32_t m, double* x) { return vdRngLaplace(0, s, m, x, 0, 1); }),
              expected);
        check(drawn([](S s, std::int32_t m, double* x) { return vdRngGaussian(2, s, m, x, 0, 1); }),
              once);
        check(drawn([](S s, std::int32_t m, double* x) { return vdRngGumbel(0, s, m, x, 0, 1); }),
              once);
        check(
            drawn([](S s, std::int32_t m, double* x) { return vdRngWeibull(0, s, m, x, 2, 0, 1); }),
            once);
        check(drawn([](S s, std::int32_t m, double* x) {
                  return vdRngLognormal(1, s, m, x, 0, 1, 0, 1);
              }),
              once);
        std::int32_t counts[3000];
        const double means[3000] = {0.01, 5}, thirds[3] = {0.25, 0.5, 0.25};
        using Real = double;
        check(drawn([&](S s, int m, Real*) { return viRngGeometric(0, s, m, counts, 0.1); }),
              expected);
        check(drawn([&](S s, int m, Real*) { return viRngPoisson(0, s, m, counts, 5); }), expected);
        check(drawn([&](S s, int m, Real*) { return viRngPoisson(0, s, m, counts, 50); }),
              expected);
        check(drawn([&](S s, int m, Real*) { return viRngPoisson(0, s, m, counts, 500); }),
              expected);
        check(drawn([&](S s, int m, Real*) { return viRngPoisson(1, s, m, counts, 50); }), once);
        check(drawn([&](S s, int m, Real*) { return viRngPoissonV(0, s, m, counts, means); }),
              once);
        check(drawn([&](S s, int, Real*) {
                  return viRngMultinomial(0, s, 1000, counts, 100, 3, thirds);
              }),
              expected);
    }
    fedisableexcept(FE_ALL_EXCEPT);
    std::feclearexcept(FE_ALL_EXCEPT);
    setErrorCallback(nullptr);
    setModeWord(before);
}

}  // namespace
}  // namespace korvan::testing
