// Fills of Philox4x32-10: blocks of consecutive counters side by side.
//
// Reals come from the words read as signed integers: word 0 gives the middle of the interval,
// 0x80000000 its lower end a, 0x7FFFFFFF the value just below b.  Singles are computed in single,
// so words near the upper end round to b.
#include "generators/philox4x32x10.h"

#include "generators/generators.h"
#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

#if HWY_TARGET == HWY_SCALAR

// Gives elements i .. end - 1, i < end, from the blocks of `counter` on; leaves the last block in
// `last`, and the counter behind it.
template <class Sink>
HWY_INLINE void putBlocks(const Sink& sink, std::size_t i, std::size_t end, BlockCounter& counter,
                          const std::uint32_t* key, std::uint32_t* last) {
    for (; i < end; i += 4) {
        philoxBlock(counter, key, last);
        putWords(sink, i, last, end - i < 4 ? end - i : 4);
        counter = counter.plus(1);
    }
}

#else

using WideTag = hn::ScalableTag<std::uint64_t>;
using WideVector = hn::Vec<WideTag>;
constexpr std::size_t wideLanes = wordLanes / 2;  // counters in a register
// To cover a round's latency of seven cycles; the widest copy has the registers for one more.
constexpr std::size_t registersInFlight = wideLanes == 8 ? 4 : 3;

// The ten round keys, spread over the 64-bit lanes once per fill.
struct RoundKeys {
    std::uint64_t k0[philoxRounds], k1[philoxRounds];

    HWY_INLINE explicit RoundKeys(const std::uint32_t* key) {
        std::uint32_t word0 = key[0], word1 = key[1];
        for (int round = 0; round < philoxRounds; ++round) {
            k0[round] = word0;
            k1[round] = word1;
            word0 += philoxWeyl0;
            word1 += philoxWeyl1;
        }
    }
};

// wideLanes blocks, one in each 64-bit lane.  Only the low halves of c0 .. c3 count: the widening
// multiplication ignores the high ones, so that a product serves as its own low word.
struct Blocks {
    WideVector c0, c1, c2, c3;

    HWY_INLINE Blocks() {}
    // Lane 2k holds counter + k, lane 2k + 1 counter + wideLanes / 2 + k: then interleaving the
    // 64-bit halves of the results gives the blocks in order.
    HWY_INLINE explicit Blocks(BlockCounter counter) {
        alignas(64) std::uint64_t low[wideLanes], high[wideLanes];
        for (std::size_t lane = 0; lane < wideLanes; ++lane) {
            const BlockCounter own = counter.plus(lane / 2 + lane % 2 * (wideLanes / 2));
            low[lane] = own.low;
            high[lane] = own.high;
        }
        const WideTag tag;
        set(hn::Load(tag, low), hn::Load(tag, high));
    }
    // The same where no low half wraps.
    HWY_INLINE Blocks(BlockCounter counter, WideVector offsets) {
        const WideTag tag;
        set(hn::Add(hn::Set(tag, counter.low), offsets), hn::Set(tag, counter.high));
    }
    HWY_INLINE void set(WideVector low, WideVector high) {
        c0 = low;
        c1 = hn::ShiftRight<32>(low);
        c2 = high;
        c3 = hn::ShiftRight<32>(high);
    }
    static HWY_INLINE WideVector laneOffsets() {
        const WideTag tag;
        const auto lane = hn::Iota(tag, 0);
        const auto isOdd = hn::And(lane, hn::Set(tag, 1));
        return hn::Add(hn::ShiftRight<1>(lane), wideLanes == 2   ? isOdd
                                                : wideLanes == 4 ? hn::ShiftLeft<1>(isOdd)
                                                                 : hn::ShiftLeft<2>(isOdd));
    }

    HWY_INLINE void round(std::uint64_t k0, std::uint64_t k1) {
        const WideTag tag;
        const WordTag words;
        const auto p0 = hn::MulEven(hn::BitCast(words, c0), hn::Set(words, philoxMultiplier0));
        const auto p1 = hn::MulEven(hn::BitCast(words, c2), hn::Set(words, philoxMultiplier1));
        c0 = hn::Xor3(hn::ShiftRight<32>(p1), c1, hn::Set(tag, k0));
        c1 = p1;
        c2 = hn::Xor3(hn::ShiftRight<32>(p0), c3, hn::Set(tag, k1));
        c3 = p0;
    }

