// Fills of R250.  Below 250 words a fill runs through the circular store; a longer one through a
// linear history, and leaves the store unrolled, oldest word first.
//
// Reals: (word as an unsigned integer) * (b - a) / 2^32 + a, in double in both precisions.  They
// lie in [a, b] but for rounding: word 0 gives a, and the largest word the value 2^-32 (b - a)
// below b, which a single rounds to b.
#include "generators/r250.h"

#include "generators/generators.h"
#include "generators/word_history-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

struct R250Recurrence {
    static constexpr std::size_t window = r250Words, reach = r250Words;
    static constexpr std::size_t newest = r250Words - r250Tap;

    HWY_INLINE auto after(const std::uint32_t*) const {
        return [](const std::uint32_t* end) {
            return xorOf(loadWords(end - r250Words), loadWords(end - newest));
        };
    }
};

// New words in place of the oldest ones, `count` of them, before either tap wraps.  A batch is
// read before it is replaced; the taps are further apart than a batch is long.
HWY_INLINE void replaceOldest(std::uint32_t* x, std::size_t i, std::size_t j, std::size_t count) {
    std::size_t k = 0;
    for (; k + wordLanes <= count; k += wordLanes) {
        storeWords(xorOf(loadWords(x + i + k), loadWords(x + j + k)), x + i + k);
    }
    for (; k < count; ++k) x[i + k] ^= x[j + k];
}

template <class Sink>
HWY_INLINE void fillFromStore(R250State& state, std::size_t total, const Sink& sink) {
    auto i = static_cast<std::size_t>(state.i), j = static_cast<std::size_t>(state.j);
    for (std::size_t done = 0; done < total;) {
        const std::size_t untilWrap = r250Words - (i > j ? i : j), wanted = total - done;
        const std::size_t count = wanted < untilWrap ? wanted : untilWrap;
        replaceOldest(state.x, i, j, count);
        putWords(sink, done, state.x + i, count);
        done += count;
        i = i + count == r250Words ? 0 : i + count;
        j = j + count == r250Words ? 0 : j + count;
    }
    state.i = static_cast<std::int32_t>(i);
    state.j = static_cast<std::int32_t>(j);
}

template <class Sink>
HWY_INLINE void fillThroughHistory(R250State& state, std::size_t total, const Sink& sink) {
    WordHistory<R250Recurrence> history;
    const auto oldest = static_cast<std::size_t>(state.i);
    std::uint32_t* const start = history.start();
    for (std::size_t k = oldest; k < r250Words; ++k) start[k - oldest] = state.x[k];
    for (std::size_t k = 0; k < oldest; ++k) start[r250Words - oldest + k] = state.x[k];
    const std::uint32_t* last = history.fill({}, sink, 0, total);
    copyWords<r250Words>(last, state.x);
    state.i = 0;
    state.j = r250Tap;
}

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<R250State>(stream);
    const auto total = static_cast<std::size_t>(n);
    if (total < r250Words) {
        fillFromStore(state, total, sink);
    } else {
        fillThroughHistory(state, total, sink);
    }
    return RNG_OK;
}

}  // namespace

std::int32_t r250FillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const double scale = (static_cast<double>(b) - static_cast<double>(a)) * wordScale;
    return fill(stream, n, RoundedSink<WordSign::isUnsigned>{r, scale, a});
}

std::int32_t r250FillDouble(StreamHandle stream, std::int32_t n, double* r, double a, double b) {
    return fill(stream, n, DoubleSink<WordSign::isUnsigned>{r, (b - a) * wordScale, a});
}

std::int32_t r250FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
