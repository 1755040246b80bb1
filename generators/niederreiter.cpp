#include "generators/niederreiter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "frame/memory.h"
#include "generators/generators.h"
#include "streams/attachments.h"

namespace korvan {
namespace {

constexpr std::uint64_t wordsPerDimension = directionsPerDimension + 1;  // with the point's
constexpr std::uint64_t bytesPerDimension = wordsPerDimension * sizeof(std::uint32_t);
constexpr std::uint32_t attachableDimensions =
    std::numeric_limits<std::uint32_t>::max() / bytesPerDimension;

// ---- Polynomials over GF(2), bit i the coefficient of t^i ----

// Terms from t^32 on drop out.
constexpr std::uint32_t product(std::uint32_t x, std::uint32_t y) {
    std::uint32_t sum = 0;
    for (; y != 0; y >>= 1, x <<= 1) sum ^= (y & 1) != 0 ? x : 0;
    return sum;
}

// The first irreducible polynomials, in the order of their bits read as numbers.
constexpr auto irreducibles = [] {
    constexpr std::uint32_t limit = 1 << 12;  // the last one has degree 11
    std::array<bool, limit> isProduct{};
    std::array<std::uint16_t, niederreiterDimensions> found{};
    std::size_t count = 0;
    for (std::uint32_t p = 2; count < found.size(); ++p) {
        if (isProduct.at(p)) continue;
        found[count++] = static_cast<std::uint16_t>(p);
        for (std::uint32_t q = p; q * std::bit_floor(p) < limit; ++q) {
            isProduct.at(product(q, p)) = true;
        }
    }
    return found;
}();
static_assert(irreducibles[0] == 2 && irreducibles[23] == 131 && irreducibles[317] == 3047);

// ---- Parameter lists ----

struct Parameters {
    std::int32_t dimension = 1;
    // The caller's, or null.
    const std::uint32_t* polynomials = nullptr;
    const std::uint32_t* directions = nullptr;  // 32 for each dimension

