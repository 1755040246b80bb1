// The generator's own words, and uniform words of 32 and 64 bits.
#include "distributions/kernels.h"
#include "distributions/shared/streamed_fill-inl.h"
#include "streams/generator_table.h"

namespace korvan::KORVAN_COPY {
namespace {

// `count` 32-bit words.  A count that doesn't fit one fill is made in several; all are even, so
// 64-bit words stay whole.
std::int32_t fillWords(const GeneratorRow& row, StreamHandle stream, std::int64_t count,
                       std::uint32_t* r) {
    const auto fill = [&](std::uint32_t* part, std::size_t n) {
        return row.properties.fillBits(stream, static_cast<std::int32_t>(n), part);
    };
    if (isLargeFill(row, static_cast<std::size_t>(count), r)) {
        return largeFill<LastPart::merged>(row, stream, r, static_cast<std::size_t>(count), fill);
    }
    constexpr std::int64_t most = 0x40000000;
    std::int32_t status = RNG_OK;
    while (count > 0) {
        const std::int64_t part = count > INT32_MAX ? most : count;
        status = fill(r, static_cast<std::size_t>(part));
        if (status < 0) return status;
        r += part;
        count -= part;
    }
    return status;
}

// The top 32 of the generator's 59 bits.  The last fetch, of what is left behind the whole
// blocks, is made even when nothing is left.
std::int32_t repack(const GeneratorRow& row, StreamHandle stream, std::int64_t count,
                    std::uint32_t* r) {
    constexpr std::int32_t blockWords = 2048;
    constexpr int droppedBits = 27;
    std::uint64_t words[blockWords];
    for (;;) {
        const auto part = count < blockWords ? static_cast<std::int32_t>(count) : blockWords;
        const std::int32_t status =
            row.properties.fillBits(stream, part, reinterpret_cast<std::uint32_t*>(words));
        if (status < 0) return status;
        for (std::int32_t i = 0; i < part; ++i) {
            r[i] = static_cast<std::uint32_t>(words[i] >> droppedBits);
        }
        if (part < blockWords) return status;
        r += part;
        count -= part;
    }
}

std::int32_t words32(StreamHandle stream, std::int64_t count, std::uint32_t* r) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    switch (row->bitWords) {
        case BitWords::passThrough: return fillWords(*row, stream, count, r);
        case BitWords::repacked: return repack(*row, stream, count, r);
        case BitWords::refused: break;
    }
    return RNG_NO_BIT_WORDS;
}

}  // namespace

std::int32_t viRngUniformBits(std::int32_t, StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    if (row->properties.wordBytes == 4) return fillWords(*row, stream, n, r);
    return row->properties.fillBits(stream, n, r);
}

std::int32_t viRngUniformBits32(std::int32_t, StreamHandle stream, std::int32_t n,
                                std::uint32_t* r) {
    return words32(stream, n, r);
}

std::int32_t viRngUniformBits64(std::int32_t, StreamHandle stream, std::int32_t n,
                                std::uint64_t* r) {
    return words32(stream, std::int64_t{2} * n, reinterpret_cast<std::uint32_t*>(r));
}

}  // namespace korvan::KORVAN_COPY
