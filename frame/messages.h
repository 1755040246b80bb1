// Messages to standard output, and to standard error, flushed at once.
#pragma once

#include <cstdint>

namespace korvan {

enum class Message : std::int32_t {
    newLine = 0,
#define KORVAN_MESSAGE(number, name, text) name = number,
#include "frame/messages.def"
#undef KORVAN_MESSAGE
};

// Prints the catalog's text of a message with `argCount` arguments. A number without a text prints
// nothing. `reserved` isn't looked at.
void printMessage(std::int32_t reserved, Message message, std::int32_t argCount, ...);

// The same to standard error.
void printErrorMessage(Message message, std::int32_t argCount, ...);

// Prints with a format of the caller's, if there is an argument at all.
[[gnu::format(printf, 2, 4)]] void printFormat(std::int32_t reserved, const char* format,
                                               std::int32_t argCount, ...);

}  // namespace korvan
