// Acceptance and rejection of integers a block at a time, for kernel files.
//
// A law covers its shape with a hat of several regions.  A block of pairs (u, v) is drawn at once;
// u chooses the region, and each pair gives one candidate or none.  Regions whose candidates need
// more than a line of arithmetic work on lists of their pairs, so that logarithms and tests run on
// whole vectors; every candidate goes back to its pair's place, and what was accepted is packed in
// the order of the pairs.  A rejected pair isn't drawn again: the next block fills the array
// further.
//
// A law brings: its hat's borders, the candidate of region 0, the candidates of the lists, and
// their test.
#pragma once

#include "distributions/shared/draw-inl.h"
#include "distributions/shared/pack-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Candidates' places hold this until a candidate is accepted.
constexpr std::int32_t noCandidate = -1;

// Pairs that wait for a step; vectors may be written and read a vector behind the last one.
template <std::size_t most>
struct PairList {
    float u[most + singleLanes], v[most + singleLanes];
    std::int32_t place[most + singleLanes];  // in the block
    std::size_t size = 0;

    // Behind the `at` pairs that stand there; returns their number.  Whoever appends in a loop
    // keeps it in a register, which `size` can't be between stores.
    HWY_INLINE std::size_t append(std::size_t at, SingleMask chosen, Singles us, Singles vs,
                                  Integers places) {
        const hn::ScalableTag<float> tag;
        const Packer packed(chosen);
        hn::StoreU(packed(us), tag, u + at);
        hn::StoreU(packed(vs), tag, v + at);
        storeIntegers(packed(places), place + at);
        return at + packed.count();
    }

    // What the last vector reads behind the list: numbers that every step can bear.
    HWY_INLINE void fillUp() {
        for (std::size_t i = size; i < size + singleLanes; ++i) {
            u[i] = v[i] = 1;
            place[i] = 0;
        }
    }
};

// Sorts the pairs of a block into regions: region k holds those with compared(u) not above
// borders[k] and not in an earlier one, the last region the others.  Pairs of region 0 become
// candidates at once, central(kept(u), v); the others go to their region's list with kept(u).
template <std::size_t listed, std::size_t most, class Compared, class Kept, class Central>
HWY_INLINE void sortPairs(const float* numbers, std::size_t pairs, const float (&borders)[listed],
                          Compared compared, Kept kept, Central central, std::int32_t* candidates,
                          PairList<most> (&lists)[listed]) {
    const hn::ScalableTag<float> tag;
    const hn::ScalableTag<std::int32_t> integers;
    const auto none = hn::Set(integers, noCandidate);
    const auto step = hn::Set(integers, static_cast<std::int32_t>(singleLanes));
    auto places = hn::Iota(integers, 0);
    std::size_t sizes[listed] = {};
    for (std::size_t i = 0; i < pairs; i += singleLanes) {
        Singles u, v;
        hn::LoadInterleaved2(tag, numbers + 2 * i, u, v);
        const auto by = compared(u), us = kept(u);
        auto above = hn::Gt(by, hn::Set(tag, borders[0]));
        const auto y = central(us, v);
        storeIntegers(hn::IfThenElse(hn::RebindMask(integers, above), none, y), candidates + i);
        for (std::size_t k = 1; k < listed; ++k) {
            const auto further = hn::And(above, hn::Gt(by, hn::Set(tag, borders[k])));
            sizes[k - 1] =
                lists[k - 1].append(sizes[k - 1], hn::AndNot(further, above), us, v, places);
            above = further;
        }
        sizes[listed - 1] = lists[listed - 1].append(sizes[listed - 1], above, us, v, places);
        places = hn::Add(places, step);
    }
    for (std::size_t k = 0; k < listed; ++k) {
        lists[k].size = sizes[k];
        lists[k].fillUp();
    }
}

