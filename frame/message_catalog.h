// The catalog of numbered messages, with texts that a translated file can replace.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "frame/messages.h"
#include "frame/one_time.h"
#include "frame/platform/platform.h"

namespace korvan {

class MessageCatalog {
  public:
    static constexpr std::size_t bufferSize = 512;  // of a format, and of what is printed
    static constexpr std::size_t rowCount = 0
#define KORVAN_MESSAGE(number, name, text) +1
#include "frame/messages.def"
#undef KORVAN_MESSAGE
        ;

    constexpr explicit MessageCatalog(const Platform& platform) : platform_(platform) {}

    // printMessage() of frame/messages.h, to `file`.
    void print(std::FILE* file, Message message, std::int32_t argCount, std::va_list args);

  private:
    // What a file says in place of a row's text.
    struct Text {
        bool isRead, fits;
        char format[bufferSize];
    };

    void readTexts();
    void takeText(std::uint32_t number, const char* text);

    const Platform& platform_;
    OneTime read_;
    Text texts_[rowCount] = {};
};

}  // namespace korvan
