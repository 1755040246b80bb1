#include "frame/environment.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "frame/settings.h"

namespace korvan {
namespace {

// What may be read in the restricted mode.
constexpr const char* alwaysReadable[] = {"MIC_LD_LIBRARY_PATH", "LD_LIBRARY_PATH", "QVXROOT",
                                          "LANG"};

constexpr std::int64_t maxValue = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t minValue = std::numeric_limits<std::int32_t>::min();

bool mayRead(const Platform& platform, const char* name) {
    if (!platform.restrictedEnvironment) return true;
    for (const char* readable : alwaysReadable) {
        if (std::strcmp(name, readable) == 0) return true;
    }
    return false;
}

}  // namespace

std::int32_t readEnv(const Platform& platform, const char* name, char* buffer, std::int32_t size) {
    const bool hasRoom = buffer != nullptr && size > 0;
    if (hasRoom) buffer[0] = '\0';
    if (name == nullptr || !mayRead(platform, name)) return 0;
    const char* value = platform.environmentVariable(name);
    if (value == nullptr || *value == '\0') return 0;
    const std::size_t length = std::strlen(value);
    if (length >= static_cast<std::size_t>(maxValue)) return static_cast<std::int32_t>(minValue);
    const auto needed = static_cast<std::int32_t>(length) + 1;
    if (!hasRoom || needed > size) return -needed;
    std::memcpy(buffer, value, length + 1);
    return needed - 1;
}

std::int32_t readEnv(const char* name, char* buffer, std::int32_t size) {
    return readEnv(systemPlatform(), name, buffer, size);
}

std::int32_t digitsValue(std::string_view text) {
    if (text.empty()) return -1;
    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return -1;
        value = std::min(value * 10 + (c - '0'), maxValue);
    }
    return static_cast<std::int32_t>(value);
}

std::int32_t parseInteger(const char* text, std::int32_t base, const char** end) {
    char* stop = nullptr;
    const std::int64_t value = std::strtoll(text, &stop, base);
    *end = stop;
    return static_cast<std::int32_t>(std::clamp(value, minValue, maxValue));
}

}  // namespace korvan
