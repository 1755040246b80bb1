#include "frame/processor.h"

#include <cstring>
#include <iterator>

#include "frame/environment.h"

namespace korvan {
namespace {

constexpr const char* tunedVendors[] = {"GenuineIntel", "AuthenticAMD"};

struct LimitRow {
    const char* word;
    std::int32_t code;
    std::int32_t level;  // that the processor must support for the limit to act
    AllowFlags allow;
};

// Flags in the order sse42, avx, avx2, avx2E1, avx512, avx512E1, E2, E3, E4.
constexpr LimitRow limits[] = {
    {"AVX512_E4", 9, 14, {true, true, true, false, true, true, true, true, true}},
    {"AVX512_E3", 8, 13, {true, true, true, false, true, true, false, true, false}},
    {"AVX512_E2", 7, 12, {true, true, true, false, true, true, true, false, false}},
    {"AVX512_E1", 6, 11, {true, true, true, false, true, true, false, false, false}},
    {"AVX512", 4, 9, {true, true, true, false, true, false, false, false, false}},
    {"AVX2_E1", 10, 15, {true, true, true, true, false, false, false, false, false}},
    {"AVX2", 2, 7, {true, true, true, false, false, false, false, false, false}},
    {"AVX", 1, 6, {true, true, false, false, false, false, false, false, false}},
    {"SSE4_2", 0, 5, {true, false, false, false, false, false, false, false, false}},
};

constexpr std::size_t longestLimitWord = 29;

}  // namespace

std::int32_t foldedLevel(std::int32_t level) {
    constexpr std::int32_t folded[] = {0, 1, 2, 3, 4, 5, 6, 7, 7, 9, 7, 9, 9, 9, 9, 7};
    if (level < 0 || level >= static_cast<std::int32_t>(std::size(folded))) return -4;
    return folded[level];
}

// Branch 1 has no class of its own, nor has branch 6.
std::int32_t branchOfLevel(std::int32_t level) {
    return level + (level > 0) + (level > 4);
}

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

bool Processor::supportsLevel(std::int32_t level) {
    using enum Feature;
    probe();
    switch (level) {
        case 5: return has(sse42);
        case 6: return has(avx);
        case 7: return has(avx2) && has(fma) && has(bmi) && has(lzcnt) && has(pclmulqdq);
        case 9: return has(avx512f) && has(avx512dq) && has(avx512bw) && has(avx512vl);
        case 11: return has(avx512vnni);
        case 12: return has(avx512f) && has(vaes) && has(vpclmulqdq);
        // Asked of CPUID itself: these can't be disabled.
        case 13: return features_.reports(avx512bf16);
        case 14: return features_.reports(avx512fp16);
        case 15: return features_.reports(avxVnni);
        default: return true;
    }
}

void Processor::readLimit() {
    limitRead_.run([this] {
        char word[longestLimitWord + 1];
        if (readEnv(platform_, "QVX_ENABLE_INSTRUCTIONS", word, sizeof word) <= 0) return;
        for (const LimitRow& row : limits) {
            if (std::strcmp(word, row.word) != 0) continue;
            limit_ = row.code;
            if (isTunedVendor() && supportsLevel(row.level)) allow_ = row.allow;
            return;
        }
    });
}

std::int32_t Processor::instructionLimit() {
    readLimit();
    return limit_;
}

std::int32_t Processor::detectedLevel() {
    readLimit();
    return isTunedVendor() && allow_.avx && supportsLevel(6) ? avxLevel() : sseLevel();
}

std::int32_t Processor::avxLevel() {
    if (!supportsLevel(7)) return 6;
    if (allow_.avx512 && supportsLevel(9)) {
        if (allow_.avx512E4 && supportsLevel(14)) return 14;
        if (allow_.avx512E3 && supportsLevel(13)) return 13;
        if (allow_.avx512E2 && supportsLevel(12)) return 12;
        if (allow_.avx512E1 && supportsLevel(11)) return 11;
        return 9;
    }
    if (allow_.avx2E1 && supportsLevel(15)) return 15;
    return allow_.avx2 ? 7 : 6;
}

std::int32_t Processor::sseLevel() {
    if (allow_.sse42 && has(Feature::sse42)) return 5;
    if (has(Feature::ssse3)) return 4;
    if (has(Feature::sse3)) return 2;
    return -1;
}

}  // namespace korvan
