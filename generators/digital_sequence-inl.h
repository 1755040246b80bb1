// Fills of the digital sequences.
//
// In long fills a copy with vectors sees the sequence as rows of 2^g vectors, the first of each
// row's indices a multiple of 2^g, and 2^g so large that a row has `leastRow` words: all words of a
// row differ from those of the row before it by one direction number of the rows' own.  For g > 0
// the number is v[g + c] XOR v[g - 1], repeated 2^g times, where c is the place of the lowest zero
// bit of the row's number: from row to row Gray code changes its bit g + c, and its bit g - 1 too.
//
// For kernel files only.
#pragma once

#include <xmmintrin.h>

#include "frame/memory.h"
#include "frame/parallel_loops.h"
#include "generators/digital_sequence.h"
#include "generators/word_batch-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// Words of the sequence from a place on: of all components, or of a chosen one.
struct SequenceRun {
    std::uint32_t* point;  // the current vector's `width` components
    const std::uint32_t* directions;
    std::size_t width, stride;  // direction numbers j of the components: directions + j * stride
    std::uint32_t index;        // of the current vector
    std::size_t remaining;      // of its components; 0: all of them

    HWY_INLINE const std::uint32_t* directionsAt(std::size_t j) const {
        return directions + j * stride;
    }
    // Components of the current vector that have been given.
    HWY_INLINE std::size_t given() const { return remaining == 0 ? 0 : width - remaining; }
};

// The index isn't the last one: whoever asks for more words has asked whether there are any.
HWY_INLINE std::size_t lowestZeroBit(std::uint32_t n) {
    return static_cast<std::size_t>(__builtin_ctz(~n));
}

// The definition: the next `count` words.
HWY_INLINE void nextWords(SequenceRun& run, std::uint32_t* HWY_RESTRICT words, std::size_t count) {
    std::uint32_t* HWY_RESTRICT point = run.point;
    const std::size_t width = run.width, given = run.given();
    if (width == 1) {  // three times as fast as in general, and every chosen component is so
        std::uint32_t x = point[0];
        for (std::size_t i = 0; i < count; ++i) {
            words[i] = x;
            x ^= *run.directionsAt(lowestZeroBit(run.index++));
        }
        point[0] = x;
        return;
    }
    std::size_t vector = 0 - given;  // where in `words` the current one begins; below 0 it wraps
    std::size_t d = given;
    std::size_t left = given + count;  // words from there on
    for (; left >= width; left -= width, vector += width, d = 0) {
        const std::uint32_t* HWY_RESTRICT v = run.directionsAt(lowestZeroBit(run.index++));
        for (std::size_t k = 0; k < d; ++k) point[k] ^= v[k];
        for (std::size_t k = d; k < width; ++k) {
            words[vector + k] = point[k];
            point[k] ^= v[k];
        }
    }
    for (; d < left; ++d) words[vector + d] = point[d];
    run.remaining = left == 0 ? 0 : width - left;
}

template <class Sink>
HWY_INLINE void putNextWords(const Sink& sink, std::size_t n, SequenceRun& run) {
    constexpr std::size_t part = 256;
    std::uint32_t words[part];
    for (std::size_t i = 0; i < n; i += part) {
        const std::size_t count = n - i < part ? n - i : part;
        nextWords(run, words, count);
        putWords(sink, i, words, count);
    }
}

HWY_INLINE void putNextWords(const BitsSink& sink, std::size_t n, SequenceRun& run) {
    nextWords(run, sink.r, n);
}

// Puts the next n words.  The sink comes by value: its members then stay in registers.

#if HWY_TARGET == HWY_SCALAR

template <class Sink>
HWY_NOINLINE void putRun(const Sink sink, std::size_t n, SequenceRun& run) {
    putNextWords(sink, n, run);
}

#else

constexpr std::size_t leastRow = 64;    // words, at least as many as a register holds
constexpr std::size_t rowsInBlock = 8;  // that are made in one pass over the columns
// Words from which on the rows pay: those of narrow sequences have to be made first.
constexpr std::size_t leastOfNarrow = 4 * leastRow, leastOfWide = leastRow;

// The rows of a run.
class SequenceRows {
  public:
    HWY_INLINE explicit SequenceRows(SequenceRun& of) : run(of) {
        while (run.width << shift < leastRow) ++shift;
        words = run.width << shift;
        number = run.index >> shift;
        current = run.point;
        if (shift > 0) makeFirstRow();
    }

