#include "generators/sfmt19937.h"

#include <algorithm>

#include "generators/generators.h"
#include "generators/init_operation.h"
#include "generators/sfmt19937_exponents.h"

namespace korvan {
namespace {

constexpr auto usedUp = static_cast<std::int32_t>(sfmtWords);

void emptyTail(Sfmt19937State& state) {
    state.tailPosition = state.tailCount = 0;
}

// Words from `first` to the end of the element that ends before `end` wait to be given.
void keepTail(Sfmt19937State& state, std::int32_t first, std::int32_t end) {
    std::copy(state.w + first, state.w + end, state.tail);
    state.tailPosition = 0;
    state.tailCount = end - first;
}

// ---- Seeding: the array initialisation of the authors' program ----

constexpr std::uint32_t mixAdd(std::uint32_t x) {
    return (x ^ (x >> 27)) * 1664525;
}
constexpr std::uint32_t mixXor(std::uint32_t x) {
    return (x ^ (x >> 27)) * 1566083941;
}

// Word i and the three that a round of the seeding reads or changes with it.
struct Round {
    std::uint32_t &word, &middle, &lagged;
    const std::uint32_t& before;

    Round(std::uint32_t* w, std::size_t i)
        : word(w[i]),
          middle(w[(i + 306) % sfmtWords]),
          lagged(w[(i + 306 + 11) % sfmtWords]),
          before(w[(i + sfmtWords - 1) % sfmtWords]) {}

    void add(std::uint32_t extra) {
        const std::uint32_t r = mixAdd(word ^ middle ^ before);
        middle += r;
        lagged += r + extra;
        word = r + extra;
    }
    void subtract(std::uint32_t i) {
        const std::uint32_t r = mixXor(word + middle + before);
        middle ^= r;
        lagged ^= r - i;
        word = r - i;
    }
};

// A state lies on a cycle of full length if its inner product with the parity vector is 1.
void certifyPeriod(std::uint32_t* w) {
    constexpr std::uint32_t parity[4] = {0x00000001, 0, 0, 0x13C9E684};
    std::uint32_t inner = 0;
    for (int k = 0; k < 4; ++k) inner ^= w[k] & parity[k];
    for (int shift = 16; shift > 0; shift /= 2) inner ^= inner >> shift;
    // The lowest bit of the vector is the lowest of all.
    if ((inner & 1) == 0) w[0] ^= 1;
}

void seed(Sfmt19937State& state, std::int32_t count, const std::uint32_t* key) {
    constexpr std::uint32_t one = 1;
    if (count < 1) key = &one;
    const std::size_t length = count < 1 ? 1 : static_cast<std::size_t>(count);

    state = {};
    std::fill_n(state.w, sfmtWords, 0x8B8B8B8B);
    Round(state.w, 0).add(static_cast<std::uint32_t>(length));
    std::size_t i = 1;
    const auto number = [&] { return static_cast<std::uint32_t>(i); };
    const auto advance = [&] { i = (i + 1) % sfmtWords; };
    for (std::size_t j = 0; j < length; ++j, advance()) Round(state.w, i).add(key[j] + number());
    for (std::size_t j = length; j + 1 < sfmtWords; ++j, advance()) Round(state.w, i).add(number());
    for (std::size_t j = 0; j < sfmtWords; ++j, advance()) Round(state.w, i).subtract(number());
    certifyPeriod(state.w);
    state.index = usedUp;
}

// ---- Skips: the block as a circular store, its oldest element at the index ----

Sfmt19937State& asState(void* state) {
    return *static_cast<Sfmt19937State*>(state);
}
const Sfmt19937State& asState(const void* state) {
    return *static_cast<const Sfmt19937State*>(state);
}
std::size_t oldestOf(const Sfmt19937State& state) {
    return static_cast<std::size_t>(state.index);
}

void zeroState(void* state) {
    asState(state) = {};
}

void addState(void* target, const void* source) {
    addCircular(asState(target).w, oldestOf(asState(target)), asState(source).w,
                oldestOf(asState(source)), sfmtWords);
}

void copyState(void* target, const void* source) {
    asState(target) = asState(source);
}

void stepState(void* memory) {
    Sfmt19937State& state = asState(memory);
    const std::size_t k = state.index == usedUp ? 0 : oldestOf(state);
    const auto element = [&](std::size_t distance) {
        const std::size_t at = k + 4 * distance;
        return state.w + (at < sfmtWords ? at : at - sfmtWords);
    };
    sfmtNext(element(0), element(sfmtMiddle), element(sfmtElements - 2), element(sfmtElements - 1),
             element(0));
    state.index = static_cast<std::int32_t>(k + 4);
}

// `given` words of the last element, if not 0, lie before the place skipped to.
void storeState(void* target, const void* source, std::uint32_t given) {
    Sfmt19937State& state = asState(target);
    unroll(state.w, asState(source).w, oldestOf(asState(source)), sfmtWords);
    state.index = usedUp;
    if (given > 0) keepTail(state, usedUp - 4 + static_cast<std::int32_t>(given), usedUp);
}

// A skip counts words, the jump elements.
bool advanceShort(void* memory, std::uint64_t& nskip, std::uint32_t& given) {
    Sfmt19937State& state = asState(memory);
    const auto inTail = static_cast<std::uint64_t>(state.tailCount - state.tailPosition);
    if (nskip <= inTail) {
        state.tailPosition += static_cast<std::int32_t>(nskip);
        return true;
    }
    nskip -= inTail;
    emptyTail(state);
    const auto left = static_cast<std::uint64_t>(usedUp - state.index);
    if (nskip > left) {
        nskip -= left;
        given = nskip % 4;
        nskip = nskip / 4 + (given > 0 ? 1 : 0);
        state.index = usedUp;
        return false;
    }
    const std::int32_t end = state.index + static_cast<std::int32_t>(nskip);
    state.index = (end + 3) / 4 * 4;
    if (end < state.index) keepTail(state, end, state.index);
    return true;
}

constexpr std::uint64_t tableThreshold = 19968;

}  // namespace

constinit const JumpingGenerator sfmt19937Jumping{
    .zeroState = zeroState,
    .addState = addState,
    .copyState = copyState,
    .stepState = stepState,
    .storeState = storeState,
    .advanceShort = advanceShort,
    .stateBytes = sizeof(Sfmt19937State),
    .characteristic = sfmt19937Characteristic,
};

std::int32_t sfmt19937Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                           const std::uint32_t* params) {
    auto& state = stateOf<Sfmt19937State>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: {
            const std::uint64_t nskip = skipCount(params);
            return nskip < tableThreshold ? jumpPlainly(sfmt19937Jumping, &state, nskip)
                                          : jumpWithTable(sfmt19937Jumping, &state, nskip);
        }
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// After vslCopyStreamState, which leaves the tail out, the tail needn't be of the element before
// the index.  Zeros stay zeros, and no seed gives them.
static_assert(sfmtWords <= longestBlock);

std::int32_t sfmt19937WaitingWords(const StreamRecord* stream) {
    const auto& state = stateOf<Sfmt19937State>(stream);
    return state.tailCount - state.tailPosition;
}

bool sfmt19937IsState(const StreamRecord* stream) {
    const auto& state = stateOf<Sfmt19937State>(stream);
    const bool inBlock = state.index >= 0 && state.index <= usedUp && state.index % 4 == 0;
    const bool inTail =
        state.tailPosition >= 0 && state.tailPosition <= state.tailCount && state.tailCount <= 3;
    return inBlock && inTail &&
           std::any_of(state.w, state.w + sfmtWords, [](std::uint32_t word) { return word != 0; });
}

}  // namespace korvan
