// Fills of the abstract generators.
//
// The caller's callback runs in the middle of a fill.  It gets copies of all it is told, its
// stream is busy while it runs, so that it can neither delete it nor draw from it, and what it
// returns is tested before the buffer is read.  A fill ends: every round of it hands out at least
// one number.
//
// Reals: (w - low) * s + a with s = (b - a) / (high - low).
#include "generators/abstract.h"

#include "generators/generators.h"
#include "hwy/highway.h"
#include "streams/attachments.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// A map writes count numbers of the buffer, changed or not, to the caller's array.

struct Unchanged {
    HWY_INLINE void put(const std::uint32_t* from, std::size_t count, std::uint32_t* r) const {
        __builtin_memcpy(r, from, count * sizeof *r);
    }
};

template <class Real>
struct Rescaled {
    Real low, scale, offset;

    HWY_INLINE Rescaled(const AbstractRealState<Real>& state, Real a, Real b)
        : low(state.bound(0)), scale((b - a) / (state.bound(1) - low)), offset(a) {}

    HWY_INLINE void put(const Real* from, std::size_t count, Real* r) const {
        const hn::ScalableTag<Real> tag;
        constexpr std::size_t lanes = HWY_LANES(Real);
        const auto lows = hn::Set(tag, low), scales = hn::Set(tag, scale),
                   offsets = hn::Set(tag, offset);
        const auto map = [&](const Real* w, Real* to) {
            hn::StoreU(hn::MulAdd(hn::Sub(hn::LoadU(tag, w), lows), scales, offsets), tag, to);
        };
        std::size_t i = 0;
        for (; i + lanes <= count; i += lanes) map(from + i, r + i);
        if (i == count) return;
        Real padded[lanes] = {};
        for (std::size_t k = i; k < count; ++k) padded[k - i] = from[k];
        map(padded, padded);
        for (std::size_t k = i; k < count; ++k) r[k] = padded[k - i];
    }
};

// Scratch of a fill: the stream keeps its position until the fill has succeeded.
template <class Number>
struct CircularBuffer {
    const Number* numbers;
    AbstractPosition at;

    HWY_INLINE std::int32_t available() const { return at.size - at.free; }

    // The next count numbers, which are there, to r.
    template <class Map>
    HWY_INLINE void handOut(const Map& map, std::int32_t count, Number* r) {
        const std::int32_t untilEnd = at.size - at.position;
        const std::int32_t head = count < untilEnd ? count : untilEnd;
        map.put(numbers + at.position, static_cast<std::size_t>(head), r);
        map.put(numbers, static_cast<std::size_t>(count - head), r + head);
        at.position = count < untilEnd ? at.position + count : count - head;
        at.free += count;
    }
};

HWY_INLINE bool fits(const AbstractBinding& binding, const StreamRecord* stream,
                     const AbstractPosition& at) {
    return binding.generator == stream->generatorId && binding.buffer && binding.callback &&
           binding.size == at.size && at.isPossible();
}

// Calls the caller's routine for an empty buffer; the count that it returns.
template <class Number>
HWY_INLINE std::int32_t refill(StreamHandle stream, const AbstractBinding& binding,
                               std::int32_t wanted, std::int32_t position) {
    using Callback = std::int32_t (*)(StreamHandle, std::int32_t*, Number*, std::int32_t*,
                                      std::int32_t*, std::int32_t*);
    std::int32_t size = binding.size, most = size, index = position;
    std::int32_t least = wanted < most ? wanted : most;
    const std::uint8_t before = stream->validity;
    stream->validity = busyStream;
    const std::int32_t given = reinterpret_cast<Callback>(binding.callback)(
        stream, &size, static_cast<Number*>(binding.buffer), &least, &most, &index);
    stream->validity = before;
    return given;
}

template <class State, class Number, class Map>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, Number* r, const Map& map) {
    auto& state = stateOf<State>(stream);
    const void* payload = findAttachment(stream, tagAbstractBinding);
    if (!payload) return RNG_NULL_POINTER;
    const AbstractBinding binding = *static_cast<const AbstractBinding*>(payload);
    if (!fits(binding, stream, state.at)) return RNG_NULL_POINTER;

    CircularBuffer<Number> buffer{static_cast<const Number*>(binding.buffer), state.at};
    for (std::int32_t wanted = n;;) {
        const std::int32_t available = buffer.available();
        const std::int32_t count = wanted < available ? wanted : available;
        if (count > 0) {
            buffer.handOut(map, count, r);
            wanted -= count;
            r += count;
        }
        if (wanted <= 0) break;
        // Nothing waits now, and all of the buffer is free.
        const std::int32_t given = refill<Number>(stream, binding, wanted, buffer.at.position);
        if (given < 0 || given > binding.size) return RNG_ABSTRACT_BAD_UPDATE;
        if (given == 0) return RNG_ABSTRACT_NO_NUMBERS;
        buffer.at.free -= given;
    }
    state.at = buffer.at;
    return RNG_OK;
}

}  // namespace

std::int32_t abstractIntegerFillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill<AbstractIntegerState>(stream, n, r, Unchanged());
}

std::int32_t abstractDoubleFillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                      double b) {
    using State = AbstractRealState<double>;
    return fill<State>(stream, n, r, Rescaled<double>(stateOf<State>(stream), a, b));
}

std::int32_t abstractSingleFillSingle(StreamHandle stream, std::int32_t n, float* r, float a,
                                      float b) {
    using State = AbstractRealState<float>;
    return fill<State>(stream, n, r, Rescaled<float>(stateOf<State>(stream), a, b));
}

// The types that a row doesn't give.

std::int32_t abstractIntegerFillSingle(StreamHandle, std::int32_t, float*, float, float) {
    return RNG_ABSTRACT_WRONG_TYPE;
}
std::int32_t abstractIntegerFillDouble(StreamHandle, std::int32_t, double*, double, double) {
    return RNG_ABSTRACT_WRONG_TYPE;
}
std::int32_t abstractDoubleFillSingle(StreamHandle, std::int32_t, float*, float, float) {
    return RNG_ABSTRACT_WRONG_TYPE;
}
std::int32_t abstractDoubleFillBits(StreamHandle, std::int32_t, std::uint32_t*) {
    return RNG_ABSTRACT_WRONG_TYPE;
}
std::int32_t abstractSingleFillDouble(StreamHandle, std::int32_t, double*, double, double) {
    return RNG_ABSTRACT_WRONG_TYPE;
}
std::int32_t abstractSingleFillBits(StreamHandle, std::int32_t, std::uint32_t*) {
    return RNG_ABSTRACT_WRONG_TYPE;
}

}  // namespace korvan::KORVAN_COPY
