#include "streams/images.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include "frame/hardware.h"
#include "frame/memory.h"
#include "frame/platform/byte_file.h"
#include "streams/attachments.h"
#include "streams/generator_table.h"
#include "streams/stream.h"
#include "streams/stream_record.h"

namespace korvan {
namespace {

constexpr std::uint8_t currentVersion = 2;
constexpr char magic[3] = {'R', 'N', 'G'};

struct ImageHeader {
    std::uint8_t version;
    std::uint8_t unused1[3];
    char magic[3];
    std::uint8_t unused2;
    std::uint16_t headerSize;
    std::uint16_t unused3;
    std::uint32_t stateBytes;
    std::uint16_t attachmentCount;
    std::uint16_t unused4;
    std::int32_t generatorId;
};
static_assert(sizeof(ImageHeader) == 24);

struct OldImageHeader {
    std::uint8_t version;
    std::uint8_t unused1[3];
    char magic[3];
    std::uint8_t unused2;
    std::uint16_t unused3;
    std::uint16_t stateBytes;
    std::uint16_t attachmentCount;
    std::uint16_t unused4;
    std::int32_t generatorId;
};
static_assert(sizeof(OldImageHeader) == 20);

// What both headers begin with.
constexpr std::size_t commonBytes = 8;

struct ImageEntry {
    std::uint32_t tag;
    std::uint32_t key[4];
    std::uint32_t size;
};
static_assert(sizeof(ImageEntry) == 24 && sizeof(ImageEntry::key) == sizeof(AttachmentKey));

// What saving writes to and loading reads from: bytes one after the other, or a failure.

class MemoryTarget {
  public:
    explicit MemoryTarget(char* image) : at_(image) {}
    bool write(const void* from, std::size_t bytes) {
        std::memcpy(at_, from, bytes);
        at_ += bytes;
        return true;
    }

  private:
    char* at_;
};

class MemorySource {
  public:
    explicit MemorySource(const char* image) : at_(image) {}
    bool mayHold(std::uint64_t) const { return true; }
    bool read(void* to, std::size_t bytes) {
        std::memcpy(to, at_, bytes);
        at_ += bytes;
        return true;
    }

  private:
    const char* at_;
};

// ---- Saving ----

// The header has 16 bits for it; what a list holds beyond that is its oldest part.
std::uint16_t savedAttachments(const StreamRecord* stream) {
    const std::uint32_t most = std::numeric_limits<std::uint16_t>::max();
    return static_cast<std::uint16_t>(std::min(attachmentCount(stream), most));
}

ImageHeader headerOf(const StreamRecord* stream, const GeneratorRow& row) {
    ImageHeader header{};
    header.version = currentVersion;
    std::memcpy(header.magic, magic, sizeof magic);
    header.headerSize = sizeof header;
    header.stateBytes = static_cast<std::uint32_t>(stateBytes(row));
    header.attachmentCount = savedAttachments(stream);
    header.generatorId = stream->generatorId;
    return header;
}

template <class Target>
bool saveAttachment(Target& target, const StreamAttachment& node) {
    ImageEntry entry{.tag = node.tag, .key = {}, .size = node.size};
    std::memcpy(entry.key, node.key.halves, sizeof entry.key);
    if (!target.write(&entry, sizeof entry)) return false;
    return node.size == 0 || target.write(node.payload, node.size);  // no bytes have no address
}

template <class Target>
bool save(Target& target, const StreamRecord* stream, const GeneratorRow& row) {
    const ImageHeader header = headerOf(stream, row);
    bool isGood = target.write(&header, sizeof header) && target.write(stream + 1, stateBytes(row));
    const StreamAttachment* node = firstAttachment(stream);
    for (unsigned k = 0; isGood && k < header.attachmentCount; ++k, node = node->next) {
        isGood = saveAttachment(target, *node);
    }
    return isGood;
}

// ---- Loading ----

// What either header tells.
struct Description {
    std::uint8_t version;
    bool hasMagic;
    std::uint16_t headerSize;
    std::uint32_t stateBytes;
    std::uint16_t attachmentCount;
    std::int32_t generatorId;

