#include "frame/message_catalog.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "frame/messages.h"

namespace korvan {
namespace {

constexpr int bufferSize = MessageCatalog::bufferSize;
constexpr std::uint32_t messageSeverity = 0x80000000;
constexpr std::uint32_t americanEnglish = 1033;

struct CatalogRow {
    Message message;
    const char* text;
};

constexpr CatalogRow rows[MessageCatalog::rowCount] = {
#define KORVAN_MESSAGE(number, name, text) {Message::name, text},
#include "frame/messages.def"
#undef KORVAN_MESSAGE
};

constinit MessageCatalog processCatalog{systemPlatform()};

// Takes the next conversion, from '%' to its letter, off a format; empty if there is none. A
// doubled percent sign is text.
std::string_view takeConversion(std::string_view* format) {
    std::size_t at = format->find('%');
    while (at != format->npos && format->substr(at + 1).starts_with('%')) {
        at = format->find('%', at + 2);
    }
    if (at == format->npos) return {};
    const std::size_t letter =
        std::min(format->find_first_not_of("0123456789.*-+ #'$hlLqjzt", at + 1), format->size());
    const std::string_view conversion = format->substr(at, letter - at + 1);
    format->remove_prefix(at + conversion.size());
    return conversion;
}

std::int32_t conversionCount(std::string_view format) {
    std::int32_t count = 0;
    while (!takeConversion(&format).empty()) ++count;
    return count;
}

// Whether two formats take the same arguments, seen from their characters.
bool sameConversions(std::string_view left, std::string_view right) {
    for (;;) {
        const std::string_view conversion = takeConversion(&left);
        if (conversion != takeConversion(&right)) return false;
        if (conversion.empty()) return true;
    }
}

// Formats into the fixed buffer, cut if need be, and prints it. With fewer arguments than the
// format has conversions the format is printed as it stands.
//
// Only this file is flushed: of all files, one may be held by a thread that waits for its input.
void printFormatted(std::FILE* file, const char* format, std::int32_t argCount, std::va_list args) {
    char output[bufferSize];
    const int length = conversionCount(format) <= argCount
                           ? std::vsnprintf(output, sizeof output, format, args)
                           : std::snprintf(output, sizeof output, "%s", format);
    if (length < 0) return;
    if (length - 1 > bufferSize) {
        std::fprintf(file, "\nQVX INTERNAL ERROR: message buffer overflow.");
        std::fprintf(file, "\n       Lenght: %d   Buffer size: %d\n", length, bufferSize);
        std::fflush(file);
    }
    std::fprintf(file, "%s", output);
    std::fflush(file);
}

void messagePath(char (&path)[32], std::uint32_t locale) {
    std::snprintf(path, sizeof path, "%lu/%s", static_cast<unsigned long>(locale), "qvx_msg.dll");
}

// rowCount for a number that the catalog doesn't hold.
std::size_t rowOf(Message message) {
    std::size_t row = 0;
    while (row < MessageCatalog::rowCount && rows[row].message != message) ++row;
    return row;
}

}  // namespace

void MessageCatalog::readTexts() {
    for (const std::uint32_t locale : {platform_.threadLocale(), americanEnglish}) {
        char path[32];
        messagePath(path, locale);
        const auto take = [](void* catalog, std::uint32_t number, const char* text) {
            static_cast<MessageCatalog*>(catalog)->takeText(number, text);
        };
        if (platform_.readMessages(path, take, this)) return;
    }
}

// Keeps the text of a row without its line end; the first text of a number counts.
void MessageCatalog::takeText(std::uint32_t number, const char* text) {
    const std::size_t row = rowOf(Message{static_cast<std::int32_t>(number & ~messageSeverity)});
    if (row == rowCount || texts_[row].isRead) return;
    Text& kept = texts_[row];
    kept.isRead = true;
    const std::string_view whole = text;
    if (!whole.ends_with("\r\n") || whole.size() >= bufferSize + 2) return;
    std::copy_n(text, whole.size() - 2, kept.format);
    // It must not ask for arguments that nobody passes.
    kept.fits = sameConversions(kept.format, rows[row].text);
}

void MessageCatalog::print(std::FILE* file, Message message, std::int32_t argCount,
                           std::va_list args) {
    if (message == Message::newLine) {
        std::fprintf(file, "\n");
        std::fflush(file);
        return;
    }
    const std::size_t row = rowOf(message);
    if (row == rowCount) return;
    read_.run([this] { readTexts(); });
    const Text& text = texts_[row];
    printFormatted(file, text.fits ? text.format : rows[row].text, argCount, args);
}

void printMessage(std::int32_t /*reserved*/, Message message, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    processCatalog.print(stdout, message, argCount, args);
    va_end(args);
}

void printErrorMessage(Message message, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    processCatalog.print(stderr, message, argCount, args);
    va_end(args);
}

void printFormat(std::int32_t /*reserved*/, const char* format, std::int32_t argCount, ...) {
    if (format == nullptr || argCount <= 0) return;
    std::va_list args;
    va_start(args, argCount);
    printFormatted(stdout, format, argCount, args);
    va_end(args);
}

}  // namespace korvan
