#include "frame/message_catalog.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "frame/messages.h"

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
    {748, "Error (VML_STATUS_BADSIZE) in %s: array size %d is not positive."},
    {749, "Error (VML_STATUS_BADMEM) in %s: NULL pointer is passed."},
    {750, "Error (VML_STATUS_ERRDOM) in %s: argument is out of domain."},
    {751, "Error (VML_STATUS_SING) in %s: argument caused singularity."},
    {752, "Error (VML_STATUS_OVERFLOW) in %s: argument caused overflow."},
    {753, "Error (VML_STATUS_UNDERFLOW) in %s: argument caused underflow."},
    {754, "Unknown error in %s."},
    {755, "a(%d)=%g"},
    {756, "b(%d)=%g"},
    {757, "r(%d)=%g"},
    {758, "y(%d)=%g"},
    {759, "z(%d)=%g"},
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
void printFormatted(std::FILE* file, const char* format, std::int32_t argCount, std::va_list args) {
    char output[bufferSize];
    const int length = conversionCount(format) <= argCount
                           ? std::vsnprintf(output, sizeof output, format, args)
                           : std::snprintf(output, sizeof output, "%s", format);
    if (length < 0) return;
    if (length - 1 > bufferSize) {
        std::fprintf(file, "\nQVX INTERNAL ERROR: message buffer overflow.");
        std::fprintf(file, "\n       Lenght: %d   Buffer size: %d\n", length, bufferSize);
        std::fflush(nullptr);
    }
    std::fprintf(file, "%s", output);
    std::fflush(nullptr);
}

void messagePath(char (&path)[32], std::uint32_t locale) {
    std::snprintf(path, sizeof path, "%lu/%s", static_cast<unsigned long>(locale), "qvx_msg.dll");
}

// Null for a number that the catalog doesn't hold.
const char* catalogText(std::int32_t id) {
    for (const CatalogRow& row : rows) {
        if (row.id == id) return row.text;
    }
    return nullptr;
}

}  // namespace

void MessageCatalog::findTexts() {
    for (const std::uint32_t locale : {platform_.threadLocale(), americanEnglish}) {
        char path[32];
        messagePath(path, locale);
        // Number 0 is no message: only whether the file can be read is asked.
        char text[4];
        if (platform_.readMessage(path, 0, text, sizeof text) < 0) continue;
        locale_ = locale;
        return;
    }
}

// Takes the text from the file found into `format`, without its line end.
bool MessageCatalog::translatedText(std::int32_t id, const char* builtIn, char* format,
                                    std::int32_t size) {
    char path[32];
    messagePath(path, locale_);
    const std::uint32_t number = static_cast<std::uint32_t>(id) + messageSeverity;
    const std::int32_t length = platform_.readMessage(path, number, format, size);
    if (length <= 1 || length >= size) return false;
    if (format[length - 2] != '\r' || format[length - 1] != '\n') return false;
    format[length - 2] = '\0';
    // It must not ask for arguments that nobody passes.
    return sameConversions(format, builtIn);
}

void MessageCatalog::print(std::FILE* file, std::int32_t id, std::int32_t argCount,
                           std::va_list args) {
    if (id == 0) {
        std::fprintf(file, "\n");
        std::fflush(nullptr);
        return;
    }
    const char* builtIn = catalogText(id);
    if (builtIn == nullptr) return;
    filesTried_.run([this] { findTexts(); });
    char format[bufferSize + 2];  // the line end comes with the text
    const bool translated =
        locale_ != builtInTexts && translatedText(id, builtIn, format, sizeof format);
    printFormatted(file, translated ? format : builtIn, argCount, args);
}

void printMessage(std::int32_t /*reserved*/, std::int32_t id, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    processCatalog.print(stdout, id, argCount, args);
    va_end(args);
}

void printErrorMessage(std::int32_t id, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    processCatalog.print(stderr, id, argCount, args);
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
