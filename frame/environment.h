// Environment variables and the numbers in them.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/platform/platform.h"

namespace korvan {

// readEnv() of frame/settings.h on a given platform.
std::int32_t readEnv(const Platform& platform, const char* name, char* buffer, std::int32_t size);

// The value of a text of decimal digits, cut to the largest 32-bit number; -1 if there is anything
// but digits, or nothing at all.
std::int32_t digitsValue(std::string_view text);

// Reads an integer as strtol() does, and cuts its value to 32 bits.
std::int32_t parseInteger(const char* text, std::int32_t base, const char** end);

// A character of these is blank.
inline constexpr const char* blanks = " \t";

}  // namespace korvan
