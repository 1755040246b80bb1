#include "generators/wichmann_hill.h"

#include "generators/generators.h"
#include "generators/init_operation.h"
#include "generators/wichmann_hill_members.h"

namespace korvan {
namespace {

const WichmannHillMember& memberOfStream(const StreamRecord* stream) {
    return wichmannHillMembers[memberOf(stream->generatorId)];
}

std::uint32_t product(std::uint32_t u, std::uint32_t v, std::uint32_t m) {
    return static_cast<std::uint32_t>(std::uint64_t{u} * v % m);
}

std::uint32_t power(std::uint32_t base, std::uint64_t exponent, std::uint32_t m) {
    std::uint32_t result = 1;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1) result = product(result, base, m);
        base = product(base, base, m);
    }
    return result;
}

void seed(WichmannHillState& state, const WichmannHillMember& member, std::int32_t count,
          const std::uint32_t* words) {
    for (int j = 0; j < 4; ++j) {
        const std::uint32_t x = j < count ? words[j] % member.moduli[j] : 1;
        state.x[j] = x == 0 ? 1 : x;
        state.a[j] = member.multipliers[j];
    }
}

void skip(WichmannHillState& state, const WichmannHillMember& member, std::uint64_t steps) {
    for (int j = 0; j < 4; ++j) {
        const std::uint32_t m = member.moduli[j];
        state.x[j] = product(state.x[j], power(state.a[j], steps, m), m);
    }
}

// Stream k of nstreams gives x_k, x_(k + nstreams), ...: the position is a step with the old
// multipliers.
void leapfrog(WichmannHillState& state, const WichmannHillMember& member, std::uint32_t k,
              std::int32_t nstreams) {
    skip(state, member, k);
    for (int j = 0; j < 4; ++j) {
        state.a[j] = power(state.a[j], static_cast<std::uint32_t>(nstreams), member.moduli[j]);
    }
}

}  // namespace

std::int32_t wichmannHillInit(std::int32_t op, StreamHandle stream, std::int32_t n,
                              const std::uint32_t* params) {
    auto& state = stateOf<WichmannHillState>(stream);
    const WichmannHillMember& member = memberOfStream(stream);
    switch (op) {
        case OP_SEED: seed(state, member, n, params); return RNG_OK;
        case OP_LEAPFROG: leapfrog(state, member, params[0], n); return RNG_OK;
        case OP_SKIPAHEAD: skip(state, member, skipCount(params)); return RNG_OK;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// Any residues but 0 can be seeded; the multipliers are primitive roots, so any but 0 is a power.
bool wichmannHillIsState(const StreamRecord* stream) {
    const auto& state = stateOf<WichmannHillState>(stream);
    const WichmannHillMember& member = memberOfStream(stream);
    for (int j = 0; j < 4; ++j) {
        const auto inGroup = [m = member.moduli[j]](std::uint32_t v) { return v >= 1 && v < m; };
        if (!inGroup(state.x[j]) || !inGroup(state.a[j])) return false;
    }
    return true;
}

}  // namespace korvan
