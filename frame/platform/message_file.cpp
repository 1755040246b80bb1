#include "frame/platform/message_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace korvan {
namespace {

constexpr std::uint32_t severityBit = 0x80000000;
constexpr std::size_t maxLine = 1024;
constexpr std::int64_t maxFile = 1 << 20;

// Reads a regular file line by line. Longer lines than maxLine and lines with a null in them come
// out empty.
class LineReader {
  public:
    explicit LineReader(const char* path)
        : descriptor_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
        struct stat status {};
        if (descriptor_ >= 0 && (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode) ||
                                 status.st_size > maxFile)) {
            close(descriptor_);
            descriptor_ = -1;
        }
    }
    ~LineReader() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    // The next line without its end, null if there is none.
    const char* next() {
        std::size_t length = 0;
        bool usable = true;
        for (;;) {
            const int c = nextByte();
            if (c < 0 && length == 0) return nullptr;
            if (c < 0 || c == '\n') break;
            if (c == '\0' || length + 1 >= maxLine) usable = false;
            if (usable) line_[length] = static_cast<char>(c);
            if (usable) ++length;
        }
        if (usable && length > 0 && line_[length - 1] == '\r') --length;
        line_[usable ? length : 0] = '\0';
        return line_;
    }

  private:
    int nextByte() {
        if (position_ == filled_) {
            position_ = 0;
            const ssize_t got = total_ < maxFile ? read(descriptor_, block_, sizeof block_) : 0;
            filled_ = got > 0 ? static_cast<std::size_t>(got) : 0;
            total_ += static_cast<std::int64_t>(filled_);
            if (filled_ == 0) return -1;
        }
        return static_cast<unsigned char>(block_[position_++]);
    }

    int descriptor_;
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    std::int64_t total_ = 0;
    char block_[4096];
    char line_[maxLine];
};

// The text of a line, if the line has this number; null otherwise.
const char* textOfLine(const char* line, std::uint32_t number) {
    std::uint64_t value = 0;
    const char* p = line;
    for (; *p >= '0' && *p <= '9'; ++p) {
        value = value * 10 + static_cast<std::uint64_t>(*p - '0');
        if (value > UINT32_MAX) return nullptr;
    }
    if (p == line || *p != '\t') return nullptr;
    return ((value ^ number) & ~severityBit) == 0 ? p + 1 : nullptr;
}

}  // namespace

std::int32_t readMessageFile(const char* path, std::uint32_t number, char* buffer,
                             std::int32_t size) {
    LineReader reader(path);
    if (!reader.isOpen()) return -1;
    while (const char* line = reader.next()) {
        const char* text = textOfLine(line, number);
        if (text == nullptr) continue;
        const std::size_t length = std::strlen(text);
        if (static_cast<std::int64_t>(length) + 3 > size) return 0;
        std::memcpy(buffer, text, length);
        std::memcpy(buffer + length, "\r\n", 3);
        return static_cast<std::int32_t>(length + 2);
    }
    return 0;
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
