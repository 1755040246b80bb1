// Fills of MT19937.  Reals lie in [a, b] but for rounding: word 0 gives a, and the largest word the
// value 2^-32 (b - a) below b, which a single rounds to b.
#include "generators/mt19937.h"

#include "generators/generators.h"
#include "generators/mersenne_twister-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<Mt19937State>(stream);
    return fillTwister<Mt19937Shape>(state.mt, state.index, mt19937Constants, n, sink);
}

}  // namespace

std::int32_t mt19937FillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const double scale = (static_cast<double>(b) - static_cast<double>(a)) * wordScale;
    return fill(stream, n, RoundedSink<WordSign::isUnsigned>{r, scale, a});
}

std::int32_t mt19937FillDouble(StreamHandle stream, std::int32_t n, double* r, double a, double b) {
    return fill(stream, n, DoubleSink<WordSign::isUnsigned>{r, (b - a) * wordScale, a});
}

std::int32_t mt19937FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
