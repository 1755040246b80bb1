#include "tools/mt2203/mt2203_masks.h"

#include <algorithm>
#include <bit>
#include <stdexcept>
#include <vector>

#include "tools/mt2203/mt2203_gf2.h"

namespace korvan::mt2203 {
namespace {

constexpr std::uint32_t topBit = 0x80000000u;

// ---- Lattice of states ----
//
// The outputs of a state, as series in 1/t, and the unit vectors generate a lattice over GF(2)[t]
// in v dimensions; k(v) is minus the degree of the longest vector of a reduced basis. A vector is
// stood for by the state that it reaches after `count` steps of zero output, where it shows the
// nonzero output `next`.

using Vec [[gnu::vector_size(64)]] = std::uint32_t;

struct Vector {
    Vec part[5];  // the 69 words of the state, oldest first, and 11 words 0
    std::uint32_t next;
    int count;
};

struct Generator {
    std::uint32_t matrixA;
    Masks masks;
    std::uint32_t topBits;

    std::uint32_t twist(std::uint32_t oldest, std::uint32_t second, std::uint32_t middle) const {
        constexpr std::uint32_t low = (1u << lowBits) - 1;
        const std::uint32_t y = (oldest & ~low) | (second & low);
        return middle ^ (y >> 1) ^ ((0 - (y & 1)) & matrixA);
    }
    std::uint32_t output(std::uint32_t y) const {
        y ^= y >> 12;
        y ^= (y << 7) & masks.b;
        y ^= (y << 15) & masks.c;
        return y & topBits;
    }
};

// Drops word 0 and takes one from the vector above.
[[gnu::always_inline]] inline void moveDown(Vec& low, const Vec& high) {
    low = __builtin_shufflevector(low, high, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
}

[[gnu::always_inline]] inline void step(Vector& x, const Generator& generator) {
    const std::uint32_t word = generator.twist(x.part[0][0], x.part[0][1], x.part[2][2]);
    static_assert(middleWord == 2 * 16 + 2 && wordCount == 4 * 16 + 5);
    const Vec last = {0, 0, 0, 0, ~0u};
    const Vec zero{};
    for (int i = 0; i < 4; ++i) moveDown(x.part[i], x.part[i + 1]);
    moveDown(x.part[4], zero);
    x.part[4] ^= (zero + word) & last;
    x.next = generator.output(word);
}

// To the next nonzero output.
[[gnu::always_inline]] inline void advance(Vector& x, const Generator& generator) {
    int steps = 0;
    do {
        step(x, generator);
        if (++steps > degree) throw std::logic_error("a state without output");
    } while (x.next == 0);
    x.count += steps;
}

[[gnu::always_inline]] inline void add(Vector& x, const Vector& y) {
    for (int i = 0; i < 5; ++i) x.part[i] ^= y.part[i];
    x.next ^= y.next;
}

// Vector number i is, among the vectors seen whose lowest bit of output is bit i from the top, one
// with the highest count. The counts of a basis of a sublattice add up to 2203 at most, and to 2203
// only for the whole lattice: then the basis is reduced.
struct Basis {
    Vector vector[32];
    int total = 0;
};

// Adds basis vectors to x until its output is 0, or the basis is reduced.
[[gnu::always_inline]] inline void reduce(Vector& x, Basis& basis) {
    while (x.next != 0) {
        Vector& pivot = basis.vector[31 - std::countr_zero(x.next)];
        if (pivot.count < x.count) {
            basis.total += x.count - pivot.count;
            std::swap(x, pivot);
            if (basis.total == degree) return;
        }
        add(x, pivot);
    }
}

[[gnu::always_inline]] inline int dimensionWith(std::uint32_t matrixA, Masks masks, int v) {
    const Generator generator{matrixA, masks, ~0u << (32 - v)};
    Basis basis{};
    for (int i = 0; i < v; ++i) basis.vector[i].next = topBit >> i;
    Vector x{};
    x.part[4][4] = 1;
    while (basis.total < degree) {
        advance(x, generator);
        reduce(x, basis);
    }
    int least = degree;
    for (int i = 0; i < v; ++i) least = std::min(least, basis.vector[i].count);
    return least;
}

#if defined(__x86_64__)
[[gnu::target("avx512f,avx512vl,avx512dq,bmi,bmi2")]] int dimension512(std::uint32_t matrixA,
                                                                       Masks masks, int v) {
    return dimensionWith(matrixA, masks, v);
}
#endif

using DimensionFunction = int (*)(std::uint32_t, Masks, int);

DimensionFunction fastestDimension() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("bmi2")) {
        return dimension512;
    }
#endif
    return dimensionPortable;
}

// ---- Search ----

// Bit v of the tempered word is touched by bit v of c, by bit v of b, and, where bit v of c is
// set, by bit v + 15 of b (bits from the top). So these are tried while k(1) .. k(v) stay.
// The order decides between equals.
std::vector<Masks> candidates(Masks masks, int v) {
    const std::uint32_t bit = topBit >> v;
    const auto with = [](std::uint32_t word, std::uint32_t mask, bool set) {
        return set ? word | mask : word & ~mask;
    };
    std::vector<Masks> list;
    for (int choiceC = 1; choiceC >= (v <= 16 ? 0 : 1); --choiceC) {
        const std::uint32_t c = v <= 16 ? with(masks.c, bit, choiceC == 1) : masks.c;
        const std::uint32_t partner = v + 15 <= 31 ? bit >> 15 : 0;
        const bool partnerFree = v <= 9 && (c & bit) != 0;
        for (int high = partnerFree ? 1 : 0; high >= 0; --high) {
            const std::uint32_t b = with(masks.b, partner, high == 1);
            if (v >= 25) {
                list.push_back({with(b, bit, false), c});
            } else if (v >= 15 && (c & (bit << 15)) != 0) {
                list.push_back({b, c});
            } else {
                list.push_back({with(b, bit, true), c});
                list.push_back({with(b, bit, false), c});
            }
        }
    }
    return list;
}

struct Rated {
    Masks masks;
    int k;
};

// One round of the first stage: the best of all candidates of all pairs, the latest first.
// `last` is the latest of them.
std::vector<Rated> bestCandidates(std::uint32_t matrixA, const std::vector<Rated>& pairs, int v,
                                  Rated& last) {
    int best = 0;
    std::vector<Rated> found;
    for (const Rated& pair : pairs) {
        for (const Masks& masks : candidates(pair.masks, v)) {
            const int k = dimension(matrixA, masks, v + 1);
            if (k < best) continue;
            best = k;
            last = {masks, k};
            found.push_back(last);
        }
    }
    std::erase_if(found, [best](const Rated& rated) { return rated.k < best; });
    std::reverse(found.begin(), found.end());
    return found;
}

// One round of the second stage: the first of the best candidates of one pair.
Rated bestCandidate(std::uint32_t matrixA, Masks masks, int v) {
    Rated best{{}, -1};
    for (const Masks& candidate : candidates(masks, v)) {
        const int k = dimension(matrixA, candidate, v + 1);
        if (k > best.k) best = {candidate, k};
    }
    return best;
}

// Defects that k(v + 1) .. k(32) have at least.
int defectsAbove(int v) {
    int sum = 0;
    for (int u = v + 1; u <= 32; ++u) sum += degree / u - dimensionBound(u);
    return sum;
}

}  // namespace

