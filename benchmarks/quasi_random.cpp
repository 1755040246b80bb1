// Quasi-random vectors, in time a coordinate, on one thread; and the making of their streams.
#include <gsl/gsl_qrng.h>

#include "frame/thread_settings.h"
#include "rows.h"

namespace korvan::benchmarks {
namespace {

struct Sequence {
    const char* name;
    GeneratorId id;
    std::uint32_t dimension;
};

constexpr Sequence sequences[] = {
    {"Sobol, 1 dimension", GEN_SOBOL, 1},       {"Sobol, 10 dimensions", GEN_SOBOL, 10},
    {"Sobol, 39 dimensions", GEN_SOBOL, 39},    {"Sobol, 40 dimensions", GEN_SOBOL, 40},
    {"Niederreiter, 10", GEN_NIEDERREITER, 10}, {"Niederreiter, 318", GEN_NIEDERREITER, 318}};

StreamHandle makeStream(const Sequence& sequence) {
    StreamHandle stream = nullptr;
    vslNewStreamEx(&stream, sequence.id, 1, &sequence.dimension);
    return stream;
}

// fill(stream, n, r), begun again from a new stream where the sequence ends.
template <class T, class Fill>
void addSequenceRows(const char* group, Fill fill) {
    for (const Sequence& sequence : sequences) {
        addRow<T>(group, sequence.name, [=] {
            const auto owned = [=] {
                return std::shared_ptr<StreamRecord>(makeStream(sequence),
                                                     [](StreamHandle s) { vslDeleteStream(&s); });
            };
            setThreadCountOfThisThread(1);
            return [=, stream = owned()](T* r, int n) mutable {
                if (fill(stream.get(), n, r) < 0) stream = owned();
            };
        });
    }
}

void addPeer(const char* group, const char* name, const gsl_qrng_type* type, unsigned dimension) {
    addRow<double>(group, name, [=] {
        std::shared_ptr<gsl_qrng> peer(gsl_qrng_alloc(type, dimension), gsl_qrng_free);
        return [=, vector = std::vector<double>(dimension)](double* r, int n) mutable {
            const auto count = static_cast<std::size_t>(n);
            std::size_t i = 0;
            for (; i + dimension <= count; i += dimension) gsl_qrng_get(peer.get(), r + i);
            if (i == count) return;
            gsl_qrng_get(peer.get(), vector.data());
            std::copy_n(vector.data(), count - i, r + i);
        };
    });
}

template <class T>
void addLimit(const char* group) {
    addRow<T>(group, "limit: plain store", [] {
        return [value = T{}](T* r, int n) mutable {
            value = value == 0 ? 1 : 0;
            for (int i = 0; i < n; ++i) r[i] = value;
        };
    });
}

}  // namespace

void addQuasiRandomRows() {
    addSequenceRows<std::uint32_t>(
        "quasi-random words",
        [](StreamHandle s, int n, std::uint32_t* r) { return viRngUniformBits(0, s, n, r); });
    addLimit<std::uint32_t>("quasi-random words");
    addSequenceRows<double>("quasi-random doubles", [](StreamHandle s, int n, double* r) {
        return vdRngUniform(0, s, n, r, 0, 1);
    });
    addPeer("quasi-random doubles", "peer gsl sobol, 10", gsl_qrng_sobol, 10);
    addPeer("quasi-random doubles", "peer gsl sobol, 40", gsl_qrng_sobol, 40);
    addPeer("quasi-random doubles", "peer gsl niederreiter_2, 10", gsl_qrng_niederreiter_2, 10);
    addLimit<double>("quasi-random doubles");
    for (const Sequence& sequence : sequences) {
        benchmark::RegisterBenchmark((std::string("create and delete/") + sequence.name).c_str(),
                                     [&sequence](benchmark::State& state) {
                                         for (auto _ : state) {
                                             StreamHandle stream = makeStream(sequence);
                                             benchmark::DoNotOptimize(stream);
                                             vslDeleteStream(&stream);
                                         }
                                     });
    }
}

}  // namespace korvan::benchmarks
