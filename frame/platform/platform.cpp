#include "frame/platform/platform.h"

#include <cpuid.h>
#include <dlfcn.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "frame/platform/message_file.h"
#include "frame/platform/openmp_runtime.h"
#include "frame/platform/topology.h"

namespace korvan {
namespace {

const char* environmentVariable(const char* name) {
    return std::getenv(name);
}

CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf) {
    CpuidRegisters r{};
    __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
    return r;
}

// Written out because the compiler's intrinsic wants a processor flag, and this file has none.
std::uint64_t xgetbv(std::uint32_t index) {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(index));
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

std::uint64_t timeStamp() {
    return __builtin_ia32_rdtsc();
}

// Written out for the same reason.
template <typename Word>
bool readRandom(Word* word) {
    bool succeeded = false;
    __asm__ volatile("rdrand %0\n\tsetc %1" : "=r"(*word), "=qm"(succeeded) : : "cc");
    return succeeded;
}

std::uint32_t threadLocale() {
    // The order in which POSIX looks for the language of messages.
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') return localeNumber(value);
    }
    return localeNumber("");
}

void yieldThread() {
    sched_yield();
}

void terminateProcess(std::int32_t code) {
    _exit(code);
}

bool insideParallelRegion() {
    const OpenmpRuntime* runtime = openmpRuntime();
    return runtime && runtime->omp_in_parallel() != 0;
}

std::int32_t parallelThreads() {
    const OpenmpRuntime* runtime = openmpRuntime();
    return runtime ? runtime->omp_get_max_threads() : 1;
}

void* openLibrary(const char* name) {
    static constexpr const char* names[][2] = {
        {"libhookalloc.dll", "libhookalloc.so"},
        {"\"memkind\".dll", "libmemkind.so.0"},
    };
    for (const auto& pair : names) {
        if (std::strcmp(name, pair[0]) == 0) name = pair[1];
    }
    return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

void* librarySymbol(void* library, const char* name) {
    return dlsym(library, name);
}

void closeLibrary(void* library) {
    dlclose(library);
}

}  // namespace

constinit const Platform systemPlatformRecord = {
    .environmentVariable = environmentVariable,
    .restrictedEnvironment = false,
    .cpuid = cpuid,
    .xgetbv = xgetbv,
    .timeStamp = timeStamp,
    .readRandomPair = readRandom<std::uint64_t>,
    .readRandomWord = readRandom<std::uint32_t>,
    .readTopology = readSystemTopology,
    .threadLocale = threadLocale,
    .readMessages = readMessageFile,
    .yieldThread = yieldThread,
    .terminateProcess = terminateProcess,
    .insideParallelRegion = insideParallelRegion,
    .parallelThreads = parallelThreads,
    .openLibrary = openLibrary,
    .librarySymbol = librarySymbol,
    .closeLibrary = closeLibrary,
};

}  // namespace korvan
