#include "frame/environment.h"

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

// The value of a digit, a large number for any other character.
std::int32_t digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 99;
}

}  // namespace

std::int32_t readEnv(const Platform& platform, const char* name, char* buffer, std::int32_t size) {
    const bool hasRoom = buffer != nullptr && size > 0;
    if (hasRoom) buffer[0] = '\0';
    if (name == nullptr || !mayRead(platform, name)) return 0;
    const char* value = platform.environmentVariable(name);
    if (value == nullptr) return 0;
    const std::size_t length = std::strlen(value);
    if (length == 0) return 0;
    if (length >= static_cast<std::size_t>(maxValue)) return static_cast<std::int32_t>(minValue);
    const auto needed = static_cast<std::int32_t>(length) + 1;
    if (!hasRoom || needed > size) return -needed;
    std::memcpy(buffer, value, length + 1);
    return needed - 1;
}

std::int32_t readEnv(const char* name, char* buffer, std::int32_t size) {
    return readEnv(systemPlatform(), name, buffer, size);
}

std::int32_t digitsValue(const char* text, std::int32_t length) {
    if (length <= 0) return -1;
    std::int64_t value = 0;
    for (std::int32_t i = 0; i < length; ++i) {
        if (text[i] < '0' || text[i] > '9') return -1;
        value = value * 10 + (text[i] - '0');
        if (value > maxValue) value = maxValue;
    }
    return static_cast<std::int32_t>(value);
}

std::int32_t parseInteger(const char* text, std::int32_t base, const char** end) {
    const char* p = text;
    while (isBlank(*p) || (*p >= '\n' && *p <= '\r')) ++p;
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    if (base == 0) {
        base = *p == '0' ? 8 : 10;
        if (*p == '0' && (p[1] == 'x' || p[1] == 'X') && digitOf(p[2]) < 16) {
            base = 16;
            p += 2;
        }
    }
    const char* first = p;
    std::int64_t value = 0;
    for (; digitOf(*p) < base; ++p) {
        value = value * base + digitOf(*p);
        if (value > maxValue) value = maxValue;
    }
    *end = p == first ? text : p;
    return static_cast<std::int32_t>(negative ? -value : value);
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

}  // namespace korvan
