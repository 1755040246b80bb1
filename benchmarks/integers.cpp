// Uniform integers on [0, 1000).
#include <absl/random/random.h>
#include <gsl/gsl_rng.h>

#include <boost/random/mersenne_twister.hpp>
#include <boost/random/taus88.hpp>
#include <boost/random/uniform_int_distribution.hpp>
#include <random>

#include "rows.h"

namespace korvan::benchmarks {

void addIntegerRows() {
    using Int = std::int32_t;
    for (const NamedGenerator& generator : presentGenerators()) {
        addRow<Int>("integers", generator.name, [id = generator.id] {
            return [stream = newStream(id)](Int* r, int n) {
                viRngUniform(0, stream.get(), n, r, 0, 1000);
            };
        });
    }
    addRow<Int>("integers", "peer boost::uniform_int_distribution on boost::mt19937", [] {
        return [engine = boost::mt19937(777)](Int* r, int n) mutable {
            boost::random::uniform_int_distribution<Int> law(0, 999);
            for (int i = 0; i < n; ++i) r[i] = law(engine);
        };
    });
    addRow<Int>("integers", "peer boost::uniform_int_distribution on boost::taus88", [] {
        return [engine = boost::random::taus88(777)](Int* r, int n) mutable {
            boost::random::uniform_int_distribution<Int> law(0, 999);
            for (int i = 0; i < n; ++i) r[i] = law(engine);
        };
    });
    addRow<Int>("integers", "peer absl::Uniform on absl::InsecureBitGen", [] {
        return [engine = std::make_shared<absl::InsecureBitGen>()](Int* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = absl::Uniform<Int>(*engine, 0, 1000);
        };
    });
    addRow<Int>("integers", "peer std::uniform_int_distribution on std::mt19937", [] {
        return [engine = std::mt19937(777)](Int* r, int n) mutable {
            std::uniform_int_distribution<Int> law(0, 999);
            for (int i = 0; i < n; ++i) r[i] = law(engine);
        };
    });
    addRow<Int>("integers", "limit: plain store", [] {
        return [value = Int{0}](Int* r, int n) mutable {
            ++value;
            for (int i = 0; i < n; ++i) r[i] = value;
        };
    });
}

}  // namespace korvan::benchmarks
