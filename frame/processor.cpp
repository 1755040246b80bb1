#include "frame/processor.h"

#include <cstring>
#include <iterator>

#include "frame/environment.h"

namespace korvan {
namespace {

constexpr const char* tunedVendors[] = {"GenuineIntel", "AuthenticAMD"};

// The classes that detection may choose, best first.
using enum Level;
constexpr Level choices[] = {avx512E4, avx512E3, avx512E2, avx512E1, avx512, avx2E1,
                             avx2,     avx,      sse42,    ssse3,    sse3};

struct LimitRow {
    const char* word;
    std::int32_t code;
    Level level;  // that the processor must support for the limit to act
    LevelSet allowed;
};

constexpr LevelSet toSse42{sse3, ssse3, sse42},
    toAvx = toSse42.with({avx}), toAvx2 = toAvx.with({avx2}), toAvx512 = toAvx2.with({avx512}),
    toAvx512E1 = toAvx512.with({avx512E1});

constexpr LimitRow limits[] = {
    {"AVX512_E4", 9, avx512E4, toAvx512E1.with({avx512E2, avx512E3, avx512E4})},
    {"AVX512_E3", 8, avx512E3, toAvx512E1.with({avx512E3})},
    {"AVX512_E2", 7, avx512E2, toAvx512E1.with({avx512E2})},
    {"AVX512_E1", 6, avx512E1, toAvx512E1},
    {"AVX512", 4, avx512, toAvx512},
    {"AVX2_E1", 10, avx2E1, toAvx2.with({avx2E1})},
    {"AVX2", 2, avx2, toAvx2},
    {"AVX", 1, avx, toAvx},
    {"SSE4_2", 0, sse42, toSse42},
};

constexpr std::size_t longestLimitWord = 29;

}  // namespace

bool isTunedVendor(const Platform& platform) {
    const CpuidRegisters leaf = platform.cpuid(0, 0);
    char vendor[13] = {};
    std::memcpy(vendor, &leaf.ebx, 4);
    std::memcpy(vendor + 4, &leaf.edx, 4);
    std::memcpy(vendor + 8, &leaf.ecx, 4);
    for (const char* tuned : tunedVendors) {
        if (std::strcmp(vendor, tuned) == 0) return true;
    }
    return false;
}

void Processor::probe() {
    probed_.run([this] {
        tunedVendor_ = korvan::isTunedVendor(platform_);
        features_.probe(platform_);
    });
}

bool Processor::isTunedVendor() {
    probe();
    return tunedVendor_;
}

bool Processor::has(Feature feature) {
    probe();
    return features_.has(feature);
}

bool Processor::hasFeatures(const char* commaSeparatedNames) {
    probe();
    return features_.hasAll(commaSeparatedNames);
}

bool Processor::hasHardwareRandom() const {
    return (platform_.cpuid(1, 0).ecx >> 30 & 1) != 0;
}

bool Processor::hasAesGenerator() const {
    const CpuidRegisters leaf = platform_.cpuid(1, 0);
    return (leaf.edx >> 26 & 1) != 0 && (leaf.ecx >> 25 & 1) != 0;
}

bool Processor::supports(Level level) {
    const LevelRow* row = levelRow(level);
    if (!row) return false;
    probe();
    return row->told == FeatureSource::words ? features_.hasAll(row->features)
                                             : features_.reportsAll(row->features);
}

void Processor::readLimit() {
    limitRead_.run([this] {
        char word[longestLimitWord + 1];
        if (readEnv(platform_, "QVX_ENABLE_INSTRUCTIONS", word, sizeof word) <= 0) return;
        for (const LimitRow& row : limits) {
            if (std::strcmp(word, row.word) != 0) continue;
            limit_ = row.code;
            if (isTunedVendor() && supports(row.level)) allowed_ = row.allowed;
            return;
        }
    });
}

std::int32_t Processor::instructionLimit() {
    readLimit();
    return limit_;
}

Level Processor::detectedLevel() {
    readLimit();
    for (const Level level : choices) {
        if (reaches(level)) return level;
    }
    return belowMinimum;
}

// Processors of other makers are told by SSE alone.
bool Processor::reaches(Level level) {
    const LevelRow& row = *levelRow(level);
    if (!allowed_.has(level) || !supports(level)) return false;
    return level == avx ? isTunedVendor() : row.within == unspecified || reaches(row.within);
}

}  // namespace korvan
