#include "generators/philox4x32x10.h"

#include <algorithm>
#include <cstring>

#include "generators/block_skip.h"
#include "generators/generators.h"
#include "generators/init_operation.h"

namespace korvan {
namespace {

void seed(PhiloxState& state, std::int32_t count, const std::uint32_t* words) {
    state = {};
    std::uint32_t given[6] = {};
    if (count > 0) std::copy_n(words, std::min(count, 6), given);
    std::copy_n(given, 2, state.key);
    std::memcpy(&state.counter, given + 2, sizeof state.counter);
}

// Computes the block at the counter, of which `leftover` words are still to be given.
void enterBlock(PhiloxState& state, std::uint32_t leftover) {
    philoxBlock(state.counter, state.key, state.buffer);
    state.counter = state.counter.plus(1);
    state.leftover = leftover;
}

void skip(PhiloxState& state, std::uint64_t nskip) {
    if (nskip <= state.leftover) {
        state.leftover -= static_cast<std::uint32_t>(nskip);
        return;
    }
    const std::uint64_t m = nskip - state.leftover;
    state.counter = state.counter.plus((m - 1) / 4);
    enterBlock(state, static_cast<std::uint32_t>(-m) & 3);
}

// The block that the position lies in is always computed, so that a skip to a block's end leaves
// the whole next block waiting, leftover 4.
void skipFar(PhiloxState& state, SkipCount count) {
    if (count.isAtMost(state.leftover)) {
        state.leftover -= static_cast<std::uint32_t>(count.low());
        return;
    }
    count.subtract(state.leftover);
    state.counter = state.counter.plus(count.blocks());
    enterBlock(state, 4 - count.wordsInBlock());
}

}  // namespace

std::int32_t philox4x32x10Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                               const std::uint32_t* params) {
    auto& state = stateOf<PhiloxState>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: skip(state, skipCount(params)); return RNG_OK;
        case OP_SKIPAHEAD_WORDS: skipFar(state, SkipCount(n, params)); return RNG_OK;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// After vslCopyStreamState, which copies part of the buffer, buffer needn't be counter - 1's.
bool philox4x32x10IsState(const StreamRecord* stream) {
    const auto& state = stateOf<PhiloxState>(stream);
    return state.leftover <= 4 && state.spare == 0;
}

}  // namespace korvan
