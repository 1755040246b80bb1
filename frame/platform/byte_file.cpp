#include "frame/platform/byte_file.h"

#include <sys/stat.h>

#include <limits>

namespace korvan {

// "e": a program that the caller starts meanwhile doesn't inherit the file.
ByteFile::ByteFile(const char* name, For purpose)
    : file_(std::fopen(name, purpose == For::reading ? "rbe" : "wbe")),
      left_(std::numeric_limits<std::uint64_t>::max()) {
    struct stat status {};
    if (file_ && purpose == For::reading && fstat(fileno(file_), &status) == 0 &&
        S_ISREG(status.st_mode)) {
        left_ = static_cast<std::uint64_t>(status.st_size);
    }
}

bool ByteFile::read(void* to, std::size_t bytes) {
    if (!mayHold(bytes)) return false;
    left_ -= bytes;
    return std::fread(to, 1, bytes, file_) == bytes;
}

bool ByteFile::write(const void* from, std::size_t bytes) {
    return std::fwrite(from, 1, bytes, file_) == bytes;
}

bool ByteFile::close() {
    std::FILE* file = file_;
    file_ = nullptr;
    return !file || std::fclose(file) == 0;
}

}  // namespace korvan
