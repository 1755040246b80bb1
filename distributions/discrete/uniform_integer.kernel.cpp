// Uniform integers a .. b - 1: the floor of a uniform double on [a, b), one word each.
//
// Where the double is exact, the floor is a multiplication: for a 32-bit word that maps to
// u = w / 2^32, floor(a + (b - a) u) = a + high((b - a) w).  The double has 32 bits behind the
// point and, with a and b of at most 2^20 in size, 21 before it, so that nothing is rounded.
#include "distributions/kernels.h"
#include "distributions/shared/streamed_fill-inl.h"
#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr std::int32_t exactBound = 1 << 20;
// Numbers asked of the generator at a time, either way.
constexpr std::size_t blockElements = partElements;

#if HWY_TARGET == HWY_SCALAR

HWY_INLINE void scaleWords(std::uint32_t* words, std::size_t n, std::uint32_t flip,
                           std::uint32_t range, std::uint32_t a) {
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint64_t product = static_cast<std::uint64_t>(words[i] ^ flip) * range;
        words[i] = a + static_cast<std::uint32_t>(product >> 32);
    }
}

// r[i] = floor(x[i]), at most `highest`: for a large a and a short range, rounding can make the
// double b itself.  Callers' own generators can give anything: no number counts as the highest,
// and what is below the integers as the least of them.
HWY_INLINE void floorAll(const double* x, std::size_t n, std::int32_t* r, std::int32_t highest) {
    const double top = static_cast<double>(highest), least = INT32_MIN;
    for (std::size_t i = 0; i < n; ++i) {
        const double low = x[i] < top ? x[i] : top;
        const double cut = low > least ? low : least;
        const std::int32_t truncated = _mm_cvttsd_si32(_mm_set_sd(cut));
        r[i] = truncated - (static_cast<double>(truncated) > cut ? 1 : 0);
    }
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// words[i] = a + high(range (words[i] ^ flip)).
HWY_INLINE void scaleWords(std::uint32_t* words, std::size_t n, std::uint32_t flip,
                           std::uint32_t range, std::uint32_t a) {
    const hn::ScalableTag<std::uint32_t> tag;
    const hn::ScalableTag<std::uint64_t> wide;
    const std::size_t lanes = hn::Lanes(tag);
    const auto scaled = [&](auto w) {
        const auto u = hn::BitCast(wide, hn::Xor(w, hn::Set(tag, flip)));
        const auto by = hn::Set(tag, range);
        const auto even = hn::MulEven(hn::BitCast(tag, u), by);
        const auto odd = hn::MulEven(hn::BitCast(tag, hn::ShiftRight<32>(u)), by);
        const auto high =
            hn::OddEven(hn::BitCast(tag, odd), hn::BitCast(tag, hn::ShiftRight<32>(even)));
        return hn::Add(high, hn::Set(tag, a));
    };
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::StoreU(scaled(hn::LoadU(tag, words + i)), tag, words + i);
    }
    if (i == n) return;
    std::uint32_t padded[HWY_LANES(std::uint32_t)] = {};
    for (std::size_t k = i; k < n; ++k) padded[k - i] = words[k];
    hn::StoreU(scaled(hn::LoadU(tag, padded)), tag, padded);
    for (std::size_t k = i; k < n; ++k) words[k] = padded[k - i];
}

// As above; the smaller of no number and `top` is `top`, and DemoteTo stops at the least integer.
HWY_INLINE void floorAll(const double* x, std::size_t n, std::int32_t* r, std::int32_t highest) {
    const hn::ScalableTag<double> doubles;
    const hn::Rebind<std::int32_t, decltype(doubles)> ints;
    const std::size_t lanes = hn::Lanes(doubles);
    const auto top = hn::Set(doubles, static_cast<double>(highest));
    const auto floorOf = [&](auto v) { return hn::DemoteTo(ints, hn::Floor(hn::Min(v, top))); };
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) hn::StoreU(floorOf(hn::LoadU(doubles, x + i)), ints, r + i);
    if (i == n) return;
    double padded[HWY_LANES(double)] = {};
    std::int32_t results[HWY_LANES(double)];
    for (std::size_t k = i; k < n; ++k) padded[k - i] = x[k];
    hn::StoreU(floorOf(hn::LoadU(doubles, padded)), ints, results);
    for (std::size_t k = i; k < n; ++k) r[k] = results[k - i];
}

#endif

std::int32_t byMultiplication(const GeneratorRow& row, StreamHandle stream, std::size_t n,
                              std::int32_t* r, std::int32_t a, std::int32_t b) {
    const std::uint32_t flip = row.wordMap == WordMap::centred ? 0x80000000 : 0;
    auto* words = reinterpret_cast<std::uint32_t*>(r);
    const auto fill = [&](std::uint32_t* part, std::size_t count) {
        const auto size = static_cast<std::int32_t>(count);
        const std::int32_t status = row.properties.fillBits(stream, size, part);
        if (status >= 0) {
            scaleWords(part, count, flip, static_cast<std::uint32_t>(b - a),
                       static_cast<std::uint32_t>(a));
        }
        return status;
    };
    if (isLargeFill(row, n, words)) {
        return largeFill<LastPart::remainder>(row, stream, words, n, fill);
    }
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < n; done += blockElements) {
        status = fill(words + done, n - done < blockElements ? n - done : blockElements);
        if (status < 0) return status;
    }
    return status;
}

// In a large array the lines of r come from memory while the generator works on the doubles.
HWY_INLINE void prefetchForWriting(const std::int32_t* r, std::size_t n) {
    constexpr std::size_t lineElements = 16;
    for (std::size_t i = 0; i < n; i += lineElements) __builtin_prefetch(r + i, 1);
}

std::int32_t byFloor(StreamHandle stream, std::size_t n, std::int32_t* r, std::int32_t a,
                     std::int32_t b) {
    double x[blockElements];
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < n; done += blockElements) {
        const std::size_t block = n - done < blockElements ? n - done : blockElements;
        prefetchForWriting(r + done, block);
        status = KORVAN_COPY::vdRngUniform(METHOD_UNIFORM_STANDARD, stream,
                                           static_cast<std::int32_t>(block), x, a, b);
        if (status < 0) return status;
        floorAll(x, block, r + done, b - 1);
    }
    return status;
}

}  // namespace

std::int32_t viRngUniform(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                          std::int32_t a, std::int32_t b) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    const bool exact = a >= -exactBound && b <= exactBound && row->wordMap != WordMap::other;
    const auto total = static_cast<std::size_t>(n);
    return exact ? byMultiplication(*row, stream, total, r, a, b) : byFloor(stream, total, r, a, b);
}

}  // namespace korvan::KORVAN_COPY
