// Stream images: what is in them, what comes back from them, and what is refused.
//
// tests/data/images holds an image of every generator, as goldenStream() makes it.  To write those
// of a new generator: library_tests --gtest_also_run_disabled_tests --gtest_filter='*WriteMissing*'
#include "streams/images.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "described_hardware.h"
#include "every_kernel.h"
#include "frame/memory.h"
#include "streams/attachments.h"
#include "streams/stream_record.h"
#include "support.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

namespace fs = std::filesystem;

// A file of the test's own, in memory.
class TemporaryFile {
  public:
    TemporaryFile()
        : descriptor_(memfd_create("image", MFD_CLOEXEC)),
          path_("/proc/self/fd/" + std::to_string(descriptor_)) {
        EXPECT_GE(descriptor_, 0);
    }
    explicit TemporaryFile(const Bytes& contents) : TemporaryFile() { write(contents); }
    ~TemporaryFile() { close(descriptor_); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const char* name() const { return path_.c_str(); }
    void write(const Bytes& contents) const {
        std::ofstream(path_, std::ios::binary)
            .write(contents.data(), static_cast<std::streamsize>(contents.size()));
    }
    Bytes contents() const {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

  private:
    int descriptor_;
    std::string path_;
};

// Owns what a load made, and remembers its status.
struct Loaded {
    StreamHandle stream = reinterpret_cast<StreamHandle>(16);  // overwritten by every load
    std::int32_t status = 1;

    static Loaded memory(const Bytes& image) {
        Loaded loaded;
        loaded.status = vslLoadStreamM(&loaded.stream, image.data());
        return loaded;
    }
    static Loaded file(const char* name) {
        Loaded loaded;
        loaded.status = vslLoadStreamF(&loaded.stream, name);
        return loaded;
    }
    static Loaded file(const Bytes& image) { return file(TemporaryFile(image).name()); }

    Loaded() = default;
    Loaded(Loaded&& other) : stream(other.stream), status(other.status) { other.stream = nullptr; }
    ~Loaded() {
        EXPECT_EQ(status < 0, stream == nullptr);
        if (stream) vslDeleteStream(&stream);
    }
};

// ---- A reader of its own, from the format's page ----

struct Reader {
    const Bytes& bytes;
    std::size_t at = 0;

    std::uint64_t number(std::size_t width) {
        std::uint64_t value = 0;
        for (std::size_t k = 0; k < width; ++k) {
            value |= std::uint64_t{static_cast<unsigned char>(bytes.at(at + k))} << 8 * k;
        }
        at += width;
        return value;
    }
    std::string text(std::size_t width) {
        EXPECT_LE(width, bytes.size() - at);
        at += width;
        return {bytes.data() + at - width, width};
    }
};

struct Entry {
    std::uint32_t tag;
    AttachmentKey key;
    std::string payload;
    bool operator==(const Entry&) const = default;
};

struct Image {
    std::uint64_t version, headerSize, id;
    std::string magic, state;
    std::vector<Entry> entries;

    explicit Image(const Bytes& bytes) {
        Reader in{bytes};
        version = in.number(1);
        EXPECT_EQ(in.number(3), 0u);
        magic = in.text(3);
        EXPECT_EQ(in.number(1), 0u);
        headerSize = in.number(2);
        EXPECT_EQ(in.number(2), 0u);
        const auto stateBytes = in.number(4);
        const auto count = in.number(2);
        EXPECT_EQ(in.number(2), 0u);
        id = in.number(4);
        state = in.text(stateBytes);
        for (std::uint64_t k = 0; k < count; ++k) {
            const auto tag = static_cast<std::uint32_t>(in.number(4));
            const AttachmentKey key{{in.number(8), in.number(8)}};
            entries.push_back({tag, key, in.text(in.number(4))});
        }
        EXPECT_EQ(in.at, bytes.size());
    }
};

// ---- A writer of its own, of all forms ----

struct Draft {
    int version = 2;
    std::size_t magicAt = 4;
    std::uint64_t headerSize = 24, id = GEN_MCG59;
    std::string state{"\1\0\0\0\0\0\0\0\5\0\0\0\0\0\0\0", 16};  // x = 1, a = 5
    std::vector<Entry> entries = {};
    int stateBytesOff = 0;

    Bytes bytes() const {
        Bytes image(version == 2 ? 24 : 20, '\xAA');  // nobody reads what isn't told
        const auto put = [&](std::size_t at, std::uint64_t value, std::size_t width) {
            for (std::size_t k = 0; k < width; ++k)
                image[at + k] = static_cast<char>(value >> 8 * k);
        };
        put(0, static_cast<std::uint64_t>(version), 1);
        std::memcpy(&image[magicAt], "RNG", 3);
        const std::uint64_t stateBytes =
            state.size() + static_cast<std::uint64_t>(std::int64_t{stateBytesOff});
        if (version == 2) {
            put(8, headerSize, 2);
            put(12, stateBytes, 4);
            put(16, entries.size(), 2);
            put(20, id, 4);
        } else {
            put(10, stateBytes, 2);
            put(12, entries.size(), 2);
            put(16, id, 4);
        }
        image.insert(image.end(), state.begin(), state.end());
        for (const Entry& entry : entries) {
            const std::size_t at = image.size();
            const std::size_t keyBytes = version == 0 ? 0 : 16;
            image.resize(at + 8 + keyBytes);
            put(at, entry.tag, 4);
            if (keyBytes) put(at + 4, entry.key.halves[0], 8), put(at + 12, entry.key.halves[1], 8);
            put(at + 4 + keyBytes, entry.payload.size(), 4);
            image.insert(image.end(), entry.payload.begin(), entry.payload.end());
        }
        return image;
    }
};

constexpr AttachmentKey key1{{0x0123456789ABCDEF, 0xFEDCBA9876543210}}, key2{{0, 7}};

// ---- Every generator ----

// In the middle of its blocks, and leapfrogged where that can be.
StreamHandle goldenStream(GeneratorId id) {
    StreamHandle stream = nullptr;
    const bool isQuasiRandom = id == GEN_SOBOL || id == GEN_NIEDERREITER;
    EXPECT_EQ(vslNewStream(&stream, id, isQuasiRandom ? 7 : 20261123), RNG_OK);
    drawWords(stream, 1001);
    vslLeapfrogStream(stream, 1, 3);
    drawWords(stream, 2);
    return stream;
}

std::string goldenFile(GeneratorId id) {
    char name[32];
    std::snprintf(name, sizeof name, "images/%07X.image", static_cast<unsigned>(id));
    return std::string(KORVAN_TEST_DATA) + name;
}

class EveryImage : public ::testing::TestWithParam<GeneratorId> {
  protected:
    const GeneratorId id = GetParam();
};

TEST_P(EveryImage, ContinuesWhereTheSavedStreamStood) {
    for (const std::size_t drawn : {0, 1, 2, 3, 5, 255, 623, 624, 1249}) {
        Stream stream(id, 77);
        if (drawn > 0) drawWords(stream, drawn);
        const Bytes bytes = imageOf(stream);
        const Image image(bytes);
        EXPECT_EQ(image.version, 2u);
        EXPECT_EQ(image.magic, "RNG");
        EXPECT_EQ(image.headerSize, 24u);
        EXPECT_EQ(image.id, static_cast<std::uint32_t>(id));
        const auto state = stateBytes(stream);
        EXPECT_EQ(image.state, std::string(state.begin(), state.end()));
        const TemporaryFile file;
        ASSERT_EQ(vslSaveStreamF(stream, file.name()), RNG_OK);
        ASSERT_EQ(file.contents(), bytes);

        const Bytes expected = drawWithEverything(stream, 100);
        for (const Loaded& loaded : {Loaded::memory(bytes), Loaded::file(file.name())}) {
            ASSERT_EQ(loaded.status, RNG_OK) << drawn;
            EXPECT_EQ(vslGetStreamStateBrng(loaded.stream), id);
            EXPECT_EQ(imageOf(loaded.stream), bytes);
            const Bytes continued = drawWithEverything(loaded.stream, 100);
            if (isRepeatable(id)) {
                ASSERT_EQ(continued, expected) << drawn;
            }
        }
    }
}

TEST_P(EveryImage, GoldenImageIsWrittenAndRead) {
    StreamHandle stream = goldenStream(id);
    std::ifstream in(goldenFile(id), std::ios::binary);
    ASSERT_TRUE(in) << goldenFile(id);
    const Bytes golden{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(imageOf(stream), golden);
    const Loaded loaded = Loaded::file(goldenFile(id).c_str());
    ASSERT_EQ(loaded.status, RNG_OK);
    if (isRepeatable(id)) {
        EXPECT_EQ(drawWords(loaded.stream, 3000), drawWords(stream, 3000));
    }
    vslDeleteStream(&stream);
}

TEST_P(EveryImage, DISABLED_WriteMissing) {
    if (fs::exists(goldenFile(id))) return;
    StreamHandle stream = goldenStream(id);
    EXPECT_EQ(vslSaveStreamF(stream, goldenFile(id).c_str()), RNG_OK);
    vslDeleteStream(&stream);
}

// Under the address sanitizer: no byte of an image leads out of an array.
TEST_P(EveryImage, AnyByteChanged) {
    StreamHandle stream = goldenStream(id);
    const Bytes image = imageOf(stream);
    vslDeleteStream(&stream);
    const TemporaryFile file;
    constexpr std::size_t everyOne = 2600;  // of a longer image's bytes, tables mostly, some
    for (std::size_t at = 0; at < image.size(); at += at < everyOne ? 1 : 61) {
        for (const int change : {0x01, 0x02, 0x80, 0x7F, 0xFF}) {
            Bytes changed = image;
            changed[at] = static_cast<char>(changed[at] ^ change);
            file.write(changed);
            const Loaded loaded = Loaded::file(file.name());
            if (loaded.status < 0) {
                EXPECT_TRUE(loaded.status == RNG_BAD_FILE_FORMAT ||
                            loaded.status == RNG_FILE_READ_FAILED)
                    << at << ": " << loaded.status;
                continue;
            }
            // A registered generator of another test's gets whatever state there is.
            if (vslGetStreamStateBrng(loaded.stream) >= firstRegisteredId) continue;
            const Bytes saved = imageOf(loaded.stream);
            const Loaded again = Loaded::memory(saved);
            ASSERT_EQ(again.status, RNG_OK);
            const Bytes drawn = drawWithEverything(loaded.stream, 70);
            if (isRepeatable(id)) {
                ASSERT_EQ(drawWithEverything(again.stream, 70), drawn) << at;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Present, EveryImage, ::testing::ValuesIn(presentGenerators()));

// ---- The format ----

std::vector<Entry> entriesOf(StreamHandle stream) {
    return Image(imageOf(stream)).entries;
}

TEST(Images, HeadersOfAllVersions) {
    using D = Draft;
    const std::vector<Entry> one = {{70, {}, "abc"}};
    const auto flat = [](std::uint64_t id) { return Draft{.id = id}; };
    constexpr std::int32_t bad = RNG_BAD_FILE_FORMAT, read = RNG_FILE_READ_FAILED;
    const struct {
        int line;
        Draft image;
        std::int32_t status;
    } rows[] = {
        {__LINE__, D{}, RNG_OK},
        {__LINE__, D{.headerSize = 23}, bad},
        {__LINE__, D{.headerSize = 25}, RNG_OK},
        {__LINE__, D{.magicAt = 3}, bad},
        {__LINE__, D{.stateBytesOff = 1}, bad},
        {__LINE__, D{.stateBytesOff = -1}, bad},
        {__LINE__, D{.stateBytesOff = 0x10000}, bad},
        {__LINE__, D{.version = 1}, RNG_OK},
        {__LINE__, D{.version = 0}, RNG_OK},
        {__LINE__, D{.version = 1, .stateBytesOff = 1}, bad},
        {__LINE__, D{.version = 1, .stateBytesOff = 0x10000}, RNG_OK},  // 16 bits wide
        {__LINE__, D{.version = 'R', .magicAt = 0}, RNG_OK},
        {__LINE__, D{.version = 'R', .magicAt = 0, .entries = one}, read},
        {__LINE__, D{.version = 3}, RNG_OK},
        {__LINE__, D{.version = 3, .entries = one}, read},
        {__LINE__, D{.version = 255, .entries = one}, read},
        {__LINE__, D{.version = 1, .magicAt = 8}, bad},
        {__LINE__, flat(3), RNG_OK},  // MCG59 by its older number
        {__LINE__, flat(4), bad},     // a Wichmann-Hill member, of another size
        {__LINE__, flat(279), bad},
        {__LINE__, flat(281), bad},
        {__LINE__, flat(GEN_MCG59 + 1), bad},
        {__LINE__, flat(0xFFFFFFFF), bad},
        {__LINE__, flat(0x1FF00000), bad},
        {__LINE__, D{.state = std::string(16, '\0')}, bad},  // no stream stands at zero
        {__LINE__, D{.entries = {256, one[0]}}, RNG_OK},
    };
    for (const auto& row : rows) {
        const Bytes image = row.image.bytes();
        const Loaded file = Loaded::file(image), memory = Loaded::memory(image);
        EXPECT_EQ(file.status, row.status) << "line " << row.line;
        EXPECT_EQ(memory.status, row.status == bad ? RNG_BAD_MEMORY_FORMAT : row.status)
            << "line " << row.line;
        if (row.status < 0) continue;
        EXPECT_EQ(drawWords(file.stream, 2), (Words{1, 0, 5, 0})) << "line " << row.line;
        EXPECT_EQ(attachmentCount(memory.stream), row.image.entries.size());
    }
    EXPECT_EQ(imageOf(Stream(GEN_MCG59)).size(), 40u);
}

TEST(Images, EntriesComeBackInReverseOrder) {
    const std::vector<Entry> saved = {{70, {}, "first"}, {71, key1, "second"}, {70, key2, ""}};
    for (const int version : {0, 1, 2}) {
        const Loaded loaded = Loaded::file(Draft{.version = version, .entries = saved}.bytes());
        ASSERT_EQ(loaded.status, RNG_OK);
        const AttachmentKey kept = version == 0 ? AttachmentKey{} : key1;
        const std::vector<Entry> expected = {{70, {}, ""}, {71, kept, "second"}, {70, {}, "first"}};
        EXPECT_EQ(entriesOf(loaded.stream), expected) << version;
        EXPECT_EQ(vslGetStreamSize(loaded.stream), 40 + 3 * 24 + 11);
        const Loaded twice = Loaded::memory(imageOf(loaded.stream));
        EXPECT_EQ(entriesOf(twice.stream),
                  (std::vector<Entry>{expected[2], expected[1], expected[0]}));
    }
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

// Seeds for the fuzzer (tests/fuzz), beside the golden images.
TEST(Images, DISABLED_WriteMissingForms) {
    const std::vector<Entry> entries = {{70, {}, "first"}, {71, key1, "second"}, {14, key2, ""}};
    const std::pair<const char*, Draft> forms[] = {
        {"version0", {.version = 0, .entries = entries}},
        {"version1", {.version = 1, .entries = entries}},
        {"version2", {.version = 2, .entries = entries}},
        {"unversioned", {.version = 'R', .magicAt = 0}},
        {"abstract",
         {.id = GEN_ABSTRACT_INTEGER,
          .state = std::string("\2\0\0\0\1", 5) + std::string(19, '\0')}},
    };
    for (const auto& [name, draft] : forms) {
        const Bytes image = draft.bytes();
        std::ofstream(std::string(KORVAN_TEST_DATA "images/") + name + ".image", std::ios::binary)
            .write(image.data(), static_cast<std::streamsize>(image.size()));
    }
}

TEST(Images, KnownKeyJoinsItsEqualsOnly) {
    const auto image = [](std::uint32_t tag, const char* payload) {
        return Draft{.entries = {{tag, key1, payload}}}.bytes();
    };
    const Loaded holder = Loaded::memory(image(71, "table"));
    const Loaded equal = Loaded::memory(image(71, "table"));
    EXPECT_EQ(findAttachment(equal.stream, 71), findAttachment(holder.stream, 71));
    for (const Bytes& other : {image(71, "tablE"), image(71, "tables"), image(72, "table")}) {
        const Loaded loaded = Loaded::file(other);
        EXPECT_TRUE(entriesOf(loaded.stream)[0].key.isNone());
        EXPECT_NE(firstAttachment(loaded.stream)->payload, findAttachment(holder.stream, 71));
    }
    EXPECT_EQ(sharedBlocks().count(), 1u);
}

TEST(Images, NeedTheGeneratorsInstructions) {
    DescribedHardware with(true, true);
    const Bytes ars = imageOf(Stream(GEN_ARS5)), source = imageOf(Stream(GEN_NONDETERMINISTIC));
    EXPECT_EQ(Loaded::file(ars).status, RNG_OK);
    EXPECT_EQ(Loaded::file(source).status, RNG_OK);
    DescribedHardware without(false, false);
    EXPECT_EQ(Loaded::file(ars).status, RNG_NO_AES_SUPPORT);
    EXPECT_EQ(Loaded::memory(ars).status, RNG_NO_AES_SUPPORT);
    EXPECT_EQ(Loaded::file(source).status, RNG_NO_HARDWARE_SOURCE);
    EXPECT_EQ(Loaded::memory(source).status, RNG_NO_HARDWARE_SOURCE);
}

// ---- What can go wrong ----

// A stream with attachments, one of them shared.
struct LadenStream : Stream {
    explicit LadenStream(GeneratorId id) : Stream(id) {
        hang(70, {}, "0123456789");
        hang(71, key1, "shared");
        hang(72, {}, "");
    }
    void hang(std::uint32_t tag, const AttachmentKey& key, const std::string& text) const {
        void* block = alignedAlloc(text.size(), recordAlignment);
        if (block) std::memcpy(block, text.data(), text.size());
        EXPECT_EQ(attach(handle, tag, &key, block, static_cast<std::uint32_t>(text.size())),
                  RNG_OK);
    }
};

TEST(Images, FileCutAtAnyByte) {
    const LadenStream stream(GEN_PHILOX4X32X10);
    const Bytes image = imageOf(stream);
    WatchedHeap heap;
    for (std::size_t size = 0; size < image.size(); ++size) {
        const Bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(Loaded::file(cut).status, RNG_FILE_READ_FAILED) << size;
    }
    Bytes longer = image;
    longer.push_back('x');
    EXPECT_EQ(imageOf(Loaded::file(longer).stream).size(), image.size());
    EXPECT_EQ(heap.blocksHeld(), 0);
}

TEST(Images, EntryThatClaimsMoreThanTheFileTakesNoMemory) {
    Bytes image = Draft{.entries = {{70, {}, "abc"}}}.bytes();
    std::memset(&image[60], 0xFF, 4);
    WatchedHeap heap;
    heap.failAfter(1);  // the record's
    EXPECT_EQ(Loaded::file(image).status, RNG_FILE_READ_FAILED);
}

TEST(Images, FilesThatCannotBeUsed) {
    const Stream stream(GEN_MCG31);
    const TemporaryFile file;
    const std::string missing = std::string(file.name()) + "/x";
    EXPECT_EQ(vslSaveStreamF(stream, missing.c_str()), RNG_FILE_OPEN_FAILED);
    EXPECT_EQ(Loaded::file(missing.c_str()).status, RNG_FILE_OPEN_FAILED);
    EXPECT_EQ(vslSaveStreamF(stream, "/"), RNG_FILE_OPEN_FAILED);
    EXPECT_EQ(Loaded::file("/").status, RNG_FILE_READ_FAILED);
    EXPECT_EQ(Loaded::file("/dev/null").status, RNG_FILE_READ_FAILED);
    EXPECT_EQ(Loaded::file("/dev/zero").status, RNG_BAD_FILE_FORMAT);
    // Small images wait in a buffer until the file is closed.
    EXPECT_EQ(vslSaveStreamF(stream, "/dev/full"), RNG_FILE_CLOSE_FAILED);
}

TEST(Images, DiskThatFillsUpAtAnyByte) {
    const LadenStream stream(GEN_MT19937);
    stream.hang(73, {}, std::string(9000, 'x'));
    const auto size = static_cast<std::size_t>(vslGetStreamSize(stream));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const TemporaryFile file;
    std::vector<std::int32_t> statuses;  // nothing else is written to a file meanwhile
    for (std::size_t room = 0; room <= size; room += room + 200 < size ? 97 : 1) {
        const rlimit limit{room, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        statuses.push_back(vslSaveStreamF(stream, file.name()));
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    }
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(statuses.back(), RNG_OK);
    statuses.pop_back();
    for (const std::int32_t status : statuses) {
        EXPECT_TRUE(status == RNG_FILE_WRITE_FAILED || status == RNG_FILE_CLOSE_FAILED) << status;
    }
}

TEST(Images, EveryAllocationFailing) {
    const LadenStream stream(GEN_MCG59);
    const Bytes image = imageOf(stream);
    const TemporaryFile file(image);
    WatchedHeap heap;
    const auto sweep = [&](auto load) {
        int failures = 0;
        for (;; ++failures) {
            heap.failAfter(failures);
            if (load().status == RNG_OK) break;
            EXPECT_EQ(load().status, RNG_NO_MEMORY) << failures;
            EXPECT_EQ(heap.blocksHeld(), 0) << failures;
        }
        return failures;
    };
    // The record, three nodes and two payloads.
    EXPECT_EQ(sweep([&] { return Loaded::memory(image); }), 6);
    EXPECT_EQ(sweep([&] { return Loaded::file(file.name()); }), 6);
    heap.failNever();
    EXPECT_EQ(heap.blocksHeld(), 0);
    EXPECT_EQ(sharedBlocks().count(), 1u);
    heap.failAfter(0);
    StreamHandle loaded;
    EXPECT_EQ(loadFromFile(&loaded, file.name(), 3), RNG_NO_MEMORY);
    EXPECT_EQ(loaded, nullptr);
    EXPECT_EQ(saveToFile(stream, file.name(), 3), RNG_NO_MEMORY);
}

TEST(Images, NamesWithALength) {
    const Stream stream(GEN_MCG31);
    const TemporaryFile file;
    const std::string longer = std::string(file.name()) + "tail";
    const auto length = static_cast<std::int32_t>(std::strlen(file.name()));
    EXPECT_EQ(saveToFile(stream, longer.c_str(), length), RNG_OK);
    EXPECT_EQ(file.contents(), imageOf(stream));
    StreamHandle loaded = nullptr;
    EXPECT_EQ(loadFromFile(&loaded, longer.c_str(), length), RNG_OK);
    EXPECT_EQ(loadFromFile(nullptr, longer.c_str(), length), RNG_NULL_POINTER);
    vslDeleteStream(&loaded);
    EXPECT_EQ(loadFromFile(&loaded, longer.c_str(), -1), RNG_FILE_OPEN_FAILED);
    EXPECT_EQ(loadFromFile(&loaded, longer.c_str(), 0), RNG_FILE_OPEN_FAILED);
}

TEST(Images, RefusedArguments) {
    const Stream stream(GEN_MCG31);
    char image[64];
    StreamHandle loaded = stream;
    const auto expect = [](auto call, std::int32_t status, const char* position, const char* name) {
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(call(), status);
        const std::string report = "Parameter " + std::string(position) +
                                   " was incorrect on entry to " + std::string(name) + ".";
        const std::string printed = ::testing::internal::GetCapturedStdout();
        EXPECT_NE(printed.find(report), std::string::npos) << printed;
    };
    constexpr std::int32_t bad = RNG_BAD_ARGUMENT, null = RNG_NULL_POINTER;
    expect([&] { return vslGetStreamSize(nullptr); }, null, "1", "vslGetStreamSize");
    expect([&] { return vslSaveStreamF(nullptr, nullptr); }, null, "1", "vslSaveStreamF");
    expect([&] { return vslSaveStreamF(stream, nullptr); }, bad, "2", "vslSaveStreamF");
    expect([&] { return vslLoadStreamF(&loaded, nullptr); }, bad, "2", "vslLoadStreamF");
    expect([&] { return vslSaveStreamM(stream, nullptr); }, bad, "2", "vslSaveStreamM");
    expect([&] { return vslLoadStreamM(&loaded, nullptr); }, bad, "2", "vslLoadStreamM");
    EXPECT_EQ(loaded, stream.handle);  // refused before anything is touched
    stream.handle->validity = 2;
    expect([&] { return vslSaveStreamM(stream, image); }, RNG_BAD_STREAM, "1", "vslSaveStreamM");
    stream.handle->validity = 1;
}

// ---- Abstract streams ----

// Gives 0, 1, 2, ... from a buffer of four.
struct Recorded {
    double buffer[4] = {};
    StreamHandle stream = nullptr;

    Recorded() {
        EXPECT_EQ(vslNewAbstractStreamDouble(&stream, 4, buffer, 0, 8, refill), RNG_OK);
        EXPECT_EQ(next(stream), 0.0);
    }
    ~Recorded() {
        if (stream) vslDeleteStream(&stream);
    }
    static std::int32_t refill(StreamHandle, std::int32_t* size, double* buffer, std::int32_t*,
                               std::int32_t*, std::int32_t* index) {
        for (int k = 0; k < *size; ++k) buffer[(*index + k) % *size] = k;
        return *size;
    }
    // Or the status of a failed draw.
    static double next(StreamHandle stream) {
        double r = -1;
        const std::int32_t status = vdRngUniform(0, stream, 1, &r, 0, 8);
        return status == RNG_OK ? r : status;
    }
};

TEST(Images, AbstractStreamSharesItsBufferWhileItLives) {
    auto first = std::make_unique<Recorded>();
    const Bytes image = imageOf(first->stream);
    {
        const Loaded loaded = Loaded::file(image);
        EXPECT_EQ(Recorded::next(first->stream), 1);
        EXPECT_EQ(Recorded::next(first->stream), 2);
        EXPECT_EQ(Recorded::next(loaded.stream), 1);
        EXPECT_EQ(imageOf(Loaded::memory(image).stream), image);
        // A copy keeps the binding alive.
        Loaded copy;
        copy.status = vslCopyStream(&copy.stream, loaded.stream);
        vslDeleteStream(&first->stream);
        EXPECT_EQ(Recorded::next(Loaded::memory(imageOf(copy.stream)).stream), 2);
        vslCopyStream(&first->stream, copy.stream);
    }
    // Neither another's state nor another generator takes it, nor is a byte of it guessed.
    constexpr std::size_t sizeAt = 24, lowBoundAt = 36, bindingAt = 24 + 40 + 24;
    for (const std::size_t at :
         {sizeAt, lowBoundAt, bindingAt - 24 + 4, bindingAt - 4, bindingAt + 4, bindingAt + 8,
          bindingAt + 16, bindingAt + 24, bindingAt + 39}) {
        Bytes changed = image;
        if (at == bindingAt - 4) {
            --changed[at], changed.pop_back();
        } else {
            changed[at] = static_cast<char>(changed[at] ^ 1);
        }
        const Loaded loaded = Loaded::file(changed);
        ASSERT_EQ(loaded.status, RNG_OK) << at;
        EXPECT_EQ(attachmentCount(loaded.stream), 0u) << at;
        EXPECT_EQ(Recorded::next(loaded.stream), RNG_NULL_POINTER) << at;
    }
    Draft foreign{.entries = Image(image).entries};
    EXPECT_EQ(attachmentCount(Loaded::memory(foreign.bytes()).stream), 0u);
    first.reset();
    const Loaded late = Loaded::file(image);
    EXPECT_EQ(late.status, RNG_OK);
    EXPECT_EQ(Recorded::next(late.stream), RNG_NULL_POINTER);
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

// ---- Registered generators ----

TEST(Images, RegisteredGeneratorComesBack) {
    const GeneratorProperties row = {
        20,
        1,
        1,
        4,
        32,
        [](std::int32_t, StreamHandle stream, std::int32_t, const std::uint32_t*) {
            stateOf<std::uint32_t>(stream) = 5;
            return std::int32_t{RNG_OK};
        },
        [](StreamHandle, std::int32_t, float*, float, float) { return std::int32_t{RNG_OK}; },
        [](StreamHandle, std::int32_t, double*, double, double) { return std::int32_t{RNG_OK}; },
        [](StreamHandle stream, std::int32_t n, std::uint32_t* r) {
            for (std::int32_t k = 0; k < n; ++k) r[k] = stateOf<std::uint32_t>(stream)++;
            return std::int32_t{RNG_OK};
        }};
    static const GeneratorId id = vslRegisterBrng(&row);
    GeneratorProperties headless = row;
    headless.stateSize = 3;  // less than a header
    headless.initStream = [](std::int32_t, StreamHandle, std::int32_t, const std::uint32_t*) {
        return std::int32_t{RNG_OK};
    };
    static const GeneratorId headlessId = vslRegisterBrng(&headless);
    const Stream stream(id);
    drawWords(stream, 3);
    const Loaded loaded = Loaded::file(imageOf(stream));
    ASSERT_EQ(loaded.status, RNG_OK);
    EXPECT_EQ(drawWords(loaded.stream, 2), (Words{8, 9}));
    const Bytes empty = imageOf(Stream(headlessId));
    EXPECT_EQ(empty.size(), 24u);
    EXPECT_EQ(Loaded::file(empty).status, RNG_OK);
}

}  // namespace
}  // namespace korvan::testing
