#include "generators/ars5.h"

#include <algorithm>
#include <cstring>

#include "frame/hardware.h"
#include "generators/block_skip.h"
#include "generators/generators.h"
#include "generators/init_operation.h"

namespace korvan {
namespace {

void seed(Ars5State& state, std::int32_t count, const std::uint32_t* words) {
    state = {};
    std::uint32_t given[8] = {};
    if (count > 0) std::copy_n(words, std::min(count, 8), given);
    std::memcpy(state.key, given, sizeof state.key);
    std::memcpy(&state.counter, given + 4, sizeof state.counter);
}

// The block that the position lies in is always computed, so that a skip to a block's end leaves
// the whole next block waiting, leftover 4.
std::int32_t skip(Ars5State& state, SkipCount count) {
    if (!hasAesGenerator()) return RNG_NO_AES_SUPPORT;
    if (count.isAtMost(state.leftover)) {
        state.leftover -= static_cast<std::uint32_t>(count.low());
        return RNG_OK;
    }
    count.subtract(state.leftover);
    state.counter = state.counter.plus(count.blocks());
    ars5Blocks()(state.key, state.counter, 1, state.buffer);
    state.counter = state.counter.plus(1);
    state.leftover = 4 - count.wordsInBlock();
    return RNG_OK;
}

}  // namespace

std::int32_t ars5Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                      const std::uint32_t* params) {
    auto& state = stateOf<Ars5State>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: return skip(state, SkipCount(skipCount(params)));
        case OP_SKIPAHEAD_WORDS: return skip(state, SkipCount(n, params));
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// After vslCopyStreamState, which leaves buffer and leftover behind, buffer needn't be
// counter - 1's.
bool ars5IsState(const StreamRecord* stream) {
    const auto& state = stateOf<Ars5State>(stream);
    return state.leftover <= 4 && state.spare == 0;
}

}  // namespace korvan
