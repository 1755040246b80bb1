// Vector math kernels beside the vector functions of glibc, SLEEF and Highway, at the vector width
// of the copy that runs: 512 bits for avx512, 256 for the others.
#include <immintrin.h>
#include <sleef.h>

#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <utility>

#include "frame/copy_set.h"
#include "hwy/contrib/math/math-inl.h"
#include "hwy/highway.h"
#include "rows.h"
#include "vectormath/vector_kernels.h"

// glibc's names of its vector functions (Vector Function ABI): e is 512 bits, d 256.
#define GLIBC_DOUBLE(function)                       \
    extern "C" __m512d _ZGVeN8v_##function(__m512d); \
    extern "C" __m256d _ZGVdN4v_##function(__m256d);
#define GLIBC_SINGLE(function)                      \
    extern "C" __m512 _ZGVeN16v_##function(__m512); \
    extern "C" __m256 _ZGVdN8v_##function(__m256);
GLIBC_DOUBLE(log)
GLIBC_DOUBLE(exp)
GLIBC_SINGLE(logf)
GLIBC_SINGLE(expf)

namespace korvan::benchmarks {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Arguments spread evenly over [low, high], made once.
template <class Real>
const Real* arguments(Real low, Real high) {
    static std::map<std::pair<Real, Real>, std::vector<Real>> made;
    std::vector<Real>& x = made[{low, high}];
    if (x.empty()) {
        std::mt19937 engine(777);
        std::uniform_real_distribution<Real> uniform(low, high);
        for (std::int64_t i = 0; i < sizes[std::size(sizes) - 1]; ++i) x.push_back(uniform(engine));
    }
    return x.data();
}

template <class Vector, class Real, class Function>
[[gnu::always_inline]] inline void overVectors(const Real* x, Real* y, int n, Function function) {
    constexpr int lanes = sizeof(Vector) / sizeof(Real);
    Vector v;
    int i = 0;
    for (; i + lanes <= n; i += lanes) {
        std::memcpy(&v, x + i, sizeof v);
        v = function(v);
        std::memcpy(y + i, &v, sizeof v);
    }
    if (i == n) return;
    v = Vector{} + 1;
    std::memcpy(&v, x + i, static_cast<std::size_t>(n - i) * sizeof(Real));
    v = function(v);
    std::memcpy(y + i, &v, static_cast<std::size_t>(n - i) * sizeof(Real));
}

// Rows of one function: `low` and `high` bound the arguments.
template <class Real>
class Group {
  public:
    using Wide = std::conditional_t<sizeof(Real) == 8, __m512d, __m512>;
    using Narrow = std::conditional_t<sizeof(Real) == 8, __m256d, __m256>;
    using Inputs = std::shared_ptr<const std::vector<Real>>;

    Group(const char* name, Real low, Real high) : name_(name), low_(low), high_(high) {}

    void ours(const VectorKernel<OneToOne<Real>>& kernel) const {
        kernelRow("LA", kernel.la);
        kernelRow("HA", kernel.ha);
        kernelRow("EP", kernel.ep);
    }

    template <class WideFunction, class NarrowFunction>
    void peer(const char* name, WideFunction wide, NarrowFunction narrow) const {
        const bool isWide = std::strcmp(vslGetCopyName(), "avx512") == 0;
        addRow<Real>(name_, name, [=, *this] {
            return [=, x = arguments(low_, high_)](Real* y, int n) {
                if (isWide) return overVectors<Wide>(x, y, n, wide);
                overVectors<Narrow>(x, y, n, narrow);
            };
        });
    }

    // Highway's functions take a tag and a vector.
    template <class Function>
    void highwayPeer(Function function) const {
        const auto on = [function](auto tag, auto v) {
            hn::Vec<decltype(tag)> in;
            in.raw = v;
            return function(tag, in).raw;
        };
        peer(
            "peer Highway contrib",
            [on](Wide v) { return on(hn::CappedTag<Real, 64 / sizeof(Real)>(), v); },
            [on](Narrow v) { return on(hn::CappedTag<Real, 32 / sizeof(Real)>(), v); });
    }

    void limit() const {
        addRow<Real>(name_, "limit: plain copy", [*this] {
            return [x = arguments(low_, high_)](Real* y, int n) {
                std::memcpy(y, x, static_cast<std::size_t>(n) * sizeof(Real));
            };
        });
    }

  private:
    void kernelRow(const char* row, OneToOne<Real>* kernel) const {
        addRow<Real>(name_, row, [=, *this] {
            return [=, x = arguments(low_, high_)](Real* y, int n) { kernel(n, x, y); };
        });
    }

    const char* name_;
    Real low_, high_;
};

// A peer function as something that can be inlined around.
#define CALL(function) [](auto v) { return function(v); }

void addLogarithms(const VectorKernels& kernels) {
    const Group<double> doubles("vdLn", 0, 1);
    doubles.ours(*kernels.vdLn);
    doubles.peer("peer glibc", CALL(_ZGVeN8v_log), CALL(_ZGVdN4v_log));
    doubles.peer("peer SLEEF 1.0 ulp", CALL(Sleef_logd8_u10avx512f), CALL(Sleef_logd4_u10avx2));
    doubles.peer("peer SLEEF 3.5 ulp", CALL(Sleef_logd8_u35avx512f), CALL(Sleef_logd4_u35avx2));
    doubles.highwayPeer([](auto tag, auto v) { return hn::Log(tag, v); });
    doubles.limit();

    const Group<float> singles("vsLn", 0, 1);
    singles.ours(*kernels.vsLn);
    singles.peer("peer glibc", CALL(_ZGVeN16v_logf), CALL(_ZGVdN8v_logf));
    singles.peer("peer SLEEF 1.0 ulp", CALL(Sleef_logf16_u10avx512f), CALL(Sleef_logf8_u10avx2));
    singles.peer("peer SLEEF 3.5 ulp", CALL(Sleef_logf16_u35avx512f), CALL(Sleef_logf8_u35avx2));
    singles.highwayPeer([](auto tag, auto v) { return hn::Log(tag, v); });
    singles.limit();
}

void addExponentials(const VectorKernels& kernels) {
    const Group<double> doubles("vdExp", -10, 10);
    doubles.ours(*kernels.vdExp);
    doubles.peer("peer glibc", CALL(_ZGVeN8v_exp), CALL(_ZGVdN4v_exp));
    // SLEEF has no form of 3.5 ulp.
    doubles.peer("peer SLEEF 1.0 ulp", CALL(Sleef_expd8_u10avx512f), CALL(Sleef_expd4_u10avx2));
    doubles.highwayPeer([](auto tag, auto v) { return hn::Exp(tag, v); });
    doubles.limit();

    const Group<float> singles("vsExp", -10, 10);
    singles.ours(*kernels.vsExp);
    singles.peer("peer glibc", CALL(_ZGVeN16v_expf), CALL(_ZGVdN8v_expf));
    singles.peer("peer SLEEF 1.0 ulp", CALL(Sleef_expf16_u10avx512f), CALL(Sleef_expf8_u10avx2));
    singles.highwayPeer([](auto tag, auto v) { return hn::Exp(tag, v); });
    singles.limit();
}

}  // namespace

void addVectorMathRows() {
    const VectorKernels& kernels = *copySetOfProcess().vectorKernels;
    addLogarithms(kernels);
    addExponentials(kernels);
}

}  // namespace korvan::benchmarks
