// Settings of this process. They come from environment variables, are read at first need and kept;
// docs/settings.md lists them.
#pragma once

#include <cstdint>

namespace korvan {

// Domains of the library that can have a thread count of their own.
inline constexpr std::int32_t domainAll = 0;
inline constexpr std::int32_t domainBlas = 1;
inline constexpr std::int32_t domainFft = 2;
inline constexpr std::int32_t domainVml = 3;
inline constexpr std::int32_t domainPardiso = 4;

// Threads that a call of this domain may use now, at least 1.
std::int32_t getMaxThreads(std::int32_t domain);

// 1 if the library may lower a thread count that was asked for, else 0.
std::int32_t getDynamic();

// -1 if not set.
std::int32_t getStripes();

std::int32_t getPackages();
std::int32_t getCoresPerPackage();

// 0, 1 or 2.
std::int32_t getVerbose();

// The reproducibility mode: its number for `what` 1, the whole word with its flag for -1; -2 for
// any other `what`.
std::int32_t getReproducibility(std::int32_t what);

// The highest mode number that this processor grants, which names its class.
std::int32_t getProcessorReproducibility();

// Reads an environment variable. The value's length if it fits, with its null; 0 if the variable
// is unset or empty; the negated size that the buffer would need. In the last two cases the buffer
// holds an empty text.
std::int32_t readEnv(const char* name, char* buffer, std::int32_t size);

}  // namespace korvan
