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

// Recurrence: `window` is the number of words that the next one depends on, the newest of which
// (but for a neighbour of the oldest) stands `newest` words back.  after(end) gives a
// routine that may be called with `end`, and then batch after batch further on, for the batch of
// words behind those that end there.  It may read `reach` words back, more than the window; then
// early(end) makes a batch from the window alone, for the first words of a fill.  No word of a
// batch may depend on another one of it.
template <class Recurrence>
class WordHistory {
    static constexpr std::size_t window = Recurrence::window, reach = Recurrence::reach;
    static constexpr std::size_t alignment = 16;
    static constexpr std::size_t before = (reach + alignment - 1) / alignment * alignment;
    static constexpr std::size_t early = (reach - window + wordLanes - 1) / wordLanes * wordLanes;
    static constexpr std::size_t chunk = 4096;  // 18 KiB in all: leaves room for the output
    static_assert(chunk % wordLanes == 0 && chunk >= reach);

    alignas(64) std::uint32_t words_[before + early + chunk];

  public:
    // The window to start from, to be filled in first.
    HWY_INLINE std::uint32_t* start() { return words_ + before - window; }

    // Gives elements i .. end - 1, i < end, and returns the window behind them.
    template <class Sink>
    HWY_INLINE const std::uint32_t* fill(const Recurrence& recurrence, const Sink& sink,
                                         std::size_t i, std::size_t end) {
        std::uint32_t* at = words_ + before;
        const auto extend = [&](auto next, std::size_t most) {
            const std::size_t count = end - i < most ? end - i : most;
            append(next, at, sink, i, count);
            i += count;
            at += count;
        };
        if constexpr (early > 0) {
            extend([&](const std::uint32_t* words) { return recurrence.early(words); }, early);
        }
        for (;;) {
            extend(recurrence.after(at), chunk);
            if (i == end) return at - window;
            copyWords<reach>(at - reach, words_ + before - reach);
            at = words_ + before;
        }
    }

  private:
    template <class Next, class Sink>
    static HWY_INLINE void append(Next next, std::uint32_t* at, const Sink& sink, std::size_t i,
                                  std::size_t count) {
        const auto made = [&](std::size_t k) {
            const WordBatch batch = next(at + k);
            storeWords(batch, at + k);
            return batch;
        };
        // Several batches at a time: the work of one fills the gaps of another.  More of them only
        // where what they need was stored long before.
        constexpr std::size_t together = Recurrence::newest >= 16 * wordLanes ? 8 : 4;
        std::size_t k = 0;
        for (; k + together * wordLanes <= count; k += together * wordLanes) {
            WordBatch batches[together];
            for (std::size_t g = 0; g < together; ++g) batches[g] = made(k + g * wordLanes);
            for (std::size_t g = 0; g < together; ++g) sink.put(i + k + g * wordLanes, batches[g]);
        }
        for (; k + wordLanes <= count; k += wordLanes) sink.put(i + k, made(k));
        if (k == count) return;
        made(k);
        putFewWords(sink, i + k, at + k, count - k);
    }
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
