#include "generators/nondeterministic.h"

#include "generators/generators.h"

namespace korvan {

// The first seed word has no effect.
std::int32_t nondeterministicInit(std::int32_t op, StreamHandle stream, std::int32_t n,
                                  const std::uint32_t* params) {
    switch (op) {
        case OP_SEED: {
            const std::uint32_t retries = n >= 2 ? params[1] : 0;
            stateOf<NondeterministicState>(stream) = {
                .source = 0, .retries = retries != 0 ? retries : defaultRetries};
            return RNG_OK;
        }
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: return RNG_NO_SKIP_AHEAD;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

bool nondeterministicIsState(const StreamRecord* stream) {
    const auto& state = stateOf<NondeterministicState>(stream);
    return state.source == 0 && state.retries != 0;
}

}  // namespace korvan