    // Puts the next n words; the run then stands behind them.
    template <class Sink>
    HWY_INLINE void put(const Sink& sink, std::size_t n) {
        const std::size_t vector = run.index & mask();
        std::size_t at = vector * run.width + run.given();  // in the current row
        std::size_t i = 0;
        if (at > 0) {
            i = words - at < n ? words - at : n;
            putWords(sink, 0, current + at, i);
            at += i;
            if (at == words) at = 0, step();
        }
        if (at == 0) {
            while (n - i >= words) {
                if (number % rowsInBlock == 0 && n - i >= rowsInBlock * words) {
                    putBlock(sink, i);
                    i += rowsInBlock * words;
                } else {
                    putRow(sink, i);
                    i += words;
                }
            }
            at = n - i;
            putWords(sink, i, current, at);
        }
        leave(at);
    }

  private:
    SequenceRun& run;
    unsigned shift = 0;         // g
    std::size_t words;          // of a row
    std::uint32_t number;       // of the current row
    std::uint32_t* current;     // its words
    std::uint32_t isReady = 0;  // bit c: differences[c] has been made
    static constexpr std::size_t bufferWords = 2 * leastRow + wordLanes;
    std::uint32_t own[bufferWords];
    std::uint32_t differences[directionsPerDimension][bufferWords];

    HWY_INLINE std::uint32_t mask() const { return (1u << shift) - 1; }

    // Makes the first `width` words the first `end`, at least, by repeating them.  Reads and writes
    // by registers: what is beside the words copied is overwritten later.
    HWY_INLINE void repeat(std::uint32_t* row, std::size_t end) const {
        for (std::size_t made = run.width; made < end; made *= 2) {
            for (std::size_t k = 0; k < made; k += wordLanes) {
                storeWords(loadWords(row + k), row + made + k);
            }
        }
    }

    // From the current vector back to the row's first one; from there on by doubling, since
    // vectors 2^j + k and k, k < 2^j, differ by v[j] and v[j - 1].
    HWY_INLINE void makeFirstRow() {
        current = own;
        const std::uint32_t vector = run.index & mask();
        for (std::size_t d = 0; d < run.width; ++d) own[d] = run.point[d];
        movePoint(own, run.directions, run.width, run.stride, vector, 0);
        std::uint32_t difference[bufferWords];
        for (unsigned j = 0; j < shift; ++j) {
            const std::uint32_t *v = run.directionsAt(j), *w = run.directionsAt(j > 0 ? j - 1 : 0);
            for (std::size_t d = 0; d < run.width; ++d) difference[d] = j > 0 ? v[d] ^ w[d] : v[d];
            const std::size_t made = run.width << j;
            repeat(difference, made);
            for (std::size_t k = 0; k < made; k += wordLanes) {
                storeWords(xorOf(loadWords(own + k), loadWords(difference + k)), own + made + k);
            }
        }
    }

    HWY_INLINE void leave(std::size_t at) {
        const std::size_t vector = at / run.width, given = at % run.width;
        run.index = (number << shift) + static_cast<std::uint32_t>(vector);
        run.remaining = given == 0 ? 0 : run.width - given;
        if (shift == 0) return;
        for (std::size_t d = 0; d < run.width; ++d) run.point[d] = own[vector * run.width + d];
    }

    HWY_INLINE const std::uint32_t* difference(std::size_t c) {
        if (shift == 0) return run.directionsAt(c);
        std::uint32_t* row = differences[c];
        if (isReady >> c & 1) return row;
        isReady |= 1u << c;
        const std::uint32_t *v = run.directionsAt(shift + c), *w = run.directionsAt(shift - 1);
        for (std::size_t d = 0; d < run.width; ++d) row[d] = v[d] ^ w[d];
        repeat(row, words);
        return row;
    }

    HWY_INLINE void step() {
        const std::uint32_t* v = difference(lowestZeroBit(number++));
        for (std::size_t k = 0; k < words; ++k) current[k] ^= v[k];
    }

    // Elements k .. of the current row, to the array's from `at` on, and of the row behind it.
    template <class Sink>
    static HWY_INLINE void putColumn(const Sink& sink, std::size_t at, WordBatch x,
                                     const std::uint32_t* v, std::uint32_t* row) {
        sink.put(at, x);
        storeWords(xorOf(x, loadWords(v)), row);
    }

