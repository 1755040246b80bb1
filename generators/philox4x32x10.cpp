#include "generators/philox4x32x10.h"

#include <algorithm>

#include "generators/generators.h"
#include "generators/init_operation.h"

namespace korvan {
namespace {

void seed(PhiloxState& state, std::int32_t count, const std::uint32_t* words) {
    state = {};
    std::uint32_t given[6] = {};
    if (count > 0) std::copy_n(words, std::min(count, 6), given);
    std::copy_n(given, 2, state.key);
    std::copy_n(given + 2, 4, state.counter);
}

// Computes the block at the counter, of which `leftover` words are still to be given.
void enterBlock(PhiloxState& state, std::uint32_t leftover) {
    philoxBlock(state.counter, state.key, state.buffer);
    philoxAdvance(state.counter, 1);
    state.leftover = leftover;
}

void skip(PhiloxState& state, std::uint64_t nskip) {
    if (nskip <= state.leftover) {
        state.leftover -= static_cast<std::uint32_t>(nskip);
        return;
    }
    const std::uint64_t m = nskip - state.leftover;
    philoxAdvance(state.counter, (m - 1) / 4);
    enterBlock(state, static_cast<std::uint32_t>(-m) & 3);
}

// A count of up to 192 bits.  The block that the position lies in is always computed, so that a
// skip to a block's end leaves the whole next block waiting, leftover 4.
void skipFar(PhiloxState& state, std::int32_t count, const std::uint32_t* params) {
    std::uint64_t m[3] = {};
    std::int32_t used = std::clamp(count, 0, 3);
    std::copy_n(reinterpret_cast<const unsigned char*>(params), 8 * used,
                reinterpret_cast<unsigned char*>(m));
    while (used > 0 && m[used - 1] == 0) --used;
    if (used == 0) return;
    if (used == 1 && m[0] <= state.leftover) {
        state.leftover -= static_cast<std::uint32_t>(m[0]);
        return;
    }
    std::uint64_t borrow = state.leftover;
    for (std::uint64_t& word : m) {
        const std::uint64_t before = word;
        word -= borrow;
        borrow = word > before ? 1 : 0;
    }
    const auto inBlock = static_cast<std::uint32_t>(m[0] & 3);
    // The counter has 128 bits: what m / 4 has above them falls away.
    philoxAdvance(state.counter, m[0] >> 2 | m[1] << 62);
    std::uint32_t upper[4] = {state.counter[2], state.counter[3], 0, 0};
    philoxAdvance(upper, m[1] >> 2 | m[2] << 62);
    std::copy_n(upper, 2, state.counter + 2);
    enterBlock(state, 4 - inBlock);
}

}  // namespace

std::int32_t philox4x32x10Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                               const std::uint32_t* params) {
    auto& state = stateOf<PhiloxState>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: skip(state, skipCount(params)); return RNG_OK;
        case OP_SKIPAHEAD_WORDS: skipFar(state, n, params); return RNG_OK;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// After vslCopyStreamState, which copies part of the buffer, buffer needn't be counter - 1's.
bool philox4x32x10IsState(const StreamRecord* stream) {
    return stateOf<PhiloxState>(stream).leftover <= 4;
}

}  // namespace korvan
