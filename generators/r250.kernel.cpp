// Fills of R250.  Below 250 words a fill runs through the circular store; a longer one through a
// linear history, and leaves the store unrolled, oldest word first.
//
// Reals: (word as an unsigned integer) * (b - a) / 2^32 + a, in double in both precisions.  They
// lie in [a, b] but for rounding: word 0 gives a, and the largest word the value 2^-32 (b - a)
// below b, which a single rounds to b.
#include "generators/r250.h"

#include <type_traits>

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

// made[k] = x[k] ^ y[k], for k from 0 on.  A batch is read before it is written; the words made may
// be those read 103 or more places later.
HWY_INLINE void makeWords(const std::uint32_t* x, const std::uint32_t* y, std::uint32_t* made,
                          std::size_t count) {
    std::size_t k = 0;
    for (; k + wordLanes <= count; k += wordLanes) {
        storeWords(xorOf(loadWords(x + k), loadWords(y + k)), made + k);
    }
    for (; k < count; ++k) made[k] = x[k] ^ y[k];
}

template <class Sink>
HWY_INLINE void fillFromStore(R250State& state, std::size_t total, const Sink& sink) {
    auto i = static_cast<std::size_t>(state.i), j = static_cast<std::size_t>(state.j);
    for (std::size_t done = 0; done < total;) {
        const std::size_t untilWrap = r250Words - (i > j ? i : j), wanted = total - done;
        const std::size_t count = wanted < untilWrap ? wanted : untilWrap;
        makeWords(state.x + i, state.x + j, state.x + i, count);  // in place of the oldest
        putWords(sink, done, state.x + i, count);
        done += count;
        i = i + count == r250Words ? 0 : i + count;
        j = j + count == r250Words ? 0 : j + count;
    }
    state.i = static_cast<std::int32_t>(i);
    state.j = static_cast<std::int32_t>(j);
}

// The output is the history of words that are given as they are.
//
// A word that was stored a moment ago is slow to load.  Squaring a trinomial over GF(2) doubles its
// exponents, so w[n] = w[n - 250 m] ^ w[n - 147 m] for m = 2, 4, .. as well, once there are as many
// words; m = 4 goes far enough back.
HWY_INLINE const std::uint32_t* makeInOutput(const std::uint32_t* window, std::uint32_t* r,
                                             std::size_t total) {
    constexpr std::size_t newest = R250Recurrence::newest;
    makeWords(window, window + r250Tap, r, newest);
    makeWords(window + newest, r, r + newest, r250Tap);
    constexpr std::size_t far = 4;
    const std::size_t near = total < far * r250Words ? total : far * r250Words;
    makeWords(r, r + r250Tap, r + r250Words, near - r250Words);
    makeWords(r, r + far * r250Tap, r + far * r250Words, total - near);
    return r + total - r250Words;
}

template <class Sink>
HWY_INLINE void fillLong(R250State& state, std::size_t total, const Sink& sink) {
    WordHistory<R250Recurrence> history;
    const auto oldest = static_cast<std::size_t>(state.i);
    std::uint32_t* const start = history.start();
    for (std::size_t k = oldest; k < r250Words; ++k) start[k - oldest] = state.x[k];
    for (std::size_t k = 0; k < oldest; ++k) start[r250Words - oldest + k] = state.x[k];
    const std::uint32_t* last;
    if constexpr (std::is_same_v<Sink, BitsSink>) {
        last = makeInOutput(start, sink.r, total);
    } else {
        last = history.fill({}, sink, 0, total);
    }
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
        fillLong(state, total, sink);
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
