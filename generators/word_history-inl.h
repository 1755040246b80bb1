// Long fills of generators whose next word follows from a window of the last ones.
//
// For kernel files only.  New words are appended to a short history that stays in the first-level
// cache, and each vector of them goes on to the caller's array at once.  So no word is touched
// twice whatever the output is, there is no circular index, and what remains at the end of the
// history is the window of the last words, oldest first.
#pragma once

#include "generators/word_batch-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// Recurrence: `window` is the number of words that the next one depends on, and next(oldest) gives
// the batch of words behind the window that begins at `oldest`.  No word of a batch may depend on
// another one of it.
template <class Recurrence>
struct WordHistory {
    static constexpr std::size_t window = Recurrence::window;
    static constexpr std::size_t chunk = 2496;  // 10 to 12 KiB in all; any multiple of the lanes
    static_assert(chunk % wordLanes == 0 && chunk >= window);

    // Where the first new word stands, a vector is aligned.
    static constexpr std::size_t shift = (0 - window) % 16;
    alignas(64) std::uint32_t words[shift + window + chunk];

    // The window to start from, to be filled in first.
    HWY_INLINE std::uint32_t* start() { return words + shift; }

    // Gives elements i .. end - 1, i < end, and returns the window behind them.
    template <class Sink>
    HWY_INLINE const std::uint32_t* fill(const Recurrence& recurrence, const Sink& sink,
                                         std::size_t i, std::size_t end) {
        std::uint32_t* const oldest = start();
        while (end - i > chunk) {
            append(recurrence, sink, i, chunk);
            for (std::size_t k = 0; k < window; ++k) oldest[k] = oldest[chunk + k];
            i += chunk;
        }
        append(recurrence, sink, i, end - i);
        return oldest + (end - i);
    }

  private:
    template <class Sink>
    HWY_INLINE void append(const Recurrence& recurrence, const Sink& sink, std::size_t i,
                           std::size_t count) {
        std::uint32_t* const oldest = start();
        std::size_t k = 0;
        for (; k + wordLanes <= count; k += wordLanes) {
            const WordBatch batch = recurrence.next(oldest + k);
            storeWords(batch, oldest + window + k);
            sink.put(i + k, batch);
        }
        if (k == count) return;
        storeWords(recurrence.next(oldest + k), oldest + window + k);
        putFewWords(sink, i + k, oldest + window + k, count - k);
    }
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
