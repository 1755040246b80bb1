// The benchmark's rows: what fills an array of n elements, by group.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "korvan/random.h"

namespace korvan::benchmarks {

inline constexpr std::int64_t sizes[] = {1, 16, 100, 4096, 10'000'000};

// Registers `group/name`: `make` gives a fresh callable (T* r, int n) for a benchmark's run.
// Rows of a group are in one unit, so their times can be divided.
template <class T, class Make>
void addRow(const std::string& group, const std::string& name, Make make,
            std::span<const std::int64_t> lengths = sizes) {
    auto* row =
        benchmark::RegisterBenchmark((group + "/" + name).c_str(), [make](benchmark::State& state) {
            const auto n = static_cast<std::size_t>(state.range(0));
            std::vector<T> r(n);  // touched, so no page faults are measured
            auto fill = make();
            fill(r.data(), static_cast<int>(n));
            for (auto _ : state) {
                fill(r.data(), static_cast<int>(n));
                benchmark::DoNotOptimize(r.data());
                benchmark::ClobberMemory();
            }
            state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
        });
    for (const std::int64_t length : lengths) row->Arg(length);
}

// A stream that a row owns.
inline std::shared_ptr<StreamRecord> newStream(GeneratorId id) {
    StreamHandle stream = nullptr;
    if (vslNewStream(&stream, id, 777) != RNG_OK) return nullptr;
    return {stream, [](StreamHandle s) { vslDeleteStream(&s); }};
}

// Numbers in an abstract stream's buffer.
inline constexpr std::size_t recordedNumbers = 4096;

// An abstract stream whose callback has nothing to do: the numbers are there.  `fill` draws from
// it.
template <class T, class Create, class Fill, class... Bounds>
void addAbstractRow(const std::string& group, const std::string& name, Create create, Fill fill,
                    Bounds... bounds) {
    addRow<T>(group, name, [=] {
        auto buffer = std::make_shared<std::vector<T>>(recordedNumbers);
        StreamHandle stream = nullptr;
        create(&stream, static_cast<std::int32_t>(recordedNumbers), buffer->data(), bounds...,
               [](StreamHandle, std::int32_t*, T*, std::int32_t*, std::int32_t* nmax,
                  std::int32_t*) { return *nmax; });
        std::shared_ptr<StreamRecord> owner(stream, [](StreamHandle s) { vslDeleteStream(&s); });
        return [owner, buffer, fill](T* r, int n) { fill(owner.get(), n, r); };
    });
}

// The same work without a stream.
template <class T, class Map>
[[gnu::noipa]] void copyRecorded(const T* source, T* r, int n, Map map) {
    for (int done = 0; done < n;) {
        const int count = std::min(n - done, static_cast<int>(recordedNumbers));
        for (int i = 0; i < count; ++i) r[done + i] = map(source[i]);
        done += count;
    }
}

struct NamedGenerator {
    const char* name;
    GeneratorId id;
};

// The generators that this library contains, but for those of finite length.
std::vector<NamedGenerator> presentGenerators();

void addWordRows();
void addRealRows();
void addIntegerRows();
void addLawRows();
void addCountRows();
void addQuasiRandomRows();
void addServiceRows();
void addMemoryRows();
void addVectorMathRows();

}  // namespace korvan::benchmarks
