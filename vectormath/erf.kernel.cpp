// The error function, single: x + x P(x^2) up to 5/4, 1 - 2^-Q(x) beyond, both in every lane.
//
// Largest error: VML_LA and VML_EP below 4 ulp; VML_HA, the same in double, rounded, below 1 ulp.
// erf(+-inf) = +-1, erf(-0) = -0, NaN gives NaN; no argument fails.
#include "vectormath/polynomial-inl.h"
#include "vectormath/rows-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// tools/vectormath/coefficients.py, relative to erf: erf_single_..., errors 2^-25.1, 2^-27.9 and,
// a twelfth of which counts, 2^-22.9; erf_wide_..., 2^-29.9, 2^-31.7, 2^-22.2.
template <class Real>
struct ErfTable;
template <>
struct ErfTable<float> {
    static constexpr float central[] = {0.12837914f,  -0.37612456f,   0.11281998f,   -0.02679915f,
                                        0.005102433f, -0.0007380844f, 6.1018214e-05f};
    static constexpr float tail[] = {0.008118685f, 1.59891f,      0.96035975f,
                                     0.1181817f,   -0.018459173f, 0.0013278406f};
    static constexpr float exp2[] = {1.0000001f,  0.6931474f,  0.24021919f,
                                     0.05549703f, 0.00968482f, 0.001365886f};
    static constexpr float shifter = 0x1.8p23f;
};
template <>
struct ErfTable<double> {
    static constexpr double central[] = {0.12837916597591645,    -0.37612630043846246,
                                         0.11283675023597772,    -0.02686024743550096,
                                         0.005209016279293381,   -0.0008339570552082252,
                                         0.00010393882116545663, -7.572977386791755e-06};
    static constexpr double tail[] = {
        0.0017233964926262092, 1.6216048448290479,    0.9272316152843734,     0.14362521802124945,
        -0.02929577088435107,  0.0037529326967338664, -0.00022263471107215904};
    static constexpr double exp2[] = {1.0000000720884277,   0.6931469658181937,
                                      0.24022117595342776,  0.05550714468740537,
                                      0.009675656407162123, 0.0013276359086988585};
    static constexpr double shifter = 0x1.8p52;
};

constexpr float tailBegin = 1.25f;
constexpr float tailEnd = 3.9375f;  // erf rounds to 1 from here on

template <bool fused = fuses, class D, class V = hn::Vec<D>>
HWY_INLINE V errorFunction(D d, V x) {
    using Real = hn::TFromD<D>;
    using Table = ErfTable<Real>;
    const hn::RebindToUnsigned<D> words;
    const V size = hn::Abs(x);
    const V inMiddle = mulAdd<fused>(x, horner<0, fused>(d, hn::Mul(x, x), Table::central), x);

    const V q = horner<0, fused>(d, hn::Min(size, hn::Set(d, tailEnd)), Table::tail);
    // -q = n + f with n at the low end of `sum`; 2^-q by adding n to the exponent of 2^f.
    const V shifter = hn::Set(d, Table::shifter);
    const V sum = hn::Sub(shifter, q);
    const V f = hn::Sub(hn::Sub(shifter, sum), q);
    const auto exponent = hn::ShiftLeft < sizeof(Real) == 8 ? 52 : 23 > (hn::BitCast(words, sum));
    const V power =
        hn::BitCast(d, hn::Add(hn::BitCast(words, horner<0, fused>(d, f, Table::exp2)), exponent));
    const V inTail = hn::CopySignToAbs(hn::Sub(hn::Set(d, 1), power), x);
    return hn::IfThenElse(hn::Lt(size, hn::Set(d, tailBegin)), inMiddle, inTail);
}

struct ErfBase {
    using Real = float;
    static constexpr const char* name = "vsErf";
    static constexpr Real filler = 0.75;

    static std::int32_t element(float x, float* result) {
        *result = x + x;
        return VML_STATUS_OK;
    }
};

template <Accuracy accuracy>
struct Erf : ErfBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        exceptional = hn::IsNaN(x);
        if constexpr (accuracy != Accuracy::ha) return errorFunction(Tag<float>(), x);
        return throughDouble(x, [](auto d, auto wide) { return errorFunction(d, wide); });
    }
};

// One formula for all copies.
struct ErfBaseline : ErfBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        exceptional = hn::IsNaN(x);
        return errorFunction<false>(Tag<float>(), x);
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<float>> vsErf = {
    mapOne<Erf<Accuracy::la>>, mapOne<Erf<Accuracy::ha>>, mapOne<Erf<Accuracy::ep>>};
constinit const VectorKernel<OneToOne<float>> vsErfBaseline = {
    mapOne<ErfBaseline>, mapOne<ErfBaseline>, mapOne<ErfBaseline>};

}  // namespace korvan::KORVAN_COPY
