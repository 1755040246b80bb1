#include "generators/sobol.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "frame/memory.h"
#include "generators/generators.h"
#include "generators/sobol_numbers.h"
#include "streams/attachments.h"

namespace korvan {
namespace {

constexpr std::uint64_t bytesPerDimension = directionsPerDimension * sizeof(std::uint32_t);
constexpr std::uint32_t attachableDimensions =
    std::numeric_limits<std::uint32_t>::max() / bytesPerDimension;

// ---- Parameter lists ----

// Which tables a list of seed words asks for.  A null pointer stands for the tables of ours.
struct Parameters {
    std::int32_t dimension = 1;
    bool isAttached = false;
    std::size_t firstGiven = 1;  // the first dimension, from 0, that polynomials and numbers are of
    const std::uint32_t* polynomials = nullptr;
    const std::uint32_t* numbers = nullptr;  // `numbersEach` of them for each dimension
    std::uint64_t numbersEach = 0;
    const std::uint32_t* directions = nullptr;  // 32 for each dimension, in place of all these
};

// A dimension's polynomial, and what its direction numbers begin with.
struct Recurrence {
    std::uint32_t polynomial;
    const std::uint32_t* initial;
    std::uint64_t given;  // of the initial numbers

    int degree() const { return std::bit_width(polynomial) - 1; }
    // A polynomial without degree defines nothing, nor does one whose numbers aren't all there.
    bool isComplete() const {
        return degree() >= 1 && static_cast<std::uint64_t>(degree()) <= given;
    }
};

Recurrence recurrenceOf(const Parameters& parameters, std::size_t d) {
    const std::size_t k = d - parameters.firstGiven;
    Recurrence result{};
    if (!parameters.polynomials || !parameters.numbers) {
        const SobolNumbers& ours = sobolNumbers[d - 1];
        result = {ours.polynomial, ours.initial, 0};
        result.given = static_cast<std::uint64_t>(result.degree());
    }
    if (parameters.polynomials) result.polynomial = parameters.polynomials[k];
    if (parameters.numbers) {
        result.initial = parameters.numbers + k * parameters.numbersEach;
        result.given = parameters.numbersEach;
    }
    return result;
}

bool isUsable(const Parameters& parameters) {
    if (parameters.directions) return true;
    const auto dimension = static_cast<std::size_t>(parameters.dimension);
    for (std::size_t d = parameters.firstGiven; d < dimension; ++d) {
        if (!recurrenceOf(parameters, d).isComplete()) return false;
    }
    return true;
}

// The list s of `count` words, if it is one of a user's tables and whole.  The sums and products
// of untrusted words stay below 2^64.
bool readUserTables(std::uint64_t count, const std::uint32_t* s, Parameters& user) {
    const std::uint64_t dimension = s[0];
    const bool fitsState = dimension <= sobolDimensions;
    switch (s[2]) {
        case 1:  // polynomials, for the initial numbers of ours
            user.polynomials = s + 3;
            return fitsState && count >= dimension + 2;
        case 2:  // initial numbers, for the polynomials of ours
            user.numbersEach = s[3];
            user.numbers = s + 4;
            return fitsState && count >= (dimension - 1) * user.numbersEach + 4;
        case 3:     // both
        case 11: {  // both, for dimension 1 as well
            user.firstGiven = s[2] == 3 ? 1 : 0;
            user.isAttached = true;
            const std::uint64_t rows = dimension - user.firstGiven;
            if (count < rows + 4) return false;
            user.polynomials = s + 3;
            user.numbersEach = s[3 + rows];
            user.numbers = s + 4 + rows;
            return count >= rows * (user.numbersEach + 1) + 4;
        }
        case 4:  // the direction numbers themselves
            user.isAttached = true;
            user.directions = s + 3;
            return count >= directionsPerDimension * dimension + 3;
        default: return false;
    }
}

Parameters readParameters(std::int32_t count, const std::uint32_t* s) {
    if (count < 1) return {};
    const auto dimension = static_cast<std::int32_t>(s[0]);
    if (count >= 4 && dimension >= 1 && s[1] == 1) {
        Parameters user{.dimension = dimension};
        if (readUserTables(static_cast<std::uint64_t>(count), s, user) && isUsable(user)) {
            return user;
        }
    }
    return {.dimension = dimension >= 1 && dimension <= sobolDimensions ? dimension : 1};
}

// ---- Direction numbers ----

// v_j = m_j 2^(31 - j), with m_j = XOR over i < g, bit i of the polynomial set, of
// m_(j-g+i) 2^(g-i), and once more m_(j-g); g is the degree.
void makeDirections(const Recurrence& recurrence, std::uint32_t* v) {
    const auto degree = static_cast<std::size_t>(recurrence.degree());
    std::uint32_t m[directionsPerDimension];
    for (std::size_t j = 0; j < degree; ++j) m[j] = recurrence.initial[j];
    const std::uint32_t lower = recurrence.polynomial ^ (1u << degree);
    for (std::size_t j = degree; j < directionsPerDimension; ++j) {
        const std::uint32_t* before = m + (j - degree);
        std::uint32_t sum = before[0];
        for (std::uint32_t bits = lower; bits != 0; bits &= bits - 1) {
            const auto i = static_cast<std::size_t>(std::countr_zero(bits));
            sum ^= before[i] << (degree - i);
        }
        m[j] = sum;
    }
    for (std::size_t j = 0; j < directionsPerDimension; ++j) v[j] = m[j] << (31 - j);
}

void makeDirections(const Parameters& parameters, std::size_t d, std::uint32_t* v) {
    if (parameters.directions) {
        std::copy_n(parameters.directions + d * directionsPerDimension, directionsPerDimension, v);
    } else if (d < parameters.firstGiven) {  // dimension 1: van der Corput's sequence
        for (std::size_t j = 0; j < directionsPerDimension; ++j) v[j] = 0x80000000u >> j;
    } else {
        makeDirections(recurrenceOf(parameters, d), v);
    }
}

// ---- Seeding ----

std::uint32_t* allocateWords(std::uint64_t bytes) {
    return static_cast<std::uint32_t*>(alignedAlloc(bytes, recordAlignment));
}

// Hangs the block on the stream, or frees it.
std::int32_t hang(StreamHandle stream, std::uint32_t tag, const AttachmentKey* key, void* block,
                  std::uint64_t size) {
    const std::int32_t status = attach(stream, tag, key, block, static_cast<std::uint32_t>(size));
    if (status < 0) alignedFree(block);
    return status;
}

template <class Fill>
std::int32_t attachTables(StreamHandle stream, const Parameters& parameters, const Fill& fill) {
    const auto dimension = static_cast<std::uint64_t>(parameters.dimension);
    if (dimension > attachableDimensions) return RNG_NO_MEMORY;
    std::uint32_t* directions = allocateWords(dimension * bytesPerDimension);
    std::uint32_t* point = allocateWords(dimension * sizeof(std::uint32_t));
    if (!directions || !point) {
        alignedFree(directions);
        alignedFree(point);
        return RNG_NO_MEMORY;
    }
    fillTables(dimension, fill, point, directions);
    const AttachmentKey key =
        sharedBlocks().makeUniqueKey(reinterpret_cast<std::intptr_t>(directions));
    std::int32_t status = hang(stream, tagSobol, &key, directions, dimension * bytesPerDimension);
    if (status < 0) {
        alignedFree(point);
        return status;
    }
    return hang(stream, tagSobolSecond, nullptr, point, dimension * sizeof(std::uint32_t));
}

std::int32_t seed(StreamHandle stream, std::int32_t count, const std::uint32_t* words) {
    const Parameters parameters = readParameters(count, words);
    const auto fill = [&](std::size_t d, std::uint32_t* v) { makeDirections(parameters, d, v); };
    // A stream that is seeded again has the former tables.
    detachByTag(stream, tagSobol);
    detachByTag(stream, tagSobolSecond);
    auto& state = stateOf<SobolState>(stream);
    state = {};
    state.at = firstPosition(parameters.dimension);
    if (parameters.isAttached) return attachTables(stream, parameters, fill);
    fillTables(state, fill);
    return RNG_OK;
}

// Are the tables in the state?  There they begin with van der Corput's sequence.
bool hasOwnTables(const SobolState& state) {
    return state.directions[0][0] != 0;
}

}  // namespace

DigitalSequence sobolSequence(StreamHandle stream) {
    auto& state = stateOf<SobolState>(stream);
    if (hasOwnTables(state)) return {&state.at, state.point, state.byBit};
    auto* directions = static_cast<std::uint32_t*>(findAttachment(stream, tagSobol));
    auto* point = static_cast<std::uint32_t*>(findAttachment(stream, tagSobolSecond));
    return {&state.at, directions ? point : nullptr, directions};
}

std::int32_t sobolInit(std::int32_t op, StreamHandle stream, std::int32_t n,
                       const std::uint32_t* params) {
    if (op == OP_SEED) return seed(stream, n, params);
    return splitSequence(op, sobolSequence(stream), n, params);
}

bool sobolIsState(const StreamRecord* stream) {
    const auto& state = stateOf<SobolState>(stream);
    const bool isOwn = hasOwnTables(state);
    if (!isPosition(state.at, isOwn ? sobolDimensions : attachableDimensions)) return false;
    const auto dimension = static_cast<std::size_t>(state.at.dimension);
    if (!isUnusedZero(state, isOwn ? dimension : 0)) return false;
    if (isOwn) {
        return !findAttachment(stream, tagSobol) && !findAttachment(stream, tagSobolSecond) &&
               isAtOwnIndex(state);
    }
    return hasAttachment(stream, tagSobol, dimension * bytesPerDimension) &&
           hasAttachment(stream, tagSobolSecond, dimension * sizeof(std::uint32_t)) &&
           isAtIndex(sobolSequence(const_cast<StreamHandle>(stream)));  // which only reads
}

void sobolDeriveTables(StreamHandle stream) {
    auto& state = stateOf<SobolState>(stream);
    deriveByBit(state, hasOwnTables(state) ? static_cast<std::size_t>(state.at.dimension) : 0);
}

}  // namespace korvan