    // The registers that cover a row: the last one overlaps the one before it, and has to be loaded
    // before that is stepped.  The members are copied first, since the stores could be to them.
    template <class Sink>
    HWY_INLINE void putRow(const Sink& sink, std::size_t i) {
        const std::uint32_t* v = difference(lowestZeroBit(number++));
        const std::size_t count = words, tail = words - wordLanes;
        std::uint32_t* row = current;
        const WordBatch last = loadWords(row + tail);
        std::size_t k = 0;
        for (; k + wordLanes <= count; k += wordLanes) {
            putColumn(sink, i + k, loadWords(row + k), v + k, row + k);
        }
        if (k < count) putColumn(sink, i + tail, last, v + tail, row + tail);
    }

    // Direction numbers of the rows from one to the next, the last of them to the next block.
    struct BlockDifferences {
        const std::uint32_t *v0, *v1, *v2, *v;
    };

    template <class Sink>
    static HWY_INLINE void putBlockColumn(const Sink& sink, std::size_t at, std::size_t spacing,
                                          WordBatch x, const BlockDifferences& by, std::size_t k,
                                          std::uint32_t* row) {
        const WordBatch d0 = loadWords(by.v0 + k), d1 = loadWords(by.v1 + k);
        const WordBatch d2 = loadWords(by.v2 + k);
        sink.put(at, x);
        sink.put(at += spacing, x = xorOf(x, d0));
        sink.put(at += spacing, x = xorOf(x, d1));
        sink.put(at += spacing, x = xorOf(x, d0));
        sink.put(at += spacing, x = xorOf(x, d2));
        sink.put(at += spacing, x = xorOf(x, d0));
        sink.put(at += spacing, x = xorOf(x, d1));
        sink.put(at += spacing, x = xorOf(x, d0));
        storeWords(xorOf(x, loadWords(by.v + k)), row + k);
    }

    template <class Sink>
    HWY_INLINE void putBlock(const Sink& sink, std::size_t i) {
        number += rowsInBlock;
        const BlockDifferences by{difference(0), difference(1), difference(2),
                                  difference(lowestZeroBit(number - 1))};
        const std::size_t count = words, tail = words - wordLanes;
        std::uint32_t* row = current;
        const WordBatch last = loadWords(row + tail);
        std::size_t k = 0;
        for (; k + wordLanes <= count; k += wordLanes) {
            putBlockColumn(sink, i + k, count, loadWords(row + k), by, k, row);
        }
        if (k < count) putBlockColumn(sink, i + tail, count, last, by, tail, row);
    }
};

template <class Sink>
HWY_NOINLINE void putRun(const Sink sink, std::size_t n, SequenceRun& run) {
    const bool isNarrow = run.width < leastRow;
    if (n < (isNarrow ? leastOfNarrow : leastOfWide)) return putNextWords(sink, n, run);
    SequenceRows(run).put(sink, n);
}

#endif

// ---- Several threads ----

// Words from which on the loop service is asked for threads, and the least share of one.  Measured
// on two threads: a fork costs 4 microseconds if they wait for it and 65 if they sleep, which is
// what 2^16 and 2^20 words take.
constexpr std::size_t parallelWords = std::size_t{1} << 20;
constexpr std::size_t leastShare = std::size_t{1} << 17;

// Whole vectors, dealt to threads in runs with points of their own.
template <class Sink>
struct SharedRun {
    Sink sink;
    SequenceRun start;
    std::size_t vectors, shares;
    std::uint32_t* points;  // of the shares, one behind the other
    unsigned mode;          // of the caller's floating-point arithmetic: rounding is part of it

    HWY_INLINE std::size_t firstOf(std::size_t share) const { return vectors * share / shares; }

    // The barriers keep what is computed between two calls there.
    static HWY_INLINE void setMode(unsigned control) {
        __asm__ volatile("" ::: "memory");
        _mm_setcsr(control);
        __asm__ volatile("" ::: "memory");
    }

    static void work(std::int32_t index, std::int32_t, std::int32_t, void* context) {
        const auto& all = *static_cast<const SharedRun*>(context);
        const auto share = static_cast<std::size_t>(index);
        const std::size_t first = all.firstOf(share), end = all.firstOf(share + 1);
        SequenceRun run = all.start;
        run.point = all.points + share * run.width;
        run.index += static_cast<std::uint32_t>(first);
        for (std::size_t d = 0; d < run.width; ++d) run.point[d] = all.start.point[d];
        movePoint(run.point, run.directions, run.width, run.stride, all.start.index, run.index);
        Sink part = all.sink;
        part.r += first * run.width;
        const unsigned before = _mm_getcsr();
        setMode(all.mode);
        putRun(part, (end - first) * run.width, run);
        setMode(before);
    }
};