    bool isAttached() const { return dimension > niederreiterDimensions; }
    std::uint32_t polynomial(std::size_t d) const {
        return polynomials ? polynomials[d] : irreducibles[d];
    }
};

Parameters readParameters(std::int32_t count, const std::uint32_t* s) {
    if (count < 1) return {};
    const auto dimension = static_cast<std::int32_t>(s[0]);
    if (count >= 3 && dimension >= 1 && s[1] == 1) {
        const auto words = static_cast<std::uint64_t>(count), wanted = std::uint64_t{s[0]};
        // Constants define nothing.
        const auto isPolynomial = [](std::uint32_t p) { return p >= 2; };
        if (s[2] == 1 && words >= wanted + 3 && std::all_of(s + 3, s + 3 + wanted, isPolynomial)) {
            return {.dimension = dimension, .polynomials = s + 3};
        }
        if (s[2] == 4 && words >= directionsPerDimension * wanted + 3) {
            return {.dimension = dimension, .directions = s + 3};
        }
    }
    return {.dimension = dimension >= 1 && dimension <= niederreiterDimensions ? dimension : 1};
}

// ---- Direction numbers ----

std::uint64_t reversed(std::uint64_t x) {
    x = (x >> 1 & 0x5555555555555555) | (x & 0x5555555555555555) << 1;
    x = (x >> 2 & 0x3333333333333333) | (x & 0x3333333333333333) << 2;
    x = (x >> 4 & 0x0F0F0F0F0F0F0F0F) | (x & 0x0F0F0F0F0F0F0F0F) << 4;
    return __builtin_bswap64(x);
}

// Row r of the generator matrix C is 32 terms of a recurrent sequence V, and bit 31 - r of v_j is
// C[r][j].  The power p^k of the polynomial p of degree e is the characteristic polynomial of the V
// that gives the e rows from row = e (k - 1) on: C[row + u][j] = V[u + j].  This V begins with
// `row` zeros and e ones; it has e + 31 terms.
void makeDirections(std::uint32_t polynomial, std::uint32_t* v) {
    const auto e = static_cast<std::size_t>(std::bit_width(polynomial) - 1);
    const std::uint64_t ones = (std::uint64_t{1} << e) - 1;
    std::fill_n(v, directionsPerDimension, 0u);
    std::uint32_t power = 1;  // p^k
    for (std::size_t row = 0; row < directionsPerDimension; row += e) {
        power = product(power, polynomial);
        const std::size_t m = row + e;              // its degree
        std::uint64_t terms = ones << row;          // bit i: V[i]
        for (std::size_t r = m; r < e + 31; ++r) {  // the power's first bit meets V[r], still 0
            const auto sum = static_cast<unsigned>(__builtin_parityll(power & terms >> (r - m)));
            terms |= std::uint64_t{sum} << r;
        }
        // Bits e - 1 .. 0 of a window are V[j] .. V[j + e - 1]: rows `row` .. m - 1 of column j.
        const std::uint64_t mirrored = reversed(terms);
        // Columns before these have their ones in earlier rows alone.
        for (std::size_t j = row < e ? 0 : row - e + 1; j < directionsPerDimension; ++j) {
            const std::uint64_t window = mirrored >> (64 - j - e) & ones;
            v[j] |= static_cast<std::uint32_t>(window << 32 >> m);
        }
    }
}

void makeDirections(const Parameters& parameters, std::size_t d, std::uint32_t* v) {
    if (parameters.directions) {
        std::copy_n(parameters.directions + d * directionsPerDimension, directionsPerDimension, v);
    } else {
        makeDirections(parameters.polynomial(d), v);
    }
}

// ---- Seeding ----

template <class Fill>
std::int32_t attachTables(StreamHandle stream, const Parameters& parameters, const Fill& fill) {
    const auto dimension = static_cast<std::uint64_t>(parameters.dimension);
    if (dimension > attachableDimensions) return RNG_NO_MEMORY;
    const std::uint64_t size = dimension * bytesPerDimension;
    auto* point = static_cast<std::uint32_t*>(alignedAlloc(size, recordAlignment));
    if (!point) return RNG_NO_MEMORY;
    fillTables(dimension, fill, point, point + dimension);
    const std::int32_t status =
        attach(stream, tagNiederreiter, nullptr, point, static_cast<std::uint32_t>(size));
    if (status < 0) alignedFree(point);
    return status;
}

std::int32_t seed(StreamHandle stream, std::int32_t count, const std::uint32_t* words) {
    const Parameters parameters = readParameters(count, words);
    const auto fill = [&](std::size_t d, std::uint32_t* v) { makeDirections(parameters, d, v); };
    detachByTag(stream, tagNiederreiter);  // the former one of a stream that is seeded again
    auto& state = stateOf<NiederreiterState>(stream);
    state = {};
    state.at = firstPosition(parameters.dimension);
    if (parameters.isAttached()) return attachTables(stream, parameters, fill);
    fillTables(state, fill);
    return RNG_OK;
}

bool hasOwnTables(const NiederreiterState& state) {
    return state.at.dimension <= niederreiterDimensions;
}

}  // namespace

DigitalSequence niederreiterSequence(StreamHandle stream) {
    auto& state = stateOf<NiederreiterState>(stream);
    if (hasOwnTables(state)) return {&state.at, state.point, state.byBit};
    auto* point = static_cast<std::uint32_t*>(findAttachment(stream, tagNiederreiter));
    return {&state.at, point, point ? point + state.at.dimension : nullptr};
}

std::int32_t niederreiterInit(std::int32_t op, StreamHandle stream, std::int32_t n,
                              const std::uint32_t* params) {
    if (op == OP_SEED) return seed(stream, n, params);
    return splitSequence(op, niederreiterSequence(stream), n, params);
}

bool niederreiterIsState(const StreamRecord* stream) {
    const auto& state = stateOf<NiederreiterState>(stream);
    if (!isPosition(state.at, attachableDimensions)) return false;
    const auto dimension = static_cast<std::size_t>(state.at.dimension);
    const bool isOwn = hasOwnTables(state);
    if (!isUnusedZero(state, isOwn ? dimension : 0)) return false;
    if (isOwn) return !findAttachment(stream, tagNiederreiter) && isAtOwnIndex(state);
    return hasAttachment(stream, tagNiederreiter, dimension * bytesPerDimension) &&
           isAtIndex(niederreiterSequence(const_cast<StreamHandle>(stream)));  // which only reads
}

void niederreiterDeriveTables(StreamHandle stream) {
    auto& state = stateOf<NiederreiterState>(stream);
    deriveByBit(state, hasOwnTables(state) ? static_cast<std::size_t>(state.at.dimension) : 0);
}

}  // namespace korvan
