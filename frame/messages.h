// Messages to standard output, and to standard error, flushed at once.
#pragma once

#include <cstdint>

namespace korvan {

// Prints the catalog's message `id` with `argCount` arguments; 0 prints a new line. An unknown
// number prints nothing. `reserved` isn't looked at.
void printMessage(std::int32_t reserved, std::int32_t id, std::int32_t argCount, ...);

// The same to standard error.
void printErrorMessage(std::int32_t id, std::int32_t argCount, ...);

// Prints with a format of the caller's, if there is an argument at all.
[[gnu::format(printf, 2, 4)]] void printFormat(std::int32_t reserved, const char* format,
                                               std::int32_t argCount, ...);

}  // namespace korvan
