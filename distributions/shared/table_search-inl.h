// Inversion of a distribution function that stands in a table, for kernel files.
#pragma once

#include <cstdint>
#include <cstring>

#include "distributions/shared/draw-inl.h"
#include "distributions/shared/truncate-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// cumulative[k] = P(X <= k) for k = 0 .. size - 1.  past(u) goes on behind the table.
template <class Past>
struct CumulativeTable {
    const double* cumulative;
    std::int32_t mode, size;
    Past past;

    // The search that defines the variates: from the mode down to behind the last entry below u, or
    // up to the first entry above it.  A u equal to the first entry, with a mode above 0, gives -1.
    HWY_INLINE std::int32_t search(double u) const {
        if (u < cumulative[0]) return 0;
        std::int32_t k = mode;
        if (u < cumulative[k]) {
            while (k >= 0 && !(cumulative[k] < u)) --k;
            return k < 0 ? -1 : k + 1;
        }
        for (++k; k < size; ++k) {
            if (cumulative[k] > u) return k;
        }
        return past(u);
    }
};

template <class Past>
CumulativeTable(const double*, std::int32_t, std::int32_t, Past) -> CumulativeTable<Past>;

// The same by counting the entries below each u, which needs no preparation.  u can be read up to a
// vector behind its end.
template <class Past>
HWY_INLINE void searchByCounting(const CumulativeTable<Past>& table, const double* u, std::size_t n,
                                 std::int32_t* r) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<double> reals;
    constexpr std::size_t lanes = HWY_LANES(double);
    const auto first = hn::Set(reals, table.cumulative[0]), one = hn::Set(reals, 1);
    const auto last = hn::Set(reals, table.cumulative[table.size - 1]);
    for (std::size_t i = 0; i < n; i += lanes) {
        const auto x = hn::LoadU(reals, u + i);
        auto count = hn::Zero(reals);
        for (std::int32_t k = 0; k < table.size; ++k) {
            const auto entry = hn::Set(reals, table.cumulative[k]);
            // Below the mode an entry counts when it is below u, from there on also when equal.
            const auto isCounted = k < table.mode ? hn::Lt(entry, x) : hn::Le(entry, x);
            count = hn::Add(count, hn::IfThenElseZero(isCounted, one));
        }
        const auto isPlain = hn::And(hn::Lt(x, last), hn::Ne(x, first));
        double counts[lanes], plain[lanes];
        hn::StoreU(count, reals, counts);
        hn::StoreU(hn::IfThenElseZero(isPlain, one), reals, plain);
        for (std::size_t j = i; j < i + lanes && j < n; ++j) {
            r[j] = plain[j - i] != 0 ? truncated(counts[j - i]) : table.search(u[j]);
        }
    }
}

// The same from equal intervals of u: most hold at most one entry, and the variate is the number of
// entries below the interval, or one more.  The others are searched.
template <std::int32_t mostEntries>
class Guide {
  public:
    template <class Past>
    HWY_INLINE explicit Guide(const CumulativeTable<Past>& table) {
        entries_[crowded] = 0;
        std::int32_t done = 0;
        for (std::int32_t k = 0; k < table.size; ++k) {
            // Below the mode an entry counts when it is below u, from there on also when equal.
            entries_[k] = table.cumulative[k];
            if (k < table.mode) {
                std::uint64_t bits;
                std::memcpy(&bits, &entries_[k], sizeof bits);
                ++bits;
                std::memcpy(&entries_[k], &bits, sizeof bits);
            }
            const std::int32_t interval = intervalOf(table.cumulative[k]);
            if (interval < done) {
                first_[interval] = crowded;
            } else {
                std::memset(first_ + done, static_cast<int>(k),
                            static_cast<std::size_t>(interval - done + 1));
                done = interval + 1;
            }
        }
        std::memset(first_ + done - 1, crowded, static_cast<std::size_t>(intervals - done + 1));
        if (table.mode > 0) first_[intervalOf(table.cumulative[0])] = crowded;
    }

