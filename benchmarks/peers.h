// The field's libraries on their own Mersenne Twister, as rows of one draw an element.
#pragma once

#include <gsl/gsl_rng.h>
#include <numpy/random/bitgen.h>

#include <boost/random/mersenne_twister.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "rows.h"

namespace korvan::benchmarks {

template <class T, class Law>
void addDistribution(const std::string& group, const std::string& name, Law distribution) {
    addRow<T>(group, "peer " + name, [distribution] {
        return [engine = boost::mt19937(777), distribution](T* r, int n) mutable {
            for (int i = 0; i < n; ++i) r[i] = static_cast<T>(distribution(engine));
        };
    });
}

inline std::shared_ptr<gsl_rng> newGslStream() {
    return {gsl_rng_alloc(gsl_rng_mt19937), gsl_rng_free};
}

template <class T, class Draw>
void addGsl(const std::string& group, const std::string& name, Draw draw) {
    addRow<T>(group, "peer GSL " + name, [draw] {
        return [rng = newGslStream(), draw](T* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = static_cast<T>(draw(rng.get()));
        };
    });
}

// NumPy's samplers, on the generator that Boost has.
struct NumpyStream {
    boost::mt19937 engine{777};
    bitgen_t bits{&engine, next64, next32, nextDouble, next32Of};

    static std::uint32_t word(void* state) { return (*static_cast<boost::mt19937*>(state))(); }
    static std::uint32_t next32(void* state) { return word(state); }
    static std::uint64_t next32Of(void* state) { return word(state); }
    static std::uint64_t next64(void* state) {
        const std::uint64_t high = word(state);
        return high << 32 | word(state);
    }
    static double nextDouble(void* state) {
        const std::uint32_t high = word(state) >> 5, low = word(state) >> 6;
        return (high * 67108864.0 + low) / 9007199254740992.0;
    }
};

template <class T, class Draw>
void addNumpy(const std::string& group, const std::string& name, Draw draw) {
    addRow<T>(group, "peer NumPy " + name, [draw] {
        return [stream = std::make_shared<NumpyStream>(), draw](T* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = static_cast<T>(draw(&stream->bits));
        };
    });
}

template <class T>
void addStoreRow(const std::string& group, std::span<const std::int64_t> lengths = sizes) {
    addRow<T>(
        group, "limit: plain store",
        [] {
            return [value = T{}](T* r, int n) mutable {
                ++value;
                for (int i = 0; i < n; ++i) r[i] = value;
            };
        },
        lengths);
}

}  // namespace korvan::benchmarks