    // The record's rest has this size, and there is somebody to draw from it.
    bool suits(const GeneratorRow* row) const {
        return hasMagic && row && row->properties.initStream &&
               stateBytes == korvan::stateBytes(*row) && headerSize >= sizeof(ImageHeader);
    }
};

template <class Header, class Source>
bool readRest(Source& source, const unsigned char (&common)[commonBytes], Header& header) {
    std::memcpy(&header, common, commonBytes);
    return source.read(reinterpret_cast<unsigned char*>(&header) + commonBytes,
                       sizeof header - commonBytes);
}

template <class Source>
bool readDescription(Source& source, Description& image) {
    unsigned char common[commonBytes];
    if (!source.read(common, sizeof common)) return false;
    const bool hasMagic = std::memcmp(common + offsetof(ImageHeader, magic), magic, 3) == 0 ||
                          std::memcmp(common, magic, 3) == 0;
    if (common[0] == currentVersion) {
        ImageHeader header;
        if (!readRest(source, common, header)) return false;
        image = {header.version,         hasMagic,          header.headerSize, header.stateBytes,
                 header.attachmentCount, header.generatorId};
    } else {
        OldImageHeader header;
        if (!readRest(source, common, header)) return false;
        image = {header.version,         hasMagic,          sizeof(ImageHeader), header.stateBytes,
                 header.attachmentCount, header.generatorId};
    }
    return true;
}

std::int32_t missingInstructions(GeneratorId id) {
    if (id == GEN_NONDETERMINISTIC && !hasHardwareRandom()) return RNG_NO_HARDWARE_SOURCE;
    if (id == GEN_ARS5 && !hasAesGenerator()) return RNG_NO_AES_SUPPORT;
    return RNG_OK;
}

// False at the end of the bytes, and for a version whose entries aren't known.
template <class Source>
bool readEntry(Source& source, std::uint8_t version, ImageEntry& entry) {
    entry = {};
    if (version > currentVersion) return false;
    const bool hasKey = version != 0;
    return source.read(&entry.tag, sizeof entry.tag) &&
           (!hasKey || source.read(entry.key, sizeof entry.key)) &&
           source.read(&entry.size, sizeof entry.size);
}

// Hangs a loaded payload on the stream, as its owner says.  Keys of those who share nothing are
// dropped: rows of the shared table are few.
std::int32_t hang(StreamHandle stream, const ImageEntry& entry, const AttachmentOwner* owner,
                  void* payload, std::int32_t badFormat) {
    AttachmentKey key;
    if (owner && owner->hasKeys) std::memcpy(key.halves, entry.key, sizeof entry.key);
    switch (owner && owner->judge ? owner->judge(stream, payload, entry.size) : Loaded::kept) {
        case Loaded::kept: return attach(stream, entry.tag, &key, payload, entry.size);
        case Loaded::ifHeld: return attachHeld(stream, entry.tag, key, payload, entry.size);
        case Loaded::dropped: alignedFree(payload); return RNG_OK;
        case Loaded::forged: break;
    }
    return badFormat;
}

// The owners that a list of entries has named so far.
class OwnersSeen {
  public:
    // False for the second entry of an owner's, which no stream has.
    bool isNew(const AttachmentOwner& owner) {
        const std::uint64_t bit = std::uint64_t{1} << (owner.tag % 64);
        const bool result = (seen_ & bit) == 0;
        seen_ |= bit;
        return result;
    }

