// A processor, an environment and a system that a test describes.
#pragma once

#include <cstring>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "frame/features.h"
#include "frame/platform/platform.h"

namespace korvan::test {

inline const std::string ssse3Class = "sse3 ssse3 ";
inline const std::string sse42Class = ssse3Class + "sse4.1 sse4 popcnt ";
inline const std::string avxClass = sse42Class + "pclmul avx ";
inline const std::string avx2Class = avxClass + "avx2 fma bmi bmi2 lzcnt f16c ";
inline const std::string avx512Class = avx2Class + "avx512f avx512dq avx512bw avx512vl avx512cd ";

// One at a time: the functions of the platform ask the one that was made last.
class MadeUp {
  public:
    std::map<std::string, std::string> environment;
    std::map<std::pair<std::uint32_t, std::uint32_t>, CpuidRegisters> leaves;
    std::uint64_t xcr0 = 0x600E7;     // everything enabled
    Topology topology = {1, 16, 32};  // 0 packages: the system fails to tell
    bool insideParallel = false;
    std::int32_t parallelThreads = 24;
    int questions = 0;  // about threads and cores
    std::map<std::string, std::map<std::uint32_t, std::string>> messages;  // by path
    Platform platform;

    MadeUp() {
        current = this;
        platform = systemPlatform();
        platform.environmentVariable = [](const char* name) -> const char* {
            const auto found = current->environment.find(name);
            return found == current->environment.end() ? nullptr : found->second.c_str();
        };
        platform.cpuid = [](std::uint32_t leaf, std::uint32_t subleaf) {
            const auto found = current->leaves.find({leaf, subleaf});
            // What a processor answers to a leaf that it doesn't have can be anything.
            return found == current->leaves.end() ? CpuidRegisters{~0U, ~0U, ~0U, ~0U}
                                                  : found->second;
        };
        platform.xgetbv = [](std::uint32_t) { return current->xcr0; };
        platform.readTopology = [](Topology* counted) {
            ++current->questions;
            if (current->topology.packages > 0) *counted = current->topology;
            return current->topology.packages > 0;
        };
        platform.threadLocale = [] { return std::uint32_t{1031}; };
        platform.readMessages = [](const char* path, TakeMessage take, void* context) {
            const auto file = current->messages.find(path);
            if (file == current->messages.end()) return false;
            for (const auto& [number, text] : file->second) take(context, number, text.c_str());
            return true;
        };
        platform.insideParallelRegion = [] {
            return ++current->questions, current->insideParallel;
        };
        platform.parallelThreads = [] { return ++current->questions, current->parallelThreads; };
        processor("GenuineIntel", avx512Class);
    }

    // Describes the processor by its maker and the lower-case names of its features.
    void processor(const std::string& vendor, const std::string& features) {
        leaves.clear();
        for (const auto& key : keys) leaves[key] = {};
        leaves[{0, 0}] = {0x19, word(vendor, 0), word(vendor, 8), word(vendor, 4)};
        leaves[{0x80000000, 0}].eax = 0x80000008;
        leaves[{7, 0}].eax = 1;
        leaves[{1, 0}].ecx = 1U << 27;  // the system has enabled XGETBV
        std::istringstream names(features);
        for (std::string name; names >> name;) addFeature(name);
    }

    void addFeature(const std::string& name) {
        const FeatureRow* row = findFeature(name.c_str(), name.size());
        if (row == nullptr) throw std::invalid_argument(name);
        CpuidRegisters& r = leaves[keys[static_cast<std::size_t>(row->leaf)]];
        std::uint32_t* registers[] = {&r.eax, &r.ebx, &r.ecx, &r.edx};
        *registers[static_cast<std::size_t>(row->reg)] |= 1U << row->bit;
    }

  private:
    // In the order of CpuidLeaf.
    static constexpr std::pair<std::uint32_t, std::uint32_t> keys[] = {
        {0, 0}, {1, 0}, {7, 0}, {7, 1}, {0x14, 0}, {0x19, 0}, {0x80000001, 0}, {0x80000008, 0}};

    static std::uint32_t word(const std::string& text, std::size_t at) {
        std::uint32_t value = 0;
        std::memcpy(&value, text.data() + at, 4);
        return value;
    }

    static inline MadeUp* current = nullptr;
};

}  // namespace korvan::test
