#include "generators/mcg31m1.h"

#include "generators/generators.h"
#include "generators/init_operation.h"

namespace korvan {
namespace {

std::uint32_t power(std::uint32_t base, std::uint64_t exponent) {
    std::uint32_t result = 1;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1) result = mcg31m1Product(result, base);
        base = mcg31m1Product(base, base);
    }
    return result;
}

void seed(Mcg31m1State& state, std::int32_t count, const std::uint32_t* words) {
    const std::uint32_t x = count < 1 ? 1 : words[0] % mcg31m1Modulus;
    state = {.x = x == 0 ? 1 : x, .a = mcg31m1Multiplier};
}

// Stream k of nstreams gives x_k, x_(k + nstreams), ...: the position is a step with the old
// multiplier.
void leapfrog(Mcg31m1State& state, std::uint32_t k, std::int32_t nstreams) {
    state.x = mcg31m1Product(state.x, power(state.a, k));
    state.a = power(state.a, static_cast<std::uint32_t>(nstreams));
}

}  // namespace

std::int32_t mcg31m1Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                         const std::uint32_t* params) {
    auto& state = stateOf<Mcg31m1State>(stream);
    switch (op) {
        case OP_SEED: seed(state, n, params); return RNG_OK;
        case OP_LEAPFROG: leapfrog(state, params[0], n); return RNG_OK;
        case OP_SKIPAHEAD:
            state.x = mcg31m1Product(state.x, power(state.a, skipCount(params)));
            return RNG_OK;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

bool mcg31m1IsState(const StreamRecord* stream) {
    const auto& state = stateOf<Mcg31m1State>(stream);
    const auto inGroup = [](std::uint32_t v) { return v >= 1 && v < mcg31m1Modulus; };
    return inGroup(state.x) && inGroup(state.a);
}

}  // namespace korvan
