#include "generators/mt2203.h"

#include "generators/generators.h"
#include "generators/mt2203_members.h"

namespace korvan {
namespace {

TwisterConstants constantsOf(std::int32_t member) {
    const Mt2203Member& row = mt2203Members[member];
    return {.matrixA = row.matrixA, .maskB = row.maskB, .maskC = row.maskC};
}

void seed(Mt2203State& state, std::int32_t member, std::int32_t count, const std::uint32_t* words) {
    seedTwister(state.mt, Mt2203Shape::words, words, count);
    state.index = Mt2203Shape::words;
    state.constants = constantsOf(member);
    state.spare = 0;
}

}  // namespace

std::int32_t mt2203Init(std::int32_t op, StreamHandle stream, std::int32_t n,
                        const std::uint32_t* params) {
    switch (op) {
        case OP_SEED:
            seed(stateOf<Mt2203State>(stream), memberOf(stream->generatorId), n, params);
            return RNG_OK;
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: return RNG_NO_SKIP_AHEAD;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// A stream's constants are always its member's: other ones have no proven period.
bool mt2203IsState(const StreamRecord* stream) {
    const auto& state = stateOf<Mt2203State>(stream);
    const TwisterConstants own = constantsOf(memberOf(stream->generatorId));
    return state.constants.matrixA == own.matrixA && state.constants.maskB == own.maskB &&
           state.constants.maskC == own.maskC && state.spare == 0 &&
           isTwisterState<Mt2203Shape>(state.mt, state.index);
}

}  // namespace korvan
