#include "generators/abstract.h"

#include <algorithm>
#include <cstring>

#include "frame/memory.h"
#include "generators/generators.h"
#include "streams/attachments.h"

namespace korvan {
namespace {

// Hangs the binding on the stream, in place of one that it may have.  It has a key, so that an
// image can name it.
std::int32_t bind(StreamHandle stream, const AbstractBinding& binding) {
    void* payload = alignedAlloc(sizeof binding, recordAlignment);
    if (!payload) return RNG_NO_MEMORY;
    std::memcpy(payload, &binding, sizeof binding);
    detachByTag(stream, tagAbstractBinding);
    const AttachmentKey key = sharedBlocks().makeUniqueKey(
        static_cast<std::int64_t>(reinterpret_cast<intptr_t>(payload)));
    const std::int32_t status = attach(stream, tagAbstractBinding, &key, payload, sizeof binding);
    if (status < 0) alignedFree(payload);
    return status;
}

template <class Seed>
AbstractBinding bindingOf(StreamHandle stream, const Seed& seed) {
    return {.generator = stream->generatorId,
            .size = *seed.size,
            .buffer = seed.buffer,
            .callback = reinterpret_cast<void (*)()>(seed.callback),
            .bounds = {}};
}

AbstractPosition emptyBuffer(std::int32_t size) {
    return {.size = size, .position = 0, .free = size};
}

std::int32_t seedStream(StreamHandle stream, const AbstractIntegerSeed& seed) {
    stateOf<AbstractIntegerState>(stream) = {.at = emptyBuffer(*seed.size), .spare = {}};
    return bind(stream, bindingOf(stream, seed));
}

template <class Real, class Callback>
std::int32_t seedStream(StreamHandle stream, const AbstractRealSeed<Real, Callback>& seed) {
    auto& state = stateOf<AbstractRealState<Real>>(stream);
    state = {.at = emptyBuffer(*seed.size), .bounds = {}, .spare = {}};
    std::memcpy(state.bounds, seed.lowBound, sizeof(Real));
    std::memcpy(state.bounds + sizeof(Real), seed.highBound, sizeof(Real));
    AbstractBinding binding = bindingOf(stream, seed);
    std::memcpy(binding.bounds, state.bounds, sizeof state.bounds);
    return bind(stream, binding);
}

template <class Seed>
std::int32_t init(std::int32_t op, StreamHandle stream, const std::uint32_t* params) {
    switch (op) {
        case OP_SEED:
            if (!params) return RNG_NULL_POINTER;
            return seedStream(stream, *reinterpret_cast<const Seed*>(params));
        case OP_LEAPFROG: return RNG_NO_LEAPFROG;
        case OP_SKIPAHEAD: return RNG_NO_SKIP_AHEAD;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

// Is the state one of a stream with this binding?
bool isBoundTo(const AbstractIntegerState& state, const AbstractBinding& binding) {
    return state.at.size == binding.size;
}

template <class Real>
bool isBoundTo(const AbstractRealState<Real>& state, const AbstractBinding& binding) {
    return state.at.size == binding.size &&
           std::memcmp(state.bounds, binding.bounds, sizeof state.bounds) == 0;
}

bool isBoundTo(const StreamRecord* stream, const AbstractBinding& binding) {
    switch (stream->generatorId) {
        case GEN_ABSTRACT_INTEGER: return isBoundTo(stateOf<AbstractIntegerState>(stream), binding);
        case GEN_ABSTRACT_DOUBLE:
            return isBoundTo(stateOf<AbstractRealState<double>>(stream), binding);
        case GEN_ABSTRACT_SINGLE:
            return isBoundTo(stateOf<AbstractRealState<float>>(stream), binding);
        default: return false;
    }
}

// Seeding takes any bounds.
template <class State>
bool isState(const StreamRecord* stream) {
    const auto& state = stateOf<State>(stream);
    const auto* binding =
        static_cast<const AbstractBinding*>(findAttachment(stream, tagAbstractBinding));
    return state.at.isPossible() && (!binding || isBoundTo(state, *binding)) &&
           std::ranges::all_of(state.spare, [](auto byte) { return byte == 0; });
}

}  // namespace

std::int32_t abstractIntegerInit(std::int32_t op, StreamHandle stream, std::int32_t,
                                 const std::uint32_t* params) {
    return init<AbstractIntegerSeed>(op, stream, params);
}

std::int32_t abstractDoubleInit(std::int32_t op, StreamHandle stream, std::int32_t,
                                const std::uint32_t* params) {
    return init<AbstractDoubleSeed>(op, stream, params);
}

std::int32_t abstractSingleInit(std::int32_t op, StreamHandle stream, std::int32_t,
                                const std::uint32_t* params) {
    return init<AbstractSingleSeed>(op, stream, params);
}

Loaded judgeAbstractBinding(const StreamRecord* stream, const void* payload, std::uint32_t size) {
    if (size != sizeof(AbstractBinding)) return Loaded::dropped;
    const auto& binding = *static_cast<const AbstractBinding*>(payload);
    const bool fits = binding.generator == stream->generatorId && isBoundTo(stream, binding);
    return fits ? Loaded::ifHeld : Loaded::dropped;
}

bool abstractIntegerIsState(const StreamRecord* stream) {
    return isState<AbstractIntegerState>(stream);
}

bool abstractDoubleIsState(const StreamRecord* stream) {
    return isState<AbstractRealState<double>>(stream);
}

bool abstractSingleIsState(const StreamRecord* stream) {
    return isState<AbstractRealState<float>>(stream);
}

}  // namespace korvan
