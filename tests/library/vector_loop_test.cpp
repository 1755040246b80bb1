// The loop that all vector math kernels share: where an element stands changes nothing.
#include <cerrno>
#include <cfenv>
#include <chrono>
#include <limits>
#include <thread>

#include "frame/thread_settings.h"
#include "support.h"
#include "vector_calls.h"
#include "vectormath/error_path.h"

namespace korvan::testing {
namespace {

// In every kernel's domain.
template <class Real>
std::vector<Real> goodArguments(std::size_t n) {
    std::vector<Real> x(n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto step = static_cast<int>(i * 37 % 101);
        x[i] = static_cast<Real>(0.01 + 0.97 * step / 101);
    }
    return x;
}

// What each element gives in a call of its own.
template <class Real, class Row>
std::vector<Real> oneByOne(Row* row, const std::vector<Real>& x, int results) {
    std::vector<Real> y(x.size() * static_cast<std::size_t>(results));
    for (std::size_t i = 0; i < x.size(); ++i) {
        Real both[2] = {};
        callRow(row, 1, &x[i], both, 1);
        for (int k = 0; k < results; ++k) {
            y[i + x.size() * static_cast<std::size_t>(k)] = both[k];
        }
    }
    return y;
}

TEST(VectorLoop, AnElementsBitsDependOnItAlone) {
    forEachRow([](const std::string& name, auto* row, auto zero, int results) {
        using Real = decltype(zero);
        constexpr std::int32_t most = 70;
        const std::vector<Real> x = goodArguments<Real>(most + 3);
        for (const std::int32_t n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, most}) {
            const auto count = static_cast<std::size_t>(n);
            for (std::size_t offset = 0; offset < 3; ++offset) {
                const std::vector<Real> own(x.begin() + static_cast<std::ptrdiff_t>(offset),
                                            x.begin() + static_cast<std::ptrdiff_t>(offset) + n);
                const std::vector<Real> expected = oneByOne(row, own, results);
                std::vector<Real> y(offset + count * 2 + 1, Real{-77});
                callRow(row, n, x.data() + offset, y.data() + offset, n);
                ASSERT_TRUE(sameBits(y.data() + offset, expected.data(), expected.size()))
                    << name << ", n " << n << ", offset " << offset;
                for (std::size_t i = offset + expected.size(); i < y.size(); ++i) {
                    ASSERT_EQ(y[i], -77) << name << " wrote behind " << n << " elements";
                }
                if (results != 1) continue;
                std::vector<Real> inPlace = own;
                callRow(row, n, inPlace.data(), inPlace.data(), n);
                ASSERT_TRUE(sameBits(inPlace.data(), expected.data(), count)) << name;
            }
        }
    });
}

void checkNeighbours() {
    forEachRow([](const std::string& name, auto* row, auto zero, int results) {
        using Real = decltype(zero);
        using Limits = std::numeric_limits<Real>;
        const Real special[] = {0,
                                -0.0F,
                                -1,
                                1,
                                -2,
                                Limits::infinity(),
                                -Limits::infinity(),
                                Limits::quiet_NaN(),
                                Limits::denorm_min(),
                                Limits::min() / 4,
                                Limits::max(),
                                -Limits::max()};
        constexpr std::int32_t n = 37;  // with a tail in every copy
        const std::vector<Real> good = goodArguments<Real>(n);
        const auto checkOn = [&](const std::vector<Real>& x) {
            const std::vector<Real> expected = oneByOne(row, x, results);
            std::vector<Real> y(expected.size());
            callRow(row, n, x.data(), y.data(), n);
            ASSERT_TRUE(sameBits(y.data(), expected.data(), y.size())) << name;
            if (results != 1) return;
            y = x;
            callRow(row, n, y.data(), y.data(), n);
            ASSERT_TRUE(sameBits(y.data(), expected.data(), y.size())) << name << " in place";
        };
        for (const Real value : special) {
            for (std::size_t at = 0; at < n; ++at) {
                std::vector<Real> x = good;
                x[at] = value;
                checkOn(x);
            }
            checkOn(std::vector<Real>(n, value));
        }
    });
}

TEST(VectorLoop, NeighboursOfExceptionalElementsKeepTheirBits) {
    onFreshThread(checkNeighbours);
}

// Keeps the part with the pole back, so that the one behind it is done first.
std::int32_t replaceByIndex(VmlErrorContext* context) {
    if (context->code == VML_STATUS_SING) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    context->result1 = context->index;
    return 0;
}

// Large enough for several threads, with elements that fail in parts that aren't the caller's own.
TEST(VectorLoop, ThreadsChangeNothing) {
    constexpr std::int32_t n = 300'001;
    std::vector<double> x = goodArguments<double>(n), alone(n), shared(n);
    x[n / 2] = 0;
    x[n - 2] = -1;
    onFreshThread([&] {
        setThreadCountOfThisThread(1);
        vectorKernels().vdLn->ep(n, x.data(), alone.data());
    });
    onFreshThread([&] {
        setThreadCountOfThisThread(3);
        setErrorCallback(replaceByIndex);
        setModeWord(VML_ERRMODE_CALLBACK | VML_ERRMODE_ERRNO);  // flags: only the run's
        const ModeWord mode = getModeWord();
        errno = 0;
        std::feclearexcept(FE_ALL_EXCEPT);
        vectorKernels().vdLn->ep(n, x.data(), shared.data());
        EXPECT_EQ(lastVmlStatus(), VML_STATUS_ERRDOM) << "the last element that failed";
        EXPECT_EQ(errno, EDOM);
        EXPECT_NE(std::fetestexcept(FE_DIVBYZERO), 0);
        EXPECT_EQ(getModeWord(), mode);
    });
    EXPECT_EQ(shared[n / 2], n / 2);
    EXPECT_EQ(shared[n - 2], n - 2);
    shared[n / 2] = alone[n / 2];
    shared[n - 2] = alone[n - 2];
    EXPECT_TRUE(sameBits(alone.data(), shared.data(), n));
}

}  // namespace
}  // namespace korvan::testing
