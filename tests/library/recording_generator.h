// A registered generator that writes down what it is asked for, and can fail.
#pragma once

#include <vector>

#include "streams/stream_record.h"
#include "support.h"

namespace korvan::testing {

// One at a time.  Its uniforms count up through the interval, or are those of a script.
class RecordingGenerator {
  public:
    RecordingGenerator() : stream_(id()) {
        counts.clear();
        script.clear();
        failingCall = 0;
        fills_ = 0;
    }
    const Stream& stream() const { return stream_; }

    static inline std::vector<std::int32_t> counts;
    static inline int failingCall = 0;  // the fill, from 1, that returns failure
    static constexpr std::int32_t failure = -4711;
    // Numbers of [0, 1], over and over; each stream knows how far it is.
    static inline std::vector<double> script;

  private:
    static GeneratorId id() {
        static const GeneratorProperties row = {24,           1,   1, 4, 32, init, fill<float>,
                                                fill<double>, bits};
        static const GeneratorId registered = vslRegisterBrng(&row);
        return registered;
    }
    static std::int32_t init(std::int32_t, StreamHandle stream, std::int32_t,
                             const std::uint32_t*) {
        stateOf<std::uint64_t>(stream) = 0;
        return RNG_OK;
    }
    static std::int32_t bits(StreamHandle, std::int32_t, std::uint32_t*) { return RNG_OK; }
    template <class Real>
    static std::int32_t fill(StreamHandle stream, std::int32_t n, Real* r, Real low, Real high) {
        counts.push_back(n);
        if (++fills_ == failingCall) return failure;
        for (std::int32_t i = 0; i < n; ++i) {
            const double u = script.empty()
                                 ? (i * 37 % 101 + 0.5) / 101
                                 : script[stateOf<std::uint64_t>(stream)++ % script.size()];
            r[i] = low + (high - low) * static_cast<Real>(u);
        }
        return RNG_OK;
    }

    static inline int fills_ = 0;
    Stream stream_;
};

}  // namespace korvan::testing
