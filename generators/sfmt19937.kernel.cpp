// Fills of SFMT19937.
//
// Words are given from whole elements; what the last element of a fill holds beyond it waits in the
// state's tail.  Up to a block's length a fill takes words from the block, which it renews in place
// when need be; a longer one leaves the block as the window of the last elements, oldest first.
//
// Reals come from the words read as signed integers: word 0 gives the middle of the interval,
// 0x80000000 its lower end a, 0x7FFFFFFF the value just below b.  Singles are computed in single,
// so words near the upper end round to b.
#include "generators/sfmt19937.h"

#include <type_traits>

#include "generators/generators.h"
#include "generators/word_batch-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

#if HWY_TARGET == HWY_SCALAR

struct Recursion {
    const std::uint32_t *secondLast, *last;

    HWY_INLINE explicit Recursion(const std::uint32_t* windowEnd)
        : secondLast(windowEnd - 8), last(windowEnd - 4) {}

    // `count` elements to `made`, from windows that begin at `oldest` and have `middle` in them.
    // `made` may be `oldest`, or lie behind the window.
    HWY_INLINE void make(const std::uint32_t* oldest, const std::uint32_t* middle,
                         std::uint32_t* made, std::size_t count) {
        for (std::size_t k = 0; k < 4 * count; k += 4) {
            sfmtNext(oldest + k, middle + k, secondLast, last, made + k);
            secondLast = last;
            last = made + k;
        }
    }
};

#else

using ElementTag = hn::Full128<std::uint32_t>;
using Element = hn::Vec<ElementTag>;

// What doesn't depend on the last two elements is made for two elements at a time where a vector
// holds as many.
constexpr std::size_t groupWords = wordLanes < 8 ? 4 : 8;
using GroupTag = hn::FixedTag<std::uint32_t, groupWords>;

struct Recursion {
    Element secondLast, last;

    HWY_INLINE explicit Recursion(const std::uint32_t* windowEnd)
        : secondLast(hn::LoadU(ElementTag(), windowEnd - 8)),
          last(hn::LoadU(ElementTag(), windowEnd - 4)) {}

    // `count` elements to `made`, from windows that begin at `oldest` and have `middle` in them.
    // `made` may be `oldest`, or lie behind the window.
    HWY_INLINE void make(const std::uint32_t* oldest, const std::uint32_t* middle,
                         std::uint32_t* made, std::size_t count) {
        const GroupTag tag;
        const ElementTag elementTag;
        const auto mask = hn::LoadDup128(tag, sfmtMask);
        std::size_t k = 0;
        for (; k + groupWords <= 4 * count; k += groupWords) {
            const auto early =
                independent(hn::LoadU(tag, oldest + k), hn::LoadU(tag, middle + k), mask);
            putGroup(early, made + k);
        }
        for (; k < 4 * count; k += 4) {
            put(independent(hn::LoadU(elementTag, oldest + k), hn::LoadU(elementTag, middle + k),
                            hn::LoadU(elementTag, sfmtMask)),
                made + k);
        }
    }

  private:
    template <class Vector>
    static HWY_INLINE Vector independent(Vector oldest, Vector middle, Vector mask) {
        const auto shifted = hn::Xor(oldest, hn::ShiftLeftBytes<1>(oldest));
        return xorAnd(shifted, hn::ShiftRight<11>(middle), mask);
    }
    template <class Group>
    HWY_INLINE void putGroup(Group early, std::uint32_t* made) {
        const ElementTag tag;
        if constexpr (sizeof(Group) == sizeof(Element)) {
            put(early, made);
        } else {
            put(hn::LowerHalf(tag, early), made);
            put(hn::UpperHalf(tag, early), made + 4);
        }
    }
    // The recursion is serial through `last`, which therefore enters the sum at the end.
    HWY_INLINE void put(Element early, std::uint32_t* made) {
        const auto sum = hn::Xor(early, hn::ShiftRightBytes<1>(ElementTag(), secondLast));
        const auto element = hn::Xor(sum, hn::ShiftLeft<18>(last));
        hn::StoreU(element, ElementTag(), made);
        secondLast = last;
        last = element;
    }
};

#endif

// The block behind `w`, in its place.
HWY_INLINE void renewBlock(std::uint32_t* w) {
    constexpr std::size_t untilWrap = sfmtElements - sfmtMiddle;
    Recursion recursion(w + sfmtWords);
    recursion.make(w, w + 4 * sfmtMiddle, w, untilWrap);
    recursion.make(w + 4 * untilWrap, w, w + 4 * untilWrap, sfmtMiddle);
}

