// A file of bytes, written or read once from its beginning on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace korvan {

class ByteFile {
  public:
    enum class For { reading, writing };

    ByteFile(const char* name, For purpose);
    ~ByteFile() { close(); }
    ByteFile(const ByteFile&) = delete;
    ByteFile& operator=(const ByteFile&) = delete;

    bool isOpen() const { return file_ != nullptr; }

    // Could so many more bytes come?  Known of regular files, whose length is taken at opening;
    // anything else could give any number.
    bool mayHold(std::uint64_t bytes) const { return bytes <= left_; }

    // All or a failure.
    bool read(void* to, std::size_t bytes);
    bool write(const void* from, std::size_t bytes);

    // False if bytes that were written may be lost.  Twice is once.
    bool close();

  private:
    std::FILE* file_;
    std::uint64_t left_;
};

}  // namespace korvan
