// Uniform reals on [0, 1).
#include <absl/random/random.h>
#include <gsl/gsl_rng.h>

#include <boost/random/mersenne_twister.hpp>
#include <boost/random/uniform_01.hpp>
#include <random>

#include "rows.h"

namespace korvan::benchmarks {
namespace {

template <class Real>
void addLimit(const char* group) {
    addRow<Real>(group, "limit: plain store", [] {
        return [value = Real{0}](Real* r, int n) mutable {
            value += 1;
            for (int i = 0; i < n; ++i) r[i] = value;
        };
    });
}

template <class Real>
void addRescaledCopy(const char* group) {
    addRow<Real>(group, "limit: plain copy with the rescaling", [] {
        return [source = std::make_shared<std::vector<Real>>(recordedNumbers), low = Real{0},
                scale = Real{2}](Real* r, int n) {
            copyRecorded(source->data(), r, n, [=](Real w) { return (w - low) * scale + 1; });
        };
    });
}

}  // namespace

void addRealRows() {
    for (const NamedGenerator& generator : presentGenerators()) {
        const GeneratorId id = generator.id;
        addRow<double>("doubles", generator.name, [id] {
            return [stream = newStream(id)](double* r, int n) {
                vdRngUniform(0, stream.get(), n, r, 0, 1);
            };
        });
        addRow<float>("singles", generator.name, [id] {
            return [stream = newStream(id)](float* r, int n) {
                vsRngUniform(0, stream.get(), n, r, 0, 1);
            };
        });
    }
    addAbstractRow<double>(
        "doubles", "abstract", vslNewAbstractStreamDouble,
        [](StreamHandle stream, int n, double* r) { vdRngUniform(0, stream, n, r, 1, 3); }, 0.0,
        1.0);
    addAbstractRow<float>(
        "singles", "abstract", vslNewAbstractStreamSingle,
        [](StreamHandle stream, int n, float* r) { vsRngUniform(0, stream, n, r, 1, 3); }, 0.0f,
        1.0f);
    addRescaledCopy<double>("doubles");
    addRescaledCopy<float>("singles");
    addRow<double>("doubles", "accurate MCG31m1", [] {
        return [stream = newStream(GEN_MCG31)](double* r, int n) {
            vdRngUniform(METHOD_UNIFORM_ACCURATE, stream.get(), n, r, 0, 1);
        };
    });
    addRow<double>("doubles", "peer std::uniform_real_distribution on std::mt19937", [] {
        return [engine = std::mt19937(777)](double* r, int n) mutable {
            std::uniform_real_distribution<double> law;
            for (int i = 0; i < n; ++i) r[i] = law(engine);
        };
    });
    addRow<double>("doubles", "peer boost::uniform_01 on boost::mt19937", [] {
        return [engine = boost::mt19937(777)](double* r, int n) mutable {
            boost::random::uniform_01<double> law;
            for (int i = 0; i < n; ++i) r[i] = law(engine);
        };
    });
    addRow<double>("doubles", "peer absl::Uniform on absl::InsecureBitGen", [] {
        return [engine = std::make_shared<absl::InsecureBitGen>()](double* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = absl::Uniform<double>(*engine, 0.0, 1.0);
        };
    });
    addRow<double>("doubles", "peer gsl_rng_uniform on mt19937", [] {
        std::shared_ptr<gsl_rng> generator(gsl_rng_alloc(gsl_rng_mt19937), gsl_rng_free);
        return [generator](double* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = gsl_rng_uniform(generator.get());
        };
    });
    addLimit<double>("doubles");
    addLimit<float>("singles");
}

}  // namespace korvan::benchmarks