    template <class Past>
    HWY_INLINE void search(const CumulativeTable<Past>& table, const double* u, std::size_t n,
                           std::int32_t* r) const {
        std::size_t i = 0;
#if HWY_TARGET <= HWY_AVX2  // where vectors can be gathered
        namespace hn = hwy::HWY_NAMESPACE;
        const hn::ScalableTag<double> reals;
        const hn::RebindToSigned<decltype(reals)> wide;
        const hn::Rebind<std::int32_t, decltype(reals)> narrow;
        const auto zero = hn::Zero(reals), end = hn::Set(reals, 1);
        const auto one = hn::Set(wide, 1), crowds = hn::Set(wide, crowded);
        const auto* const bytes = reinterpret_cast<const std::int32_t*>(first_);
        for (; i + hn::Lanes(reals) <= n; i += hn::Lanes(reals)) {
            const auto x = hn::LoadU(reals, u + i);
            const auto isIn = hn::And(hn::Ge(x, zero), hn::Lt(x, end));
            const auto scaled = hn::Mul(hn::IfThenElseZero(isIn, x), hn::Set(reals, intervals));
            const auto word = hn::GatherOffset(narrow, bytes, hn::DemoteTo(narrow, scaled));
            const auto k = hn::PromoteTo(wide, hn::And(word, hn::Set(narrow, 0xFF)));
            const auto isAbove = hn::Ge(x, hn::GatherIndex(reals, entries_, k));
            const auto next = hn::IfThenElseZero(hn::RebindMask(wide, isAbove), one);
            storeNarrow(hn::Add(k, next), r + i);
            const auto isPlain = hn::And(hn::RebindMask(wide, isIn), hn::Ne(k, crowds));
            if (HWY_LIKELY(hn::AllTrue(wide, isPlain))) continue;
            for (std::size_t j = i; j < i + hn::Lanes(reals); ++j) r[j] = find(table, u[j]);
        }
#endif
        for (; i < n; ++i) r[i] = find(table, u[i]);
    }

  private:
    // An entry can be 1 or more, by rounding.
    static HWY_INLINE std::int32_t intervalOf(double entry) {
        const double scaled = entry * intervals;
        if (!(scaled > 0)) return 0;
        return scaled < intervals ? truncated(scaled) : intervals - 1;
    }

    template <class Past>
    HWY_INLINE std::int32_t find(const CumulativeTable<Past>& table, double u) const {
        const bool isIn = u >= 0 && u < 1;
        const std::int32_t k = isIn ? first_[truncated(u * intervals)] : crowded;
        return k == crowded ? table.search(u) : k + (u >= entries_[k] ? 1 : 0);
    }
#if HWY_TARGET <= HWY_AVX2
    using Words = hwy::HWY_NAMESPACE::Vec<hwy::HWY_NAMESPACE::ScalableTag<std::int64_t>>;
    static HWY_INLINE void storeNarrow(Words x, std::int32_t* r) {
#    if HWY_TARGET <= HWY_AVX3
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(r), _mm512_cvtepi64_epi32(x.raw));
#    else
        const __m256i order = _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6);
        const __m256i packed = _mm256_permutevar8x32_epi32(x.raw, order);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(r), _mm256_castsi256_si128(packed));
#    endif
    }
#endif

    static constexpr std::int32_t intervals = 1024;
    static constexpr std::int32_t crowded = mostEntries;  // no interval's number of entries
    static_assert(crowded <= UINT8_MAX);

    double entries_[mostEntries + 1];
    std::uint8_t first_[intervals + 4];  // vectors are gathered in words
};

// Fills r from one double-precision uniform an element, at most `block` of them at a time; the
// table has at most mostEntries.
template <std::size_t block, std::int32_t mostEntries, class Past>
HWY_INLINE std::int32_t fillBySearch(StreamHandle stream, std::size_t n, std::int32_t* r,
                                     const CumulativeTable<Past>& table) {
    // Below, counting costs less than preparing a guide.
    constexpr std::size_t leastGuided = 64;
    double u[block];
    if (n < leastGuided) {
        std::memset(u + n, 0, HWY_LANES(double) * sizeof *u);
        const std::int32_t status = drawUniforms<double>(stream, n, u, 0, 1);
        if (status < 0) return status;
        searchByCounting(table, u, n, r);
        return status;
    }
    const Guide<mostEntries> guide(table);
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < n; done += block) {
        const std::size_t count = n - done < block ? n - done : block;
        status = drawUniforms<double>(stream, count, u, 0, 1);
        if (status < 0) return status;
        guide.search(table, u, count, r + done);
    }
    return status;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
