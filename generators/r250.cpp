#include "generators/r250.h"

#include <algorithm>

#include "generators/generators.h"

namespace korvan {
namespace {

// A full set of words is taken as it is.  Fewer of them give one multiplier for a congruential
// sequence; then 32 of the words, seven apart, are made a triangle of bits, so that the 32 columns
// of bits are linearly independent.
void seed(R250State& state, std::int32_t count, const std::uint32_t* words) {
    state.i = 0;
    state.j = r250Tap;
    if (count >= static_cast<std::int32_t>(r250Words)) {
        std::copy_n(words, r250Words, state.x);
        return;
    }
    std::uint32_t value = count < 1 || words[0] == 0 ? 1 : words[0];
    for (std::uint32_t& word : state.x) word = value *= 69069;
    for (int bit = 0; bit < 32; ++bit) {
        std::uint32_t& word = state.x[3 + 7 * bit];
        word = (word & (0xFFFFFFFF >> bit)) | (0x80000000 >> bit);
    }
}

}  // namespace

std::int32_t r250Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                      const std::uint32_t* params) {
    switch (op) {
        case OP_SEED: seed(stateOf<R250State>(stream), n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: return RNG_NO_SKIP_AHEAD;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// All words may be zero: a full set of zero seed words is taken as it is.
bool r250IsState(const StreamRecord* stream) {
    const auto& state = stateOf<R250State>(stream);
    constexpr std::int32_t words = r250Words, tap = r250Tap;
    return state.i >= 0 && state.i < words && state.j == (state.i + tap) % words;
}

}  // namespace korvan
