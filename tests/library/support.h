// What the library's tests share.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "frame/copy_set.h"
#include "korvan/random.h"
#include "streams/generator_table.h"

namespace korvan::testing {

using Words = std::vector<std::uint32_t>;
__extension__ typedef unsigned __int128 Wide;

// Owns a stream.
class Stream {
  public:
    explicit Stream(GeneratorId id, std::uint32_t seed = 1) : Stream(id, Words{seed}) {}
    Stream(GeneratorId id, const Words& seed) {
        status = vslNewStreamEx(&handle, id, static_cast<std::int32_t>(seed.size()), seed.data());
    }
    Stream(const Stream& other) { status = vslCopyStream(&handle, other.handle); }
    Stream& operator=(const Stream&) = delete;
    ~Stream() {
        if (handle) vslDeleteStream(&handle);
    }
    operator StreamHandle() const { return handle; }

    StreamHandle handle = nullptr;
    std::int32_t status;

  protected:
    Stream() : status(1) {}
};

// What a load made, and its status.
struct LoadedStream : Stream {
    explicit LoadedStream(const std::vector<char>& image) {
        load([&] { return vslLoadStreamM(&handle, image.data()); });
    }
    explicit LoadedStream(const char* file) {
        load([&] { return vslLoadStreamF(&handle, file); });
    }

  private:
    template <class Load>
    void load(Load from) {
        handle = reinterpret_cast<StreamHandle>(16);  // overwritten by every load
        status = from();
        EXPECT_EQ(status < 0, handle == nullptr);
    }
};

// A stream that is in a fill of the caller's own can be looked at, and is left alone otherwise.
void expectBusy(StreamHandle stream);

// 32-bit units of a generator's word.
inline std::size_t wordUnits(GeneratorId id) {
    GeneratorProperties row;
    EXPECT_EQ(vslGetBrngProperties(id, &row), RNG_OK);
    return static_cast<std::size_t>(row.wordBytes) / 4;
}

// The next n words of the stream, in 32-bit units; the buffer is larger and its end untouched.
inline Words drawWords(StreamHandle stream, std::size_t n) {
    const std::size_t units = n * wordUnits(vslGetStreamStateBrng(stream));
    Words words(units + 8, 0xCACACACA);
    EXPECT_GE(viRngUniformBits(0, stream, static_cast<std::int32_t>(n), words.data()), RNG_OK);
    for (std::size_t k = units; k < words.size(); ++k) EXPECT_EQ(words[k], 0xCACACACA);
    words.resize(units);
    return words;
}

// Does the copy under test round multiply-and-add once?
inline bool copyFuses() {
    const std::string copy = vslGetCopyName();
    return copy == "avx2" || copy == "avx512";
}

// u v + w as this copy's fills of reals round it.
template <class Real>
Real multiplyAdd(Real u, Real v, Real w) {
    if (copyFuses()) return std::fma(u, v, w);
    volatile Real product = u * v;  // not to be fused by the test's compiler either
    return product + w;
}

// All bytes behind the record's header.
inline std::vector<unsigned char> stateBytes(StreamHandle stream) {
    GeneratorProperties row;
    EXPECT_EQ(vslGetBrngProperties(vslGetStreamStateBrng(stream), &row), RNG_OK);
    const auto* bytes = reinterpret_cast<const unsigned char*>(stream);
    return {bytes + STREAM_HEADER_BYTES, bytes + row.stateSize};
}

// The stream's image; the buffer is larger and its end untouched.
inline std::vector<char> imageOf(StreamHandle stream) {
    const auto size = static_cast<std::size_t>(vslGetStreamSize(stream));
    std::vector<char> image(size + 8, '\xCA');
    EXPECT_EQ(vslSaveStreamM(stream, image.data()), RNG_OK);
    for (std::size_t k = size; k < image.size(); ++k) EXPECT_EQ(image[k], '\xCA');
    image.resize(size);
    return image;
}

// Does the generator give the same words again?
inline bool isRepeatable(GeneratorId id) {
    return id != GEN_NONDETERMINISTIC;
}

// Rows of a comma-separated file under tests/data, without comments and the line of names.
std::vector<std::vector<std::string>> readTable(const std::string& file);

// Every built-in generator that this version contains, the processor can run and vslNewStream
// makes: the first member of each row.
std::vector<GeneratorId> presentGenerators();

}  // namespace korvan::testing
