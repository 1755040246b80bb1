// Fills of ARS-5.  The blocks come from the form that the processor has: straight into an array
// of words, through a buffer in the first-level cache for reals.
//
// A fill always computes the block behind its last whole one, so a fill to a block's end leaves
// that block waiting, and the counter one ahead of the words given.
//
// Reals come from the words read as signed integers: word 0 gives the middle of the interval,
// 0x80000000 its lower end a, 0x7FFFFFFF the value just below b.  Singles are computed in single,
// so words near the upper end round to b.
#include "generators/ars5.h"

#include "frame/hardware.h"
#include "generators/generators.h"
#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr std::size_t bufferBlocks = 128;

// `count` blocks from that of `counter` on, to sink's elements from i.
template <class Sink>
HWY_INLINE void putBlocks(Ars5Blocks* blocks, const std::uint64_t* key, BlockCounter counter,
                          std::size_t count, const Sink& sink, std::size_t i) {
    alignas(64) std::uint32_t words[4 * bufferBlocks];
    while (count > 0) {
        const std::size_t part = count < bufferBlocks ? count : bufferBlocks;
        blocks(key, counter, part, words);
        putWords(sink, i, words, 4 * part);
        counter = counter.plus(part);
        count -= part;
        i += 4 * part;
    }
}

HWY_INLINE void putBlocks(Ars5Blocks* blocks, const std::uint64_t* key, BlockCounter counter,
                          std::size_t count, const BitsSink& sink, std::size_t i) {
    blocks(key, counter, count, sink.r + i);
}

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<Ars5State>(stream);
    const std::size_t total = n < 0 ? 0 : static_cast<std::size_t>(n);
    const std::size_t waiting = state.leftover;
    const std::size_t taken = total < waiting ? total : waiting;
    putFewWords(sink, 0, state.buffer + (4 - waiting), taken);
    state.leftover = static_cast<std::uint32_t>(waiting - taken);
    if (taken == total) return RNG_OK;

    Ars5Blocks* const blocks = ars5Blocks();
    const std::size_t whole = (total - taken) / 4, tail = (total - taken) % 4;
    putBlocks(blocks, state.key, state.counter, whole, sink, taken);
    blocks(state.key, state.counter.plus(whole), 1, state.buffer);
    putFewWords(sink, total - tail, state.buffer, tail);
    state.counter = state.counter.plus(whole + 1);
    state.leftover = static_cast<std::uint32_t>(4 - tail);
    return RNG_OK;
}

}  // namespace

// No question for the AES instructions: see ars5.h.
std::int32_t ars5FillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const auto scale = static_cast<float>(static_cast<double>(b - a) * wordScale);
    return fill(stream, n, SingleSink{r, scale, (a + b) * 0.5f});
}

std::int32_t ars5FillDouble(StreamHandle stream, std::int32_t n, double* r, double a, double b) {
    if (!hasAesGenerator()) return RNG_NO_AES_SUPPORT;
    return fill(stream, n, DoubleSink<WordSign::isSigned>{r, (b - a) * wordScale, (a + b) * 0.5});
}

std::int32_t ars5FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    if (!hasAesGenerator()) return RNG_NO_AES_SUPPORT;
    return fill(stream, n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
