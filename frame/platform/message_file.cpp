#include "frame/platform/message_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace korvan {
namespace {

constexpr std::uint32_t severityBit = 0x80000000;
constexpr std::size_t maxLine = 1024;
constexpr std::int64_t maxFile = 1 << 20;

// Opens a regular file of a bearable size, null for anything else. Never waits, as one would for a
// pipe.
std::FILE* openText(const char* path) {
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    const bool isText =
        fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= maxFile;
    std::FILE* file = isText ? fdopen(descriptor, "r") : nullptr;
    if (file == nullptr) close(descriptor);
    return file;
}

// Reads the next line without its end; false if there is none among the `*left` bytes that may
// still be read: a file can grow meanwhile. Longer lines than maxLine and lines with a null in them
// come out empty.
bool readLine(std::FILE* file, char (&line)[maxLine], std::int64_t* left) {
    const auto next = [&] { return (*left)-- > 0 ? std::getc(file) : EOF; };
    std::size_t length = 0;
    bool usable = true;
    int c = next();
    if (c == EOF) return false;
    for (; c != EOF && c != '\n'; c = next()) {
        usable = usable && c != '\0' && length + 1 < maxLine;
        if (usable) line[length++] = static_cast<char>(c);
    }
    if (usable && length > 0 && line[length - 1] == '\r') --length;
    line[usable ? length : 0] = '\0';
    return true;
}

// The text of a line, if the line has this number; null otherwise.
const char* textOfLine(const char* line, std::uint32_t number) {
    std::uint64_t value = 0;
    const char* p = line;
    for (; *p >= '0' && *p <= '9'; ++p) {
        value = value * 10 + static_cast<std::uint64_t>(*p - '0');
        if (value > UINT32_MAX) return nullptr;
    }
    if (*p != '\t') return nullptr;
    return ((value ^ number) & ~severityBit) == 0 ? p + 1 : nullptr;
}

}  // namespace

std::int32_t readMessageFile(const char* path, std::uint32_t number, char* buffer,
                             std::int32_t size) {
    std::FILE* file = openText(path);
    if (file == nullptr) return -1;
    char line[maxLine];
    const char* text = nullptr;
    std::int64_t left = maxFile;
    while (text == nullptr && readLine(file, line, &left)) text = textOfLine(line, number);
    std::fclose(file);
    if (text == nullptr) return 0;
    const std::size_t length = std::strlen(text);
    if (static_cast<std::int64_t>(length) + 3 > size) return 0;
    std::memcpy(std::copy_n(text, length, buffer), "\r\n", 3);
    return static_cast<std::int32_t>(length + 2);
}

std::uint32_t localeNumber(const char* name) {
    // Published language code identifiers ([MS-LCID]); a bare language takes its usual country.
    static constexpr struct {
        const char* name;
        std::uint32_t number;
    } locales[] = {
        {"en_GB", 2057}, {"de_AT", 3079}, {"de_CH", 2055}, {"fr_CA", 3084}, {"fr_CH", 4108},
        {"pt_PT", 2070}, {"zh_TW", 1028}, {"en", 1033},    {"de", 1031},    {"fr", 1036},
        {"es", 3082},    {"it", 1040},    {"nl", 1043},    {"sv", 1053},    {"pl", 1045},
        {"cs", 1029},    {"ru", 1049},    {"tr", 1055},    {"pt", 1046},    {"ja", 1041},
        {"ko", 1042},    {"zh", 2052},
    };
    for (const auto& row : locales) {
        const std::size_t length = std::strlen(row.name);
        if (std::strncmp(name, row.name, length) != 0) continue;
        const char end = name[length];
        if (end == '\0' || end == '_' || end == '.' || end == '@') return row.number;
    }
    return 1033;
}

}  // namespace korvan
