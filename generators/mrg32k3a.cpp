#include "generators/mrg32k3a.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "generators/generators.h"
#include "generators/init_operation.h"
#include "generators/mrg32k3a_matrix.h"

namespace korvan {
namespace {

constexpr std::int32_t tableWords = 4;  // of a count that the tables reach
constexpr std::size_t tableBits = 64 * tableWords;
using Powers = std::array<Mrg32k3aMatrix, tableBits>;

// step, step^2, step^4, step^8, ...
consteval Powers doubledPowers(const Mrg32k3aMatrix& step, std::uint32_t m) {
    Powers powers{step};
    for (std::size_t bit = 1; bit < tableBits; ++bit) {
        powers[bit] = mrg32k3aProduct(powers[bit - 1], powers[bit - 1], m);
    }
    return powers;
}

constexpr Powers powersX = doubledPowers(mrg32k3aStepX, mrg32k3aModulus1);
constexpr Powers powersY = doubledPowers(mrg32k3aStepY, mrg32k3aModulus2);

std::uint64_t countWord(const std::uint32_t* params, std::int32_t k) {
    return skipCount(params + std::ptrdiff_t{2} * k);
}

// The powers commute, so one product of matrix and state for each bit that is set will do.
void skipByTable(Mrg32k3aState& state, std::int32_t count, const std::uint32_t* params) {
    for (std::int32_t k = 0; k < count; ++k) {
        std::size_t bit = 64 * static_cast<std::size_t>(k);
        for (std::uint64_t rest = countWord(params, k); rest != 0; rest >>= 1, ++bit) {
            if ((rest & 1) == 0) continue;
            mrg32k3aApply(powersX[bit], state.x, mrg32k3aModulus1);
            mrg32k3aApply(powersY[bit], state.y, mrg32k3aModulus2);
        }
    }
}

void skipComponent(std::uint32_t* words, Mrg32k3aMatrix power, std::uint32_t m, std::int32_t count,
                   const std::uint32_t* params) {
    for (std::int32_t k = 0; k < count; ++k) {
        const std::uint64_t word = countWord(params, k);
        for (int bit = 0; bit < 64; ++bit) {
            if (word >> bit & 1) mrg32k3aApply(power, words, m);
            power = mrg32k3aProduct(power, power, m);
        }
    }
}

// A count of `count` 64-bit words, low word first, of any length.
void skipFar(Mrg32k3aState& state, std::int32_t count, const std::uint32_t* params) {
    while (count > 0 && countWord(params, count - 1) == 0) --count;
    if (count <= tableWords) return skipByTable(state, count, params);
    skipComponent(state.x, mrg32k3aStepX, mrg32k3aModulus1, count, params);
    skipComponent(state.y, mrg32k3aStepY, mrg32k3aModulus2, count, params);
}

// Brings three seed words into the component's range.  m exceeds 2^31, so one subtraction is
// enough.  A component of zeros would stay there.
void reduceComponent(std::uint32_t* words, std::uint32_t m) {
    for (int k = 0; k < 3; ++k) words[k] -= words[k] >= m ? m : 0;
    if ((words[0] | words[1] | words[2]) == 0) words[0] = 1;
}

void seed(Mrg32k3aState& state, std::int32_t count, const std::uint32_t* words) {
    std::uint32_t given[6] = {1, 1, 1, 1, 1, 1};
    if (count > 0) std::copy_n(words, std::min(count, 6), given);
    std::copy_n(given, 3, state.x);
    std::copy_n(given + 3, 3, state.y);
    reduceComponent(state.x, mrg32k3aModulus1);
    reduceComponent(state.y, mrg32k3aModulus2);
}

bool isComponent(const std::uint32_t* words, std::uint32_t m) {
    return std::max({words[0], words[1], words[2]}) < m && (words[0] | words[1] | words[2]) != 0;
}

}  // namespace

std::int32_t mrg32k3aInit(std::int32_t op, StreamHandle stream, std::int32_t n,
                          const std::uint32_t* params) {
    auto& state = stateOf<Mrg32k3aState>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: skipByTable(state, 1, params); return RNG_OK;
        case OP_SKIPAHEAD_WORDS: skipFar(state, n, params); return RNG_OK;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

bool mrg32k3aIsState(const StreamRecord* stream) {
    const auto& state = stateOf<Mrg32k3aState>(stream);
    return isComponent(state.x, mrg32k3aModulus1) && isComponent(state.y, mrg32k3aModulus2);
}

}  // namespace korvan
