// Abstract generators: numbers of the caller's own, from a circular buffer that a callback of the
// caller's refills.  One row for words, one for doubles, one for singles.
//
// The state area holds the position.  The addresses of buffer and callback don't fit there, and
// mustn't come from where states come from: they are an attachment of the stream, with what is
// needed to tell that a state belongs to them.
#pragma once

#include "streams/attachments.h"
#include "streams/stream_record.h"

namespace korvan {

// Numbers wait at position, position + 1, ..., size - free of them, around the buffer's end.
struct AbstractPosition {
    std::int32_t size;      // of the buffer, in numbers
    std::int32_t position;  // of the next number to hand out
    std::int32_t free;      // numbers handed out already, or never written

    [[gnu::always_inline]] inline bool isPossible() const {
        return size >= 1 && position >= 0 && position < size && free >= 0 && free <= size;
    }
};

struct AbstractIntegerState {
    AbstractPosition at;
    unsigned char spare[12];  // 0
};

// The bounds of the buffer's numbers.  In bytes: they follow without a gap, unaligned.
template <class Real>
struct AbstractRealState {
    AbstractPosition at;
    unsigned char bounds[2 * sizeof(Real)];
    unsigned char spare[12];  // 0

    [[gnu::always_inline]] inline Real bound(std::size_t k) const {
        Real value;
        __builtin_memcpy(&value, bounds + k * sizeof(Real), sizeof value);
        return value;
    }
};
static_assert(sizeof(StreamRecord) + sizeof(AbstractIntegerState) == 40);
static_assert(sizeof(StreamRecord) + sizeof(AbstractRealState<double>) == 56);
static_assert(sizeof(StreamRecord) + sizeof(AbstractRealState<float>) == 48);

// The stream's attachment, which its copies share.  Every byte counts: images compare them.
struct AbstractBinding {
    GeneratorId generator;  // tells the type of buffer and callback
    std::int32_t size;
    void* buffer;
    void (*callback)();
    unsigned char bounds[16];  // as in the state, then zeros
};
static_assert(sizeof(AbstractBinding) == 24 + 2 * sizeof(void*));

// What params of OP_SEED points at; the count of words isn't looked at.
struct AbstractIntegerSeed {
    const std::int32_t* size;
    std::uint32_t* buffer;
    AbstractIntegerCallback callback;
};
template <class Real, class Callback>
struct AbstractRealSeed {
    const std::int32_t* size;
    Real* buffer;
    const Real* lowBound;
    const Real* highBound;
    Callback callback;
};
using AbstractDoubleSeed = AbstractRealSeed<double, AbstractDoubleCallback>;
using AbstractSingleSeed = AbstractRealSeed<float, AbstractSingleCallback>;

// A binding that was read from an image: addresses must not come from there, so the bytes have to
// be those of a living stream of this process, and fit the state.
Loaded judgeAbstractBinding(const StreamRecord* stream, const void* payload, std::uint32_t size);

}  // namespace korvan
