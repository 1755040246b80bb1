#include "frame/message_catalog.h"

#include <cstdio>
#include <cstring>

#include "frame/messages.h"
#include "frame/service_lock.h"

namespace korvan {
namespace {

constexpr std::int32_t bufferSize = 512;
constexpr std::uint32_t messageSeverity = 0x80000000;
constexpr std::uint32_t americanEnglish = 1033;

struct CatalogRow {
    std::int32_t id;
    const char* text;
};

constexpr CatalogRow rows[] = {
    {6, "QVX ERROR: Parameter %d was incorrect on entry to %s."},
    {7, "QVX INTERNAL ERROR: Condition %d detected in function %s."},
    {8, "QVX INTERNAL ERROR: Insufficient workspace available in function %s."},
    {9, "QVX ERROR: Incompatible optional parameters on entry to %s."},
    {773, "QVX FATAL ERROR: memory allocation error."},
    {1102, "QVX INTERNAL ERROR: Not enough work memory in function %s"},
    {1222,
     "QVX WARNING: incorrect conditional numerical reproducibility mode, QVX_CBWR_AUTO is set"},
    {1223,
     "QVX FATAL ERROR: This system does not meet the minimum requirements for use of the QVX."},
    {1225, "QVX INTERNAL ERROR: Issue accessing coprocessor %s."},
    {1450,
     "The processor must support the ZORVEX(R) Streaming SIMD 3 Extensions (ZORVEX(R) SSE3) "
     "instructions."},
};

constinit MessageCatalog processCatalog{systemPlatform()};

// A stretch of a format: from '%' to the letter that ends the conversion.
struct Conversion {
    const char* begin;
    std::size_t length;
};

enum class Found { conversion, none, broken };

// Moves `cursor` behind the next conversion. A doubled percent sign is text.
Found nextConversion(const char** cursor, Conversion* conversion) {
    const char* p = *cursor;
    while ((p = std::strchr(p, '%')) != nullptr && p[1] == '%') p += 2;
    if (p == nullptr) return Found::none;
    const std::size_t length = 1 + std::strspn(p + 1, "0123456789.*-+ #'$hlLqjzt");
    if (p[length] == '\0') return Found::broken;
    *conversion = {p, length + 1};
    *cursor = p + length + 1;
    return Found::conversion;
}

// The arguments that a format takes; every '*' takes one more. -1 if a conversion isn't complete.
std::int32_t argumentsTaken(const char* format) {
    std::int32_t count = 0;
    Conversion conversion{};
    for (;;) {
        const Found found = nextConversion(&format, &conversion);
        if (found == Found::broken) return -1;
        if (found == Found::none) return count;
        ++count;
        for (std::size_t i = 0; i < conversion.length; ++i) count += conversion.begin[i] == '*';
    }
}

void messagePath(char (&path)[32], std::uint32_t locale) {
    std::snprintf(path, sizeof path, "%lu/%s", static_cast<unsigned long>(locale), "qvx_msg.dll");
}

}  // namespace

const char* catalogText(std::int32_t id) {
    for (const CatalogRow& row : rows) {
        if (row.id == id) return row.text;
    }
    return nullptr;
}

bool sameConversions(const char* left, const char* right) {
    Conversion a{};
    Conversion b{};
    for (;;) {
        const Found foundLeft = nextConversion(&left, &a);
        const Found foundRight = nextConversion(&right, &b);
        if (foundLeft != foundRight || foundLeft == Found::broken) return false;
        if (foundLeft == Found::none) return true;
        if (a.length != b.length || std::memcmp(a.begin, b.begin, a.length) != 0) return false;
    }
}

void printFormatted(const char* format, std::int32_t argCount, std::va_list args) {
    char output[bufferSize];
    const std::int32_t taken = argumentsTaken(format);
    const int length = taken >= 0 && taken <= argCount
                           ? std::vsnprintf(output, sizeof output, format, args)
                           : std::snprintf(output, sizeof output, "%s", format);
    if (length < 0) return;
    if (length - 1 > bufferSize) {
        std::printf("\nQVX INTERNAL ERROR: message buffer overflow.");
        std::printf("\n       Lenght: %d   Buffer size: %d\n", length, bufferSize);
        std::fflush(nullptr);
    }
    std::printf("%s", output);
    std::fflush(nullptr);
}

void MessageCatalog::findTexts() {
    if (!resourceUntried_.load(std::memory_order_acquire)) return;
    const ServiceGuard guard(lock_);
    if (!resourceUntried_.load(std::memory_order_relaxed)) return;
    for (const std::uint32_t locale : {platform_.threadLocale(), americanEnglish}) {
        char path[32];
        messagePath(path, locale);
        // Number 0 is no message: only whether the file can be read is asked.
        char text[4];
        if (platform_.readMessage(path, 0, text, sizeof text) < 0) continue;
        locale_ = locale;
        builtInTexts_.store(false, std::memory_order_relaxed);
        break;
    }
    resourceUntried_.store(false, std::memory_order_release);
}

// Takes the text from the file found, without its line end, into `format` of bufferSize bytes.
bool MessageCatalog::translatedText(std::int32_t id, const char* builtIn, char* format) {
    char path[32];
    messagePath(path, locale_);
    char text[bufferSize + 2];
    const std::uint32_t number = static_cast<std::uint32_t>(id) + messageSeverity;
    const std::int32_t length = platform_.readMessage(path, number, text, sizeof text);
    if (length <= 1 || length >= static_cast<std::int32_t>(sizeof text)) return false;
    if (text[length - 2] != '\r' || text[length - 1] != '\n') return false;
    text[length - 2] = '\0';
    // The text becomes a format: it must not ask for arguments that nobody passes.
    if (!sameConversions(text, builtIn)) return false;
    std::memcpy(format, text, static_cast<std::size_t>(length) - 1);
    return true;
}

void MessageCatalog::print(std::int32_t id, std::int32_t argCount, std::va_list args) {
    if (id == 0) {
        std::printf("\n");
        std::fflush(nullptr);
        return;
    }
    const char* builtIn = catalogText(id);
    if (builtIn == nullptr) return;
    findTexts();
    char format[bufferSize];
    const bool translated =
        !builtInTexts_.load(std::memory_order_relaxed) && translatedText(id, builtIn, format);
    printFormatted(translated ? format : builtIn, argCount, args);
}

void printMessage(std::int32_t /*reserved*/, std::int32_t id, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    processCatalog.print(id, argCount, args);
    va_end(args);
}

void printFormat(std::int32_t /*reserved*/, const char* format, std::int32_t argCount, ...) {
    if (format == nullptr || argCount <= 0) return;
    std::va_list args;
    va_start(args, argCount);
    printFormatted(format, argCount, args);
    va_end(args);
}

}  // namespace korvan