// Elements i .. end - 1, i < end, from the elements behind the block; leaves the last window in it.
template <class Sink>
HWY_INLINE void fillThroughHistory(std::uint32_t* w, const Sink& sink, std::size_t i,
                                   std::size_t end) {
    constexpr std::size_t chunk = 2496;  // with the window 12 KiB, of the first-level cache
    alignas(64) std::uint32_t history[sfmtWords + chunk];
    std::uint32_t* const made = history + sfmtWords;
    copyWords<sfmtWords>(w, history);
    Recursion recursion(made);
    for (;; i += chunk) {
        const std::size_t count = end - i < chunk ? end - i : chunk;
        const std::size_t elements = (count + 3) / 4;
        // The recursion waits for its own results; the words made before are put meanwhile.
        constexpr std::size_t batch = 16;
        std::size_t put = 0;
        for (std::size_t k = 0; k < elements; k += batch) {
            const std::uint32_t* const oldest = history + 4 * k;
            recursion.make(oldest, oldest + 4 * sfmtMiddle, made + 4 * k,
                           elements - k < batch ? elements - k : batch);
            if (k == 0) continue;
            putWords(sink, i + put, made + put, 4 * batch);
            put += 4 * batch;
        }
        putWords(sink, i + put, made + put, count - put);
        std::uint32_t* const window = count == end - i ? w : history;
        copyWords<sfmtWords>(history + 4 * elements, window);
        if (window == w) break;
    }
}

// The same for `count` words as they are, more than a block: the output is the history.  Only the
// last element, which may not fit, is made in the window.
HWY_INLINE void fillInPlace(std::uint32_t* w, std::uint32_t* r, std::size_t count) {
    constexpr std::size_t untilWrap = sfmtElements - sfmtMiddle;
    const std::size_t whole = (count - 1) / 4;
    Recursion recursion(w + sfmtWords);
    recursion.make(w, w + 4 * sfmtMiddle, r, untilWrap);
    recursion.make(w + 4 * untilWrap, r, r + 4 * untilWrap, sfmtMiddle);
    recursion.make(r, r + 4 * sfmtMiddle, r + sfmtWords, whole - sfmtElements);

    const std::uint32_t* const oldest = r + 4 * (whole - sfmtElements);
    std::uint32_t* const last = w + sfmtWords - 4;
    copyWords<sfmtWords - 4>(oldest + 4, w);
    recursion.make(oldest, oldest + 4 * sfmtMiddle, last, 1);
    for (std::size_t k = 4 * whole; k < count; ++k) r[k] = last[k - 4 * whole];
}

template <class Sink>
HWY_INLINE void fillLong(std::uint32_t* w, const Sink& sink, std::size_t i, std::size_t end) {
    if constexpr (std::is_same_v<Sink, BitsSink>) {
        if (end - i > sfmtWords) return fillInPlace(w, sink.r + i, end - i);
    }
    fillThroughHistory(w, sink, i, end);
}

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<Sfmt19937State>(stream);
    const auto total = static_cast<std::size_t>(n);
    const auto inTail = static_cast<std::size_t>(state.tailCount - state.tailPosition);
    const std::size_t waiting = total < inTail ? total : inTail;
    if (waiting > 0) {
        putFewWords(sink, 0, state.tail + state.tailPosition, waiting);
        state.tailPosition += static_cast<std::int32_t>(waiting);
        if (waiting == total) return RNG_OK;
    }

    const std::size_t whole = (total - waiting + 3) / 4 * 4;
    const std::size_t beyond = whole - (total - waiting);
    auto used = static_cast<std::size_t>(state.index);
    const std::size_t left = sfmtWords - used;
    if (whole <= left) {
        putWords(sink, waiting, state.w + used, total - waiting);
        used += whole;
    } else {
        putWords(sink, waiting, state.w + used, left);
        const std::size_t given = waiting + left;
        if (whole <= sfmtWords) {
            renewBlock(state.w);
            putWords(sink, given, state.w, total - given);
            used = whole - left;
        } else {
            fillLong(state.w, sink, given, total);
            used = sfmtWords;
        }
    }
    state.index = static_cast<std::int32_t>(used);
    if (beyond > 0) {
        for (std::size_t k = 0; k < beyond; ++k) state.tail[k] = state.w[used - beyond + k];
        state.tailPosition = 0;
        state.tailCount = static_cast<std::int32_t>(beyond);
    }
    return RNG_OK;
}

}  // namespace

std::int32_t sfmt19937FillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const double low = a, high = b;
    const auto scale = static_cast<float>((high - low) * wordScale);
    return fill(stream, n, SingleSink{r, scale, static_cast<float>((high + low) * 0.5)});
}

std::int32_t sfmt19937FillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                 double b) {
    return fill(stream, n, DoubleSink<WordSign::isSigned>{r, (b - a) * wordScale, (b + a) * 0.5});
}

std::int32_t sfmt19937FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