  private:
    std::uint64_t seen_ = 0;  // bit: tag
};

template <class Source>
std::int32_t loadAttachment(Source& source, std::uint8_t version, StreamHandle stream,
                            OwnersSeen& seen, std::int32_t badFormat) {
    ImageEntry entry;
    // No memory is taken for bytes that can't come.
    if (!readEntry(source, version, entry) || !source.mayHold(entry.size)) {
        return RNG_FILE_READ_FAILED;
    }
    const AttachmentOwner* owner = attachmentOwner(entry.tag);
    if (owner && !seen.isNew(*owner)) return badFormat;
    void* payload = nullptr;  // of an empty payload as well
    if (entry.size > 0) {
        payload = alignedAlloc(entry.size, recordAlignment);
        if (!payload) return RNG_NO_MEMORY;
        if (!source.read(payload, entry.size)) {
            alignedFree(payload);
            return RNG_FILE_READ_FAILED;
        }
    }
    const std::int32_t status = hang(stream, entry, owner, payload, badFormat);
    if (status < 0) alignedFree(payload);
    return status;
}

// Fills the state and the list of a new stream.
template <class Source>
std::int32_t loadContents(Source& source, const Description& image, const GeneratorRow& row,
                          StreamHandle stream, std::int32_t badFormat) {
    if (!source.read(stream + 1, stateBytes(row))) return RNG_FILE_READ_FAILED;
    std::int32_t status = missingInstructions(image.generatorId);
    OwnersSeen seen;
    for (unsigned k = 0; status >= 0 && k < image.attachmentCount; ++k) {
        status = loadAttachment(source, image.version, stream, seen, badFormat);
    }
    if (status < 0) return status;
    // The last, since the tables of a state can be among its attachments.
    if (row.isState && !row.isState(stream)) return badFormat;
    if (row.deriveTables) row.deriveTables(stream);
    return RNG_OK;
}

template <class Source>
std::int32_t load(Source& source, StreamHandle* stream, std::int32_t badFormat) {
    Description image;
    if (!readDescription(source, image)) return RNG_FILE_READ_FAILED;
    const GeneratorRow* row = findGenerator(image.generatorId);
    if (!image.suits(row)) return badFormat;
    std::int32_t status = allocateStream(stream, image.generatorId, *row);
    if (status < 0) return status;
    status = loadContents(source, image, *row, *stream, badFormat);
    if (status < 0) deleteStream(stream);
    return status;
}

// A file's name, terminated.
class FileName {
  public:
    FileName(const char* name, std::int32_t length) : text_(name) {
        if (length < 0) return;
        const auto characters = static_cast<std::size_t>(length);
        copy_ = static_cast<char*>(alignedAlloc(characters + 1, recordAlignment));
        text_ = copy_;
        if (!copy_) return;
        std::memcpy(copy_, name, characters);
        copy_[characters] = '\0';
    }
    ~FileName() { alignedFree(copy_); }
    FileName(const FileName&) = delete;
    FileName& operator=(const FileName&) = delete;

    // Null without memory.
    const char* text() const { return text_; }

  private:
    const char* text_;
    char* copy_ = nullptr;
};

}  // namespace

std::int32_t imageSize(const StreamRecord* stream) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    std::uint64_t size = sizeof(ImageHeader) + stateBytes(*row);
    const StreamAttachment* node = firstAttachment(stream);
    for (unsigned k = savedAttachments(stream); k > 0; --k, node = node->next) {
        size += sizeof(ImageEntry) + std::uint64_t{node->size};
    }
    const std::uint64_t most = std::numeric_limits<std::int32_t>::max();
    return size <= most ? static_cast<std::int32_t>(size) : RNG_BAD_ARGUMENT;
}

std::int32_t saveToMemory(const StreamRecord* stream, char* image) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    MemoryTarget target(image);
    save(target, stream, *row);
    return RNG_OK;
}

std::int32_t saveToFile(const StreamRecord* stream, const char* name, std::int32_t length) {
    const FileName fileName(name, length);
    if (!fileName.text()) return RNG_NO_MEMORY;
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    ByteFile file(fileName.text(), ByteFile::For::writing);
    if (!file.isOpen()) return RNG_FILE_OPEN_FAILED;
    const bool isWritten = save(file, stream, *row);
    if (!file.close()) return RNG_FILE_CLOSE_FAILED;
    return isWritten ? RNG_OK : RNG_FILE_WRITE_FAILED;
}

std::int32_t loadFromMemory(StreamHandle* stream, const char* image) {
    if (!stream) return RNG_NULL_POINTER;
    *stream = nullptr;
    MemorySource source(image);
    return load(source, stream, RNG_BAD_MEMORY_FORMAT);
}

std::int32_t loadFromFile(StreamHandle* stream, const char* name, std::int32_t length) {
    if (!stream) return RNG_NULL_POINTER;
    *stream = nullptr;
    const FileName fileName(name, length);
    if (!fileName.text()) return RNG_NO_MEMORY;
    ByteFile file(fileName.text(), ByteFile::For::reading);
    if (!file.isOpen()) return RNG_FILE_OPEN_FAILED;
    std::int32_t status = load(file, stream, RNG_BAD_FILE_FORMAT);
    if (!file.close()) status = RNG_FILE_CLOSE_FAILED;
    if (status < 0 && *stream) deleteStream(stream);
    return status;
}

}  // namespace korvan
