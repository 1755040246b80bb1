// Blocks of the library's memory service beside those of malloc, and images in memory beside a
// plain copy of their bytes.
#include "frame/memory.h"

#include <cstdlib>
#include <cstring>

#include "rows.h"

namespace korvan::benchmarks {
namespace {

// Blocks are touched, as everybody does.
template <class Take, class Give>
void addBlockRow(const std::string& name, std::size_t bytes, Take take, Give give) {
    benchmark::RegisterBenchmark(
        ("block of " + std::to_string(bytes >> 10) + " KiB/" + name).c_str(),
        [=](benchmark::State& state) {
            for (auto _ : state) {
                auto* block = static_cast<char*>(take(bytes));
                *block = 1;
                benchmark::DoNotOptimize(block);
                give(block);
            }
        });
}

void addImageRows(const std::string& name, GeneratorId id) {
    const std::string group = "save and load/";
    const auto size = [](const std::shared_ptr<StreamRecord>& stream) {
        return static_cast<std::size_t>(vslGetStreamSize(stream.get()));
    };
    benchmark::RegisterBenchmark((group + name).c_str(), [=](benchmark::State& state) {
        const auto stream = newStream(id);
        std::vector<char> image(size(stream));
        for (auto _ : state) {
            StreamHandle loaded = nullptr;
            vslSaveStreamM(stream.get(), image.data());
            vslLoadStreamM(&loaded, image.data());
            benchmark::DoNotOptimize(loaded);
            vslDeleteStream(&loaded);
        }
    });
    benchmark::RegisterBenchmark(
        (group + name + ": bytes copied twice, a block").c_str(), [=](benchmark::State& state) {
            const auto stream = newStream(id);
            std::vector<char> image(size(stream));
            for (auto _ : state) {
                std::memcpy(image.data(), stream.get(), image.size() - 8);  // the record
                benchmark::ClobberMemory();
                void* block = alignedAlloc(image.size(), recordAlignment);
                std::memcpy(block, image.data(), image.size());
                benchmark::DoNotOptimize(block);
                benchmark::ClobberMemory();
                alignedFree(block);
            }
        });
}

}  // namespace

void addMemoryRows() {
    for (const std::size_t kibibytes : {1, 4, 40}) {
        const std::size_t bytes = kibibytes << 10;
        addBlockRow(
            "alignedAlloc", bytes, [](std::size_t n) { return alignedAlloc(n, 64); }, alignedFree);
        addBlockRow("malloc", bytes, std::malloc, std::free);
        addBlockRow(
            "aligned_alloc", bytes, [](std::size_t n) { return std::aligned_alloc(64, n); },
            std::free);
    }
    addImageRows("MCG59", GEN_MCG59);
    addImageRows("MT19937", GEN_MT19937);
}

}  // namespace korvan::benchmarks