// False: not so, and nothing has happened.
template <class Sink>
HWY_INLINE bool putVectorsInParallel(const Sink& sink, std::size_t vectors, SequenceRun& run) {
    const std::int32_t threads = qvx_vsl_serv_threader_get_num_threads();
    const std::size_t most = vectors * run.width / leastShare;
    const auto limit = static_cast<std::size_t>(threads);
    const std::size_t wanted = limit < most ? limit : most;
    const std::size_t shares = wanted < vectors ? wanted : vectors;
    if (shares < 2) return false;
    const std::size_t bytes = shares * run.width * sizeof(std::uint32_t);
    auto* points = static_cast<std::uint32_t*>(alignedAlloc(bytes, recordAlignment));
    if (!points) return false;
    SharedRun<Sink> all{sink, run, vectors, shares, points, _mm_getcsr()};
    qvx_vsl_serv_threader_for(static_cast<std::int32_t>(shares), 0, &all, SharedRun<Sink>::work);
    // The last share's point has come to where the next vector begins.
    for (std::size_t d = 0; d < run.width; ++d) {
        run.point[d] = points[(shares - 1) * run.width + d];
    }
    run.index += static_cast<std::uint32_t>(vectors);
    alignedFree(points);
    return true;
}

// ---- A stream's fill ----

template <class Sink>
HWY_INLINE std::int32_t fillSequence(const DigitalSequence& sequence, std::int32_t n,
                                     const Sink& sink) {
    if (!sequence.point) return RNG_NULL_POINTER;
    SequencePosition& at = *sequence.at;
    const auto words = static_cast<std::uint32_t>(n);
    if (words > lastVector - at.index) return RNG_QUASI_PERIOD_ELAPSED;

    const auto dimension = static_cast<std::size_t>(at.dimension);
    SequenceRun run{sequence.point, sequence.directions, dimension, dimension,
                    at.index,       at.remaining};
    const bool isWhole = at.component == allComponents;
    if (!isWhole) {
        run.point += at.component;
        run.directions += at.component;
        run.width = 1;
        run.remaining = 0;
    }
    std::size_t done = 0;
    const auto total = static_cast<std::size_t>(n);
    Sink rest = sink;
    if (total >= parallelWords) {
        done = run.remaining;
        putNextWords(rest, done, run);
        rest.r += done;
        const std::size_t vectors = (total - done) / run.width;
        if (putVectorsInParallel(rest, vectors, run)) {
            done += vectors * run.width;
            rest.r += vectors * run.width;
        }
    }
    putRun(rest, total - done, run);
    at.index = run.index;
    if (isWhole) at.remaining = static_cast<std::uint32_t>(run.remaining);
    return RNG_OK;
}

// The reals: word * scale + a, the word unsigned.  Singles are computed in single from the word's
// own conversion on.
inline constexpr float singleWordScale = 2.3283064e-10F;
static_assert(singleWordScale == 0x1p-32F);

// The conversion is the signed one, which is rounded, and 2^32 more for words above 2^31.
struct UnsignedSingleSink {
    using Element = float;
    Element* r;
    float scale, offset;
#if HWY_TARGET == HWY_SCALAR
    HWY_INLINE void put(std::size_t i, std::uint32_t word) const {
        const float number = static_cast<float>(static_cast<std::int32_t>(word));
        r[i] = (number + (word >> 31 ? 0x1p32F : 0.0F)) * scale + offset;
    }
#else
    HWY_INLINE void put(std::size_t i, WordBatch words) const {
        const hn::RebindToFloat<WordTag> tag;
        const auto ints = hn::BitCast(hn::RebindToSigned<WordTag>(), words);
        const auto carry =
            hn::And(hn::BitCast(tag, hn::BroadcastSignBit(ints)), hn::Set(tag, 0x1p32F));
        const auto numbers = hn::Add(hn::ConvertTo(tag, ints), carry);
        hn::StoreU(hn::MulAdd(numbers, hn::Set(tag, scale), hn::Set(tag, offset)), tag, r + i);
    }
#endif
};

HWY_INLINE std::int32_t fillSingles(const DigitalSequence& sequence, std::int32_t n, float* r,
                                    float a, float b) {
    return fillSequence(sequence, n, UnsignedSingleSink{r, (b - a) * singleWordScale, a});
}

HWY_INLINE std::int32_t fillDoubles(const DigitalSequence& sequence, std::int32_t n, double* r,
                                    double a, double b) {
    return fillSequence(sequence, n, DoubleSink<WordSign::isUnsigned>{r, (b - a) * wordScale, a});
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