// The candidates of a list back to their pairs' places.
HWY_INLINE void putBack(const std::int32_t* y, const std::int32_t* places, std::size_t n,
                        std::int32_t* candidates) {
    for (std::size_t i = 0; i < n; ++i) candidates[places[i]] = y[i];
}

// Packs the candidates from `least` on into r, and returns their number, at most `room`.
HWY_INLINE std::size_t packAccepted(const std::int32_t* candidates, std::size_t n,
                                    std::int32_t least, std::int32_t* r, std::size_t room) {
    const hn::ScalableTag<std::int32_t> tag;
    const auto below = hn::Set(tag, least - 1);
    std::size_t written = 0;
    for (std::size_t i = 0; i < n; i += singleLanes) {
        const auto y = hn::LoadU(tag, candidates + i);
        const Packer packed(hn::RebindMask(hn::ScalableTag<float>(), hn::Gt(y, below)));
        if (written + singleLanes <= room) {
            hn::StoreU(packed(y), tag, r + written);
        } else {
            std::int32_t last[singleLanes];
            hn::StoreU(packed(y), tag, last);
            std::memcpy(r + written, last, packed.count() * sizeof *r);
        }
        written += packed.count();
    }
    return written;
}

// Fills r with accepted candidates from `least` on.  propose(numbers, pairs, candidates) makes a
// candidate of each pair of a block; `blockNumbers` is what is asked of the generator at a time,
// or twice the elements that are missing.  A stream whose numbers are all alike (a leapfrog by the
// generator's period, a callback that always gives one) could be rejected for ever.
template <std::size_t blockNumbers, class Propose>
HWY_INLINE std::int32_t fillByRejection(StreamHandle stream, std::int32_t n, std::int32_t* r,
                                        std::int32_t least, Propose propose) {
    float numbers[blockNumbers + 2 * singleLanes];
    std::int32_t candidates[blockNumbers / 2 + singleLanes];
    constexpr int mostBarren = 1000;  // blocks in a row: not by chance
    auto left = static_cast<std::size_t>(n);
    std::int32_t status = RNG_OK;
    for (int barren = 0; left > 0; ++barren) {
        if (barren == mostBarren) return RNG_BAD_STREAM;
        const std::size_t pairs = left < blockNumbers / 2 ? left : blockNumbers / 2;
        status = drawUniforms<float>(stream, 2 * pairs, numbers, 0, 1);
        if (status < 0) return status;
        std::memset(numbers + 2 * pairs, 0, 2 * singleLanes * sizeof *numbers);
        propose(numbers, pairs, candidates);
        for (std::size_t i = 0; i < singleLanes; ++i) candidates[pairs + i] = noCandidate;
        const std::size_t written = packAccepted(candidates, pairs, least, r, left);
        if (written > 0) barren = 0;
        r += written;
        left -= written;
    }
    return status;
}

// The ratios P(mode - 1 - i) / P(mode), and behind them P(mode + 1 + i) / P(mode): those of
// `steps` neighbours on each side.
template <std::int32_t steps>
struct RatioTable {
    const float* ratios;

    struct Found {
        Singles bound;           // the ratio at the distance; anything at the mode and far away
        SingleMask atMode, far;  // more than `steps` away
    };
    HWY_INLINE Found operator()(Singles distance) const {
        const hn::ScalableTag<float> tag;
        const hn::ScalableTag<std::int32_t> integers;
        const auto size = hn::Abs(distance);
        const auto first = hn::Set(tag, 1), last = hn::Set(tag, static_cast<float>(steps));
        // In this order of the operands even a NaN gives an index inside.
        const auto near = truncated(hn::Sub(hn::Max(hn::Min(size, last), first), first));
        const auto isUp = hn::RebindMask(integers, hn::Gt(distance, hn::Zero(tag)));
        const auto index = hn::Add(near, hn::IfThenElseZero(isUp, hn::Set(integers, steps)));
        return {hn::GatherIndex(tag, ratios, index), hn::Eq(distance, hn::Zero(tag)),
                hn::Gt(size, last)};
    }
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
