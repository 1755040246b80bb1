#include "frame/platform/message_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace korvan {
namespace {

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
bool readLine(std::FILE* file, char (&line)[maxLine + 2], std::int64_t* left) {
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

// The text of a line with a number; null if it has none.
const char* textOfLine(const char* line, std::uint32_t* number) {
    std::uint64_t value = 0;
    const char* p = line;
    for (; *p >= '0' && *p <= '9'; ++p) {
        value = value * 10 + static_cast<std::uint64_t>(*p - '0');
        if (value > UINT32_MAX) return nullptr;
    }
    if (p == line || *p != '\t') return nullptr;
    *number = static_cast<std::uint32_t>(value);
    return p + 1;
}

}  // namespace

bool readMessageFile(const char* path, TakeMessage take, void* context) {
    std::FILE* file = openText(path);
    if (file == nullptr) return false;
    char line[maxLine + 2];
    std::int64_t left = maxFile;
    while (readLine(file, line, &left)) {
        std::uint32_t number = 0;
        const char* text = textOfLine(line, &number);
        if (text == nullptr) continue;
        std::strcat(line, "\r\n");
        take(context, number, text);
    }
    std::fclose(file);
    return true;
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
