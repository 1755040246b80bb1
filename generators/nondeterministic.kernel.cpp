// Fills of the non-deterministic source.  Words come in pairs, each one 64-bit reading whose low
// half is the earlier word; an odd count ends with one 32-bit reading.  A double takes a pair.
//
// Reals are word * s + a with the word unsigned: 0 gives a, and words near the upper end round
// to b.
//
// A fill that gives up leaves what it has written.
#include "generators/nondeterministic.h"

#include "frame/hardware.h"
#include "generators/generators.h"
#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// 2^-32 and 2^-64.
constexpr float singleScale = 2.3283064e-10f;
constexpr double doubleScale = 5.421010862427522e-20;
static_assert(singleScale == 0x1p-32f && doubleScale == 0x1p-64);

// One attempt, and more while they fail.  Success at the attempt numbered `retries` after the
// first one comes too late.
template <class Attempt>
HWY_INLINE bool succeeds(std::uint32_t retries, Attempt attempt) {
    if (attempt()) return true;
    std::uint32_t tried = 0;
    for (bool isGood = false; !isGood && tried != retries; ++tried) isGood = attempt();
    return tried != retries;
}

// put(i, word) for n words.
template <class Put>
HWY_INLINE std::int32_t fillWords(StreamHandle stream, std::int32_t n, Put put) {
    if (!hasHardwareRandom()) return RNG_NO_HARDWARE_SOURCE;
    const std::uint32_t retries = stateOf<NondeterministicState>(stream).retries;
    const Platform& source = hardware();
    std::int32_t i = 0;
    for (; n - i >= 2; i += 2) {
        std::uint64_t pair;
        if (!succeeds(retries, [&] { return source.readRandomPair(&pair); })) {
            return RNG_HARDWARE_SOURCE_RETRIES;
        }
        put(i, static_cast<std::uint32_t>(pair));
        put(i + 1, static_cast<std::uint32_t>(pair >> 32));
    }
    if (i < n) {
        std::uint32_t word;
        if (!succeeds(retries, [&] { return source.readRandomWord(&word); })) {
            return RNG_HARDWARE_SOURCE_RETRIES;
        }
        put(i, word);
    }
    return RNG_OK;
}

// number * scale + offset, fused in the copies that fuse.
template <class Real>
HWY_INLINE Real affine(Real number, Real scale, Real offset) {
    const hn::CappedTag<Real, 1> one;
    return hn::GetLane(hn::MulAdd(hn::Set(one, number), hn::Set(one, scale), hn::Set(one, offset)));
}

// By the signed conversion, which rounds a word below 2^63 once and one above it twice.
HWY_INLINE double numberOf(std::uint64_t pair) {
    const double number = static_cast<double>(static_cast<std::int64_t>(pair));
    return number + (pair >> 63 ? 0x1p64 : 0.0);
}

}  // namespace

std::int32_t nondeterministicFillSingle(StreamHandle stream, std::int32_t n, float* r, float a,
                                        float b) {
    const float scale = (b - a) * singleScale;
    return fillWords(stream, n, [=](std::int32_t i, std::uint32_t word) {
        r[i] = affine(static_cast<float>(word), scale, a);
    });
}

std::int32_t nondeterministicFillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                        double b) {
    if (!hasHardwareRandom()) return RNG_NO_HARDWARE_SOURCE;
    const std::uint32_t retries = stateOf<NondeterministicState>(stream).retries;
    const Platform& source = hardware();
    const double scale = (b - a) * doubleScale;
    for (std::int32_t i = 0; i < n; ++i) {
        std::uint64_t pair;
        if (!succeeds(retries, [&] { return source.readRandomPair(&pair); })) {
            return RNG_HARDWARE_SOURCE_RETRIES;
        }
        r[i] = affine(numberOf(pair), scale, a);
    }
    return RNG_OK;
}

std::int32_t nondeterministicFillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fillWords(stream, n, [=](std::int32_t i, std::uint32_t word) { r[i] = word; });
}

}  // namespace korvan::KORVAN_COPY
