// Vector math kernels beside the vector functions of glibc, SLEEF and Highway, at the vector width
// of the copy that runs: 512 bits for avx512, 256 for the others.
#include <immintrin.h>
#include <sleef.h>

#include <boost/math/special_functions/erf.hpp>
#include <cmath>
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
GLIBC_DOUBLE(sin)
GLIBC_DOUBLE(cos)
GLIBC_DOUBLE(tan)
GLIBC_SINGLE(sinf)
GLIBC_SINGLE(cosf)
GLIBC_SINGLE(tanf)
GLIBC_SINGLE(erff)
extern "C" __m512d _ZGVeN8vv_pow(__m512d, __m512d);
extern "C" __m256d _ZGVdN4vv_pow(__m256d, __m256d);
extern "C" __m512 _ZGVeN16vv_powf(__m512, __m512);
extern "C" __m256 _ZGVdN8vv_powf(__m256, __m256);

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

template <class Vector, class Real, class Function>
[[gnu::always_inline]] inline void overVectorsToTwo(const Real* x, Real* y1, Real* y2, int n,
                                                    Function function) {
    constexpr int lanes = sizeof(Vector) / sizeof(Real);
    Vector v;
    int i = 0;
    for (; i + lanes <= n; i += lanes) {
        std::memcpy(&v, x + i, sizeof v);
        const auto both = function(v);
        std::memcpy(y1 + i, &both.x, sizeof v);
        std::memcpy(y2 + i, &both.y, sizeof v);
    }
    if (i == n) return;
    const auto bytes = static_cast<std::size_t>(n - i) * sizeof(Real);
    v = Vector{} + 1;
    std::memcpy(&v, x + i, bytes);
    const auto both = function(v);
    std::memcpy(y1 + i, &both.x, bytes);
    std::memcpy(y2 + i, &both.y, bytes);
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
    void highwayPeer(Function function, const char* name = "peer Highway contrib") const {
        const auto on = [function](auto tag, auto v) {
            hn::Vec<decltype(tag)> in;
            in.raw = v;
            return function(tag, in).raw;
        };
        peer(
            name, [on](Wide v) { return on(hn::CappedTag<Real, 64 / sizeof(Real)>(), v); },
            [on](Narrow v) { return on(hn::CappedTag<Real, 32 / sizeof(Real)>(), v); });
    }

    void limit() const {
        addRow<Real>(name_, "limit: plain copy", [*this] {
            return [x = arguments(low_, high_)](Real* y, int n) {
                std::memcpy(y, x, static_cast<std::size_t>(n) * sizeof(Real));
            };
        });
    }

    void oursForTwo(const VectorKernel<SineAndCosine<Real>>& kernel) const {
        const auto row = [&](const char* name, SineAndCosine<Real>* function) {
            callRow(name, [function](const Real* x, Real* y, int n) {
                static std::vector<Real> second(static_cast<std::size_t>(sizes[4]));
                function(n, x, y, second.data());
            });
        };
        row("LA", kernel.la);
        row("HA", kernel.ha);
        row("EP", kernel.ep);
    }

    // Peers of functions with two results return a pair of vectors.
    template <class WideFunction, class NarrowFunction>
    void peerForTwo(const char* name, WideFunction wide, NarrowFunction narrow) const {
        const bool isWide = std::strcmp(vslGetCopyName(), "avx512") == 0;
        callRow(name, [=](const Real* x, Real* y, int n) {
            static std::vector<Real> second(static_cast<std::size_t>(sizes[4]));
            if (isWide) return overVectorsToTwo<Wide>(x, y, second.data(), n, wide);
            overVectorsToTwo<Narrow>(x, y, second.data(), n, narrow);
        });
    }

    // call(x, y, n)
    template <class Call>
    void callRow(const char* row, Call call) const {
        addRow<Real>(name_, row, [=, *this] {
            return [=, x = arguments(low_, high_)](Real* y, int n) { call(x, y, n); };
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

constexpr double turn = 6.283185307179586;

void addAngles(const VectorKernels& kernels) {
    const Group<double> pairs("vdSinCos", 0, turn);
    pairs.oursForTwo(*kernels.vdSinCos);
    pairs.peerForTwo("peer SLEEF 1.0 ulp", CALL(Sleef_sincosd8_u10avx512f),
                     CALL(Sleef_sincosd4_u10avx2));
    pairs.peerForTwo("peer SLEEF 3.5 ulp", CALL(Sleef_sincosd8_u35avx512f),
                     CALL(Sleef_sincosd4_u35avx2));

    const Group<double> sines("vdSin", 0, turn);
    sines.ours(*kernels.vdSin);
    sines.peer("peer glibc", CALL(_ZGVeN8v_sin), CALL(_ZGVdN4v_sin));
    sines.peer("peer SLEEF 1.0 ulp", CALL(Sleef_sind8_u10avx512f), CALL(Sleef_sind4_u10avx2));
    sines.peer("peer SLEEF 3.5 ulp", CALL(Sleef_sind8_u35avx512f), CALL(Sleef_sind4_u35avx2));
    sines.highwayPeer([](auto tag, auto v) { return hn::Sin(tag, v); });

    const Group<double> cosines("vdCos", 0, turn);
    cosines.ours(*kernels.vdCos);
    cosines.peer("peer glibc", CALL(_ZGVeN8v_cos), CALL(_ZGVdN4v_cos));
    cosines.peer("peer SLEEF 3.5 ulp", CALL(Sleef_cosd8_u35avx512f), CALL(Sleef_cosd4_u35avx2));
    cosines.highwayPeer([](auto tag, auto v) { return hn::Cos(tag, v); });

    const Group<double> tangents("vdTan", 0, turn);
    tangents.ours(*kernels.vdTan);
    tangents.peer("peer glibc", CALL(_ZGVeN8v_tan), CALL(_ZGVdN4v_tan));
    tangents.peer("peer SLEEF 1.0 ulp", CALL(Sleef_tand8_u10avx512f), CALL(Sleef_tand4_u10avx2));
    tangents.peer("peer SLEEF 3.5 ulp", CALL(Sleef_tand8_u35avx512f), CALL(Sleef_tand4_u35avx2));

    const Group<float> singlePairs("vsSinCos", 0, turn);
    singlePairs.oursForTwo(*kernels.vsSinCos);
    singlePairs.peerForTwo("peer SLEEF 1.0 ulp", CALL(Sleef_sincosf16_u10avx512f),
                           CALL(Sleef_sincosf8_u10avx2));
    singlePairs.peerForTwo("peer SLEEF 3.5 ulp", CALL(Sleef_sincosf16_u35avx512f),
                           CALL(Sleef_sincosf8_u35avx2));

    const Group<float> singleSines("vsSin", 0, turn);
    singleSines.ours(*kernels.vsSin);
    singleSines.peer("peer glibc", CALL(_ZGVeN16v_sinf), CALL(_ZGVdN8v_sinf));
    singleSines.peer("peer SLEEF 3.5 ulp", CALL(Sleef_sinf16_u35avx512f),
                     CALL(Sleef_sinf8_u35avx2));
    singleSines.highwayPeer([](auto tag, auto v) { return hn::Sin(tag, v); });

    const Group<float> singleCosines("vsCos", 0, turn);
    singleCosines.ours(*kernels.vsCos);
    singleCosines.peer("peer glibc", CALL(_ZGVeN16v_cosf), CALL(_ZGVdN8v_cosf));
    singleCosines.peer("peer SLEEF 3.5 ulp", CALL(Sleef_cosf16_u35avx512f),
                       CALL(Sleef_cosf8_u35avx2));

    const Group<float> singleTangents("vsTan", 0, turn);
    singleTangents.ours(*kernels.vsTan);
    singleTangents.peer("peer glibc", CALL(_ZGVeN16v_tanf), CALL(_ZGVdN8v_tanf));
    singleTangents.peer("peer SLEEF 1.0 ulp", CALL(Sleef_tanf16_u10avx512f),
                        CALL(Sleef_tanf8_u10avx2));
    singleTangents.peer("peer SLEEF 3.5 ulp", CALL(Sleef_tanf16_u35avx512f),
                        CALL(Sleef_tanf8_u35avx2));
}

void addErrorFunctions(const VectorKernels& kernels) {
    const Group<double> doubles("vdErfInv", -1, 1);
    doubles.ours(*kernels.vdErfInv);
    doubles.callRow("peer Boost, scalar", [](const double* x, double* y, int n) {
        for (int i = 0; i < n; ++i) y[i] = boost::math::erf_inv(x[i]);
    });
    const Group<float> singles("vsErfInv", -0.99999F, 0.99999F);
    singles.ours(*kernels.vsErfInv);

    const Group<float> erf("vsErf", -3, 3);
    erf.ours(*kernels.vsErf);
    erf.peer("peer glibc", CALL(_ZGVeN16v_erff), CALL(_ZGVdN8v_erff));
    erf.peer("peer SLEEF 1.0 ulp", CALL(Sleef_erff16_u10avx512f), CALL(Sleef_erff8_u10avx2));
}

template <class Real>
void addRootsAndReciprocals(const char* rootName, const VectorKernel<OneToOne<Real>>& root,
                            const char* inverseName, const VectorKernel<OneToOne<Real>>& inverse) {
    const Group<Real> roots(rootName, 0, 1000);
    roots.ours(root);
    roots.highwayPeer([](auto, auto v) { return hn::Sqrt(v); }, "limit: plain loop");
    const Group<Real> inverses(inverseName, Real{0.001}, 1000);
    inverses.ours(inverse);
    inverses.highwayPeer([](auto tag, auto v) { return hn::Div(hn::Set(tag, 1), v); },
                         "limit: plain loop");
}

void addPowers(const VectorKernels& kernels) {
    const Group<double> doubles("vdPow", 0.001, 2);
    const auto exponents = arguments(-3.0, 3.0);
    const auto ours = [&](const char* name, Power<double>* row) {
        doubles.callRow(name, [=](const double* x, double* y, int n) { row(n, x, exponents, y); });
    };
    ours("LA, HA", kernels.vdPow->ha);
    ours("EP", kernels.vdPow->ep);
    ours("Baseline", kernels.vdPowBaseline->ha);
    // Peers get one exponent, which takes a load off them.
    const auto on = [](auto function) {
        return [function](auto v) { return function(v, decltype(v){} + 1.7); };
    };
#define POWER(function) on([](auto x, auto y) { return function(x, y); })
    doubles.peer("peer glibc", POWER(_ZGVeN8vv_pow), POWER(_ZGVdN4vv_pow));
    doubles.peer("peer SLEEF 1.0 ulp", POWER(Sleef_powd8_u10avx512f), POWER(Sleef_powd4_u10avx2));

    const Group<float> singles("vsPowx", 0.001F, 2);
    singles.callRow("LA, HA, EP", [row = kernels.vsPowx->la](const float* x, float* y, int n) {
        row(n, x, 1.7F, y);
    });
    const auto onSingle = [](auto function) {
        return [function](auto v) { return function(v, decltype(v){} + 1.7F); };
    };
#define SINGLE_POWER(function) onSingle([](auto x, auto y) { return function(x, y); })
    singles.peer("peer glibc", SINGLE_POWER(_ZGVeN16vv_powf), SINGLE_POWER(_ZGVdN8vv_powf));
    singles.peer("peer SLEEF 1.0 ulp", SINGLE_POWER(Sleef_powf16_u10avx512f),
                 SINGLE_POWER(Sleef_powf8_u10avx2));
}

}  // namespace

void addVectorMathRows() {
    const VectorKernels& kernels = *copySetOfProcess().vectorKernels;
    addLogarithms(kernels);
    addExponentials(kernels);
    addAngles(kernels);
    addErrorFunctions(kernels);
    addRootsAndReciprocals("vdSqrt", *kernels.vdSqrt, "vdInv", *kernels.vdInv);
    addRootsAndReciprocals("vsSqrt", *kernels.vsSqrt, "vsInv", *kernels.vsInv);
    addPowers(kernels);
}

}  // namespace korvan::benchmarks
