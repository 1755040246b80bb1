#include "generators/digital_sequence.h"

#include <algorithm>
#include <bit>

#include "generators/init_operation.h"
#include "streams/attachments.h"

namespace korvan {
namespace {

constexpr std::int32_t chooseComponent = 0x7FFFFFFF;  // as leapfrog's count of streams

std::uint32_t grayCode(std::uint32_t n) {
    return n ^ (n >> 1);
}

// A sequence's end stays its end: from the last vector no step leads on, and no fill asks for one.
void stepComponent(const DigitalSequence& sequence, std::size_t k) {
    SequencePosition& at = *sequence.at;
    if (at.index == lastVector) return;
    const auto stride = static_cast<std::size_t>(at.dimension);
    movePoint(sequence.point + k, sequence.directions + k, 1, stride, at.index, at.index + 1);
    ++at.index;
}

std::int32_t choose(const DigitalSequence& sequence, std::int32_t streams, std::uint32_t k) {
    SequencePosition& at = *sequence.at;
    const auto dimension = static_cast<std::uint32_t>(at.dimension);
    if (streams != chooseComponent || k >= dimension) return RNG_NO_LEAPFROG;
    if (at.component == static_cast<std::int32_t>(k)) return RNG_OK;
    if (at.component != allComponents) {
        if (at.index != lastVector) ++at.index;
        sequence.point[k] = 0;
        movePoint(sequence.point + k, sequence.directions + k, 1, dimension, 0, at.index);
    } else if (at.remaining != 0 && k < dimension - at.remaining) {
        stepComponent(sequence, k);  // it has been given
    }
    at.remaining = 0;
    at.component = static_cast<std::int32_t>(k);
    return RNG_OK;
}

// Counts words of all components, also when one is chosen.
std::int32_t skip(const DigitalSequence& sequence, std::uint64_t nskip) {
    SequencePosition& at = *sequence.at;
    const auto dimension = static_cast<std::uint64_t>(at.dimension);
    const std::uint64_t whole = nskip / dimension;
    if (whole >= lastVector || whole + at.index >= lastVector) return RNG_NO_SKIP_AHEAD;
    if (at.remaining > nskip) {
        at.remaining -= static_cast<std::uint32_t>(nskip);
        return RNG_OK;
    }
    std::uint64_t vectors = whole, words = nskip % dimension;
    if (at.remaining != 0) {
        vectors = (nskip - at.remaining) / dimension + 1;
        words = (nskip - at.remaining) % dimension;
    }
    const auto index = static_cast<std::uint32_t>(at.index + vectors);
    movePoint(sequence.point, sequence.directions, dimension, dimension, at.index, index);
    at.index = index;
    at.remaining = words == 0 ? 0 : static_cast<std::uint32_t>(dimension - words);
    return RNG_OK;
}

}  // namespace

void movePoint(std::uint32_t* point, const std::uint32_t* directions, std::size_t width,
               std::size_t stride, std::uint32_t from, std::uint32_t to) {
    for (std::uint32_t bits = grayCode(from) ^ grayCode(to); bits != 0; bits &= bits - 1) {
        const auto j = static_cast<std::size_t>(std::countr_zero(bits));
        const std::uint32_t* row = directions + j * stride;
        for (std::size_t d = 0; d < width; ++d) point[d] ^= row[d];
    }
}

std::int32_t splitSequence(std::int32_t op, const DigitalSequence& sequence, std::int32_t n,
                           const std::uint32_t* params) {
    switch (op) {
        case OP_LEAPFROG: return sequence.point ? choose(sequence, n, params[0]) : RNG_NULL_POINTER;
        case OP_SKIPAHEAD:
            if (n < 1) return RNG_NO_SKIP_AHEAD;
            return sequence.point ? skip(sequence, skipCount(params)) : RNG_NULL_POINTER;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

bool isPosition(const SequencePosition& at, std::uint32_t dimensions) {
    return at.index != 0 && at.dimension >= 1 &&
           static_cast<std::uint32_t>(at.dimension) <= dimensions &&
           at.component >= allComponents && at.component < at.dimension &&
           at.remaining < static_cast<std::uint32_t>(at.dimension);
}

bool isAtIndex(const SequencePosition& at, const std::uint32_t* point,
               const std::uint32_t* directions, std::size_t dimensionStride,
               std::size_t bitStride) {
    const auto dimension = static_cast<std::size_t>(at.dimension);
    const bool isWhole = at.component == allComponents;
    const std::size_t first = isWhole ? 0 : static_cast<std::size_t>(at.component);
    const std::size_t end = isWhole ? dimension : first + 1;
    for (std::size_t d = first; d < end; ++d) {
        std::uint32_t word = 0;
        movePoint(&word, directions + d * dimensionStride, 1, bitStride, 0, at.index);
        if (word != point[d]) return false;
    }
    return true;
}

bool isAtIndex(const DigitalSequence& sequence) {
    const auto dimension = static_cast<std::size_t>(sequence.at->dimension);
    return isAtIndex(*sequence.at, sequence.point, sequence.directions, 1, dimension);
}

void scatterDirections(const std::uint32_t* v, std::size_t d, std::size_t dimension,
                       std::uint32_t* directions) {
    for (std::size_t j = 0; j < directionsPerDimension; ++j) directions[j * dimension + d] = v[j];
}

bool areZeros(const std::uint32_t* begin, const std::uint32_t* end) {
    return std::all_of(begin, end, [](std::uint32_t word) { return word == 0; });
}

bool hasAttachment(const StreamRecord* stream, std::uint32_t tag, std::uint64_t size) {
    const StreamAttachment* found = nullptr;
    for (const StreamAttachment* node = firstAttachment(stream); node; node = node->next) {
        if (node->tag != tag) continue;
        if (found) return false;
        found = node;
    }
    return found && found->size == size;
}

}  // namespace korvan
