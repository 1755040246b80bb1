#include "generators/mcg59.h"

#include "generators/generators.h"
#include "generators/init_operation.h"

namespace korvan {
namespace {

std::uint64_t power(std::uint64_t base, std::uint64_t exponent) {
    std::uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1) result = mcg59Product(result, base);
        base = mcg59Product(base, base);
    }
    return result;
}

// Even seeds stay even: x then keeps its factor 2^k, and the period is 2^(57 - k).
void seed(Mcg59State& state, std::int32_t count, const std::uint32_t* words) {
    std::uint64_t x = count < 1 ? 0 : words[0];
    if (count > 1) x |= std::uint64_t{words[1]} << 32 & mcg59Mask;
    state = {.x = x == 0 ? 1 : x, .a = mcg59Multiplier};
}

// Stream k of nstreams gives x_k, x_(k + nstreams), ...: the position is a step with the old
// multiplier.
void leapfrog(Mcg59State& state, std::uint32_t k, std::int32_t nstreams) {
    state.x = mcg59Product(state.x, power(state.a, k));
    state.a = power(state.a, static_cast<std::uint32_t>(nstreams));
}

}  // namespace

std::int32_t mcg59Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                       const std::uint32_t* params) {
    auto& state = stateOf<Mcg59State>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: leapfrog(state, params[0], n); return RNG_OK;
        case OP_SKIPAHEAD:
            state.x = mcg59Product(state.x, power(state.a, skipCount(params)));
            return RNG_OK;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// Any x but 0 can be seeded, and none is ever stepped to 0.  The powers of 13^13 are the residues
// that are 1 modulo 4: 13 generates that group, whose order 2^57 is prime to 13.
bool mcg59IsState(const StreamRecord* stream) {
    const auto& state = stateOf<Mcg59State>(stream);
    return state.x >= 1 && state.x <= mcg59Mask && state.a <= mcg59Mask && state.a % 4 == 1;
}

}  // namespace korvan