    template <class Sink>
    HWY_INLINE void put(const Sink& sink, std::size_t i) const {
        const WideTag tag;
        const WordTag words;
        const auto pair = [&](WideVector first, WideVector second) {
            const auto high = hn::BitCast(words, hn::ShiftLeft<32>(second));
            return hn::BitCast(tag, hn::OddEven(high, hn::BitCast(words, first)));
        };
        const auto front = pair(c0, c1), back = pair(c2, c3);
        sink.put(i, hn::BitCast(words, hn::InterleaveLower(tag, front, back)));
        sink.put(i + wordLanes, hn::BitCast(words, hn::InterleaveUpper(tag, front, back)));
    }
};

// 4 * wideLanes * registers words from the block of `counter` on, to sink's elements from i.
template <std::size_t registers, class Sink>
HWY_INLINE void putGroup(const Sink& sink, std::size_t i, BlockCounter counter,
                         const RoundKeys& keys, WideVector offsets) {
    Blocks group[registers];
    const bool wraps = counter.low > ~(registers * wideLanes);
    for (std::size_t k = 0; k < registers; ++k) {
        const BlockCounter own = counter.plus(k * wideLanes);
        group[k] = wraps ? Blocks(own) : Blocks(own, offsets);
    }
    for (int round = 0; round < philoxRounds; ++round) {
        for (Blocks& blocks : group) blocks.round(keys.k0[round], keys.k1[round]);
    }
    for (std::size_t k = 0; k < registers; ++k) group[k].put(sink, i + 4 * wideLanes * k);
}

// Gives elements i .. end - 1, i < end, from the blocks of `counter` on; leaves the last block in
// `last`, and the counter behind it.
template <class Sink>
HWY_INLINE void putBlocks(const Sink& sink, std::size_t i, std::size_t end, BlockCounter& counter,
                          const std::uint32_t* key, std::uint32_t* last) {
    constexpr std::size_t groupBlocks = registersInFlight * wideLanes;
    const RoundKeys keys(key);
    const WideVector offsets = Blocks::laneOffsets();
    for (; end - i > 4 * groupBlocks; i += 4 * groupBlocks) {
        putGroup<registersInFlight>(sink, i, counter, keys, offsets);
        counter = counter.plus(groupBlocks);
    }
    // The last group goes through a buffer: for its tail, and for the last block.
    alignas(64) std::uint32_t words[4 * groupBlocks];
    if (end - i > 4 * wideLanes) {
        putGroup<registersInFlight>(BitsSink{words}, 0, counter, keys, offsets);
    } else {
        putGroup<1>(BitsSink{words}, 0, counter, keys, offsets);
    }
    putWords(sink, i, words, end - i);
    const std::size_t given = (end - i + 3) / 4;
    for (std::size_t k = 0; k < 4; ++k) last[k] = words[4 * (given - 1) + k];
    counter = counter.plus(given);
}

#endif

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<PhiloxState>(stream);
    const auto total = static_cast<std::size_t>(n);
    const std::size_t waiting = state.leftover;
    const std::size_t taken = total < waiting ? total : waiting;
    putFewWords(sink, 0, state.buffer + (4 - waiting), taken);
    state.leftover = static_cast<std::uint32_t>(waiting - taken);
    if (taken == total) return RNG_OK;

    BlockCounter counter = state.counter;
    const std::uint32_t key[2] = {state.key[0], state.key[1]};
    std::uint32_t last[4] = {};
    putBlocks(sink, taken, total, counter, key, last);
    state.leftover = static_cast<std::uint32_t>(taken - total) & 3;
    state.counter = counter;
    for (std::size_t k = 0; k < 4; ++k) state.buffer[k] = last[k];
    return RNG_OK;
}

}  // namespace

std::int32_t philox4x32x10FillSingle(StreamHandle stream, std::int32_t n, float* r, float a,
                                     float b) {
    const auto scale = (b - a) * static_cast<float>(wordScale);
    return fill(stream, n, SingleSink{r, scale, (a + b) * 0.5f});
}

std::int32_t philox4x32x10FillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                     double b) {
    return fill(stream, n, DoubleSink<WordSign::isSigned>{r, (b - a) * wordScale, (a + b) * 0.5});
}

std::int32_t philox4x32x10FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
