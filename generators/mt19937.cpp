#include "generators/mt19937.h"

#include <algorithm>
#include <iterator>

#include "generators/generators.h"
#include "generators/init_operation.h"

namespace korvan {
namespace {

constexpr std::size_t blockWords = Mt19937Shape::words;
constexpr auto usedUp = static_cast<std::int32_t>(blockWords);

// Below this many words generating them is faster than a jump.
constexpr std::uint64_t jumpThreshold = 0x200000;

void seed(Mt19937State& state, std::int32_t count, const std::uint32_t* words) {
    seedTwister(state.mt, blockWords, words, count);
    state.index = usedUp;
    state.spare = 0;
}

// ---- Skips by generation ----

constexpr std::size_t chunkWords = 2048;

// Makes mt the window of raw words that lies `count` words further on.
void advanceWindow(std::uint32_t* mt, std::uint64_t count) {
    std::uint32_t raw[blockWords + chunkWords];
    std::copy_n(mt, blockWords, raw);
    while (count > 0) {
        const auto made = static_cast<std::size_t>(std::min<std::uint64_t>(count, chunkWords));
        for (std::size_t k = 0; k < made; ++k) {
            raw[blockWords + k] = twisted<Mt19937Shape>(
                raw[k], raw[k + 1], raw[k + Mt19937Shape::middle], mt19937Constants.matrixA);
        }
        std::copy_n(raw + made, blockWords, raw);
        count -= made;
    }
    std::copy_n(raw, blockWords, mt);
}

// As fills of at most 2048 words would: one of more than a block leaves the window of the last raw
// words, all given; a shorter last one renews the block in its place when it has to.
void skipByGeneration(Mt19937State& state, std::uint64_t nskip) {
    const std::uint64_t rest = nskip % chunkWords;
    const std::uint64_t inLongFills = rest > blockWords ? nskip : nskip - rest;
    if (inLongFills > 0) {
        advanceWindow(state.mt, inLongFills - static_cast<std::uint64_t>(usedUp - state.index));
        state.index = usedUp;
    }
    state.index += static_cast<std::int32_t>(nskip - inLongFills);
    if (state.index > usedUp) {
        advanceWindow(state.mt, blockWords);
        state.index -= usedUp;
    }
}

// ---- Skips by a jump: the block as a circular store, its oldest word at the index ----

Mt19937State& asState(void* state) {
    return *static_cast<Mt19937State*>(state);
}
const Mt19937State& asState(const void* state) {
    return *static_cast<const Mt19937State*>(state);
}
std::size_t oldestOf(const Mt19937State& state) {
    return static_cast<std::size_t>(state.index);
}

void zeroState(void* state) {
    asState(state) = {};
}

void addState(void* target, const void* source) {
    addCircular(asState(target).mt, oldestOf(asState(target)), asState(source).mt,
                oldestOf(asState(source)), blockWords);
}

void copyState(void* target, const void* source) {
    asState(target) = asState(source);
}

void stepState(void* memory) {
    Mt19937State& state = asState(memory);
    constexpr std::size_t untilWrap = blockWords - Mt19937Shape::middle;
    const std::size_t k = state.index == usedUp ? 0 : oldestOf(state);
    const std::size_t next = k + 1 == blockWords ? 0 : k + 1;
    const std::size_t middle = k < untilWrap ? k + Mt19937Shape::middle : k - untilWrap;
    state.mt[k] = twisted<Mt19937Shape>(state.mt[k], state.mt[next], state.mt[middle],
                                        mt19937Constants.matrixA);
    state.index = static_cast<std::int32_t>(next);
}

void storeState(void* target, const void* source, std::uint32_t) {
    unroll(asState(target).mt, asState(source).mt, oldestOf(asState(source)), blockWords);
    asState(target).index = usedUp;
}

bool advanceShort(void* memory, std::uint64_t& nskip, std::uint32_t&) {
    Mt19937State& state = asState(memory);
    const auto left = static_cast<std::uint64_t>(usedUp - state.index);
    if (nskip <= left) {
        state.index += static_cast<std::int32_t>(nskip);
        return true;
    }
    nskip -= left;
    state.index = usedUp;
    return false;
}

// Found by the Berlekamp-Massey algorithm from one bit of the raw words, and checked: 39938 raw
// words satisfy it, and it is irreducible.
// clang-format off
constexpr std::uint16_t exponents[] = {
    0, 1189, 1416, 1585, 1643, 1870, 2493, 2773, 3000, 3227, 3454, 3681, 3908, 4135, 4362,
    4753, 5661, 6337, 6569, 7129, 7477, 7525, 7583, 7752, 7979, 8206, 9505, 9901, 9969, 10128,
    10693, 10761, 10920, 11089, 11147, 11157, 11215, 11321, 11374, 11384, 11485, 11611, 11712,
    11717, 11838, 11881, 11944, 11997, 12277, 12335, 12393, 12504, 12509, 12620, 12673, 12731,
    12736, 12789, 12905, 12958, 12963, 13137, 13185, 13190, 13243, 13301, 13412, 13528, 13533,
    13639, 13697, 13760, 13813, 13866, 14093, 14151, 14209, 14320, 14325, 14436, 14547, 14552,
    14605, 14721, 14774, 14779, 14953, 15001, 15006, 15059, 15117, 15228, 15344, 15349, 15455,
    15513, 15576, 15629, 15682, 15909, 15967, 16025, 16136, 16141, 16252, 16363, 16368, 16421,
    16537, 16590, 16595, 16817, 16822, 16875, 16933, 17044, 17160, 17271, 17329, 17445, 17498,
    17725, 17783, 17841, 17952, 18068, 18179, 18237, 18406, 18633, 18691, 18860, 19087, 19314,
    19937,
};
// clang-format on

std::int32_t skip(Mt19937State& state, std::uint64_t nskip) {
    if (nskip >= jumpThreshold) return jumpWithTable(mt19937Jumping, &state, nskip);
    skipByGeneration(state, nskip);
    return RNG_OK;
}

}  // namespace

constinit const JumpingGenerator mt19937Jumping{
    .zeroState = zeroState,
    .addState = addState,
    .copyState = copyState,
    .stepState = stepState,
    .storeState = storeState,
    .advanceShort = advanceShort,
    .stateBytes = sizeof(Mt19937State),
    .characteristic = {exponents, std::size(exponents)},
};

std::int32_t mt19937Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                         const std::uint32_t* params) {
    auto& state = stateOf<Mt19937State>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: return skip(state, skipCount(params));
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

bool mt19937IsState(const StreamRecord* stream) {
    const auto& state = stateOf<Mt19937State>(stream);
    return isTwisterState<Mt19937Shape>(state.mt, state.index) && state.spare == 0;
}

}  // namespace korvan
