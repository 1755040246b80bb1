// The only door to the operating system, the processor's identification and the environment.
//
// Everything above asks through a Platform record, so a test can describe a processor, an
// environment or a failure that the machine at hand doesn't have.
#pragma once

#include <cstdint>

namespace korvan {

struct CpuidRegisters {
    std::uint32_t eax, ebx, ecx, edx;
};

// The processors that this process may run on.
struct Topology {
    std::int32_t packages;
    std::int32_t physicalCores;
    std::int32_t logicalCpus;
};

using TakeMessage = void (*)(void* context, std::uint32_t number, const char* text);

struct Platform {
    // The value of an environment variable, null if it isn't set.
    const char* (*environmentVariable)(const char* name);

    // Only the variables that readEnv() lists are read while this holds. It never does on a real
    // system: no caller asks for it yet.
    bool restrictedEnvironment;

    CpuidRegisters (*cpuid)(std::uint32_t leaf, std::uint32_t subleaf);

    // Only to be called where CPUID tells that the system has enabled the instruction (OSXSAVE).
    std::uint64_t (*xgetbv)(std::uint32_t index);

    // The processor's time stamp counter.
    std::uint64_t (*timeStamp)();

    // The random number instruction, only to be called where CPUID reports it: 64 or 32 bits, or
    // false and 0 when the source has none ready.
    bool (*readRandomPair)(std::uint64_t* words);
    bool (*readRandomWord)(std::uint32_t* word);

    // Counts the processors; false leaves `*topology` as it was.
    bool (*readTopology)(Topology* topology);

    // The number of the user's language and country, 1033 for American English.
    std::uint32_t (*threadLocale)();

    // Reads the text file `path`; false: there is none. Of every message in it `take` gets the
    // number, whose highest bit is a mark of severity, and the text with a closing "\r\n". The text
    // comes from outside: nothing but its termination is sure.
    bool (*readMessages)(const char* path, TakeMessage take, void* context);

    void (*yieldThread)();
    void (*terminateProcess)(std::int32_t code);

    // The OpenMP runtime's answers for the calling thread; without one, false and 1.
    bool (*insideParallelRegion)();
    std::int32_t (*parallelThreads)();

    // Shared libraries, by the names that the memory service knows them by; null for failure.
    void* (*openLibrary)(const char* name);
    void* (*librarySymbol)(void* library, const char* name);
    void (*closeLibrary)(void* library);
};

extern const Platform systemPlatformRecord;

// A constant expression, so that process-wide objects built on it need no constructor at load.
[[gnu::always_inline]] constexpr inline const Platform& systemPlatform() {
    return systemPlatformRecord;
}

}  // namespace korvan
