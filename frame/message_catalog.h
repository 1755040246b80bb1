// The catalog of numbered messages, with texts that a translated file can replace.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "frame/one_time.h"
#include "frame/platform/platform.h"

namespace korvan {

class MessageCatalog {
  public:
    constexpr explicit MessageCatalog(const Platform& platform) : platform_(platform) {}

    // printMessage() of frame/messages.h, to `file`.
    void print(std::FILE* file, std::int32_t id, std::int32_t argCount, std::va_list args);

  private:
    static constexpr std::uint32_t builtInTexts = 0;  // no locale has this number

    void findTexts();
    bool translatedText(std::int32_t id, const char* builtIn, char* format, std::int32_t size);

    const Platform& platform_;
    OneTime filesTried_;
    std::uint32_t locale_ = builtInTexts;
};

}  // namespace korvan
