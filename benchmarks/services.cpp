// Creation and jumps, in nanoseconds a call.
#include "rows.h"

namespace korvan::benchmarks {

void addServiceRows() {
    for (const NamedGenerator& generator : presentGenerators()) {
        const GeneratorId id = generator.id;
        const std::string name = generator.name;
        benchmark::RegisterBenchmark(("create and delete/" + name).c_str(),
                                     [id](benchmark::State& state) {
                                         for (auto _ : state) {
                                             StreamHandle stream = nullptr;
                                             vslNewStream(&stream, id, 777);
                                             benchmark::DoNotOptimize(stream);
                                             vslDeleteStream(&stream);
                                         }
                                     });
        if (!newStream(id) || vslSkipAheadStream(newStream(id).get(), 1) < 0) continue;
        for (const int bits : {10, 20, 21, 40, 63}) {
            benchmark::RegisterBenchmark(
                ("skip 2^" + std::to_string(bits) + "/" + name).c_str(),
                [id, bits](benchmark::State& state) {
                    const auto stream = newStream(id);
                    const auto count = static_cast<std::int64_t>(std::uint64_t{1} << bits);
                    for (auto _ : state) vslSkipAheadStream(stream.get(), count);
                });
        }
    }
}

}  // namespace korvan::benchmarks