int dimensionPortable(std::uint32_t matrixA, Masks masks, int v) {
    return dimensionWith(matrixA, masks, v);
}

int dimension(std::uint32_t matrixA, Masks masks, int v) {
    static const DimensionFunction function = fastestDimension();
    return function(matrixA, masks, v);
}

// Let x be the column of the 32 bits of the untempered word, t the step, U = t^69 + t^34. The
// recurrence is U x = S x, where S has entries of degree 0, and of degree 1 in columns 27 .. 31
// only. Rows q_0 .. q_d of polynomials of degree below m with sum(q_i S^i) = 0 give a relation
// sum(U^i q_i) x = 0 between 69 d + m words, so that k(v) < 69 d + m. For the q_i from the span of
// the v visible functions of a word there are v m (d + 1) unknowns and, since each S adds at most
// 5 dimensions to those of the rows of degree below m, at most 32 m + 5 d equations. For m <= 69
// the relation is not 0 if the q_i are not.
int dimensionBound(int v) {
    int bound = degree / v;
    for (int d = 1; d <= 32; ++d) {
        const int surplus = v * (d + 1) - 32;
        if (surplus <= 0) continue;
        const int m = lowBits * d / surplus + 1;
        if (m <= wordCount) bound = std::min(bound, wordCount * d + m - 1);
    }
    return bound;
}

std::optional<MaskSearchResult> searchMasks(std::uint32_t matrixA, int maxDefectSum) {
    constexpr int listedBits = 15;
    MaskSearchResult result;
    std::vector<Rated> pairs{{{}, 0}};
    Rated chosen{};
    for (int v = 0; v < 32; ++v) {
        if (v < listedBits) {
            pairs = bestCandidates(matrixA, pairs, v, chosen);
        } else {
            chosen = bestCandidate(matrixA, chosen.masks, v);
        }
        result.dimensions[static_cast<std::size_t>(v)] = chosen.k;
        result.defectSum += degree / (v + 1) - chosen.k;
        if (maxDefectSum != noLimit && result.defectSum + defectsAbove(v + 1) > maxDefectSum) {
            return std::nullopt;
        }
    }
    result.masks = chosen.masks;
    return result;
}

}  // namespace korvan::mt2203
