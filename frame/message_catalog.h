// The catalog of numbered messages, with texts that a translated file can replace.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>

#include "frame/platform/platform.h"

namespace korvan {

class MessageCatalog {
  public:
    constexpr explicit MessageCatalog(const Platform& platform) : platform_(platform) {}

    // printMessage() of frame/messages.h.
    void print(std::int32_t id, std::int32_t argCount, std::va_list args);

  private:
    void findTexts();
    bool translatedText(std::int32_t id, const char* builtIn, char* format);

    const Platform& platform_;
    std::atomic<std::int32_t> lock_{0};
    std::atomic<bool> resourceUntried_{true};
    std::atomic<bool> builtInTexts_{true};
    std::uint32_t locale_ = 0;
};

// The built-in text of a message, null for a number that the catalog doesn't hold.
const char* catalogText(std::int32_t id);

// Whether two formats take the same arguments: their conversions are equal, character by character
// and in order. False if one has a conversion that isn't complete.
bool sameConversions(const char* left, const char* right);

// Formats into the fixed buffer, cut if need be, and prints it. With fewer arguments than the
// format has conversions the format is printed as it stands.
void printFormatted(const char* format, std::int32_t argCount, std::va_list args);

}  // namespace korvan
