// Environment variables and the numbers in them.
//
// Numbers are read by hand: the C library's readers follow the locale that the program has set.
#pragma once

#include <cstdint>

#include "frame/platform/platform.h"

namespace korvan {

// readEnv() of frame/settings.h on a given platform.
std::int32_t readEnv(const Platform& platform, const char* name, char* buffer, std::int32_t size);

// The value of a text of `length` decimal digits, cut to the largest 32-bit number; -1 if there is
// anything but digits, or nothing at all.
std::int32_t digitsValue(const char* text, std::int32_t length);

// Reads an integer as strtol does: blanks, a sign, digits. Base 0 takes the base from a prefix, 0x
// for 16 and 0 for 8. `*end` is set behind the number, to `text` if there is none. The value is cut
// to 32 bits.
std::int32_t parseInteger(const char* text, std::int32_t base, const char** end);

bool isBlank(char c);

}  // namespace korvan
